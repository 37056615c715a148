// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_state.h"

// Brings the scheduler's vendor printer-state reasons in step with the printer: writes a
// "STATE: +" line for each keyword that applies and a "STATE: -" line for every other one, so
// that the list is right whatever was reported before. An unavailable state, and a code that is
// not known, are reported as the fallback keyword; the latter is also told in a debug line.
// Reasons that are not ours are never named. (STATE messages: filter(7).)
void update_printer_state(const PrinterState& state);

// Writes a "STATE: -" line for every reason, ours or not, that the printing system lists for the
// default destination. Nothing is reported to the caller: without a default destination a debug
// line says so, and one that lists no reasons has none removed. No command of the filter calls it:
// it is for a caller to come that starts over, as where another printer took the place of one.
void clean_printer_state();

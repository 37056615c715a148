// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_state.h"

// Updates the scheduler's list of printer-state reasons: writes a "STATE: +" line for each vendor
// reason that applies and a "STATE: -" line for every other one, so that the list does not depend
// on earlier reports. An unavailable state and an unknown code are reported as
// com.corvantide-error0023; an unknown code is also logged. Never changes the reasons of others.
// (STATE messages: filter(7).)
void update_printer_state(const PrinterState& state);

// Writes a "STATE: -" line for every reason of the default destination, also those of others. Logs
// if there is no default destination. Currently unused; for a caller that starts from scratch, for
// example after a printer was replaced.
void clean_printer_state();

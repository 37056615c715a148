// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_info.h"

// Both operations write one 4-byte escape command to standard output, flush it, and ask the back
// end to drain it to the printer, waiting at most 5 seconds. A drain that fails is told in the
// log and is no failure: some back ends cannot drain, and the bytes may be out all the same.

// Wakes the printer, then gives it half a second. Returns 0, or -1 where the command could not be
// written or flushed.
int wr_esc_wakeup();

// Asks the printer for its status, once. Returns an unavailable info where the command could not
// be written or flushed, or the reply stayed away for a second before it was complete.
PrinterInfo get_printer_info();

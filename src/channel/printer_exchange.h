// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_info.h"

// Both operations write one 4-byte escape command to standard output, flush it, and ask the backend
// to drain it to the printer, with a timeout of 5 seconds. A drain that fails is logged but is not
// a failure: some backends cannot drain, and the bytes may have been sent.

// Wakes the printer, then waits half a second. Returns 0, or -1 if the command could not be written
// or flushed.
int wr_esc_wakeup();

// Asks the printer for its status, once. Returns an unavailable info if the command could not be
// written or flushed, or if the back channel ended, failed, or had no data for a second before the
// reply was complete.
PrinterInfo get_printer_info();

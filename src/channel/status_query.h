// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_info.h"

// Asks the printer for its status every second until it is awake, at most 61 times. Returns the
// info of the awake printer. Returns an unavailable one as soon as an exchange fails, or, after at
// least a minute, if the printer did not wake up.
PrinterInfo get_printer_info_retry();

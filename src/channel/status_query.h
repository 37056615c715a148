// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_info.h"

// Asks the printer for its status until it says that it is awake, a second apart, at most 61
// times. Returns the info of the awake printer, and an unavailable one as soon as an exchange
// fails or when the printer never woke: that takes a minute at least.
PrinterInfo get_printer_info_retry();

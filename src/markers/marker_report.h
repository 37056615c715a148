// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_levels.h"

// Writes a debug line and the complete set of five marker attributes for the printer's one
// marker, its ink ribbon. marker-levels is in per cent, not limited to 100; -1 when the printer
// answered without usable counts, -2 when it did not answer. (ATTR messages: filter(7).)
void report_printer_levels(const PrinterLevels& levels);

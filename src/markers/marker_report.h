// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/printer_levels.h"

// Writes a debug line and the five attributes of the printer's only marker, its ink ribbon.
// marker-levels is a percentage, not limited to 100. It is -1 if the printer answered without
// usable counts, and -2 if there is no status. (ATTR messages: filter(7).)
void report_printer_levels(const PrinterLevels& levels);

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cups/raster.h>

// Writes a block of bytes to the log, 16 to a line, each line headed by the label:
//   DEBUG: [CMD] size=4
//   DEBUG: [CMD] 0000: 1b 45 57 55
// Reads `size` bytes, none where that is not positive.
void dump_mem(const char* label, const void* data, int size);

// Writes every field of a version 1 raster page header (cups/raster.h), one a line, without the
// "DEBUG: " prefix. A text that fills its field is shown whole and not read past its end. The
// filter has none to dump: this is for a driver to come, which would share this module.
void dump(const cups_page_header_s* header);

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cups/raster.h>

// Writes a block of bytes to the log, 16 to a line, each line headed by the label:
//   DEBUG: [CMD] size=4
//   DEBUG: [CMD] 0000: 1b 45 57 55
// Reads `size` bytes, or none if it is not positive.
void dump_mem(const char* label, const void* data, int size);

// Writes the fields of a version 1 raster page header (cups/raster.h), one per line, without the
// "DEBUG: " prefix; of ImagingBoundingBox only the left and the bottom edge. Does not read past the
// end of a text field that has no NUL. Currently unused; for a driver that shares this module.
void dump(const cups_page_header_s* header);

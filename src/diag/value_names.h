// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cups/raster.h>
#include <cups/sidechannel.h>

// The name of a printing-system value, spelled as cups/sidechannel.h and cups/raster.h spell it.
// Any value is allowed, since a message or a header can hold any. The text is never freed.

// "UNKNOWN" for a value without a name.
const char* to_string(cups_sc_status_e value);

// A value without a name gives its type and number, as in "cups_bool_e(-1)". That text stands in
// a static buffer of the overload: it is good until the same overload meets the next value
// without a name, and these functions are not for use by two threads at once.
const char* to_string(cups_adv_e value);
const char* to_string(cups_bool_e value);
const char* to_string(cups_cspace_e value);
const char* to_string(cups_cut_e value);
const char* to_string(cups_edge_e value);
const char* to_string(cups_jog_e value);
const char* to_string(cups_order_e value);
const char* to_string(cups_orient_e value);

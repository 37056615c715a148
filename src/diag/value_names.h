// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cups/raster.h>
#include <cups/sidechannel.h>

// The name of a printing-system value, spelled as cups/sidechannel.h and cups/raster.h spell it.
// Any value is allowed, since a message or a header can contain any. The caller must not free it.

// "UNKNOWN" for a value without a name.
const char* to_string(cups_sc_status_e value);

// A value without a name gives its type and number, as in "cups_bool_e(-1)". That text is in a
// static buffer of the overload: it is valid until the next such call of the same overload, and the
// functions are not thread-safe.
const char* to_string(cups_adv_e value);
const char* to_string(cups_bool_e value);
const char* to_string(cups_cspace_e value);
const char* to_string(cups_cut_e value);
const char* to_string(cups_edge_e value);
const char* to_string(cups_jog_e value);
const char* to_string(cups_order_e value);
const char* to_string(cups_orient_e value);

// SPDX-License-Identifier: Apache-2.0
#include "diag/value_names.h"

#include <cstddef>
#include <cstdio>

namespace {

// Enough for the longest type name, the longest number, two parentheses and the NUL.
constexpr std::size_t NO_NAME_SIZE = 29;

// Returns the name of a value from a table whose first name is that of `first`, or null.
template <typename Value, std::size_t SIZE>
const char* find_name(const char* const (&names)[SIZE], Value value, unsigned first = 0) {
  const auto index = static_cast<unsigned>(value) - first;  // wraps if the value is smaller
  return index < SIZE ? names[index] : nullptr;
}

template <typename Value>
const char* name_or_number(const char* name, Value value, const char* type_name,
                           char (&no_name)[NO_NAME_SIZE]) {
  if (name != nullptr) return name;
  std::sprintf(no_name, "%s(%d)", type_name, static_cast<int>(value));
  return no_name;
}

}  // namespace

const char* to_string(cups_sc_status_e value) {
  static const char* const NAMES[] = {
      "CUPS_SC_STATUS_NONE",        "CUPS_SC_STATUS_OK",
      "CUPS_SC_STATUS_IO_ERROR",    "CUPS_SC_STATUS_TIMEOUT",
      "CUPS_SC_STATUS_NO_RESPONSE", "CUPS_SC_STATUS_BAD_MESSAGE",
      "CUPS_SC_STATUS_TOO_BIG",     "CUPS_SC_STATUS_NOT_IMPLEMENTED",
  };
  const char* name = find_name(NAMES, value);
  return name != nullptr ? name : "UNKNOWN";
}

const char* to_string(cups_adv_e value) {
  static const char* const NAMES[] = {"CUPS_ADVANCE_NONE", "CUPS_ADVANCE_FILE", "CUPS_ADVANCE_JOB",
                                      "CUPS_ADVANCE_SET", "CUPS_ADVANCE_PAGE"};
  static char no_name[NO_NAME_SIZE];
  return name_or_number(find_name(NAMES, value), value, "cups_adv_e", no_name);
}

const char* to_string(cups_bool_e value) {
  static const char* const NAMES[] = {"CUPS_FALSE", "CUPS_TRUE"};
  static char no_name[NO_NAME_SIZE];
  return name_or_number(find_name(NAMES, value), value, "cups_bool_e", no_name);
}

const char* to_string(cups_cspace_e value) {
  static const char* const NAMES[] = {
      "CUPS_CSPACE_W",       "CUPS_CSPACE_RGB",    "CUPS_CSPACE_RGBA",   "CUPS_CSPACE_K",
      "CUPS_CSPACE_CMY",     "CUPS_CSPACE_YMC",    "CUPS_CSPACE_CMYK",   "CUPS_CSPACE_YMCK",
      "CUPS_CSPACE_KCMY",    "CUPS_CSPACE_KCMYcm", "CUPS_CSPACE_GMCK",   "CUPS_CSPACE_GMCS",
      "CUPS_CSPACE_WHITE",   "CUPS_CSPACE_GOLD",   "CUPS_CSPACE_SILVER", "CUPS_CSPACE_CIEXYZ",
      "CUPS_CSPACE_CIELab",  "CUPS_CSPACE_RGBW",   "CUPS_CSPACE_SW",     "CUPS_CSPACE_SRGB",
      "CUPS_CSPACE_ADOBERGB"};
  static const char* const ICC_NAMES[] = {
      "CUPS_CSPACE_ICC1", "CUPS_CSPACE_ICC2", "CUPS_CSPACE_ICC3", "CUPS_CSPACE_ICC4",
      "CUPS_CSPACE_ICC5", "CUPS_CSPACE_ICC6", "CUPS_CSPACE_ICC7", "CUPS_CSPACE_ICC8",
      "CUPS_CSPACE_ICC9", "CUPS_CSPACE_ICCA", "CUPS_CSPACE_ICCB", "CUPS_CSPACE_ICCC",
      "CUPS_CSPACE_ICCD", "CUPS_CSPACE_ICCE", "CUPS_CSPACE_ICCF"};
  static const char* const DEVICE_NAMES[] = {
      "CUPS_CSPACE_DEVICE1", "CUPS_CSPACE_DEVICE2", "CUPS_CSPACE_DEVICE3", "CUPS_CSPACE_DEVICE4",
      "CUPS_CSPACE_DEVICE5", "CUPS_CSPACE_DEVICE6", "CUPS_CSPACE_DEVICE7", "CUPS_CSPACE_DEVICE8",
      "CUPS_CSPACE_DEVICE9", "CUPS_CSPACE_DEVICEA", "CUPS_CSPACE_DEVICEB", "CUPS_CSPACE_DEVICEC",
      "CUPS_CSPACE_DEVICED", "CUPS_CSPACE_DEVICEE", "CUPS_CSPACE_DEVICEF"};
  static char no_name[NO_NAME_SIZE];
  const char* name = find_name(NAMES, value);
  if (name == nullptr) name = find_name(ICC_NAMES, value, CUPS_CSPACE_ICC1);
  if (name == nullptr) name = find_name(DEVICE_NAMES, value, CUPS_CSPACE_DEVICE1);
  return name_or_number(name, value, "cups_cspace_e", no_name);
}

const char* to_string(cups_cut_e value) {
  static const char* const NAMES[] = {"CUPS_CUT_NONE", "CUPS_CUT_FILE", "CUPS_CUT_JOB",
                                      "CUPS_CUT_SET", "CUPS_CUT_PAGE"};
  static char no_name[NO_NAME_SIZE];
  return name_or_number(find_name(NAMES, value), value, "cups_cut_e", no_name);
}

const char* to_string(cups_edge_e value) {
  static const char* const NAMES[] = {"CUPS_EDGE_TOP", "CUPS_EDGE_RIGHT", "CUPS_EDGE_BOTTOM",
                                      "CUPS_EDGE_LEFT"};
  static char no_name[NO_NAME_SIZE];
  return name_or_number(find_name(NAMES, value), value, "cups_edge_e", no_name);
}

const char* to_string(cups_jog_e value) {
  static const char* const NAMES[] = {"CUPS_JOG_NONE", "CUPS_JOG_FILE", "CUPS_JOG_JOB",
                                      "CUPS_JOG_SET"};
  static char no_name[NO_NAME_SIZE];
  return name_or_number(find_name(NAMES, value), value, "cups_jog_e", no_name);
}

const char* to_string(cups_order_e value) {
  static const char* const NAMES[] = {"CUPS_ORDER_CHUNKED", "CUPS_ORDER_BANDED",
                                      "CUPS_ORDER_PLANAR"};
  static char no_name[NO_NAME_SIZE];
  return name_or_number(find_name(NAMES, value), value, "cups_order_e", no_name);
}

const char* to_string(cups_orient_e value) {
  static const char* const NAMES[] = {"CUPS_ORIENT_0", "CUPS_ORIENT_90", "CUPS_ORIENT_180",
                                      "CUPS_ORIENT_270"};
  static char no_name[NO_NAME_SIZE];
  return name_or_number(find_name(NAMES, value), value, "cups_orient_e", no_name);
}

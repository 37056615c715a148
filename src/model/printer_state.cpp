// SPDX-License-Identifier: Apache-2.0
#include "model/printer_state.h"

#include <cstdio>
#include <cstring>

PrinterState::PrinterState(Type kind) : type(kind) {}

PrinterState::PrinterState(Type kind, const unsigned char (*code)[3]) : type(kind) {
  std::memcpy(error_code, *code, sizeof error_code);
}

PrinterState PrinterState::Unavailable() { return PrinterState(Type::Unavailable); }

PrinterState PrinterState::Good() {
  const unsigned char no_error[3] = {0x00, 0x00, 0x00};
  return Error(&no_error);
}

PrinterState PrinterState::Error(const unsigned char (*code)[3]) {
  return PrinterState(Type::Available, code);
}

bool PrinterState::operator==(const PrinterState& other) const {
  if (other.type == Type::Available) return *this == &other.error_code;
  return type == Type::Unavailable && other.type == Type::Unavailable;
}

bool PrinterState::operator!=(const PrinterState& other) const { return !(*this == other); }

bool PrinterState::operator==(const unsigned char (*code)[3]) const {
  return type == Type::Available && std::memcmp(error_code, *code, sizeof error_code) == 0;
}

bool PrinterState::operator!=(const unsigned char (*code)[3]) const { return !(*this == code); }

std::string PrinterState::to_string() const {
  if (type == Type::Unavailable) return "UNAVAILABLE";
  if (type != Type::Available) return "UNKNOWN";
  if (*this == Good()) return "GOOD";
  char text[sizeof "0x00,0x00,0x00"];
  std::snprintf(text, sizeof text, "0x%02x,0x%02x,0x%02x", error_code[0], error_code[1],
                error_code[2]);
  return text;
}

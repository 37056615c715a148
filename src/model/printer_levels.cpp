// SPDX-License-Identifier: Apache-2.0
#include "model/printer_levels.h"

#include <cstdio>

PrinterLevels::PrinterLevels(Type kind) : type(kind) {}

PrinterLevels PrinterLevels::Unavailable() { return PrinterLevels(Type::Unavailable); }

PrinterLevels PrinterLevels::Fill(unsigned short total, unsigned short remaining,
                                  unsigned char sheet_type) {
  PrinterLevels levels(Type::Available);
  levels.ink_ribbon_total = total;
  levels.ink_ribbon_remaining = remaining;
  levels.ink_sheet_type = sheet_type;
  return levels;
}

bool PrinterLevels::isAvailable() const { return type == Type::Available; }

std::string PrinterLevels::InkSheetTypeName() const {
  // The inch mark is U+2033, spelled in bytes so that no compiler's character set matters.
  if (ink_sheet_type == 0x04) return "13x18(5x7\xe2\x80\xb3)";
  if (ink_sheet_type == 0x0F) return "15x20(6x8\xe2\x80\xb3)";
  char text[sizeof "00"];
  std::snprintf(text, sizeof text, "%02x", ink_sheet_type);
  return text;
}

std::string PrinterLevels::to_string() const {
  if (type == Type::Unavailable) return "UNAVAILABLE";
  if (type != Type::Available) return "UNKNOWN";
  char text[sizeof "ink ribbon 65535 / 65535 ink_sheet_type=0x00"];
  std::snprintf(text, sizeof text, "ink ribbon %d / %d ink_sheet_type=0x%02x", ink_ribbon_remaining,
                ink_ribbon_total, ink_sheet_type);
  return text;
}

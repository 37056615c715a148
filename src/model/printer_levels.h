// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

// The ink ribbon as reported by the printer, or unavailable if there is no status. Counts are in
// the printer's own unit. No value is checked.
class PrinterLevels {
 public:
  enum class Type : std::uint32_t { Unavailable = 0, Available = 1 };

  Type type;
  std::uint16_t ink_ribbon_total = 0;  // a full ribbon
  std::uint16_t ink_ribbon_remaining = 0;
  std::uint8_t ink_sheet_type = 0;  // a code for its print size

  // Sets all other members to 0.
  explicit PrinterLevels(Type kind);

  static PrinterLevels Unavailable();
  static PrinterLevels Fill(unsigned short total, unsigned short remaining,
                            unsigned char sheet_type);

  bool isAvailable() const;

  // The print size as text in UTF-8, or two hexadecimal digits if the sheet type has no name. Reads
  // only the sheet type, even if the levels are unavailable.
  std::string InkSheetTypeName() const;

  // For the log: "ink ribbon 37 / 400 ink_sheet_type=0x04" (remaining before total),
  // "UNAVAILABLE", or "UNKNOWN" for a type that is neither of the two.
  std::string to_string() const;
};

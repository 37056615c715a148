// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

// The ink ribbon as the printer describes it, or unavailable when no status could be had. Counts
// are in the printer's own unit and hold what it sent; no value is checked.
class PrinterLevels {
 public:
  enum class Type : std::uint32_t { Unavailable = 0, Available = 1 };

  Type type;
  std::uint16_t ink_ribbon_total = 0;      // a full ribbon
  std::uint16_t ink_ribbon_remaining = 0;  // what is left of it
  std::uint8_t ink_sheet_type = 0;         // the print size that the ink sheet is for

  // All but the type is 0.
  explicit PrinterLevels(Type kind);

  static PrinterLevels Unavailable();
  static PrinterLevels Fill(unsigned short total, unsigned short remaining,
                            unsigned char sheet_type);

  bool isAvailable() const;

  // The print size for a user to read, in UTF-8, or two hexadecimal digits where the sheet type
  // has no name. Looks at the sheet type alone, also when the levels are unavailable.
  std::string InkSheetTypeName() const;

  // For the log: "ink ribbon 37 / 400 ink_sheet_type=0x04" (remaining before total),
  // "UNAVAILABLE", or "UNKNOWN" for a type that is neither of the two.
  std::string to_string() const;
};

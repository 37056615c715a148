// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

// The printer's error condition: unavailable if there is no status, otherwise the 3-byte error code
// that the printer sent. All zeros mean no error.
class PrinterState {
 public:
  enum class Type : std::uint32_t { Unavailable = 0, Available = 1 };

  Type type;
  std::uint8_t error_code[3] = {};  // in the order of the reply; valid only if available

  explicit PrinterState(Type kind);
  PrinterState(Type kind, const unsigned char (*code)[3]);

  static PrinterState Unavailable();
  static PrinterState Good();
  // Copies the code; keeps no pointer to it.
  static PrinterState Error(const unsigned char (*code)[3]);

  // Unavailable states are equal only to each other, and to no code.
  bool operator==(const PrinterState& other) const;
  bool operator!=(const PrinterState& other) const;
  bool operator==(const unsigned char (*code)[3]) const;
  bool operator!=(const unsigned char (*code)[3]) const;

  // For the log: "GOOD", the code as "0x06,0x02,0x02", "UNAVAILABLE", or "UNKNOWN" for a type
  // that is neither of the two.
  std::string to_string() const;
};

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "model/printer_levels.h"
#include "model/printer_state.h"

// One decoded status reply, or unavailable if there is no status. The other members are valid only
// if the info is available.
class PrinterInfo {
 public:
  enum class Type : std::uint32_t { Unavailable = 0, Available = 1 };

  Type type;
  std::uint8_t power_state = 0;
  std::uint8_t mech_state[2] = {};
  std::uint8_t memory_state = 0;
  std::uint8_t error_info[3] = {};
  std::uint16_t ink_ribbon_total = 0;
  std::uint16_t ink_ribbon_remaining = 0;
  std::uint8_t ink_sheet_type = 0;

  explicit PrinterInfo(Type kind);

  static PrinterInfo Unavailable();

  // Decodes the first 152 bytes of a reply; keeps no pointer to it. No value is checked: the result
  // is always available.
  static PrinterInfo Parse(const char* reply);

  // Each is false for an unavailable info.
  bool isAvailable() const;
  bool isWakeUp() const;
  bool isMechGood() const;
  bool isMemoryFree() const;

  // Unavailable if the info is; otherwise as in the reply, even if the printer is asleep.
  PrinterState GetPrinterState() const;
  PrinterLevels GetPrinterLevels() const;

  // One line for the log, "UNAVAILABLE", or "UNKNOWN" for a type that is neither of the two.
  std::string to_string() const;
};

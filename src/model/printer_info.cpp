// SPDX-License-Identifier: Apache-2.0
#include "model/printer_info.h"

#include <cstdio>

namespace {

// Offsets into the status reply, in bytes. Counts take two bytes, the high one first. The meaning
// of all other bytes is unknown; they are ignored.
enum Offset {
  MEMORY_STATE = 4,
  POWER_STATE = 5,
  MECH_STATE = 128,
  ERROR_INFO = 131,
  INK_SHEET_TYPE = 145,
  INK_RIBBON_TOTAL = 148,
  INK_RIBBON_REMAINING = 150,
};

}  // namespace

PrinterInfo::PrinterInfo(Type kind) : type(kind) {}

PrinterInfo PrinterInfo::Unavailable() { return PrinterInfo(Type::Unavailable); }

PrinterInfo PrinterInfo::Parse(const char* reply) {
  const auto byte = [reply](int offset) { return static_cast<std::uint8_t>(reply[offset]); };
  const auto count = [byte](int offset) {
    return static_cast<std::uint16_t>(byte(offset) << 8 | byte(offset + 1));
  };

  PrinterInfo info(Type::Available);
  info.power_state = byte(POWER_STATE);
  info.mech_state[0] = byte(MECH_STATE);
  info.mech_state[1] = byte(MECH_STATE + 1);
  info.memory_state = byte(MEMORY_STATE);
  info.error_info[0] = byte(ERROR_INFO);
  info.error_info[1] = byte(ERROR_INFO + 1);
  info.error_info[2] = byte(ERROR_INFO + 2);
  info.ink_ribbon_total = count(INK_RIBBON_TOTAL);
  info.ink_ribbon_remaining = count(INK_RIBBON_REMAINING);
  info.ink_sheet_type = byte(INK_SHEET_TYPE);
  return info;
}

bool PrinterInfo::isAvailable() const { return type == Type::Available; }

bool PrinterInfo::isWakeUp() const { return type != Type::Unavailable && power_state == 0x00; }

bool PrinterInfo::isMechGood() const {
  return type != Type::Unavailable && (mech_state[0] == 0x00 || mech_state[0] == 0x20) &&
         mech_state[1] == 0x00;
}

bool PrinterInfo::isMemoryFree() const { return type != Type::Unavailable && memory_state != 0xFF; }

PrinterState PrinterInfo::GetPrinterState() const {
  if (type == Type::Unavailable) return PrinterState::Unavailable();
  return PrinterState::Error(&error_info);
}

PrinterLevels PrinterInfo::GetPrinterLevels() const {
  if (type == Type::Unavailable) return PrinterLevels::Unavailable();
  return PrinterLevels::Fill(ink_ribbon_total, ink_ribbon_remaining, ink_sheet_type);
}

std::string PrinterInfo::to_string() const {
  if (type == Type::Unavailable) return "UNAVAILABLE";
  if (type != Type::Available) return "UNKNOWN";
  char head[sizeof "power_state=0x00 mech_state=[0x00,0x00] memory_state=0x00"];
  std::snprintf(head, sizeof head,
                "power_state=0x%02x mech_state=[0x%02x,0x%02x] memory_state=0x%02x", power_state,
                mech_state[0], mech_state[1], memory_state);
  return std::string(head) + " error_info=[" + GetPrinterState().to_string() + "] levels=[" +
         GetPrinterLevels().to_string() + "]";
}

// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include "model/printer_info.h"

namespace {

template <typename Value>
Value unknown_type() {
  return Value(static_cast<typename Value::Type>(2));
}

template <typename Value>
void expect_plain_value() {
  EXPECT_TRUE(std::is_trivially_copyable_v<Value> && sizeof(typename Value::Type) == 4);
  EXPECT_EQ(Value::Unavailable().to_string(), "UNAVAILABLE");
  EXPECT_EQ(unknown_type<Value>().to_string(), "UNKNOWN");
}

TEST(Model, ValuesArePlain) {
  expect_plain_value<PrinterInfo>();
  expect_plain_value<PrinterState>();
  expect_plain_value<PrinterLevels>();
}

// Adjacent bytes differ, and many are negative as a char, so that a wrong offset, order or sign
// fails. The vector ends after the last byte that may be read.
TEST(PrinterInfo, ParsesTheLayout) {
  std::vector<char> reply(152);
  std::iota(reply.rbegin(), reply.rend(), static_cast<char>(126));
  EXPECT_EQ(PrinterInfo::Parse(reply.data()).to_string(),
            "power_state=0x10 mech_state=[0x95,0x94] memory_state=0x11 "
            "error_info=[0x92,0x91,0x90] levels=[ink ribbon 32638 / 33152 ink_sheet_type=0x84]");
}

std::string answers(const PrinterInfo& info) {
  return std::string(info.isAvailable() ? "available" : "") + (info.isWakeUp() ? " awake" : "") +
         (info.isMechGood() ? " good" : "") + (info.isMemoryFree() ? " free" : "");
}

TEST(PrinterInfo, AnswersFromTheReply) {
  const struct {
    int offset, byte, next;
    const char* expected;
  } cases[] = {
      {5, 0x01, 0, "available good free"},       {4, 0xFF, 0, "available awake good"},
      {4, 0xFE, 0, "available awake good free"}, {128, 0x20, 0, "available awake good free"},
      {128, 0x01, 0, "available awake free"},    {128, 0, 0x01, "available awake free"},
      {128, 0x20, 0x80, "available awake free"}, {5, 0x02, 0, "available good free"},
  };
  for (const auto& c : cases) {
    char reply[192] = {};
    reply[c.offset] = static_cast<char>(c.byte);
    reply[c.offset + 1] = static_cast<char>(c.next);
    EXPECT_EQ(answers(PrinterInfo::Parse(reply)), c.expected);
    EXPECT_EQ(PrinterInfo::Parse(reply).GetPrinterState(), PrinterState::Good());
  }
  EXPECT_EQ(answers(PrinterInfo::Unavailable()), "");
  EXPECT_EQ(PrinterInfo::Unavailable().GetPrinterState(), PrinterState::Unavailable());
  EXPECT_FALSE(PrinterInfo::Unavailable().GetPrinterLevels().isAvailable());
}

TEST(PrinterState, Equality) {
  const unsigned char code[3] = {0x3A, 0x0A, 0x0F};
  const PrinterState state = PrinterState::Error(&code);
  EXPECT_TRUE(state == &code && state == PrinterState::Error(&code));
  EXPECT_FALSE(state != &code || state != PrinterState::Error(&code));
  for (int i = 0; i < 3; ++i) {
    unsigned char other[3] = {0x3A, 0x0A, 0x0F};
    ++other[i];
    EXPECT_TRUE(state != &other && state != PrinterState::Error(&other)) << i;
  }

  const unsigned char good[3] = {0, 0, 0};
  EXPECT_EQ(PrinterState::Error(&good), PrinterState::Good());
  PrinterState unavailable = PrinterState::Unavailable();
  unavailable.error_code[0] = 1;
  EXPECT_EQ(unavailable, PrinterState::Unavailable());
  EXPECT_TRUE(PrinterState::Unavailable() != &good);
  EXPECT_NE(PrinterState::Unavailable(), PrinterState::Good());
  EXPECT_NE(unknown_type<PrinterState>(), unknown_type<PrinterState>());
}

}  // namespace

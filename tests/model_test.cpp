// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "model/printer_info.h"

namespace {

TEST(Model, NamesTypesThatAreNotAvailable) {
  for (const unsigned type : {0U, 2U}) {
    const std::string name = type == 0 ? "UNAVAILABLE" : "UNKNOWN";
    EXPECT_EQ(PrinterInfo(static_cast<PrinterInfo::Type>(type)).to_string(), name);
    EXPECT_EQ(PrinterState(static_cast<PrinterState::Type>(type)).to_string(), name);
    EXPECT_EQ(PrinterLevels(static_cast<PrinterLevels::Type>(type)).to_string(), name);
  }
  const PrinterLevels none = PrinterLevels::Unavailable();
  EXPECT_EQ(none.ink_ribbon_total | none.ink_ribbon_remaining | none.ink_sheet_type, 0);
}

TEST(PrinterInfo, AnswersFromTheReply) {
  for (const char others : {'\x00', '\xff'}) {
    std::string reply(152, others);  // ends after the last byte that may be read
    for (unsigned value = 0; value < 0x10000; ++value) {
      reply[4] = reply[129] = static_cast<char>(value);
      reply[5] = reply[128] = static_cast<char>(value >> 8);
      const PrinterInfo info = PrinterInfo::Parse(reply.data());
      ASSERT_EQ(info.isMechGood(), value == 0x0000 || value == 0x2000);
      ASSERT_EQ(info.isMemoryFree(), (value & 0xFF) != 0xFF);
      ASSERT_EQ(info.isWakeUp(), value >> 8 == 0x00);
    }
  }
  const PrinterInfo none = PrinterInfo::Unavailable();
  EXPECT_FALSE(none.isAvailable() || none.isWakeUp() || none.isMechGood() || none.isMemoryFree());
}

TEST(PrinterState, IsEqualToTheSameCodeOnly) {
  const unsigned char codes[][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  const PrinterState good = PrinterState::Good(), none = PrinterState::Unavailable();
  const PrinterState unknown(static_cast<PrinterState::Type>(2));
  for (const auto& code : codes) EXPECT_EQ(good == PrinterState::Error(&code), &code == &codes[0]);
  EXPECT_TRUE(good != &codes[1] && good != none && none != good && none == none);
  EXPECT_FALSE(good != good || good != &codes[0]);
  EXPECT_TRUE(none != &codes[0] && none != unknown && unknown != none && unknown != unknown);
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
#include <cups/cups.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "markers/marker_report.h"
#include "reasons/state_reasons.h"
#include "support.h"

namespace {

// The destinations that the fakes below hand out instead of a scheduler's.
struct {
  bool has_default;
  const char* reasons;  // null: the destination has other options only
  int lists_held;
} printing_system;

}  // namespace

int cupsGetDests(cups_dest_t** dests) {
  *dests = nullptr;
  ++printing_system.lists_held;
  int count = cupsAddDest("other", nullptr, 0, dests);
  (*dests)->num_options = cupsAddOption("printer-state-reasons", "wrong", 0, &(*dests)->options);
  if (!printing_system.has_default) return count;
  count = cupsAddDest("ribbon", nullptr, count, dests);
  cups_dest_t* ribbon = cupsGetDest("ribbon", nullptr, count, *dests);
  ribbon->is_default = 1;
  ribbon->num_options = cupsAddOption("copies", "1", 0, &ribbon->options);
  if (printing_system.reasons != nullptr) {
    ribbon->num_options = cupsAddOption("printer-state-reasons", printing_system.reasons,
                                        ribbon->num_options, &ribbon->options);
  }
  return count;
}

void cupsFreeDests(int count, cups_dest_t* dests) {
  --printing_system.lists_held;
  EXPECT_EQ(count, printing_system.has_default ? 2 : 1);
  while (count > 0) count = cupsRemoveDest(dests[0].name, nullptr, count, &dests);
  std::free(dests);
}

namespace {

std::string update(const std::string& bytes) {
  unsigned char code[3];
  std::memcpy(code, bytes.data(), sizeof code);
  return captured_stderr([&code] { update_printer_state(PrinterState::Error(&code)); });
}

TEST(UpdatePrinterState, KnowsEveryCode) {
  std::map<std::string, int> codes = {
      {{0x06, 2, 2}, 1},   {{0x09, 2, 2}, 2},      {{0x03, 1, 1}, 3},      {{0x08, 1, 1}, 4},
      {{0x05, 2, 2}, 5},   {{0x02, 2, 2}, 6},      {{0x04, 3, 4}, 7},      {{0x07, 3, 3}, 8},
      {{0x0A, 5, 5}, 10},  {{0x0B, 5, 7}, 11},     {{0x30, 9, 7}, 12},     {{0x31, 9, 7}, 13},
      {{0x34, 9, 7}, 13},  {{0x32, 9, 15}, 13},    {{0x33, 9, 15}, 13},    {{0x36, 9, 15}, 13},
      {{0x37, 9, 15}, 13}, {{0x40, 14, 15}, 14},   {{0x0C, 15, '\0'}, 18}, {{0x01, 6, 6}, 20},
      {{0x0D, 8, 7}, 21},  {{0x0E, 8, 7}, 21},     {{0x0F, 8, 7}, 21},     {{0x10, 8, 8}, 22},
      {{0x11, 6, 6}, 24},  {{'\0', '\0', '\0'}, 0}};
  for (char first = 0x20; first <= 0x29; ++first) codes[{first, 7, 7}] = 9;
  for (char first = 0x3A; first <= 0x3F; ++first) codes[{first, 10, 15}] = 14;
  ASSERT_EQ(codes.size(), 42U);

  for (const auto& [code, reason] : codes) EXPECT_EQ(update(code), state_lines(reason));
  // Every first byte, and one wrong second and third byte each: no code is known by a part of it.
  for (const auto& [code, reason] : codes) {
    for (int i = 0; i < 258; ++i) {
      std::string other = code;
      if (i < 256)
        other[0] = static_cast<char>(i);
      else
        other[static_cast<std::size_t>(i) - 255] ^= 0x40;
      if (codes.count(other) != 0) continue;
      EXPECT_EQ(update(other).find("DEBUG: encountered undefined error number (0x"), 0U);
    }
  }
}

TEST(UpdatePrinterState, TellsWhatItCannotName) {
  EXPECT_EQ(update("\x06\x02\x03"),
            "DEBUG: encountered undefined error number (0x06,0x02,0x03)\n" + state_lines(23));
  EXPECT_EQ(captured_stderr([] { update_printer_state(PrinterState::Unavailable()); }),
            state_lines(23));
}

TEST(CleanPrinterState, RemovesWhatTheDefaultLists) {
  const struct {
    bool has_default;
    const char* reasons;
    const char* lines;
  } cases[] = {
      {true, "none", "STATE: -none\n"},
      {true, "a,b,c", "STATE: -a\nSTATE: -b\nSTATE: -c\n"},
      {true, ",a,,b,", "STATE: -a\nSTATE: -b\n"},
      {true, "a, b", "STATE: -a\nSTATE: - b\n"},
      {true, ",,", ""},
      {true, "", ""},
      {true, nullptr, ""},
      {false, nullptr, "DEBUG: Not found default(destination) printer.\n"},
  };
  for (const auto& c : cases) {
    printing_system = {c.has_default, c.reasons, 0};
    EXPECT_EQ(captured_stderr(clean_printer_state), std::string("clean_printer_state() START\n") +
                                                        c.lines + "clean_printer_state() END\n");
    EXPECT_EQ(printing_system.lists_held, 0);
  }
}

TEST(ReportPrinterLevels, WritesAllSixLines) {
  const struct {
    PrinterLevels levels;
    const char *text, *level, *message, *name;
  } cases[] = {
      {PrinterLevels::Unavailable(), "UNAVAILABLE", "-2", " ", "InkSheetType: 00"},
      {PrinterLevels::Fill(300, 120, 0x04), "ink ribbon 120 / 300 ink_sheet_type=0x04", "40",
       "Ink Ribbon = 120 / 300", "InkSheetType: 13x18(5x7\u2033)"},
      {PrinterLevels::Fill(300, 299, 0x0F), "ink ribbon 299 / 300 ink_sheet_type=0x0f", "99",
       "Ink Ribbon = 299 / 300", "InkSheetType: 15x20(6x8\u2033)"},
      {PrinterLevels::Fill(300, 0, 0xFE), "ink ribbon 0 / 300 ink_sheet_type=0xfe", "0",
       "Ink Ribbon = 0 / 300", "InkSheetType: fe"},
      {PrinterLevels::Fill(1, 65534, 0xFF), "ink ribbon 65534 / 1 ink_sheet_type=0xff", "6553400",
       "Ink Ribbon = 65534 / 1", " "},
      {PrinterLevels::Fill(0, 50, 0xFF), "ink ribbon 50 / 0 ink_sheet_type=0xff", "-1", " ", " "},
      {PrinterLevels::Fill(65535, 5, 0x05), "ink ribbon 5 / 65535 ink_sheet_type=0x05", "-1", " ",
       "InkSheetType: 05"},
      {PrinterLevels::Fill(300, 65535, 0x0F), "ink ribbon 65535 / 300 ink_sheet_type=0x0f", "-1",
       " ", "InkSheetType: 15x20(6x8\u2033)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(captured_stderr([&c] { report_printer_levels(c.levels); }),
              std::string("DEBUG: [ReportLevels] ") + c.text +
                  "\nATTR: marker-colors=#00FF00\nATTR: marker-levels=" + c.level +
                  "\nATTR: marker-message=\"" + c.message + "\"\nATTR: marker-names=\"" + c.name +
                  "\"\nATTR: marker-types=ink-ribbon\n");
  }
}

}  // namespace

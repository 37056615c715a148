// SPDX-License-Identifier: Apache-2.0
#include <cups/cups.h>
#include <gtest/gtest.h>

#include <string>

#include "markers/marker_report.h"
#include "reasons/state_reasons.h"
#include "support.h"

namespace {

// The destinations that the fakes below return.
struct {
  bool has_default;
  const char* reasons;  // null: the destination has only other options
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
  const char* reasons = printing_system.reasons;
  ribbon->num_options = cupsAddOption(reasons != nullptr ? "printer-state-reasons" : "copies",
                                      reasons != nullptr ? reasons : "1", 0, &ribbon->options);
  return count;
}

void cupsFreeDests(int count, cups_dest_t* dests) {
  --printing_system.lists_held;
  EXPECT_EQ(count, printing_system.has_default ? 2 : 1);
  while (count > 0) count = cupsRemoveDest(dests[0].name, nullptr, count, &dests);
  std::free(dests);
}

namespace {

std::string update(unsigned code) {
  const unsigned char bytes[3] = {static_cast<unsigned char>(code >> 16),
                                  static_cast<unsigned char>(code >> 8),
                                  static_cast<unsigned char>(code)};
  return captured_stderr([&bytes] { update_printer_state(PrinterState::Error(&bytes)); });
}

TEST(UpdatePrinterState, KnowsEveryCode) {
  for (const auto& [code, reason] : CODES) {
    EXPECT_EQ(update(code), state_lines(reason));
    for (const unsigned other : {code ^ 0x400000U, code ^ 0x004000U, code ^ 0x000040U}) {
      const bool is_known = CODES.count(other) == 1;  // two of three bytes are not enough
      EXPECT_EQ(update(other).find("DEBUG: encountered undefined") != 0U, is_known) << other;
    }
  }
}

TEST(UpdatePrinterState, ReportsUnknownCodesAndMissingReplies) {
  EXPECT_EQ(update(0x060203),
            "DEBUG: encountered undefined error number (0x06,0x02,0x03)\n" + state_lines(23));
  EXPECT_EQ(captured_stderr([] { update_printer_state(PrinterState::Unavailable()); }),
            state_lines(23));
}

TEST(CleanPrinterState, RemovesTheReasonsOfTheDefaultDestination) {
  const struct {
    bool has_default;
    const char* reasons;
    const char* lines;
  } cases[] = {
      {true, "a b;c\t,.:|/", "STATE: -a b;c\t\nSTATE: -.:|/\n"},
      {true, ",a,,b,", "STATE: -a\nSTATE: -b\n"},
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
    const char *level, *message, *name;
  } cases[] = {
      {PrinterLevels::Unavailable(), "-2", " ", "InkSheetType: 00"},
      {PrinterLevels::Fill(300, 120, 4), "40", "Ink Ribbon = 120 / 300",
       "InkSheetType: 13x18(5x7\u2033)"},
      {PrinterLevels::Fill(300, 299, 15), "99", "Ink Ribbon = 299 / 300",
       "InkSheetType: 15x20(6x8\u2033)"},
      {PrinterLevels::Fill(300, 0, 0xFE), "0", "Ink Ribbon = 0 / 300", "InkSheetType: fe"},
      {PrinterLevels::Fill(1, 65534, 0xFF), "6553400", "Ink Ribbon = 65534 / 1", " "},
      {PrinterLevels::Fill(0, 50, 0xFF), "-1", " ", " "},
      {PrinterLevels::Fill(65535, 5, 5), "-1", " ", "InkSheetType: 05"},
      {PrinterLevels::Fill(300, 65535, 0x4F), "-1", " ", "InkSheetType: 4f"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(captured_stderr([&c] { report_printer_levels(c.levels); }),
              marker_lines(c.levels.to_string(), c.level, c.message, c.name));
  }
}

}  // namespace

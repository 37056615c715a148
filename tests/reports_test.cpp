// SPDX-License-Identifier: Apache-2.0
#include <cups/cups.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "markers/marker_report.h"
#include "model/printer_info.h"
#include "reasons/state_reasons.h"
#include "support.h"

namespace {

// The destinations that the fakes below return. A text changes when they are freed.
char name[] = "name", reasons_option[] = "printer-state-reasons";
cups_option_t options[2];
cups_dest_t dests[] = {{name, nullptr, 0, 1, &options[0]}, {name, nullptr, 0, 1, &options[1]}};
int lists_held;

}  // namespace

int cupsGetDests(cups_dest_t** list) {
  ++lists_held;
  *list = dests;
  return 2;
}

void cupsFreeDests(int count, cups_dest_t* list) {
  EXPECT_TRUE(count == 2 && list == dests);
  --lists_held;
  std::memset(options[1].value, '!', std::strlen(options[1].value));
}

namespace {

// Each byte of each code has every value: two of three bytes are not enough.
TEST(UpdatePrinterState, KnowsEveryCode) {
  for (const auto& known : CODES) {
    for (const unsigned offset : {131U, 132U, 133U}) {
      std::string reply(192, '\0'), expected;
      for (unsigned i = 0; i < 3; ++i) reply[133 - i] = static_cast<char>(known.first >> 8 * i);
      const std::string log = captured_stderr([&] {
        for (int value = 0; value < 256; ++value) {
          reply[offset] = static_cast<char>(value);
          expected += state_lines(number(reply, 131, 3));
          update_printer_state(PrinterInfo::Parse(reply.data()).GetPrinterState());
        }
      });
      ASSERT_TRUE(log == expected) << hex(known.first, 3) << ", with every value at " << offset;
    }
  }
}

TEST(CleanPrinterState, RemovesTheReasonsOfTheDefaultDestination) {
  const struct {
    int defaults, options;
    std::string reasons, lines;
  } cases[] = {
      {1, 0, "a", ""},  // first: no strtok has been called yet
      {1, 1, "none", "STATE: -none\n"},
      {1, 1, "a b;c\t,.:|/", "STATE: -a b;c\t\nSTATE: -.:|/\n"},
      {1, 1, ",a,,b,", "STATE: -a\nSTATE: -b\n"},
      {1, 1, std::string(300, 'x'), "STATE: -" + std::string(300, 'x') + "\n"},
      {0, 1, "a", "DEBUG: Not found default(destination) printer.\n"},
  };
  for (const auto& c : cases) {
    std::string reasons = c.reasons;
    options[0] = {reasons_option, name};
    options[1] = {reasons_option, reasons.data()};
    dests[1].is_default = c.defaults;
    dests[1].num_options = c.options;
    EXPECT_EQ(captured_stderr(clean_printer_state),
              "clean_printer_state() START\n" + c.lines + "clean_printer_state() END\n");
    EXPECT_EQ(lists_held, 0);
  }
}

TEST(ReportPrinterLevels, RoundsDownAndNamesEverySheet) {
  std::vector<unsigned> counts(102);
  std::iota(counts.begin(), counts.end(), 0);
  counts.insert(counts.end(), {256, 999, 10000, 32767, 32768, 65533, 65534, 65535});
  std::string reply(192, '\0');
  for (const unsigned total : counts) {
    for (const unsigned remaining : counts) {
      ++reply[145];
      for (unsigned i = 0; i < 4; ++i)
        reply[151 - i] = static_cast<char>((total << 16 | remaining) >> 8 * i);
      const auto levels = PrinterInfo::Parse(reply.data()).GetPrinterLevels();
      ASSERT_EQ(captured_stderr([&levels] { report_printer_levels(levels); }), marker_lines(reply));
    }
  }
}

}  // namespace

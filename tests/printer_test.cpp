// SPDX-License-Identifier: Apache-2.0
//
// The virtual printer without anything that it is attached through, and in its own time.
#include "printer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "model/printer_info.h"
#include "support.h"

namespace {

using std::chrono::milliseconds;
using Sent = std::vector<std::pair<int, std::string>>;  // milliseconds, bytes

// What the printer does from time 0 on: each piece with its time and size, a small letter where it
// begins a reply that says asleep or awake, and its death.
std::string play(Printer printer, const Sent& sent) {
  std::string events;
  auto next = sent.begin();
  for (;;) {
    const Time arrival = next != sent.end() ? Time(milliseconds(next->first)) : Time::max();
    const Time now = std::min(arrival, printer.NextDue());
    if (printer.IsDead()) return events + "dead";
    if (now == Time::max()) return events;
    if (now == arrival) {
      printer.Receive(next->second.data(), next->second.size(), now);
      ++next;
      continue;
    }
    const Piece piece = printer.Take(now);
    const auto time = std::chrono::duration_cast<milliseconds>(now.time_since_epoch()).count();
    events += std::to_string(time) + ':' + std::to_string(piece.size);
    if (piece.size > 6) events += piece.data[5] == 0 ? "" : piece.data[5] == 1 ? "z" : "?";
    events += ' ';
  }
}

Printer printer_of(const std::string& query) {
  Settings settings;
  EXPECT_TRUE(parse_settings(("virtual-printer://test/" + query).c_str(), false, settings));
  return Printer(settings.printer);
}

TEST(Printer, RepliesInItsOwnTime) {
  const std::string ask = "\x1bV21";
  const std::string wake = "\x1b\x45WU";
  const struct {
    const char* query;
    Sent sent;
    const char* events;
  } cases[] = {
      {"", {{0, wake}, {500, ask}}, "500:192 "},
      {"", {{0, wake + ask + ask}}, "0:192 0:192 "},
      {"", {{0, "\x1b\x1bV"}, {9, "2"}, {10, "1\x1b"}}, "10:192 "},
      {"?asleep=2", {{0, ask}, {1, ask}, {2, ask}}, "0:192z 1:192z 2:192 "},
      {"?pause=700", {{0, ask + ask}, {1, ask}}, "700:192 1400:192 2100:192 "},
      {"?extra=8&pieces=100,60&gap=300", {{0, ask}}, "0:100 300:60 600:40 "},
      {"?pieces=7&gap=60000&pause=1", {{0, ask}, {9, ask}}, "1:7 60001:185 60002:7 120002:185 "},
      {"?silence=0", {{0, ask}, {5, ask}}, "0:0 5:0 "},
      {"?silence=191&extra=320", {{0, ask}}, "0:191 "},
      {"?silence=50&pieces=100", {{0, ask}}, "0:50 "},
      {"?die=start", {{0, ask}}, "dead"},
      {"?die=wake-up", {{0, ask}, {1, wake + ask}}, "0:192 dead"},
      {"?die=reply&pieces=40&gap=10", {{0, ask}}, "0:40 10:56 dead"},
      {"?die=reply&silence=0", {{0, ask}}, "0:0 dead"},
  };
  for (const auto& c : cases) {
    std::string events;
    captured_stderr([&] { events = play(printer_of(c.query), c.sent); });
    EXPECT_EQ(events, c.events) << c.query;
  }
}

TEST(Printer, RepliesWithItsSettings) {
  captured_stderr([] {
    Printer printer = printer_of("?error=0a0b0c&sheet=0d&total=258&remaining=772");
    printer.Receive("\x1bV21", 4, Time());
    const auto* reply = reinterpret_cast<const char*>(printer.Take(Time()).data);
    const PrinterInfo info = PrinterInfo::Parse(reply);
    EXPECT_EQ(info.GetPrinterState().to_string(), "0x0a,0x0b,0x0c");
    EXPECT_EQ(info.GetPrinterLevels().to_string(), "ink ribbon 772 / 258 ink_sheet_type=0x0d");
  });
}

TEST(Settings, RefuseInALineWhatTheyDoNotUnderstand) {
  std::istringstream queries(
      "colour=red error=0602 error=06020g error=+60202 sheet=4 sheet=0x04 total=65536 remaining=-1 "
      "asleep= extra=321 silence=513 pieces=100,93 pieces=0 pieces=1, die=soon total=1&total=2 "
      "total=1&&sheet=04 total total=%31 total=1%00 total='1' bidi=yes drain=CUPS_SC_STATUS_OK "
      "chatter=yes total=" +
      std::string(1100, '0') + "x");
  for (std::string query; queries >> query;) {
    Settings settings;
    const std::string uri = "virtual-printer://test/?" + query;
    const std::string log =
        captured_stderr([&] { EXPECT_FALSE(parse_settings(uri.c_str(), false, settings)) << uri; });
    EXPECT_EQ(log.find("ERROR: virtual-printer: "), 0U) << log;
    EXPECT_EQ(log.find('\n'), log.size() - 1) << log;
  }
}

}  // namespace

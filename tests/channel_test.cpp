// SPDX-License-Identifier: Apache-2.0
#include <cups/cups.h>
#include <cups/sidechannel.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "channel/retry_counter.h"
#include "channel/status_query.h"
#include "support.h"

namespace {

// The printer that the fakes below simulate: it is awake from reply number `awake_from`, and sends
// at most `replies` replies.
struct {
  int awake_from;
  int replies;
  int asked, pauses, probes;
} printer;

}  // namespace

int filter_main(int argc, char* argv[]);  // main() of the filter

cups_sc_status_t cupsSideChannelDoRequest(cups_sc_command_t command, char*, int* size,
                                          double timeout) {
  const bool is_probe = command == CUPS_SC_CMD_GET_BIDI;
  printer.probes += is_probe ? 1 : 0;
  EXPECT_TRUE(is_probe || command == CUPS_SC_CMD_DRAIN_OUTPUT);
  EXPECT_EQ(*size, 512);
  EXPECT_EQ(timeout, is_probe ? 30.0 : 5.0);
  return CUPS_SC_STATUS_IO_ERROR;
}

// Each reply comes in two pieces.
ssize_t cupsBackChannelRead(char* buffer, size_t capacity, double timeout) {
  EXPECT_EQ(timeout, 1.0);
  const std::size_t received = 512 - capacity;
  if (received == 0 && printer.asked++ >= printer.replies) return -1;
  const std::string reply =
      reply_bytes(std::string(3, '\0'), 192, printer.asked < printer.awake_from ? 1 : 0);
  const std::string piece = received == 0 ? reply.substr(0, 100) : reply.substr(received);
  std::copy(piece.begin(), piece.end(), buffer);
  return static_cast<ssize_t>(piece.size());
}

int usleep(useconds_t microseconds) {
  EXPECT_EQ(microseconds, 500000U);
  ++printer.pauses;
  return 0;
}

unsigned sleep(unsigned seconds) {
  EXPECT_EQ(seconds, 1U);
  ++printer.pauses;
  return 0;
}

namespace {

TEST(Filter, ProbesOnceAndWakesThePrinterEvenIfADrainFails) {
  char words[7][10] = {"filter", "1", "user", "title", "1", "", "/dev/null"};
  char* argv[7];
  for (int i = 0; i < 7; ++i) argv[i] = words[i];
  printer = {};
  testing::internal::CaptureStdout();
  captured_stderr([&argv] { EXPECT_EQ(filter_main(7, argv), 0); });
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\x1b\x45WU");
  EXPECT_EQ(printer.probes, 1);
  EXPECT_EQ(printer.pauses, 1);

  EXPECT_EXIT(std::freopen("/dev/full", "w", stdout) != nullptr && filter_main(7, argv),
              testing::ExitedWithCode(1), "fflush\\(\\) failed");
}

TEST(StatusQuery, AsksUntilThePrinterIsAwake) {
  const struct {
    int awake_from, replies;  // the printer's
    int asked, pauses;
    const char* end;  // of the log
  } cases[] = {
      {1, 99, 1, 0, "=fulfilled(0/60)]\n"},
      {3, 99, 3, 2, "=fulfilled(2/60)]\n"},
      {61, 99, 61, 60, "=fulfilled(60/60)]\n"},
      {99, 99, 61, 60, "=expired(61/60)]\nDEBUG: #retry over\n"},
      {99, 2, 3, 2, "DEBUG: printer_info=[UNAVAILABLE]\n"},
      {1, 0, 1, 0, "DEBUG: printer_info=[UNAVAILABLE]\n"},
  };
  for (const auto& c : cases) {
    printer = {c.awake_from, c.replies, 0, 0, 0};
    bool available = false;
    testing::internal::CaptureStdout();
    const std::string log =
        captured_stderr([&] { available = get_printer_info_retry().isAvailable(); });
    std::string requests;
    for (int i = 0; i < c.asked; ++i) requests += "\x1bV21";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), requests);
    EXPECT_EQ(printer.asked, c.asked);
    EXPECT_EQ(printer.pauses, c.pauses);
    EXPECT_EQ(available, std::strstr(c.end, "fulfilled") != nullptr);
    for (int i = 1; i < c.asked; ++i)
      EXPECT_NE(log.find("[wake_up=retrying(" + std::to_string(i) + "/60)]\n"), std::string::npos);
    const std::string end = std::string(c.end) + "DEBUG: get_printer_info_retry() END\n";
    EXPECT_EQ(log.substr(log.size() - std::min(log.size(), end.size())), end);
  }
}

TEST(RetryCounter, StaysExpiredAfterItsLimit) {
  RetryCounter none(0);
  none.Test(true);
  EXPECT_EQ(none.to_string(), "fulfilled(0/0)");
  none.Test(false);
  EXPECT_EQ(none.to_string(), "expired(1/0)");
  none.Test(true);
  none.Test(false);
  EXPECT_EQ(none.to_string(), "expired(1/0)");
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
#include <cups/cups.h>
#include <cups/sidechannel.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "channel/retry_counter.h"
#include "channel/status_query.h"
#include "support.h"

namespace {

// The printer that the fakes below simulate: it is awake from reply number `awake_from`, and sends
// at most `replies` replies.
struct {
  unsigned awake_from, replies, asked;
} printer;

// The answer to whether the device is bidirectional.
struct Answer {
  cups_sc_status_t status;
  int size;
  char byte;
} answer;
int probes = 0;

}  // namespace

int filter_main(int argc, char* argv[]);  // main() of the filter

cups_sc_status_t cupsSideChannelDoRequest(cups_sc_command_t command, char* data, int* size,
                                          double timeout) {
  const bool is_probe = command == CUPS_SC_CMD_GET_BIDI;
  EXPECT_TRUE(is_probe || command == CUPS_SC_CMD_DRAIN_OUTPUT);
  EXPECT_EQ(*size, 512);
  EXPECT_EQ(timeout, is_probe ? 30.0 : 5.0);
  EXPECT_EQ(__fpending(stdout), 0U);  // a drain before the flush would drain nothing
  if (!is_probe) return CUPS_SC_STATUS_IO_ERROR;
  ++probes;
  *size = answer.size;
  data[0] = answer.byte;
  return answer.status;
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

// The log shows the pauses.
int usleep(useconds_t microseconds) { return std::fprintf(stderr, "usleep(%u)\n", microseconds); }
unsigned sleep(unsigned seconds) { return std::fprintf(stderr, "sleep(%u)\n", seconds) < 0; }

namespace {

int run_on_empty_file() {
  const char* argv[] = {"filter", "1", "user", "title", "1", "", "/dev/null"};
  return filter_main(7, const_cast<char**>(argv));
}

TEST(Filter, ProbesOnceAndWakesThePrinterEvenIfADrainFails) {
  const std::pair<Answer, std::string> cases[] = {
      {{CUPS_SC_STATUS_OK, 1, CUPS_SC_BIDI_SUPPORTED}, ""},
      {{CUPS_SC_STATUS_OK, 1, 2}, "CUPS_SC_STATUS_OK(1)\n"},
      {{CUPS_SC_STATUS_OK, 0, CUPS_SC_BIDI_SUPPORTED}, "CUPS_SC_STATUS_OK(1)\n"},
      {{CUPS_SC_STATUS_OK, 2, CUPS_SC_BIDI_SUPPORTED}, "CUPS_SC_STATUS_OK(1)\n"},
      {{CUPS_SC_STATUS_NONE, 1, CUPS_SC_BIDI_SUPPORTED}, "CUPS_SC_STATUS_NONE(0)\n"},
  };
  for (const auto& c : cases) {
    answer = c.first;
    probes = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(captured_stderr([] { EXPECT_EQ(run_on_empty_file(), 0); }),
              (c.second.empty() ? "" : NOT_BIDIRECTIONAL + c.second) +
                  wake_up(drain("CUPS_SC_STATUS_IO_ERROR(2)\n") + "usleep(500000)\n"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\x1b\x45WU");
    EXPECT_EQ(probes, 1);
  }
}

TEST(Filter, FailsIfTheWakeUpCannotBeSent) {
  EXPECT_EXIT(std::freopen("/dev/full", "r", stdout) != nullptr && run_on_empty_file(),
              testing::ExitedWithCode(1), "fwrite\\(\\) failed. ret=0\nDEBUG: [^\n]* END\n$");
  EXPECT_EXIT(std::freopen("/dev/full", "w", stdout) != nullptr && run_on_empty_file(),
              testing::ExitedWithCode(1), "fflush\\(\\) failed.\nDEBUG: [^\n]* END\n$");
}

TEST(StatusQuery, AsksUntilThePrinterIsAwake) {
  const struct {
    unsigned awake_from, replies, asked;
    const char* end;  // of the log
  } cases[] = {
      {1, 99, 1, "=fulfilled(0/60)]\n"},
      {3, 99, 3, "=fulfilled(2/60)]\n"},
      {61, 99, 61, "=fulfilled(60/60)]\n"},
      {99, 99, 61, "=expired(61/60)]\nDEBUG: #retry over\n"},
      {99, 2, 3, "DEBUG: printer_info=[UNAVAILABLE]\n"},
      {1, 0, 1, "DEBUG: printer_info=[UNAVAILABLE]\n"},
  };
  const std::string exchange = "DEBUG: get_printer_info() START\n";
  for (const auto& c : cases) {
    printer = {c.awake_from, c.replies, 0};
    bool available = false;
    testing::internal::CaptureStdout();
    const std::string log =
        captured_stderr([&] { available = get_printer_info_retry().isAvailable(); });
    EXPECT_EQ(testing::internal::GetCapturedStdout().size(), 4 * printer.asked);
    EXPECT_EQ(printer.asked, c.asked);
    EXPECT_EQ(available, std::strstr(c.end, "fulfilled") != nullptr);
    EXPECT_EQ(log.find("DEBUG: get_printer_info_retry() START\n" + exchange), 0U);
    for (unsigned i = 1; i < c.asked; ++i)
      EXPECT_NE(log.find("retrying(" + std::to_string(i) + "/60)]\nsleep(1)\n" + exchange),
                std::string::npos);
    const std::string end = std::string(c.end) + "DEBUG: get_printer_info_retry() END\n";
    EXPECT_EQ(log.substr(log.size() - std::min(log.size(), end.size())), end);
  }
}

TEST(RetryCounter, StaysExpiredAfterItsLimit) {
  RetryCounter none(0);
  none.Test(true);
  EXPECT_EQ(none.to_string(), "fulfilled(0/0)");
  for (const bool success : {false, true, false}) none.Test(success);
  EXPECT_EQ(none.to_string(), "expired(1/0)");
}

}  // namespace

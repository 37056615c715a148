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

#include "channel/retry_counter.h"
#include "channel/status_query.h"
#include "support.h"

namespace {

// The printer that the fakes below simulate: it is awake from reply number `awake_from`, and sends
// at most `replies` replies.
struct {
  int awake_from;
  int replies;
  int asked;
} printer;

// The answer to whether the device is bidirectional.
struct {
  cups_sc_status_t status;
  int size;
  char byte;
  int asked;
} probe;

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
  ++probe.asked;
  *size = probe.size;
  data[0] = probe.byte;
  return probe.status;
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

// Pauses are visible in the log.
int usleep(useconds_t microseconds) { return std::fprintf(stderr, "usleep(%u)\n", microseconds); }
unsigned sleep(unsigned seconds) {
  std::fprintf(stderr, "sleep(%u)\n", seconds);
  return 0;
}

namespace {

int run_on_empty_file() {
  char words[7][10] = {"filter", "1", "user", "title", "1", "", "/dev/null"};
  char* argv[7];
  for (int i = 0; i < 7; ++i) argv[i] = words[i];
  return filter_main(7, argv);
}

TEST(Filter, ProbesOnceAndWakesThePrinterEvenIfADrainFails) {
  const struct {
    cups_sc_status_t status;
    int size;
    char byte;
    const char* logged;  // null: bidirectional
  } cases[] = {
      {CUPS_SC_STATUS_OK, 1, CUPS_SC_BIDI_SUPPORTED, nullptr},
      {CUPS_SC_STATUS_OK, 1, 2, " CUPS_SC_STATUS_OK(1)\n"},
      {CUPS_SC_STATUS_OK, 0, CUPS_SC_BIDI_SUPPORTED, " CUPS_SC_STATUS_OK(1)\n"},
      {CUPS_SC_STATUS_OK, 2, CUPS_SC_BIDI_SUPPORTED, " CUPS_SC_STATUS_OK(1)\n"},
      {CUPS_SC_STATUS_NOT_IMPLEMENTED, 1, CUPS_SC_BIDI_SUPPORTED,
       " CUPS_SC_STATUS_NOT_IMPLEMENTED(7)\n"},
  };
  for (const auto& c : cases) {
    printer = {};
    probe = {c.status, c.size, c.byte, 0};
    testing::internal::CaptureStdout();
    const std::string log = captured_stderr([] { EXPECT_EQ(run_on_empty_file(), 0); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\x1b\x45WU");
    EXPECT_EQ(log.find("nobidirectional") == std::string::npos, c.logged == nullptr);
    EXPECT_NE(log.find(c.logged != nullptr ? c.logged : ""), std::string::npos) << log;
    EXPECT_NE(log.find("IO_ERROR(2)\nusleep(500000)\nDEBUG: wr_esc_wakeup() END\n"),
              std::string::npos)
        << log;
    EXPECT_EQ(probe.asked, 1);
  }
}

TEST(Filter, FailsIfTheWakeUpCannotBeSent) {
  const struct {
    const char *mode, *log;
  } cases[] = {{"r", "fwrite\\(\\) failed. ret=0\nDEBUG: wr_esc_wakeup\\(\\) END\n$"},
               {"w", "fflush\\(\\) failed.\nDEBUG: wr_esc_wakeup\\(\\) END\n$"}};
  for (const auto& c : cases) {
    EXPECT_EXIT(std::freopen("/dev/full", c.mode, stdout) != nullptr && run_on_empty_file(),
                testing::ExitedWithCode(1), c.log);
  }
}

TEST(StatusQuery, AsksUntilThePrinterIsAwake) {
  const struct {
    int awake_from, replies;  // the printer's
    int asked;
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
    std::string requests;
    for (int i = 0; i < c.asked; ++i) requests += "\x1bV21";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), requests);
    EXPECT_EQ(printer.asked, c.asked);
    EXPECT_EQ(available, std::strstr(c.end, "fulfilled") != nullptr);
    EXPECT_EQ(log.find("DEBUG: get_printer_info_retry() START\n" + exchange), 0U);
    for (int i = 1; i < c.asked; ++i)
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
  none.Test(false);
  EXPECT_EQ(none.to_string(), "expired(1/0)");
  none.Test(true);
  none.Test(false);
  EXPECT_EQ(none.to_string(), "expired(1/0)");
}

}  // namespace

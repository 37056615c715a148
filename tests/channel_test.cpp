// SPDX-License-Identifier: Apache-2.0
//
// The filter's main() with fakes of libcups. The fakes follow a script, and log their calls. The
// log also has the bytes that the filter sends.
#include <cups/cups.h>
#include <strings.h>
#include <unistd.h>

#include <deque>
#include <filesystem>
#include <random>
#include <vector>

#include "channel/retry_counter.h"
#include "diag/value_names.h"
#include "support.h"

namespace {

// The script: what the next calls of each fake return.
struct Answer {
  cups_sc_status_t status;
  int size;
  char byte;
};
std::deque<Answer> answers;

// The bytes that a read returns; if there are none, its result.
std::deque<std::pair<std::string, ssize_t>> reads;

}  // namespace

int filter_main(int argc, char* argv[]);  // main() of the filter

// at() ends the test if the filter makes a call that is not in the script, perhaps in a loop.
cups_sc_status_t cupsSideChannelDoRequest(cups_sc_command_t command, char* data, int* size,
                                          double timeout) {
  std::fprintf(stderr, "request(%d, %d, %g)\n", command, *size, timeout);
  const Answer answer = answers.at(0);
  answers.pop_front();
  *size = answer.size;
  data[0] = answer.byte;
  return answer.status;
}

ssize_t cupsBackChannelRead(char* buffer, size_t capacity, double timeout) {
  std::fprintf(stderr, "read(%zu, %g)\n", capacity, timeout);
  const auto [bytes, failure] = reads.at(0);
  reads.pop_front();
  return bytes.empty() ? failure : static_cast<ssize_t>(bytes.copy(buffer, bytes.size()));
}

int usleep(useconds_t microseconds) { return std::fprintf(stderr, "usleep(%u)\n", microseconds); }
unsigned sleep(unsigned seconds) { return std::fprintf(stderr, "sleep(%u)\n", seconds) < 0; }

namespace {

const Answer BIDIRECTIONAL = {CUPS_SC_STATUS_OK, 1, CUPS_SC_BIDI_SUPPORTED};

struct Command {
  std::string word;
  bool complete;  // whether the last reply is
  std::vector<std::string> replies;
};

// The sequence of the values is the same in every run.
unsigned one_of(std::initializer_list<unsigned> values) {
  static std::mt19937 engine;
  return values.begin()[engine() % values.size()];
}

constexpr std::initializer_list<unsigned> BYTES = {0x00, 0x01, 0x04, 0x0F, 0x20, 0x80, 0xFF};

Command any_command(const std::string& word, unsigned asleep, bool complete) {
  Command command = {word, complete, {}};
  for (unsigned i = 0; i <= asleep; ++i) {
    std::string reply(512, '\0');
    for (char& byte : reply) byte = static_cast<char>(one_of(BYTES));
    reply[5] = i == asleep ? '\0' : static_cast<char>(one_of({0x01, 0x02, 0x10, 0x80, 0xFF}));
    command.replies.push_back(reply);
  }
  return command;
}

// The next functions add to the script, and return the log of a filter that follows it.

std::string name(cups_sc_status_e status) {
  return std::string(to_string(status)) + "(" + std::to_string(status) + ")\n";
}

std::string sent(const std::string& bytes) {
  const auto status = static_cast<cups_sc_status_e>(one_of({1, 1, 1, 0, 1, 2, 3, 4, 5, 6, 7}));
  answers.push_back({status, 0, 0});
  return bytes + "request(2, 512, 5)\n" + (status == 1 ? "" : DRAIN + name(status));
}

std::string exchanged(const std::string& reply, bool complete, const std::string& end) {
  std::string log = sent(STATUS_REQUEST);
  for (std::size_t received = 0; received < 192;) {
    log += "read(" + std::to_string(512 - received) + ", 1)\n";
    const std::size_t size = one_of({1, 2, 63, 64, 127, 128, 191, 192, 320, 512});
    if (!complete && received + size >= 192) {
      reads.push_back({"", -static_cast<ssize_t>(one_of({0, 1}))});
      log += READ_FAILED + std::to_string(reads.back().second) + "\n";
      return exchange_lines(log, "UNAVAILABLE");
    }
    reads.push_back({reply.substr(received, size), 0});
    received += reads.back().first.size();
    if (received >= 192) log += dump_lines("[STS]", reply.substr(0, received));
  }
  return exchange_lines(log, info_text(reply), end);
}

std::string reported(const Command& command, bool bidirectional) {
  const bool levels = strcasecmp(command.word.c_str(), "ReportLevels") == 0;
  if (!levels && strcasecmp(command.word.c_str(), "ReportStatus") != 0) return "";
  if (!bidirectional) return levels ? NO_LEVELS : reason_lines(23);
  const std::string none = (levels ? NO_LEVELS : "") + reason_lines(23);
  std::string log;
  for (unsigned i = 0;; ++i) {
    const std::string& reply = command.replies[i];
    if (reply[5] == 0) {
      log += exchanged(reply, command.complete, "fulfilled(" + std::to_string(i));
      if (!command.complete) return query_lines(log) + none;
      return query_lines(log) + (levels ? marker_lines(reply) : "") +
             state_lines(number(reply, 131, 3));
    }
    log += exchanged(reply, true, (i < 60 ? "retrying(" : "expired(") + std::to_string(i + 1));
    if (i == 60) return query_lines(log + "DEBUG: #retry over\n") + none;
    log += "sleep(1)\n";
  }
}

int run_main(const std::string& file) {
  const char* argv[] = {"filter", "1", "user", "title", "1", "", file.c_str()};
  return filter_main(7, const_cast<char**>(argv));
}

auto count_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Runs the filter, and compares its whole log with that of a filter that follows the script.
void expect_run(const Answer& probe, const std::vector<Command>& commands) {
  if (testing::Test::HasFailure()) return;  // one difference is enough to read
  const bool bidirectional = probe.status == 1 && probe.size == 1 && probe.byte == 1;
  answers = {probe};
  reads.clear();
  std::string expected = "request(3, 512, 30)\n" +
                         (bidirectional ? "" : NOT_BIDIRECTIONAL + name(probe.status)) +
                         wake_up(sent(WAKE_UP) + "usleep(500000)\n");
  std::FILE* file = std::tmpfile();
  int line = 0;
  for (const Command& c : commands) {
    std::fprintf(file, "%s\n", c.word.c_str());
    expected += command(c.word, ++line) + reported(c, bidirectional);
  }
  std::fflush(file);

  const auto descriptors = count_descriptors();
  const int saved_stdout = dup(STDOUT_FILENO);
  const auto run = [file] {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    EXPECT_EQ(run_main("/dev/fd/" + std::to_string(fileno(file))), 0);
    std::fflush(stdout);
  };
  const std::string log = captured_stderr(run);
  dup2(saved_stdout, STDOUT_FILENO);
  close(saved_stdout);
  EXPECT_EQ(log, expected);
  EXPECT_EQ(count_descriptors(), descriptors);
  std::fclose(file);
}

TEST(Filter, ProbesOnceAndThenWakesThePrinter) {
  const auto expect = [](int status, int size, int byte) {
    expect_run({static_cast<cups_sc_status_t>(status), size, static_cast<char>(byte)},
               {any_command("ReportStatus", 0, true), any_command("ReportLevels", 0, true)});
  };
  for (int status = 0; status < 8; ++status) expect(status, 1, 1);
  for (const int size : {0, 2, 512}) expect(1, size, 1);
  for (int byte = 0; byte < 256; ++byte) expect(1, 1, byte);
}

TEST(Filter, FailsIfTheWakeUpCannotBeWritten) {
  answers = {BIDIRECTIONAL};
  EXPECT_EXIT(std::freopen("/dev/full", "r", stdout) != nullptr && run_main("/dev/null"),
              testing::ExitedWithCode(1), "fwrite\\(\\) failed. ret=0\nDEBUG: [^\n]* END\n$");
}

TEST(Filter, RunsTheCommandsInTheirOrder) {
  const char* const words[] = {"ReportLevels",
                               "rEPORTlEVELS",
                               "ReportStatus",
                               "REPORTsTATUS",
                               "ReportLevel",
                               "ReportStatusX",
                               "R",
                               "%s%n",
                               "Clean"};
  const auto any = [](const char* word) {
    return any_command(word, one_of({0, 0, 1, 2}), one_of({0, 1, 1}) == 1);
  };
  expect_run(BIDIRECTIONAL, {});
  for (const char* first : words)
    for (const char* second : words)
      expect_run(BIDIRECTIONAL, {any(first), any(second), any(first)});
}

TEST(Filter, AsksUntilThePrinterIsAwake) {
  for (unsigned asleep = 0; asleep <= 61; ++asleep)
    for (const bool complete : {true, false})
      expect_run(BIDIRECTIONAL, {any_command("ReportLevels", asleep, complete),
                                 any_command("ReportStatus", 1, true)});
}

// Each byte that the filter reads has every value, while most others are zeros or ones.
TEST(Filter, ReadsEachByteOfAReply) {
  for (const char others : {'\x00', '\xff'}) {
    std::string awake(192, others);
    awake[5] = 0;
    awake.replace(148, 4, "\x01\x90\x01\x02");
    for (const unsigned offset :
         {4U, 5U, 128U, 129U, 131U, 132U, 133U, 145U, 148U, 149U, 150U, 151U}) {
      std::string reply = awake;
      for (int value = 0; value < 256; ++value) {
        reply[offset] = static_cast<char>(value);
        expect_run(BIDIRECTIONAL, {{"ReportLevels", true, {reply, awake}}});
      }
    }
  }
}

TEST(RetryCounter, StaysExpiredAfterItsLimit) {
  RetryCounter none(0);
  none.Test(true);
  EXPECT_EQ(none.to_string(), "fulfilled(0/0)");
  for (const bool success : {false, true, false}) none.Test(success);
  EXPECT_EQ(none.to_string(), "expired(1/0)");
  EXPECT_EQ(RetryCounter(4294967295).to_string(), "retrying(0/4294967295)");
}

}  // namespace

// SPDX-License-Identifier: Apache-2.0
//
// The filter as a process, connected to the virtual printer.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support.h"

namespace {

// The result of a shell command. `printer` has the virtual printer's lines of the log, without
// their prefix.
struct Outcome {
  int status = 0;
  std::string out, log, printer;
};

// The log is a socket that preserves the boundaries of writes: each must be one whole line, in
// which the line of another process cannot be; only the usage message has no line feed.
Outcome shell(const std::string& command) {
  int log[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, log), 0);
  const int saved_stderr = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  dup2(log[1], STDERR_FILENO);
  FILE* out = popen(command.c_str(), "r");
  dup2(saved_stderr, STDERR_FILENO);
  close(saved_stderr);
  close(log[1]);

  Outcome outcome;
  char data[8192];
  const std::string head = "DEBUG: virtual-printer: ";
  for (ssize_t size = 0; (size = read(log[0], data, sizeof data)) > 0;) {
    const std::string line(data, static_cast<std::size_t>(size));
    EXPECT_TRUE(line.find('\n') == line.size() - 1 || line.find("ERROR: Usage") == 0) << line;
    (line.find(head) == 0 ? outcome.printer.append(line, head.size()) : outcome.log.append(line));
  }
  close(log[0]);
  outcome.out.append(data, fread(data, 1, sizeof data, out));
  const int status = pclose(out);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

const std::string NO_ERROR = std::string(3, '\0');

const std::string TIMEOUT = "CUPS_SC_STATUS_TIMEOUT(3)\n";

std::string command(const std::string& word, int line) {
  return "DEBUG: ====> command=[" + word + "] linenum=" + std::to_string(line) + "\n";
}

std::string query(const std::string& exchange, const std::string& info) {
  return "DEBUG: get_printer_info_retry() START\nDEBUG: get_printer_info() START\n" +
         dump_lines("[CMD]", "\x1bV21") + exchange + "DEBUG: get_printer_info() END\n" +
         "DEBUG: printer_info=[" + info + "]\n" +
         (info == "UNAVAILABLE" ? "" : "DEBUG: #retry_status=[wake_up=fulfilled(0/60)]\n") +
         "DEBUG: get_printer_info_retry() END\n";
}

std::string answered(std::size_t size = 192, const std::string& drained = "",
                     const std::string& error = NO_ERROR) {
  return query(drained + dump_lines("[STS]", reply_bytes(error, size)),
               "power_state=0x00 mech_state=[0x00,0x00] memory_state=0x00 error_info=[" +
                   std::string(error == NO_ERROR ? "GOOD" : "0x06,0x02,0x02") +
                   "] levels=[ink ribbon 120 / 400 ink_sheet_type=0x04]");
}

std::string unanswered(const std::string& why) { return query(why, "UNAVAILABLE"); }

std::string read_failed(int ret) {
  return "DEBUG: cupsBackChannelRead() failed. ret=" + std::to_string(ret) + "\n";
}

const std::string FLUSH_FAILED = "DEBUG: fflush() failed.\n";

const std::string LEVELS = marker_lines("ink ribbon 120 / 400 ink_sheet_type=0x04", "30",
                                        "Ink Ribbon = 120 / 400", "InkSheetType: 13x18(5x7\u2033)");
const std::string NO_LEVELS = marker_lines("UNAVAILABLE", "-2", " ", "InkSheetType: 00");

const std::string WOKEN = "received 1b 45 57 55 (wake-up)\n";
const std::string ASKED = "received 1b 56 32 31 (status request)\n";
std::string replied(int sent = 192, int size = 192) {
  return ASKED + "replying awake with " + std::to_string(sent) + " of " + std::to_string(size) +
         " bytes\n";
}

struct Run {
  std::string name, query, commands;
  int status;
  std::string log, printer;
};
std::ostream& operator<<(std::ostream& out, const Run& run) { return out << run.name; }

std::vector<Run> runs() {
  const std::string error_0001 = answered(192, "", "\x06\x02\x02");
  std::vector<Run> all = {
      {"BothCommands", "?error=060202", "#CUPS-COMMAND\\nReportLevels\\nReportStatus\\n", 0,
       wake_up() + command("ReportLevels", 2) + error_0001 + LEVELS + state_lines(1) +
           command("ReportStatus", 3) + error_0001 + state_lines(1),
       WOKEN + replied() + replied()},
      {"AnySpelling", "?bidi=no",
       "rEPORTsTATUS with a value\\r\\n# ReportLevels\\n\\n  Clean all\\nReportStatusX\\n"
       "REPORTLEVELS\\n" +
           std::string(1024, 'x'),  // one more than a directive can have
       0,
       NOT_BIDIRECTIONAL + "CUPS_SC_STATUS_OK(1)\n" + wake_up() + command("rEPORTsTATUS", 1) +
           state_lines(23) + command("Clean", 4) + command("ReportStatusX", 5) +
           command("REPORTLEVELS", 6) + NO_LEVELS + command(std::string(1023, 'x'), 7) +
           command("x", 8),
       WOKEN},
      {"DiesAtStart", "?die=start", "ReportStatus\\n", 1,
       NOT_BIDIRECTIONAL + TIMEOUT + wake_up(FLUSH_FAILED), "dying\n"},
      {"DiesAfterTheWakeUp", "?die=wake-up", "ReportStatus\\n", 0,
       wake_up(drain(TIMEOUT)) + command("ReportStatus", 1) + unanswered(FLUSH_FAILED) +
           state_lines(23),
       WOKEN + "dying\n"},
      {"DiesInItsReply", "?die=reply", "ReportStatus\\nReportLevels\\n", 0,
       wake_up() + command("ReportStatus", 1) + unanswered(read_failed(0)) + state_lines(23) +
           command("ReportLevels", 2) + unanswered(FLUSH_FAILED) + NO_LEVELS + state_lines(23),
       WOKEN + replied(96) + "dying\n"},
  };
  const auto ask = [&all](const std::string& name, const std::string& query,
                          const std::string& exchange, int reason, const std::string& printer) {
    all.push_back(
        {name, query, "ReportStatus", 0, exchange + state_lines(reason), WOKEN + printer});
  };
  const std::string asked = wake_up() + command("ReportStatus", 1);
  ask("TwoPieces", "?extra=8&pieces=100,100", asked + answered(200), 0, replied(200, 200));
  ask("LongestReply", "?extra=320&pause=300", asked + answered(512), 0, replied(512, 512));
  ask("OneByteShort", "?silence=191", asked + unanswered(read_failed(-1)), 23, replied(191));
  const std::string not_drained = drain("CUPS_SC_STATUS_NOT_IMPLEMENTED(7)\n");
  ask("Drain", "?drain=not-implemented",
      wake_up(not_drained) + command("ReportStatus", 1) + answered(192, not_drained), 0, replied());
  return all;
}

class FilterRun : public testing::TestWithParam<Run> {};

TEST_P(FilterRun, WritesExactly) {
  const Outcome outcome =
      shell("printf '" + GetParam().commands + "' | " PRINTER " --run 'virtual-printer://test/" +
            GetParam().query + "' " FILTER " 1 user title 1 ''");
  EXPECT_EQ(outcome.status, GetParam().status);
  EXPECT_EQ(outcome.log, GetParam().log);
  EXPECT_EQ(outcome.printer, GetParam().printer);
}

INSTANTIATE_TEST_SUITE_P(Filter, FilterRun, testing::ValuesIn(runs()),
                         [](const auto& test) { return test.param.name; });

// Channels that are closed, or /dev/null as in cupsfilter(8): the filter must not wait, and must
// not use the command file's descriptor instead of a channel's.
TEST(Filter, RunsWithoutChannels) {
  const std::string log = NOT_BIDIRECTIONAL + TIMEOUT + wake_up(drain(TIMEOUT)) +
                          command("ReportStatus", 1) + state_lines(23);
  for (const std::string channels : {"3>&- 4>&-", "4>&-", "3</dev/null 4</dev/null"}) {
    for (const std::string file : {"", "/dev/fd/9 9<&0 0</dev/null"}) {
      const Outcome outcome =
          shell("echo ReportStatus | timeout 60 " FILTER " 1 2 3 4 5 " + file + " " + channels);
      EXPECT_EQ(outcome.status, 0);
      EXPECT_EQ(outcome.out, "\x1b\x45WU");
      EXPECT_EQ(outcome.log, log) << channels << file;
    }
  }
}

// The exit status and all output of invalid command lines.
TEST(CommandLine, ReportsErrors) {
  // On a device that is not bidirectional, a probe would log a line.
  const std::string run = PRINTER " --run 'virtual-printer://x/?bidi=no' ";
  const std::string usage =
      "1ERROR: Usage: ./commandtocorvantide job-id user title copies options [file]";
  const std::string check = PRINTER " --check virtual-printer://x/?";
  const std::string error = "1ERROR: virtual-printer: \"";
  const std::pair<std::string, std::string> cases[] = {
      {run + FILTER, usage},
      {run + FILTER " 1 2 3 4", usage},
      {run + FILTER " 1 2 3 4 5 /dev/null 7", usage},
      {run + FILTER " 1 2 3 4 5 /nowhere",
       "1ERROR: Unable to open command file - : No such file or directory\n"},
      {check + "error", error + "error\" in the URI: expected six hexadecimal digits\n"},
      {check + "noerror", error + "noerror\" in the URI: unknown setting\n"},
  };
  for (const auto& [command, end] : cases) {
    const Outcome outcome = shell(command);
    EXPECT_EQ(std::to_string(outcome.status) + outcome.out + outcome.log + outcome.printer, end)
        << command;
  }
}

}  // namespace

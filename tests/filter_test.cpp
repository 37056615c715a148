// SPDX-License-Identifier: Apache-2.0
//
// The filter as a process, connected to the virtual printer.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "support.h"

namespace {

// Returns the exit status, the output and the log of a shell command, without the log of the
// virtual printer. A command that hangs is killed, with all that it has started.
//
// The log is a socket that preserves the boundaries of writes: each must be one whole line, in
// which the line of another process cannot be; only the usage message has no line feed.
std::string outcome(const std::string& command) {
  int log[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, log), 0);
  const int saved_stderr = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
  dup2(log[1], STDERR_FILENO);
  setenv("COMMAND", command.c_str(), 1);
  FILE* out = popen("exec timeout -s KILL 60 sh -c \"$COMMAND\"", "r");
  dup2(saved_stderr, STDERR_FILENO);
  close(saved_stderr);
  close(log[1]);

  std::string lines;
  char data[8192];
  for (ssize_t size = 0; (size = read(log[0], data, sizeof data)) > 0;) {
    const std::string line(data, static_cast<std::size_t>(size));
    EXPECT_TRUE(line.find('\n') == line.size() - 1 || line.find("ERROR: Usage") == 0) << line;
    if (line.find("DEBUG: virtual-printer: ") != 0) lines += line;
  }
  close(log[0]);
  const std::string output(data, fread(data, 1, sizeof data, out));
  const int status = pclose(out);
  return std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + output + lines;
}

const std::string ASKED = command("ReportStatus", 1);
const std::string FLUSH_FAILED = "DEBUG: fflush() failed.\n";
const std::string TIMEOUT = "CUPS_SC_STATUS_TIMEOUT(3)\n";

std::string unanswered(const std::string& why) {
  return query_lines(exchange_lines(why, "UNAVAILABLE"));
}

TEST(Filter, WritesExactly) {
  const std::string drained = DRAIN + "CUPS_SC_STATUS_NOT_IMPLEMENTED(7)\n";
  std::string reply(192, '\0');
  reply.replace(131, 3, "\x0d\x08\x07");
  reply.replace(145, 7, std::string("\x0f\0\0\x75\x30\x52\x07", 7));  // 20999 of 30000
  reply.append(320, '\xee');
  const std::string answer = query_lines(
      exchange_lines(drained + dump_lines("[STS]", reply), info_text(reply), "fulfilled(0"));
  const struct {
    std::string settings, commands, expected;
  } runs[] = {
      // Each reply takes longer than the timeout of a read.
      {"error=0d0807&sheet=0f&total=30000&remaining=20999&drain=not-implemented&extra=320&pause=100"
       "&gap=130&pieces=1,1,1,64,60,1,1,1,60",
       "#CUPS-COMMAND\\nReportLevels\\nReportStatus\\n",
       "0" + wake_up(drained) + command("ReportLevels", 2) + answer +
           marker_lines("ink ribbon 20999 / 30000 ink_sheet_type=0x0f", "69",
                        "Ink Ribbon = 20999 / 30000", "InkSheetType: 15x20(6x8\u2033)") +
           reason_lines(21) + command("ReportStatus", 3) + answer + reason_lines(21)},
      {"bidi=no",
       "rEPORTsTATUS with a value\\r\\n# ReportLevels\\n\\n  Clean all\\nREPORTLEVELS\\n" +
           std::string(1024, 'x'),  // one more than a directive can have
       "0" + NOT_BIDIRECTIONAL + "CUPS_SC_STATUS_OK(1)\n" + wake_up() + command("rEPORTsTATUS", 1) +
           reason_lines(23) + command("Clean", 4) + command("REPORTLEVELS", 5) + NO_LEVELS +
           command(std::string(1023, 'x'), 6) + command("x", 7)},
      {"die=start", "ReportStatus", "1" + NOT_BIDIRECTIONAL + TIMEOUT + wake_up(FLUSH_FAILED)},
      {"die=reply", "ReportStatus\\nReportLevels",
       "0" + wake_up() + ASKED + unanswered(READ_FAILED + "0\n") + reason_lines(23) +
           command("ReportLevels", 2) + unanswered(FLUSH_FAILED) + NO_LEVELS + reason_lines(23)},
      {"silence=191", "ReportStatus",
       "0" + wake_up() + ASKED + unanswered(READ_FAILED + "-1\n") + reason_lines(23)},
  };
  for (const auto& run : runs) {
    ASSERT_EQ(
        outcome("printf '" + run.commands + "' | " PRINTER " --run 'virtual-printer://test/?" +
                run.settings + "' " FILTER " 1 user title 1 ''"),
        run.expected);
  }
}

// Channels that are closed, or /dev/null as in cupsfilter(8): the filter must not wait, and must
// not use the command file's descriptor instead of a channel's.
TEST(Filter, RunsWithoutChannels) {
  for (const std::string channels : {"3>&- 4>&-", "4>&-", "3</dev/null 4</dev/null"})
    for (const std::string file : {"", "/dev/fd/9 9<&0 0</dev/null"})
      ASSERT_EQ(outcome("echo ReportStatus | " FILTER " 1 2 3 4 5 " + file + " " + channels),
                "0" + WAKE_UP + NOT_BIDIRECTIONAL + TIMEOUT + wake_up(DRAIN + TIMEOUT) + ASKED +
                    reason_lines(23));
}

// A probe or a wake-up would be in the log.
TEST(CommandLine, ReportsErrors) {
  const std::string usage =
      "1ERROR: Usage: ./commandtocorvantide job-id user title copies options [file]";
  EXPECT_EQ(outcome(FILTER " 1 2 3 4"), usage);
  EXPECT_EQ(outcome(FILTER " 1 2 3 4 5 /dev/null 7"), usage);
  EXPECT_EQ(outcome(FILTER " 1 2 3 4 5 '' 3<&-"),
            "1ERROR: Unable to open command file - : No such file or directory\n");
}

}  // namespace

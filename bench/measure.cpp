// SPDX-License-Identifier: Apache-2.0
//
// measure FILTER FLOOR SKIP_PAUSES VIRTUAL_PRINTER FOLDER: prints a table of the filter beside the
// floor. What it writes meanwhile stands in the folder.
//
// The two run in turn; each figure is a median, and each ratio the median of the pairs' ratios,
// since what else the machine does passes over both of a pair alike.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

struct Tools {
  std::string filter, floor, skip_pauses, virtual_printer, folder;
};

struct Cost {
  double cpu, wall;     // seconds
  double memory;        // KiB
  double bytes, lines;  // of the log, the printer's own lines aside
  double writes;        // of the log
};

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Counts a log. The reads of a pipe say nothing of its writes; those of the socket do.
void read_log(int log, Cost& cost) {
  static char data[1 << 16];
  const std::string other = "DEBUG: virtual-printer";
  for (ssize_t size = 0; (size = read(log, data, sizeof data)) > 0;) {
    if (std::equal(other.begin(), other.end(), data)) continue;
    ++cost.writes;
    cost.bytes += static_cast<double>(size);
    cost.lines += static_cast<double>(std::count(data, data + size, '\n'));
  }
}

// Runs a command, with a library preloaded where one is named, and waits for it. Its descriptors
// 0, 1, 3 and 4 lead to /dev/null.
Cost run(const Tools& tools, const char* preload, std::vector<std::string> command,
         bool count_writes) {
  const std::string peak = tools.folder + "/peak";
  std::remove(peak.c_str());
  int log[2];
  if ((count_writes ? socketpair(AF_UNIX, SOCK_SEQPACKET, 0, log) : pipe(log)) != 0)
    give_up("measure: log");

  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == -1) give_up("measure: fork");
  if (child == 0) {
    dup2(log[1], STDERR_FILENO);
    const int null = open("/dev/null", O_RDWR);
    if (null == -1) _exit(127);
    for (const int fd : {0, 1, 3, 4}) dup2(null, fd);
    closefrom(5);
    setenv("PEAK_MEMORY", peak.c_str(), 1);
    if (preload != nullptr) setenv("LD_PRELOAD", preload, 1);
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (std::string& word : command) argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(log[1]);
  Cost cost = {};
  read_log(log[0], cost);
  close(log[0]);
  int status = 0;
  rusage usage = {};
  wait4(child, &status, 0, &usage);
  cost.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  cost.cpu = seconds(usage.ru_utime) + seconds(usage.ru_stime);
  std::ifstream(peak) >> cost.memory;
  if (status != 0) give_up("measure: a run failed");
  return cost;
}

// A run of so many statuses beside the virtual printer, and the start alone without it.
Cost serve(const Tools& tools, const std::string& program, int statuses, bool count_writes) {
  const std::string path = tools.folder + "/commands";
  std::ofstream commands(path);
  for (int i = 0; i < statuses; ++i) commands << "ReportStatus\n";
  commands.close();
  return run(tools, nullptr,
             {tools.virtual_printer, "--run", "virtual-printer://bench/", "/usr/bin/env",
              "LD_PRELOAD=" + tools.skip_pauses, program, "1", "user", "title", "1", "", path},
             count_writes);
}

Cost start(const Tools& tools, const std::string& program) {
  return run(tools, tools.skip_pauses.c_str(),
             {program, "1", "user", "title", "1", "", "/dev/null"}, false);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// One row: `pairs` pairs in turn. `goal` is the ratio to reach, 0 where there is none.
void row(const char* what, const char* unit, int pairs, double goal, const Tools& tools,
         const std::function<double(const std::string&)>& figure) {
  std::vector<double> filters;
  std::vector<double> floors;
  std::vector<double> ratios;
  for (int i = 0; i < pairs; ++i) {
    filters.push_back(figure(tools.filter));
    floors.push_back(figure(tools.floor));
    ratios.push_back(filters.back() / floors.back());
  }
  const double ratio = median(ratios);
  std::printf("%-30s %9.2f %9.2f %-5s %7.3f", what, median(filters), median(floors), unit, ratio);
  if (goal > 0) std::printf("  at most %.2f%s", goal, ratio > goal ? ": missed" : "");
  std::printf("\n");
  std::fflush(stdout);
}

void print_table(const Tools& tools) {
  constexpr int MANY = 1500;
  constexpr int FEW = 10;
  std::printf("%-30s %9s %9s %-5s %7s\n", "", "filter", "floor", "", "ratio");
  row("CPU to start", "ms", 201, 1.05, tools,
      [&](const std::string& program) { return start(tools, program).cpu * 1e3; });
  row("CPU a status, over 1500", "us", 21, 1.20, tools, [&](const std::string& program) {
    return (serve(tools, program, MANY, false).cpu - serve(tools, program, FEW, false).cpu) /
           (MANY - FEW) * 1e6;
  });
  row("peak memory, 1500 statuses", "KiB", 5, 1.10, tools,
      [&](const std::string& program) { return serve(tools, program, MANY, false).memory; });
  row("the same over that of 10", "", 5, 1.02, tools, [&](const std::string& program) {
    return serve(tools, program, MANY, false).memory / serve(tools, program, FEW, false).memory;
  });
  row("write calls a log line", "", 3, 1.00, tools, [&](const std::string& program) {
    const Cost cost = serve(tools, program, FEW, true);
    return cost.writes / cost.lines;
  });
  row("wall time of two statuses", "ms", 51, 0, tools,
      [&](const std::string& program) { return serve(tools, program, 2, false).wall * 1e3; });
}

// The comparison is fair only while both write the same amount.
bool is_fair(const Tools& tools) {
  const Cost filter = serve(tools, tools.filter, 3, true);
  const Cost floor = serve(tools, tools.floor, 3, true);
  if (filter.lines == floor.lines && filter.bytes == floor.bytes) return true;
  std::fprintf(stderr,
               "measure: the filter writes %.0f lines of %.0f bytes, the floor %.0f of %.0f; "
               "bring bench/floor.c up to date\n",
               filter.lines, filter.bytes, floor.lines, floor.bytes);
  return false;
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 6) {
    std::fprintf(stderr, "Usage: measure FILTER FLOOR SKIP_PAUSES VIRTUAL_PRINTER FOLDER\n");
    return 1;
  }
  const Tools tools = {argv[1], argv[2], argv[3], argv[4], argv[5]};
  if (!is_fair(tools)) return 1;
  print_table(tools);
  return 0;
}

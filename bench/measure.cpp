// SPDX-License-Identifier: Apache-2.0
//
// measure FILTER FLOOR SKIP_PAUSES VIRTUAL_PRINTER FOLDER: prints a table of the filter beside the
// floor, and ends with status 1 where a goal is missed. What it writes meanwhile stands in the
// folder.
//
// What the processor does is counted in user instructions, under callgrind: times and their ratios
// depend on the machine and on what else it does, instructions do not. Where the clock is read, the
// least of many runs counts: it is the one that was disturbed least.
#include <fcntl.h>
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

// What a run is to tell beside its wall time and its memory, which need no help.
enum class Count { Nothing, Writes, Instructions };

struct Cost {
  double wall;          // seconds
  double memory;        // KiB
  double instructions;  // in user mode
  double bytes, lines;  // of the log, the printer's own lines aside
  double writes;        // of the log
};

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
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

// Runs a command and waits for it. Its descriptors 0, 1, 3 and 4 lead to /dev/null.
Cost run(const Tools& tools, std::vector<std::string> command, Count count) {
  const std::string peak = tools.folder + "/peak";
  std::remove(peak.c_str());
  int log[2];
  if ((count == Count::Writes ? socketpair(AF_UNIX, SOCK_SEQPACKET, 0, log) : pipe(log)) != 0)
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
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (std::string& word : command) argv.push_back(word.data());
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
  }
  close(log[1]);
  Cost cost = {};
  read_log(log[0], cost);
  close(log[0]);
  int status = 0;
  waitpid(child, &status, 0);
  cost.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::ifstream(peak) >> cost.memory;
  if (status != 0) give_up("measure: a run failed");
  return cost;
}

// callgrind tells its count in a line "summary: COUNT" of the file that it writes.
double read_instructions(const std::string& path) {
  std::ifstream file(path);
  double instructions = 0;
  for (std::string word; file >> word;)
    if (word == "summary:") file >> instructions;
  if (instructions == 0) give_up("measure: no count of callgrind's");
  return instructions;
}

// Runs one of the two as a filter whose pauses take no time, beside what `printer` starts it with.
Cost run_filter(const Tools& tools, std::vector<std::string> printer, const std::string& program,
                const std::string& commands, Count count) {
  const std::string counts = tools.folder + "/callgrind";
  std::vector<std::string>& command = printer;
  command.insert(command.end(), {"env", "LD_PRELOAD=" + tools.skip_pauses});
  if (count == Count::Instructions) {
    command.insert(command.end(),
                   {"valgrind", "--quiet", "--tool=callgrind", "--callgrind-out-file=" + counts});
  }
  command.insert(command.end(), {program, "1", "user", "title", "1", "", commands});
  Cost cost = run(tools, command, count);
  if (count == Count::Instructions) cost.instructions = read_instructions(counts);
  return cost;
}

// A run of so many statuses beside the virtual printer, and the start alone without it.
Cost serve(const Tools& tools, const std::string& program, int statuses, Count count) {
  const std::string path = tools.folder + "/commands";
  std::ofstream commands(path);
  for (int i = 0; i < statuses; ++i) commands << "ReportStatus\n";
  commands.close();
  return run_filter(tools, {tools.virtual_printer, "--run", "virtual-printer://bench/"}, program,
                    path, count);
}

Cost start(const Tools& tools, const std::string& program) {
  return run_filter(tools, {}, program, "/dev/null", Count::Instructions);
}

double median(const std::vector<double>& values) {
  std::vector<double> sorted = values;
  std::sort(sorted.begin(), sorted.end());
  return sorted[sorted.size() / 2];
}

double least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

// What a goal is set to.
double ratio(double filter, double floor) { return filter / floor; }
double excess(double filter, double floor) { return filter - floor; }
double alone(double filter, double) { return filter; }

struct Row {
  const char* what;
  const char* unit;
  int runs;  // of each of the two, in turn
  double (*summary)(const std::vector<double>& values);
  double (*result)(double filter, double floor);
  const char* result_name;
  double goal;  // of the result, at most
  std::function<double(const std::string& program)> figure;
};

// Whether the goal is reached.
bool print_row(const Row& row, const Tools& tools) {
  std::vector<double> filters;
  std::vector<double> floors;
  for (int i = 0; i < row.runs; ++i) {
    filters.push_back(row.figure(tools.filter));
    floors.push_back(row.figure(tools.floor));
  }
  const double filter = row.summary(filters);
  const double floor = row.summary(floors);
  const double result = row.result(filter, floor);
  const bool reached = result <= row.goal;
  std::printf("%-29s %9.2f %9.2f %-6s %-6s %7.3f  at most %.2f%s\n", row.what, filter, floor,
              row.unit, row.result_name, result, row.goal, reached ? "" : ": MISSED");
  std::fflush(stdout);
  return reached;
}

// Whether all goals are reached.
bool print_table(const Tools& tools) {
  constexpr int MANY = 1500;
  constexpr int SOME = 110;
  constexpr int FEW = 10;
  const Row rows[] = {
      {"instructions to start", "M", 1, median, ratio, "ratio", 1.05,
       [&](const std::string& program) { return start(tools, program).instructions / 1e6; }},
      {"instructions a status", "k", 1, median, alone, "filter", 100.0,
       [&](const std::string& program) {
         return (serve(tools, program, SOME, Count::Instructions).instructions -
                 serve(tools, program, FEW, Count::Instructions).instructions) /
                (SOME - FEW) / 1e3;
       }},
      {"peak memory, 1500 statuses", "KiB", 5, median, ratio, "ratio", 1.10,
       [&](const std::string& program) {
         return serve(tools, program, MANY, Count::Nothing).memory;
       }},
      {"the same over that of 10", "", 5, median, alone, "filter", 1.02,
       [&](const std::string& program) {
         return serve(tools, program, MANY, Count::Nothing).memory /
                serve(tools, program, FEW, Count::Nothing).memory;
       }},
      {"write calls a log line", "", 3, median, alone, "filter", 1.00,
       [&](const std::string& program) {
         const Cost cost = serve(tools, program, FEW, Count::Writes);
         return cost.writes / cost.lines;
       }},
      {"wall time of two statuses", "ms", 101, least, excess, "excess", 1.00,
       [&](const std::string& program) {
         return serve(tools, program, 2, Count::Nothing).wall * 1e3;
       }},
  };
  std::printf("%-29s %9s %9s\n", "", "filter", "floor");
  bool reached = true;
  for (const Row& row : rows) reached = print_row(row, tools) && reached;
  return reached;
}

// The comparison is fair only while both write the same amount.
bool is_fair(const Tools& tools) {
  const Cost filter = serve(tools, tools.filter, 3, Count::Writes);
  const Cost floor = serve(tools, tools.floor, 3, Count::Writes);
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
  return is_fair(tools) && print_table(tools) ? 0 : 1;
}

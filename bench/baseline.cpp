// SPDX-License-Identifier: Apache-2.0
//
// The least that a run without commands costs: the same calls of libcups, and as many log lines of
// the same lengths. script/bench compares the filter with it.
#include <cups/cups.h>
#include <cups/sidechannel.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdio>
#include <initializer_list>
#include <string>

namespace {

// Writes log lines of these lengths, line feeds included. The strings make it link libstdc++, as
// the filter does.
void write_lines(std::initializer_list<std::size_t> lengths) {
  for (const std::size_t length : lengths)
    std::fprintf(stderr, "%s\n", std::string(length - 1, 'x').c_str());
}

void request(cups_sc_command_t command, double timeout) {
  char data[512];
  int size = sizeof data;
  cupsSideChannelDoRequest(command, data, &size, timeout);
}

}  // namespace

int main(int argc, char* argv[]) {
  std::signal(SIGPIPE, SIG_IGN);
  std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);
  cups_file_t* file = cupsFileOpen(argv[argc - 1], "r");
  request(CUPS_SC_CMD_GET_BIDI, 30.0);
  write_lines({112, 29, 20, 31});
  std::fwrite("\033EWU", 1, 4, stdout);
  std::fflush(stdout);
  request(CUPS_SC_CMD_DRAIN_OUTPUT, 5.0);
  usleep(500000);
  write_lines({58, 27});
  char directive[1024];
  char* value = nullptr;
  int line_number = 0;
  while (cupsFileGetConf(file, directive, sizeof directive, &value, &line_number) != nullptr)
    continue;
  cupsFileClose(file);
  return 0;
}

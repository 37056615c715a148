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

int main(int argc, char* argv[]) {
  // Writes log lines of these lengths, line feeds included. The strings make it link libstdc++, as
  // the filter does.
  const auto write_lines = [](std::initializer_list<std::size_t> lengths) {
    for (const std::size_t length : lengths)
      std::fprintf(stderr, "%s\n", std::string(length - 1, 'x').c_str());
  };
  char data[512];
  int size = sizeof data;
  std::signal(SIGPIPE, SIG_IGN);
  std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);
  cups_file_t* file = cupsFileOpen(argv[argc - 1], "r");
  cupsSideChannelDoRequest(CUPS_SC_CMD_GET_BIDI, data, &size, 30.0);
  write_lines({112, 29, 20, 31});
  std::fwrite("\033EWU", 1, 4, stdout);
  std::fflush(stdout);
  size = sizeof data;
  cupsSideChannelDoRequest(CUPS_SC_CMD_DRAIN_OUTPUT, data, &size, 5.0);
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

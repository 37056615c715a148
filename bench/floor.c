// SPDX-License-Identifier: Apache-2.0
//
// The least that a run without a command costs: the filter's calls of libcups, and as many log
// lines of the same lengths. script/bench holds the filter against it.
#include <cups/cups.h>
#include <cups/sidechannel.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

// Writes log lines of these lengths, line feeds included.
static void write_lines(const int* lengths) {
  char line[256];
  memset(line, 'x', sizeof line);
  for (; *lengths > 0; ++lengths) {
    line[*lengths - 1] = '\n';
    fwrite(line, 1, (size_t)*lengths, stderr);
    line[*lengths - 1] = 'x';
  }
}

static void request(cups_sc_command_t command, double timeout) {
  char data[512];
  int size = sizeof data;
  cupsSideChannelDoRequest(command, data, &size, timeout);
}

int main(int argc, char* argv[]) {
  char directive[1024];
  char* value = NULL;
  int line_number = 0;
  signal(SIGPIPE, SIG_IGN);
  cups_file_t* file = cupsFileOpen(argv[argc - 1], "r");
  request(CUPS_SC_CMD_GET_BIDI, 30.0);
  write_lines((const int[]){112, 29, 20, 31, -1});
  fwrite("\033EWU", 1, 4, stdout);
  fflush(stdout);
  request(CUPS_SC_CMD_DRAIN_OUTPUT, 5.0);
  usleep(500000);
  write_lines((const int[]){58, 27, -1});
  while (cupsFileGetConf(file, directive, sizeof directive, &value, &line_number) != NULL) continue;
  cupsFileClose(file);
  return 0;
}

// SPDX-License-Identifier: Apache-2.0
//
// The least that a run costs: the filter's calls of libcups, and as many log lines of the same
// lengths, but nothing is decided and nothing is told. script/bench holds the filter against it.
#include <cups/cups.h>
#include <cups/sidechannel.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

// Lengths of lines as the filter writes them, line feeds included.
static const int TO_WAKE_UP[] = {29, 20, 31, -1};
static const int WAKEN[] = {27, -1};
static const int COMMAND[] = {46, -1};
static const int TO_ASK[] = {38, 32, 20, 31, -1};
static const int REPLY[] = {22, 67, 67, 67, 67, 67, 67, 67, 67, 67, 67, 67, 67, 30, -1};
static const int REPORT[] = {146, 49, 36, -1};

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

static void send_to_printer(const char* command) {
  fwrite(command, 1, 4, stdout);
  fflush(stdout);
  request(CUPS_SC_CMD_DRAIN_OUTPUT, 5.0);
}

static void status(void) {
  char reply[512];
  write_lines(TO_ASK);
  send_to_printer("\033V21");
  cupsBackChannelRead(reply, sizeof reply, 1.0);
  write_lines(REPLY);
  write_lines(REPORT);
  for (int i = 0; i < 20; ++i) write_lines((const int[]){33, -1});
}

int main(int argc, char* argv[]) {
  char directive[1024];
  char* value = NULL;
  int line_number = 0;
  signal(SIGPIPE, SIG_IGN);
  cups_file_t* file = cupsFileOpen(argv[argc - 1], "r");
  request(CUPS_SC_CMD_GET_BIDI, 30.0);
  write_lines(TO_WAKE_UP);
  send_to_printer("\033EWU");
  usleep(500000);
  write_lines(WAKEN);
  while (cupsFileGetConf(file, directive, sizeof directive, &value, &line_number) != NULL) {
    write_lines(COMMAND);
    status();
  }
  cupsFileClose(file);
  return 0;
}

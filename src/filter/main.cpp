// SPDX-License-Identifier: Apache-2.0
//
// commandtocorvantide: runs the commands of a CUPS command file on a ribbon photo printer.
#include <cups/cups.h>
#include <cups/sidechannel.h>
#include <fcntl.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "channel/printer_exchange.h"
#include "channel/status_query.h"
#include "diag/value_names.h"
#include "markers/marker_report.h"
#include "reasons/state_reasons.h"

// libcups exports this comparison, but no installed header declares it.
extern "C" int _cups_strcasecmp(const char* s, const char* t);

namespace {

constexpr int PROBE_DATA_SIZE = 512;
constexpr double PROBE_TIMEOUT = 30.0;  // seconds
constexpr int DIRECTIVE_SIZE = 1024;

struct Command {
  const char* name;
  void (*report)(bool bidirectional);
};

void report_levels(bool bidirectional) {
  if (!bidirectional) {
    report_printer_levels(PrinterLevels::Unavailable());
    return;
  }
  const PrinterInfo info = get_printer_info_retry();
  report_printer_levels(info.GetPrinterLevels());
  update_printer_state(info.GetPrinterState());
}

void report_status(bool bidirectional) {
  update_printer_state(bidirectional ? get_printer_info_retry().GetPrinterState()
                                     : PrinterState::Unavailable());
}

const Command COMMANDS[] = {
    {"ReportLevels", report_levels},
    {"ReportStatus", report_status},
};

// Prepares the process for a scheduler, a shell or a test. Without the line buffer, glibc 2.37 and
// later write a long line in several writes.
void prepare_process() {
  // If the backend dies, the filter must log it, not be killed during a report.
  std::signal(SIGPIPE, SIG_IGN);

  // All processes of a job share one log pipe, in which only a single write stays together.
  std::setvbuf(stderr, nullptr, _IOLBF, BUFSIZ);

  // cupsBackChannelRead calls read even after its timeout; that must not block.
  fcntl(CUPS_BC_FD, F_SETFL, fcntl(CUPS_BC_FD, F_GETFL) | O_NONBLOCK);
}

// Returns whether the backend confirms that the device is bidirectional.
bool probe_bidirectional() {
  char data[PROBE_DATA_SIZE];
  int size = sizeof data;
  const cups_sc_status_e status =
      cupsSideChannelDoRequest(CUPS_SC_CMD_GET_BIDI, data, &size, PROBE_TIMEOUT);
  if (status == CUPS_SC_STATUS_OK && size == 1 && data[0] == CUPS_SC_BIDI_SUPPORTED) return true;
  std::fprintf(stderr,
               "DEBUG: Unable to retrieve supply status from printer - nobidirectional I/O "
               "available! %s(%d)\n",
               to_string(status), status);
  return false;
}

// An unknown directive is ignored: command files can contain commands for other printers.
void run_command(const char* directive, bool bidirectional) {
  for (const Command& command : COMMANDS) {
    if (_cups_strcasecmp(directive, command.name) == 0) {
      command.report(bidirectional);
      return;
    }
  }
}

// The file is null if cupsFileStdin failed.
void close_if_open(cups_file_t* file) {
  if (file != nullptr) cupsFileClose(file);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 6 || argc > 7) {
    std::fprintf(stderr, "ERROR: Usage: %s job-id user title copies options [file]", argv[0]);
    return 1;
  }

  prepare_process();

  cups_file_t* file = argc == 7 ? cupsFileOpen(argv[6], "r") : cupsFileStdin();
  if (argc == 7 && file == nullptr) {
    std::perror("ERROR: Unable to open command file - ");
    return 1;
  }

  const bool bidirectional = probe_bidirectional();
  if (wr_esc_wakeup() != 0) {
    close_if_open(file);
    std::exit(1);  // ends the process even if main was called as a function
  }

  char directive[DIRECTIVE_SIZE];
  char* value = nullptr;
  int line_number = 0;
  while (cupsFileGetConf(file, directive, sizeof directive, &value, &line_number) != nullptr) {
    std::fprintf(stderr, "DEBUG: ====> command=[%s] linenum=%d\n", directive, line_number);
    run_command(directive, bidirectional);
  }

  close_if_open(file);
  return 0;
}

// SPDX-License-Identifier: Apache-2.0
#include "channel/printer_exchange.h"

#include <cups/cups.h>
#include <cups/sidechannel.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

#include "diag/dump.h"
#include "diag/value_names.h"

namespace {

constexpr std::size_t COMMAND_SIZE = 4;
using EscapeCommand = char[COMMAND_SIZE];
constexpr EscapeCommand WAKE_UP = {0x1B, 'E', 'W', 'U'};
constexpr EscapeCommand STATUS_REQUEST = {0x1B, 'V', '2', '1'};

constexpr int DRAIN_DATA_SIZE = 512;
constexpr double DRAIN_TIMEOUT = 5.0;               // seconds
constexpr useconds_t PAUSE_AFTER_WAKE_UP = 500000;  // microseconds

constexpr ssize_t REPLY_CAPACITY = 512;
constexpr ssize_t REPLY_COMPLETE = 192;
constexpr double READ_TIMEOUT = 1.0;  // seconds

void drain_output() {
  char data[DRAIN_DATA_SIZE];
  int size = sizeof data;
  const cups_sc_status_e status =
      cupsSideChannelDoRequest(CUPS_SC_CMD_DRAIN_OUTPUT, data, &size, DRAIN_TIMEOUT);
  if (status != CUPS_SC_STATUS_OK) {
    std::fprintf(stderr, "DEBUG: CUPS_SC_CMD_DRAIN_OUTPUT=%s(%d)\n", to_string(status), status);
  }
}

// Returns whether the command was written and flushed, and logs the reason if not.
bool send_command(const EscapeCommand& command) {
  dump_mem("[CMD]", command, COMMAND_SIZE);
  const std::size_t written = std::fwrite(command, 1, COMMAND_SIZE, stdout);
  if (written != COMMAND_SIZE) {
    std::fprintf(stderr, "DEBUG: fwrite() failed. ret=%zu\n", written);
    return false;
  }
  if (std::fflush(stdout) != 0) {
    std::fprintf(stderr, "DEBUG: fflush() failed.\n");
    return false;
  }
  drain_output();
  return true;
}

// Returns whether a complete reply arrived, in any number of pieces, and logs the reason if not.
bool read_reply(char (&reply)[REPLY_CAPACITY]) {
  ssize_t received = 0;
  while (received < REPLY_COMPLETE) {
    const ssize_t ret = cupsBackChannelRead(
        reply + received, static_cast<std::size_t>(REPLY_CAPACITY - received), READ_TIMEOUT);
    if (ret <= 0) {
      std::fprintf(stderr, "DEBUG: cupsBackChannelRead() failed. ret=%zd\n", ret);
      return false;
    }
    received += ret;
  }
  dump_mem("[STS]", reply, static_cast<int>(received));
  return true;
}

}  // namespace

int wr_esc_wakeup() {
  std::fprintf(stderr, "DEBUG: wr_esc_wakeup() START\n");
  const bool sent = send_command(WAKE_UP);
  if (sent) usleep(PAUSE_AFTER_WAKE_UP);
  std::fprintf(stderr, "DEBUG: wr_esc_wakeup() END\n");
  return sent ? 0 : -1;
}

PrinterInfo get_printer_info() {
  std::fprintf(stderr, "DEBUG: get_printer_info() START\n");
  char reply[REPLY_CAPACITY];
  const bool complete = send_command(STATUS_REQUEST) && read_reply(reply);
  std::fprintf(stderr, "DEBUG: get_printer_info() END\n");
  return complete ? PrinterInfo::Parse(reply) : PrinterInfo::Unavailable();
}

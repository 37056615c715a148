// SPDX-License-Identifier: Apache-2.0
#include "job.h"

#include <cups/cups.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>

#include "printer.h"

namespace {

constexpr double CHANNEL_TIMEOUT = 1.0;  // seconds

class Job {
 public:
  explicit Job(const Settings& settings) : backend(settings.backend), printer(settings.printer) {
    ExitIfDead();
  }

  // One pass of the main loop. Returns false at the end of the input.
  bool Serve() {
    pollfd fds[] = {{STDIN_FILENO, POLLIN, 0}, {side_channel, POLLIN, 0}};
    poll(fds, 2, milliseconds_until(printer.NextDue(), Clock::now()));
    if (Clock::now() >= printer.NextDue()) SendPiece();
    if (!TakeInput()) return false;
    AnswerSideChannel(0);
    return true;
  }

 private:
  const BackendSettings& backend;
  Printer printer;
  int side_channel = CUPS_SC_FD;  // -1 after the filter has closed its end

  // Closes the input first, so that a filter that sees the end of a channel cannot write any more.
  // On exit, the kernel would close the descriptors in any order.
  void ExitIfDead() const {
    if (!printer.IsDead()) return;
    for (const int fd : {STDIN_FILENO, CUPS_SC_FD, CUPS_BC_FD}) close(fd);
    _exit(1);
  }

  // Reads all input that is available. Returns false at its end.
  bool TakeInput() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    char data[512];
    while (poll(&input, 1, 0) > 0) {
      const ssize_t size = read(STDIN_FILENO, data, sizeof data);
      if (size == 0) return false;
      if (size == -1) {
        std::perror("ERROR: virtual-printer: cannot read the print data");
        _exit(1);
      }
      printer.Receive(data, static_cast<std::size_t>(size), Clock::now());
      ExitIfDead();
    }
    return true;
  }

  void SendPiece() {
    WaitUntilRead();
    const Piece piece = printer.Take(Clock::now());
    if (piece.size > 0 && fcntl(CUPS_BC_FD, F_GETFD) != -1) {  // else libcups spins forever
      cupsBackChannelWrite(reinterpret_cast<const char*>(piece.data), piece.size, CHANNEL_TIMEOUT);
    }
    if (!printer.IsDead()) return;
    WaitUntilRead();
    ExitIfDead();
  }

  // Waits until the pipe is empty, at most for a second, because two pieces in it would become one.
  // Answers the side channel meanwhile, because the filter requests a drain before it reads.
  void WaitUntilRead() {
    const Time deadline = Clock::now() + std::chrono::seconds(1);
    int unread = 0;
    while (ioctl(CUPS_BC_FD, FIONREAD, &unread) == 0 && unread > 0 && Clock::now() < deadline) {
      AnswerSideChannel(1);
    }
  }

  // Answers a request that arrives within so many milliseconds.
  void AnswerSideChannel(int timeout) {
    pollfd side = {side_channel, POLLIN, 0};
    if (poll(&side, 1, timeout) <= 0) return;

    cups_sc_command_t request = CUPS_SC_CMD_NONE;
    cups_sc_status_t status = CUPS_SC_STATUS_NONE;
    char data[512];
    int size = sizeof data;
    if (cupsSideChannelRead(&request, &status, data, &size, 0.0) != 0) {
      side_channel = -1;
    } else if (request == CUPS_SC_CMD_GET_BIDI) {
      const auto answer = static_cast<char>(backend.bidi);
      cupsSideChannelWrite(request, CUPS_SC_STATUS_OK, &answer, 1, CHANNEL_TIMEOUT);
    } else if (request == CUPS_SC_CMD_DRAIN_OUTPUT) {
      TakeInput();  // its end is handled in the next pass
      cupsSideChannelWrite(request, backend.drain, nullptr, 0, CHANNEL_TIMEOUT);
    } else {
      cupsSideChannelWrite(request, CUPS_SC_STATUS_NOT_IMPLEMENTED, nullptr, 0, CHANNEL_TIMEOUT);
    }
  }
};

}  // namespace

void serve_job(const Settings& settings) {
  std::signal(SIGPIPE, SIG_IGN);  // the filter may exit before it has read all replies
  Job job(settings);
  while (job.Serve()) continue;
}

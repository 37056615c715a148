// SPDX-License-Identifier: Apache-2.0
#include "printer.h"

#include <cups/cups.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int BACK_CHANNEL_FD = 3;
constexpr double CHANNEL_TIMEOUT = 1.0;  // seconds

constexpr std::size_t COMMAND_SIZE = 4;
struct Command {
  char bytes[COMMAND_SIZE + 1];
  const char* name;
};
constexpr Command WAKE_UP = {
    "\x1b"
    "EWU",
    "wake-up"};
constexpr Command STATUS_REQUEST = {"\x1bV21", "status request"};

struct Reply {
  unsigned char bytes[512];
  std::size_t size;
};

Reply make_reply(const PrinterSettings& settings, bool awake) {
  Reply reply = {{}, 192 + settings.extra};
  const auto put = [&reply](std::size_t offset, unsigned value) {
    reply.bytes[offset] = static_cast<unsigned char>(value);
  };
  put(5, awake ? 0x00 : 0x01);
  std::copy(std::begin(settings.error), std::end(settings.error), reply.bytes + 131);
  put(145, settings.sheet);
  put(148, settings.total >> 8);
  put(149, settings.total);
  put(150, settings.remaining >> 8);
  put(151, settings.remaining);
  std::fill(reply.bytes + 192, reply.bytes + reply.size, 0xEE);
  return reply;
}

[[noreturn]] void die() {
  std::fprintf(stderr, "DEBUG: virtual-printer: dying\n");
  // In this order, which the kernel does not keep at an exit: a filter that sees a channel end
  // can no longer write either.
  for (const int fd : {STDIN_FILENO, CUPS_SC_FD, BACK_CHANNEL_FD}) close(fd);
  _exit(1);
}

class Printer {
 public:
  explicit Printer(const PrinterSettings& printer_settings) : settings(printer_settings) {}

  // One turn of the loop, which chatter keeps turning; false once the input has ended.
  bool Serve() {
    pollfd fds[] = {{STDIN_FILENO, POLLIN, 0}, {side_channel, POLLIN, 0}};
    if (settings.chatter) std::fprintf(stderr, "DEBUG: virtual-printer: line %u\n", ++lines);
    poll(fds, 2, settings.chatter ? 0 : TimeToReply());
    if (pending > 0 && Clock::now() >= due) SendReply();
    if (!TakeInput()) return false;
    AnswerSideChannel(0);
    return true;
  }

 private:
  const PrinterSettings& settings;
  int side_channel = CUPS_SC_FD;  // -1 once nobody is at its other end
  char command[COMMAND_SIZE];     // received so far
  std::size_t command_size = 0;
  unsigned replies = 0;   // sent
  unsigned lines = 0;     // of chatter
  unsigned pending = 0;   // status requests without a reply yet
  Clock::time_point due;  // of the first of those replies

  int TimeToReply() const {
    if (pending == 0) return -1;
    const auto left = std::chrono::duration_cast<milliseconds>(due - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left) + 1;
  }

  // Takes all that has been written by now; false once the input has ended.
  bool TakeInput() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    char data[512];
    while (poll(&input, 1, 0) > 0) {
      const ssize_t size = read(STDIN_FILENO, data, sizeof data);
      if (size <= 0) return false;
      for (ssize_t i = 0; i < size; ++i) Take(data[i]);
    }
    return true;
  }

  bool CouldBe(const Command& candidate) const {
    return std::memcmp(command, candidate.bytes, command_size) == 0;
  }

  void Take(char byte) {
    command[command_size++] = byte;
    while (command_size > 0 && !CouldBe(WAKE_UP) && !CouldBe(STATUS_REQUEST)) {
      std::fprintf(stderr, "DEBUG: virtual-printer: received %02x (unknown)\n",
                   static_cast<unsigned char>(command[0]));
      std::memmove(command, command + 1, --command_size);
    }
    if (command_size < COMMAND_SIZE) return;
    const Command& received = CouldBe(WAKE_UP) ? WAKE_UP : STATUS_REQUEST;
    command_size = 0;
    Carry(received);
  }

  void Carry(const Command& received) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(received.bytes);
    std::fprintf(stderr, "DEBUG: virtual-printer: received %02x %02x %02x %02x (%s)\n", bytes[0],
                 bytes[1], bytes[2], bytes[3], received.name);
    if (&received == &WAKE_UP) {
      if (settings.die == Death::AfterWakeUp) die();
      return;
    }
    if (pending++ == 0) due = Clock::now() + milliseconds(settings.pause);
  }

  void SendReply() {
    if (--pending > 0) due = Clock::now() + milliseconds(settings.pause);
    if (fcntl(BACK_CHANNEL_FD, F_GETFD) == -1) return;  // libcups would spin on it for ever

    const bool awake = replies++ >= settings.asleep;
    const Reply reply = make_reply(settings, awake);
    std::size_t end = std::min<std::size_t>(reply.size, settings.silence);
    if (settings.die == Death::InReply) end = std::min(end, reply.size / 2);
    std::fprintf(stderr, "DEBUG: virtual-printer: replying %s with %zu of %zu bytes\n",
                 awake ? "awake" : "asleep", end, reply.size);

    std::size_t sent = 0;
    for (const unsigned size : settings.pieces)
      sent = SendPiece(reply, sent, std::min(sent + size, end));
    SendPiece(reply, sent, end);
    if (settings.die == Death::InReply) {
      WaitUntilRead();
      die();
    }
  }

  std::size_t SendPiece(const Reply& reply, std::size_t start, std::size_t end) {
    if (start == end) return end;
    WaitUntilRead();
    cupsBackChannelWrite(reinterpret_cast<const char*>(reply.bytes) + start, end - start,
                         CHANNEL_TIMEOUT);
    return end;
  }

  // So that pieces do not melt into one. The filter asks for a drain before it reads.
  void WaitUntilRead() {
    const Clock::time_point give_up = Clock::now() + milliseconds(1000);
    int unread = 0;
    while (ioctl(BACK_CHANNEL_FD, FIONREAD, &unread) == 0 && unread > 0 && Clock::now() < give_up) {
      AnswerSideChannel(1);
    }
  }

  // Answers a request that is there or comes within so many milliseconds.
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
      cupsSideChannelWrite(request, settings.bidi.status, settings.bidi.data, settings.bidi.size,
                           CHANNEL_TIMEOUT);
    } else if (request == CUPS_SC_CMD_DRAIN_OUTPUT) {
      TakeInput();  // the end of the input can wait for the next turn
      cupsSideChannelWrite(request, settings.drain, nullptr, 0, CHANNEL_TIMEOUT);
    } else {
      cupsSideChannelWrite(request, CUPS_SC_STATUS_NOT_IMPLEMENTED, nullptr, 0, CHANNEL_TIMEOUT);
    }
  }
};

}  // namespace

void serve(const PrinterSettings& settings) {
  std::signal(SIGPIPE, SIG_IGN);  // a filter may end before its replies are out
  if (settings.die == Death::AtStart) die();
  Printer printer(settings);
  while (printer.Serve()) continue;
}

// SPDX-License-Identifier: Apache-2.0
#include "printer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

using std::chrono::milliseconds;

constexpr char WAKE_UP[] =
    "\x1b"
    "EWU";
constexpr char STATUS_REQUEST[] = "\x1bV21";

}  // namespace

Printer::Printer(const PrinterSettings& printer_settings) : settings(printer_settings) {
  if (settings.die == Death::AtStart) Die();
}

void Printer::Receive(const char* data, std::size_t size, Time now) {
  for (std::size_t i = 0; i < size && !dead; ++i) ReceiveByte(data[i], now);
}

Time Printer::NextDue() const { return pending == 0 || dead ? Time::max() : due; }

Piece Printer::Take(Time now) {
  if (now < NextDue()) return {reply, 0};
  if (!replying) BeginReply();

  const std::size_t left = reply_end - reply_sent;
  const bool is_last = pieces_sent == settings.pieces.size();
  const std::size_t size =
      is_last ? left : std::min<std::size_t>(settings.pieces[pieces_sent], left);
  const Piece piece = {reply + reply_sent, size};
  ++pieces_sent;
  reply_sent += size;
  due = now + milliseconds(settings.gap);
  if (reply_sent == reply_end) EndReply(now);
  return piece;
}

bool Printer::IsDead() const { return dead; }

bool Printer::CouldBe(const char* candidate) const {
  return std::memcmp(command, candidate, command_size) == 0;
}

void Printer::ReceiveByte(char byte, Time now) {
  command[command_size++] = byte;
  while (command_size > 0 && !CouldBe(WAKE_UP) && !CouldBe(STATUS_REQUEST)) {
    std::fprintf(stderr, "DEBUG: virtual-printer: received %02x (unknown)\n",
                 static_cast<unsigned char>(command[0]));
    std::memmove(command, command + 1, --command_size);
  }
  if (command_size < COMMAND_SIZE) return;
  command_size = 0;
  const bool is_wake_up = std::memcmp(command, WAKE_UP, COMMAND_SIZE) == 0;
  std::fprintf(stderr, "DEBUG: virtual-printer: received %02x %02x %02x %02x (%s)\n", command[0],
               command[1], command[2], command[3], is_wake_up ? "wake-up" : "status request");
  if (is_wake_up) {
    if (settings.die == Death::AfterWakeUp) Die();
  } else if (pending++ == 0) {
    due = now + milliseconds(settings.pause);
  }
}

void Printer::BeginReply() {
  const bool awake = replies++ >= settings.asleep;
  const std::size_t size = REPLY_SIZE + settings.extra;
  const auto put = [this](std::size_t offset, unsigned value) {
    reply[offset] = static_cast<unsigned char>(value);
  };
  std::fill(reply, reply + REPLY_SIZE, 0x00);
  std::fill(reply + REPLY_SIZE, reply + size, 0xEE);
  put(5, awake ? 0x00 : 0x01);
  std::copy(std::begin(settings.error), std::end(settings.error), reply + 131);
  put(145, settings.sheet);
  put(148, settings.total >> 8);
  put(149, settings.total);
  put(150, settings.remaining >> 8);
  put(151, settings.remaining);

  replying = true;
  reply_sent = pieces_sent = 0;
  reply_end = std::min<std::size_t>(size, settings.silence);
  if (settings.die == Death::InReply) reply_end = std::min(reply_end, size / 2);
  std::fprintf(stderr, "DEBUG: virtual-printer: replying %s with %zu of %zu bytes\n",
               awake ? "awake" : "asleep", reply_end, size);
}

void Printer::EndReply(Time now) {
  replying = false;
  --pending;
  due = now + milliseconds(settings.pause);
  if (settings.die == Death::InReply) Die();
}

void Printer::Die() {
  std::fprintf(stderr, "DEBUG: virtual-printer: dying\n");
  dead = true;
}

int milliseconds_until(Time then, Time now) {
  if (then == Time::max()) return -1;
  if (then <= now) return 0;
  return static_cast<int>(std::chrono::ceil<milliseconds>(then - now).count());
}

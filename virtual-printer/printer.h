// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>

#include "settings.h"

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

// The bytes of a reply that the printer sends at once. They stay the printer's, and stand until it
// is called again.
struct Piece {
  const unsigned char* data;
  std::size_t size;
};

// The printer, whatever it is attached through: bytes go in, pieces of replies come out. It holds
// no descriptor, never waits, and is told the time by its caller. Logs what it receives and how it
// replies.
class Printer {
 public:
  explicit Printer(const PrinterSettings& printer_settings);

  // Takes bytes that arrive now; a command may be split among calls.
  void Receive(const char* data, std::size_t size, Time now);

  // When the next piece can be taken; Time::max() while none is to come.
  Time NextDue() const;

  // Takes the next piece. Its size is 0 where none is due, and for a reply that is silent from its
  // start.
  Piece Take(Time now);

  // Whether it is gone, as its settings have it. A dead printer takes and gives nothing.
  bool IsDead() const;

 private:
  static constexpr std::size_t COMMAND_SIZE = 4;

  PrinterSettings settings;
  bool dead = false;
  char command[COMMAND_SIZE];  // received so far
  std::size_t command_size = 0;
  unsigned pending = 0;  // status requests whose replies have not ended
  unsigned replies = 0;  // begun
  Time due;              // of the next piece, where a request is pending

  unsigned char reply[REPLY_SIZE_MAX];  // the one under way
  std::size_t reply_end = 0;            // bytes that will be sent of it
  std::size_t reply_sent = 0;
  std::size_t pieces_sent = 0;
  bool replying = false;

  bool CouldBe(const char* candidate) const;
  void ReceiveByte(char byte, Time now);
  void BeginReply();
  void EndReply(Time now);
  void Die();
};

// The time left until then, in milliseconds and rounded up, as poll(2) wants it: -1 for
// Time::max().
int milliseconds_until(Time then, Time now);

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>

#include "settings.h"

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

// The bytes of a reply that the printer sends at once. The printer owns them; they are valid until
// its next call.
struct Piece {
  const unsigned char* data;
  std::size_t size;
};

// The simulated printer, independent of its attachment: bytes go in, pieces of replies come out. It
// opens no descriptor and never waits; the caller passes the time. It logs each command and reply.
class Printer {
 public:
  explicit Printer(const PrinterSettings& printer_settings);

  // Receives bytes; a command may be split among calls.
  void Receive(const char* data, std::size_t size, Time now);

  // When the next piece is due; Time::max() if there is none.
  Time NextDue() const;

  // Returns the next piece. Its size is 0 if none is due, or if the reply has no bytes.
  Piece Take(Time now);

  // Whether the printer has disconnected, as its settings say. It then neither receives nor
  // replies.
  bool IsDead() const;

 private:
  static constexpr std::size_t COMMAND_SIZE = 4;

  PrinterSettings settings;
  bool dead = false;
  char command[COMMAND_SIZE];  // received so far
  std::size_t command_size = 0;
  unsigned pending = 0;  // status requests whose replies have not ended
  unsigned replies = 0;  // begun
  Time due;              // of the next piece, if a request is pending

  unsigned char reply[REPLY_SIZE_MAX];  // the current one
  std::size_t reply_end = 0;            // bytes of it to send
  std::size_t reply_sent = 0;
  std::size_t pieces_sent = 0;
  bool replying = false;

  bool CouldBe(const char* candidate) const;
  void ReceiveByte(char byte, Time now);
  void BeginReply();
  void EndReply(Time now);
  void Die();
};

// The time left, in milliseconds and rounded up, as a timeout for poll(2): -1 for Time::max().
int milliseconds_until(Time then, Time now);

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cups/sidechannel.h>

#include <cstdint>
#include <cstdio>
#include <vector>

constexpr unsigned REPLY_SIZE = 192;      // bytes of a status reply
constexpr unsigned REPLY_SIZE_MAX = 512;  // with what a printer may add to it

enum class Death { Never, AtStart, AfterWakeUp, InReply };

// What a virtual printer is like: a good one, awake, three tenths of its ribbon left, unless its
// URI says otherwise.
struct PrinterSettings {
  std::uint8_t error[3] = {0x00, 0x00, 0x00};
  std::uint8_t sheet = 0x04;
  unsigned total = 400;
  unsigned remaining = 120;
  unsigned asleep = 0;           // replies
  unsigned extra = 0;            // bytes beyond the 192 of every reply
  std::vector<unsigned> pieces;  // bytes of each; what they leave over is a last piece
  unsigned gap = 0;              // milliseconds from a piece to the next
  unsigned silence = 512;        // bytes of each reply after which nothing more comes
  unsigned pause = 0;            // milliseconds from a request to its reply
  Death die = Death::Never;
};

// How the back end answers whether its device is bidirectional.
struct BidiAnswer {
  const char* name;
  cups_sc_status_e status;
  int size;  // bytes of data
  char data[2];
};

// What the back end is like that the printer is attached to a job with.
struct JobSettings {
  BidiAnswer bidi = {"yes", CUPS_SC_STATUS_OK, 1, {CUPS_SC_BIDI_SUPPORTED}};
  cups_sc_status_e drain = CUPS_SC_STATUS_OK;
  bool chatter = false;  // logs without pause
};

struct Settings {
  PrinterSettings printer;
  JobSettings job;
};

// Reads a number of at most `max`, without sign or blanks; false where that is not the whole text.
bool read_number(const char* text, unsigned max, unsigned& number, int base = 10);

// Reads the query of a URI, "virtual-printer://NAME/?KEY=VALUE&...". Where anything in it is not
// understood, or `for_job` is false and a key is of a job's settings, writes one "ERROR: " line and
// returns false.
bool parse_settings(const char* uri, bool for_job, Settings& settings);

// Writes a line or two for each key of the printer's, or of the job's.
void print_keys(std::FILE* out, bool of_job);

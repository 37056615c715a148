// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cups/sidechannel.h>

#include <cstdint>
#include <cstdio>
#include <vector>

// How the back end answers whether its device is bidirectional.
struct BidiAnswer {
  const char* name;
  cups_sc_status_e status;
  int size;  // bytes of data
  char data[2];
};

enum class Death { Never, AtStart, AfterWakeUp, InReply };

// What a virtual printer is like: a good one, awake, three tenths of its ribbon left, unless its
// device URI says otherwise.
struct PrinterSettings {
  std::uint8_t error[3] = {0x00, 0x00, 0x00};
  std::uint8_t sheet = 0x04;
  unsigned total = 400;
  unsigned remaining = 120;
  unsigned asleep = 0;           // replies
  unsigned extra = 0;            // bytes beyond the 192 of every reply
  std::vector<unsigned> pieces;  // bytes of each; what they leave over is a last piece
  unsigned silence = 512;        // bytes of each reply after which nothing more comes
  unsigned pause = 0;            // milliseconds from a request to its reply
  BidiAnswer bidi = {"yes", CUPS_SC_STATUS_OK, 1, {CUPS_SC_BIDI_SUPPORTED}};
  cups_sc_status_e drain = CUPS_SC_STATUS_OK;
  bool chatter = false;  // logs without pause
  Death die = Death::Never;
};

// Reads the query of a device URI, "virtual-printer://NAME/?KEY=VALUE&...". Where anything in it
// is not understood, writes one "ERROR: " line and returns false.
bool parse_settings(const char* device_uri, PrinterSettings& settings);

// Writes a line or two for each key.
void print_keys(std::FILE* out);

// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cups/sidechannel.h>

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

constexpr unsigned REPLY_SIZE = 192;      // bytes of a status reply
constexpr unsigned REPLY_SIZE_MAX = 512;  // with the bytes that a printer may add

enum class Death { Never, AtStart, AfterWakeUp, InReply };

// Settings of the simulated printer. The defaults are a printer that is awake and reports no error
// and three tenths of its ribbon.
struct PrinterSettings {
  std::uint8_t error[3] = {0x00, 0x00, 0x00};
  std::uint8_t sheet = 0x04;
  unsigned total = 400;
  unsigned remaining = 120;
  unsigned asleep = 0;           // replies
  unsigned extra = 0;            // bytes after the 192 of every reply
  std::vector<unsigned> pieces;  // bytes of each; the rest of a reply is one more piece
  unsigned gap = 0;              // milliseconds between two pieces
  unsigned silence = 512;        // bytes of each reply after which nothing more is sent
  unsigned pause = 0;            // milliseconds from a request to its reply
  Death die = Death::Never;
};

// Settings of the simulated backend.
struct BackendSettings {
  cups_sc_bidi_e bidi = CUPS_SC_BIDI_SUPPORTED;
  cups_sc_status_e drain = CUPS_SC_STATUS_OK;
};

struct Settings {
  PrinterSettings printer;
  BackendSettings backend;
};

// What the printer is attached through: the simulated backend of a job, or CUPS's socket or usb
// backend.
enum class Attachment { Job, Socket, Usb };

// Reads a number of at most `max`, without sign or white space; false if that is not the whole
// text.
bool read_number(std::string_view text, unsigned max, unsigned& number, int base = 10);

// Reads a URI, "virtual-printer://NAME/?SETTING=VALUE&...". If it is not valid for the attachment,
// prints an "ERROR: " message, which can quote the URI, and returns false.
bool parse_settings(std::string_view uri, Attachment attachment, Settings& settings);

// Prints two or three lines about each setting of the printer or of the backend.
void print_settings(std::FILE* out, bool of_backend);

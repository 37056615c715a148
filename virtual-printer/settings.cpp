// SPDX-License-Identifier: Apache-2.0
#include "settings.h"

#include <cups/cups.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <system_error>

#include "diag/value_names.h"

namespace {

bool read_byte(const char* text, std::uint8_t& byte) {
  unsigned number = 0;
  if (std::strlen(text) != 2 || !read_number(text, 0xFF, number, 16)) return false;
  byte = static_cast<std::uint8_t>(number);
  return true;
}

bool read_count(const char* text, unsigned& count) { return read_number(text, 0xFFFF, count); }

bool set_error(const char* text, Settings& settings) {
  unsigned code = 0;
  if (std::strlen(text) != 6 || !read_number(text, 0xFFFFFF, code, 16)) return false;
  settings.printer.error[0] = static_cast<std::uint8_t>(code >> 16);
  settings.printer.error[1] = static_cast<std::uint8_t>(code >> 8);
  settings.printer.error[2] = static_cast<std::uint8_t>(code);
  return true;
}

bool set_pieces(const char* text, Settings& settings) {
  const char* end = text + std::strlen(text);
  for (;;) {
    unsigned size = 0;
    const auto [stop, error] = std::from_chars(text, end, size);
    if (error != std::errc() || size == 0 || size > REPLY_SIZE_MAX) return false;
    settings.printer.pieces.push_back(size);
    if (stop == end) return true;
    if (*stop != ',') return false;
    text = stop + 1;
  }
}

bool set_bidi(const char* text, Settings& settings) {
  static const BidiAnswer ANSWERS[] = {
      {"yes", CUPS_SC_STATUS_OK, 1, {CUPS_SC_BIDI_SUPPORTED}},
      {"no", CUPS_SC_STATUS_OK, 1, {CUPS_SC_BIDI_NOT_SUPPORTED}},
      {"empty", CUPS_SC_STATUS_OK, 0, {}},
      {"long", CUPS_SC_STATUS_OK, 2, {CUPS_SC_BIDI_SUPPORTED, CUPS_SC_BIDI_SUPPORTED}},
      {"unknown", CUPS_SC_STATUS_NOT_IMPLEMENTED, 1, {CUPS_SC_BIDI_SUPPORTED}},
  };
  const auto* answer = std::find_if(
      std::begin(ANSWERS), std::end(ANSWERS),
      [text](const BidiAnswer& candidate) { return std::strcmp(candidate.name, text) == 0; });
  if (answer == std::end(ANSWERS)) return false;
  settings.job.bidi = *answer;
  return true;
}

bool set_drain(const char* text, Settings& settings) {
  for (int status = CUPS_SC_STATUS_NONE; status <= CUPS_SC_STATUS_NOT_IMPLEMENTED; ++status) {
    settings.job.drain = static_cast<cups_sc_status_e>(status);
    if (std::strcmp(to_string(settings.job.drain), text) == 0) return true;
  }
  return false;
}

bool set_die(const char* text, Settings& settings) {
  static const char* const MOMENTS[] = {"never", "start", "wake-up", "reply"};
  for (int moment = 0; moment <= static_cast<int>(Death::InReply); ++moment) {
    settings.printer.die = static_cast<Death>(moment);
    if (std::strcmp(MOMENTS[moment], text) == 0) return true;
  }
  return false;
}

struct Key {
  const char* name;
  bool of_job;
  const char* values;
  const char* meaning;
  bool (*set)(const char* text, Settings& settings);
};

const Key KEYS[] = {
    {"error", false, "six hexadecimal digits", "the error code (000000: good)", set_error},
    {"sheet", false, "two hexadecimal digits", "the ink sheet type (04)",
     [](const char* text, Settings& s) { return read_byte(text, s.printer.sheet); }},
    {"total", false, "0 to 65535", "the count of a full ink ribbon (400)",
     [](const char* text, Settings& s) { return read_count(text, s.printer.total); }},
    {"remaining", false, "0 to 65535", "the count left on it (120)",
     [](const char* text, Settings& s) { return read_count(text, s.printer.remaining); }},
    {"asleep", false, "0 to 65535", "how many replies say asleep before it wakes (0)",
     [](const char* text, Settings& s) { return read_count(text, s.printer.asleep); }},
    {"pause", false, "0 to 65535", "milliseconds from a request to its reply (0)",
     [](const char* text, Settings& s) { return read_count(text, s.printer.pause); }},
    {"extra", false, "0 to 320", "bytes beyond the 192 of each reply (0)",
     [](const char* text, Settings& s) {
       return read_number(text, REPLY_SIZE_MAX - REPLY_SIZE, s.printer.extra);
     }},
    {"pieces", false, "sizes, as in 100,92",
     "the pieces that a reply comes in; what they leave over comes as a\n"
     "last one (all at once)",
     set_pieces},
    {"gap", false, "0 to 65535", "milliseconds between two pieces (0)",
     [](const char* text, Settings& s) { return read_count(text, s.printer.gap); }},
    {"silence", false, "0 to 512", "bytes of each reply after which nothing more comes (512)",
     [](const char* text, Settings& s) {
       return read_number(text, REPLY_SIZE_MAX, s.printer.silence);
     }},
    {"die", false, "never, start, wake-up, reply",
     "when it is gone: from its start, once it has received the wake-up\n"
     "command, or half-way through its first reply (never)",
     set_die},
    {"bidi", true, "yes, no, empty, long, unknown",
     "the answer to whether the device is bidirectional (yes); empty and\n"
     "long have 0 and 2 bytes, unknown is not implemented",
     set_bidi},
    {"drain", true, "CUPS_SC_STATUS_OK and the like",
     "the status of each drain (CUPS_SC_STATUS_OK)", set_drain},
    {"chatter", true, "yes, no", "whether it logs without pause (no)",
     [](const char* text, Settings& s) {
       s.job.chatter = std::strcmp(text, "yes") == 0;
       return s.job.chatter || std::strcmp(text, "no") == 0;
     }},
};

bool apply(const cups_option_t& option, bool for_job, Settings& settings) {
  for (const Key& key : KEYS) {
    if (std::strcmp(key.name, option.name) != 0) continue;
    if (key.of_job && !for_job) {
      std::fprintf(stderr,
                   "ERROR: virtual-printer: \"%s\" in the URI is for a job's back end only\n",
                   option.name);
      return false;
    }
    if (key.set(option.value, settings)) return true;
    std::fprintf(stderr, "ERROR: virtual-printer: \"%s=%s\" in the URI: expected %s\n", option.name,
                 option.value, key.values);
    return false;
  }
  std::fprintf(stderr, "ERROR: virtual-printer: unknown key \"%s\" in the URI\n", option.name);
  return false;
}

bool is_plain(char c) { return c > ' ' && c <= '~' && std::strchr("\"'\\{}", c) == nullptr; }

// A query is a list of options but for its separators.
bool parse_query(char* query, bool for_job, Settings& settings) {
  const auto pairs = 1 + std::count(query, query + std::strlen(query), '&');
  std::replace(query, query + std::strlen(query), '&', ' ');
  cups_option_t* options = nullptr;
  const int num_options = cupsParseOptions(query, 0, &options);
  bool understood = num_options == pairs;
  if (!understood) {
    std::fprintf(stderr, "ERROR: virtual-printer: a key in the URI is empty or repeated\n");
  }
  for (int i = 0; i < num_options && understood; ++i) {
    understood = apply(options[i], for_job, settings);
  }
  cupsFreeOptions(num_options, options);
  return understood;
}

}  // namespace

bool read_number(const char* text, unsigned max, unsigned& number, int base) {
  unsigned value = 0;
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, value, base);
  if (error != std::errc() || stop != end || value > max) return false;
  number = value;
  return true;
}

bool parse_settings(const char* uri, bool for_job, Settings& settings) {
  char scheme[32];
  char user[32];
  char host[256];
  char resource[1024];
  int port = 0;
  // What libcups would cut, or take for more than a character of a value, is not handed to it.
  const std::size_t length = std::strlen(uri);
  if (length >= sizeof resource || !std::all_of(uri, uri + length, is_plain)) {
    std::fprintf(stderr,
                 "ERROR: virtual-printer: a URI has at most %zu characters, all of ASCII, without "
                 "blanks, quotes, braces and backslashes\n",
                 sizeof resource - 1);
    return false;
  }
  // Nothing is decoded: no setting needs a character that a URI has to encode.
  const http_uri_status_t status =
      httpSeparateURI(HTTP_URI_CODING_NONE, uri, scheme, sizeof scheme, user, sizeof user, host,
                      sizeof host, &port, resource, sizeof resource);
  if (status < HTTP_URI_STATUS_OK || std::strcmp(scheme, "virtual-printer") != 0) {
    std::fprintf(stderr, "ERROR: virtual-printer: \"%s\" is not a virtual-printer:// URI\n", uri);
    return false;
  }

  char* query = std::strchr(resource, '?');
  if (query != nullptr && !parse_query(query + 1, for_job, settings)) return false;

  unsigned in_pieces = 0;
  for (const unsigned size : settings.printer.pieces) in_pieces += size;
  if (in_pieces > REPLY_SIZE + settings.printer.extra) {
    std::fprintf(stderr, "ERROR: virtual-printer: the pieces in the URI make %u bytes of %u\n",
                 in_pieces, REPLY_SIZE + settings.printer.extra);
    return false;
  }
  return true;
}

void print_keys(std::FILE* out, bool of_job) {
  for (const Key& key : KEYS) {
    if (key.of_job != of_job) continue;
    std::fprintf(out, "  %-10s %s\n", key.name, key.values);
    for (const char* line = key.meaning; line != nullptr;) {
      const char* end = std::strchr(line, '\n');
      const int size = end != nullptr ? static_cast<int>(end - line) : -1;  // -1: to its end
      std::fprintf(out, "             %.*s\n", size, line);
      line = end != nullptr ? end + 1 : nullptr;
    }
  }
}

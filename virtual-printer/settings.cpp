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

constexpr unsigned REPLY_SIZE = 192;
constexpr unsigned REPLY_SIZE_MAX = 512;  // what a USB back end passes on at once

// The whole text as a number of at most `max`, without sign or blanks.
template <typename Number>
bool read_number(const char* text, Number max, Number& number, int base = 10) {
  Number value{};
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, value, base);
  if (error != std::errc() || stop != end || value > max) return false;
  number = value;
  return true;
}

bool read_byte(const char* text, std::uint8_t& byte) {
  return std::strlen(text) == 2 && read_number<std::uint8_t>(text, 0xFF, byte, 16);
}

bool read_count(const char* text, unsigned& count) { return read_number(text, 0xFFFFU, count); }

bool set_error(const char* text, PrinterSettings& settings) {
  std::uint32_t code = 0;
  if (std::strlen(text) != 6 || !read_number<std::uint32_t>(text, 0xFFFFFF, code, 16)) return false;
  settings.error[0] = static_cast<std::uint8_t>(code >> 16);
  settings.error[1] = static_cast<std::uint8_t>(code >> 8);
  settings.error[2] = static_cast<std::uint8_t>(code);
  return true;
}

bool set_pieces(const char* text, PrinterSettings& settings) {
  const char* end = text + std::strlen(text);
  for (;;) {
    unsigned size = 0;
    const auto [stop, error] = std::from_chars(text, end, size);
    if (error != std::errc() || size == 0 || size > REPLY_SIZE_MAX) return false;
    settings.pieces.push_back(size);
    if (stop == end) return true;
    if (*stop != ',') return false;
    text = stop + 1;
  }
}

bool set_bidi(const char* text, PrinterSettings& settings) {
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
  settings.bidi = *answer;
  return true;
}

bool set_drain(const char* text, PrinterSettings& settings) {
  for (int status = CUPS_SC_STATUS_NONE; status <= CUPS_SC_STATUS_NOT_IMPLEMENTED; ++status) {
    settings.drain = static_cast<cups_sc_status_e>(status);
    if (std::strcmp(to_string(settings.drain), text) == 0) return true;
  }
  return false;
}

bool set_die(const char* text, PrinterSettings& settings) {
  static const char* const MOMENTS[] = {"never", "start", "wake-up", "reply"};
  for (int moment = 0; moment <= static_cast<int>(Death::InReply); ++moment) {
    settings.die = static_cast<Death>(moment);
    if (std::strcmp(MOMENTS[moment], text) == 0) return true;
  }
  return false;
}

struct Key {
  const char* name;
  const char* values;
  const char* meaning;
  bool (*set)(const char* text, PrinterSettings& settings);
};

const Key KEYS[] = {
    {"error", "six hexadecimal digits", "the error code (000000: good)", set_error},
    {"sheet", "two hexadecimal digits", "the ink sheet type (04)",
     [](const char* text, PrinterSettings& s) { return read_byte(text, s.sheet); }},
    {"total", "0 to 65535", "the count of a full ink ribbon (400)",
     [](const char* text, PrinterSettings& s) { return read_count(text, s.total); }},
    {"remaining", "0 to 65535", "the count left on it (120)",
     [](const char* text, PrinterSettings& s) { return read_count(text, s.remaining); }},
    {"asleep", "0 to 65535", "how many replies say asleep before it wakes (0)",
     [](const char* text, PrinterSettings& s) { return read_count(text, s.asleep); }},
    {"bidi", "yes, no, empty, long, unknown",
     "the answer to whether the device is bidirectional (yes);\n"
     "empty and long have 0 and 2 bytes, unknown is not implemented",
     set_bidi},
    {"drain", "CUPS_SC_STATUS_OK and the like", "the status of each drain (CUPS_SC_STATUS_OK)",
     set_drain},
    {"pause", "0 to 65535", "milliseconds from a request to its reply (0)",
     [](const char* text, PrinterSettings& s) { return read_count(text, s.pause); }},
    {"extra", "0 to 320", "bytes beyond the 192 of each reply (0)",
     [](const char* text, PrinterSettings& s) {
       return read_number(text, REPLY_SIZE_MAX - REPLY_SIZE, s.extra);
     }},
    {"pieces", "sizes, as in 100,92",
     "the pieces that a reply comes in, each sent when the one before has been\n"
     "read; what they leave over comes as a last one (all at once)",
     set_pieces},
    {"silence", "0 to 512", "bytes of each reply after which nothing more comes (512)",
     [](const char* text, PrinterSettings& s) {
       return read_number(text, REPLY_SIZE_MAX, s.silence);
     }},
    {"chatter", "yes, no", "whether it logs without pause (no)",
     [](const char* text, PrinterSettings& s) {
       s.chatter = std::strcmp(text, "yes") == 0;
       return s.chatter || std::strcmp(text, "no") == 0;
     }},
    {"die", "never, start, wake-up, reply",
     "when the back end dies: at its start, once it has received the wake-up\n"
     "command, or half-way through its first reply (never)",
     set_die},
};

bool apply(const cups_option_t& option, PrinterSettings& settings) {
  for (const Key& key : KEYS) {
    if (std::strcmp(key.name, option.name) != 0) continue;
    if (key.set(option.value, settings)) return true;
    std::fprintf(stderr, "ERROR: virtual-printer: \"%s=%s\" in the device URI: expected %s\n",
                 option.name, option.value, key.values);
    return false;
  }
  std::fprintf(stderr, "ERROR: virtual-printer: unknown key \"%s\" in the device URI\n",
               option.name);
  return false;
}

// A query is a list of options but for its separators.
bool parse_query(char* query, PrinterSettings& settings) {
  const auto pairs = 1 + std::count(query, query + std::strlen(query), '&');
  std::replace(query, query + std::strlen(query), '&', ' ');
  cups_option_t* options = nullptr;
  const int num_options = cupsParseOptions(query, 0, &options);
  bool understood = num_options == pairs;
  if (!understood) {
    std::fprintf(stderr, "ERROR: virtual-printer: a key in the device URI is empty or repeated\n");
  }
  for (int i = 0; i < num_options && understood; ++i) understood = apply(options[i], settings);
  cupsFreeOptions(num_options, options);
  return understood;
}

}  // namespace

bool parse_settings(const char* device_uri, PrinterSettings& settings) {
  char scheme[32];
  char user[32];
  char host[256];
  char resource[1024];
  int port = 0;
  const http_uri_status_t status =
      httpSeparateURI(HTTP_URI_CODING_ALL, device_uri, scheme, sizeof scheme, user, sizeof user,
                      host, sizeof host, &port, resource, sizeof resource);
  if (status < HTTP_URI_STATUS_OK || std::strcmp(scheme, "virtual-printer") != 0) {
    std::fprintf(stderr, "ERROR: virtual-printer: \"%s\" is not a virtual-printer:// URI\n",
                 device_uri);
    return false;
  }

  char* query = std::strchr(resource, '?');
  if (query != nullptr && !parse_query(query + 1, settings)) return false;

  unsigned in_pieces = 0;
  for (const unsigned size : settings.pieces) in_pieces += size;
  if (in_pieces > REPLY_SIZE + settings.extra) {
    std::fprintf(stderr,
                 "ERROR: virtual-printer: the pieces in the device URI make %u bytes of %u\n",
                 in_pieces, REPLY_SIZE + settings.extra);
    return false;
  }
  return true;
}

void print_keys(std::FILE* out) {
  for (const Key& key : KEYS) {
    std::fprintf(out, "  %-10s %s\n", key.name, key.values);
    for (const char* line = key.meaning; line != nullptr;) {
      const char* end = std::strchr(line, '\n');
      const int size = end != nullptr ? static_cast<int>(end - line) : -1;  // -1: to its end
      std::fprintf(out, "             %.*s\n", size, line);
      line = end != nullptr ? end + 1 : nullptr;
    }
  }
}

// SPDX-License-Identifier: Apache-2.0
#include "settings.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>
#include <system_error>
#include <utility>

namespace {

using Text = std::string_view;

// A USB string descriptor gives its size in one byte, and each character takes two.
constexpr std::size_t USB_SERIAL_NUMBER_SIZE = 126;

bool read_hex(Text text, std::size_t digits, unsigned& number) {
  return text.size() == digits && read_number(text, 0xFFFFFF, number, 16);
}

bool read_count(Text text, unsigned& count) { return read_number(text, 0xFFFF, count); }

template <typename Value, std::size_t SIZE>
bool choose(const std::pair<Text, Value> (&choices)[SIZE], Text name, Value& value) {
  for (const auto& choice : choices) {
    if (choice.first != name) continue;
    value = choice.second;
    return true;
  }
  return false;
}

bool set_error(Text text, Settings& settings) {
  unsigned code = 0;
  if (!read_hex(text, 6, code)) return false;
  settings.printer.error[0] = static_cast<std::uint8_t>(code >> 16);
  settings.printer.error[1] = static_cast<std::uint8_t>(code >> 8);
  settings.printer.error[2] = static_cast<std::uint8_t>(code);
  return true;
}

bool set_sheet(Text text, Settings& settings) {
  unsigned type = 0;
  if (!read_hex(text, 2, type)) return false;
  settings.printer.sheet = static_cast<std::uint8_t>(type);
  return true;
}

bool set_pieces(Text text, Settings& settings) {
  settings.printer.pieces.clear();
  for (;;) {
    const std::size_t comma = text.find(',');
    unsigned size = 0;
    if (!read_number(text.substr(0, comma), REPLY_SIZE_MAX, size) || size == 0) return false;
    settings.printer.pieces.push_back(size);
    if (comma == Text::npos) return true;
    text.remove_prefix(comma + 1);
  }
}

bool set_die(Text text, Settings& settings) {
  constexpr std::pair<Text, Death> MOMENTS[] = {{"never", Death::Never},
                                                {"start", Death::AtStart},
                                                {"wake-up", Death::AfterWakeUp},
                                                {"reply", Death::InReply}};
  return choose(MOMENTS, text, settings.printer.die);
}

bool set_bidi(Text text, Settings& settings) {
  constexpr std::pair<Text, cups_sc_bidi_e> ANSWERS[] = {{"yes", CUPS_SC_BIDI_SUPPORTED},
                                                         {"no", CUPS_SC_BIDI_NOT_SUPPORTED}};
  return choose(ANSWERS, text, settings.backend.bidi);
}

bool set_drain(Text text, Settings& settings) {
  constexpr std::pair<Text, cups_sc_status_e> STATUSES[] = {
      {"ok", CUPS_SC_STATUS_OK}, {"not-implemented", CUPS_SC_STATUS_NOT_IMPLEMENTED}};
  return choose(STATUSES, text, settings.backend.drain);
}

struct Setting {
  Text name;
  bool of_backend;
  const char* values;
  const char* meaning;  // lines after the first are indented
  bool (*set)(Text text, Settings& settings);
};

const Setting SETTINGS[] = {
    {"error", false, "six hexadecimal digits", "the error code (000000: no error)", set_error},
    {"sheet", false, "two hexadecimal digits", "the ink sheet type (04)", set_sheet},
    {"total", false, "0 to 65535", "the count of a full ink ribbon (400)",
     [](Text text, Settings& s) { return read_count(text, s.printer.total); }},
    {"remaining", false, "0 to 65535", "the count left on the ribbon (120)",
     [](Text text, Settings& s) { return read_count(text, s.printer.remaining); }},
    {"asleep", false, "0 to 65535", "replies that say asleep before the printer is awake (0)",
     [](Text text, Settings& s) { return read_count(text, s.printer.asleep); }},
    {"pause", false, "0 to 65535", "milliseconds from a request to its reply (0)",
     [](Text text, Settings& s) { return read_count(text, s.printer.pause); }},
    {"extra", false, "0 to 320", "bytes after the 192 of each reply (0)",
     [](Text text, Settings& s) {
       return read_number(text, REPLY_SIZE_MAX - REPLY_SIZE, s.printer.extra);
     }},
    {"pieces", false, "sizes, as in 100,92",
     "bytes of each piece of a reply; the rest of the reply is one\n"
     "             more piece (one piece)",
     set_pieces},
    {"gap", false, "0 to 65535", "milliseconds between two pieces (0)",
     [](Text text, Settings& s) { return read_count(text, s.printer.gap); }},
    {"silence", false, "0 to 512", "the most bytes that are sent of each reply (512)",
     [](Text text, Settings& s) { return read_number(text, REPLY_SIZE_MAX, s.printer.silence); }},
    {"die", false, "never, start, wake-up, reply",
     "when the printer disconnects: at its start, after it received\n"
     "             the wake-up command, or in the middle of its first reply (never)",
     set_die},
    {"bidi", true, "yes, no", "whether the device is bidirectional (yes)", set_bidi},
    {"drain", true, "ok, not-implemented", "the status of each drain (ok)", set_drain},
};

bool uri_error(const std::string& reason) {
  std::fprintf(stderr, "ERROR: virtual-printer: %s\n", reason.c_str());
  return false;
}

bool apply(Text pair, bool for_job, Settings& settings) {
  const std::size_t equals = pair.find('=');
  const Text name = pair.substr(0, equals);
  const auto* setting = std::find_if(std::begin(SETTINGS), std::end(SETTINGS),
                                     [name](const Setting& s) { return s.name == name; });
  const std::string head = "\"" + std::string(pair) + "\" in the URI: ";
  if (setting == std::end(SETTINGS)) return uri_error(head + "unknown setting");
  if (setting->of_backend && !for_job) return uri_error(head + "only for the backend of a job");
  return (equals != Text::npos && setting->set(pair.substr(equals + 1), settings)) ||
         uri_error(head + "expected " + setting->values);
}

}  // namespace

bool read_number(Text text, unsigned max, unsigned& number, int base) {
  unsigned value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stop != end || value > max) return false;
  number = value;
  return true;
}

bool parse_settings(Text uri, Attachment attachment, Settings& settings) {
  constexpr Text SCHEME = "virtual-printer://";
  if (uri.substr(0, SCHEME.size()) != SCHEME)
    return uri_error("\"" + std::string(uri) + "\" is not a virtual-printer:// URI");

  const std::size_t question_mark = uri.find('?');
  Text query = question_mark == Text::npos ? "" : uri.substr(question_mark + 1);
  if (attachment == Attachment::Usb && query.size() > USB_SERIAL_NUMBER_SIZE)
    return uri_error("the settings in the URI are longer than a USB serial number, 126 bytes");
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    if (!apply(query.substr(0, end), attachment == Attachment::Job, settings)) return false;
    query.remove_prefix(std::min(end + 1, query.size()));
  }

  unsigned in_pieces = 0;
  for (const unsigned size : settings.printer.pieces) in_pieces += size;
  const unsigned reply_size = REPLY_SIZE + settings.printer.extra;
  return in_pieces <= reply_size ||
         uri_error("the pieces in the URI are " + std::to_string(in_pieces) +
                   " bytes of a reply of " + std::to_string(reply_size));
}

void print_settings(std::FILE* out, bool of_backend) {
  for (const Setting& setting : SETTINGS) {
    if (setting.of_backend != of_backend) continue;
    std::fprintf(out, "  %-10s %s\n             %s\n", setting.name.data(), setting.values,
                 setting.meaning);
  }
}

// SPDX-License-Identifier: Apache-2.0
//
// What more than one test needs: replies of the printer, and the lines that the filter writes for
// them. It is written independently of the code under test.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>

// What `code` wrote to descriptor 2.
template <typename Code>
std::string captured_stderr(Code code) {
  testing::internal::CaptureStderr();
  code();
  return testing::internal::GetCapturedStderr();
}

// The number in these bytes of a status reply.
inline unsigned number(const std::string& reply, std::size_t offset, std::size_t size = 1) {
  unsigned value = 0;
  for (const char byte : reply.substr(offset, size))
    value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

// The lowest bytes of a number, as in "0x06,0x02,0x02".
inline std::string hex(unsigned value, int bytes = 1) {
  char text[sizeof "0x00"];
  std::snprintf(text, sizeof text, "0x%02x", value & 0xFF);
  return (bytes > 1 ? hex(value >> 8, bytes - 1) + "," : "") + text;
}

inline std::string levels_text(const std::string& reply) {
  return "ink ribbon " + std::to_string(number(reply, 150, 2)) + " / " +
         std::to_string(number(reply, 148, 2)) + " ink_sheet_type=" + hex(number(reply, 145));
}

inline std::string info_text(const std::string& reply) {
  const unsigned error = number(reply, 131, 3);
  return "power_state=" + hex(number(reply, 5)) + " mech_state=[" + hex(number(reply, 128, 2), 2) +
         "] memory_state=" + hex(number(reply, 4)) + " error_info=[" +
         (error == 0 ? "GOOD" : hex(error, 3)) + "] levels=[" + levels_text(reply) + "]";
}

// The lines of a marker report.
inline std::string marker_lines(const std::string& text, const std::string& level,
                                const std::string& message, const std::string& name) {
  return "DEBUG: [ReportLevels] " + text +
         "\nATTR: marker-colors=#00FF00\nATTR: marker-levels=" + level +
         "\nATTR: marker-message=\"" + message + "\"\nATTR: marker-names=\"" + name +
         "\"\nATTR: marker-types=ink-ribbon\n";
}
inline const std::string NO_LEVELS = marker_lines("UNAVAILABLE", "-2", " ", "InkSheetType: 00");

inline std::string marker_lines(const std::string& reply) {
  const unsigned sheet = number(reply, 145), total = number(reply, 148, 2),
                 remaining = number(reply, 150, 2);
  const bool is_known = total != 0 && total != 65535 && remaining != 65535;
  unsigned level = 0;  // the largest percentage that is not above the counts
  while (is_known && (level + 1) * total <= 100 * remaining) ++level;
  const std::string counts = std::to_string(remaining) + " / " + std::to_string(total);
  const std::string size = sheet == 4    ? "13x18(5x7\u2033)"
                           : sheet == 15 ? "15x20(6x8\u2033)"
                                         : hex(sheet).substr(2);
  return marker_lines(levels_text(reply), is_known ? std::to_string(level) : "-1",
                      is_known ? "Ink Ribbon = " + counts : " ",
                      sheet == 255 ? " " : "InkSheetType: " + size);
}

// Every error code of the filter's table, with the number of its reason.
inline const std::map<unsigned, int> CODES = {
    {0x000000, 0},  {0x060202, 1},  {0x090202, 2},  {0x030101, 3},  {0x080101, 4},  {0x050202, 5},
    {0x020202, 6},  {0x040304, 7},  {0x070303, 8},  {0x200707, 9},  {0x210707, 9},  {0x220707, 9},
    {0x230707, 9},  {0x240707, 9},  {0x250707, 9},  {0x260707, 9},  {0x270707, 9},  {0x280707, 9},
    {0x290707, 9},  {0x0a0505, 10}, {0x0b0507, 11}, {0x300907, 12}, {0x310907, 13}, {0x32090f, 13},
    {0x33090f, 13}, {0x340907, 13}, {0x36090f, 13}, {0x37090f, 13}, {0x3a0a0f, 14}, {0x3b0a0f, 14},
    {0x3c0a0f, 14}, {0x3d0a0f, 14}, {0x3e0a0f, 14}, {0x3f0a0f, 14}, {0x400e0f, 14}, {0x0c0f00, 18},
    {0x010606, 20}, {0x0d0807, 21}, {0x0e0807, 21}, {0x0f0807, 21}, {0x100808, 22}, {0x110606, 24}};

// The lines of an update that adds the reason of this number, 0 for none.
inline std::string reason_lines(int added) {
  std::string addition, removals;
  for (int number = 1; number <= 24; ++number) {
    if (number == 15 || number == 16 || number == 17 || number == 19) continue;
    const std::string name =
        "com.corvantide-error" + std::to_string(number + 10000).substr(1) + '\n';
    if (number == added) addition = "STATE: +" + name;
    if (number != added) removals += "STATE: -" + name;
  }
  return addition + removals;
}

inline std::string state_lines(unsigned code) {
  const auto known = CODES.find(code);
  if (known != CODES.end()) return reason_lines(known->second);
  return "DEBUG: encountered undefined error number (" + hex(code, 3) + ")\n" + reason_lines(23);
}

inline std::string dump_lines(const std::string& label, const std::string& bytes) {
  const std::string head = "DEBUG: " + label + ' ';
  std::string lines = head + "size=" + std::to_string(bytes.size());
  for (unsigned i = 0; i < bytes.size(); ++i) {
    char offset[16];
    std::snprintf(offset, sizeof offset, "%04x:", i);
    if (i % 16 == 0) lines += '\n' + head + offset;
    lines += ' ' + hex(static_cast<unsigned char>(bytes[i])).substr(2);
  }
  return lines + '\n';
}

inline const std::string WAKE_UP = "\x1b\x45WU";
inline const std::string STATUS_REQUEST = "\x1bV21";
inline const std::string DRAIN = "DEBUG: CUPS_SC_CMD_DRAIN_OUTPUT=";
inline const std::string READ_FAILED = "DEBUG: cupsBackChannelRead() failed. ret=";
inline const std::string NOT_BIDIRECTIONAL =
    "DEBUG: Unable to retrieve supply status from printer - nobidirectional I/O available! ";

// The log of a wake-up, with `rest` between its bytes and its end.
inline std::string wake_up(const std::string& rest = "") {
  return "DEBUG: wr_esc_wakeup() START\n" + dump_lines("[CMD]", WAKE_UP) + rest +
         "DEBUG: wr_esc_wakeup() END\n";
}

inline std::string command(const std::string& word, int line) {
  return "DEBUG: ====> command=[" + word + "] linenum=" + std::to_string(line) + "\n";
}

inline std::string query_lines(const std::string& exchanges) {
  return "DEBUG: get_printer_info_retry() START\n" + exchanges +
         "DEBUG: get_printer_info_retry() END\n";
}

// The log of an exchange, with `rest` between its bytes and its end, and `end` after it.
inline std::string exchange_lines(const std::string& rest, const std::string& info,
                                  const std::string& end = "") {
  return "DEBUG: get_printer_info() START\n" + dump_lines("[CMD]", STATUS_REQUEST) + rest +
         "DEBUG: get_printer_info() END\nDEBUG: printer_info=[" + info + "]\n" +
         (end.empty() ? "" : "DEBUG: #retry_status=[wake_up=" + end + "/60)]\n");
}

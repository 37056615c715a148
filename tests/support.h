// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <string>

// What `code` wrote to descriptor 2.
template <typename Code>
std::string captured_stderr(Code code) {
  testing::internal::CaptureStderr();
  code();
  return testing::internal::GetCapturedStderr();
}

// Every error code of the filter's table, with the number of its reason. It is a separate copy, so
// that a mistake in the table fails a test.
inline const std::map<unsigned, int> CODES = {
    {0x000000, 0},  {0x060202, 1},  {0x090202, 2},  {0x030101, 3},  {0x080101, 4},  {0x050202, 5},
    {0x020202, 6},  {0x040304, 7},  {0x070303, 8},  {0x200707, 9},  {0x210707, 9},  {0x220707, 9},
    {0x230707, 9},  {0x240707, 9},  {0x250707, 9},  {0x260707, 9},  {0x270707, 9},  {0x280707, 9},
    {0x290707, 9},  {0x0a0505, 10}, {0x0b0507, 11}, {0x300907, 12}, {0x310907, 13}, {0x32090f, 13},
    {0x33090f, 13}, {0x340907, 13}, {0x36090f, 13}, {0x37090f, 13}, {0x3a0a0f, 14}, {0x3b0a0f, 14},
    {0x3c0a0f, 14}, {0x3d0a0f, 14}, {0x3e0a0f, 14}, {0x3f0a0f, 14}, {0x400e0f, 14}, {0x0c0f00, 18},
    {0x010606, 20}, {0x0d0807, 21}, {0x0e0807, 21}, {0x0f0807, 21}, {0x100808, 22}, {0x110606, 24}};

// The "STATE: " lines of an update that adds the reason of this number, 0 for none.
inline std::string state_lines(int added) {
  std::set<int> numbers = {23};  // the fallback, which has no code
  for (const auto& [code, number] : CODES) numbers.insert(number);
  std::ostringstream lines;
  lines << std::setfill('0');
  const auto line = [&lines](char sign, int number) {
    lines << "STATE: " << sign << "com.corvantide-error" << std::setw(4) << number << '\n';
  };
  if (added != 0) line('+', added);
  for (const int number : numbers)
    if (number != added && number != 0) line('-', number);
  return lines.str();
}

// A status reply: 120 of 400 left, ink sheet type 4.
inline std::string reply_bytes(const std::string& error, std::size_t size = 192, char power = 0) {
  std::string reply(192, '\0');
  reply[5] = power;
  reply.replace(131, 3, error);
  reply.replace(145, 7, std::string("\x04\0\0\x01\x90\0\x78", 7));
  reply.resize(size, '\xee');
  return reply;
}

// The log of a dump, written independently of the code under test.
inline std::string dump_lines(const std::string& label, const std::string& bytes) {
  std::ostringstream lines;
  lines << "DEBUG: " << label << " size=" << bytes.size() << std::hex << std::setfill('0');
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i % 16 == 0) lines << "\nDEBUG: " << label << ' ' << std::setw(4) << i << ':';
    lines << ' ' << std::setw(2) << (bytes[i] & 0xFF);
  }
  lines << '\n';
  return lines.str();
}

// The lines of a marker report.
inline std::string marker_lines(const std::string& text, const std::string& level,
                                const std::string& message, const std::string& name) {
  return "DEBUG: [ReportLevels] " + text +
         "\nATTR: marker-colors=#00FF00\nATTR: marker-levels=" + level +
         "\nATTR: marker-message=\"" + message + "\"\nATTR: marker-names=\"" + name +
         "\"\nATTR: marker-types=ink-ribbon\n";
}

inline const std::string NOT_BIDIRECTIONAL =
    "DEBUG: Unable to retrieve supply status from printer - nobidirectional I/O available! ";

inline std::string drain(const std::string& status) {
  return "DEBUG: CUPS_SC_CMD_DRAIN_OUTPUT=" + status;
}

// The log of a wake-up, with `rest` between its bytes and its end.
inline std::string wake_up(const std::string& rest = "") {
  return "DEBUG: wr_esc_wakeup() START\n" + dump_lines("[CMD]", "\x1b\x45WU") + rest +
         "DEBUG: wr_esc_wakeup() END\n";
}

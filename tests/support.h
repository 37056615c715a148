// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

// What a piece of code really wrote to descriptor 2.
template <typename Code>
std::string captured_stderr(Code code) {
  testing::internal::CaptureStderr();
  code();
  return testing::internal::GetCapturedStderr();
}

// The "STATE: " lines of an update that adds the reason of this number, 0 for none.
inline std::string state_lines(int added) {
  std::ostringstream lines;
  const auto line = [&lines](char sign, int number) {
    lines << "STATE: " << sign << "com.corvantide-error00" << number / 10 << number % 10 << '\n';
  };
  if (added != 0) line('+', added);
  for (int number = 1; number <= 24; ++number)
    if (number != added && (number <= 14 || number == 18 || number >= 20)) line('-', number);
  return lines.str();
}

// A status reply of a printer that has 120 of 400 left, for sheets of type 4.
inline std::string reply_bytes(const std::string& error, std::size_t size = 192, char power = 0) {
  std::string reply(192, '\0');
  reply[5] = power;
  reply.replace(131, 3, error);
  reply.replace(145, 7, std::string("\x04\0\0\x01\x90\0\x78", 7));
  reply.resize(size, '\xee');
  return reply;
}

// The log of a dump, made another way than the code under test makes it.
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

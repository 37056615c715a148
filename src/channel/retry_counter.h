// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

// Counts failed tries against a limit. Limit L allows L failures; the next one expires the counter,
// which then does not change. It is never both fulfilled and expired.
class RetryCounter {
 public:
  std::uint32_t count = 0;
  std::uint32_t limit;
  bool fulfilled = false;

  explicit RetryCounter(unsigned int max_failures);

  // Records one try, unless the counter is expired.
  void Test(bool success);

  bool isExpired() const;
  bool isFulfilled() const;

  // For the log: "fulfilled(2/60)", "retrying(3/60)" or "expired(61/60)".
  std::string to_string() const;
};

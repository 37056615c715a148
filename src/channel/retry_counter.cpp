// SPDX-License-Identifier: Apache-2.0
#include "channel/retry_counter.h"

#include <cstdio>

RetryCounter::RetryCounter(unsigned int max_failures) : limit(max_failures) {}

void RetryCounter::Test(bool success) {
  if (isExpired()) return;
  fulfilled = success;
  if (!success) ++count;
}

bool RetryCounter::isExpired() const { return count > limit; }

bool RetryCounter::isFulfilled() const { return fulfilled; }

std::string RetryCounter::to_string() const {
  const char* word = isFulfilled() ? "fulfilled" : isExpired() ? "expired" : "retrying";
  char text[sizeof "fulfilled(4294967295/4294967295)"];
  std::snprintf(text, sizeof text, "%s(%u/%u)", word, count, limit);
  return text;
}

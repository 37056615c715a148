// SPDX-License-Identifier: Apache-2.0
#include "channel/status_query.h"

#include <unistd.h>

#include <cstdio>

#include "channel/printer_exchange.h"
#include "channel/retry_counter.h"

namespace {

constexpr unsigned RETRY_LIMIT = 60;
constexpr unsigned RETRY_PAUSE = 1;  // seconds

PrinterInfo query_until_awake() {
  RetryCounter retry(RETRY_LIMIT);
  for (;;) {
    const PrinterInfo info = get_printer_info();
    std::fprintf(stderr, "DEBUG: printer_info=[%s]\n", info.to_string().c_str());
    if (!info.isAvailable()) return info;

    retry.Test(info.isWakeUp());
    std::fprintf(stderr, "DEBUG: #retry_status=[wake_up=%s]\n", retry.to_string().c_str());
    if (retry.isFulfilled()) return info;
    if (retry.isExpired()) {
      std::fprintf(stderr, "DEBUG: #retry over\n");
      return PrinterInfo::Unavailable();
    }
    sleep(RETRY_PAUSE);
  }
}

}  // namespace

PrinterInfo get_printer_info_retry() {
  std::fprintf(stderr, "DEBUG: get_printer_info_retry() START\n");
  const PrinterInfo info = query_until_awake();
  std::fprintf(stderr, "DEBUG: get_printer_info_retry() END\n");
  return info;
}

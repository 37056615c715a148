// SPDX-License-Identifier: Apache-2.0
#include "reasons/state_reasons.h"

#include <cups/cups.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

namespace {

constexpr int REASON_SLOTS = 4;
using Reasons = const char* [REASON_SLOTS];  // up to the first null

struct PrinterStateReasonEntry {
  unsigned char error_code[3];
  Reasons reasons;
};

// All vendor reasons except the fallback. The code of the first row is no error, and has no reason.
const PrinterStateReasonEntry PRINTER_STATE_REASONS[] = {
    {{0x00, 0x00, 0x00}, {}},
    {{0x06, 0x02, 0x02}, {"com.corvantide-error0001"}},
    {{0x09, 0x02, 0x02}, {"com.corvantide-error0002"}},
    {{0x03, 0x01, 0x01}, {"com.corvantide-error0003"}},
    {{0x08, 0x01, 0x01}, {"com.corvantide-error0004"}},
    {{0x05, 0x02, 0x02}, {"com.corvantide-error0005"}},
    {{0x02, 0x02, 0x02}, {"com.corvantide-error0006"}},
    {{0x04, 0x03, 0x04}, {"com.corvantide-error0007"}},
    {{0x07, 0x03, 0x03}, {"com.corvantide-error0008"}},
    {{0x20, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x21, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x22, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x23, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x24, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x25, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x26, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x27, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x28, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x29, 0x07, 0x07}, {"com.corvantide-error0009"}},
    {{0x0a, 0x05, 0x05}, {"com.corvantide-error0010"}},
    {{0x0b, 0x05, 0x07}, {"com.corvantide-error0011"}},
    {{0x30, 0x09, 0x07}, {"com.corvantide-error0012"}},
    {{0x37, 0x09, 0x0f}, {"com.corvantide-error0013"}},
    {{0x31, 0x09, 0x07}, {"com.corvantide-error0013"}},
    {{0x32, 0x09, 0x0f}, {"com.corvantide-error0013"}},
    {{0x33, 0x09, 0x0f}, {"com.corvantide-error0013"}},
    {{0x34, 0x09, 0x07}, {"com.corvantide-error0013"}},
    {{0x36, 0x09, 0x0f}, {"com.corvantide-error0013"}},
    {{0x3a, 0x0a, 0x0f}, {"com.corvantide-error0014"}},
    {{0x3b, 0x0a, 0x0f}, {"com.corvantide-error0014"}},
    {{0x3c, 0x0a, 0x0f}, {"com.corvantide-error0014"}},
    {{0x3d, 0x0a, 0x0f}, {"com.corvantide-error0014"}},
    {{0x3e, 0x0a, 0x0f}, {"com.corvantide-error0014"}},
    {{0x3f, 0x0a, 0x0f}, {"com.corvantide-error0014"}},
    {{0x40, 0x0e, 0x0f}, {"com.corvantide-error0014"}},
    {{0x0c, 0x0f, 0x00}, {"com.corvantide-error0018"}},
    {{0x01, 0x06, 0x06}, {"com.corvantide-error0020"}},
    {{0x0d, 0x08, 0x07}, {"com.corvantide-error0021"}},
    {{0x0e, 0x08, 0x07}, {"com.corvantide-error0021"}},
    {{0x0f, 0x08, 0x07}, {"com.corvantide-error0021"}},
    {{0x10, 0x08, 0x08}, {"com.corvantide-error0022"}},
    {{0x11, 0x06, 0x06}, {"com.corvantide-error0024"}},
};

// Reported if there is no status, or if no row has its error code.
const char* const FALLBACK_REASON = "com.corvantide-error0023";

// Calls `use` with each reason of a row.
template <typename Use>
void for_each_reason(const Reasons& reasons, Use use) {
  for (int slot = 0; slot < REASON_SLOTS && reasons[slot] != nullptr; ++slot) use(reasons[slot]);
}

// Every vendor reason, in ascending order, in which removals are written.
std::set<std::string> vendor_reasons() {
  std::set<std::string> all;
  for (const PrinterStateReasonEntry& row : PRINTER_STATE_REASONS)
    for_each_reason(row.reasons, [&all](const char* reason) { all.insert(reason); });
  all.insert(FALLBACK_REASON);
  return all;
}

// Returns the reasons of a state's row, or the fallback. Logs a code that has no row.
const Reasons& current_reasons(const PrinterState& state) {
  static const Reasons FALLBACK = {FALLBACK_REASON};
  if (state == PrinterState::Unavailable()) return FALLBACK;
  for (const PrinterStateReasonEntry& row : PRINTER_STATE_REASONS)
    if (state == &row.error_code) return row.reasons;
  std::fprintf(stderr, "DEBUG: encountered undefined error number (%s)\n",
               state.to_string().c_str());
  return FALLBACK;
}

}  // namespace

void update_printer_state(const PrinterState& state) {
  std::set<std::string> others = vendor_reasons();
  for_each_reason(current_reasons(state), [&others](const char* reason) {
    std::fprintf(stderr, "STATE: +%s\n", reason);
    others.erase(reason);
  });
  for (const std::string& reason : others) std::fprintf(stderr, "STATE: -%s\n", reason.c_str());
}

void clean_printer_state() {
  std::fprintf(stderr, "clean_printer_state() START\n");

  cups_dest_t* dests = nullptr;
  const int num_dests = cupsGetDests(&dests);
  if (cups_dest_t* dest = cupsGetDest(nullptr, nullptr, num_dests, dests)) {
    const char* listed = cupsGetOption("printer-state-reasons", dest->num_options, dest->options);
    if (char* reasons = listed != nullptr ? strdup(listed) : nullptr) {
      for (const char* reason = std::strtok(reasons, ","); reason != nullptr;
           reason = std::strtok(nullptr, ","))
        std::fprintf(stderr, "STATE: -%s\n", reason);
      std::free(reasons);
    }
  } else {
    std::fprintf(stderr, "DEBUG: Not found default(destination) printer.\n");
  }
  cupsFreeDests(num_dests, dests);

  std::fprintf(stderr, "clean_printer_state() END\n");
}

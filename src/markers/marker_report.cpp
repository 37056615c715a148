// SPDX-License-Identifier: Apache-2.0
#include "markers/marker_report.h"

#include <cstdint>
#include <cstdio>

namespace {

constexpr std::uint16_t COUNT_NOT_KNOWN = 0xFFFF;
constexpr std::uint8_t SHEET_TYPE_NOT_KNOWN = 0xFF;

bool has_counts(const PrinterLevels& levels) {
  return levels.ink_ribbon_remaining != COUNT_NOT_KNOWN &&
         levels.ink_ribbon_total != COUNT_NOT_KNOWN && levels.ink_ribbon_total != 0;
}

}  // namespace

void report_printer_levels(const PrinterLevels& levels) {
  std::fprintf(stderr, "DEBUG: [ReportLevels] %s\n", levels.to_string().c_str());

  int level = -2;
  char message[128] = " ";
  if (levels.isAvailable() && !has_counts(levels)) {
    level = -1;
  } else if (levels.isAvailable()) {
    level = static_cast<int>(levels.ink_ribbon_remaining * 100U / levels.ink_ribbon_total);
    std::snprintf(message, sizeof message, "Ink Ribbon = %d / %d", levels.ink_ribbon_remaining,
                  levels.ink_ribbon_total);
  }

  std::string name = " ";
  if (levels.ink_sheet_type != SHEET_TYPE_NOT_KNOWN)
    name = "InkSheetType: " + levels.InkSheetTypeName();

  std::fprintf(stderr, "ATTR: marker-colors=#00FF00\n");
  std::fprintf(stderr, "ATTR: marker-levels=%d\n", level);
  std::fprintf(stderr, "ATTR: marker-message=\"%s\"\n", message);
  std::fprintf(stderr, "ATTR: marker-names=\"%s\"\n", name.c_str());
  std::fprintf(stderr, "ATTR: marker-types=ink-ribbon\n");
}

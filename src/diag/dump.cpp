// SPDX-License-Identifier: Apache-2.0
#include "diag/dump.h"

#include <cstdio>

#include "diag/value_names.h"

namespace {

// The precision of each text is its field's size: nothing is read past a field without a NUL.
void dump_strings(const cups_page_header_s& header) {
  std::fprintf(stderr, "Standard Page Device Dictionary String Values\n");
  std::fprintf(stderr, "__MediaClass=%.64s        /* MediaClass string */\n", header.MediaClass);
  std::fprintf(stderr, "__MediaColor=%.64s        /* MediaColor string */\n", header.MediaColor);
  std::fprintf(stderr, "__MediaType=%.64s        /* MediaType string */\n", header.MediaType);
  std::fprintf(stderr, "__OutputType=%.64s        /* OutputType string */\n", header.OutputType);
}

void dump_integers(const cups_page_header_s& header) {
  std::fprintf(stderr, "Standard Page Device Dictionary Integer Values\n");
  std::fprintf(stderr, "__AdvanceDistance=%d        /* AdvanceDistance value in points */\n",
               header.AdvanceDistance);
  std::fprintf(stderr, "__AdvanceMedia=%s        /* AdvanceMedia value (@link cups_adv_t@) */\n",
               to_string(header.AdvanceMedia));
  std::fprintf(stderr, "__Collate=%s        /* Collated copies value */\n",
               to_string(header.Collate));
  std::fprintf(stderr, "__CutMedia=%s        /* CutMedia value (@link cups_cut_t@) */\n",
               to_string(header.CutMedia));
  std::fprintf(stderr, "__Duplex=%s        /* Duplexed (double-sided) value */\n",
               to_string(header.Duplex));
  std::fprintf(stderr, "__HWResolution=(%d,%d)        /* Resolution in dots-per-inch */\n",
               header.HWResolution[0], header.HWResolution[1]);
  std::fprintf(stderr,
               "__ImagingBoundingBox=(%d,%d)        /* Pixel region that is painted (points, left, "
               "bottom, right, top) */\n",
               header.ImagingBoundingBox[0], header.ImagingBoundingBox[1]);
  std::fprintf(stderr, "__InsertSheet=%s        /* InsertSheet value */\n",
               to_string(header.InsertSheet));
  std::fprintf(stderr, "__Jog=%s        /* Jog value (@link cups_jog_t@) */\n",
               to_string(header.Jog));
  std::fprintf(stderr, "__LeadingEdge=%s        /* LeadingEdge value (@link cups_edge_t@) */\n",
               to_string(header.LeadingEdge));
  std::fprintf(stderr, "__Margins=(%d,%d)        /* Lower-lefthand margins in points */\n",
               header.Margins[0], header.Margins[1]);
  std::fprintf(stderr, "__ManualFeed=%s        /* ManualFeed value */\n",
               to_string(header.ManualFeed));
  std::fprintf(stderr, "__MediaPosition=%d        /* MediaPosition value */\n",
               header.MediaPosition);
  std::fprintf(stderr, "__MediaWeight=%d        /* MediaWeight value in grams/m^2 */\n",
               header.MediaWeight);
  std::fprintf(stderr, "__MirrorPrint=%s        /* MirrorPrint value */\n",
               to_string(header.MirrorPrint));
  std::fprintf(stderr, "__NegativePrint=%s        /* NegativePrint value */\n",
               to_string(header.NegativePrint));
  std::fprintf(stderr, "__NumCopies=%d        /* Number of copies to produce */\n",
               header.NumCopies);
  std::fprintf(stderr, "__Orientation=%s        /* Orientation value (@link cups_orient_t@) */\n",
               to_string(header.Orientation));
  std::fprintf(stderr, "__OutputFaceUp=%s        /* OutputFaceUp value */\n",
               to_string(header.OutputFaceUp));
  std::fprintf(stderr, "__PageSize=(%d,%d)        /* Width and length of page in points */\n",
               header.PageSize[0], header.PageSize[1]);
  std::fprintf(stderr, "__Separations=%s        /* Separations value */\n",
               to_string(header.Separations));
  std::fprintf(stderr, "__TraySwitch=%s        /* TraySwitch value */\n",
               to_string(header.TraySwitch));
  std::fprintf(stderr, "__Tumble=%s        /* Tumble value */\n", to_string(header.Tumble));
}

void dump_cups_values(const cups_page_header_s& header) {
  std::fprintf(stderr, "CUPS Page Device Dictionary Values\n");
  std::fprintf(stderr, "__cupsWidth=%d        /* Width of page image in pixels */\n",
               header.cupsWidth);
  std::fprintf(stderr, "__cupsHeight=%d        /* Height of page image in pixels */\n",
               header.cupsHeight);
  std::fprintf(stderr, "__cupsMediaType=%d        /* Media type code */\n", header.cupsMediaType);
  std::fprintf(stderr, "__cupsBitsPerColor=%d        /* Number of bits for each color */\n",
               header.cupsBitsPerColor);
  std::fprintf(stderr, "__cupsBitsPerPixel=%d        /* Number of bits for each pixel */\n",
               header.cupsBitsPerPixel);
  std::fprintf(stderr, "__cupsBytesPerLine=%d        /* Number of bytes per line */\n",
               header.cupsBytesPerLine);
  std::fprintf(stderr, "__cupsColorOrder=%s        /* Order of colors */\n",
               to_string(header.cupsColorOrder));
  std::fprintf(stderr, "__cupsColorSpace=%s        /* True colorspace */\n",
               to_string(header.cupsColorSpace));
  std::fprintf(stderr, "__cupsCompression=%d        /* Device compression to use */\n",
               header.cupsCompression);
  std::fprintf(stderr, "__cupsRowCount=%d        /* Rows per band */\n", header.cupsRowCount);
  std::fprintf(stderr, "__cupsRowFeed=%d        /* Feed between bands */\n", header.cupsRowFeed);
  std::fprintf(stderr, "__cupsRowStep=%d        /* Spacing between lines */\n", header.cupsRowStep);
}

}  // namespace

// The bytes of a line are put into digits by hand, so that a line is one formatted write here too:
// a status reply has 192 of them, and a write for each was two thirds of what a status took.
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

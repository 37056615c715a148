// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstring>
#include <fstream>
#include <numeric>
#include <set>

#include "diag/dump.h"
#include "diag/value_names.h"
#include "support.h"

namespace {

// The texts of the last values of which names() was called.
std::set<const char*> last_texts;

// The names of the values from first to last, without their common prefix.
template <typename E>
std::string names(const std::string& prefix, int first, int last) {
  std::string all;
  for (int value = first; value <= last; ++value) {
    const std::string name = to_string(static_cast<E>(value));
    all += (name.rfind(prefix, 0) == 0 ? name.substr(prefix.size()) : name) + ' ';
  }
  last_texts.insert(to_string(static_cast<E>(last)));
  return all;
}

TEST(ToString, NamesTheValuesOfTheHeaders) {
  EXPECT_EQ(names<cups_sc_status_e>("CUPS_SC_STATUS_", -1, 8),
            "UNKNOWN NONE OK IO_ERROR TIMEOUT NO_RESPONSE BAD_MESSAGE TOO_BIG NOT_IMPLEMENTED "
            "UNKNOWN ");
  EXPECT_EQ(names<cups_adv_e>("CUPS_ADVANCE_", -1, 5) + names<cups_bool_e>("CUPS_", -1, 2) +
                names<cups_cut_e>("CUPS_CUT_", -1, 5) + names<cups_edge_e>("CUPS_EDGE_", -1, 4) +
                names<cups_jog_e>("CUPS_JOG_", -1, 4) + names<cups_order_e>("CUPS_ORDER_", -1, 3) +
                names<cups_orient_e>("CUPS_ORIENT_", -1, 4),
            "cups_adv_e(-1) NONE FILE JOB SET PAGE cups_adv_e(5) "
            "cups_bool_e(-1) FALSE TRUE cups_bool_e(2) "
            "cups_cut_e(-1) NONE FILE JOB SET PAGE cups_cut_e(5) "
            "cups_edge_e(-1) TOP RIGHT BOTTOM LEFT cups_edge_e(4) "
            "cups_jog_e(-1) NONE FILE JOB SET cups_jog_e(4) "
            "cups_order_e(-1) CHUNKED BANDED PLANAR cups_order_e(3) "
            "cups_orient_e(-1) 0 90 180 270 cups_orient_e(4) ");
  EXPECT_EQ(names<cups_cspace_e>("CUPS_CSPACE_", -1, 22),
            "cups_cspace_e(-1) W RGB RGBA K CMY YMC CMYK YMCK KCMY KCMYcm GMCK GMCS WHITE GOLD "
            "SILVER CIEXYZ CIELab RGBW SW SRGB ADOBERGB cups_cspace_e(21) cups_cspace_e(22) ");
  EXPECT_EQ(names<cups_cspace_e>("CUPS_CSPACE_ICC", 31, 47),
            "cups_cspace_e(31) 1 2 3 4 5 6 7 8 9 A B C D E F cups_cspace_e(47) ");
  EXPECT_EQ(names<cups_cspace_e>("CUPS_CSPACE_DEVICE", 47, 63),
            "cups_cspace_e(47) 1 2 3 4 5 6 7 8 9 A B C D E F cups_cspace_e(63) ");
  EXPECT_EQ(names<cups_cspace_e>("", INT_MIN, INT_MIN) + names<cups_cspace_e>("", 65536, 65536),
            "cups_cspace_e(-2147483648) cups_cspace_e(65536) ");
  EXPECT_EQ(last_texts.size(), 9U);  // "UNKNOWN", and one buffer for each of the other overloads
}

TEST(DumpMem, WritesSixteenBytesToALine) {
  std::string bytes(0x10011, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  for (const int size : {16, 17, 0x10011}) {
    EXPECT_EQ(captured_stderr([&] { dump_mem("[STS]", bytes.data(), size); }),
              dump_lines("[STS]", bytes.substr(0, static_cast<std::size_t>(size))));
  }
  EXPECT_EQ(captured_stderr([] { dump_mem("L", nullptr, 0); }),
            "DEBUG: L size=0\nDEBUG: L 0000:\n");
  EXPECT_EQ(captured_stderr([] { dump_mem("L", nullptr, -1); }), "DEBUG: L size=-1\n");
}

// Each number is its own index, so that a line shows which field it printed. Then some get values
// that print in another way. Only the second and the third text have a NUL.
TEST(Dump, WritesALineForEachField) {
  static_assert(sizeof(cups_page_header_s) == 256 + 41 * sizeof(unsigned));
  unsigned words[64 + 41] = {};
  std::iota(words + 64, words + 64 + 41, 0U);
  std::memset(words, 'a', 64);
  std::memcpy(words + 16, "in\"dex %s\0cut off", 18);
  std::memcpy(words + 32, "paper", 5);
  std::memset(words + 48, 'd', 64);
  cups_page_header_s header;
  std::memcpy(&header, words, sizeof header);
  header.AdvanceDistance = 0x63636363;  // would appear if OutputType were read past its end
  header.Tumble = CUPS_FALSE;
  header.cupsWidth = 4294967295U;
  header.PageSize[0] = 2147483648U;
  header.PageSize[1] = 4294967294U;

  std::ostringstream expected;
  expected << std::ifstream(TEST_DATA "/page_header_dump.txt").rdbuf();
  EXPECT_EQ(captured_stderr([&header] { dump(&header); }), expected.str());
}

}  // namespace

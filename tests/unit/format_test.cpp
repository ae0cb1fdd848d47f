#include "platform/format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace vx {
namespace {

std::u16string Capped(size_t cap, std::u16string_view f, std::vector<FormatArg> a) { return FormatV(f, a, cap); }
std::string CappedNarrow(size_t cap, std::string_view f, std::vector<FormatArg> a) { return FormatNarrowV(f, a, cap); }

TEST(FormatIntegers, ReadOnlyTheSizeTheConversionNames) {
  EXPECT_EQ(Format(u"%X %I32x", 0x123456789ULL, 0x1FFFFFFFFULL), u"23456789 ffffffff");
  EXPECT_EQ(Format(u"%d %d %d", 0xFFFFFFFFu, true, 'A'), u"-1 1 65");
  EXPECT_EQ(Format(u"%u %lu", -1, -1LL), u"4294967295 4294967295");
  EXPECT_EQ(Format(u"%hu %hhd", 70000, 200), u"4464 -56");
  EXPECT_EQ(Format(u"%I64d %lld %llu", 0x8000000000000000ULL, -5LL, -5LL),
            u"-9223372036854775808 -5 18446744073709551611");
  EXPECT_EQ(Format(u"%Ix %zu %jd %td", 0x100000000ULL, 0x100000000ULL, -1LL, 1LL << 40),
            u"100000000 4294967296 -1 1099511627776");
  EXPECT_EQ(Format(u"%i %o %x %X", -42, 8, 255, 255), u"-42 10 ff FF");
}

TEST(FormatIntegers, PaddingPrecisionAndFlags) {
  EXPECT_EQ(Format(u"[%5d][%-5d][%05d]", -42, -42, -42), u"[  -42][-42  ][-0042]");
  EXPECT_EQ(Format(u"[%+d][% d][%+u]", 5, 5, 5), u"[+5][ 5][5]");
  EXPECT_EQ(Format(u"[%08.3d][%-08d]", 7, 7), u"[     007][7       ]");  // a precision or '-' cancels '0'
  EXPECT_EQ(Format(u"[%.0d][%3.0d][%+.0d][%.0x]", 0, 0, 0, 0), u"[][   ][+][]");
  EXPECT_EQ(Format(u"[%#x][%#X][%#x][%#010x]", 26, 26, 0, 26), u"[0x1a][0X1A][0][0x0000001a]");
  EXPECT_EQ(Format(u"[%#o][%#o][%#.4o][%#.0o]", 8, 0, 8, 0), u"[010][0][0010][0]");
  EXPECT_EQ(Format(u"[%.3d][%.3d]", -5, 12345), u"[-005][12345]");
  EXPECT_EQ(Format(u"[%*d][%-*d][%*d]", 4, 1, 4, 2, -4, 3), u"[   1][2   ][3   ]");
  EXPECT_EQ(Format(u"[%.*d][%.*d]", 3, 7, -1, 7), u"[007][7]");
  EXPECT_EQ(Format(u"%p[%20p]", reinterpret_cast<const void*>(std::uintptr_t{0xABC}), nullptr),
            u"0000000000000ABC[    0000000000000000]");
}

TEST(FormatCharacters, CodeUnitOfAnyWidth) {
  EXPECT_EQ(Format(u"%c%C%hc%lc%wc", 'a', u'b', 'c', u'\x416', L'e'), u"abc\u0416e");
  EXPECT_EQ(Format(u"[%3c][%-3c]", 'x', 'y'), u"[  x][y  ]");
  EXPECT_EQ(Format(u"%c", static_cast<char>(0xE9)), u"\xE9");  // a signed char's byte
  EXPECT_EQ(FormatNarrow("%c%c%c", 'a', static_cast<char>(0xE9), u'\x416'), "a\xC3\xA9\xD0\x96");
  EXPECT_EQ(Format(u"%c", 0x1F600), u"\U0001F600");
  EXPECT_EQ(Format(u"%c", "text"), u"");
}

TEST(FormatStrings, EveryWidthInEveryOutput) {
  const std::string narrow = "n\xC3\xA9";  // "né"
  const std::u16string utf16 = u"u\x416\U0001F600";
  EXPECT_EQ(Format(u"%s|%S|%hs|%ls|%ws|%hS", narrow, utf16, "a", u"b", L"c", L"d\x416"),
            u"n\xE9|" + utf16 + u"|a|b|c|d\x416");
  EXPECT_EQ(FormatNarrow("%s|%s|%ls", narrow, utf16, L"w\x416\U0001F600"),
            "n\xC3\xA9|u\xD0\x96\xF0\x9F\x98\x80|w\xD0\x96\xF0\x9F\x98\x80");
  EXPECT_EQ(Format(u"%s", std::string("bad\xFFz")), u"bad\xFFFDz");
  EXPECT_EQ(FormatNarrow("%s", std::string("raw\xFFz")), "raw\xFFz");  // narrow to narrow as it stands
  EXPECT_EQ(FormatNarrow("%s", u"lone\xD800!"), "lone\xEF\xBF\xBD!");

  const char* noText = nullptr;
  const char16_t* noText16 = nullptr;
  EXPECT_EQ(Format(u"%s %ls %s", noText, noText16, nullptr), u"(null) (null) (null)");
  EXPECT_EQ(FormatNarrow("[%.3s]", noText), "[(nu]");
}

TEST(FormatStrings, WidthAndPrecisionCountOutputUnitsWithoutSplitting) {
  EXPECT_EQ(Format(u"[%6s][%-6s][%.2s][%6.2s]", "abc", "abc", "abc", "abc"), u"[   abc][abc   ][ab][    ab]");
  EXPECT_EQ(Format(u"[%05s]", "ab"), u"[000ab]");
  // Precision stops before a character that does not fit whole.
  EXPECT_EQ(Format(u"[%.2s]", u"a\U0001F600"), u"[a]");
  EXPECT_EQ(Format(u"[%.3s]", u"a\U0001F600"), u"[a\U0001F600]");
  EXPECT_EQ(FormatNarrow("[%.2s]", "a\xC3\xA9"), "[a]");
  EXPECT_EQ(FormatNarrow("[%.2s]", u"a\xE9"), "[a]");
  EXPECT_EQ(FormatNarrow("[%4s]", u"\xE9"), "[  \xC3\xA9]");  // UTF-8 bytes are the units
  EXPECT_EQ(FormatNarrow("[%.0s]", "abc"), "[]");
}

TEST(FormatDoubles, FixedExponentGeneralAndAnyPrecision) {
  EXPECT_EQ(Format(u"%f|%.2f|%.0f|%#.0f", 3.14159, 3.14159, 2.5, 2.0), u"3.141590|3.14|2|2.");
  EXPECT_EQ(Format(u"%e|%.2E|%e", 12345.678, -0.00012, 1e300), u"1.234568e+04|-1.20E-04|1.000000e+300");
  EXPECT_EQ(Format(u"%g|%g|%G|%#g", 0.0001, 1e-5, 1e20, 1.5), u"0.0001|1e-05|1E+20|1.50000");
  EXPECT_EQ(Format(u"[%8.2f][%-8.2f][%08.2f][%+.1f][% .1f]", -1.5, 1.5, -1.5, 1.0, 1.0),
            u"[   -1.50][1.50    ][-0001.50][+1.0][ 1.0]");
  EXPECT_EQ(FormatNarrow("%f|%e", 2, 3u), "2.000000|3.000000e+00");
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Format(u"[%f][%5F][%05f][%e][%f]", inf, -inf, inf, inf, inf - inf), u"[inf][ -INF][  inf][inf][nan]");
  // Precision beyond every digit of a double.
  EXPECT_EQ(FormatNarrow("%.1500f", 0.5), "0.5" + std::string(1499, '0'));
  EXPECT_EQ(FormatNarrow("%.1200e", 2.0), "2." + std::string(1200, '0') + "e+00");
  EXPECT_EQ(FormatNarrow("%.1200g", 2.0), "2");
}

TEST(FormatCuts, CapInCodeUnitsNeverInsideACharacter) {
  EXPECT_EQ(Capped(5, u"%s-%d", {"abcdef", 1}), u"abcde");
  EXPECT_EQ(Capped(0, u"abc", {}), u"");
  EXPECT_EQ(Capped(4, u"%08.3f", {1.0}), u"0001");
  // The cut falls before a character that does not fit, and nothing shorter follows it.
  EXPECT_EQ(CappedNarrow(3, "a%sb", {u"\xE9"}), "a\xC3\xA9");
  EXPECT_EQ(CappedNarrow(2, "a%sb", {u"\xE9"}), "a");
  EXPECT_EQ(CappedNarrow(3, "ab\xE2\x82\xAC", {}), "ab");
  EXPECT_EQ(CappedNarrow(2, "%c%c", {0x20AC, 'x'}), "");
  EXPECT_EQ(Capped(2, u"a\U0001F600", {}), u"a");
  EXPECT_EQ(Capped(2, u"a%sz", {u"\U0001F600"}), u"a");
  // A huge width or precision is not built beyond the cap.
  EXPECT_EQ(Capped(4, u"%2000000000d", {1}), u"    ");
  EXPECT_EQ(CappedNarrow(3, "%.2000000000d", {1}), "000");
  EXPECT_EQ(CappedNarrow(3, "%-2000000000s|", {"x"}), "x  ");
}

TEST(FormatBadInput, NeverFailsAndKeepsWhatItCannotUse) {
  EXPECT_EQ(Format(u"a%db%sc"), u"abc");  // missing arguments print nothing
  EXPECT_EQ(Format(u"[%d][%d][%x]", "text", 2.9, -1.5), u"[][2][ffffffff]");
  EXPECT_EQ(Format(u"[%s][%s][%5s]", 42, -7LL, 1.5), u"[42][-7][  1.5]");
  EXPECT_EQ(Format(u"100%% %s", "sure"), u"100% sure");
  // An unknown conversion is copied with its '%' and uses no argument.
  EXPECT_EQ(Format(u"%-5.2k|%*y|%d", 9), u"%-5.2k|%*y|9");
  EXPECT_EQ(Format(u"%lhd|%d", 3), u"%lhd|3");
  EXPECT_EQ(Format(u"%\x416|%d", 4), u"%\x416|4");
  EXPECT_EQ(FormatNarrow("%\xC3\xA9|%d", 4), "%\xC3\xA9|4");
  // A '%' at the end, bare or with a half-written conversion, is copied.
  EXPECT_EQ(Format(u"50%", 1), u"50%");
  EXPECT_EQ(Format(u"x%-08.", 1), u"x%-08.");
  EXPECT_EQ(Format(u"[%*d]", "wide", 3), u"[3]");  // a '*' that is no integer means 0
  EXPECT_EQ(Format(u"%d", 1, 2), u"1");            // extra arguments are ignored
}

// A parsed format gives exactly what formatting with its text gives, for the trace messages' conversions
// and others, at every cap (the fast steps hand over to the general run where a piece does not fit whole).
TEST(ParsedFormats, SameTextAsFormattingWithTheFormatAtEveryCap) {
  // clang-format off
  const char* formats[] = {
      "m_fDisabled = %d", "gpotype = %d, gposection = %d, %ls", "%ls", "0x%016I64X", "[%d] = %ls[0x%016I64X]",
      "%d subkeys, %d values found", "Loading %ls [%ls]", "Unknown credential type for token 0x%X",
      "Inserting %ls 0x%I64X", "Done with 0x%X leftover", "GetUserRole() = %d, GetPolicy() = 0x%X",
      "policy %hs saved, mask 0x%016I64X", "%d %hs", "%hs and %hc stay narrow", "wide %ls, hex %08X",
      "%u|%lu|%i|%x|%hd|%hhu|%I32x|%llu|%zu", "[%5d][%-5d][%05d][%+d][% d][%.3d][%#x][%#o][%o]",
      "[%8hs][%-8hs][%.2hs][%05s]", "%c%C%hc|%3c", "%p|%20p", "%f|%.2e|%g", "[%*d][%.*d][%*.*s]",
      "100%% done %%", "%q %d", "%lhd|%d", "50%", "x%-08.", "plain text, no conversion",
      "n\xC3\xA9 %hs \xE2\x82\xAC%d", "%s%s%s%s"};
  // clang-format on
  const std::string longText(300, 'L');
  const std::vector<std::vector<FormatArg>> argumentSets = {
      {7, "Logon", u"Zeichen\x416", 0x8000000000000013ULL, 'x', 12, 3, "abc"},
      {-1, "", u"", 0ULL, -5, 0, -2, nullptr},
      {INT32_MIN, longText.c_str(), u"\U0001F600", UINT64_MAX, 0x20AC, -7LL, 1.5, u"w"},
      {u"wide", 5, "n\xC3\xA9", -42, 2.75, static_cast<const void*>(nullptr), true, 'q'},
      {}};
  char expected[512], actual[512];
  for (const char* format : formats) {
    const ParsedFormat parsed(format);
    EXPECT_EQ(parsed.Text(), format);
    for (size_t set = 0; set < argumentSets.size(); ++set) {
      const auto& args = argumentSets[set];
      const size_t full = FormatNarrowToV(expected, sizeof expected, format, args);
      for (size_t cap = 0; cap <= std::min(full + 1, sizeof expected); ++cap) {
        const size_t want = FormatNarrowToV(expected, cap, format, args);
        const size_t got = parsed.FormatTo(actual, cap, args);
        ASSERT_EQ(std::string(actual, got), std::string(expected, want))
            << "format \"" << format << "\", arguments " << set << ", cap " << cap;
      }
    }
  }
}

}  // namespace
}  // namespace vx

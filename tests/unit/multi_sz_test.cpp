// The stored form of a policy: exact bytes when written, _wcstoui64 rules and bounds when read.
#include "policy/multi_sz.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace vx::policy;

namespace {

constexpr ULONGLONG kAll = 0xFFFFFFFFFFFFFFFFull;

// The registry's bytes of UTF-16 text (little-endian); embedded NULs are part of the text.
std::vector<BYTE> Bytes(std::u16string_view text) {
  std::vector<BYTE> bytes;
  for (const char16_t c : text) {
    bytes.push_back(static_cast<BYTE>(c & 0xFF));
    bytes.push_back(static_cast<BYTE>(c >> 8));
  }
  return bytes;
}

std::vector<ULONGLONG> Parse(std::u16string_view text) { return ParseMultiSz(Bytes(text)); }

}  // namespace

TEST(MultiSzWrite, TwoMasksAreTheSeventyByteImage) {
  const ULONGLONG masks[] = {1, 6};
  const std::u16string expected(u"0000000000000001\0" u"0000000000000006\0\0", 35);
  const auto bytes = SerializeMultiSz(masks);
  EXPECT_EQ(bytes.size(), 70u);
  EXPECT_EQ(bytes, Bytes(expected));
}

TEST(MultiSzWrite, SizeIsSeventeenCharactersPerMaskAndAClosingNul) {
  EXPECT_EQ(SerializeMultiSz({}), (std::vector<BYTE>{0, 0}));
  for (size_t n : {1u, 2u, 3u, 100u}) {
    const std::vector<ULONGLONG> masks(n, 0);
    EXPECT_EQ(SerializeMultiSz(masks).size(), (17 * n + 1) * 2) << n;
    EXPECT_EQ(MultiSzBytes(n), (17 * n + 1) * 2);
  }
}

TEST(MultiSzWrite, DigitsAreUpperCaseZeroPaddedWithoutPrefix) {
  char16_t text[kMaskElementChars];
  FormatMaskText(0xABCDEF0123456789ull, text);
  EXPECT_EQ(std::u16string(text), u"ABCDEF0123456789");
  FormatMaskText(0x2A, text);
  EXPECT_EQ(std::u16string(text), u"000000000000002A");
  FormatMaskText(kAll, text);
  EXPECT_EQ(std::u16string(text), u"FFFFFFFFFFFFFFFF");
  EXPECT_EQ(text[16], u'\0');
}

TEST(MultiSzWrite, LengthWalksElementsUpToTheEmptyOne) {
  const std::u16string full(u"AB\0C\0\0junk", 10);
  EXPECT_EQ(MultiSzLength(std::u16string_view(full)), 6u);
  const std::u16string unterminated(u"AB\0C", 4);
  EXPECT_EQ(MultiSzLength(std::u16string_view(unterminated)), 4u);
  EXPECT_EQ(MultiSzLength(std::u16string_view(u"\0", 1)), 1u);
  EXPECT_EQ(MultiSzLength(std::u16string_view()), 0u);
}

TEST(MaskConversion, FollowsTheBase16WideConversion) {
  struct Case {
    std::u16string_view text;
    ULONGLONG mask;
  };
  const Case cases[] = {
      {u"1", 1},
      {u"0000000000000006", 6},
      {u"0x1", 1},
      {u"0X1f", 0x1F},
      {u"abcDEF", 0xABCDEF},
      {u" \t\r\n\v\f1A", 0x1A},          // leading white space
      {u"12G4", 0x12},                   // stops at the first non-hex character
      {u"7 8", 7},
      {u"", 0},                          // nothing to convert
      {u"G", 0},
      {u"0x", 0},
      {u"0xG", 0},
      {u"x1", 0},
      {u"0x 1", 0},
      {u"+ff", 0xFF},
      {u"-1", kAll},                     // a sign negates, as the C conversion does
      {u"-0x2", kAll - 1},
      {u"00000000000000001", 1},         // longer than 16 digits, but in range
      {u"FFFFFFFFFFFFFFFF", kAll},
      {u"8000000000000000", 0x8000000000000000ull},
      {u"10000000000000000", kAll},      // overflow saturates
      {u"123456789ABCDEF0123", kAll},
      {u"-10000000000000000", kAll},     // and is not negated
      {u"\u0661", 0},                    // only ASCII digits count
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ParseMaskText(c.text), c.mask) << std::string(c.text.begin(), c.text.end());
  }
}

TEST(MultiSzRead, ElementsUpToTheFirstEmptyOne) {
  EXPECT_EQ(Parse(std::u16string_view(u"0000000000000001\0" u"0000000000000006\0\0", 35)),
            (std::vector<ULONGLONG>{1, 6}));
  EXPECT_EQ(Parse(std::u16string_view(u"1\0\0" u"2\0\0", 6)), (std::vector<ULONGLONG>{1}));
  EXPECT_EQ(Parse(std::u16string_view(u"\0" u"5\0\0", 4)), (std::vector<ULONGLONG>{}));
  // Text that does not convert is a mask of 0, not the end.
  EXPECT_EQ(Parse(std::u16string_view(u"zz\0" u"3\0\0", 6)), (std::vector<ULONGLONG>{0, 3}));
}

TEST(MultiSzRead, FirstOccurrenceWinsInItsOrder) {
  EXPECT_EQ(Parse(std::u16string_view(u"1\0" u"0x1\0" u"0000000000000001\0\0", 25)), (std::vector<ULONGLONG>{1}));
  EXPECT_EQ(Parse(std::u16string_view(u"5\0" u"3\0" u"5\0" u"0\0" u"3\0" u"0\0\0", 13)),
            (std::vector<ULONGLONG>{5, 3, 0}));
}

TEST(MultiSzRead, MalformedSizesStayInBounds) {
  EXPECT_TRUE(ParseMultiSz({}).empty());
  EXPECT_TRUE(ParseMultiSz(std::vector<BYTE>{0x31}).empty());         // one byte: no character
  EXPECT_TRUE(ParseMultiSz(std::vector<BYTE>{0, 0}).empty());         // a single NUL
  EXPECT_EQ(ParseMultiSz(std::vector<BYTE>{0x31, 0, 0x32}), (std::vector<ULONGLONG>{1}));  // odd: last byte ignored
  EXPECT_EQ(Parse(u"1A"), (std::vector<ULONGLONG>{0x1A}));             // no NUL at all
  EXPECT_EQ(Parse(std::u16string_view(u"4\0" u"5", 3)), (std::vector<ULONGLONG>{4, 5}));  // last one unterminated
  // A reader that reached the end stays there.
  const auto bytes = Bytes(std::u16string_view(u"7\0\0", 3));
  MultiSzReader reader(bytes);
  ULONGLONG mask = 0;
  EXPECT_TRUE(reader.Next(mask));
  EXPECT_EQ(mask, 7u);
  EXPECT_FALSE(reader.Next(mask));
  EXPECT_FALSE(reader.Next(mask));
}

TEST(MultiSzRead, HugeValuesAreReadWhole) {
  // 64 KiB and more of a single element without any NUL.
  std::u16string digits(40000, u'0');
  digits += u"5";
  EXPECT_EQ(Parse(digits), (std::vector<ULONGLONG>{5}));
  std::u16string big(40000, u'F');
  EXPECT_EQ(Parse(big), (std::vector<ULONGLONG>{kAll}));

  // Thousands of elements, every one kept in order.
  std::vector<ULONGLONG> masks;
  for (ULONGLONG i = 0; i < 5000; ++i) masks.push_back(i * 0x9E3779B97F4A7C15ull);
  const auto bytes = SerializeMultiSz(masks);
  ASSERT_GT(bytes.size(), 65536u);
  EXPECT_EQ(ParseMultiSz(bytes), masks);
}

TEST(MultiSzRoundTrip, UnsignedMasksSurviveUnchanged) {
  const std::vector<ULONGLONG> masks = {0x8000000000000000ull, kAll, 0x7FFFFFFFFFFFFFFFull, 0, 0xFEDCBA9876543210ull, 1};
  EXPECT_EQ(ParseMultiSz(SerializeMultiSz(masks)), masks);
}

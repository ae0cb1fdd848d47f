// The stored form of a policy: exact bytes when written, _wcstoui64 rules and bounds when read.
#include "policy/multi_sz.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "shared_fixtures.h"

using namespace vx::policy;
using vx::rsop::Utf16Bytes;
using vxtest::Nuls;

namespace {

constexpr ULONGLONG kAll = 0xFFFFFFFFFFFFFFFFull;

TEST(MultiSzWrite, SeventeenUpperCaseCharactersPerMaskAndAClosingNul) {
  EXPECT_EQ(SerializeMultiSz({}), (std::vector<BYTE>{0, 0}));
  const ULONGLONG masks[] = {1, 0xABCDEF0123456789ull};
  EXPECT_EQ(SerializeMultiSz(masks), Utf16Bytes(Nuls(u"0000000000000001|ABCDEF0123456789||")));
  EXPECT_EQ(MultiSzBytes(100), (17u * 100 + 1) * 2);

  // The length of a multi-string walks its elements up to the empty one, or to the end of the text.
  EXPECT_EQ(MultiSzLength(Nuls(u"AB|C||junk")), 6u);
  EXPECT_EQ(MultiSzLength(Nuls(u"AB|C")), 4u);
  EXPECT_EQ(MultiSzLength(Nuls(u"|")), 1u);
  EXPECT_EQ(MultiSzLength(std::u16string_view()), 0u);
}

TEST(MaskConversion, FollowsTheBase16WideConversion) {
  const struct {
    std::u16string_view text;
    ULONGLONG mask;
  } cases[] = {
      {u"0000000000000006", 6},
      {u"0X1f", 0x1F},
      {u"abcDEF", 0xABCDEF},
      {u" \t\r\n\v\f1A", 0x1A},  // leading white space
      {u"12G4", 0x12},           // stops at the first non-hex character
      {u"", 0},
      {u"0x", 0},
      {u"x1", 0},
      {u"+ff", 0xFF},
      {u"-1", kAll},                  // a sign negates, as the C conversion does
      {u"00000000000000001", 1},      // longer than 16 digits, but in range
      {u"10000000000000000", kAll},   // overflow saturates
      {u"-10000000000000000", kAll},  // and is not negated
      {u"\u0661", 0},                 // only ASCII digits count
  };
  for (const auto& c : cases) EXPECT_EQ(ParseMaskText(c.text), c.mask) << vx::Utf16ToUtf8(c.text);
}

TEST(MultiSzRead, ElementsUpToTheFirstEmptyOneFirstOccurrencesOnly) {
  const struct {
    std::u16string text;  // '|' for each NUL
    std::vector<ULONGLONG> masks;
  } cases[] = {
      {u"0000000000000001|0000000000000006||", {1, 6}},
      {u"1||2||", {1}},
      {u"|5||", {}},
      {u"zz|3||", {0, 3}},  // text that does not convert is a mask of 0, not the end
      {u"5|3|5|0x3|0||", {5, 3, 0}},
      {u"1A", {0x1A}},  // no NUL at all
      {u"4|5", {4, 5}},
  };
  for (const auto& c : cases) EXPECT_EQ(ParseMultiSz(Utf16Bytes(Nuls(c.text))), c.masks) << vx::Utf16ToUtf8(c.text);
  EXPECT_TRUE(ParseMultiSz({}).empty());
  EXPECT_EQ(ParseMultiSz(std::vector<BYTE>{0x31, 0, 0x32}), (std::vector<ULONGLONG>{1}));  // odd last byte ignored

  // A reader that reached the end stays there.
  const auto bytes = Utf16Bytes(Nuls(u"7||"));
  MultiSzReader reader(bytes);
  ULONGLONG mask = 0;
  EXPECT_TRUE(reader.Next(mask));
  EXPECT_FALSE(reader.Next(mask));
  EXPECT_FALSE(reader.Next(mask));
}

TEST(MultiSzRead, HugeValuesAreReadWholeAndMasksRoundTripUnsigned) {
  // 64 KiB and more of a single element without any NUL.
  EXPECT_EQ(ParseMultiSz(Utf16Bytes(std::u16string(40000, u'0') + u"5")), (std::vector<ULONGLONG>{5}));
  EXPECT_EQ(ParseMultiSz(Utf16Bytes(std::u16string(40000, u'F'))), (std::vector<ULONGLONG>{kAll}));

  std::vector<ULONGLONG> masks = {0x8000000000000000ull, kAll, 0x7FFFFFFFFFFFFFFFull, 0};
  for (ULONGLONG i = 1; i < 5000; ++i) masks.push_back(i * 0x9E3779B97F4A7C15ull);
  const auto bytes = SerializeMultiSz(masks);
  ASSERT_GT(bytes.size(), 65536u);
  EXPECT_EQ(ParseMultiSz(bytes), masks);
}

}  // namespace

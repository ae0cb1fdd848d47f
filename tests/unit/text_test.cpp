#include <gtest/gtest.h>

#include "platform/text.h"

#include <string>
#include <utility>

using namespace vx;

TEST(Utf, RoundTripsAndReplacesInvalidInput) {
  const std::u16string text = u"Caf\u00e9 \u20ac \U0001F512";
  EXPECT_EQ(Utf8ToUtf16(Utf16ToUtf8(text)), text);
  EXPECT_EQ(Utf16ToUtf8(text), "Caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x94\x92");
  EXPECT_EQ(Utf8ToUtf16("a\377b"), u"a\ufffdb");
  EXPECT_EQ(Utf8ToUtf16("\xc0\xaf"), u"\ufffd") << "overlong form";
  EXPECT_EQ(Utf8ToUtf16("\xe2\x82"), u"\ufffd") << "cut sequence";
  EXPECT_EQ(Utf16ToUtf8(std::u16string(1, char16_t(0xD800))), "\xef\xbf\xbd") << "lone surrogate";
}

TEST(Utf, TruncationNeverSplitsACharacter) {
  const std::string text = "ab\xe2\x82\xac";  // a, b, euro sign (3 bytes)
  for (const auto& [max, cut] : {std::pair<size_t, std::string>{5, text}, {4, "ab"}, {2, "ab"}, {0, ""}}) {
    EXPECT_EQ(TruncateUtf8(text, max), cut) << max;
  }
}

TEST(CaseInsensitive, NamesCompareAsTheRegistryDoes) {
  EXPECT_TRUE(EqualsIgnoreCase(u"VXGPOSnapin", u"vxgposnapin") &&
              EqualsIgnoreCase(u"\u00e9t\u00e9", u"\u00c9T\u00c9") &&
              EqualsIgnoreCase(u"\u0434\u043e\u043c", u"\u0414\u041e\u041c"));
  EXPECT_FALSE(EqualsIgnoreCase(u"abc", u"abd") || EqualsIgnoreCase(u"abc", u"abcd"));
}

// Drive, directory, name and extension, joined by "|".
TEST(Paths, SplitLikeTheRuntime) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll", u"C:|\\Program Files\\Vantorix\\|VXGPOSnapin|.dll"},
      {u"mmc", u"||mmc|"},
      {u"\\\\server\\share\\a.b.c", u"|\\\\server\\share\\|a.b|.c"}};
  for (const auto& [path, parts] : cases) {
    const PathParts p = SplitPath(path);
    EXPECT_EQ(p.drive + u"|" + p.dir + u"|" + p.name + u"|" + p.ext, parts);
  }
  EXPECT_EQ(FileNamePart(std::string_view("src/support/check.cpp")), "check.cpp");
  EXPECT_EQ(FileNamePart(std::string_view("C:\\x\\y.cpp")), "y.cpp");
  EXPECT_EQ(FileNamePart(std::string_view("plain.cpp")), "plain.cpp");
}

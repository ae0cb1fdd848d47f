#include "fixture_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "platform/text.h"

namespace vx::wmifixture {
namespace {

std::vector<FixtureSetting> ParseGood(std::string_view text) {
  std::vector<FixtureSetting> settings;
  FixtureFileError error;
  EXPECT_TRUE(ParseFixtureFile(text, settings, error)) << error.Describe();
  EXPECT_EQ(error.line, 0u);
  EXPECT_TRUE(error.message.empty());
  return settings;
}

TEST(FixtureFileTest, ReadsEverySettingWithItsFields) {
  const auto settings = ParseGood(
      "\xEF\xBB\xBF# section | precedence | GPO | setting | masks\r\n"
      "machine | 1 | Default Domain Policy | LogonPolicy | 3, 1\r\n"
      "\r\n"
      "  MACHINE|2|Branch Office Policy|LogonPolicy|0x2\n"
      "\t # indented comment\n"
      "user | 1 | Default Domain Policy | RuntimePolicy |\n"
      "User | 2147483647 | Z\xC3\xBCrich Office | KioskRuntimePolicy | FFFFFFFFFFFFFFFF,0,a | deleted\n"
      "user | 07 | Local Group Policy | DisableCredentials | 8 | \n"
      "machine | 3 | {31B2F340-016D-11D2-945F-00C04FB984F9} | LogonPolicy | 10 | DELETED");  // no final LF

  ASSERT_EQ(settings.size(), 6u);
  struct Expected {
    FixtureSection section;
    std::int32_t precedence;
    const char* gpo;
    const char* setting;
    std::vector<std::uint64_t> masks;
    bool deleted;
    size_t line;
  };
  const Expected expected[] = {
      {FixtureSection::Machine, 1, "Default Domain Policy", "LogonPolicy", {3, 1}, false, 2},
      {FixtureSection::Machine, 2, "Branch Office Policy", "LogonPolicy", {2}, false, 4},
      {FixtureSection::User, 1, "Default Domain Policy", "RuntimePolicy", {}, false, 6},
      {FixtureSection::User, 2147483647, "Z\xC3\xBCrich Office", "KioskRuntimePolicy",
       {0xFFFFFFFFFFFFFFFFull, 0, 0xA}, true, 7},
      {FixtureSection::User, 7, "Local Group Policy", "DisableCredentials", {8}, false, 8},
      {FixtureSection::Machine, 3, "{31B2F340-016D-11D2-945F-00C04FB984F9}", "LogonPolicy", {0x10}, true, 9},
  };
  for (size_t i = 0; i < settings.size(); ++i) {
    SCOPED_TRACE("setting " + std::to_string(i));
    EXPECT_EQ(settings[i].section, expected[i].section);
    EXPECT_EQ(settings[i].precedence, expected[i].precedence);
    EXPECT_EQ(Utf16ToUtf8(settings[i].gpo), expected[i].gpo);
    EXPECT_EQ(Utf16ToUtf8(settings[i].setting), expected[i].setting);
    EXPECT_EQ(settings[i].masks, expected[i].masks);
    EXPECT_EQ(settings[i].deleted, expected[i].deleted);
    EXPECT_EQ(settings[i].line, expected[i].line);
  }
}

TEST(FixtureFileTest, FilesWithoutSettingsAreEmpty) {
  for (const char* text : {"", "\n\n", "# only a comment\n", "\xEF\xBB\xBF", "   \t\r\n#x|y\n"}) {
    EXPECT_TRUE(ParseGood(text).empty()) << "'" << text << "'";
  }
}

TEST(FixtureFileTest, AWrongLineIsReportedWithItsNumberAndReason) {
  struct Case {
    const char* text;
    size_t line;
    const char* message;
  };
  const Case cases[] = {
      {"machine | 1 | GPO | LogonPolicy", 1, "expected 5 or 6 fields separated by '|', found 4"},
      {"machine | 1 | GPO | LogonPolicy | 1 | deleted | x", 1, "expected 5 or 6 fields separated by '|', found 7"},
      {"# ok\n\ncomputer | 1 | GPO | LogonPolicy | 1", 3, "unknown section 'computer' (machine or user)"},
      {" | 1 | GPO | LogonPolicy | 1", 1, "unknown section '' (machine or user)"},
      {"user | 0 | GPO | RuntimePolicy | 1", 1, "bad precedence '0' (a whole number from 1 to 2147483647)"},
      {"user | -1 | GPO | RuntimePolicy | 1", 1, "bad precedence '-1' (a whole number from 1 to 2147483647)"},
      {"user | 2147483648 | GPO | RuntimePolicy | 1", 1,
       "bad precedence '2147483648' (a whole number from 1 to 2147483647)"},
      {"user | 1x | GPO | RuntimePolicy | 1", 1, "bad precedence '1x' (a whole number from 1 to 2147483647)"},
      {"user |  | GPO | RuntimePolicy | 1", 1, "bad precedence '' (a whole number from 1 to 2147483647)"},
      {"user | 1 |  | RuntimePolicy | 1", 1, "empty GPO"},
      {"user | 1 | GPO |   | 1", 1, "empty setting name"},
      {"user | 1 | GPO | RuntimePolicy | 3,,1", 1, "bad mask '' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 3,", 1, "bad mask '' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 12G", 1, "bad mask '12G' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 0x", 1, "bad mask '0x' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 1 2", 1, "bad mask '1 2' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 10000000000000000", 1,
       "bad mask '10000000000000000' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 1 | yes", 1, "bad deleted field 'yes' (deleted or nothing)"},
      {"machine | 1 | GPO | LogonPolicy | 1\nmachine | 1 | GPO | LogonPolicy | 1\nmachine | 1 | GPO\n", 3,
       "expected 5 or 6 fields separated by '|', found 3"},
  };
  for (const Case& c : cases) {
    std::vector<FixtureSetting> settings(1);
    FixtureFileError error;
    EXPECT_FALSE(ParseFixtureFile(c.text, settings, error)) << c.text;
    EXPECT_EQ(error.line, c.line) << c.text;
    EXPECT_EQ(error.message, c.message) << c.text;
    EXPECT_EQ(error.Describe(), "line " + std::to_string(c.line) + ": " + c.message);
    EXPECT_TRUE(settings.empty()) << "no settings of a wrong file: " << c.text;
  }
}

TEST(FixtureFileTest, LongFieldsAreCutInMessagesAndOversizedFilesAreRefused) {
  const std::string longSection(100, 's');
  std::vector<FixtureSetting> settings;
  FixtureFileError error;
  EXPECT_FALSE(ParseFixtureFile(longSection + " | 1 | GPO | LogonPolicy | 1", settings, error));
  EXPECT_EQ(error.message, "unknown section '" + std::string(40, 's') + "...' (machine or user)");

  // Cut between characters, never inside one (each is two bytes here).
  std::string umlauts;
  for (int i = 0; i < 30; ++i) umlauts += "\xC3\xBC";
  EXPECT_FALSE(ParseFixtureFile("user | 1 | GPO | RuntimePolicy | " + umlauts, settings, error));
  EXPECT_EQ(error.message, "bad mask '" + umlauts.substr(0, 40) + "...' (1 to 16 hexadecimal digits)");

  std::string big = "machine | 1 | GPO | LogonPolicy | 1\n";
  big += std::string(kMaxFixtureFileBytes + 1 - big.size(), '#');
  EXPECT_FALSE(ParseFixtureFile(big, settings, error));
  EXPECT_EQ(error.line, 0u);
  EXPECT_EQ(error.Describe(), "file larger than 1048576 bytes");
  EXPECT_TRUE(settings.empty());

  big.pop_back();
  EXPECT_TRUE(ParseFixtureFile(big, settings, error)) << "exactly the limit is accepted";
  EXPECT_EQ(settings.size(), 1u);
}

// The demo's fixture must stay readable, with settings for both sections.
TEST(FixtureFileTest, TheSampleFixtureParses) {
  std::ostringstream text;
  text << std::ifstream(VX_SAMPLE_FIXTURE, std::ios::binary).rdbuf();
  const auto settings = ParseGood(text.str());
  const auto machine = std::count_if(settings.begin(), settings.end(),
                                     [](const FixtureSetting& s) { return s.section == FixtureSection::Machine; });
  EXPECT_GT(machine, 0);
  EXPECT_LT(static_cast<size_t>(machine), settings.size());
}

}  // namespace
}  // namespace vx::wmifixture

// The RSoP fixture file: the settings it describes, the line and reason of a wrong line, and its limits.
#include "fixture_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "platform/text.h"

namespace vx::wmifixture {
namespace {

std::vector<FixtureSetting> ParseGood(std::string_view text) {
  std::vector<FixtureSetting> settings;
  FixtureFileError error;
  EXPECT_TRUE(ParseFixtureFile(text, settings, error)) << error.Describe();
  return settings;
}

// The error of a wrong file, which gives no settings.
std::string Refused(std::string_view text) {
  std::vector<FixtureSetting> settings(1);
  FixtureFileError error;
  EXPECT_FALSE(ParseFixtureFile(text, settings, error));
  EXPECT_TRUE(settings.empty()) << "no settings of a wrong file";
  return error.Describe();
}

// A setting as "line N: section precedence | GPO | setting | masks in hexadecimal [deleted]".
std::string Describe(const FixtureSetting& s) {
  std::ostringstream text;
  text << "line " << s.line << ": " << (s.section == FixtureSection::Machine ? "machine " : "user ") << s.precedence
       << " | " << Utf16ToUtf8(s.gpo) << " | " << Utf16ToUtf8(s.setting) << " |" << std::hex;
  for (const std::uint64_t mask : s.masks) text << " " << mask;
  text << (s.deleted ? " deleted" : "");
  return text.str();
}

TEST(FixtureFile, ReadsEverySettingWithItsFields) {
  const auto settings = ParseGood(
      "\xEF\xBB\xBF# section | precedence | GPO | setting | masks\r\n"
      "\r\n"
      "  MACHINE|2|Branch Office Policy|LogonPolicy|0x2, 1\n"
      "\t # indented comment\n"
      "user | 1 | Default Domain Policy | RuntimePolicy |\n"
      "User | 2147483647 | Z\xC3\xBCrich Office | KioskRuntimePolicy | FFFFFFFFFFFFFFFF,0,a | deleted\n"
      "user | 07 | Local Group Policy | DisableCredentials | 8 | \n"
      "machine | 3 | {31B2F340-016D-11D2-945F-00C04FB984F9} | LogonPolicy | 10 | DELETED");  // no final LF
  std::vector<std::string> described;
  for (const auto& setting : settings) described.push_back(Describe(setting));
  EXPECT_EQ(described,
            (std::vector<std::string>{
                "line 3: machine 2 | Branch Office Policy | LogonPolicy | 2 1",
                "line 5: user 1 | Default Domain Policy | RuntimePolicy |",
                "line 6: user 2147483647 | Z\xC3\xBCrich Office | KioskRuntimePolicy | ffffffffffffffff 0 a deleted",
                "line 7: user 7 | Local Group Policy | DisableCredentials | 8",
                "line 8: machine 3 | {31B2F340-016D-11D2-945F-00C04FB984F9} | LogonPolicy | 10 deleted"}));
  for (const char* text : {"", "\n\n", "\xEF\xBB\xBF", "   \t\r\n#x|y\n"}) EXPECT_TRUE(ParseGood(text).empty());
}

TEST(FixtureFile, AWrongLineIsReportedWithItsNumberAndReason) {
  const struct {
    const char* text;
    size_t line;
    const char* message;
  } cases[] = {
      {"machine | 1 | GPO | LogonPolicy", 1, "expected 5 or 6 fields separated by '|', found 4"},
      {"user|1|G|S|1\nuser|1|G|S|1|deleted|x", 2, "expected 5 or 6 fields separated by '|', found 7"},
      {"# ok\n\ncomputer | 1 | GPO | LogonPolicy | 1", 3, "unknown section 'computer' (machine or user)"},
      {"user | 0 | GPO | RuntimePolicy | 1", 1, "bad precedence '0' (a whole number from 1 to 2147483647)"},
      {"user | 2147483648 | G | S | 1", 1, "bad precedence '2147483648' (a whole number from 1 to 2147483647)"},
      {"user | 1x | GPO | RuntimePolicy | 1", 1, "bad precedence '1x' (a whole number from 1 to 2147483647)"},
      {"user |  | GPO | RuntimePolicy | 1", 1, "bad precedence '' (a whole number from 1 to 2147483647)"},
      {"user | 1 |  | RuntimePolicy | 1", 1, "empty GPO"},
      {"user | 1 | GPO |   | 1", 1, "empty setting name"},
      {"user | 1 | GPO | RuntimePolicy | 3,,1", 1, "bad mask '' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 12G", 1, "bad mask '12G' (1 to 16 hexadecimal digits)"},
      {"user | 1 | G | S | 10000000000000000", 1, "bad mask '10000000000000000' (1 to 16 hexadecimal digits)"},
      {"user | 1 | GPO | RuntimePolicy | 1 | yes", 1, "bad deleted field 'yes' (deleted or nothing)"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Refused(c.text), "line " + std::to_string(c.line) + ": " + c.message);
  }
}

TEST(FixtureFile, LongFieldsAreCutInMessagesAndOversizedFilesAreRefused) {
  EXPECT_EQ(Refused(std::string(100, 's') + " | 1 | GPO | LogonPolicy | 1"),
            "line 1: unknown section '" + std::string(40, 's') + "...' (machine or user)");
  // Cut between characters, never inside one (each is two bytes here).
  std::string umlauts;
  for (int i = 0; i < 30; ++i) umlauts += "\xC3\xBC";
  EXPECT_EQ(Refused("user | 1 | GPO | RuntimePolicy | " + umlauts),
            "line 1: bad mask '" + umlauts.substr(0, 40) + "...' (1 to 16 hexadecimal digits)");

  std::string big = "machine | 1 | GPO | LogonPolicy | 1\n";
  big += std::string(kMaxFixtureFileBytes + 1 - big.size(), '#');
  EXPECT_EQ(Refused(big), "file larger than 1048576 bytes");
  big.pop_back();
  EXPECT_EQ(ParseGood(big).size(), 1u) << "exactly the limit is accepted";
}

// The demo's fixture must stay readable, with settings for both sections.
TEST(FixtureFile, TheSampleFixtureParses) {
  std::ostringstream text;
  text << std::ifstream(VX_SAMPLE_FIXTURE, std::ios::binary).rdbuf();
  std::set<FixtureSection> sections;
  for (const FixtureSetting& setting : ParseGood(text.str())) sections.insert(setting.section);
  EXPECT_EQ(sections.size(), 2u);
}

}  // namespace
}  // namespace vx::wmifixture

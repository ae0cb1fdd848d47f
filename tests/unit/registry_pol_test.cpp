// The files of a GPO. Registry.pol: exact bytes, every marker, malformed input reported at its offset,
// and the records applied to and dumped from the in-memory registry. gpt.ini: the version halves and
// the lines kept around the Version line.
#include "gpo/registry_pol.h"

#include <gtest/gtest.h>

#include "gpo/gpt_ini.h"
#include "gpo/pol_registry.h"
#include "platform/memory/memory_registry.h"
#include "platform/text.h"
#include "shared_fixtures.h"

using namespace vx::gpo;
using vx::platform::IRegistryKey;
using vx::platform::MemoryRegistry;
using vx::platform::RegistryRoot;

namespace {

const std::vector<BYTE> kHeader = {'P', 'R', 'e', 'g', 1, 0, 0, 0};

// UTF-16LE bytes of text in which '|' stands for a NUL unit, so a 32-bit field is two units: "\x4|" is 4.
std::vector<BYTE> Le(std::u16string text) { return vx::rsop::Utf16Bytes(vxtest::Nuls(std::move(text))); }

std::vector<BYTE> Write(const std::vector<PolRecord>& records) { return WriteRegistryPol(records); }

std::vector<PolRecord> ParseOk(const std::vector<BYTE>& bytes) {
  std::vector<PolRecord> records;
  PolError error;
  EXPECT_TRUE(ParseRegistryPol(bytes, records, error)) << vx::Utf16ToUtf8(error.Text());
  return records;
}

PolError ParseFails(const std::vector<BYTE>& bytes, const PolLimits& limits = {}) {
  std::vector<PolRecord> records;
  PolError error;
  EXPECT_FALSE(ParseRegistryPol(bytes, records, error, limits));
  return error;
}

TEST(RegistryPolFormat, RecordsParseInOrderAndWriteBackToTheSameBytes) {
  EXPECT_EQ(Write({}), kHeader);
  EXPECT_TRUE(ParseOk(kHeader).empty());
  // Made by hand, independently of the writer; the last record's data has an odd size.
  std::vector<BYTE> image = kHeader;
  for (const auto& part : {Le(u"[Software\\Policies\\Vx|;Level|;\x4|;\x4|;\x3|]"), Le(u"[K|;Name|;\x1|;\xE|;a;b]c[|]"),
                           Le(u"[K\\Sub|;|;||;||;]"), Le(u"[|;Odd|;\x3|;\x3|;"), std::vector<BYTE>{1, 2, 3}, Le(u"]")})
    image.insert(image.end(), part.begin(), part.end());
  const std::vector<PolRecord> records = {{u"Software\\Policies\\Vx", u"Level", REG_DWORD, Le(u"\x3|")},
                                          {u"K", u"Name", REG_SZ, Le(u"a;b]c[|")},
                                          {u"K\\Sub", u"", REG_NONE, {}},
                                          {u"", u"Odd", REG_BINARY, {1, 2, 3}}};
  EXPECT_EQ(ParseOk(image), records);
  EXPECT_EQ(Write(records), image);
}

// What **DeleteValues and **DeleteKeys name: their REG_SZ data up to the first NUL, split at ';', no empty names.
TEST(RegistryPolFormat, MarkerListsSplitAtSemicolonsUpToTheFirstNul) {
  EXPECT_EQ(MarkerList(Le(u"a;;bc;|")), (std::vector<std::u16string>{u"a", u"bc"}));
  auto data = Le(u"x;y|z");
  data.push_back(7);  // an odd trailing byte
  EXPECT_EQ(MarkerList(data), (std::vector<std::u16string>{u"x", u"y"}));
  EXPECT_TRUE(MarkerList({}).empty());
}

TEST(RegistryPolMalformed, EachFaultIsReportedAtItsField) {
  // Offsets in the record: '[' 8, key 10, ';' 14, value 16, ';' 20, type 22, ';' 26, size 28,
  // ';' 32, data 34, ']' 38.
  const std::vector<BYTE> good = Write({{u"K", u"V", REG_DWORD, Le(u"\x1|")}});
  ASSERT_EQ(good.size(), 40u);
  const auto poked = [&](size_t at, std::vector<BYTE> with = {'x'}) {
    auto bytes = good;
    std::copy(with.begin(), with.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
    return bytes;
  };
  const auto cut = [&](size_t length) { return std::vector<BYTE>(good.begin(), good.begin() + length); };
  const auto three = Write({{u"Key", u"a", REG_NONE, {}}, {u"K", u"b", REG_NONE, {}}, {u"K", u"c", REG_NONE, {}}});
  const PolLimits small{.maxRecords = 2, .maxStringChars = 3};
  const struct {
    std::vector<BYTE> bytes;
    size_t offset;
    const char16_t* expected;
    PolLimits limits = {};
  } cases[] = {
      {cut(0), 0, u"the signature \"PReg\""},
      {poked(0), 0, u"the signature \"PReg\""},
      {poked(4), 4, u"version 1"},
      {cut(6), 4, u"version 1"},
      {poked(8), 8, u"'['"},
      {poked(14), 14, u"';' after the key"},
      {poked(20), 20, u"';' after the value name"},
      {poked(26), 26, u"';' after the type"},
      {poked(32), 32, u"';' after the data size"},
      {poked(38), 38, u"']'"},
      {cut(9), 8, u"'['"},
      {cut(13), 10, u"a NUL-terminated UTF-16 string"},  // an odd length inside the key
      {cut(24), 22, u"the type"},
      {cut(30), 28, u"the data size"},
      {cut(36), 34, u"4 data bytes"},
      {poked(28, {0xF0, 0xFF, 0xFF, 0xFF}), 28, u"a data size of at most 16777216"},
      {poked(28, {0xF0, 0xFF, 0xFF, 0xFF}), 34, u"4294967280 data bytes", {.maxDataBytes = 0xFFFFFFFF}},
      {three, three.size() - 28, u"the end of the file after 2 records", small},  // the last record is 28 bytes
      {Write({{u"K", u"Vals", REG_NONE, {}}}), 16, u"a string of at most 3 characters", small},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(vx::Utf16ToUtf8(c.expected));
    const PolError error = ParseFails(c.bytes, c.limits);
    EXPECT_EQ(error.offset, c.offset) << c.bytes.size() << " bytes";
    EXPECT_EQ(error.expected, c.expected);
  }
  EXPECT_EQ(ParseFails(poked(38)).Text(), u"byte 38: expected ']'");
}

class PolRegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(registry.CreateKey(RegistryRoot::CurrentUser, u"Gpo\\Machine", KEY_ALL_ACCESS, root), ERROR_SUCCESS);
  }
  std::vector<PolRecord> Dumped() {
    std::vector<PolRecord> records;
    EXPECT_EQ(DumpRegistryPol(*root, records), S_OK);
    return records;
  }

  MemoryRegistry registry;
  std::unique_ptr<IRegistryKey> root;
};

// An editor's image of a GPO keeps the markers as values, so a file loaded and written back loses none
// of them; types and bytes are kept exactly, an unterminated string included.
TEST_F(PolRegistryTest, KeptRecordsDumpBackAsTheyStood) {
  EXPECT_TRUE(Dumped().empty()) << "an empty root is no key to create";
  const std::u16string k = u"Software\\Policies\\Vx";
  const std::vector<PolRecord> file = {{k, u"Level", REG_DWORD, Le(u"\x3|")},
                                       {k, u"", REG_SZ, Le(u"d|")},
                                       {k, u"**del.b", REG_SZ, Le(u" |")},
                                       {k, u"**DeleteKeys", REG_SZ, Le(u"Sub|")},
                                       {k, u"**SecureKey", REG_DWORD, Le(u"\x1|")},
                                       {k + u"\\Empty", u"", REG_NONE, {}},
                                       {k + u"\\Q", u"Path", REG_EXPAND_SZ, Le(u"%TEMP%|")},
                                       {k + u"\\Q", u"Raw", REG_SZ, {0x41, 0x00, 0x42}},
                                       {k + u"\\Q", u"Big", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}},
                                       {k + u"\\Q", u"None", REG_BINARY, {}}};
  ASSERT_EQ(ApplyRegistryPol(*root, file, PolMarkers::Keep), S_OK);
  EXPECT_EQ(Dumped(), file);
  // As the registry itself shows them, not only through the dump.
  EXPECT_EQ(registry.Dump(RegistryRoot::CurrentUser, u"Gpo\\Machine\\" + k + u"\\Q"),
            "Q\n  Path = REG_EXPAND_SZ \"%TEMP%\"\n  Raw = REG_SZ 41 00 42\n  Big = REG_QWORD 01 02 03 04 05 06 07 08\n"
            "  None = REG_BINARY\n");
}

// The markers, whatever their case, delete what they name from a key that exists; **SecureKey is
// skipped, and a name that only starts like a marker is a value.
TEST_F(PolRegistryTest, DeletionMarkersRemoveWhatTheyName) {
  const std::u16string k = u"Software\\Policies\\Vx";
  ASSERT_EQ(ApplyRegistryPol(*root, {{k, u"a", REG_DWORD, Le(u"\x1|")},
                                     {k, u"b", REG_DWORD, Le(u"\x2|")},
                                     {k, u"c", REG_DWORD, Le(u"\x3|")},
                                     {k + u"\\Sub\\Deep", u"x", REG_DWORD, Le(u"\x4|")},
                                     {k + u"\\Other", u"y", REG_DWORD, Le(u"\x5|")},
                                     {k + u"\\Wiped", u"z", REG_DWORD, Le(u"\x6|")},
                                     {k, u"**DEL.a", REG_SZ, Le(u" |")},
                                     {k, u"**del.missing", REG_SZ, Le(u" |")},
                                     {u"No\\Such\\Key", u"**delvals.", REG_SZ, Le(u" |")},
                                     {k + u"\\Wiped", u"**DelVals.", REG_SZ, Le(u" |")},
                                     {k + u"\\Wiped", u"after", REG_DWORD, Le(u"\x9|")},
                                     {k, u"**deletevalues", REG_SZ, Le(u"b;nothing|")},
                                     {k, u"**DELETEKEYS", REG_SZ, Le(u"Sub;Absent|")},
                                     {k + u"\\Other", u"**securekey", REG_DWORD, Le(u"\x1|")},
                                     {k, u"**delvalsX", REG_DWORD, Le(u"\x7|")},
                                     {k, u"", REG_SZ, Le(u"d|")},
                                     {k + u"\\New", u"", REG_NONE, {}}}),
            S_OK);
  EXPECT_EQ(Dumped(), (std::vector<PolRecord>{{k, u"c", REG_DWORD, Le(u"\x3|")},
                                              {k, u"**delvalsX", REG_DWORD, Le(u"\x7|")},
                                              {k, u"", REG_SZ, Le(u"d|")},
                                              {k + u"\\New", u"", REG_NONE, {}},
                                              {k + u"\\Other", u"y", REG_DWORD, Le(u"\x5|")},
                                              {k + u"\\Wiped", u"after", REG_DWORD, Le(u"\x9|")}}));
}

TEST_F(PolRegistryTest, FailingRegistryCallStopsWithItsError) {
  // A key path with a leading "\" is refused by the registry; what came before it stays applied.
  const HRESULT hr = ApplyRegistryPol(*root, {{u"C", u"w", REG_DWORD, Le(u"\x2|")},
                                              {u"\\A", u"v", REG_DWORD, Le(u"\x1|")},
                                              {u"D", u"x", REG_DWORD, Le(u"\x3|")}});
  EXPECT_EQ(hr, vx::HResultFromWin32(ERROR_BAD_PATHNAME));
  EXPECT_EQ(Dumped(), (std::vector<PolRecord>{{u"C", u"w", REG_DWORD, Le(u"\x2|")}}));
}

TEST(GptIniVersion, EachHalfCountsOnItsOwnAndWrapsToOne) {
  EXPECT_EQ(BumpVersion(0x00050007, false), 0x00060007u);
  EXPECT_EQ(BumpVersion(0x1234FFFF, true), 0x12340001u);
  EXPECT_EQ(BumpVersion(0xFFFF1234, false), 0x00011234u);
}

TEST(GptIniText, VersionLineIsReadAndRewrittenWithOtherLinesKept) {
  GptIni ini =
      GptIni::Parse("; comment\r\n[general]\r\ndisplayName=New GPO\r\n  version = 65539 \r\n\r\n[Other]\nVersion=7\n");
  EXPECT_EQ(ini.Version(), 65539u);
  ini.SetVersion(BumpVersion(ini.Version(), true));
  EXPECT_EQ(ini.Text(),
            "; comment\r\n[general]\r\ndisplayName=New GPO\r\nVersion=65540\r\n\r\n[Other]\r\nVersion=7\r\n");
}

TEST(GptIniText, MissingVersionOrSectionIsAdded) {
  GptIni ini = GptIni::Parse("[General]\r\ngPCMachineExtensionNames=[{A}]\r\n");
  EXPECT_EQ(ini.Version(), 0u);
  ini.SetVersion(1);
  EXPECT_EQ(ini.Text(), "[General]\r\nVersion=1\r\ngPCMachineExtensionNames=[{A}]\r\n");

  ini = GptIni::Parse("[Other]\rVersion=9");
  EXPECT_EQ(ini.Version(), 0u);  // only [General] counts
  ini.SetVersion(65536);
  EXPECT_EQ(ini.Text(), "[Other]\r\nVersion=9\r\n[General]\r\nVersion=65536\r\n");
}

TEST(GptIniText, UnreadableNumbersCountAsZero) {
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=12abc\n").Version(), 12u);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=abc\n").Version(), 0u);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=4294967295\n").Version(), 0xFFFFFFFFu);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion=4294967296\n").Version(), 0u);
  EXPECT_EQ(GptIni::Parse("[General]\nVersion\n").Version(), 0u);
}

}  // namespace

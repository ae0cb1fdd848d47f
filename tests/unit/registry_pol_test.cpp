// Registry.pol: exact bytes, every marker, malformed input reported at its offset, and the records
// applied to and dumped from the in-memory registry.
#include "gpo/registry_pol.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "gpo/pol_registry.h"
#include "platform/memory/memory_registry.h"
#include "platform/text.h"

using namespace vx::gpo;
using vx::platform::IRegistryKey;
using vx::platform::MemoryRegistry;
using vx::platform::RegistryRoot;

namespace {

// Builds file images by hand, independently of the writer.
struct Image {
  std::vector<BYTE> bytes;
  Image& U32(std::uint32_t v) {
    for (int s = 0; s < 32; s += 8) bytes.push_back(static_cast<BYTE>(v >> s));
    return *this;
  }
  Image& Text(std::u16string_view text) {
    for (const char16_t c : text) {
      bytes.push_back(static_cast<BYTE>(c & 0xFF));
      bytes.push_back(static_cast<BYTE>(c >> 8));
    }
    return *this;
  }
  Image& Raw(std::vector<BYTE> raw) {
    bytes.insert(bytes.end(), raw.begin(), raw.end());
    return *this;
  }
  Image& Header() { return U32(0x67655250).U32(1); }
  Image& Record(std::u16string_view key, std::u16string_view value, DWORD type, std::vector<BYTE> data) {
    Text(u"[").Text(key).Text(std::u16string(1, u'\0')).Text(u";").Text(value).Text(std::u16string(1, u'\0'));
    Text(u";").U32(type).Text(u";").U32(static_cast<std::uint32_t>(data.size())).Text(u";").Raw(data);
    return Text(u"]");
  }
};

std::vector<BYTE> Utf16Z(std::u16string_view text) {
  Image image;
  image.Text(text).Text(std::u16string(1, u'\0'));
  return image.bytes;
}

std::vector<BYTE> Dword(DWORD v) { return Image().U32(v).bytes; }

PolError ParseFails(const std::vector<BYTE>& bytes, const PolLimits& limits = {}) {
  std::vector<PolRecord> records;
  PolError error;
  EXPECT_FALSE(ParseRegistryPol(bytes, records, error, limits));
  return error;
}

std::vector<PolRecord> ParseOk(const std::vector<BYTE>& bytes) {
  std::vector<PolRecord> records;
  PolError error;
  EXPECT_TRUE(ParseRegistryPol(bytes, records, error)) << vx::Utf16ToUtf8(error.Text());
  return records;
}

}  // namespace

TEST(RegistryPolFormat, HeaderOnlyIsAnEmptyFileOfEightBytes) {
  const auto bytes = WriteRegistryPol({});
  EXPECT_EQ(bytes, (std::vector<BYTE>{'P', 'R', 'e', 'g', 1, 0, 0, 0}));
  EXPECT_TRUE(ParseOk(bytes).empty());
}

TEST(RegistryPolFormat, RecordsParseInOrderAndWriteBackToTheSameBytes) {
  Image image;
  image.Header()
      .Record(u"Software\\Policies\\Vx", u"Level", REG_DWORD, Dword(3))
      .Record(u"Software\\Policies\\Vx", u"Name", REG_SZ, Utf16Z(u"a;b]c["))
      .Record(u"Software\\Policies\\Vx\\Sub", u"", REG_NONE, {})
      .Record(u"", u"Odd", REG_BINARY, {1, 2, 3})
      .Record(u"Software\\Policies\\Vx", u"**del.Old", REG_SZ, Utf16Z(u" "));
  const auto records = ParseOk(image.bytes);
  ASSERT_EQ(records.size(), 5u);
  EXPECT_EQ(records[0], (PolRecord{u"Software\\Policies\\Vx", u"Level", REG_DWORD, Dword(3)}));
  EXPECT_EQ(records[1].data, Utf16Z(u"a;b]c["));
  EXPECT_EQ(records[2].key, u"Software\\Policies\\Vx\\Sub");
  EXPECT_TRUE(records[2].value.empty());
  EXPECT_EQ(records[3], (PolRecord{u"", u"Odd", REG_BINARY, {1, 2, 3}}));
  EXPECT_EQ(records[4].value, u"**del.Old");
  EXPECT_EQ(WriteRegistryPol(records), image.bytes);
}

TEST(RegistryPolFormat, MarkersAreClassifiedCaseInsensitively) {
  std::u16string target;
  EXPECT_EQ(ClassifyRecord({u"K", u"**del.Some Value", REG_SZ, {}}, &target), PolAction::DeleteValue);
  EXPECT_EQ(target, u"Some Value");
  EXPECT_EQ(ClassifyRecord({u"K", u"**DEL.x", REG_SZ, {}}, &target), PolAction::DeleteValue);
  EXPECT_EQ(target, u"x");
  EXPECT_EQ(ClassifyRecord({u"K", u"**delvals.", REG_SZ, {}}), PolAction::DeleteAllValues);
  EXPECT_EQ(ClassifyRecord({u"K", u"**DelVals.", REG_SZ, {}}), PolAction::DeleteAllValues);
  EXPECT_EQ(ClassifyRecord({u"K", u"**DeleteValues", REG_SZ, {}}), PolAction::DeleteValues);
  EXPECT_EQ(ClassifyRecord({u"K", u"**deletekeys", REG_SZ, {}}), PolAction::DeleteKeys);
  EXPECT_EQ(ClassifyRecord({u"K", u"**SecureKey", REG_DWORD, Dword(1)}), PolAction::SecureKey);
  EXPECT_EQ(ClassifyRecord({u"K", u"", REG_NONE, {}}), PolAction::CreateKey);
  EXPECT_EQ(ClassifyRecord({u"K", u"", REG_SZ, Utf16Z(u"d")}), PolAction::SetValue);
  EXPECT_EQ(ClassifyRecord({u"K", u"**delvalsX", REG_SZ, {}}), PolAction::SetValue);
  EXPECT_EQ(ClassifyRecord({u"K", u"plain", REG_SZ, {}}), PolAction::SetValue);
}

TEST(RegistryPolFormat, MarkerListSplitsAtSemicolonsUpToTheFirstNul) {
  EXPECT_EQ(MarkerList(Utf16Z(u"a;;bc;")), (std::vector<std::u16string>{u"a", u"bc"}));
  auto data = Utf16Z(u"x;y");
  const auto tail = Utf16Z(u"z");
  data.insert(data.end(), tail.begin(), tail.end());
  data.push_back(7);  // odd trailing byte
  EXPECT_EQ(MarkerList(data), (std::vector<std::u16string>{u"x", u"y"}));
  EXPECT_TRUE(MarkerList({}).empty());
}

TEST(RegistryPolMalformed, HeaderFaultsAreReportedAtTheirField) {
  auto error = ParseFails({});
  EXPECT_EQ(error.offset, 0u);
  EXPECT_EQ(error.expected, u"the signature \"PReg\"");
  EXPECT_EQ(ParseFails(Image().U32(0x67655251).U32(1).bytes).offset, 0u);
  error = ParseFails(Image().U32(0x67655250).U32(2).bytes);
  EXPECT_EQ(error.offset, 4u);
  EXPECT_EQ(error.expected, u"version 1");
  EXPECT_EQ(ParseFails(Image().U32(0x67655250).Raw({1, 0}).bytes).offset, 4u);
  EXPECT_EQ(error.Text(), u"byte 4: expected version 1");
}

TEST(RegistryPolMalformed, EachMissingPartNamesItsOffset) {
  Image good;
  good.Header().Record(u"K", u"V", REG_DWORD, Dword(1));
  // Offsets in the record: '[' 8, key 10, ';' 14, value 16, ';' 20, type 22, ';' 26, size 28,
  // ';' 32, data 34, ']' 38.
  ASSERT_EQ(good.bytes.size(), 40u);
  struct Case {
    size_t at;
    const char16_t* expected;
  } cases[] = {{8, u"'['"},
               {14, u"';' after the key"},
               {20, u"';' after the value name"},
               {26, u"';' after the type"},
               {32, u"';' after the data size"},
               {38, u"']'"}};
  for (const Case& c : cases) {
    auto bytes = good.bytes;
    bytes[c.at] = 'x';
    const PolError error = ParseFails(bytes);
    EXPECT_EQ(error.offset, c.at) << vx::Utf16ToUtf8(c.expected);
    EXPECT_EQ(error.expected, c.expected);
  }
}

TEST(RegistryPolMalformed, TruncationAnywhereFailsAtTheCutField) {
  Image good;
  good.Header().Record(u"K", u"V", REG_DWORD, Dword(1));
  // For each cut, the field that ran out and the offset the parser names.
  struct Cut {
    size_t length;
    size_t offset;
    const char16_t* expected;
  } cuts[] = {{9, 8, u"'['"},
              {12, 10, u"a NUL-terminated UTF-16 string"},
              {13, 10, u"a NUL-terminated UTF-16 string"},  // odd length inside the key
              {19, 16, u"a NUL-terminated UTF-16 string"},
              {24, 22, u"the type"},
              {30, 28, u"the data size"},
              {36, 34, u"4 data bytes"},
              {39, 38, u"']'"}};
  for (const Cut& cut : cuts) {
    const std::vector<BYTE> bytes(good.bytes.begin(), good.bytes.begin() + static_cast<std::ptrdiff_t>(cut.length));
    const PolError error = ParseFails(bytes);
    EXPECT_EQ(error.offset, cut.offset) << cut.length;
    EXPECT_EQ(error.expected, cut.expected) << cut.length;
  }
}

TEST(RegistryPolMalformed, SizePastTheEndAndLimitsAreReported) {
  Image big;
  big.Header().Text(u"[K").Text(std::u16string(1, u'\0')).Text(u";V").Text(std::u16string(1, u'\0'));
  big.Text(u";").U32(REG_BINARY).Text(u";").U32(0xFFFFFFF0).Text(u";").Raw({1, 2}).Text(u"]");
  PolError error = ParseFails(big.bytes);
  EXPECT_EQ(error.offset, 28u);  // the size field
  EXPECT_EQ(error.expected, u"a data size of at most 16777216");
  PolLimits roomy;
  roomy.maxDataBytes = 0xFFFFFFFF;
  error = ParseFails(big.bytes, roomy);
  EXPECT_EQ(error.offset, 34u);
  EXPECT_EQ(error.expected, u"4294967280 data bytes");

  Image three;
  three.Header().Record(u"K", u"a", REG_NONE, {}).Record(u"K", u"b", REG_NONE, {}).Record(u"K", u"c", REG_NONE, {});
  PolLimits two;
  two.maxRecords = 2;
  error = ParseFails(three.bytes, two);
  EXPECT_EQ(error.expected, u"the end of the file after 2 records");
  EXPECT_EQ(error.offset, three.bytes.size() - 28);  // each record here is 28 bytes
  PolLimits shortNames;
  shortNames.maxStringChars = 3;
  Image longName;
  longName.Header().Record(u"Keys", u"V", REG_NONE, {});
  error = ParseFails(longName.bytes, shortNames);
  EXPECT_EQ(error.offset, 10u);
  EXPECT_EQ(error.expected, u"a string of at most 3 characters");
  EXPECT_EQ(ParseOk(Image().Header().Record(u"Key", u"V", REG_NONE, {}).bytes).size(), 1u);
}

namespace {

class PolRegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(registry.CreateKey(RegistryRoot::CurrentUser, u"Gpo\\Machine", KEY_ALL_ACCESS, root), ERROR_SUCCESS);
  }
  std::string Dump() const { return registry.Dump(RegistryRoot::CurrentUser, u"Gpo\\Machine"); }
  void Apply(const std::vector<PolRecord>& records) { ASSERT_EQ(ApplyRegistryPol(*root, records), S_OK); }

  MemoryRegistry registry;
  std::unique_ptr<IRegistryKey> root;
};

}  // namespace

TEST_F(PolRegistryTest, ApplySetsExactTypesAndBytesAndCreatesKeys) {
  Apply({{u"Software\\Policies\\Vx", u"Level", REG_DWORD, Dword(3)},
         {u"Software\\Policies\\Vx", u"Path", REG_EXPAND_SZ, Utf16Z(u"%TEMP%")},
         {u"Software\\Policies\\Vx", u"Raw", REG_SZ, {0x41, 0x00, 0x42}},  // kept as given, unterminated
         {u"Software\\Policies\\Vx", u"", REG_SZ, Utf16Z(u"d")},
         {u"Software\\Policies\\Empty", u"", REG_NONE, {}}});
  EXPECT_EQ(Dump(),
            "Machine\n"
            "  Software\n"
            "    Policies\n"
            "      Empty\n"
            "      Vx\n"
            "        Level = REG_DWORD 0x00000003\n"
            "        Path = REG_EXPAND_SZ \"%TEMP%\"\n"
            "        Raw = REG_SZ 41 00 42\n"
            "        @ = REG_SZ \"d\"\n");
}

TEST_F(PolRegistryTest, DeletionMarkersRemoveWhatTheyName) {
  const std::u16string k = u"Software\\Policies\\Vx";
  Apply({{k, u"a", REG_DWORD, Dword(1)},
         {k, u"b", REG_DWORD, Dword(2)},
         {k, u"c", REG_DWORD, Dword(3)},
         {k + u"\\Sub\\Deep", u"x", REG_DWORD, Dword(4)},
         {k + u"\\Other", u"y", REG_DWORD, Dword(5)},
         {k, u"**del.a", REG_SZ, Utf16Z(u" ")},
         {k, u"**del.missing", REG_SZ, Utf16Z(u" ")},
         {u"No\\Such\\Key", u"**delvals.", REG_SZ, Utf16Z(u" ")},
         {k, u"**DeleteValues", REG_SZ, Utf16Z(u"b;nothing")},
         {k, u"**DeleteKeys", REG_SZ, Utf16Z(u"Sub;Absent")},
         {k + u"\\Other", u"**SecureKey", REG_DWORD, Dword(1)}});
  EXPECT_EQ(Dump(),
            "Machine\n"
            "  Software\n"
            "    Policies\n"
            "      Vx\n"
            "        c = REG_DWORD 0x00000003\n"
            "        Other\n"
            "          y = REG_DWORD 0x00000005\n");
  Apply({{k, u"**delvals.", REG_SZ, Utf16Z(u" ")}, {k, u"after", REG_DWORD, Dword(9)}});
  EXPECT_EQ(Dump(),
            "Machine\n"
            "  Software\n"
            "    Policies\n"
            "      Vx\n"
            "        after = REG_DWORD 0x00000009\n"
            "        Other\n"
            "          y = REG_DWORD 0x00000005\n");
}

// An editor's image of a GPO keeps the markers, so a file loaded and written back loses none of them.
TEST_F(PolRegistryTest, KeptMarkersAreValuesThatDumpBackAsTheyStood) {
  const std::u16string k = u"Software\\Policies\\Vx";
  const std::vector<PolRecord> file = {{k, u"a", REG_DWORD, Dword(1)},
                                       {k, u"**del.b", REG_SZ, Utf16Z(u" ")},
                                       {k, u"**delvals.", REG_SZ, Utf16Z(u" ")},
                                       {k, u"**DeleteValues", REG_SZ, Utf16Z(u"x;y")},
                                       {k, u"**DeleteKeys", REG_SZ, Utf16Z(u"Sub")},
                                       {k, u"**SecureKey", REG_DWORD, Dword(1)},
                                       {k + u"\\Empty", u"", REG_NONE, {}}};
  ASSERT_EQ(ApplyRegistryPol(*root, file, PolMarkers::Keep), S_OK);
  std::vector<PolRecord> dumped;
  ASSERT_EQ(DumpRegistryPol(*root, dumped), S_OK);
  EXPECT_EQ(dumped, file);
}

TEST_F(PolRegistryTest, DumpGivesPlainRecordsThatReloadToTheSameSettings) {
  std::vector<PolRecord> dumped;
  ASSERT_EQ(DumpRegistryPol(*root, dumped), S_OK);
  EXPECT_TRUE(dumped.empty());

  const std::vector<PolRecord> settings = {
      {u"Software\\Policies\\Vx", u"Level", REG_DWORD, Dword(3)},
      {u"Software\\Policies\\Vx", u"List", REG_MULTI_SZ, Utf16Z(std::u16string(u"a\0b\0", 4))},
      {u"Software\\Policies\\Vx", u"", REG_SZ, Utf16Z(u"default")},
      {u"Software\\Policies\\Vx\\Empty", u"", REG_NONE, {}},
      {u"Software\\Policies\\Vx\\Q", u"Big", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}},
      {u"Software\\Policies\\Vx\\Q", u"None", REG_BINARY, {}}};
  Apply(settings);
  ASSERT_EQ(DumpRegistryPol(*root, dumped), S_OK);
  EXPECT_EQ(dumped, settings);

  // Through the file and into a fresh key: the same settings.
  std::vector<PolRecord> reparsed;
  PolError error;
  ASSERT_TRUE(ParseRegistryPol(WriteRegistryPol(dumped), reparsed, error));
  MemoryRegistry other;
  std::unique_ptr<IRegistryKey> otherRoot;
  ASSERT_EQ(other.CreateKey(RegistryRoot::CurrentUser, u"Gpo\\Machine", KEY_ALL_ACCESS, otherRoot), ERROR_SUCCESS);
  ASSERT_EQ(ApplyRegistryPol(*otherRoot, reparsed), S_OK);
  EXPECT_EQ(other.Dump(RegistryRoot::CurrentUser, u"Gpo\\Machine"), Dump());
}

TEST_F(PolRegistryTest, FailingRegistryCallStopsWithItsError) {
  // A key path with a leading "\" is refused by the registry; what came before it stays applied.
  const HRESULT hr = ApplyRegistryPol(*root, {{u"C", u"w", REG_DWORD, Dword(2)},
                                              {u"\\A", u"v", REG_DWORD, Dword(1)},
                                              {u"D", u"x", REG_DWORD, Dword(3)}});
  EXPECT_EQ(hr, vx::HResultFromWin32(ERROR_BAD_PATHNAME));
  EXPECT_EQ(Dump(),
            "Machine\n"
            "  C\n"
            "    w = REG_DWORD 0x00000002\n");
}

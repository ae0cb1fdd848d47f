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

std::vector<BYTE> Utf16Z(std::u16string_view text) { return Image().Text(text).Text(std::u16string(1, u'\0')).bytes; }
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

TEST(RegistryPolFormat, RecordsParseInOrderAndWriteBackToTheSameBytes) {
  EXPECT_EQ(WriteRegistryPol({}), (std::vector<BYTE>{'P', 'R', 'e', 'g', 1, 0, 0, 0}));
  EXPECT_TRUE(ParseOk(WriteRegistryPol({})).empty());
  Image image;
  image.Header()
      .Record(u"Software\\Policies\\Vx", u"Level", REG_DWORD, Dword(3))
      .Record(u"Software\\Policies\\Vx", u"Name", REG_SZ, Utf16Z(u"a;b]c["))
      .Record(u"Software\\Policies\\Vx\\Sub", u"", REG_NONE, {})
      .Record(u"", u"Odd", REG_BINARY, {1, 2, 3});
  const auto records = ParseOk(image.bytes);
  EXPECT_EQ(records, (std::vector<PolRecord>{{u"Software\\Policies\\Vx", u"Level", REG_DWORD, Dword(3)},
                                             {u"Software\\Policies\\Vx", u"Name", REG_SZ, Utf16Z(u"a;b]c[")},
                                             {u"Software\\Policies\\Vx\\Sub", u"", REG_NONE, {}},
                                             {u"", u"Odd", REG_BINARY, {1, 2, 3}}}));
  EXPECT_EQ(WriteRegistryPol(records), image.bytes);
}

TEST(RegistryPolFormat, MarkersAreClassifiedCaseInsensitively) {
  const struct {
    const char16_t* value;
    std::vector<BYTE> data;
    PolAction action;
  } cases[] = {
      {u"**delvals.", {}, PolAction::DeleteAllValues},
      {u"**DelVals.", {}, PolAction::DeleteAllValues},
      {u"**DeleteValues", {}, PolAction::DeleteValues},
      {u"**deletekeys", {}, PolAction::DeleteKeys},
      {u"**SecureKey", Dword(1), PolAction::SecureKey},
      {u"", {}, PolAction::CreateKey},
      {u"", Utf16Z(u"d"), PolAction::SetValue},
      {u"**delvalsX", {}, PolAction::SetValue},
      {u"plain", {}, PolAction::SetValue},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ClassifyRecord({u"K", c.value, REG_SZ, c.data}), c.action) << vx::Utf16ToUtf8(c.value);
  std::u16string target;
  EXPECT_EQ(ClassifyRecord({u"K", u"**DEL.Some Value", REG_SZ, {}}, &target), PolAction::DeleteValue);
  EXPECT_EQ(target, u"Some Value");

  // The lists of **DeleteValues and **DeleteKeys: up to the first NUL, split at ';', no empty names.
  EXPECT_EQ(MarkerList(Utf16Z(u"a;;bc;")), (std::vector<std::u16string>{u"a", u"bc"}));
  auto data = Utf16Z(u"x;y");
  data.insert(data.end(), {'z', 0, 7});  // text after the NUL, and an odd trailing byte
  EXPECT_EQ(MarkerList(data), (std::vector<std::u16string>{u"x", u"y"}));
  EXPECT_TRUE(MarkerList({}).empty());
}

TEST(RegistryPolMalformed, EachFaultIsReportedAtItsField) {
  Image good;
  good.Header().Record(u"K", u"V", REG_DWORD, Dword(1));
  // Offsets in the record: '[' 8, key 10, ';' 14, value 16, ';' 20, type 22, ';' 26, size 28,
  // ';' 32, data 34, ']' 38.
  ASSERT_EQ(good.bytes.size(), 40u);
  const auto poked = [&](size_t at) {
    auto bytes = good.bytes;
    bytes[at] = 'x';
    return bytes;
  };
  const auto cut = [&](size_t length) { return std::vector<BYTE>(good.bytes.begin(), good.bytes.begin() + length); };
  const struct {
    std::vector<BYTE> bytes;
    size_t offset;
    const char16_t* expected;
  } cases[] = {
      {{}, 0, u"the signature \"PReg\""},
      {Image().U32(0x67655251).U32(1).bytes, 0, u"the signature \"PReg\""},
      {Image().U32(0x67655250).U32(2).bytes, 4, u"version 1"},
      {Image().U32(0x67655250).Raw({1, 0}).bytes, 4, u"version 1"},
      {poked(8), 8, u"'['"},
      {poked(14), 14, u"';' after the key"},
      {poked(20), 20, u"';' after the value name"},
      {poked(26), 26, u"';' after the type"},
      {poked(32), 32, u"';' after the data size"},
      {poked(38), 38, u"']'"},
      {cut(9), 8, u"'['"},
      {cut(13), 10, u"a NUL-terminated UTF-16 string"},  // an odd length inside the key
      {cut(19), 16, u"a NUL-terminated UTF-16 string"},
      {cut(24), 22, u"the type"},
      {cut(30), 28, u"the data size"},
      {cut(36), 34, u"4 data bytes"},
      {cut(39), 38, u"']'"},
  };
  for (const auto& c : cases) {
    const PolError error = ParseFails(c.bytes);
    EXPECT_EQ(error.offset, c.offset) << vx::Utf16ToUtf8(c.expected) << ", " << c.bytes.size() << " bytes";
    EXPECT_EQ(error.expected, c.expected) << c.bytes.size() << " bytes";
  }
  EXPECT_EQ(ParseFails(poked(38)).Text(), u"byte 38: expected ']'");
}

TEST(RegistryPolMalformed, SizePastTheEndAndLimitsAreReported) {
  Image big;
  big.Header().Text(u"[K").Text(std::u16string(1, u'\0')).Text(u";V").Text(std::u16string(1, u'\0'));
  big.Text(u";").U32(REG_BINARY).Text(u";").U32(0xFFFFFFF0).Text(u";").Raw({1, 2}).Text(u"]");
  PolError error = ParseFails(big.bytes);
  EXPECT_EQ(error.offset, 28u);  // the size field
  EXPECT_EQ(error.expected, u"a data size of at most 16777216");
  PolLimits limits;
  limits.maxDataBytes = 0xFFFFFFFF;
  error = ParseFails(big.bytes, limits);
  EXPECT_EQ(error.offset, 34u);
  EXPECT_EQ(error.expected, u"4294967280 data bytes");

  Image three;
  three.Header().Record(u"Key", u"a", REG_NONE, {}).Record(u"K", u"b", REG_NONE, {}).Record(u"K", u"c", REG_NONE, {});
  limits.maxRecords = 2;
  limits.maxStringChars = 3;
  error = ParseFails(three.bytes, limits);
  EXPECT_EQ(error.expected, u"the end of the file after 2 records");
  EXPECT_EQ(error.offset, three.bytes.size() - 28);  // the last record is 28 bytes
  Image longName;
  longName.Header().Record(u"Keys", u"V", REG_NONE, {});
  error = ParseFails(longName.bytes, limits);
  EXPECT_EQ(error.offset, 10u);
  EXPECT_EQ(error.expected, u"a string of at most 3 characters");
}

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

TEST_F(PolRegistryTest, ApplySetsExactTypesAndBytesAndDumpGivesThemBack) {
  std::vector<PolRecord> dumped;
  ASSERT_EQ(DumpRegistryPol(*root, dumped), S_OK);
  EXPECT_TRUE(dumped.empty());

  const std::vector<PolRecord> settings = {
      {u"Software\\Policies\\Vx", u"Level", REG_DWORD, Dword(3)},
      {u"Software\\Policies\\Vx", u"Path", REG_EXPAND_SZ, Utf16Z(u"%TEMP%")},
      {u"Software\\Policies\\Vx", u"List", REG_MULTI_SZ, Utf16Z(std::u16string(u"a\0b\0", 4))},
      {u"Software\\Policies\\Vx", u"Raw", REG_SZ, {0x41, 0x00, 0x42}},  // kept as given, unterminated
      {u"Software\\Policies\\Vx", u"", REG_SZ, Utf16Z(u"d")},
      {u"Software\\Policies\\Vx\\Empty", u"", REG_NONE, {}},
      {u"Software\\Policies\\Vx\\Q", u"Big", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}},
      {u"Software\\Policies\\Vx\\Q", u"None", REG_BINARY, {}}};
  Apply(settings);
  EXPECT_EQ(Dump(),
            "Machine\n"
            "  Software\n"
            "    Policies\n"
            "      Vx\n"
            "        Level = REG_DWORD 0x00000003\n"
            "        Path = REG_EXPAND_SZ \"%TEMP%\"\n"
            "        List = REG_MULTI_SZ [\"a\", \"b\"]\n"
            "        Raw = REG_SZ 41 00 42\n"
            "        @ = REG_SZ \"d\"\n"
            "        Empty\n"
            "        Q\n"
            "          Big = REG_QWORD 01 02 03 04 05 06 07 08\n"
            "          None = REG_BINARY\n");
  ASSERT_EQ(DumpRegistryPol(*root, dumped), S_OK);
  EXPECT_EQ(dumped, settings);

  // Through the file and into a fresh key: the same settings.
  MemoryRegistry other;
  std::unique_ptr<IRegistryKey> otherRoot;
  ASSERT_EQ(other.CreateKey(RegistryRoot::CurrentUser, u"Gpo\\Machine", KEY_ALL_ACCESS, otherRoot), ERROR_SUCCESS);
  ASSERT_EQ(ApplyRegistryPol(*otherRoot, ParseOk(WriteRegistryPol(dumped))), S_OK);
  EXPECT_EQ(other.Dump(RegistryRoot::CurrentUser, u"Gpo\\Machine"), Dump());
}

TEST_F(PolRegistryTest, DeletionMarkersRemoveWhatTheyName) {
  const std::u16string k = u"Software\\Policies\\Vx";
  Apply({{k, u"a", REG_DWORD, Dword(1)},
         {k, u"b", REG_DWORD, Dword(2)},
         {k, u"c", REG_DWORD, Dword(3)},
         {k + u"\\Sub\\Deep", u"x", REG_DWORD, Dword(4)},
         {k + u"\\Other", u"y", REG_DWORD, Dword(5)},
         {k + u"\\Wiped", u"z", REG_DWORD, Dword(6)},
         {k, u"**del.a", REG_SZ, Utf16Z(u" ")},
         {k, u"**del.missing", REG_SZ, Utf16Z(u" ")},
         {u"No\\Such\\Key", u"**delvals.", REG_SZ, Utf16Z(u" ")},
         {k + u"\\Wiped", u"**delvals.", REG_SZ, Utf16Z(u" ")},
         {k + u"\\Wiped", u"after", REG_DWORD, Dword(9)},
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
            "          y = REG_DWORD 0x00000005\n"
            "        Wiped\n"
            "          after = REG_DWORD 0x00000009\n");
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

TEST_F(PolRegistryTest, FailingRegistryCallStopsWithItsError) {
  // A key path with a leading "\" is refused by the registry; what came before it stays applied.
  const HRESULT hr = ApplyRegistryPol(
      *root,
      {{u"C", u"w", REG_DWORD, Dword(2)}, {u"\\A", u"v", REG_DWORD, Dword(1)}, {u"D", u"x", REG_DWORD, Dword(3)}});
  EXPECT_EQ(hr, vx::HResultFromWin32(ERROR_BAD_PATHNAME));
  EXPECT_EQ(Dump(), "Machine\n  C\n    w = REG_DWORD 0x00000002\n");
}

}  // namespace

#include "contract/registry_contract.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <tuple>
#include <utility>

#include "platform/text.h"

namespace vx::contract {

using namespace vx::platform;
using Names = std::vector<std::u16string>;

std::u16string RegistryEnvironment::NewScratchPath(RegistryRoot root) {
  // The start time keeps the ids of one run apart from what an aborted earlier run left behind.
  static const std::string run = std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
  static unsigned counter = 0;
  const std::u16string id = Widen(run + "-" + std::to_string(++counter));
  if (root == RegistryRoot::LocalMachine) return made_.emplace_back(root, u"SOFTWARE\\VXGPOSnapinTests\\" + id).second;
  if (root == RegistryRoot::ClassesRoot) return made_.emplace_back(root, u"VXGPOSnapinTests." + id).second;
  return made_.emplace_back(root, u"Software\\VXGPOSnapinTests\\" + id).second;
}

static Names Enumerate(IRegistryKey& key, LONG (IRegistryKey::*next)(DWORD, std::u16string&)) {
  Names names;
  std::u16string name;
  LONG rc;
  while ((rc = (key.*next)(static_cast<DWORD>(names.size()), name)) == ERROR_SUCCESS) names.push_back(name);
  EXPECT_EQ(rc, ERROR_NO_MORE_ITEMS);
  return names;
}
Names Subkeys(IRegistryKey& key) { return Enumerate(key, &IRegistryKey::EnumKey); }
Names ValueNames(IRegistryKey& key) { return Enumerate(key, &IRegistryKey::EnumValue); }

namespace {

class RegistryContract : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::u16string path = env_->NewScratchPath(RegistryRoot::CurrentUser);
    ASSERT_EQ(registry_.CreateKey(RegistryRoot::CurrentUser, path, KEY_ALL_ACCESS, key_), ERROR_SUCCESS);
  }

  std::unique_ptr<RegistryEnvironment> env_ = MakeRegistryEnvironment();
  IRegistry& registry_ = env_->Registry();
  std::unique_ptr<IRegistryKey> key_;  // the test's scratch key, closed before its environment goes
};

std::vector<BYTE> Pattern(size_t size) {
  std::vector<BYTE> data(size);
  for (size_t i = 0; i < size; ++i) data[i] = static_cast<BYTE>(i * 7 + 1);
  return data;
}

// RegSetValueExW reads one character past a string's data and counts it in when it is a NUL (a
// forgotten terminator); the padding keeps that read inside the buffer and the bytes as given.
LONG Set(IRegistryKey& key, std::u16string_view name, DWORD type, const std::vector<BYTE>& data) {
  std::vector<BYTE> padded(data);
  padded.insert(padded.end(), {0xFF, 0xFF});
  return key.SetValue(name, type, padded.data(), static_cast<DWORD>(data.size()));
}

std::pair<DWORD, std::vector<BYTE>> Stored(IRegistryKey& key, std::u16string_view name) {
  std::pair<DWORD, std::vector<BYTE>> stored;
  EXPECT_EQ(ReadBytes(key, name, stored.second, &stored.first), ERROR_SUCCESS) << Utf16ToUtf8(name);
  return stored;
}

// The text of a value, or what went wrong.
std::u16string StringOf(const std::unique_ptr<IRegistryKey>& key, std::u16string_view name) {
  std::u16string text;
  const LONG rc = key ? ReadString(*key, name, text) : ERROR_INVALID_HANDLE;
  return rc == ERROR_SUCCESS ? text : u"<error " + Widen(std::to_string(rc)) + u">";
}

std::unique_ptr<IRegistryKey> Open(IRegistryKey& parent, std::u16string_view path, REGSAM access = KEY_ALL_ACCESS) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(parent.OpenKey(path, access, key), ERROR_SUCCESS) << Utf16ToUtf8(path);
  return key;
}

std::unique_ptr<IRegistryKey> Open(IRegistry& registry, RegistryRoot root, std::u16string_view path,
                                   REGSAM access = KEY_READ) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(registry.OpenKey(root, path, access, key), ERROR_SUCCESS) << Utf16ToUtf8(path);
  return key;
}

std::unique_ptr<IRegistryKey> Create(IRegistryKey& parent, std::u16string_view path) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(parent.CreateKey(path, KEY_ALL_ACCESS, key), ERROR_SUCCESS) << Utf16ToUtf8(path);
  return key;
}

TEST_F(RegistryContract, PathsAreComponentsBelowTheKey) {
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(key_->CreateKey(u"A\\B\\C", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY) << "every missing component is made";
  ASSERT_EQ(key_->CreateKey(u"a\\b\\c", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY) << "names ignore case";

  // Repeated and trailing separators are skipped, a leading one is refused; opening creates nothing
  // and a failed open leaves no key behind.
  const std::pair<const char16_t*, LONG> opens[] = {
      {u"A\\B\\C", ERROR_SUCCESS},        {u"a\\b\\c\\\\", ERROR_SUCCESS},       {u"A\\\\B", ERROR_SUCCESS},
      {u"Missing", ERROR_FILE_NOT_FOUND}, {u"A\\Missing", ERROR_FILE_NOT_FOUND}, {u"Missing\\B", ERROR_FILE_NOT_FOUND},
      {u"\\A", ERROR_BAD_PATHNAME}};
  for (const auto& [path, expected] : opens) {
    key = Open(*key_, u"");
    EXPECT_EQ(key_->OpenKey(path, KEY_READ, key), expected) << Utf16ToUtf8(path);
    EXPECT_EQ(key != nullptr, expected == ERROR_SUCCESS) << Utf16ToUtf8(path);
  }
  EXPECT_EQ(key_->CreateKey(u"\\Lead", KEY_ALL_ACCESS, key), ERROR_BAD_PATHNAME);
  EXPECT_EQ(key_->DeleteKey(u"\\Lead"), ERROR_BAD_PATHNAME);
  EXPECT_FALSE(key);
  Create(*key_, u"Trail\\");
  Create(*key_, u"Double\\\\Inner");
  EXPECT_EQ(Subkeys(*key_), (Names{u"A", u"Double", u"Trail"})) << "names keep their first spelling";

  // An empty path "created" again is the key itself.
  ASSERT_EQ(key_->CreateKey(u"", KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key, u"Created", u"2"), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(key_, u"Created"), u"2");
}

TEST_F(RegistryContract, NamesFoldCaseBeyondAsciiKeepTheirFirstSpellingAndHaveLimits) {
  ASSERT_EQ(WriteString(*key_, u"CaSe\u00e9", u"1"), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key_, u"case\u00c9", u"2"), ERROR_SUCCESS);
  EXPECT_EQ(ValueNames(*key_), Names{u"CaSe\u00e9"});
  EXPECT_EQ(StringOf(key_, u"CASE\u00c9"), u"2");
  Create(*key_, u"\u0434\u043e\u043c");  // Cyrillic
  EXPECT_TRUE(Open(*key_, u"\u0414\u041e\u041c"));
  EXPECT_EQ(key_->DeleteValue(u"cAsE\u00e9"), ERROR_SUCCESS);
  EXPECT_EQ(key_->DeleteKey(u"\u0414\u043e\u041c"), ERROR_SUCCESS);

  // The longest names work, longer ones are refused.
  const std::u16string valueName(16383, u'v'), keyName(255, u'k');
  ASSERT_EQ(WriteDword(*key_, valueName, 1), ERROR_SUCCESS);
  EXPECT_EQ(ValueNames(*key_), Names{valueName});
  EXPECT_EQ(WriteDword(*key_, valueName + u"v", 1), ERROR_INVALID_PARAMETER);
  Create(*key_, keyName);
  EXPECT_EQ(Subkeys(*key_), Names{keyName});
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(key_->CreateKey(keyName + u"kk", KEY_ALL_ACCESS, key), ERROR_INVALID_PARAMETER);
}

// The real registries disagree on the order of values (Windows: creation, Wine: name), so only the set
// of value names is part of the contract; subkeys come in name order ignoring case.
TEST_F(RegistryContract, EnumerationAndCountsCoverDirectChildrenOnly) {
  DWORD subkeys = 99, values = 99;
  ASSERT_EQ(key_->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
  EXPECT_EQ(subkeys + values, 0u);
  for (const char16_t* name : {u"zeta", u"Alpha", u"{94B2}", u"mid", u"9", u"beta", u"10\\Grandchild"})
    Create(*key_, name);
  EXPECT_EQ(Subkeys(*key_), (Names{u"10", u"9", u"Alpha", u"beta", u"mid", u"zeta", u"{94B2}"}));
  std::u16string name = u"untouched";
  EXPECT_EQ(key_->EnumKey(1000, name), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(name, u"untouched");

  for (const char16_t* value : {u"zeta", u"Alpha", u"", u"mid"}) ASSERT_EQ(WriteDword(*key_, value, 1), ERROR_SUCCESS);
  ASSERT_EQ(key_->DeleteValue(u"mid"), ERROR_SUCCESS);
  Names names = ValueNames(*key_);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Names{u"", u"Alpha", u"zeta"}));
  ASSERT_EQ(key_->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
  EXPECT_EQ(std::pair(subkeys, values), (std::pair<DWORD, DWORD>(7, 3)));
  EXPECT_EQ(key_->QueryInfo(nullptr, &values), ERROR_SUCCESS);
}

TEST_F(RegistryContract, QueryValueFollowsTheSizeProtocol) {
  const auto bytes = Pattern(10);
  ASSERT_EQ(Set(*key_, u"Blob", REG_BINARY, bytes), ERROR_SUCCESS);
  // A buffer of `given` bytes (none: no buffer) answers rc; every answer tells the type and the size.
  constexpr LONG kOk = ERROR_SUCCESS, kMore = ERROR_MORE_DATA;
  const std::pair<std::optional<DWORD>, LONG> cases[] = {{{}, kOk}, {0, kMore}, {9, kMore}, {10, kOk}, {16, kOk}};
  for (const auto& [given, rc] : cases) {
    SCOPED_TRACE(given ? static_cast<int>(*given) : -1);
    std::vector<BYTE> buffer(16, 0xEE);
    DWORD type = 0, size = given.value_or(0);
    EXPECT_EQ(key_->QueryValue(u"Blob", &type, given ? buffer.data() : nullptr, &size), rc);
    EXPECT_EQ(std::pair(size, type), (std::pair<DWORD, DWORD>(10, REG_BINARY)));
    if (given && rc == ERROR_SUCCESS) {
      EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), buffer.begin()));
      EXPECT_EQ(buffer[10], 0xEE) << "nothing written past the data";
    }
  }
  BYTE buffer[16];
  DWORD type = 0, size = 0;
  EXPECT_EQ(key_->QueryValue(u"Blob", nullptr, buffer, &size), ERROR_MORE_DATA) << "the type need not be asked";
  EXPECT_EQ(key_->QueryValue(u"Blob", &type, nullptr, nullptr), ERROR_SUCCESS) << "nor the size without data";
  EXPECT_EQ(key_->QueryValue(u"Blob", &type, buffer, nullptr), ERROR_INVALID_PARAMETER);

  // A missing value leaves the outputs.
  type = 77;
  size = 5;
  EXPECT_EQ(key_->QueryValue(u"Missing", &type, buffer, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(std::pair(size, type), (std::pair<DWORD, DWORD>(5, 77)));
}

// Values keep their exact bytes and type, whatever they are: strings of odd size or without their NUL,
// empty values, types the registry does not know, values past 64 KiB; each replaces the one before.
// The typed readers take a DWORD only from a four-byte REG_DWORD and text only from REG_SZ or
// REG_EXPAND_SZ, as stored (not expanded), up to the first NUL or the last whole character. A failed
// read leaves the output as it was.
TEST_F(RegistryContract, ValuesKeepTheirBytesAndTypedReadersTakeOnlyTheirShapes) {
  constexpr LONG kOk = ERROR_SUCCESS, kType = ERROR_UNSUPPORTED_TYPE;
  const struct {
    DWORD type;
    std::vector<BYTE> data;
    LONG dwordRc, textRc;
    std::u16string text;
  } cases[] = {{REG_DWORD, {0x78, 0x56, 0x34, 0x12}, kOk, kType, u""},
               {REG_BINARY, {'t', 0, 'e', 0}, kType, kType, u""},
               {REG_DWORD, Pattern(3), kType, kType, u""},
               {REG_DWORD, Pattern(8), kType, kType, u""},
               {REG_SZ, {'a', 0, 'b', 0, 'c', 0}, kType, kOk, u"abc"},
               {REG_SZ, {'a', 0, 'b', 0, 'c'}, kType, kOk, u"ab"},
               {REG_SZ, {'a', 0, 'b', 0, 0, 0, 'c', 0, 'd', 0, 0, 0}, kType, kOk, u"ab"},
               {REG_SZ, {}, kType, kOk, u""},
               {REG_EXPAND_SZ, {'%', 0, 'T', 0, 'E', 0, 'M', 0, 'P', 0, '%', 0, 0, 0}, kType, kOk, u"%TEMP%"},
               {REG_MULTI_SZ, {'a', 0, 0, 0, 0, 0}, kType, kType, u""},
               {12345, Pattern(5), kType, kType, u""},
               {REG_MULTI_SZ, Pattern(1 << 20), kType, kType, u""}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    const auto& c = cases[i];
    ASSERT_EQ(Set(*key_, u"Value", c.type, c.data), ERROR_SUCCESS);
    EXPECT_EQ(Stored(*key_, u"Value"), std::pair(c.type, c.data));
    DWORD value = 42, type = 0;
    EXPECT_EQ(ReadDword(*key_, u"Value", value), c.dwordRc);
    EXPECT_EQ(value, c.dwordRc == kOk ? 0x12345678u : 42u);
    std::u16string text = u"kept";
    EXPECT_EQ(ReadString(*key_, u"Value", text, &type), c.textRc);
    EXPECT_EQ(text, c.textRc == kOk ? c.text : u"kept");
    EXPECT_EQ(type, c.type) << "the stored type is reported";
  }

  // Nothing is stored without data.
  EXPECT_NE(key_->SetValue(u"NoData", REG_BINARY, nullptr, 4), ERROR_SUCCESS);
  std::vector<BYTE> bytes;
  EXPECT_EQ(ReadBytes(*key_, u"NoData", bytes), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryContract, DeleteKeyTakesOnlyAKeyWithoutSubkeysAndKillsItsHandles) {
  Create(*key_, u"Doomed\\Child");
  EXPECT_EQ(key_->DeleteKey(u"Doomed"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(key_->DeleteKey(u"Doomed\\Missing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key_->DeleteKey(u"Doomed\\Child"), ERROR_SUCCESS);
  auto doomed = Open(*key_, u"Doomed");
  auto other = Open(*key_, u"Doomed");
  ASSERT_TRUE(doomed && other);
  ASSERT_EQ(WriteDword(*doomed, u"Old", 1), ERROR_SUCCESS);
  EXPECT_EQ(doomed->DeleteKey(u""), ERROR_SUCCESS) << "an empty path deletes the key itself";

  for (IRegistryKey* key : {doomed.get(), other.get()}) {
    std::unique_ptr<IRegistryKey> sub;
    std::u16string name;
    DWORD size = 4, count = 0;
    BYTE data[4] = {};
    EXPECT_EQ(key->QueryValue(u"Old", nullptr, data, &size), ERROR_KEY_DELETED);
    EXPECT_EQ(key->SetValue(u"New", REG_BINARY, data, 4), ERROR_KEY_DELETED);
    EXPECT_EQ(key->DeleteValue(u"Old"), ERROR_KEY_DELETED);
    EXPECT_EQ(key->QueryInfo(&count, &count), ERROR_KEY_DELETED);
    EXPECT_EQ(key->EnumKey(0, name), ERROR_KEY_DELETED);
    EXPECT_EQ(key->EnumValue(0, name), ERROR_KEY_DELETED);
    EXPECT_EQ(key->OpenKey(u"", KEY_READ, sub), ERROR_KEY_DELETED);
    EXPECT_EQ(key->CreateKey(u"Sub", KEY_ALL_ACCESS, sub), ERROR_KEY_DELETED);
    EXPECT_EQ(key->DeleteKey(u""), ERROR_KEY_DELETED);
    EXPECT_FALSE(sub);
  }

  // The same name again is a new, empty key; the old handles stay dead.
  std::unique_ptr<IRegistryKey> reborn;
  DWORD disposition = 0;
  ASSERT_EQ(key_->CreateKey(u"Doomed", KEY_ALL_ACCESS, reborn, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  EXPECT_TRUE(ValueNames(*reborn).empty());
  EXPECT_EQ(WriteDword(*doomed, u"Old", 1), ERROR_KEY_DELETED);
}

TEST_F(RegistryContract, HandleRightsLimitWhatItMayDoButNotBelowIt) {
  // Windows and Wine ignore the parent handle's rights when opening, creating or deleting below it.
  auto reader = Open(*key_, u"", KEY_READ);
  ASSERT_TRUE(reader);
  std::unique_ptr<IRegistryKey> child;
  ASSERT_EQ(reader->CreateKey(u"Child", KEY_ALL_ACCESS, child), ERROR_SUCCESS);
  EXPECT_EQ(WriteDword(*child, u"Value", 1), ERROR_SUCCESS);
  ASSERT_EQ(WriteDword(*key_, u"Value", 1), ERROR_SUCCESS);

  constexpr LONG kOk = ERROR_SUCCESS, kDenied = ERROR_ACCESS_DENIED, kMissing = ERROR_FILE_NOT_FOUND;
  constexpr REGSAM kGenericRead = 0x80000000u;
  // What a handle opened with the rights answers to each operation.
  const struct {
    REGSAM rights;
    LONG read, write, deleteValue, enumKeys, enumValues;
  } cases[] = {{KEY_READ, kOk, kDenied, kDenied, kOk, kOk},
               {KEY_SET_VALUE, kDenied, kOk, kMissing, kDenied, kDenied},
               {KEY_QUERY_VALUE, kOk, kDenied, kDenied, kDenied, kOk},
               {kGenericRead, kOk, kDenied, kDenied, kOk, kOk}};
  for (const auto& c : cases) {
    SCOPED_TRACE("rights " + std::to_string(c.rights));
    auto handle = Open(*key_, u"", c.rights);
    ASSERT_TRUE(handle);
    std::u16string name;
    DWORD value = 0;
    EXPECT_EQ(ReadDword(*handle, u"Value", value), c.read);
    EXPECT_EQ(WriteDword(*handle, u"Value", c.write == kOk ? 2 : 99), c.write);  // a refused write would leave 99
    EXPECT_EQ(handle->DeleteValue(u"Missing"), c.deleteValue);
    EXPECT_EQ(handle->EnumKey(0, name), c.enumKeys);
    EXPECT_EQ(handle->EnumValue(0, name), c.enumValues);
  }
  EXPECT_EQ(Stored(*key_, u"Value").second, (std::vector<BYTE>{2, 0, 0, 0})) << "only the permitted write took effect";
  EXPECT_EQ(reader->DeleteKey(u"Child"), ERROR_SUCCESS);
}

TEST_F(RegistryContract, RootsOpenCreateAndDeleteByPathAndClassesAreTheMachines) {
  constexpr auto kUser = RegistryRoot::CurrentUser;
  const std::u16string path = env_->NewScratchPath(kUser);
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(registry_.CreateKey(kUser, path + u"\\A\\B", KEY_ALL_ACCESS | KEY_WOW64_32KEY, key, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  ASSERT_EQ(WriteString(*key, u"Where", u"deep"), ERROR_SUCCESS);
  // The 32-bit view changes nothing below the current user.
  EXPECT_EQ(StringOf(Open(registry_, kUser, path + u"\\a\\b"), u"Where"), u"deep");

  // ClassesRoot is the machine's classes; deleting below a root follows the rules of DeleteKey below a key.
  const std::u16string name = env_->NewScratchPath(RegistryRoot::ClassesRoot);
  const std::u16string machinePath = u"SOFTWARE\\Classes\\" + name;
  ASSERT_EQ(registry_.CreateKey(RegistryRoot::ClassesRoot, name + u"\\CLSID", KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key, u"", u"class"), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(Open(registry_, RegistryRoot::LocalMachine, machinePath + u"\\CLSID"), u""), u"class");
  EXPECT_EQ(registry_.DeleteKey(RegistryRoot::ClassesRoot, name + u"\\CLSID"), ERROR_SUCCESS);
  EXPECT_EQ(registry_.DeleteKey(RegistryRoot::ClassesRoot, name), ERROR_SUCCESS);
  EXPECT_EQ(registry_.OpenKey(RegistryRoot::LocalMachine, machinePath, KEY_READ, key), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryContract, ThirtyTwoBitViewOfSoftwareIsItsWow6432Node) {
  constexpr auto kMachine = RegistryRoot::LocalMachine;
  const std::u16string path = env_->NewScratchPath(kMachine);  // SOFTWARE\...
  const std::u16string rest = path.substr(path.find(u'\\') + 1);
  const std::u16string wowPath = u"SOFTWARE\\WOW6432Node\\" + rest;
  std::unique_ptr<IRegistryKey> key;
  ASSERT_EQ(registry_.CreateKey(kMachine, path, KEY_ALL_ACCESS | KEY_WOW64_32KEY, key), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key, u"View", u"32"), ERROR_SUCCESS);
  DWORD disposition = 0;
  ASSERT_EQ(registry_.CreateKey(kMachine, path, KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY) << "the 64-bit key is another key";
  ASSERT_EQ(WriteString(*key, u"View", u"64"), ERROR_SUCCESS);

  // The last is not turned twice.
  const std::tuple<std::u16string, REGSAM, const char16_t*> cases[] = {
      {path, 0, u"64"}, {path, KEY_WOW64_32KEY, u"32"}, {wowPath, 0, u"32"}, {wowPath, KEY_WOW64_32KEY, u"32"}};
  for (const auto& [at, view, expected] : cases) {
    SCOPED_TRACE(Utf16ToUtf8(at) + ", view " + std::to_string(view));
    EXPECT_EQ(StringOf(Open(registry_, kMachine, at, KEY_READ | view), u"View"), expected);
  }

  // A handle opened in the 32-bit view leads on into it; a key made below WOW6432Node is deleted through the view.
  auto software32 = Open(registry_, kMachine, u"SOFTWARE", KEY_READ | KEY_WOW64_32KEY);
  ASSERT_TRUE(software32);
  EXPECT_EQ(StringOf(Open(*software32, rest, KEY_READ), u"View"), u"32");
  ASSERT_EQ(registry_.CreateKey(kMachine, wowPath + u"\\Sub", KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  EXPECT_EQ(registry_.DeleteKey(kMachine, path + u"\\Sub", KEY_WOW64_32KEY), ERROR_SUCCESS);
  EXPECT_EQ(registry_.DeleteKey(kMachine, path, KEY_WOW64_32KEY), ERROR_SUCCESS);
  EXPECT_EQ(registry_.OpenKey(kMachine, wowPath, KEY_READ, key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(StringOf(Open(registry_, kMachine, path), u"View"), u"64");
}

}  // namespace

}  // namespace vx::contract

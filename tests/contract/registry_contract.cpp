#include "contract/registry_contract.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/text.h"

namespace vx::contract {

using namespace vx::platform;

std::u16string ScratchPathFor(RegistryRoot root, std::u16string_view id) {
  switch (root) {
    case RegistryRoot::LocalMachine: return u"SOFTWARE\\VXGPOSnapinTests\\" + std::u16string(id);
    case RegistryRoot::ClassesRoot: return u"VXGPOSnapinTests." + std::u16string(id);
    case RegistryRoot::CurrentUser:
    case RegistryRoot::Users: break;
  }
  return u"Software\\VXGPOSnapinTests\\" + std::u16string(id);
}

void RegistryContract::SetUp() {
  env_ = GetParam().make();
  ASSERT_TRUE(env_);
  key_ = env_->NewScratchKey();
  ASSERT_TRUE(key_);
}

void RegistryContract::TearDown() {
  key_.reset();
  env_.reset();
}

namespace {

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

// UTF-16LE bytes of text, without a terminator.
std::vector<BYTE> Utf16Bytes(std::u16string_view text) {
  std::vector<BYTE> data;
  for (char16_t c : text) {
    data.push_back(static_cast<BYTE>(c));
    data.push_back(static_cast<BYTE>(c >> 8));
  }
  return data;
}

struct Stored {
  LONG rc = -1;
  DWORD type = 0;
  std::vector<BYTE> data;
};

Stored Read(IRegistryKey& key, std::u16string_view name) {
  Stored s;
  s.rc = ReadBytes(key, name, s.data, &s.type);
  return s;
}

std::u16string StringOf(IRegistryKey& key, std::u16string_view name) {
  std::u16string text;
  const LONG rc = ReadString(key, name, text);
  return rc == ERROR_SUCCESS ? text : u"<error " + Widen(std::to_string(rc)) + u">";
}

std::vector<std::u16string> Subkeys(IRegistryKey& key) {
  std::vector<std::u16string> names;
  std::u16string name;
  LONG rc;
  while ((rc = key.EnumKey(static_cast<DWORD>(names.size()), name)) == ERROR_SUCCESS) names.push_back(name);
  EXPECT_EQ(rc, ERROR_NO_MORE_ITEMS);
  return names;
}

std::vector<std::u16string> ValueNames(IRegistryKey& key) {
  std::vector<std::u16string> names;
  std::u16string name;
  LONG rc;
  while ((rc = key.EnumValue(static_cast<DWORD>(names.size()), name)) == ERROR_SUCCESS) names.push_back(name);
  EXPECT_EQ(rc, ERROR_NO_MORE_ITEMS);
  return names;
}

std::unique_ptr<IRegistryKey> Open(IRegistryKey& parent, std::u16string_view path, REGSAM access = KEY_ALL_ACCESS) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(parent.OpenKey(path, access, key), ERROR_SUCCESS);
  return key;
}

std::unique_ptr<IRegistryKey> Create(IRegistryKey& parent, std::u16string_view path) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(parent.CreateKey(path, KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  return key;
}

std::unique_ptr<IRegistryKey> Open(IRegistry& registry, RegistryRoot root, std::u16string_view path,
                                   REGSAM access = KEY_READ) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(registry.OpenKey(root, path, access, key), ERROR_SUCCESS);
  return key;
}

// --- keys and paths ---

TEST_P(RegistryContract, CreateKeyMakesEveryMissingComponentAndReportsIt) {
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(key_->CreateKey(u"A\\B\\C", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  ASSERT_TRUE(key);
  ASSERT_EQ(WriteDword(*key, u"Deep", 7), ERROR_SUCCESS);

  ASSERT_EQ(key_->CreateKey(u"A\\B\\C", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  DWORD value = 0;
  EXPECT_EQ(ReadDword(*key, u"Deep", value), ERROR_SUCCESS);
  EXPECT_EQ(value, 7u);
  ASSERT_EQ(key_->CreateKey(u"A\\B\\D", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  EXPECT_EQ(key_->CreateKey(u"A\\B", KEY_ALL_ACCESS, key), ERROR_SUCCESS);  // disposition may be null

  auto b = Open(*key_, u"A\\B");
  ASSERT_TRUE(b);
  EXPECT_EQ(Subkeys(*b), (std::vector<std::u16string>{u"C", u"D"}));
}

TEST_P(RegistryContract, OpeningAMissingKeyFailsAndLeavesNoKey) {
  std::unique_ptr<IRegistryKey> key = Open(*key_, u"");
  ASSERT_TRUE(key);
  EXPECT_EQ(key_->OpenKey(u"Missing", KEY_READ, key), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(key);
  Create(*key_, u"Present");
  EXPECT_EQ(key_->OpenKey(u"Present\\Missing", KEY_READ, key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key_->OpenKey(u"Missing\\Present", KEY_READ, key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(Subkeys(*key_), std::vector<std::u16string>{u"Present"});  // opening creates nothing
}

TEST_P(RegistryContract, EmptyPathOpensTheSameKeyAgain) {
  auto again = Open(*key_, u"");
  ASSERT_TRUE(again);
  ASSERT_EQ(WriteString(*again, u"Via", u"second handle"), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(*key_, u"Via"), u"second handle");
  std::unique_ptr<IRegistryKey> created;
  EXPECT_EQ(key_->CreateKey(u"", KEY_READ, created), ERROR_SUCCESS);
  ASSERT_TRUE(created);
  EXPECT_EQ(StringOf(*created, u"Via"), u"second handle");
}

TEST_P(RegistryContract, LeadingSeparatorIsRefusedRepeatedAndTrailingOnesAreSkipped) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(key_->CreateKey(u"\\Lead", KEY_ALL_ACCESS, key), ERROR_BAD_PATHNAME);
  EXPECT_EQ(key_->OpenKey(u"\\Lead", KEY_READ, key), ERROR_BAD_PATHNAME);
  EXPECT_EQ(key_->DeleteKey(u"\\Lead"), ERROR_BAD_PATHNAME);
  EXPECT_FALSE(key);

  ASSERT_EQ(key_->CreateKey(u"Trail\\", KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  ASSERT_EQ(key_->CreateKey(u"Double\\\\Inner", KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  EXPECT_EQ(Subkeys(*key_), (std::vector<std::u16string>{u"Double", u"Trail"}));
  EXPECT_TRUE(Open(*key_, u"Double\\Inner"));
  EXPECT_TRUE(Open(*key_, u"Trail\\\\"));
  EXPECT_EQ(key_->DeleteKey(u"Trail\\"), ERROR_SUCCESS);
}

TEST_P(RegistryContract, NamesIgnoreCaseAndKeepTheirFirstSpelling) {
  Create(*key_, u"MiXeD");
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(key_->CreateKey(u"mixed", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(Subkeys(*key_), std::vector<std::u16string>{u"MiXeD"});

  ASSERT_EQ(WriteDword(*key_, u"CaSeVal", 1), ERROR_SUCCESS);
  ASSERT_EQ(WriteDword(*key_, u"caseval", 2), ERROR_SUCCESS);
  EXPECT_EQ(ValueNames(*key_), std::vector<std::u16string>{u"CaSeVal"});
  DWORD value = 0;
  EXPECT_EQ(ReadDword(*key_, u"CASEVAL", value), ERROR_SUCCESS);
  EXPECT_EQ(value, 2u);

  // Letters beyond ASCII fold too (Latin-1, Cyrillic).
  ASSERT_EQ(WriteString(*key_, u"\u00e9t\u00e9", u"summer"), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(*key_, u"\u00c9T\u00c9"), u"summer");
  Create(*key_, u"\u0434\u043e\u043c");
  EXPECT_TRUE(Open(*key_, u"\u0414\u041e\u041c"));
  EXPECT_EQ(key_->DeleteValue(u"CASEVAL"), ERROR_SUCCESS);
  EXPECT_EQ(key_->DeleteKey(u"MIXED"), ERROR_SUCCESS);
}

// --- enumeration and counts ---

TEST_P(RegistryContract, SubkeysEnumerateInNameOrderIgnoringCase) {
  for (const char16_t* name : {u"zeta", u"Alpha", u"{94B2C874-B9DB-4149-B100-3675207B3723}", u"mid", u"9", u"beta",
                               u"10"}) {
    Create(*key_, name);
  }
  EXPECT_EQ(Subkeys(*key_), (std::vector<std::u16string>{u"10", u"9", u"Alpha", u"beta", u"mid", u"zeta",
                                                          u"{94B2C874-B9DB-4149-B100-3675207B3723}"}));
  std::u16string name = u"untouched";
  EXPECT_EQ(key_->EnumKey(7, name), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(key_->EnumKey(1000, name), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(name, u"untouched");
}

// The real registries disagree on the order of values (Windows: creation, Wine: name), so only the
// set of names is part of the contract.
TEST_P(RegistryContract, ValuesEnumerateEveryNameOnce) {
  for (const char16_t* name : {u"zeta", u"Alpha", u"", u"mid"}) ASSERT_EQ(WriteDword(*key_, name, 1), ERROR_SUCCESS);
  ASSERT_EQ(key_->DeleteValue(u"mid"), ERROR_SUCCESS);
  auto names = ValueNames(*key_);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::u16string>{u"", u"Alpha", u"zeta"}));
  std::u16string name;
  EXPECT_EQ(key_->EnumValue(3, name), ERROR_NO_MORE_ITEMS);
}

TEST_P(RegistryContract, QueryInfoCountsDirectSubkeysAndValues) {
  DWORD subkeys = 99, values = 99;
  ASSERT_EQ(key_->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
  EXPECT_EQ(subkeys, 0u);
  EXPECT_EQ(values, 0u);
  Create(*key_, u"One\\Grandchild");
  Create(*key_, u"Two");
  WriteDword(*key_, u"A", 1);
  WriteDword(*key_, u"B", 2);
  WriteDword(*key_, u"C", 3);
  ASSERT_EQ(key_->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
  EXPECT_EQ(subkeys, 2u);
  EXPECT_EQ(values, 3u);
  EXPECT_EQ(key_->QueryInfo(nullptr, &values), ERROR_SUCCESS);
  EXPECT_EQ(key_->QueryInfo(&subkeys, nullptr), ERROR_SUCCESS);
}

// --- values ---

TEST_P(RegistryContract, QueryValueFollowsTheSizeProtocol) {
  const auto bytes = Pattern(10);
  ASSERT_EQ(Set(*key_, u"Blob", REG_BINARY, bytes), ERROR_SUCCESS);

  DWORD type = 0, size = 0;
  ASSERT_EQ(key_->QueryValue(u"Blob", &type, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(size, 10u);

  std::vector<BYTE> buffer(16, 0xEE);
  type = 0;
  size = 4;
  EXPECT_EQ(key_->QueryValue(u"Blob", &type, buffer.data(), &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(type, REG_BINARY);
  size = 0;
  EXPECT_EQ(key_->QueryValue(u"Blob", nullptr, buffer.data(), &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 10u);

  std::fill(buffer.begin(), buffer.end(), 0xEE);
  size = 16;
  ASSERT_EQ(key_->QueryValue(u"Blob", nullptr, buffer.data(), &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 10u);
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), buffer.begin()));
  EXPECT_EQ(buffer[10], 0xEE);  // nothing written past the data
  size = 10;
  EXPECT_EQ(key_->QueryValue(u"Blob", nullptr, buffer.data(), &size), ERROR_SUCCESS);

  EXPECT_EQ(key_->QueryValue(u"Blob", &type, buffer.data(), nullptr), ERROR_INVALID_PARAMETER);
  type = 0;
  EXPECT_EQ(key_->QueryValue(u"Blob", &type, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
}

TEST_P(RegistryContract, MissingValueAnswersFileNotFoundAndLeavesTheOutputs) {
  DWORD type = 77, size = 5;
  BYTE buffer[8] = {};
  EXPECT_EQ(key_->QueryValue(u"Missing", &type, buffer, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(type, 77u);
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(key_->QueryValue(u"", &type, nullptr, &size), ERROR_FILE_NOT_FOUND);

  ASSERT_EQ(WriteString(*key_, u"", u"default"), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(*key_, u""), u"default");
  EXPECT_EQ(key_->DeleteValue(u""), ERROR_SUCCESS);
  EXPECT_EQ(key_->DeleteValue(u""), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key_->DeleteValue(u"Missing"), ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, ValuesKeepTheirExactBytesAndType) {
  struct Case {
    const char16_t* name;
    DWORD type;
    size_t size;
  };
  // Strings of odd size, empty values, types the registry does not know, and values past 64 KiB.
  for (const Case& c : {Case{u"Odd", REG_SZ, 3}, Case{u"Empty", REG_SZ, 0}, Case{u"EmptyBinary", REG_BINARY, 0},
                        Case{u"Unknown", 12345, 5}, Case{u"ShortDword", REG_DWORD, 2}, Case{u"Big", REG_BINARY, 65537},
                        Case{u"Huge", REG_MULTI_SZ, 1 << 20}}) {
    SCOPED_TRACE(Utf16ToUtf8(c.name));
    const auto bytes = Pattern(c.size);
    ASSERT_EQ(Set(*key_, c.name, c.type, bytes), ERROR_SUCCESS);
    const Stored stored = Read(*key_, c.name);
    EXPECT_EQ(stored.rc, ERROR_SUCCESS);
    EXPECT_EQ(stored.type, c.type);
    EXPECT_TRUE(stored.data == bytes);
  }
  // Setting again replaces type and size.
  ASSERT_EQ(Set(*key_, u"Big", REG_DWORD, Pattern(4)), ERROR_SUCCESS);
  const Stored replaced = Read(*key_, u"Big");
  EXPECT_EQ(replaced.type, REG_DWORD);
  EXPECT_EQ(replaced.data, Pattern(4));
  EXPECT_NE(key_->SetValue(u"NoData", REG_BINARY, nullptr, 4), ERROR_SUCCESS);
  EXPECT_EQ(Read(*key_, u"NoData").rc, ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, LongestNamesWorkAndLongerOnesAreRefused) {
  const std::u16string valueName(16383, u'v');
  ASSERT_EQ(WriteDword(*key_, valueName, 1), ERROR_SUCCESS);
  EXPECT_EQ(ValueNames(*key_), std::vector<std::u16string>{valueName});
  EXPECT_EQ(WriteDword(*key_, valueName + u"v", 1), ERROR_INVALID_PARAMETER);

  const std::u16string keyName(255, u'k');
  Create(*key_, keyName);
  EXPECT_EQ(Subkeys(*key_), std::vector<std::u16string>{keyName});
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(key_->CreateKey(std::u16string(257, u'k'), KEY_ALL_ACCESS, key), ERROR_INVALID_PARAMETER);
}

// --- deleting ---

TEST_P(RegistryContract, DeleteKeyRefusesAKeyWithSubkeys) {
  Create(*key_, u"Parent\\Child");
  EXPECT_EQ(key_->DeleteKey(u"Parent"), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(Open(*key_, u"Parent\\Child"));
  EXPECT_EQ(key_->DeleteKey(u"Parent\\Missing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key_->DeleteKey(u"Missing\\Child"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key_->DeleteKey(u"Parent\\Child"), ERROR_SUCCESS);
  EXPECT_EQ(key_->DeleteKey(u"Parent"), ERROR_SUCCESS);
  EXPECT_TRUE(Subkeys(*key_).empty());
}

TEST_P(RegistryContract, HandleOfADeletedKeyAnswersKeyDeletedToEveryCall) {
  auto doomed = Create(*key_, u"Doomed");
  ASSERT_TRUE(doomed);
  ASSERT_EQ(WriteDword(*doomed, u"Old", 1), ERROR_SUCCESS);
  auto other = Open(*key_, u"Doomed");
  ASSERT_TRUE(other);
  ASSERT_EQ(key_->DeleteKey(u"Doomed"), ERROR_SUCCESS);

  for (IRegistryKey* key : {doomed.get(), other.get()}) {
    std::unique_ptr<IRegistryKey> sub;
    std::u16string name;
    DWORD size = 0, count = 0;
    BYTE data[4] = {};
    EXPECT_EQ(key->QueryValue(u"Old", nullptr, nullptr, &size), ERROR_KEY_DELETED);
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
  EXPECT_EQ(WriteDword(*reborn, u"New", 1), ERROR_SUCCESS);
}

TEST_P(RegistryContract, DeleteKeyWithEmptyPathDeletesTheKeyItself) {
  auto self = Create(*key_, u"Self");
  ASSERT_TRUE(self);
  EXPECT_EQ(self->DeleteKey(u""), ERROR_SUCCESS);
  EXPECT_TRUE(Subkeys(*key_).empty());
  DWORD count = 0;
  EXPECT_EQ(self->QueryInfo(&count, nullptr), ERROR_KEY_DELETED);
}

// --- access rights ---

TEST_P(RegistryContract, HandleRightsLimitWhatItMayDo) {
  ASSERT_EQ(WriteDword(*key_, u"Value", 1), ERROR_SUCCESS);
  Create(*key_, u"Sub");
  std::u16string name;
  DWORD value = 0;

  auto reader = Open(*key_, u"", KEY_READ);
  ASSERT_TRUE(reader);
  EXPECT_EQ(WriteDword(*reader, u"Value", 2), ERROR_ACCESS_DENIED);
  EXPECT_EQ(reader->DeleteValue(u"Value"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(ReadDword(*reader, u"Value", value), ERROR_SUCCESS);
  EXPECT_EQ(value, 1u);
  EXPECT_EQ(reader->EnumKey(0, name), ERROR_SUCCESS);
  EXPECT_EQ(reader->EnumValue(0, name), ERROR_SUCCESS);

  auto writer = Open(*key_, u"", KEY_SET_VALUE);
  ASSERT_TRUE(writer);
  EXPECT_EQ(ReadDword(*writer, u"Value", value), ERROR_ACCESS_DENIED);
  EXPECT_EQ(writer->EnumValue(0, name), ERROR_ACCESS_DENIED);
  EXPECT_EQ(writer->EnumKey(0, name), ERROR_ACCESS_DENIED);
  EXPECT_EQ(WriteDword(*writer, u"Value", 3), ERROR_SUCCESS);

  auto querier = Open(*key_, u"", KEY_QUERY_VALUE);
  ASSERT_TRUE(querier);
  EXPECT_EQ(querier->EnumKey(0, name), ERROR_ACCESS_DENIED);
  EXPECT_EQ(querier->EnumValue(0, name), ERROR_SUCCESS);

  auto generic = Open(*key_, u"", 0x80000000u);  // GENERIC_READ
  ASSERT_TRUE(generic);
  EXPECT_EQ(WriteDword(*generic, u"Value", 4), ERROR_ACCESS_DENIED);
  EXPECT_EQ(ReadDword(*generic, u"Value", value), ERROR_SUCCESS);
  EXPECT_EQ(value, 3u);
}

// Windows and Wine ignore the parent handle's rights when opening, creating or deleting below it.
TEST_P(RegistryContract, KeysBelowAReadOnlyHandleMayStillBeCreatedAndDeleted) {
  auto reader = Open(*key_, u"", KEY_READ);
  ASSERT_TRUE(reader);
  std::unique_ptr<IRegistryKey> child;
  ASSERT_EQ(reader->CreateKey(u"Child", KEY_ALL_ACCESS, child), ERROR_SUCCESS);
  EXPECT_EQ(WriteDword(*child, u"Value", 1), ERROR_SUCCESS);
  child = Open(*reader, u"Child", KEY_ALL_ACCESS);
  ASSERT_TRUE(child);
  EXPECT_EQ(WriteDword(*child, u"Value", 2), ERROR_SUCCESS);
  EXPECT_EQ(reader->DeleteKey(u"Child"), ERROR_SUCCESS);
}

// --- typed helpers ---

TEST_P(RegistryContract, ReadDwordAcceptsOnlyAFourByteDword) {
  ASSERT_EQ(WriteDword(*key_, u"Dword", 0x12345678u), ERROR_SUCCESS);
  const Stored stored = Read(*key_, u"Dword");
  EXPECT_EQ(stored.type, REG_DWORD);
  EXPECT_EQ(stored.data, (std::vector<BYTE>{0x78, 0x56, 0x34, 0x12}));

  DWORD value = 0;
  EXPECT_EQ(ReadDword(*key_, u"Dword", value), ERROR_SUCCESS);
  EXPECT_EQ(value, 0x12345678u);

  Set(*key_, u"Binary4", REG_BINARY, Pattern(4));
  Set(*key_, u"Short", REG_DWORD, Pattern(3));
  Set(*key_, u"Long", REG_DWORD, Pattern(8));
  WriteString(*key_, u"Text", u"1");
  for (const char16_t* name : {u"Binary4", u"Short", u"Long", u"Text"}) {
    SCOPED_TRACE(Utf16ToUtf8(name));
    value = 42;
    EXPECT_EQ(ReadDword(*key_, name, value), ERROR_UNSUPPORTED_TYPE);
    EXPECT_EQ(value, 42u);
  }
  EXPECT_EQ(ReadDword(*key_, u"Missing", value), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(value, 42u);
}

TEST_P(RegistryContract, ReadStringToleratesMissingAndOddTerminators) {
  ASSERT_EQ(Set(*key_, u"NoNul", REG_SZ, Utf16Bytes(u"abc")), ERROR_SUCCESS);
  ASSERT_EQ(Set(*key_, u"Odd", REG_SZ, {'a', 0, 'b', 0, 'c'}), ERROR_SUCCESS);
  ASSERT_EQ(Set(*key_, u"Inner", REG_SZ, Utf16Bytes(std::u16string_view(u"ab\0cd\0", 6))), ERROR_SUCCESS);
  ASSERT_EQ(Set(*key_, u"Empty", REG_SZ, {}), ERROR_SUCCESS);
  ASSERT_EQ(Set(*key_, u"Expand", REG_EXPAND_SZ, Utf16Bytes(std::u16string_view(u"%TEMP%\\x\0", 9))), ERROR_SUCCESS);

  EXPECT_EQ(StringOf(*key_, u"NoNul"), u"abc");
  EXPECT_EQ(StringOf(*key_, u"Odd"), u"ab");
  EXPECT_EQ(StringOf(*key_, u"Inner"), u"ab");
  EXPECT_EQ(StringOf(*key_, u"Empty"), u"");
  std::u16string text;
  DWORD type = 0;
  EXPECT_EQ(ReadString(*key_, u"Expand", text, &type), ERROR_SUCCESS);
  EXPECT_EQ(text, u"%TEMP%\\x");  // read as stored, not expanded
  EXPECT_EQ(type, REG_EXPAND_SZ);
}

TEST_P(RegistryContract, ReadStringRefusesOtherTypesAndReportsThem) {
  Set(*key_, u"Multi", REG_MULTI_SZ, Utf16Bytes(std::u16string_view(u"a\0\0", 3)));
  WriteDword(*key_, u"Dword", 1);
  Set(*key_, u"Binary", REG_BINARY, Utf16Bytes(u"text"));
  using Expected = std::pair<const char16_t*, DWORD>;
  for (const auto& [name, expected] : {Expected{u"Multi", REG_MULTI_SZ}, Expected{u"Dword", REG_DWORD},
                                       Expected{u"Binary", REG_BINARY}}) {
    std::u16string text = u"kept";
    DWORD type = 0;
    EXPECT_EQ(ReadString(*key_, name, text, &type), ERROR_UNSUPPORTED_TYPE);
    EXPECT_EQ(text, u"kept");
    EXPECT_EQ(type, expected);
  }
  std::u16string text = u"kept";
  EXPECT_EQ(ReadString(*key_, u"Missing", text), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(text, u"kept");
}

TEST_P(RegistryContract, WriteStringWritesTheTerminatingNul) {
  ASSERT_EQ(WriteString(*key_, u"Path", u"C:\\\u00e9"), ERROR_SUCCESS);
  Stored stored = Read(*key_, u"Path");
  EXPECT_EQ(stored.type, REG_SZ);
  EXPECT_EQ(stored.data, (std::vector<BYTE>{'C', 0, ':', 0, '\\', 0, 0xE9, 0, 0, 0}));
  ASSERT_EQ(WriteString(*key_, u"Path", u"", REG_EXPAND_SZ), ERROR_SUCCESS);
  stored = Read(*key_, u"Path");
  EXPECT_EQ(stored.type, REG_EXPAND_SZ);
  EXPECT_EQ(stored.data, (std::vector<BYTE>{0, 0}));

  const std::u16string longText(40000, u'\u0416');  // beyond any fixed buffer
  ASSERT_EQ(WriteString(*key_, u"Long", longText), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(*key_, u"Long"), longText);
}

// --- roots and views ---

TEST_P(RegistryContract, RootsOpenCreateAndDeleteByPath) {
  IRegistry& registry = env_->Registry();
  const std::u16string path = env_->NewScratchPath(RegistryRoot::CurrentUser);
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(registry.CreateKey(RegistryRoot::CurrentUser, path + u"\\A\\B", KEY_ALL_ACCESS, key, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  ASSERT_EQ(WriteString(*key, u"Where", u"deep"), ERROR_SUCCESS);

  key = Open(registry, RegistryRoot::CurrentUser, path + u"\\a\\b");
  ASSERT_TRUE(key);
  EXPECT_EQ(StringOf(*key, u"Where"), u"deep");
  auto root = Open(registry, RegistryRoot::CurrentUser, u"");
  ASSERT_TRUE(root);
  EXPECT_TRUE(Open(*root, path + u"\\A\\B", KEY_READ));

  EXPECT_EQ(registry.OpenKey(RegistryRoot::CurrentUser, u"\\" + path, KEY_READ, key), ERROR_BAD_PATHNAME);
  EXPECT_EQ(registry.DeleteKey(RegistryRoot::CurrentUser, path + u"\\A"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry.DeleteKey(RegistryRoot::CurrentUser, path + u"\\A\\B"), ERROR_SUCCESS);
  EXPECT_EQ(registry.OpenKey(RegistryRoot::CurrentUser, path + u"\\A\\B", KEY_READ, key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(registry.DeleteKey(RegistryRoot::CurrentUser, path + u"\\A\\B"), ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryContract, ThirtyTwoBitViewOfSoftwareIsItsWow6432Node) {
  IRegistry& registry = env_->Registry();
  const std::u16string path = env_->NewScratchPath(RegistryRoot::LocalMachine);  // SOFTWARE\...
  const std::u16string rest = path.substr(path.find(u'\\') + 1);
  const std::u16string wowPath = u"SOFTWARE\\WOW6432Node\\" + rest;
  constexpr auto kMachine = RegistryRoot::LocalMachine;

  std::unique_ptr<IRegistryKey> key;
  ASSERT_EQ(registry.CreateKey(kMachine, path, KEY_ALL_ACCESS | KEY_WOW64_32KEY, key), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key, u"View", u"32"), ERROR_SUCCESS);
  DWORD disposition = 0;
  ASSERT_EQ(registry.CreateKey(kMachine, path, KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);  // the 64-bit key is another key
  ASSERT_EQ(WriteString(*key, u"View", u"64"), ERROR_SUCCESS);

  const struct {
    std::u16string path;
    REGSAM view;
    const char16_t* expected;
  } cases[] = {{path, 0, u"64"},
               {path, KEY_WOW64_64KEY, u"64"},
               {path, KEY_WOW64_32KEY, u"32"},
               {wowPath, 0, u"32"},
               {wowPath, KEY_WOW64_32KEY, u"32"}};  // not turned twice
  for (const auto& c : cases) {
    SCOPED_TRACE("view " + std::to_string(c.view));
    key = Open(registry, kMachine, c.path, KEY_READ | c.view);
    ASSERT_TRUE(key);
    EXPECT_EQ(StringOf(*key, u"View"), c.expected);
  }

  // A handle opened in the 32-bit view leads on into it; the other way round works too.
  auto software32 = Open(registry, kMachine, u"SOFTWARE", KEY_READ | KEY_WOW64_32KEY);
  ASSERT_TRUE(software32);
  key = Open(*software32, rest, KEY_READ);
  ASSERT_TRUE(key);
  EXPECT_EQ(StringOf(*key, u"View"), u"32");
  ASSERT_EQ(registry.CreateKey(kMachine, wowPath + u"\\Sub", KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  EXPECT_TRUE(Open(registry, kMachine, path + u"\\Sub", KEY_READ | KEY_WOW64_32KEY));
  EXPECT_EQ(registry.OpenKey(kMachine, path + u"\\Sub", KEY_READ, key), ERROR_FILE_NOT_FOUND);

  EXPECT_EQ(registry.DeleteKey(kMachine, path + u"\\Sub", KEY_WOW64_32KEY), ERROR_SUCCESS);
  EXPECT_EQ(registry.DeleteKey(kMachine, path, KEY_WOW64_32KEY), ERROR_SUCCESS);
  EXPECT_EQ(registry.OpenKey(kMachine, wowPath, KEY_READ, key), ERROR_FILE_NOT_FOUND);
  key = Open(registry, kMachine, path, KEY_READ);
  ASSERT_TRUE(key);
  EXPECT_EQ(StringOf(*key, u"View"), u"64");
}

TEST_P(RegistryContract, ThirtyTwoBitViewChangesNothingForTheCurrentUser) {
  IRegistry& registry = env_->Registry();
  const std::u16string path = env_->NewScratchPath(RegistryRoot::CurrentUser);
  std::unique_ptr<IRegistryKey> key;
  ASSERT_EQ(registry.CreateKey(RegistryRoot::CurrentUser, path, KEY_ALL_ACCESS | KEY_WOW64_32KEY, key),
            ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key, u"View", u"shared"), ERROR_SUCCESS);
  key = Open(registry, RegistryRoot::CurrentUser, path);
  ASSERT_TRUE(key);
  EXPECT_EQ(StringOf(*key, u"View"), u"shared");
}

TEST_P(RegistryContract, ClassesRootWritesIntoTheMachineClasses) {
  IRegistry& registry = env_->Registry();
  const std::u16string name = env_->NewScratchPath(RegistryRoot::ClassesRoot);
  std::unique_ptr<IRegistryKey> key;
  ASSERT_EQ(registry.CreateKey(RegistryRoot::ClassesRoot, name + u"\\CLSID", KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key, u"", u"class"), ERROR_SUCCESS);
  key = Open(registry, RegistryRoot::LocalMachine, u"SOFTWARE\\Classes\\" + name + u"\\CLSID");
  ASSERT_TRUE(key);
  EXPECT_EQ(StringOf(*key, u""), u"class");
  EXPECT_EQ(registry.DeleteKey(RegistryRoot::ClassesRoot, name + u"\\CLSID"), ERROR_SUCCESS);
  EXPECT_EQ(registry.DeleteKey(RegistryRoot::ClassesRoot, name), ERROR_SUCCESS);
  EXPECT_EQ(registry.OpenKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Classes\\" + name, KEY_READ, key),
            ERROR_FILE_NOT_FOUND);
}

}  // namespace

}  // namespace vx::contract

#include "contract/registry_contract.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "platform/text.h"

namespace vx::contract {

using namespace vx::platform;

std::u16string ScratchPathFor(RegistryRoot root, std::u16string_view id) {
  if (root == RegistryRoot::LocalMachine) return u"SOFTWARE\\VXGPOSnapinTests\\" + std::u16string(id);
  if (root == RegistryRoot::ClassesRoot) return u"VXGPOSnapinTests." + std::u16string(id);
  return u"Software\\VXGPOSnapinTests\\" + std::u16string(id);
}

void RegistryContract::SetUp() {
  env_ = GetParam().make();
  ASSERT_TRUE(env_);
  key_ = env_->NewScratchKey();
  ASSERT_TRUE(key_);
}

namespace {

using Names = std::vector<std::u16string>;

std::vector<BYTE> Pattern(size_t size) {
  std::vector<BYTE> data(size);
  for (size_t i = 0; i < size; ++i) data[i] = static_cast<BYTE>(i * 7 + 1);
  return data;
}

// UTF-16LE bytes of text, without a terminator.
std::vector<BYTE> Utf16Bytes(std::u16string_view text) {
  std::vector<BYTE> data;
  for (char16_t c : text) data.insert(data.end(), {static_cast<BYTE>(c), static_cast<BYTE>(c >> 8)});
  return data;
}

// RegSetValueExW reads one character past a string's data and counts it in when it is a NUL (a
// forgotten terminator); the padding keeps that read inside the buffer and the bytes as given.
LONG Set(IRegistryKey& key, std::u16string_view name, DWORD type, const std::vector<BYTE>& data) {
  std::vector<BYTE> padded(data);
  padded.insert(padded.end(), {0xFF, 0xFF});
  return key.SetValue(name, type, padded.data(), static_cast<DWORD>(data.size()));
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

// Key or value names by index until ERROR_NO_MORE_ITEMS.
Names Enumerate(IRegistryKey& key, bool values) {
  Names names;
  std::u16string name;
  LONG rc;
  const auto index = [&] { return static_cast<DWORD>(names.size()); };
  while ((rc = values ? key.EnumValue(index(), name) : key.EnumKey(index(), name)) == ERROR_SUCCESS) {
    names.push_back(name);
  }
  EXPECT_EQ(rc, ERROR_NO_MORE_ITEMS);
  return names;
}
Names Subkeys(IRegistryKey& key) { return Enumerate(key, false); }
Names ValueNames(IRegistryKey& key) { return Enumerate(key, true); }

std::unique_ptr<IRegistryKey> Open(IRegistryKey& parent, std::u16string_view path, REGSAM access = KEY_ALL_ACCESS) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(parent.OpenKey(path, access, key), ERROR_SUCCESS) << Utf16ToUtf8(path);
  return key;
}

std::unique_ptr<IRegistryKey> Create(IRegistryKey& parent, std::u16string_view path) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(parent.CreateKey(path, KEY_ALL_ACCESS, key), ERROR_SUCCESS) << Utf16ToUtf8(path);
  return key;
}

std::unique_ptr<IRegistryKey> Open(IRegistry& registry, RegistryRoot root, std::u16string_view path,
                                   REGSAM access = KEY_READ) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(registry.OpenKey(root, path, access, key), ERROR_SUCCESS) << Utf16ToUtf8(path);
  return key;
}

TEST_P(RegistryContract, PathsAreComponentsBelowTheKey) {
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(key_->CreateKey(u"A\\B\\C", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY) << "every missing component is made";
  ASSERT_EQ(WriteDword(*key, u"Deep", 7), ERROR_SUCCESS);
  ASSERT_EQ(key_->CreateKey(u"A\\B\\C", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  DWORD value = 0;
  EXPECT_EQ(ReadDword(*key, u"Deep", value), ERROR_SUCCESS);
  EXPECT_EQ(value, 7u);
  ASSERT_EQ(key_->CreateKey(u"A\\B\\D", KEY_ALL_ACCESS, key), ERROR_SUCCESS);  // disposition may be null

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
  EXPECT_EQ(Subkeys(*key_), (Names{u"A", u"Double", u"Trail"}));
  EXPECT_EQ(Subkeys(*Open(*key_, u"A\\B")), (Names{u"C", u"D"}));
  EXPECT_EQ(key_->DeleteKey(u"Trail\\"), ERROR_SUCCESS);

  // An empty path is the key itself, opened or "created" again.
  ASSERT_EQ(WriteString(*Open(*key_, u""), u"Via", u"second handle"), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(*key_, u"Via"), u"second handle");
  ASSERT_EQ(key_->CreateKey(u"", KEY_READ, key), ERROR_SUCCESS);
  EXPECT_EQ(StringOf(*key, u"Via"), u"second handle");
}

TEST_P(RegistryContract, NamesIgnoreCaseAndKeepTheirFirstSpelling) {
  Create(*key_, u"MiXeD");
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(key_->CreateKey(u"mixed", KEY_ALL_ACCESS, key, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(Subkeys(*key_), Names{u"MiXeD"});

  ASSERT_EQ(WriteDword(*key_, u"CaSeVal", 1), ERROR_SUCCESS);
  ASSERT_EQ(WriteDword(*key_, u"caseval", 2), ERROR_SUCCESS);
  EXPECT_EQ(ValueNames(*key_), Names{u"CaSeVal"});
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

// The real registries disagree on the order of values (Windows: creation, Wine: name), so only the set
// of value names is part of the contract; subkeys come in name order ignoring case.
TEST_P(RegistryContract, EnumerationAndCountsCoverDirectChildrenOnly) {
  DWORD subkeys = 99, values = 99;
  ASSERT_EQ(key_->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
  EXPECT_EQ(subkeys + values, 0u);

  for (const char16_t* name :
       {u"zeta", u"Alpha", u"{94B2C874-B9DB-4149-B100-3675207B3723}", u"mid", u"9", u"beta", u"10\\Grandchild"}) {
    Create(*key_, name);
  }
  EXPECT_EQ(Subkeys(*key_),
            (Names{u"10", u"9", u"Alpha", u"beta", u"mid", u"zeta", u"{94B2C874-B9DB-4149-B100-3675207B3723}"}));
  std::u16string name = u"untouched";
  EXPECT_EQ(key_->EnumKey(1000, name), ERROR_NO_MORE_ITEMS);
  EXPECT_EQ(name, u"untouched");

  for (const char16_t* value : {u"zeta", u"Alpha", u"", u"mid"}) ASSERT_EQ(WriteDword(*key_, value, 1), ERROR_SUCCESS);
  ASSERT_EQ(key_->DeleteValue(u"mid"), ERROR_SUCCESS);
  Names names = ValueNames(*key_);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (Names{u"", u"Alpha", u"zeta"}));

  ASSERT_EQ(key_->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
  EXPECT_EQ(subkeys, 7u);
  EXPECT_EQ(values, 3u);
  EXPECT_EQ(key_->QueryInfo(nullptr, &values), ERROR_SUCCESS);
  EXPECT_EQ(key_->QueryInfo(&subkeys, nullptr), ERROR_SUCCESS);
}

TEST_P(RegistryContract, QueryValueFollowsTheSizeProtocol) {
  const auto bytes = Pattern(10);
  ASSERT_EQ(Set(*key_, u"Blob", REG_BINARY, bytes), ERROR_SUCCESS);
  std::vector<BYTE> buffer(16, 0xEE);
  DWORD type = 0, size = 0;
  // What a call answers for a buffer of `given` bytes (none: no buffer), and the size and type it reports.
  const auto query = [&](const char16_t* name, std::optional<DWORD> given, DWORD* typeOut = nullptr) {
    size = given.value_or(0);
    return key_->QueryValue(name, typeOut, given ? buffer.data() : nullptr, &size);
  };
  EXPECT_EQ(query(u"Blob", {}, &type), ERROR_SUCCESS);
  EXPECT_EQ(std::pair(size, type), (std::pair<DWORD, DWORD>(10, REG_BINARY)));
  type = 0;
  EXPECT_EQ(query(u"Blob", 4, &type), ERROR_MORE_DATA);
  EXPECT_EQ(std::pair(size, type), (std::pair<DWORD, DWORD>(10, REG_BINARY)));
  EXPECT_EQ(query(u"Blob", 0), ERROR_MORE_DATA);
  EXPECT_EQ(size, 10u);
  ASSERT_EQ(query(u"Blob", 16), ERROR_SUCCESS);
  EXPECT_EQ(size, 10u);
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), buffer.begin()));
  EXPECT_EQ(buffer[10], 0xEE) << "nothing written past the data";
  EXPECT_EQ(query(u"Blob", 10), ERROR_SUCCESS);
  EXPECT_EQ(key_->QueryValue(u"Blob", &type, buffer.data(), nullptr), ERROR_INVALID_PARAMETER);
  type = 0;
  EXPECT_EQ(key_->QueryValue(u"Blob", &type, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);

  // A missing value leaves the outputs; the empty name is the default value.
  type = 77;
  EXPECT_EQ(query(u"Missing", 5, &type), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(std::pair(size, type), (std::pair<DWORD, DWORD>(5, 77)));
  EXPECT_EQ(query(u"", {}, &type), ERROR_FILE_NOT_FOUND);
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
  EXPECT_EQ(ValueNames(*key_), Names{valueName});
  EXPECT_EQ(WriteDword(*key_, valueName + u"v", 1), ERROR_INVALID_PARAMETER);

  const std::u16string keyName(255, u'k');
  Create(*key_, keyName);
  EXPECT_EQ(Subkeys(*key_), Names{keyName});
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(key_->CreateKey(std::u16string(257, u'k'), KEY_ALL_ACCESS, key), ERROR_INVALID_PARAMETER);
}

TEST_P(RegistryContract, DeleteKeyTakesOnlyAKeyWithoutSubkeys) {
  Create(*key_, u"Parent\\Child");
  EXPECT_EQ(key_->DeleteKey(u"Parent"), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(Open(*key_, u"Parent\\Child"));
  EXPECT_EQ(key_->DeleteKey(u"Parent\\Missing"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key_->DeleteKey(u"Missing\\Child"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key_->DeleteKey(u"Parent\\Child"), ERROR_SUCCESS);
  auto parent = Open(*key_, u"Parent");
  EXPECT_EQ(parent->DeleteKey(u""), ERROR_SUCCESS) << "an empty path deletes the key itself";
  EXPECT_TRUE(Subkeys(*key_).empty());
  DWORD count = 0;
  EXPECT_EQ(parent->QueryInfo(&count, nullptr), ERROR_KEY_DELETED);
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

TEST_P(RegistryContract, HandleRightsLimitWhatItMayDo) {
  ASSERT_EQ(WriteDword(*key_, u"Value", 1), ERROR_SUCCESS);
  Create(*key_, u"Sub");
  constexpr LONG kOk = ERROR_SUCCESS, kDenied = ERROR_ACCESS_DENIED, kNotTried = -1;
  constexpr REGSAM kGenericRead = 0x80000000u;
  // What a handle opened with the rights answers to each operation.
  const struct {
    REGSAM rights;
    LONG read, write, deleteValue, enumKeys, enumValues;
  } cases[] = {{KEY_READ, kOk, kDenied, kDenied, kOk, kOk},
               {KEY_SET_VALUE, kDenied, kOk, kNotTried, kDenied, kDenied},
               {KEY_QUERY_VALUE, kNotTried, kNotTried, kNotTried, kDenied, kOk},
               {kGenericRead, kOk, kDenied, kNotTried, kNotTried, kNotTried}};
  for (const auto& c : cases) {
    SCOPED_TRACE("rights " + std::to_string(c.rights));
    auto handle = Open(*key_, u"", c.rights);
    ASSERT_TRUE(handle);
    std::u16string name;
    DWORD value = 0;
    const auto check = [](const char* operation, LONG expected, const std::function<LONG()>& call) {
      if (expected == kNotTried) return;
      EXPECT_EQ(call(), expected) << operation;
    };
    check("read", c.read, [&] { return ReadDword(*handle, u"Value", value); });
    // A refused write would leave 99 behind.
    check("write", c.write, [&] { return WriteDword(*handle, u"Value", c.write == kOk ? 2 : 99); });
    check("delete value", c.deleteValue, [&] { return handle->DeleteValue(u"Value"); });
    check("enumerate keys", c.enumKeys, [&] { return handle->EnumKey(0, name); });
    check("enumerate values", c.enumValues, [&] { return handle->EnumValue(0, name); });
  }
  DWORD value = 0;
  EXPECT_EQ(ReadDword(*key_, u"Value", value), ERROR_SUCCESS);
  EXPECT_EQ(value, 2u) << "only the permitted write took effect";
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

// A DWORD only from a four-byte REG_DWORD; text only from REG_SZ or REG_EXPAND_SZ, as stored (not
// expanded), up to the first NUL or the last whole character. Failures leave the output as it was.
TEST_P(RegistryContract, TypedReadersTakeOnlyTheirShapes) {
  constexpr LONG kOk = ERROR_SUCCESS, kType = ERROR_UNSUPPORTED_TYPE, kMissing = ERROR_FILE_NOT_FOUND;
  const struct {
    const char16_t* name;
    DWORD type;
    std::vector<BYTE> data;
    LONG dwordRc;
    LONG textRc;
    std::u16string text;
  } cases[] = {
      {u"Dword", REG_DWORD, {0x78, 0x56, 0x34, 0x12}, kOk, kType, u""},
      {u"Binary4", REG_BINARY, Utf16Bytes(u"te"), kType, kType, u""},
      {u"Short", REG_DWORD, Pattern(3), kType, kType, u""},
      {u"Long", REG_DWORD, Pattern(8), kType, kType, u""},
      {u"Text", REG_SZ, Utf16Bytes(std::u16string_view(u"1\0", 2)), kType, kOk, u"1"},
      {u"NoNul", REG_SZ, Utf16Bytes(u"abc"), kType, kOk, u"abc"},
      {u"OddSize", REG_SZ, {'a', 0, 'b', 0, 'c'}, kType, kOk, u"ab"},
      {u"Inner", REG_SZ, Utf16Bytes(std::u16string_view(u"ab\0cd\0", 6)), kType, kOk, u"ab"},
      {u"Empty", REG_SZ, {}, kType, kOk, u""},
      {u"Expand", REG_EXPAND_SZ, Utf16Bytes(std::u16string_view(u"%TEMP%\\x\0", 9)), kType, kOk, u"%TEMP%\\x"},
      {u"Multi", REG_MULTI_SZ, Utf16Bytes(std::u16string_view(u"a\0\0", 3)), kType, kType, u""},
      {u"Missing", REG_NONE, {}, kMissing, kMissing, u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Utf16ToUtf8(c.name));
    if (c.type != REG_NONE) {
      ASSERT_EQ(Set(*key_, c.name, c.type, c.data), ERROR_SUCCESS);
    }
    DWORD value = 42;
    EXPECT_EQ(ReadDword(*key_, c.name, value), c.dwordRc);
    EXPECT_EQ(value, c.dwordRc == kOk ? 0x12345678u : 42u);
    std::u16string text = u"kept";
    DWORD type = 0;
    EXPECT_EQ(ReadString(*key_, c.name, text, &type), c.textRc);
    EXPECT_EQ(text, c.textRc == kOk ? c.text : u"kept");
    if (c.textRc != kMissing) {
      EXPECT_EQ(type, c.type) << "the stored type is reported";
    }
  }
}

TEST_P(RegistryContract, WritersStoreTheImagesTheReadersTake) {
  const std::u16string longText(40000, u'\u0416');  // beyond any fixed buffer
  ASSERT_EQ(WriteDword(*key_, u"Dword", 0x12345678u), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key_, u"Path", u"C:\\\u00e9"), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key_, u"Expand", u"", REG_EXPAND_SZ), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*key_, u"Long", longText), ERROR_SUCCESS);
  const Stored dword = Read(*key_, u"Dword"), path = Read(*key_, u"Path"), expand = Read(*key_, u"Expand");
  EXPECT_EQ(std::pair(dword.type, dword.data),
            std::pair(DWORD{REG_DWORD}, std::vector<BYTE>{0x78, 0x56, 0x34, 0x12}));
  EXPECT_EQ(std::pair(path.type, path.data),
            std::pair(DWORD{REG_SZ}, std::vector<BYTE>{'C', 0, ':', 0, '\\', 0, 0xE9, 0, 0, 0}))
      << "with its NUL";
  EXPECT_EQ(std::pair(expand.type, expand.data), std::pair(DWORD{REG_EXPAND_SZ}, std::vector<BYTE>{0, 0}));
  EXPECT_EQ(StringOf(*key_, u"Long"), longText);
}

TEST_P(RegistryContract, RootsOpenCreateAndDeleteByPath) {
  IRegistry& registry = env_->Registry();
  constexpr auto kUser = RegistryRoot::CurrentUser;
  const std::u16string path = env_->NewScratchPath(kUser);
  std::unique_ptr<IRegistryKey> key;
  DWORD disposition = 0;
  ASSERT_EQ(registry.CreateKey(kUser, path + u"\\A\\B", KEY_ALL_ACCESS | KEY_WOW64_32KEY, key, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  ASSERT_EQ(WriteString(*key, u"Where", u"deep"), ERROR_SUCCESS);

  // The 32-bit view changes nothing below the current user.
  key = Open(registry, kUser, path + u"\\a\\b");
  ASSERT_TRUE(key);
  EXPECT_EQ(StringOf(*key, u"Where"), u"deep");
  auto root = Open(registry, kUser, u"");
  ASSERT_TRUE(root);
  EXPECT_TRUE(Open(*root, path + u"\\A\\B", KEY_READ));

  EXPECT_EQ(registry.OpenKey(kUser, u"\\" + path, KEY_READ, key), ERROR_BAD_PATHNAME);
  EXPECT_EQ(registry.DeleteKey(kUser, path + u"\\A"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry.DeleteKey(kUser, path + u"\\A\\B"), ERROR_SUCCESS);
  EXPECT_EQ(registry.OpenKey(kUser, path + u"\\A\\B", KEY_READ, key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(registry.DeleteKey(kUser, path + u"\\A\\B"), ERROR_FILE_NOT_FOUND);
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
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY) << "the 64-bit key is another key";
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

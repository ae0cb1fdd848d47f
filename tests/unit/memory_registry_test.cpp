#include "platform/memory/memory_registry.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "contract/registry_contract.h"
#include "platform/text.h"

namespace vx::contract {

// The contract runs over a fresh in-memory registry for each test.
std::unique_ptr<RegistryEnvironment> MakeRegistryEnvironment() {
  struct MemoryEnvironment final : RegistryEnvironment {
    platform::IRegistry& Registry() override { return registry; }
    platform::MemoryRegistry registry;
  };
  return std::make_unique<MemoryEnvironment>();
}

}  // namespace vx::contract

namespace vx::platform {
namespace {

using Names = std::vector<std::u16string>;

class MemoryRegistryTest : public ::testing::Test {
 protected:
  std::unique_ptr<IRegistryKey> Create(RegistryRoot root, std::u16string_view path) {
    std::unique_ptr<IRegistryKey> key;
    EXPECT_EQ(registry_.CreateKey(root, path, KEY_ALL_ACCESS, key), ERROR_SUCCESS);
    return key;
  }

  MemoryRegistry registry_;
};

// Where the real registries differ, this one follows Windows (these cases cannot run under Wine).
// Values come in the order of creation. Windows compares upper-cased names, so "_" (0x5F) sorts
// after "Z" (0x5A); Wine lower-cases. QueryInfo needs KEY_QUERY_VALUE (Wine lets any handle count);
// creating through an empty path opens the key that is there (Wine reports it as created).
TEST_F(MemoryRegistryTest, FollowsWindowsWhereWineDiffers) {
  auto key = Create(RegistryRoot::CurrentUser, u"Order");
  for (const char16_t* name : {u"zeta", u"Alpha", u"mid", u"beta"}) WriteDword(*key, name, 1);
  WriteDword(*key, u"ALPHA", 2);  // replacing keeps the place
  key->DeleteValue(u"mid");
  WriteDword(*key, u"mid", 3);  // deleted and set again goes last
  EXPECT_EQ(contract::ValueNames(*key), (Names{u"zeta", u"Alpha", u"beta", u"mid"}));
  for (const char16_t* name : {u"_u", u"a", u"Z"}) Create(RegistryRoot::CurrentUser, u"Order\\" + std::u16string(name));
  EXPECT_EQ(contract::Subkeys(*key), (Names{u"a", u"Z", u"_u"}));

  std::unique_ptr<IRegistryKey> enumerator, again;
  ASSERT_EQ(registry_.OpenKey(RegistryRoot::CurrentUser, u"Order", KEY_ENUMERATE_SUB_KEYS, enumerator), ERROR_SUCCESS);
  DWORD count = 0, disposition = 0;
  EXPECT_EQ(enumerator->QueryInfo(&count, &count), ERROR_ACCESS_DENIED);
  EXPECT_EQ(enumerator->CreateKey(u"", KEY_READ, again, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
}

// Like 64-bit Windows it starts with SOFTWARE, its Classes and its WOW6432Node, which stay, as roots do.
TEST_F(MemoryRegistryTest, SystemKeysAndRootsCannotBeDeleted) {
  EXPECT_EQ(registry_.DeleteKey(RegistryRoot::LocalMachine, u"SOFTWARE\\WOW6432Node"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry_.DeleteKey(RegistryRoot::Users, u""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry_.Dump(RegistryRoot::LocalMachine),
            "HKEY_LOCAL_MACHINE\n  SOFTWARE\n    Classes\n    WOW6432Node\n");
}

// Dump shows what the writers store: a DWORD in little-endian order, text in UTF-16LE with its NUL.
TEST_F(MemoryRegistryTest, DumpShowsValuesReadablyAndOddDataAsBytes) {
  auto key = Create(RegistryRoot::LocalMachine, u"SOFTWARE\\Vantorix\\Tracing");
  WriteDword(*key, u"Level", 3);
  WriteString(*key, u"", u"C:\\tr\u00e9ce", REG_EXPAND_SZ);
  WriteString(*key, u"Name", u"");
  const BYTE multi[] = {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0};
  key->SetValue(u"List", REG_MULTI_SZ, multi, sizeof multi);
  key->SetValue(u"None", REG_MULTI_SZ, multi + 2, 2);
  key->SetValue(u"Cut", REG_SZ, multi, 3);
  key->SetValue(u"Empty", REG_SZ, nullptr, 0);
  key->SetValue(u"Blob", 99, multi, 2);
  Create(RegistryRoot::LocalMachine, u"SOFTWARE\\Vantorix\\Tracing\\Sub");
  EXPECT_EQ(registry_.Dump(RegistryRoot::LocalMachine, u"software\\vantorix"),
            "Vantorix\n"
            "  Tracing\n"
            "    Level = REG_DWORD 0x00000003\n"
            "    @ = REG_EXPAND_SZ \"C:\\tr\303\251ce\"\n"
            "    Name = REG_SZ \"\"\n"
            "    List = REG_MULTI_SZ [\"a\", \"b\"]\n"
            "    None = REG_MULTI_SZ []\n"
            "    Cut = REG_SZ 61 00 00\n"
            "    Empty = REG_SZ\n"
            "    Blob = type 99 61 00\n"
            "    Sub\n");
  EXPECT_EQ(registry_.Dump(RegistryRoot::LocalMachine, u"SOFTWARE\\Missing"), "");
}

// Keys outlive their registry; threads writing, deleting and reading at once keep the tree whole.
TEST_F(MemoryRegistryTest, KeysOutliveTheRegistryAndConcurrentUseKeepsTheTreeWhole) {
  std::unique_ptr<IRegistryKey> orphan;
  MemoryRegistry().CreateKey(RegistryRoot::CurrentUser, u"Orphan", KEY_ALL_ACCESS, orphan);
  ASSERT_EQ(WriteString(*orphan, u"Still", u"here"), ERROR_SUCCESS);
  EXPECT_EQ(contract::ValueNames(*orphan), Names{u"Still"});

  auto shared = Create(RegistryRoot::CurrentUser, u"Shared");
  constexpr int kThreads = 4, kRounds = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      const std::u16string own = u"Shared\\T" + Widen(std::to_string(t));
      for (int i = 0; i < kRounds; ++i) {
        std::unique_ptr<IRegistryKey> key;
        registry_.CreateKey(RegistryRoot::CurrentUser, own + u"\\Temp", KEY_ALL_ACCESS, key);
        WriteDword(*key, u"V" + Widen(std::to_string(i % 7)), 1);
        registry_.DeleteKey(RegistryRoot::CurrentUser, own + u"\\Temp");  // the handle goes dead
        WriteDword(*key, u"Late", 1);
        registry_.CreateKey(RegistryRoot::CurrentUser, own, KEY_ALL_ACCESS, key);
        WriteDword(*key, u"Count", static_cast<DWORD>(i + 1));
      }
    });
  }
  threads.emplace_back([&shared] {
    std::u16string name;
    DWORD value = 0;
    for (int i = 0; i < kRounds * 4; ++i) {
      for (DWORD k = 0; shared->EnumKey(k, name) == ERROR_SUCCESS; ++k) shared->QueryInfo(&value, nullptr);
    }
  });
  for (auto& thread : threads) thread.join();
  std::string expected = "Shared\n";
  for (int t = 0; t < kThreads; ++t) expected += "  T" + std::to_string(t) + "\n    Count = REG_DWORD 0x0000012C\n";
  EXPECT_EQ(registry_.Dump(RegistryRoot::CurrentUser, u"Shared"), expected);
}

}  // namespace
}  // namespace vx::platform

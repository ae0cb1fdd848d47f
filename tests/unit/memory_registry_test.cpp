#include "platform/memory/memory_registry.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "contract/registry_contract.h"
#include "platform/text.h"

namespace vx::platform {
namespace {

using contract::RegistryContract;
using contract::RegistryEnvironment;
using contract::RegistryTarget;

class MemoryEnvironment final : public RegistryEnvironment {
 public:
  std::unique_ptr<IRegistryKey> NewScratchKey() override {
    std::unique_ptr<IRegistryKey> key;
    registry_.CreateKey(RegistryRoot::CurrentUser, NewScratchPath(RegistryRoot::CurrentUser), KEY_ALL_ACCESS, key);
    return key;
  }
  IRegistry& Registry() override { return registry_; }
  std::u16string NewScratchPath(RegistryRoot root) override {
    return contract::ScratchPathFor(root, Widen(std::to_string(++counter_)));
  }

 private:
  MemoryRegistry registry_;
  unsigned counter_ = 0;
};

std::unique_ptr<RegistryEnvironment> MakeMemoryEnvironment() { return std::make_unique<MemoryEnvironment>(); }

INSTANTIATE_TEST_SUITE_P(Memory, RegistryContract, ::testing::Values(RegistryTarget{"Memory", &MakeMemoryEnvironment}),
                         contract::RegistryTargetName);

std::unique_ptr<IRegistryKey> MustCreate(IRegistry& registry, RegistryRoot root, std::u16string_view path) {
  std::unique_ptr<IRegistryKey> key;
  EXPECT_EQ(registry.CreateKey(root, path, KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  return key;
}

// Names by index until the end.
std::vector<std::u16string> Names(IRegistryKey& key, bool values) {
  std::vector<std::u16string> names;
  std::u16string name;
  const auto index = [&] { return static_cast<DWORD>(names.size()); };
  while ((values ? key.EnumValue(index(), name) : key.EnumKey(index(), name)) == ERROR_SUCCESS) names.push_back(name);
  return names;
}

// Where the real registries differ, this one follows Windows (these cases cannot run under Wine).
// Values come in the order of creation. Windows compares upper-cased names, so "_" (0x5F) sorts
// after "Z" (0x5A); Wine lower-cases.
TEST(MemoryRegistryTest, EnumerationOrdersAsWindowsDoes) {
  MemoryRegistry registry;
  auto key = MustCreate(registry, RegistryRoot::CurrentUser, u"Order");
  for (const char16_t* name : {u"zeta", u"Alpha", u"mid", u"beta"}) WriteDword(*key, name, 1);
  WriteDword(*key, u"ALPHA", 2);  // replacing keeps the place
  key->DeleteValue(u"mid");
  WriteDword(*key, u"mid", 3);  // deleted and set again goes last
  EXPECT_EQ(Names(*key, true), (std::vector<std::u16string>{u"zeta", u"Alpha", u"beta", u"mid"}));

  for (const char16_t* name : {u"_u", u"a", u"Z"}) {
    MustCreate(registry, RegistryRoot::CurrentUser, u"Order\\" + std::u16string(name));
  }
  EXPECT_EQ(Names(*key, false), (std::vector<std::u16string>{u"a", u"Z", u"_u"}));
}

// QueryInfo needs KEY_QUERY_VALUE (Wine lets any handle count); creating through an empty path opens
// the key that is there (Wine reports it as created). System keys and roots cannot be deleted.
TEST(MemoryRegistryTest, QueryRightEmptyCreateAndUndeletableSystemKeys) {
  MemoryRegistry registry;
  MustCreate(registry, RegistryRoot::CurrentUser, u"Key");
  std::unique_ptr<IRegistryKey> key, again;
  ASSERT_EQ(registry.OpenKey(RegistryRoot::CurrentUser, u"Key", KEY_ENUMERATE_SUB_KEYS, key), ERROR_SUCCESS);
  DWORD count = 0, disposition = 0;
  EXPECT_EQ(key->QueryInfo(&count, &count), ERROR_ACCESS_DENIED);
  EXPECT_EQ(key->CreateKey(u"", KEY_READ, again, &disposition), ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);

  EXPECT_EQ(registry.DeleteKey(RegistryRoot::LocalMachine, u"SOFTWARE\\WOW6432Node"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry.DeleteKey(RegistryRoot::LocalMachine, u""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry.DeleteKey(RegistryRoot::ClassesRoot, u""), ERROR_ACCESS_DENIED);
  std::unique_ptr<IRegistryKey> root;
  ASSERT_EQ(registry.OpenKey(RegistryRoot::Users, u"", KEY_ALL_ACCESS, root), ERROR_SUCCESS);
  EXPECT_EQ(root->DeleteKey(u""), ERROR_ACCESS_DENIED);
  EXPECT_EQ(registry.Dump(RegistryRoot::LocalMachine),
            "HKEY_LOCAL_MACHINE\n  SOFTWARE\n    Classes\n    WOW6432Node\n");
}

TEST(MemoryRegistryTest, DumpShowsValuesReadablyAndOddDataAsBytes) {
  MemoryRegistry registry;
  auto key = MustCreate(registry, RegistryRoot::LocalMachine, u"SOFTWARE\\Vantorix\\Tracing");
  WriteDword(*key, u"Level", 3);
  WriteString(*key, u"", u"C:\\tr\u00e9ce");
  const BYTE multi[] = {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0};
  key->SetValue(u"List", REG_MULTI_SZ, multi, sizeof multi);
  key->SetValue(u"None", REG_MULTI_SZ, multi + 2, 2);
  key->SetValue(u"Cut", REG_SZ, multi, 3);
  key->SetValue(u"Blob", 99, multi, 2);
  MustCreate(registry, RegistryRoot::LocalMachine, u"SOFTWARE\\Vantorix\\Tracing\\Sub");
  EXPECT_EQ(registry.Dump(RegistryRoot::LocalMachine, u"software\\vantorix"),
            "Vantorix\n"
            "  Tracing\n"
            "    Level = REG_DWORD 0x00000003\n"
            "    @ = REG_SZ \"C:\\tr\xc3\xa9"
            "ce\"\n"
            "    List = REG_MULTI_SZ [\"a\", \"b\"]\n"
            "    None = REG_MULTI_SZ []\n"
            "    Cut = REG_SZ 61 00 00\n"
            "    Blob = type 99 61 00\n"
            "    Sub\n");
  EXPECT_EQ(registry.Dump(RegistryRoot::LocalMachine, u"SOFTWARE\\Missing"), "");
}

// Keys outlive their registry; threads writing, deleting and reading at once keep the tree whole.
TEST(MemoryRegistryTest, KeysOutliveTheRegistryAndConcurrentUseKeepsTheTreeWhole) {
  std::unique_ptr<IRegistryKey> orphan;
  {
    MemoryRegistry registry;
    orphan = MustCreate(registry, RegistryRoot::CurrentUser, u"Orphan");
  }
  ASSERT_EQ(WriteString(*orphan, u"Still", u"here"), ERROR_SUCCESS);
  std::u16string text;
  EXPECT_EQ(ReadString(*orphan, u"Still", text), ERROR_SUCCESS);
  EXPECT_EQ(text, u"here");

  MemoryRegistry registry;
  auto shared = MustCreate(registry, RegistryRoot::CurrentUser, u"Shared");
  constexpr int kThreads = 4, kRounds = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&registry, t] {
      const std::u16string own = u"Shared\\T" + Widen(std::to_string(t));
      for (int i = 0; i < kRounds; ++i) {
        std::unique_ptr<IRegistryKey> key;
        registry.CreateKey(RegistryRoot::CurrentUser, own + u"\\Temp", KEY_ALL_ACCESS, key);
        WriteDword(*key, u"V" + Widen(std::to_string(i % 7)), 1);
        registry.DeleteKey(RegistryRoot::CurrentUser, own + u"\\Temp");  // the handle goes dead
        WriteDword(*key, u"Late", 1);
        registry.CreateKey(RegistryRoot::CurrentUser, own, KEY_ALL_ACCESS, key);
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
  DWORD subkeys = 0, values = 0, count = 0;
  ASSERT_EQ(shared->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
  EXPECT_EQ(subkeys, static_cast<DWORD>(kThreads));
  for (int t = 0; t < kThreads; ++t) {
    std::unique_ptr<IRegistryKey> key;
    ASSERT_EQ(shared->OpenKey(u"T" + Widen(std::to_string(t)), KEY_READ, key), ERROR_SUCCESS);
    EXPECT_EQ(ReadDword(*key, u"Count", count), ERROR_SUCCESS);
    EXPECT_EQ(count, static_cast<DWORD>(kRounds));
    EXPECT_EQ(key->QueryInfo(&subkeys, &values), ERROR_SUCCESS);
    EXPECT_EQ(std::pair(subkeys, values), (std::pair<DWORD, DWORD>(0, 1)));
  }
}

}  // namespace
}  // namespace vx::platform

#include "module/unregister_components.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/memory/memory_registry.h"

namespace KELT_SDK {
namespace {

using vx::platform::IRegistryKey;
using vx::platform::MemoryRegistry;
using vx::platform::RegistryRoot;

constexpr GUID kClsid = {0x0471D727, 0x58C9, 0x47C4, {0x83, 0x50, 0x7D, 0x99, 0xEB, 0x9B, 0x60, 0xab}};
constexpr char16_t kClsidText[] = u"{0471D727-58C9-47C4-8350-7D99EB9B60AB}";

void AddKey(MemoryRegistry& registry, std::u16string_view below, const char16_t* value = nullptr) {
  std::unique_ptr<IRegistryKey> key;
  ASSERT_EQ(ERROR_SUCCESS, registry.CreateKey(RegistryRoot::LocalMachine,
                                              std::u16string(kPluginsKey) + u"\\" + std::u16string(below),
                                              KEY_ALL_ACCESS, key));
  if (value != nullptr) {
    ASSERT_EQ(ERROR_SUCCESS, vx::platform::WriteString(*key, u"Name", value));
  }
}

std::string Plugins(const MemoryRegistry& registry) { return registry.Dump(RegistryRoot::LocalMachine, kPluginsKey); }

TEST(UnregisterComponents, WithoutThePluginsKeyEveryOperationAnswersTheOpenError) {
  MemoryRegistry registry;
  CUnregisterComponents helper(registry);
  const HRESULT notFound = vx::HResultFromWin32(ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(notFound, helper.OpenResult());
  EXPECT_EQ(notFound, helper.DeleteComponentKey(u"Credentials", u"X"));
  EXPECT_EQ(notFound, helper.UnregisterComponent(u"Credentials", kClsid));
}

TEST(UnregisterComponents, DeletesTheKeyAndParentsItLeavesWithoutSubkeys) {
  MemoryRegistry registry;
  AddKey(registry, std::u16string(u"Credentials\\Biometric\\") + kClsidText, u"plug-in");
  AddKey(registry, u"Credentials\\Biometric", u"values do not keep a parent");
  AddKey(registry, u"Credentials\\Cards\\{AAAAAAAA-0000-0000-0000-000000000000}");
  CUnregisterComponents helper(registry);
  ASSERT_EQ(S_OK, helper.OpenResult());

  EXPECT_EQ(S_OK, helper.UnregisterComponent(u"Credentials\\Biometric", kClsid));
  // Biometric went with the plug-in's key; Credentials still holds Cards.
  EXPECT_EQ("Plugins\n  Credentials\n    Cards\n      {AAAAAAAA-0000-0000-0000-000000000000}\n", Plugins(registry));

  EXPECT_EQ(S_OK, helper.DeleteComponentKey(u"Credentials\\Cards", u"{AAAAAAAA-0000-0000-0000-000000000000}"));
  EXPECT_EQ("Plugins\n", Plugins(registry));  // the Plugins key itself stays
}

TEST(UnregisterComponents, AKeyWithSubkeysStaysAndAMissingKeyFails) {
  MemoryRegistry registry;
  AddKey(registry, std::u16string(u"Credentials\\") + kClsidText + u"\\Settings");
  CUnregisterComponents helper(registry);
  const std::string before = Plugins(registry);
  EXPECT_EQ(S_OK, helper.UnregisterComponent(u"Credentials", kClsid));
  EXPECT_EQ(before, Plugins(registry));

  EXPECT_EQ(vx::HResultFromWin32(ERROR_FILE_NOT_FOUND), helper.DeleteComponentKey(u"Credentials", u"Missing"));
  EXPECT_EQ(before, Plugins(registry));
}

}  // namespace
}  // namespace KELT_SDK

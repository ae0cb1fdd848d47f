// Removal of plug-in component registrations: the key goes with every parent it leaves without subkeys.
#include "module/unregister_components.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/memory/memory_registry.h"

namespace KELT_SDK {
namespace {

using vx::platform::MemoryRegistry;
using vx::platform::RegistryRoot;

constexpr GUID kClsid = {0x0471D727, 0x58C9, 0x47C4, {0x83, 0x50, 0x7D, 0x99, 0xEB, 0x9B, 0x60, 0xab}};
const HRESULT kNotFound = vx::HResultFromWin32(ERROR_FILE_NOT_FOUND);

void AddKey(MemoryRegistry& registry, std::u16string_view below, bool withValue = false) {
  std::unique_ptr<vx::platform::IRegistryKey> key;
  ASSERT_EQ(ERROR_SUCCESS, registry.CreateKey(RegistryRoot::LocalMachine, kPluginsKey + (u"\\" + std::u16string(below)),
                                              KEY_ALL_ACCESS, key));
  if (withValue) EXPECT_EQ(ERROR_SUCCESS, vx::platform::WriteString(*key, u"Name", u"x"));
}

TEST(UnregisterComponents, DeletesTheKeyAndTheParentsItLeavesWithoutSubkeys) {
  MemoryRegistry registry;
  {
    CUnregisterComponents helper(registry);  // without the Plugins key every operation answers the open error
    EXPECT_EQ(kNotFound, helper.OpenResult());
    EXPECT_EQ(kNotFound, helper.DeleteComponentKey(u"Credentials", u"X"));
    EXPECT_EQ(kNotFound, helper.UnregisterComponent(u"Credentials", kClsid));
  }
  AddKey(registry, u"Credentials\\Biometric\\{0471D727-58C9-47C4-8350-7D99EB9B60AB}", true);
  AddKey(registry, u"Credentials\\Biometric", true);  // values do not keep a parent
  AddKey(registry, u"Credentials\\Cards\\{AAAAAAAA-0000-0000-0000-000000000000}\\Settings");
  CUnregisterComponents helper(registry);
  ASSERT_EQ(S_OK, helper.OpenResult());
  const auto plugins = [&] { return registry.Dump(RegistryRoot::LocalMachine, kPluginsKey); };

  EXPECT_EQ(S_OK, helper.UnregisterComponent(u"Credentials\\Biometric", kClsid));
  const std::string cards =
      "Plugins\n  Credentials\n    Cards\n      {AAAAAAAA-0000-0000-0000-000000000000}\n        Settings\n";
  EXPECT_EQ(cards, plugins());
  EXPECT_EQ(S_OK, helper.DeleteComponentKey(u"Credentials\\Cards", u"{AAAAAAAA-0000-0000-0000-000000000000}"));
  EXPECT_EQ(cards, plugins()) << "a key with subkeys stays";
  EXPECT_EQ(kNotFound, helper.DeleteComponentKey(u"Credentials", u"Missing"));
  EXPECT_EQ(S_OK,
            helper.DeleteComponentKey(u"Credentials\\Cards", u"{AAAAAAAA-0000-0000-0000-000000000000}\\Settings"));
  EXPECT_EQ("Plugins\n", plugins()) << "the Plugins key itself stays";
}

}  // namespace
}  // namespace KELT_SDK

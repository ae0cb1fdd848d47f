// Branding: the module named by the registry, placeholder replacement and the built-in texts.
#include <algorithm>

#include "support/branding.h"
#include "trace_test_support.h"

namespace {

constexpr char16_t kBrandingDll[] = u"C:\\Program Files\\Northwind\\brand.dll";

class Branding : public vxtest::TracingFixture {
 protected:
  void SetUp() override {
    TracingFixture::SetUp();
    brand = modules.AddModule();
    modules.SetString(brand, 103, u"Northwind Logon");
    modules.SetString(brand, 1101, u"Northwind Help Desk");
    modules.SetString(brand, 1103, u"Northwind");
    modules.AddResourceModule(kBrandingDll, brand);
  }
  void RegisterModule(std::u16string_view path = kBrandingDll) {
    vx::platform::WriteString(*Key(vx::kBrandingKey), vx::kBrandingValue, path);
  }

  vx::MemoryResourceModules modules;
  HMODULE brand = nullptr;
};

TEST_F(Branding, ReplacesEveryPlaceholderInOrderAndLoadsEachStringOnce) {
  RegisterModule();
  vx::CBranding branding(registry, modules);
  EXPECT_EQ(branding.Apply(u"No placeholder here"), u"No placeholder here");
  EXPECT_TRUE(modules.loadedPaths.empty());  // nothing to replace: the module is not needed yet
  EXPECT_EQ(branding.Apply(u"<<%PN%>> by <<%MA%>>; <<%PN%>> support: <<%SP%>>."),
            u"Northwind Logon by Northwind; Northwind Logon support: Northwind Help Desk.");
  EXPECT_EQ(branding.Apply(u"<<%PN%>><<%PN%>>"), u"Northwind LogonNorthwind Logon");
  EXPECT_EQ(modules.loadedPaths, std::vector<std::u16string>{kBrandingDll});
  EXPECT_EQ(modules.stringLoads, (std::map<UINT, int>{{103, 1}, {1101, 1}, {1103, 1}}));

  // PN first, then SP, then MA: the MA that SP brought in is replaced, the PN inside PN is not looped on.
  modules.SetString(brand, 103, u"<<%PN%>> Plus");
  modules.SetString(brand, 1101, u"<<%MA%>> Support");
  EXPECT_EQ(vx::CBranding(registry, modules).Apply(u"<<%PN%>> / <<%SP%>>"), u"<<%PN%>> Plus / Northwind Support");
}

// No key, no value, a module that does not load, a missing string: the built-in texts stand, and the
// reason is traced.
TEST_F(Branding, WithoutAModuleOrAStringTheBuiltInTextsStand) {
  EXPECT_EQ(vx::CBranding(registry, modules).Apply(u"<<%PN%>>|<<%SP%>>|<<%MA%>>"),
            u"Vantorix Keystone Client|Vantorix Support|Vantorix");
  Key(vx::kBrandingKey);
  EXPECT_EQ(vx::CBranding(registry, modules).Text(103), u"Vantorix Keystone Client");
  RegisterModule(u"C:\\missing.dll");
  EXPECT_EQ(vx::CBranding(registry, modules).Text(1103), u"Vantorix");

  modules.SetString(brand, 1101, u"");
  RegisterModule();
  vx::CBranding branding(registry, modules);
  EXPECT_EQ(branding.Apply(u"<<%SP%>> for <<%PN%>>"), u"Vantorix Support for Northwind Logon");
  EXPECT_EQ(branding.Apply(u"<<%SP%>>"), u"Vantorix Support");
  EXPECT_EQ(modules.stringLoads[1101], 1);
  const auto messages = Written('U');
  for (const char* reason :
       {"Unable to open registry key SOFTWARE\\Vantorix\\Branding\\Common",
        "Unable to find registry value DLLPath under registry key SOFTWARE\\Vantorix\\Branding\\Common",
        "Unable to load resource dll, GetLastError returned 126",
        "Branding string 1101 is missing, using \"Vantorix Support\""})
    EXPECT_NE(std::find(messages.begin(), messages.end(), reason), messages.end()) << reason;
}

}  // namespace

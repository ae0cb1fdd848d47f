// The language fallback chain, text loading from the language module, branding, and the help-file resolver.
#include <algorithm>

#include "support/branding.h"
#include "support/html_help.h"
#include "support/language.h"
#include "trace_test_support.h"

namespace {

constexpr char16_t kModule[] = u"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll";
constexpr char16_t kBrandingDll[] = u"C:\\Program Files\\Northwind\\brand.dll";

// The module itself, and a branding module that is not registered yet.
class Resources : public vxtest::TracingFixture {
 protected:
  Resources() {
    modules.SetString(brand, 103, u"Northwind Logon");
    modules.SetString(brand, 1101, u"Northwind Help Desk");
    modules.SetString(brand, 1103, u"Northwind");
    modules.AddResourceModule(kBrandingDll, brand);
  }
  vx::MemoryResourceModules modules;
  HMODULE main = modules.AddModule(), brand = modules.AddModule();
};

TEST(Language, FallbackChain) {
  for (const LANGID traditional : {0x0404, 0x0C04, 0x1404, 0x7C04}) EXPECT_EQ(vx::NeutralLanguage(traditional), 0x7C04);
  enum Answer { None, Other, Itself };
  const struct {
    LANGID user;
    std::vector<std::pair<LANGID, Answer>> modules;  // the languages that have a module, and whose it is
    std::vector<LANGID> tries;
    Answer result;
  } cases[] = {
      // German: its neutral form, no separate default as it is one, the standard fallback, then English.
      {0x0407, {{0x0009, Other}}, {0x0407, 0x0007, 0, 0x0409, 0x0009}, Other},
      {0x0C04, {}, {0x0C04, 0x7C04, 0x0404, 0, 0x0409, 0x0009, 0, 0}, None},
      {0x0804, {}, {0x0804, 0x0004, 0, 0x0409, 0x0009, 0, 0}, None},
      {0x0001, {}, {0x0401, 0, 0x0409, 0x0009, 0, 0}, None},  // identifier 1 is never passed to the loader
      {0x0409, {{0, Other}}, {0x0409, 0x0009, 0}, Other},
      // The calling module itself is no success, but the final try stands as it is.
      {0x0409, {{0x0409, Itself}, {0, Itself}}, {0x0409, 0x0009, 0, 0x0409, 0x0009, 0, 0}, Itself},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.user);
    vx::MemoryResourceModules chain;
    chain.userLanguage = c.user;
    const HMODULE itself = chain.AddModule();
    const HMODULE answers[] = {nullptr, chain.AddModule(), itself};
    for (const auto& [language, answer] : c.modules) chain.AddLanguageModule(kModule, language, answers[answer]);
    EXPECT_EQ(vx::LoadDefaultMUILibrary(chain, kModule, itself), answers[c.result]);
    EXPECT_EQ(chain.tries, c.tries);
  }
}

TEST_F(Resources, CurrentLanguageIsTheFirstPreferredOrEnglish) {
  modules.preferredLanguages = {u"fr-FR", u"en-US"};
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"fr-FR");
  modules.preferredLanguages.clear();
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"en-US");
  modules.hasPreferredLanguages = false;
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"en-US");
}

TEST_F(Resources, TextsLoadFromTheModuleChosenOnceWithBranding) {
  const HMODULE english = modules.AddModule();
  modules.AddLanguageModule(kModule, 0x0409, english);
  modules.SetString(english, 6, u"No plug-ins of <<%PN%>> are installed.");
  vx::CBranding branding(registry, modules);
  vx::CLanguageResources resources(modules, kModule, main, &branding);
  EXPECT_EQ(resources.LoadText(6), u"No plug-ins of Vantorix Keystone Client are installed.");
  EXPECT_EQ(resources.LoadText(7), u"");
  EXPECT_EQ(modules.tries, std::vector<LANGID>{0x0409});

  // Only the module itself answers: its texts stand as they are. No module at all: empty texts.
  vx::MemoryResourceModules own;
  own.AddLanguageModule(kModule, 0, main);
  own.SetString(main, 6, u"own <<%PN%>>");
  EXPECT_EQ(vx::CLanguageResources(own, kModule, main, nullptr).LoadText(6), u"own <<%PN%>>");
  vx::MemoryResourceModules none;
  EXPECT_EQ(vx::CLanguageResources(none, kModule, main, nullptr).LoadText(6), u"");
}

TEST_F(Resources, HelpFileRules) {
  constexpr CLSID kClsid = {0x5ED04F3F, 0xAC3E, 0x4BE0, {0xA1, 0x57, 0x78, 0x2B, 0x20, 0x4E, 0x2B, 0x8C}};
  EXPECT_EQ(vx::BracedGuid(kClsid), u"{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}");
  modules.preferredLanguages = {u"de-DE"};
  process.environment[u"HELPDIR"] = u"C:\\Help";
  vx::platform::WriteString(*Key(vx::kApplicationsKey, KEY_WOW64_32KEY), u"BinDir", u"C:\\Program Files\\Vantorix");
  // Only the 32-bit view is read.
  vx::platform::WriteString(*Key(vx::kHelpKey), vx::BracedGuid(kClsid), u"C:\\Help\\keystone.chm");
  files.SetFileBytes(u"C:\\Help\\keystone.chm", {'x'});
  EXPECT_EQ(vx::CHTMLHelp(registry, files, process, modules).GetHelpFileName(kClsid), u"");
  // Each row registers an expandable value for a CLSID of its own; the files stay from one row to the next.
  const struct {
    std::u16string value;
    bool makeFile;  // the file to be found is made first
    const char16_t* found;
  } cases[] = {
      {u"keystone.chm", false, u""},  // a bare file name is looked for per language in the binary directory
      {u"keystone.chm", true, u"C:\\Program Files\\Vantorix\\en-US\\keystone.chm"},
      {u"keystone.chm", true, u"C:\\Program Files\\Vantorix\\de-DE\\keystone.chm"},
      {u"C:\\Help\\%LANG%\\keystone.chm", true, u"C:\\Help\\en\\keystone.chm"},
      {u"C:\\Help\\missing.chm", false, u""},
      {u"C:\\Help\\" + std::u16string(253, u'k'), false, u""},  // overlong
      {u"%HELPDIR%\\keystone.chm", false, u"C:\\Help\\keystone.chm"},
  };
  CLSID clsid = kClsid;
  for (const auto& c : cases) {
    SCOPED_TRACE(vx::Utf16ToUtf8(c.value));
    ++clsid.Data1;
    vx::platform::WriteString(*Key(vx::kHelpKey, KEY_WOW64_32KEY), vx::BracedGuid(clsid), c.value, REG_EXPAND_SZ);
    if (c.makeFile) files.SetFileBytes(c.found, {'x'});
    EXPECT_EQ(vx::CHTMLHelp(registry, files, process, modules).GetHelpFileName(clsid), c.found);
  }
}

TEST_F(Resources, BrandingReplacesEveryPlaceholderInOrderAndLoadsEachStringOnce) {
  vx::platform::WriteString(*Key(vx::kBrandingKey), vx::kBrandingValue, kBrandingDll);
  vx::CBranding branding(registry, modules);
  EXPECT_EQ(branding.Apply(u"No placeholder here"), u"No placeholder here");
  EXPECT_TRUE(modules.loadedPaths.empty());  // nothing to replace: the module is not needed yet
  EXPECT_EQ(branding.Apply(u"<<%PN%>> by <<%MA%>>; <<%PN%>> support: <<%SP%>>."),
            u"Northwind Logon by Northwind; Northwind Logon support: Northwind Help Desk.");
  EXPECT_EQ(modules.loadedPaths, std::vector<std::u16string>{kBrandingDll});
  EXPECT_EQ(modules.stringLoads, (std::map<UINT, int>{{103, 1}, {1101, 1}, {1103, 1}}));

  // PN first, then SP, then MA: the MA that SP brought in is replaced, the PN inside PN is not looped on.
  modules.SetString(brand, 103, u"<<%PN%>> Plus");
  modules.SetString(brand, 1101, u"<<%MA%>> Support");
  EXPECT_EQ(vx::CBranding(registry, modules).Apply(u"<<%PN%>> / <<%SP%>>"), u"<<%PN%>> Plus / Northwind Support");
}

// No key, no value, a module that does not load, a missing string: the built-in texts stand, and the
// reason is traced.
TEST_F(Resources, BrandingWithoutAModuleOrAStringTheBuiltInTextsStand) {
  EXPECT_EQ(vx::CBranding(registry, modules).Apply(u"<<%PN%>>|<<%SP%>>|<<%MA%>>"),
            u"Vantorix Keystone Client|Vantorix Support|Vantorix");
  const auto key = Key(vx::kBrandingKey);
  EXPECT_EQ(vx::CBranding(registry, modules).Text(103), u"Vantorix Keystone Client");
  vx::platform::WriteString(*key, vx::kBrandingValue, u"C:\\missing.dll");
  EXPECT_EQ(vx::CBranding(registry, modules).Text(1103), u"Vantorix");

  modules.SetString(brand, 1101, u"");
  vx::platform::WriteString(*key, vx::kBrandingValue, kBrandingDll);
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

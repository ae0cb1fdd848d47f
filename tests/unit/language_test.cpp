// The language fallback chain, text loading from the language module, and the help-file resolver.
#include <algorithm>

#include "support/branding.h"
#include "support/html_help.h"
#include "support/language.h"
#include "trace_test_support.h"

namespace {

constexpr char16_t kModule[] = u"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll";

class Language : public vxtest::TracingFixture {
 protected:
  void SetUp() override {
    TracingFixture::SetUp();
    main = modules.AddModule();
  }
  vx::MemoryResourceModules modules;
  HMODULE main = nullptr;
};

using Tries = std::vector<LANGID>;

TEST_F(Language, FallbackChain) {
  enum Answer { None, Other, Itself };
  const struct {
    LANGID user;
    std::vector<std::pair<LANGID, Answer>> modules;  // the languages that have a module, and whose it is
    Tries tries;
    Answer result;
  } cases[] = {
      // German: its neutral form, no separate default as it is one, the standard fallback, then English.
      {0x0407, {}, {0x0407, 0x0007, 0, 0x0409, 0x0009, 0, 0}, None},
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
  const auto messages = Written('U');
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "Avoiding access violation on Arabic Windows..."), 1);
}

TEST(LanguageNeutral, ChineseTraditionalVariantsShareOneNeutralForm) {
  for (const LANGID traditional : {0x0404, 0x0C04, 0x1404, 0x7C04}) EXPECT_EQ(vx::NeutralLanguage(traditional), 0x7C04);
  EXPECT_EQ(vx::NeutralLanguage(0x0804), 0x0004);
}

TEST_F(Language, CurrentLanguageIsTheFirstPreferredOrEnglish) {
  modules.preferredLanguages = {u"fr-FR", u"en-US"};
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"fr-FR");
  modules.preferredLanguages.clear();
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"en-US");
  modules.hasPreferredLanguages = false;
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"en-US");
  EXPECT_EQ(Written('U'), (std::vector<std::string>{"uNumLanguages = 2", "Lang: fr-FR", "uNumLanguages = 0"}));
}

TEST_F(Language, TextsLoadFromTheModuleChosenOnceWithBranding) {
  const HMODULE english = modules.AddModule();
  modules.AddLanguageModule(kModule, 0x0409, english);
  modules.SetString(english, 6, u"No plug-ins of <<%PN%>> are installed.");
  vx::CBranding branding(registry, modules);
  vx::CLanguageResources resources(modules, kModule, main, &branding);
  vx::platform::IStringTable& table = resources;
  EXPECT_EQ(table.LoadText(6), u"No plug-ins of Vantorix Keystone Client are installed.");
  EXPECT_EQ(resources.LoadText(7), u"");
  EXPECT_EQ(modules.tries, Tries{0x0409});

  // Only the module itself answers: its texts stand as they are. No module at all: empty texts.
  vx::MemoryResourceModules own;
  own.AddLanguageModule(kModule, 0, main);
  own.SetString(main, 6, u"own <<%PN%>>");
  EXPECT_EQ(vx::CLanguageResources(own, kModule, main, nullptr).LoadText(6), u"own <<%PN%>>");
  vx::MemoryResourceModules none;
  EXPECT_EQ(vx::CLanguageResources(none, kModule, main, nullptr).LoadText(6), u"");
}

TEST_F(Language, HelpFileRules) {
  constexpr CLSID kClsid = {0x5ED04F3F, 0xAC3E, 0x4BE0, {0xA1, 0x57, 0x78, 0x2B, 0x20, 0x4E, 0x2B, 0x8C}};
  EXPECT_EQ(vx::BracedGuid(kClsid), u"{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}");
  modules.preferredLanguages = {u"de-DE"};
  process.environment[u"HELPDIR"] = u"C:\\Help";
  vx::platform::WriteString(*Key(vx::kApplicationsKey, KEY_WOW64_32KEY), u"BinDir", u"C:\\Program Files\\Vantorix");
  // Each row registers a value for a CLSID of its own; the files stay from one row to the next.
  const struct {
    std::u16string value;
    DWORD type;
    REGSAM view;
    const char16_t* newFile;
    const char16_t* found;
  } cases[] = {
      {u"C:\\Help\\keystone.chm", REG_SZ, 0, u"C:\\Help\\keystone.chm", u""},  // only the 32-bit view is read
      // A bare file name is looked for per language in the binary directory.
      {u"keystone.chm", REG_SZ, KEY_WOW64_32KEY, nullptr, u""},
      {u"keystone.chm", REG_SZ, KEY_WOW64_32KEY, u"C:\\Program Files\\Vantorix\\en-US\\keystone.chm",
       u"C:\\Program Files\\Vantorix\\en-US\\keystone.chm"},
      {u"keystone.chm", REG_SZ, KEY_WOW64_32KEY, u"C:\\Program Files\\Vantorix\\de-DE\\keystone.chm",
       u"C:\\Program Files\\Vantorix\\de-DE\\keystone.chm"},
      {u"C:\\Help\\%LANG%\\keystone.chm", REG_SZ, KEY_WOW64_32KEY, u"C:\\Help\\en\\keystone.chm",
       u"C:\\Help\\en\\keystone.chm"},
      {u"C:\\Help\\missing.chm", REG_SZ, KEY_WOW64_32KEY, nullptr, u""},
      {u"C:\\Help\\keystone.chm", REG_SZ, KEY_WOW64_32KEY, nullptr, u"C:\\Help\\keystone.chm"},
      {u"C:\\Help\\" + std::u16string(253, u'k'), REG_SZ, KEY_WOW64_32KEY, nullptr, u""},  // overlong
      {u"%HELPDIR%\\keystone.chm", REG_EXPAND_SZ, KEY_WOW64_32KEY, nullptr, u"C:\\Help\\keystone.chm"},
  };
  CLSID clsid = kClsid;
  for (const auto& c : cases) {
    SCOPED_TRACE(vx::Utf16ToUtf8(c.value));
    ++clsid.Data1;
    vx::platform::WriteString(*Key(vx::kHelpKey, c.view), vx::BracedGuid(clsid), c.value, c.type);
    if (c.newFile) files.SetFileBytes(c.newFile, {'x'});
    EXPECT_EQ(vx::CHTMLHelp(registry, files, process, modules).GetHelpFileName(clsid), c.found);
  }
  EXPECT_EQ(Written('U').back(), "szRet: C:\\Help\\keystone.chm");
}

}  // namespace

// The language fallback chain, text loading from the language module, and the help-file resolver.
#include <algorithm>

#include "support/branding.h"
#include "support/html_help.h"
#include "support/language.h"
#include "trace_test_support.h"

namespace {

constexpr char16_t kModule[] = u"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll";

class LanguageChain : public vxtest::TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
    main = modules.AddModule();
  }
  std::vector<std::string> Messages() {
    Stop();
    return File().Texts('U');
  }
  vx::MemoryResourceModules modules;
  HMODULE main = nullptr;
};

using Tries = std::vector<LANGID>;

TEST_F(LanguageChain, GermanWithoutModuleTriesNeutralSkipsDefaultThenEnglishChainAndFinalFallback) {
  modules.userLanguage = 0x0407;
  EXPECT_EQ(vx::LoadDefaultMUILibrary(modules, kModule, main), nullptr);
  EXPECT_EQ(modules.tries, (Tries{0x0407, 0x0007, 0, 0x0409, 0x0009, 0, 0}));
}

TEST_F(LanguageChain, FirstModuleFoundWins) {
  modules.userLanguage = 0x0407;
  const HMODULE english = modules.AddModule();
  modules.AddLanguageModule(kModule, 0x0009, english);
  EXPECT_EQ(vx::LoadDefaultMUILibrary(modules, kModule, main), english);
  EXPECT_EQ(modules.tries, (Tries{0x0407, 0x0007, 0, 0x0409, 0x0009}));
}

TEST_F(LanguageChain, ChineseTraditionalUsesItsNeutralForm) {
  modules.userLanguage = 0x0C04;
  vx::LoadDefaultMUILibrary(modules, kModule, main);
  EXPECT_EQ(modules.tries, (Tries{0x0C04, 0x7C04, 0x0404, 0, 0x0409, 0x0009, 0, 0}));
  EXPECT_EQ(vx::NeutralLanguage(0x0404), 0x7C04);
  EXPECT_EQ(vx::NeutralLanguage(0x1404), 0x7C04);
  EXPECT_EQ(vx::NeutralLanguage(0x7C04), 0x7C04);
  EXPECT_EQ(vx::NeutralLanguage(0x0804), 0x0004);
}

TEST_F(LanguageChain, SimplifiedChineseHasNoSeparateDefault) {
  modules.userLanguage = 0x0804;
  vx::LoadDefaultMUILibrary(modules, kModule, main);
  EXPECT_EQ(modules.tries, (Tries{0x0804, 0x0004, 0, 0x0409, 0x0009, 0, 0}));
}

TEST_F(LanguageChain, IdentifierOneIsNeverPassedToTheLoader) {
  modules.userLanguage = 0x0001;
  vx::LoadDefaultMUILibrary(modules, kModule, main);
  EXPECT_EQ(modules.tries, (Tries{0x0401, 0, 0x0409, 0x0009, 0, 0}));
  const auto messages = Messages();
  EXPECT_NE(std::find(messages.begin(), messages.end(), "Avoiding access violation on Arabic Windows..."),
            messages.end());
}

TEST_F(LanguageChain, EnglishTracesEveryStep) {
  modules.userLanguage = 0x0409;
  const HMODULE fallback = modules.AddModule();
  modules.AddLanguageModule(kModule, 0, fallback);
  EXPECT_EQ(vx::LoadDefaultMUILibrary(modules, kModule, main), fallback);
  EXPECT_EQ(modules.tries, (Tries{0x0409, 0x0009, 0}));
  const auto messages = Messages();
  ASSERT_GE(messages.size(), 10u);
  EXPECT_EQ(messages[0], vx::FormatNarrow("hMainModule = 0x%08X",
                                          static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(main))));
  EXPECT_EQ(messages[1], "Trying the language (0x0409)...");
  EXPECT_EQ(messages[2], "Module: C:\\Program Files\\Vantorix\\VXGPOSnapin.dll");
  EXPECT_EQ(messages[3], "LangID: 0409");
  EXPECT_EQ(messages[4], "hLibrary = 0x00000000");
  EXPECT_EQ(messages[5], "Trying the corresponding neutral language...");
  EXPECT_EQ(messages[9], "Trying the standard fallback...");
  EXPECT_EQ(messages.back(), vx::FormatNarrow("hLibrary = 0x%08X",
                                              static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(fallback))));
}

TEST_F(LanguageChain, TheCallingModuleItselfIsNoSuccessButTheFinalTryStands) {
  modules.userLanguage = 0x0409;
  modules.AddLanguageModule(kModule, 0x0409, main);
  modules.AddLanguageModule(kModule, 0, main);
  EXPECT_EQ(vx::LoadDefaultMUILibrary(modules, kModule, main), main);
  EXPECT_EQ(modules.tries, (Tries{0x0409, 0x0009, 0, 0x0409, 0x0009, 0, 0}));
}

TEST_F(LanguageChain, CurrentLanguageIsTheFirstPreferredOrEnglish) {
  modules.preferredLanguages = {u"fr-FR", u"en-US"};
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"fr-FR");
  modules.preferredLanguages.clear();
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"en-US");
  modules.hasPreferredLanguages = false;
  EXPECT_EQ(vx::GetCurrentUserMUILanguage(modules), u"en-US");
  const auto messages = Messages();
  EXPECT_EQ(messages, (std::vector<std::string>{"uNumLanguages = 2", "Lang: fr-FR", "uNumLanguages = 0"}));
}

TEST_F(LanguageChain, TextsLoadOnceFromTheChosenModuleWithBranding) {
  const HMODULE english = modules.AddModule();
  modules.AddLanguageModule(kModule, 0x0409, english);
  modules.SetString(english, 6, u"No plug-ins of <<%PN%>> are installed.");
  vx::CBranding branding(registry, modules);
  vx::CLanguageResources resources(modules, kModule, main, &branding);
  EXPECT_EQ(resources.LoadText(6), u"No plug-ins of Vantorix Keystone Client are installed.");
  EXPECT_EQ(resources.LoadText(7), u"");
  EXPECT_EQ(modules.tries, Tries{0x0409});  // the module is chosen once
  vx::platform::IStringTable& table = resources;
  EXPECT_EQ(table.LoadText(6).substr(0, 15), u"No plug-ins of ");
}

TEST_F(LanguageChain, NoLanguageModuleGivesEmptyTexts) {
  modules.AddLanguageModule(kModule, 0, main);  // only the module itself answers
  vx::CLanguageResources resources(modules, kModule, main, nullptr);
  EXPECT_EQ(resources.Module(), main);
  modules.SetString(main, 6, u"own text");
  EXPECT_EQ(resources.LoadText(6), u"own text");  // the final fallback stands as it is
  vx::MemoryResourceModules empty;
  vx::CLanguageResources none(empty, kModule, main, nullptr);
  EXPECT_EQ(none.LoadText(6), u"");
}

// The help resolver over the in-memory registry and file system.
class HelpFile : public vxtest::TraceFixture {
 protected:
  static constexpr CLSID kClsid = {0x5ED04F3F, 0xAC3E, 0x4BE0, {0xA1, 0x57, 0x78, 0x2B, 0x20, 0x4E, 0x2B, 0x8C}};
  static constexpr char16_t kName[] = u"{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";

  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
    modules.preferredLanguages = {u"de-DE"};
    files.AddDirectory(u"C:\\Program Files\\Vantorix\\de-DE");
    files.AddDirectory(u"C:\\Program Files\\Vantorix\\en-US");
    files.AddDirectory(u"C:\\Help");
    files.AddDirectory(u"C:\\Help\\en");
  }
  void Register(std::u16string_view value, DWORD type = REG_SZ, REGSAM view = KEY_WOW64_32KEY) {
    std::unique_ptr<vx::platform::IRegistryKey> key;
    ASSERT_EQ(ERROR_SUCCESS, registry.CreateKey(vx::platform::RegistryRoot::LocalMachine, vx::kHelpKey,
                                                KEY_ALL_ACCESS | view, key));
    vx::platform::WriteString(*key, kName, value, type);
    ASSERT_EQ(ERROR_SUCCESS, registry.CreateKey(vx::platform::RegistryRoot::LocalMachine, vx::kApplicationsKey,
                                                KEY_ALL_ACCESS | view, key));
    vx::platform::WriteString(*key, u"BinDir", u"C:\\Program Files\\Vantorix");
  }
  void AddFile(std::u16string_view path) { files.SetFileBytes(path, {'x'}); }
  std::u16string Resolve() { return vx::CHTMLHelp(registry, files, process, modules).GetHelpFileName(kClsid); }

  vx::MemoryResourceModules modules;
};

TEST_F(HelpFile, BareFileNameIsLookedForPerLanguageInTheBinaryDirectory) {
  Register(u"keystone.chm");
  EXPECT_EQ(vx::BracedGuid(kClsid), kName);
  EXPECT_EQ(Resolve(), u"");  // no file of any language
  AddFile(u"C:\\Program Files\\Vantorix\\en-US\\keystone.chm");
  EXPECT_EQ(Resolve(), u"C:\\Program Files\\Vantorix\\en-US\\keystone.chm");
  AddFile(u"C:\\Program Files\\Vantorix\\de-DE\\keystone.chm");
  EXPECT_EQ(Resolve(), u"C:\\Program Files\\Vantorix\\de-DE\\keystone.chm");
  const auto messages = (Stop(), File().Texts('U'));
  EXPECT_EQ(messages.back(), "szRet: C:\\Program Files\\Vantorix\\de-DE\\keystone.chm");
}

TEST_F(HelpFile, LanguageTokenAndFullPaths) {
  Register(u"C:\\Help\\%LANG%\\keystone.chm");
  AddFile(u"C:\\Help\\en\\keystone.chm");
  EXPECT_EQ(Resolve(), u"C:\\Help\\en\\keystone.chm");
  Register(u"C:\\Help\\keystone.chm");
  EXPECT_EQ(Resolve(), u"");
  AddFile(u"C:\\Help\\keystone.chm");
  EXPECT_EQ(Resolve(), u"C:\\Help\\keystone.chm");
}

TEST_F(HelpFile, ExpandableValuesAreExpandedAndOverlongOnesRefused) {
  process.environment[u"HELPDIR"] = u"C:\\Help";
  Register(u"%HELPDIR%\\keystone.chm", REG_EXPAND_SZ);
  AddFile(u"C:\\Help\\keystone.chm");
  EXPECT_EQ(Resolve(), u"C:\\Help\\keystone.chm");
  Register(u"C:\\Help\\" + std::u16string(253, u'k'));
  EXPECT_EQ(Resolve(), u"");
}

TEST_F(HelpFile, OnlyThe32BitViewIsRead) {
  Register(u"C:\\Help\\keystone.chm", REG_SZ, 0);
  AddFile(u"C:\\Help\\keystone.chm");
  EXPECT_EQ(Resolve(), u"");
}

}  // namespace

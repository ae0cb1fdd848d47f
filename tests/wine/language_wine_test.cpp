// Language resources on the real platform: the en-US ".mui" and the sample branding module loaded by the
// Win32 loader adapter, and the search when no ".mui" is where the language says. The fallback chain and the
// branding rules are the unit tests'; the registry here is the in-memory one.
#include <gtest/gtest.h>
#include <windows.h>

#include "platform/memory/memory_registry.h"
#include "platform/text.h"
#include "support/branding.h"
#include "support/language.h"
#include "support/win32/language_win32.h"
#include "wine_support.h"

namespace {

// The build tree: this program is <build>\tests\wine\language_wine_test.exe.
const std::u16string kBuild = vx::AsU16(vxtest::BesideProgram(L"..\\..").c_str());

TEST(LanguageResources, TextsComeFromTheEnglishModuleWithTheSampleBranding) {
  vx::platform::MemoryRegistry registry;
  std::unique_ptr<vx::platform::IRegistryKey> key;
  ASSERT_EQ(registry.CreateKey(vx::platform::RegistryRoot::LocalMachine, vx::kBrandingKey, KEY_ALL_ACCESS, key),
            ERROR_SUCCESS);
  vx::platform::WriteString(*key, vx::kBrandingValue, kBuild + u"\\samples\\branding\\vxbranding.dll");
  vx::Win32ResourceModules modules;
  vx::CBranding branding(registry, modules);
  vx::CLanguageResources resources(modules, kBuild + u"\\VXGPOSnapin.dll", ::GetModuleHandleW(nullptr), &branding);
  EXPECT_EQ(vx::Utf16ToUtf8(resources.LoadText(6)),
            "No credential plug-ins of Northwind Secure Logon are installed on this computer. Authentication "
            "policies cannot be edited. Contact Northwind Help Desk.");
  EXPECT_EQ(resources.LoadText(9999), u"");

  // A branding module that does not load: the loader's error is kept and the built-in texts stand.
  vx::platform::WriteString(*key, vx::kBrandingValue, u"C:\\no-such-branding.dll");
  EXPECT_EQ(vx::CBranding(registry, modules).Apply(u"<<%MA%>>"), u"Vantorix");
  EXPECT_NE(modules.LastError(), 0u);
}

TEST(LanguageResources, WithoutALanguageFolderTheFileBesideTheModuleIsTaken) {
  vxtest::ScratchFolder folder;
  const std::u16string dir = vx::AsU16(folder.Path().c_str());
  vx::Win32ResourceModules modules;  // made after the folder: frees its modules before the folder goes
  // The preferred languages come from kernel32, looked up at run time.
  EXPECT_NE(vx::GetCurrentUserMUILanguage(modules).find(u'-'), std::u16string::npos);

  EXPECT_EQ(modules.LoadLanguageModule(dir + u"\\Beside.dll", 0), nullptr) << "nothing beside it yet";
  ASSERT_TRUE(
      ::CopyFileW(vx::AsWide(kBuild + u"\\en-US\\VXGPOSnapin.dll.mui"), (folder / L"Beside.dll.mui").c_str(), FALSE));
  HMODULE module = modules.LoadLanguageModule(dir + u"\\Beside.dll", 0);
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(vx::Utf16ToUtf8(modules.LoadString(module, 159)), "Enabled");
  EXPECT_EQ(modules.LoadLanguageModule(dir + u"\\Beside.dll", 0x0407), nullptr) << "no de-DE folder";
}

}  // namespace

// Language resources on the real platform: the en-US ".mui" found by the Win32 loader adapter, the
// sample branding module registered under DLLPath (the value is put back after each test), and the
// search when no ".mui" is where the language says.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_registry.h"
#include "support/branding.h"
#include "support/language.h"
#include "support/win32/language_win32.h"
#include "wine_support.h"

namespace {

using vx::Utf16ToUtf8;

// The build tree: this program is <build>\tests\wine\language_wine_test.exe.
std::u16string BuildDir() {
  std::u16string path = vx::ModuleLongPath(nullptr);
  for (int up = 0; up < 3; ++up) path.resize(path.find_last_of(u"\\/"));
  return path;
}

class LanguageResources : public ::testing::Test {
 protected:
  void SetUp() override {
    DWORD size = 0;
    m_hadValue = ::RegGetValueW(HKEY_LOCAL_MACHINE, Key(), L"DLLPath", RRF_RT_ANY | RRF_NOEXPAND, &m_savedType, nullptr,
                                &size) == ERROR_SUCCESS;
    m_saved.resize(size);
    if (m_hadValue) {
      ::RegGetValueW(HKEY_LOCAL_MACHINE, Key(), L"DLLPath", RRF_RT_ANY | RRF_NOEXPAND, nullptr, m_saved.data(), &size);
    }
  }
  void TearDown() override {
    if (m_hadValue) {
      Set(m_savedType, m_saved);
    } else {
      ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, Key(), L"DLLPath");
    }
  }

  static LPCWSTR Key() { return vx::AsWide(vx::kBrandingKey); }
  static void Set(DWORD type, const std::vector<BYTE>& data) {
    ASSERT_EQ(
        ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, Key(), L"DLLPath", type, data.data(), static_cast<DWORD>(data.size())),
        ERROR_SUCCESS);
  }
  static void RegisterBranding(const std::u16string& path) {
    const auto* bytes = reinterpret_cast<const BYTE*>(path.c_str());
    Set(REG_SZ, std::vector<BYTE>(bytes, bytes + (path.size() + 1) * sizeof(char16_t)));
  }

  vx::platform::Win32Registry registry;
  vx::Win32ResourceModules modules;
  vxtest::ScratchFolder folder;
  bool m_hadValue = false;
  DWORD m_savedType = 0;
  std::vector<BYTE> m_saved;
};

TEST_F(LanguageResources, TextsComeFromTheEnglishModuleWithTheSampleBranding) {
  RegisterBranding(BuildDir() + u"\\samples\\branding\\vxbranding.dll");
  vx::CBranding branding(registry, modules);
  vx::CLanguageResources resources(modules, BuildDir() + u"\\VXGPOSnapin.dll", ::GetModuleHandleW(nullptr), &branding);
  ASSERT_NE(resources.Module(), nullptr);
  EXPECT_NE(resources.Module(), ::GetModuleHandleW(nullptr));
  EXPECT_EQ(Utf16ToUtf8(resources.LoadText(138)), "Northwind Secure Logon");
  EXPECT_EQ(Utf16ToUtf8(resources.LoadText(6)),
            "No credential plug-ins of Northwind Secure Logon are installed on this computer. Authentication "
            "policies cannot be edited. Contact Northwind Help Desk.");
  EXPECT_EQ(Utf16ToUtf8(resources.LoadText(156)), "%ls\r\n\r\nError code: 0x%08X");
  EXPECT_EQ(resources.LoadText(9999), u"");
}

TEST_F(LanguageResources, MissingBrandingModuleGivesTheBuiltInTexts) {
  RegisterBranding(vx::AsU16((folder / L"no-such-branding.dll").c_str()));
  vx::CBranding branding(registry, modules);
  EXPECT_EQ(branding.Apply(u"<<%PN%>> / <<%MA%>>"), u"Vantorix Keystone Client / Vantorix");
  EXPECT_NE(modules.LastError(), 0u);
}

TEST_F(LanguageResources, WithoutALanguageFolderTheFileBesideTheModuleIsTaken) {
  const std::u16string dir = vx::AsU16(folder.Path().c_str());
  vx::CLanguageResources orphan(modules, dir + u"\\Orphan.dll", ::GetModuleHandleW(nullptr), nullptr);
  EXPECT_EQ(orphan.Module(), nullptr);
  EXPECT_EQ(orphan.LoadText(138), u"");
  // The preferred languages come from kernel32, looked up at run time.
  EXPECT_NE(vx::GetCurrentUserMUILanguage(modules).find(u'-'), std::u16string::npos);

  ASSERT_TRUE(::CopyFileW(vx::AsWide(BuildDir() + u"\\en-US\\VXGPOSnapin.dll.mui"),
                          (folder / L"Beside.dll.mui").c_str(), FALSE));
  vx::Win32ResourceModules own;  // frees the module before the folder goes
  HMODULE module = own.LoadLanguageModule(dir + u"\\Beside.dll", 0);
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(Utf16ToUtf8(own.LoadString(module, 159)), "Enabled");
  EXPECT_EQ(own.LoadLanguageModule(dir + u"\\Beside.dll", 0x0407), nullptr) << "no de-DE folder";
}

}  // namespace

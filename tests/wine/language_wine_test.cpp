// Language resources on the real platform: the en-US ".mui" found by the Win32 loader adapter, the
// sample branding module registered under DLLPath (the value is put back after each test), and the
// fallback when no ".mui" is there.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_registry.h"
#include "support/branding.h"
#include "support/language.h"
#include "support/win32/language_win32.h"

namespace {

// The build tree: this program is <build>\tests\wine\language_wine_test.exe.
std::u16string BuildDir() {
  std::u16string path = vx::ModuleLongPath(nullptr);
  for (int up = 0; up < 3; ++up) path.resize(path.find_last_of(u"\\/"));
  return path;
}

std::u16string TempDir() {
  wchar_t temp[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, temp);
  std::u16string dir = std::u16string(vx::AsU16(temp)) + u"vxlanguage-" +
                       vx::Widen(std::to_string(::GetCurrentProcessId()));
  ::CreateDirectoryW(vx::AsWide(dir), nullptr);
  return dir;
}

class LanguageResources : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, vx::AsWide(vx::kBrandingKey), 0, nullptr, 0,
                                               KEY_ALL_ACCESS, nullptr, &m_key, nullptr));
    DWORD size = 0;
    m_hadValue = ::RegQueryValueExW(m_key, L"DLLPath", nullptr, &m_savedType, nullptr, &size) == ERROR_SUCCESS;
    m_saved.resize(size);
    if (m_hadValue) ::RegQueryValueExW(m_key, L"DLLPath", nullptr, &m_savedType, m_saved.data(), &size);
  }
  void TearDown() override {
    if (m_hadValue) {
      ::RegSetValueExW(m_key, L"DLLPath", 0, m_savedType, m_saved.data(), static_cast<DWORD>(m_saved.size()));
    } else {
      ::RegDeleteValueW(m_key, L"DLLPath");
    }
    ::RegCloseKey(m_key);
  }
  void RegisterBranding(const std::u16string& path) {
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetValueExW(m_key, L"DLLPath", 0, REG_SZ, reinterpret_cast<const BYTE*>(path.c_str()),
                                              static_cast<DWORD>((path.size() + 1) * sizeof(char16_t))));
  }

  vx::platform::Win32Registry registry;
  vx::Win32ResourceModules modules;
  HKEY m_key = nullptr;
  bool m_hadValue = false;
  DWORD m_savedType = 0;
  std::vector<BYTE> m_saved;
};

TEST_F(LanguageResources, TextsComeFromTheEnglishModuleWithTheSampleBranding) {
  RegisterBranding(BuildDir() + u"\\samples\\branding\\vxbranding.dll");
  vx::CBranding branding(registry, modules);
  vx::CLanguageResources resources(modules, BuildDir() + u"\\VXGPOSnapin.dll", ::GetModuleHandleW(nullptr),
                                   &branding);
  ASSERT_NE(resources.Module(), nullptr);
  EXPECT_NE(resources.Module(), ::GetModuleHandleW(nullptr));
  EXPECT_EQ(vx::Utf16ToUtf8(resources.LoadText(138)), "Northwind Secure Logon");
  EXPECT_EQ(vx::Utf16ToUtf8(resources.LoadText(6)),
            "No credential plug-ins of Northwind Secure Logon are installed on this computer. Authentication "
            "policies cannot be edited. Contact Northwind Help Desk.");
  EXPECT_EQ(vx::Utf16ToUtf8(resources.LoadText(156)), "%ls\r\n\r\nError code: 0x%08X");
  EXPECT_EQ(resources.LoadText(9999), u"");
}

TEST_F(LanguageResources, MissingBrandingModuleGivesTheBuiltInTexts) {
  RegisterBranding(TempDir() + u"\\no-such-branding.dll");
  vx::CBranding branding(registry, modules);
  EXPECT_EQ(branding.Apply(u"<<%PN%>> / <<%MA%>>"), u"Vantorix Keystone Client / Vantorix");
  EXPECT_NE(modules.LastError(), 0u);
}

TEST_F(LanguageResources, WithoutAModuleFileTheChainFindsNothing) {
  const std::u16string dir = TempDir();
  vx::CLanguageResources resources(modules, dir + u"\\Orphan.dll", ::GetModuleHandleW(nullptr), nullptr);
  EXPECT_EQ(resources.Module(), nullptr);
  EXPECT_EQ(resources.LoadText(138), u"");
  // The preferred languages come from kernel32, looked up at run time.
  EXPECT_NE(vx::GetCurrentUserMUILanguage(modules).find(u'-'), std::u16string::npos);
}

TEST_F(LanguageResources, TheNeutralSearchFindsTheModuleFileBesideTheModule) {
  const std::u16string dir = TempDir();
  const std::u16string mui = dir + u"\\Beside.dll.mui";
  ASSERT_TRUE(::CopyFileW(vx::AsWide(BuildDir() + u"\\en-US\\VXGPOSnapin.dll.mui"), vx::AsWide(mui), FALSE));
  {
    vx::Win32ResourceModules own;
    HMODULE module = own.LoadLanguageModule(dir + u"\\Beside.dll", 0);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(vx::Utf16ToUtf8(own.LoadString(module, 159)), "Enabled");
    EXPECT_EQ(own.LoadLanguageModule(dir + u"\\Beside.dll", 0x0407), nullptr);  // no de-DE folder
  }
  EXPECT_TRUE(::DeleteFileW(vx::AsWide(mui)));
  ::RemoveDirectoryW(vx::AsWide(dir));
}

}  // namespace

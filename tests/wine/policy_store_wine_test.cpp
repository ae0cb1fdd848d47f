// The policy store through the Win32 adapter of IGPEInformation and the real registry (Wine).
// The editor is a small COM object of this test: each test's GPO lives below its own
// HKCU\Software\VXGPOSnapinTests\<pid>-<n> (one subkey per section), removed again after the test.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/text.h"
#include "policy/auth_policy.h"
#include "policy/win32/gpe_information.h"

using Microsoft::WRL::ComPtr;
using namespace vx::policy;

namespace {

// IID_IGPEInformation
constexpr GUID kIidGpeInformation = {0x8FC0B735, 0xA0E1, 0x11D1, {0xA7, 0xD3, 0x00, 0x00, 0xF8, 0x75, 0x71, 0xE3}};
constexpr char16_t kTestsKey[] = u"Software\\VXGPOSnapinTests";

std::u16string NextScratchPath() {
  static std::atomic<unsigned> counter{0};
  return std::u16string(kTestsKey) + u"\\" +
         vx::Widen(std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++counter));
}

// The editor's side: a section key per section, and a record of every PolicyChanged.
class TestGpeInformation final : public IGPEInformation {
 public:
  struct Notice {
    BOOL machine;
    BOOL add;
    GUID extension;
    GUID snapin;
  };

  explicit TestGpeInformation(std::u16string root) : m_root(std::move(root)) {}

  STDMETHODIMP QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, kIidGpeInformation)) return E_NOINTERFACE;
    *object = static_cast<IGPEInformation*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG refs = --m_refs;
    if (refs == 0) delete this;
    return refs;
  }
  STDMETHODIMP GetName(LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetDisplayName(LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetRegistryKey(DWORD section, HKEY* key) override {
    *key = nullptr;
    if (handOutNullKey) return S_OK;
    const std::u16string path = SectionPath(section);
    const LONG rc = ::RegCreateKeyExW(HKEY_CURRENT_USER, vx::AsWide(path), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                      key, nullptr);
    return vx::HResultFromWin32(rc);
  }
  STDMETHODIMP GetDSPath(DWORD, LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetFileSysPath(DWORD, LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetOptions(DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP GetType(GROUP_POLICY_OBJECT_TYPE* type) override {
    *type = GPOTypeDS;
    return S_OK;
  }
  STDMETHODIMP GetHint(GROUP_POLICY_HINT_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP PolicyChanged(BOOL machine, BOOL add, GUID* extension, GUID* snapin) override {
    notices.push_back({machine, add, *extension, *snapin});
    return S_OK;
  }

  std::u16string SectionPath(DWORD section) const {
    return m_root + (section == 2 ? u"\\Machine" : u"\\User");
  }

  std::vector<Notice> notices;
  bool handOutNullKey = false;

 private:
  std::atomic<ULONG> m_refs{1};
  std::u16string m_root;
};

class PolicyStoreWine : public ::testing::Test {
 protected:
  PolicyStoreWine() : m_root(NextScratchPath()) {
    auto* editor = new TestGpeInformation(m_root);
    m_editor = editor;
    editor->Release();  // the birth reference (Attach differs between WRL implementations)
    ComPtr<IGPEInformation> information;
    EXPECT_EQ(m_editor->QueryInterface(kIidGpeInformation, reinterpret_cast<void**>(information.GetAddressOf())), S_OK);
    m_gpe = std::make_unique<CGpeInformation>(information);
  }
  ~PolicyStoreWine() override {
    m_gpe.reset();
    m_editor->AddRef();
    EXPECT_EQ(m_editor->Release(), 1u) << "the adapter released the editor";
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, vx::AsWide(m_root), 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
      ::RegDeleteTreeW(key, nullptr);
      ::RegCloseKey(key);
      ::RegDeleteKeyW(HKEY_CURRENT_USER, vx::AsWide(m_root));
    }
    ::RegDeleteKeyW(HKEY_CURRENT_USER, vx::AsWide(kTestsKey));  // goes with the last scratch key in it
    EXPECT_NE(::RegOpenKeyExW(HKEY_CURRENT_USER, vx::AsWide(m_root), 0, KEY_READ, &key), ERROR_SUCCESS);
  }

  std::u16string PathBelow(DWORD section, std::u16string_view path) const {
    return m_editor->SectionPath(section) + u"\\" + std::u16string(path);
  }
  bool KeyExists(DWORD section, std::u16string_view path) const {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, vx::AsWide(PathBelow(section, path)), 0, KEY_READ, &key) != ERROR_SUCCESS)
      return false;
    ::RegCloseKey(key);
    return true;
  }
  // The raw bytes of a value under the application key, as the platform reads them.
  std::vector<BYTE> RawValue(DWORD section, const char16_t* name, DWORD* type) const {
    HKEY key = nullptr;
    std::vector<BYTE> bytes;
    *type = REG_NONE;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, vx::AsWide(PathBelow(section, kApplicationKey)), 0, KEY_READ, &key) !=
        ERROR_SUCCESS)
      return bytes;
    DWORD size = 0;
    if (::RegQueryValueExW(key, vx::AsWide(name), nullptr, type, nullptr, &size) == ERROR_SUCCESS) {
      bytes.resize(size);
      EXPECT_EQ(::RegQueryValueExW(key, vx::AsWide(name), nullptr, type, bytes.data(), &size), ERROR_SUCCESS);
    }
    ::RegCloseKey(key);
    return bytes;
  }
  void PutRaw(DWORD section, const char16_t* name, DWORD type, std::u16string_view text) {
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, vx::AsWide(PathBelow(section, kApplicationKey)), 0, nullptr, 0,
                                KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    ::RegSetValueExW(key, vx::AsWide(name), 0, type, reinterpret_cast<const BYTE*>(text.data()),
                     static_cast<DWORD>(text.size() * sizeof(char16_t)));
    ::RegCloseKey(key);
  }
  HRESULT Save(DWORD section, const char16_t* name, std::vector<ULONGLONG> masks, bool disabled = false) {
    CGPOAuthPolicy policy;
    for (ULONGLONG mask : masks) policy.Add(mask);
    policy.SetDisabled(disabled);
    return policy.Save(m_gpe.get(), section, name);
  }

  std::u16string m_root;
  ComPtr<TestGpeInformation> m_editor;
  std::unique_ptr<CGpeInformation> m_gpe;
};

TEST_F(PolicyStoreWine, SavedBytesAreTheMultiStringImageAndLoadBack) {
  ASSERT_EQ(Save(2, kLogonPolicy, {1, 6}), S_OK);
  DWORD type = REG_NONE;
  const auto bytes = RawValue(2, kLogonPolicy, &type);
  EXPECT_EQ(type, static_cast<DWORD>(REG_MULTI_SZ));
  const std::u16string image(u"0000000000000001\0" u"0000000000000006\0\0", 35);
  ASSERT_EQ(bytes.size(), 70u);
  EXPECT_EQ(std::memcmp(bytes.data(), image.data(), 70), 0);

  CGPOAuthPolicy loaded;
  ASSERT_EQ(loaded.Load(m_gpe.get(), 2, kLogonPolicy), S_OK);
  EXPECT_EQ(std::vector<ULONGLONG>(loaded.Masks().begin(), loaded.Masks().end()), (std::vector<ULONGLONG>{1, 6}));
  EXPECT_EQ(loaded.State(), SettingState::Enabled);

  ASSERT_EQ(m_editor->notices.size(), 1u);
  EXPECT_EQ(m_editor->notices[0].machine, TRUE);
  EXPECT_EQ(m_editor->notices[0].add, TRUE);
  EXPECT_TRUE(IsEqualGUID(m_editor->notices[0].extension, GUID_RegistryExtension));
  EXPECT_TRUE(IsEqualGUID(m_editor->notices[0].snapin, GUID_ComputerSnapin));
}

TEST_F(PolicyStoreWine, HighMasksAndTheDisabledMarkerRoundTrip) {
  const std::vector<ULONGLONG> high = {0xFFFFFFFFFFFFFFFFull, 0x8000000000000000ull};
  ASSERT_EQ(Save(1, kRuntimePolicy, high), S_OK);
  CGPOAuthPolicy runtime;
  ASSERT_EQ(runtime.Load(m_gpe.get(), 1, kRuntimePolicy), S_OK);
  EXPECT_EQ(std::vector<ULONGLONG>(runtime.Masks().begin(), runtime.Masks().end()), high);

  ASSERT_EQ(Save(1, GPO_DisableCredentials, {}, true), S_OK);
  DWORD type = REG_NONE;
  EXPECT_EQ(RawValue(1, GPO_DisableCredentials, &type), (std::vector<BYTE>{0, 0}));
  CGPOAuthPolicy disabled;
  ASSERT_EQ(disabled.Load(m_gpe.get(), 1, GPO_DisableCredentials), S_OK);
  EXPECT_EQ(disabled.State(), SettingState::Disabled);
  ASSERT_EQ(m_editor->notices.size(), 2u);
  EXPECT_EQ(m_editor->notices[1].machine, FALSE);
}

TEST_F(PolicyStoreWine, NotConfiguredPrunesUpToPolicies) {
  ASSERT_EQ(Save(2, kKioskRuntimePolicy, {3}), S_OK);
  ASSERT_TRUE(KeyExists(2, kApplicationKey));
  ASSERT_EQ(Save(2, kKioskRuntimePolicy, {}), S_OK);
  EXPECT_FALSE(KeyExists(2, u"Software\\Policies\\Vantorix"));
  EXPECT_TRUE(KeyExists(2, kPoliciesKey));
  ASSERT_EQ(m_editor->notices.size(), 2u);
  EXPECT_EQ(m_editor->notices[1].add, FALSE);

  // Deleting what is not there still tells the editor.
  ASSERT_EQ(Save(2, kKioskRuntimePolicy, {}), S_OK);
  EXPECT_EQ(m_editor->notices.size(), 3u);
}

TEST_F(PolicyStoreWine, OtherShapesAndMissingKeys) {
  CGPOAuthPolicy missing;
  EXPECT_EQ(missing.Load(m_gpe.get(), 2, kLogonPolicy), static_cast<HRESULT>(0x80070002u));

  PutRaw(2, kLogonPolicy, REG_SZ, std::u16string_view(u"0000000000000001\0", 17));
  CGPOAuthPolicy text;
  ASSERT_EQ(text.Load(m_gpe.get(), 2, kLogonPolicy), S_OK);
  EXPECT_EQ(text.State(), SettingState::NotConfigured);

  m_editor->handOutNullKey = true;
  CGPOAuthPolicy noKey;
  EXPECT_EQ(noKey.Load(m_gpe.get(), 2, kLogonPolicy), E_UNEXPECTED);
}

}  // namespace

// What the Wine tests share: files beside the program, a scratch folder and a scratch registry key of
// their own, and the editor's side of a GPO over such a key.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <prsht.h>
#include <gpedit.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace vxtest {

// IID_IGPEInformation, which not every import library defines.
inline constexpr GUID kIidGpeInformation = {
    0x8FC0B735, 0xA0E1, 0x11D1, {0xA7, 0xD3, 0x00, 0x00, 0xF8, 0x75, 0x71, 0xE3}};

inline std::wstring BesideProgram(const std::wstring& file) {
  wchar_t path[MAX_PATH];
  const DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring directory(path, n);
  return directory.substr(0, directory.find_last_of(L'\\') + 1) + file;
}

// "<pid>-<n>": unique in this prefix while the process runs.
inline std::wstring UniqueName() {
  static std::atomic<unsigned> counter{0};
  return std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++counter);
}

// A new folder below the temporary folder, removed with everything in it.
class ScratchFolder {
 public:
  ScratchFolder() {
    wchar_t temp[MAX_PATH + 1] = {};
    ::GetTempPathW(MAX_PATH + 1, temp);
    m_path = std::wstring(temp) + L"vx-" + UniqueName();
    std::filesystem::create_directories(m_path);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::wstring& Path() const { return m_path; }
  std::wstring operator/(const std::wstring& name) const { return m_path + L"\\" + name; }

 private:
  std::wstring m_path;
};

// HKCU\Software\VXGPOSnapinTests\<pid>-<n>, removed with everything below it (and the common parent
// with the last one).
class ScratchKey {
 public:
  ScratchKey() : m_path(std::wstring(kParent) + L"\\" + UniqueName()) {}
  ~ScratchKey() {
    ::RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str());
    ::RegDeleteKeyW(HKEY_CURRENT_USER, m_path.c_str());
    ::RegDeleteKeyW(HKEY_CURRENT_USER, kParent);
  }
  ScratchKey(const ScratchKey&) = delete;
  ScratchKey& operator=(const ScratchKey&) = delete;
  const std::wstring& Path() const { return m_path; }

 private:
  static constexpr wchar_t kParent[] = L"Software\\VXGPOSnapinTests";
  std::wstring m_path;
};

// The editor's side of a GPO: the key of a section is Machine or User below a scratch key, and every
// PolicyChanged is recorded. It lives in the test: references are counted, never deleted through.
class TestGpeInformation final : public IGPEInformation {
 public:
  struct Notice {
    BOOL machine, add;
    GUID extension, snapin;
  };

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid != IID_IUnknown && iid != kIidGpeInformation) return E_NOINTERFACE;
    *out = static_cast<IGPEInformation*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++refs; }
  STDMETHODIMP_(ULONG) Release() override { return --refs; }
  STDMETHODIMP GetName(LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetDisplayName(LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetRegistryKey(DWORD section, HKEY* key) override {
    *key = nullptr;
    if (handOutNullKey) return S_OK;
    return HRESULT_FROM_WIN32(::RegCreateKeyExW(HKEY_CURRENT_USER, SectionPath(section).c_str(), 0, nullptr, 0,
                                                KEY_ALL_ACCESS, nullptr, key, nullptr));
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

  std::wstring SectionPath(DWORD section) const {
    return scratch.Path() + (section == GPO_SECTION_MACHINE ? L"\\Machine" : L"\\User");
  }

  ScratchKey scratch;
  std::vector<Notice> notices;
  bool handOutNullKey = false;
  std::atomic<ULONG> refs{1};
};

}  // namespace vxtest

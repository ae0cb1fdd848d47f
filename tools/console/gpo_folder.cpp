#include "gpo_folder.h"

#include <memory>

#include "gpo/gpo_files.h"
#include "platform/text.h"
#include "platform/win32/win32_registry.h"

namespace vx::console {
namespace {

HRESULT CopyOut(const std::wstring& text, LPOLESTR out, int length) {
  if (!out || length <= 0) return E_INVALIDARG;
  if (text.size() >= static_cast<size_t>(length)) return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
  text.copy(out, text.size());
  out[text.size()] = L'\0';
  return S_OK;
}

}  // namespace

GpoFolder::~GpoFolder() {
  for (HKEY& key : m_keys)
    if (key) ::RegCloseKey(key);
  if (!m_root.empty()) ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
}

HRESULT GpoFolder::Load() {
  m_root = L"Software\\VXConsoleHost\\" + std::to_wstring(::GetCurrentProcessId());
  ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
  HRESULT hr = LoadSection(true);
  if (SUCCEEDED(hr)) hr = LoadSection(false);
  return hr;
}

HRESULT GpoFolder::LoadSection(bool machine) {
  HKEY& key = m_keys[machine ? 1 : 0];
  const std::wstring path = m_root + (machine ? L"\\Machine" : L"\\User");
  LONG status = ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
  std::unique_ptr<platform::IRegistryKey> root = platform::WrapRegistryKey(key, false);
  std::u16string error;
  const HRESULT hr = gpo::LoadGpoSection(m_files, AsU16(m_folder.c_str()), machine, *root, error);
  m_error.assign(error.begin(), error.end());
  return hr;
}

STDMETHODIMP GpoFolder::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (iid != IID_IUnknown && iid != IID_IGPEInformation) return E_NOINTERFACE;
  *out = static_cast<IGPEInformation*>(this);
  AddRef();
  return S_OK;
}

STDMETHODIMP GpoFolder::GetName(LPOLESTR name, int length) { return CopyOut(L"Local", name, length); }
STDMETHODIMP GpoFolder::GetDisplayName(LPOLESTR name, int length) { return CopyOut(m_folder, name, length); }

// Each caller gets a handle of its own to the section's key, and closes it.
STDMETHODIMP GpoFolder::GetRegistryKey(DWORD section, HKEY* key) {
  if (!key) return E_POINTER;
  *key = nullptr;
  if (section != GPO_SECTION_MACHINE && section != GPO_SECTION_USER) return E_INVALIDARG;
  HKEY source = m_keys[section == GPO_SECTION_MACHINE ? 1 : 0];
  if (!source) return E_UNEXPECTED;
  return HRESULT_FROM_WIN32(::RegOpenKeyExW(source, nullptr, 0, KEY_ALL_ACCESS, key));
}

STDMETHODIMP GpoFolder::GetDSPath(DWORD, LPOLESTR path, int length) { return CopyOut(L"", path, length); }

STDMETHODIMP GpoFolder::GetFileSysPath(DWORD section, LPOLESTR path, int length) {
  if (section == GPO_SECTION_ROOT) return CopyOut(m_folder, path, length);
  if (section != GPO_SECTION_MACHINE && section != GPO_SECTION_USER) return E_INVALIDARG;
  return CopyOut(SectionFolder(section == GPO_SECTION_MACHINE), path, length);
}

STDMETHODIMP GpoFolder::GetOptions(DWORD* options) {
  if (!options) return E_POINTER;
  *options = 0;
  return S_OK;
}

STDMETHODIMP GpoFolder::GetType(GROUP_POLICY_OBJECT_TYPE* type) {
  if (!type) return E_POINTER;
  *type = GPOTypeLocal;
  return S_OK;
}

STDMETHODIMP GpoFolder::GetHint(GROUP_POLICY_HINT_TYPE* hint) {
  if (!hint) return E_POINTER;
  *hint = GPHintMachine;
  return S_OK;
}

STDMETHODIMP GpoFolder::PolicyChanged(BOOL machine, BOOL, GUID*, GUID*) {
  std::unique_ptr<platform::IRegistryKey> root = platform::WrapRegistryKey(m_keys[machine ? 1 : 0], false);
  return gpo::SaveGpoSection(m_files, AsU16(m_folder.c_str()), machine != FALSE, *root);
}

}  // namespace vx::console

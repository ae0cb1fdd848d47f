#include "policy/win32/gpe_information.h"

#include "platform/win32/win32_registry.h"

namespace vx::policy {

HRESULT CGpeInformation::GetType(DWORD* gpoType) {
  if (!gpoType) return E_POINTER;
  if (!m_information) return E_UNEXPECTED;
  GROUP_POLICY_OBJECT_TYPE type = GPOTypeLocal;
  const HRESULT hr = m_information->GetType(&type);
  if (SUCCEEDED(hr)) *gpoType = static_cast<DWORD>(type);
  return hr;
}

HRESULT CGpeInformation::GetRegistryKey(DWORD section, CRegKey* key) {
  if (!key) return E_POINTER;
  key->reset();
  if (!m_information) return E_UNEXPECTED;
  HKEY hkey = nullptr;
  const HRESULT hr = m_information->GetRegistryKey(section, &hkey);
  if (FAILED(hr)) {
    if (hkey) ::RegCloseKey(hkey);
    return hr;
  }
  *key = platform::WrapRegistryKey(hkey, true);  // a null handle stays no key
  return hr;
}

HRESULT CGpeInformation::PolicyChanged(BOOL machine, BOOL add, const GUID* extension, const GUID* snapin) {
  if (!m_information) return E_UNEXPECTED;
  // The interface takes non-const pointers but only reads them.
  return m_information->PolicyChanged(machine, add, const_cast<GUID*>(extension), const_cast<GUID*>(snapin));
}

}  // namespace vx::policy

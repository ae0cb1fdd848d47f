#include "policy/memory_gpo_information.h"

namespace vx::policy {

std::u16string MemoryGpoInformation::SectionPath(DWORD section) {
  if (section == 1) return u"GroupPolicyObject\\User";
  if (section == 2) return u"GroupPolicyObject\\Machine";
  return {};
}

HRESULT MemoryGpoInformation::GetType(DWORD* type) {
  ++getTypeCalls;
  if (FAILED(getTypeResult)) return getTypeResult;
  if (!type) return E_POINTER;
  *type = gpoType;
  return S_OK;
}

HRESULT MemoryGpoInformation::GetRegistryKey(DWORD section, CRegKey* key) {
  if (!key) return E_POINTER;
  key->reset();
  if (FAILED(getRegistryKeyResult)) return getRegistryKeyResult;
  if (SectionPath(section).empty()) return E_INVALIDARG;
  if (!handOutNullKey) {
    *key = SectionKey(section);
    if (!*key) return E_FAIL;
  }
  keysHandedOut.push_back(section);
  return S_OK;
}

HRESULT MemoryGpoInformation::PolicyChanged(BOOL machine, BOOL add, const GUID* extension, const GUID* snapin) {
  policyChanged.push_back({machine, add, extension ? *extension : GUID{}, snapin ? *snapin : GUID{}});
  return policyChangedResult;
}

CRegKey MemoryGpoInformation::SectionKey(DWORD section) {
  CRegKey key;
  const std::u16string path = SectionPath(section);
  if (path.empty() || registry.CreateKey(kRoot, path, KEY_ALL_ACCESS, key) != ERROR_SUCCESS) return nullptr;
  return key;
}

}  // namespace vx::policy

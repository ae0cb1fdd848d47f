// A GPO over the in-memory registry, for tests and Linux tools: each section is a key of its own
// (HKCU\GroupPolicyObject\User and ...\Machine); every PolicyChanged call is recorded; each call can be
// told to fail, and GetRegistryKey to succeed without a key.
#pragma once

#include <string>
#include <vector>

#include "platform/memory/memory_registry.h"
#include "policy/gpo_information.h"

namespace vx::policy {

class MemoryGpoInformation final : public IGpoInformation {
 public:
  struct PolicyChangedCall {
    BOOL machine;
    BOOL add;
    GUID extension;
    GUID snapin;
  };

  static constexpr platform::RegistryRoot kRoot = platform::RegistryRoot::CurrentUser;
  // The path of a section's root key below kRoot (empty for a section that does not exist).
  static std::u16string SectionPath(DWORD section);

  HRESULT GetType(DWORD* gpoType) override;
  HRESULT GetRegistryKey(DWORD section, CRegKey* key) override;
  HRESULT PolicyChanged(BOOL machine, BOOL add, const GUID* extension, const GUID* snapin) override;

  platform::MemoryRegistry& Registry() { return registry; }
  // The section's root key, created when missing (for tests that arrange or inspect values).
  CRegKey SectionKey(DWORD section);
  // The section's subtree as MemoryRegistry::Dump shows it.
  std::string Dump(DWORD section) const { return registry.Dump(kRoot, SectionPath(section)); }

  platform::MemoryRegistry registry;
  DWORD gpoType = 0;  // GPOTypeLocal
  HRESULT getTypeResult = S_OK;
  HRESULT getRegistryKeyResult = S_OK;
  HRESULT policyChangedResult = S_OK;
  bool handOutNullKey = false;
  int getTypeCalls = 0;
  std::vector<DWORD> keysHandedOut;  // sections, one per successful GetRegistryKey
  std::vector<PolicyChangedCall> policyChanged;
};

}  // namespace vx::policy

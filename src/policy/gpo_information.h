// The Group Policy editor's information about the GPO being edited (IGPEInformation), as a port:
// its type, the registry key of a section, and the notice that the GPO's registry policy changed.
// The Win32 adapter is policy/win32/gpe_information.h; a recording one is memory_gpo_information.h.
#pragma once

#include <memory>

#include "platform/registry.h"
#include "platform/wintypes.h"

namespace vx::policy {

// The registry client-side extension of Group Policy.
inline constexpr GUID GUID_RegistryExtension = {
    0x35378EAC, 0x683F, 0x11D2, {0xA8, 0x9A, 0x00, 0xC0, 0x4F, 0xBB, 0xCF, 0xA2}};
// This system's Group Policy editor extension (the snap-in's CLSID), for both sections.
inline constexpr GUID GUID_ComputerSnapin = {
    0x0471D727, 0x58C9, 0x47C4, {0x83, 0x50, 0x7D, 0x99, 0xEB, 0x9B, 0x60, 0xEB}};

// GROUP_POLICY_OBJECT_TYPE.
inline constexpr DWORD kGpoTypeLocal = 0;
inline constexpr DWORD kGpoTypeRemote = 1;
inline constexpr DWORD kGpoTypeDS = 2;

// A registry key held by the policy store (closed when it goes).
using CRegKey = std::unique_ptr<platform::IRegistryKey>;

class IGpoInformation {
 public:
  virtual ~IGpoInformation() = default;
  virtual HRESULT GetType(DWORD* gpoType) = 0;
  // The open root key of the section (1 user, 2 machine); the caller owns it. A success may still
  // hand out no key.
  virtual HRESULT GetRegistryKey(DWORD section, CRegKey* key) = 0;
  virtual HRESULT PolicyChanged(BOOL machine, BOOL add, const GUID* extension, const GUID* snapin) = 0;
};

}  // namespace vx::policy

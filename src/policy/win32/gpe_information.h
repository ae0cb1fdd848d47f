// The GPO information port over the Group Policy editor's IGPEInformation.
#pragma once

#include "platform/wintypes.h"

#include <objbase.h>
#include <prsht.h>
#include <gpedit.h>
#include <wrl/client.h>

#include "policy/gpo_information.h"

namespace vx::policy {

class CGpeInformation final : public IGpoInformation {
 public:
  explicit CGpeInformation(Microsoft::WRL::ComPtr<IGPEInformation> information)
      : m_information(std::move(information)) {}

  HRESULT GetType(DWORD* gpoType) override;
  // The editor's section key, closed with the port key.
  HRESULT GetRegistryKey(DWORD section, CRegKey* key) override;
  HRESULT PolicyChanged(BOOL machine, BOOL add, const GUID* extension, const GUID* snapin) override;

 private:
  Microsoft::WRL::ComPtr<IGPEInformation> m_information;
};

}  // namespace vx::policy

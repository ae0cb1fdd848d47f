// Removal of plug-in component registrations under HKLM "SOFTWARE\Vantorix\KELT\Plugins", for
// components whose unregistration callback asks for it. A key goes together with every parent below
// Plugins that it leaves without subkeys.
#pragma once

#include <memory>
#include <string_view>

#include "platform/registry.h"
#include "platform/wintypes.h"

namespace KELT_SDK {

inline constexpr char16_t kPluginsKey[] = u"SOFTWARE\\Vantorix\\KELT\\Plugins";

class CRegistrarBase {
 public:
  virtual ~CRegistrarBase() = default;
  virtual HRESULT UnregisterComponent(std::u16string_view categoryPath, const CLSID& clsid) = 0;
  virtual HRESULT DeleteComponentKey(std::u16string_view path1, std::u16string_view path2) = 0;
};

class CUnregisterComponents : public CRegistrarBase {
 public:
  // Opens the Plugins key for writing; a failure is kept and answered by every operation.
  explicit CUnregisterComponents(vx::platform::IRegistry& registry);
  ~CUnregisterComponents() override;

  HRESULT UnregisterComponent(std::u16string_view categoryPath, const CLSID& clsid) override;
  HRESULT DeleteComponentKey(std::u16string_view path1, std::u16string_view path2) override;

  HRESULT OpenResult() const { return m_hrOpen; }

 private:
  std::unique_ptr<vx::platform::IRegistryKey> m_pluginsKey;
  HRESULT m_hrOpen = S_OK;
};

}  // namespace KELT_SDK

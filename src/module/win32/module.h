// CVXAdminSnapinModule: the process-wide module object behind the DLL's exports. It keeps the module
// and resource module handles, the class-object map, the type library id and the per-user flag of
// DllInstall; the lock count is CModuleLock's.
#pragma once

#include "platform/wintypes.h"

namespace vx::module {

// Registered at load: the policy editor refreshes its view on the first; the pages broadcast the
// second after saving policies.
extern UINT g_wmKeltUpdateView;
extern UINT g_wmKeltBroadcastNotification;

// {7B9E7131-B528-450C-A637-7ECE1E77E76C} 1.0
inline constexpr GUID LIBID_VXGPOSnapinLib = {0x7b9e7131, 0xb528, 0x450c, {0xa6, 0x37, 0x7e, 0xce, 0x1e, 0x77, 0xe7, 0x6c}};

class CVXAdminSnapinModule {
 public:
  // Process attach: remembers the module, loads the resources; false only on a failed initialisation.
  bool Attach(HINSTANCE instance);
  void Detach(bool processEnding);

  HMODULE Module() const { return m_module; }
  HMODULE ResourceModule() const { return m_resourceModule ? m_resourceModule : m_module; }

  HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** out);
  HRESULT CanUnloadNow() const;
  HRESULT RegisterServer();
  HRESULT UnregisterServer();

  // Set by DllInstall for the registration it runs.
  void SetPerUser(bool perUser) { m_perUser = perUser; }
  bool PerUser() const { return m_perUser; }

 private:
  HMODULE m_module = nullptr;
  HMODULE m_resourceModule = nullptr;
  bool m_perUser = false;
};

CVXAdminSnapinModule& Module();

}  // namespace vx::module

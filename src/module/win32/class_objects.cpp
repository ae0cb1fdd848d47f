// The class-object map: one entry per creatable class, each with its class factory.
#include <iterator>

#include "module/win32/com_object.h"
#include "module/win32/module.h"
#include "snapin/win32/clipboard_formats.h"
#include "module/win32/rsop_factory.h"
#include "snapin/win32/computer_snapin.h"

namespace vx::module {

namespace {

struct ClassObjectEntry {
  const CLSID* clsid;
  HRESULT (*createFactory)(REFIID iid, void** out);
};

const ClassObjectEntry kClassObjects[] = {
    {&vx::snapin::CLSID_ComputerSnapin, &CreateComInstance<CClassFactory<vx::snapin::CComputerSnapin>>},
    {&vx::snapin::CLSID_RsopSnapin, &CreateComInstance<CRsopFactory>},
    {&vx::snapin::CLSID_UserRsopSnapin, &CreateComInstance<CUserRsopFactory>},
};

}  // namespace

HRESULT CVXAdminSnapinModule::GetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  // The clipboard formats are registered before any object exists (user32 is not called from DllMain).
  vx::snapin::Formats();
  for (const ClassObjectEntry& entry : kClassObjects) {
    if (*entry.clsid == clsid) return entry.createFactory(iid, out);
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CVXAdminSnapinModule::CanUnloadNow() const {
  return CModuleLock::Count() == 0 ? S_OK : S_FALSE;
}

}  // namespace vx::module

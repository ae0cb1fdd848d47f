#include "module/win32/rsop_factory.h"

#include <wrl/client.h>

#include "rsop/win32/rsop_snapin_mode.h"
#include "snapin/win32/computer_snapin.h"
#include "support/check.h"

namespace vx::module {

namespace {

// The common steps; machineSection false also switches the new object to the user section.
HRESULT CreateRsopSnapin(const char* scopeName, IUnknown* outer, REFIID iid, void** out, bool machineSection) {
  VXTraceNS::CTraceScope scope(scopeName);
  return HResultBoundary(scope, [&]() -> HRESULT {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr && iid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
    Microsoft::WRL::ComPtr<IUnknown> object;
    VX_CHECK(StandardCreate<vx::snapin::CComputerSnapin>(outer, iid, reinterpret_cast<void**>(object.GetAddressOf())));
    VX_CHECK(vx::rsop::PutRsop(object.Get()));
    if (!machineSection) VX_CHECK(vx::rsop::PutMachineSection(object.Get(), FALSE));
    *out = object.Detach();
    return S_OK;
  });
}

}  // namespace

HRESULT CRsopFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
  return CreateRsopSnapin("CRsopFactory::CreateInstance()", outer, iid, out, true);
}

HRESULT CUserRsopFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) {
  return CreateRsopSnapin("CUserRsopFactory::CreateInstance()", outer, iid, out, false);
}

}  // namespace vx::module

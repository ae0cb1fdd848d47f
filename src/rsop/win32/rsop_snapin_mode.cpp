#include "rsop/win32/rsop_snapin_mode.h"

#include <wrl/client.h>

#include "support/check.h"

namespace vx::rsop {

namespace {

template <class Call>
HRESULT WithMode(const char* scopeName, IUnknown* object, Call call) {
  VXTraceNS::CTraceScope scope(scopeName);
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(object);
    Microsoft::WRL::ComPtr<IVXRsopSnapinMode> mode;
    if (FAILED(object->QueryInterface(IID_IVXRsopSnapinMode, reinterpret_cast<void**>(mode.GetAddressOf()))))
      return E_NOINTERFACE;
    return call(mode.Get());
  });
}

}  // namespace

HRESULT PutRsop(IUnknown* object) {
  return WithMode("CRsopData::PutRsop()", object, [](IVXRsopSnapinMode* mode) { return mode->put_Rsop(VARIANT_TRUE); });
}

HRESULT PutMachineSection(IUnknown* object, BOOL machine) {
  return WithMode("CRsopData::PutMachineSection()", object, [machine](IVXRsopSnapinMode* mode) {
    return mode->put_MachineSection(machine ? VARIANT_TRUE : VARIANT_FALSE);
  });
}

}  // namespace vx::rsop

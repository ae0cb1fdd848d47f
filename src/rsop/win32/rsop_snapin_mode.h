// IVXRsopSnapinMode: how the RSoP class factories put a new snap-in object into its mode. After the
// three IUnknown slots it has four operations; the factories call the second (put RSoP mode) and the
// fourth (put machine section). The type library declares the same order.
#pragma once

#include <unknwn.h>

#include "platform/wintypes.h"

MIDL_INTERFACE("54C7735F-AC47-4290-9E9C-9A9EEA0C9150")
IVXRsopSnapinMode : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE get_Rsop(VARIANT_BOOL * rsop) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Rsop(VARIANT_BOOL rsop) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_MachineSection(VARIANT_BOOL * machine) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_MachineSection(VARIANT_BOOL machine) = 0;
};
#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(IVXRsopSnapinMode, 0x54c7735f, 0xac47, 0x4290, 0x9e, 0x9c, 0x9a, 0x9e, 0xea, 0x0c, 0x91, 0x50)
#endif

namespace vx::rsop {

inline constexpr IID IID_IVXRsopSnapinMode = {0x54c7735f, 0xac47, 0x4290, {0x9e, 0x9c, 0x9a, 0x9e, 0xea, 0x0c, 0x91, 0x50}};

// Puts a newly created snap-in object into RSoP mode (TRUE as the all-ones boolean).
// E_NOINTERFACE when the object has no IVXRsopSnapinMode; otherwise the interface's result.
HRESULT PutRsop(IUnknown* object);
// Chooses the section the object shows in RSoP mode (FALSE: the user section).
HRESULT PutMachineSection(IUnknown* object, BOOL machine);

}  // namespace vx::rsop

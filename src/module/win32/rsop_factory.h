// The class factories of the two RSoP registrations: each creates the snap-in object through the
// standard creator and then puts it into its mode through IVXRsopSnapinMode.
#pragma once

#include "module/win32/com_object.h"

namespace vx::module {

// Machine RSoP: RSoP mode on, the section left at its default (machine).
class CRsopFactory : public CClassFactoryBase {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
};

// User RSoP: RSoP mode on and the machine section switched off.
class CUserRsopFactory : public CClassFactoryBase {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
};

}  // namespace vx::module

// The console host's stand-in for the console library's property-change calls (there is no MMC
// here): a page's notification is posted to the host window named by its notify handle.
#include <windows.h>

#include "property_notify.h"

using vx::console::kNotifyTargetMagic;
using vx::console::PropertyNotifyTarget;

namespace {

// A handle the host gave out: anything else is refused rather than followed.
const PropertyNotifyTarget* TargetOf(LONG_PTR handle) {
  const auto* target = reinterpret_cast<const PropertyNotifyTarget*>(handle);
  if (target == nullptr || target->magic != kNotifyTargetMagic) return nullptr;
  return target;
}

}  // namespace

extern "C" HRESULT STDAPICALLTYPE MMCPropertyChangeNotify(LONG_PTR handle, LPARAM param) {
  const PropertyNotifyTarget* target = TargetOf(handle);
  if (target == nullptr || !::IsWindow(target->window)) return E_INVALIDARG;
  static const UINT message = ::RegisterWindowMessageW(vx::console::kPropertyChangeMessageName);
  return ::PostMessageW(target->window, message, static_cast<WPARAM>(handle), param)
             ? S_OK
             : HRESULT_FROM_WIN32(::GetLastError());
}

// The host keeps its targets until it closes; freeing only checks the handle.
extern "C" HRESULT STDAPICALLTYPE MMCFreeNotifyHandle(LONG_PTR handle) {
  return TargetOf(handle) ? S_OK : E_INVALIDARG;
}

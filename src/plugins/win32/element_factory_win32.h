// Plug-in modules on Windows: loads a registered module (its signature checked first), creates its
// element through the module's class object, and presents the COM element to the core as IUIElement.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/wintypes.h"
#include "plugins/element.h"
#include "support/trace.h"

#include <objbase.h>
#include <vxkelt/kelt_plugin.h>

namespace vx::plugins {

class Win32ElementFactory final : public IElementFactory {
 public:
  // verifier answers for modules that are not in the process yet; never null.
  explicit Win32ElementFactory(std::shared_ptr<ISignatureVerifier> verifier);

  // S_OK with the element; a module that is loaded here stays loaded for the life of the process.
  // NTE_BAD_SIGNATURE when the module's signature does not verify (it is then not loaded);
  // HRESULT_FROM_WIN32 of the loader's error; the module's own failure codes as they come.
  HRESULT CreateInstance(std::u16string_view modulePath, const GUID& clsid, ElementPtr& element) override;

 private:
  HRESULT Create(VXTraceNS::CTraceScope& scope, const std::u16string& path, const GUID& clsid, ElementPtr& element);

  std::shared_ptr<ISignatureVerifier> m_verifier;
};

// The core's view of a COM element (a reference is taken); null for null.
ElementPtr WrapElement(IKELTElementUI* element);

}  // namespace vx::plugins

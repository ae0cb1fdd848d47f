// The code-signature check of plug-in modules: WinVerifyTrust with the generic Authenticode policy,
// without UI and without revocation checks (the console may run on a machine without network).
#pragma once

#include <string_view>

#include "plugins/element.h"
#include "platform/wintypes.h"

namespace vx::plugins {

class Win32SignatureVerifier final : public ISignatureVerifier {
 public:
  // True only when WinVerifyTrust answers ERROR_SUCCESS for the file.
  bool Verify(std::u16string_view path) override;
  // The WinVerifyTrust answer itself (TRUST_E_NOSIGNATURE for an unsigned file, ...).
  static LONG Check(std::u16string_view path);
};

}  // namespace vx::plugins

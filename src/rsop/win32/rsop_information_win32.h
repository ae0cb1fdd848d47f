// The console's object as an RSoP information source: IRSOPInformation when the object offers it.
#pragma once

#include "platform/wintypes.h"

#include <objbase.h>
#include <prsht.h>  // gpedit.h uses its page handle type
#include <gpedit.h>
#include <wrl/client.h>

#include "rsop/rsop_ports.h"

namespace vx::rsop {

class Win32RsopInformationSource final : public IRsopInformationSource {
 public:
  // unknown may be null (then it offers nothing). A reference is kept.
  explicit Win32RsopInformationSource(IUnknown* unknown) : m_unknown(unknown) {}

  bool HasRsopInformation() override;
  // IRSOPInformation::GetNamespace(section, buffer, maxChars); E_NOINTERFACE when it is not offered.
  HRESULT GetNamespace(DWORD section, std::u16string& ns, DWORD maxChars) override;

 private:
  HRESULT Query();

  Microsoft::WRL::ComPtr<IUnknown> m_unknown;
  Microsoft::WRL::ComPtr<IRSOPInformation> m_information;
};

}  // namespace vx::rsop

// The directory port over ADSI: ADsGetObject(path, IID_IADs), then IADs::Get(attribute).
#pragma once

#include "rsop/rsop_ports.h"

namespace vx::rsop {

class Win32Directory final : public IDirectory {
 public:
  HRESULT GetAttribute(std::u16string_view path, std::u16string_view attribute, Variant& value) override;
};

}  // namespace vx::rsop

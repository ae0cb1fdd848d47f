// COM values into the core's value type, and owners for VARIANT and BSTR.
#pragma once

#include <memory>
#include <string_view>

#include "platform/variant.h"
#include "platform/win32/win32_handles.h"
#include "platform/wintypes.h"

#include <oleauto.h>

namespace vx::platform {

// A BSTR freed with SysFreeString.
using UniqueBstr = std::unique_ptr<OLECHAR, CloseWith<&::SysFreeString>>;

// A BSTR copy of text (embedded NULs kept); null when there is no memory.
UniqueBstr MakeBstr(std::u16string_view text);

// A VARIANT that is initialised on construction and cleared (VariantClear) when it goes.
class UniqueVariant {
 public:
  UniqueVariant() { ::VariantInit(&m_value); }
  ~UniqueVariant() { ::VariantClear(&m_value); }
  UniqueVariant(const UniqueVariant&) = delete;
  UniqueVariant& operator=(const UniqueVariant&) = delete;

  // For an out parameter: clears what is held first.
  VARIANT* Put() {
    ::VariantClear(&m_value);
    return &m_value;
  }
  VARIANT* Get() { return &m_value; }
  const VARIANT& operator*() const { return m_value; }

 private:
  VARIANT m_value;
};

// The core value of a VARIANT. VT_EMPTY, VT_NULL, VT_I4, VT_UI4, VT_UI8, VT_BOOL, VT_BSTR (a null BSTR
// included) and a byte SAFEARRAY of any bounds carry their payload; any other type keeps only its vt.
// Fails only when the SAFEARRAY cannot be read.
HRESULT VariantToCore(const VARIANT& source, Variant& target);

}  // namespace vx::platform

#include "platform/win32/variant_win32.h"

#include <cstring>

#include "platform/text.h"

namespace vx::platform {

namespace {

// All elements of a byte SAFEARRAY, whatever its bounds and dimensions (in storage order).
HRESULT CopyBytes(SAFEARRAY* array, std::vector<BYTE>& bytes) {
  bytes.clear();
  if (array == nullptr) return S_OK;
  size_t count = 1;
  const UINT dims = ::SafeArrayGetDim(array);
  for (UINT dim = 1; dim <= dims; ++dim) {
    LONG lower = 0;
    LONG upper = -1;
    HRESULT hr = ::SafeArrayGetLBound(array, dim, &lower);
    if (SUCCEEDED(hr)) hr = ::SafeArrayGetUBound(array, dim, &upper);
    if (FAILED(hr)) return hr;
    count *= upper < lower ? 0 : static_cast<size_t>(static_cast<LONGLONG>(upper) - lower + 1);
  }
  if (dims == 0 || count == 0) return S_OK;
  void* data = nullptr;
  const HRESULT hr = ::SafeArrayAccessData(array, &data);
  if (FAILED(hr)) return hr;
  const BYTE* first = static_cast<const BYTE*>(data);
  bytes.assign(first, first + count);
  ::SafeArrayUnaccessData(array);
  return S_OK;
}

}  // namespace

UniqueBstr MakeBstr(std::u16string_view text) {
  return UniqueBstr(::SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()), static_cast<UINT>(text.size())));
}

HRESULT VariantToCore(const VARIANT& source, Variant& target) {
  target = Variant{};
  target.vt = V_VT(&source);
  switch (V_VT(&source)) {
    case VT_I4: target.integer = V_I4(&source); break;
    case VT_UI4: target.integer = V_UI4(&source); break;
    case VT_UI8: target.integer = static_cast<std::int64_t>(V_UI8(&source)); break;
    case VT_BOOL: target.integer = V_BOOL(&source) != VARIANT_FALSE ? -1 : 0; break;
    case VT_BSTR: {
      const BSTR text = V_BSTR(&source);
      if (text == nullptr) {
        target.nullString = true;
      } else {
        target.text.assign(AsU16(text), ::SysStringLen(text));
      }
      break;
    }
    case VT_ARRAY | VT_UI1: return CopyBytes(V_ARRAY(&source), target.bytes);
    default: break;  // VT_EMPTY, VT_NULL and types the core does not read: the vt says it all
  }
  return S_OK;
}

}  // namespace vx::platform

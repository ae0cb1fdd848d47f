#include "rsop/win32/directory_win32.h"

#include <string>

#include "platform/text.h"
#include "platform/win32/variant_win32.h"

#include <iads.h>
#include <adshlp.h>  // after iads.h, which declares its types
#include <wrl/client.h>

namespace vx::rsop {

HRESULT Win32Directory::GetAttribute(std::u16string_view path, std::u16string_view attribute, Variant& value) {
  value = Variant{};
  const std::u16string objectPath(path);
  Microsoft::WRL::ComPtr<IADs> object;
  HRESULT hr = ::ADsGetObject(AsWide(objectPath), IID_IADs, reinterpret_cast<void**>(object.GetAddressOf()));
  if (FAILED(hr)) return hr;
  if (object == nullptr) return E_POINTER;
  const platform::UniqueBstr name = platform::MakeBstr(attribute);
  if (!name) return E_OUTOFMEMORY;
  platform::UniqueVariant raw;
  hr = object->Get(name.get(), raw.Put());
  if (FAILED(hr)) return hr;
  return platform::VariantToCore(*raw, value);
}

}  // namespace vx::rsop

#include "rsop/win32/wmi_rsop.h"

#include <string>

#include "platform/text.h"
#include "platform/win32/variant_win32.h"

namespace vx::rsop {

using Microsoft::WRL::ComPtr;
using platform::MakeBstr;
using platform::UniqueBstr;

HRESULT WmiRsopObject::Get(std::u16string_view property, Variant& value) {
  const std::u16string name(property);
  platform::UniqueVariant raw;
  const HRESULT hr = m_object->Get(AsWide(name), 0, raw.Put(), nullptr, nullptr);
  if (FAILED(hr)) return hr;
  return platform::VariantToCore(*raw, value);
}

HRESULT WmiRsopObjectEnum::Next(std::unique_ptr<IRsopObject>& object) {
  object.reset();
  ComPtr<IWbemClassObject> next;
  ULONG returned = 0;
  const HRESULT hr = m_objects->Next(static_cast<LONG>(WBEM_INFINITE), 1, next.GetAddressOf(), &returned);
  if (FAILED(hr)) return hr;
  // S_FALSE, or a success that gave nothing: the end of the result.
  if (returned == 0 || next == nullptr) return S_FALSE;
  object = std::make_unique<WmiRsopObject>(std::move(next));
  return S_OK;
}

HRESULT WmiRsopServices::ExecQuery(std::u16string_view language, std::u16string_view query, LONG flags,
                                   std::unique_ptr<IRsopObjectEnum>& result) {
  result.reset();
  // WMI wants real BSTRs here, not plain strings.
  const UniqueBstr languageText = MakeBstr(language);
  const UniqueBstr queryText = MakeBstr(query);
  if (!languageText || !queryText) return E_OUTOFMEMORY;
  ComPtr<IEnumWbemClassObject> objects;
  const HRESULT hr = m_services->ExecQuery(languageText.get(), queryText.get(), flags, nullptr, objects.GetAddressOf());
  if (FAILED(hr)) return hr;
  if (objects == nullptr) return E_POINTER;
  result = std::make_unique<WmiRsopObjectEnum>(std::move(objects));
  return hr;
}

HRESULT WmiRsopLocator::ConnectServer(std::u16string_view ns, std::unique_ptr<IRsopServices>& services) {
  services.reset();
  ComPtr<IWbemLocator> locator;
  HRESULT hr = ::CoCreateInstance(m_class, nullptr, CLSCTX_ALL, IID_IWbemLocator,
                                  reinterpret_cast<void**>(locator.GetAddressOf()));
  if (FAILED(hr)) return hr;
  const UniqueBstr path = MakeBstr(ns);
  if (!path) return E_OUTOFMEMORY;
  ComPtr<IWbemServices> connected;
  hr = locator->ConnectServer(path.get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr, connected.GetAddressOf());
  if (FAILED(hr)) return hr;
  if (connected == nullptr) return E_POINTER;
  services = std::make_unique<WmiRsopServices>(std::move(connected));
  return hr;
}

}  // namespace vx::rsop

#include "property_sheet.h"

#include <vector>

#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace vx::console {
namespace {

// The IID is declared by the platform headers but defined by no import library of the toolchain.
constexpr IID kIidPropertySheetCallback = {0x85de64dd, 0xef21, 0x11cf, {0xa2, 0x85, 0x00, 0xc0, 0x4f, 0xd8, 0xdb, 0xe6}};

class PageCollector final : public IPropertySheetCallback {
 public:
  ~PageCollector() {
    for (HPROPSHEETPAGE page : pages) ::DestroyPropertySheetPage(page);  // only those never shown
  }
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != kIidPropertySheetCallback) return E_NOINTERFACE;
    *out = static_cast<IPropertySheetCallback*>(this);
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }  // lives on the caller's stack
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  STDMETHODIMP AddPage(HPROPSHEETPAGE page) override {
    if (!page) return E_INVALIDARG;
    pages.push_back(page);
    return S_OK;
  }
  STDMETHODIMP RemovePage(HPROPSHEETPAGE page) override {
    for (auto it = pages.begin(); it != pages.end(); ++it) {
      if (*it == page) {
        pages.erase(it);
        return S_OK;
      }
    }
    return E_INVALIDARG;
  }
  std::vector<HPROPSHEETPAGE> pages;
};

}  // namespace

HRESULT ShowPropertySheet(HWND owner, IComponent* component, MMC_COOKIE cookie, const std::wstring& title,
                          LONG_PTR notifyHandle, HWND* modelessSheet) {
  ComPtr<IExtendPropertySheet> extend;
  HRESULT hr = component->QueryInterface(IID_IExtendPropertySheet, reinterpret_cast<void**>(extend.GetAddressOf()));
  if (FAILED(hr)) return S_FALSE;
  ComPtr<IDataObject> object;
  hr = component->QueryDataObject(cookie, CCT_RESULT, object.GetAddressOf());
  if (FAILED(hr)) return hr;
  if (extend->QueryPagesFor(object.Get()) != S_OK) return S_FALSE;
  PageCollector collector;
  hr = extend->CreatePropertyPages(&collector, notifyHandle, object.Get());
  if (FAILED(hr)) return hr;
  if (collector.pages.empty()) return S_FALSE;
  PROPSHEETHEADERW header{};
  header.dwSize = sizeof(header);
  header.dwFlags = modelessSheet ? PSH_MODELESS : PSH_DEFAULT;
  header.hwndParent = owner;
  header.pszCaption = title.c_str();
  header.nPages = static_cast<UINT>(collector.pages.size());
  header.phpage = collector.pages.data();
  const INT_PTR result = ::PropertySheetW(&header);
  collector.pages.clear();  // the sheet owns them now
  if (modelessSheet) {
    *modelessSheet = reinterpret_cast<HWND>(result);
    return result == 0 ? HRESULT_FROM_WIN32(::GetLastError()) : S_OK;
  }
  return result < 0 ? HRESULT_FROM_WIN32(::GetLastError()) : S_OK;
}

}  // namespace vx::console

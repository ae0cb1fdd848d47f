// The credential plug-in of the page benchmark: one signed module that serves any number of
// credential elements, element k under the class {5EC00000+k-0B3C-4A1B-9F00-000000000064}, with the
// mask bit k, so a benchmark can register as many credentials as it wants to measure. Each element
// hands out its own icon, as a real plug-in's credentials do.
#include <windows.h>

#include <oleauto.h>

#include <atomic>
#include <cstring>
#include <cwchar>

#include "vxkelt/kelt_plugin.h"

namespace {

constexpr DWORD kClassBase = 0x5EC00000;
constexpr GUID kClassTail = {0, 0x0B3C, 0x4A1B, {0x9F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x64}};
constexpr WORD kIcon = 101;
std::atomic<long> g_objects{0};
HMODULE g_module = nullptr;

class Element final : public IKELTElementUI, public IKELTCredential {
 public:
  explicit Element(unsigned index) : m_index(index) { ++g_objects; }
  ~Element() {
    if (m_icon) ::DestroyIcon(m_icon);
    --g_objects;
  }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IKELTElementUI) {
      *out = static_cast<IKELTElementUI*>(this);
    } else if (iid == IID_IKELTCredential) {
      *out = static_cast<IKELTCredential*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --m_refs;
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP GetProperty(long id, VARIANT* value) override {
    if (!value) return E_POINTER;
    wchar_t text[40];
    switch (id) {
      case eKELT_LST_NAME:
        std::swprintf(text, 40, L"BenchCredential%02u", m_index);
        return Text(text, value);
      case eKELT_LST_DISPLAYSTRING:
        std::swprintf(text, 40, L"Credential %u", m_index);
        return Text(text, value);
      case eKELT_LST_ORDERHINT:
        V_VT(value) = VT_I4;
        V_I4(value) = static_cast<LONG>(m_index * 10);
        return S_OK;
      case eKELT_LST_ICON:
        if (!m_icon)
          m_icon = static_cast<HICON>(::LoadImageW(g_module, MAKEINTRESOURCEW(kIcon), IMAGE_ICON, 32, 32, 0));
        if (!m_icon) return E_FAIL;
        V_VT(value) = VT_UI8;
        V_UI8(value) = reinterpret_cast<ULONG_PTR>(m_icon);
        return S_OK;
      default:
        return E_INVALIDARG;
    }
  }
  STDMETHODIMP GetCredProperty(long id, VARIANT* value) override {
    if (!value) return E_POINTER;
    switch (id) {
      case eKELT_CRED_MASK:
        V_VT(value) = VT_UI8;
        V_UI8(value) = 1ULL << m_index;
        return S_OK;
      case eKELT_CRED_TYPE:
        V_VT(value) = VT_UI4;
        V_UI4(value) = 1;
        return S_OK;
      case eKELT_CRED_RELIABLE:
        V_VT(value) = VT_BOOL;
        V_BOOL(value) = VARIANT_TRUE;
        return S_OK;
      default:
        return E_INVALIDARG;
    }
  }

 private:
  static HRESULT Text(const wchar_t* text, VARIANT* value) {
    V_VT(value) = VT_BSTR;
    V_BSTR(value) = ::SysAllocString(text);
    return V_BSTR(value) ? S_OK : E_OUTOFMEMORY;
  }
  unsigned m_index;
  HICON m_icon = nullptr;
  std::atomic<ULONG> m_refs{1};
};

class Factory final : public IClassFactory {
 public:
  explicit Factory(unsigned index) : m_index(index) {}
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
    *out = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --m_refs;
    if (left == 0) delete this;
    return left;
  }
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    auto* element = new (std::nothrow) Element(m_index);
    if (!element) return E_OUTOFMEMORY;
    const HRESULT hr = element->QueryInterface(iid, out);
    element->Release();
    return hr;
  }
  STDMETHODIMP LockServer(BOOL) override { return S_OK; }

 private:
  unsigned m_index;
  std::atomic<ULONG> m_refs{1};
};

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) g_module = instance;
  return TRUE;
}

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  const unsigned index = static_cast<unsigned>(clsid.Data1 - kClassBase);
  if (index >= 64 || clsid.Data2 != kClassTail.Data2 || clsid.Data3 != kClassTail.Data3 ||
      std::memcmp(clsid.Data4, kClassTail.Data4, sizeof(clsid.Data4)) != 0)
    return CLASS_E_CLASSNOTAVAILABLE;
  auto* factory = new (std::nothrow) Factory(index);
  if (!factory) return E_OUTOFMEMORY;
  const HRESULT hr = factory->QueryInterface(iid, out);
  factory->Release();
  return hr;
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() { return g_objects == 0 ? S_OK : S_FALSE; }

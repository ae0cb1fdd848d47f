// A credential plug-in: the element object, its class object and the two exports of an in-process
// COM server. Everything a module describes comes from sample_modules.cpp, its icons from the module's
// own resources (sample_plugin.rc).
#include <windows.h>
#include <oleauto.h>

#include <new>

#include "sample_modules.h"
#include "vxkelt/kelt_plugin.h"

namespace vxsample {

namespace {

// Live objects plus IClassFactory::LockServer locks: DllCanUnloadNow answers from this count.
LONG g_moduleLocks = 0;

// This DLL, as DllMain received it: where the elements load their icons from.
HINSTANCE g_module = nullptr;

void LockModule() { ::InterlockedIncrement(&g_moduleLocks); }
void UnlockModule() { ::InterlockedDecrement(&g_moduleLocks); }

HRESULT PutString(const wchar_t* text, VARIANT* value) {
  value->bstrVal = ::SysAllocString(text);
  if (value->bstrVal == nullptr) return E_OUTOFMEMORY;
  value->vt = VT_BSTR;
  return S_OK;
}

// One element of the contract: IKELTElementUI always, IKELTCredential when the description is a
// credential, IKELTObjectWithSite to keep the host's callback.
class CSampleElement final : public IKELTElementUI, public IKELTCredential, public IKELTObjectWithSite {
 public:
  CSampleElement(const ElementDescription& element, const ModuleDescription* group)
      : m_element(element), m_group(group) {
    LockModule();
  }
  CSampleElement(const CSampleElement&) = delete;
  CSampleElement& operator=(const CSampleElement&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IKELTElementUI) {
      *out = static_cast<IKELTElementUI*>(this);
    } else if (iid == IID_IKELTCredential && m_element.credential) {
      *out = static_cast<IKELTCredential*>(this);
    } else if (iid == IID_IKELTObjectWithSite) {
      *out = static_cast<IKELTObjectWithSite*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(::InterlockedIncrement(&m_refs)); }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG refs = ::InterlockedDecrement(&m_refs);
    if (refs == 0) delete this;
    return static_cast<ULONG>(refs);
  }

  HRESULT STDMETHODCALLTYPE GetProperty(long id, VARIANT* value) override {
    if (value == nullptr) return E_POINTER;
    ::VariantInit(value);
    switch (id) {
      case eKELT_LST_NAME:
        return PutString(m_element.name, value);
      case eKELT_LST_DISPLAYSTRING:
        return PutString(m_element.displayString, value);
      case eKELT_LST_ORDERHINT:
        if (!m_element.hasOrderHint) return DISP_E_MEMBERNOTFOUND;
        value->vt = VT_I4;
        value->lVal = m_element.orderHint;
        return S_OK;
      case eKELT_LST_SUBELEMENTS:
        return m_group != nullptr ? PutMembers(value) : DISP_E_MEMBERNOTFOUND;
      case eKELT_LST_ICON:
        return m_element.icon != 0 ? PutIcon(value) : E_INVALIDARG;
      default:
        return E_INVALIDARG;
    }
  }

  HRESULT STDMETHODCALLTYPE GetCredProperty(long id, VARIANT* value) override {
    if (value == nullptr) return E_POINTER;
    ::VariantInit(value);
    switch (id) {
      case eKELT_CRED_MASK:
        if (m_element.maskAsUI8) {
          value->vt = VT_UI8;
          value->ullVal = m_element.mask;
        } else {
          value->vt = VT_UI4;
          value->ulVal = static_cast<ULONG>(m_element.mask);
        }
        return S_OK;
      case eKELT_CRED_RELIABLE:
        value->vt = VT_BOOL;
        value->boolVal = m_element.reliable ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
      case eKELT_CRED_TYPE:
        value->vt = VT_UI4;
        value->ulVal = m_element.rawType;
        return S_OK;
      default:
        return E_INVALIDARG;
    }
  }

  HRESULT STDMETHODCALLTYPE SetSite(IUnknown* callback) override {
    if (callback != nullptr) callback->AddRef();
    if (m_site != nullptr) m_site->Release();
    m_site = callback;
    return S_OK;
  }

 private:
  ~CSampleElement() {
    if (m_icon != nullptr) ::DestroyIcon(m_icon);
    if (m_site != nullptr) m_site->Release();
    UnlockModule();
  }

  // The element's icon at 32x32, loaded from this module on the first request and kept: the handle is
  // the element's, valid while it lives; the host copies the image and never destroys the handle.
  HRESULT PutIcon(VARIANT* value) {
    if (m_icon == nullptr) {
      m_icon = static_cast<HICON>(
          ::LoadImageW(g_module, MAKEINTRESOURCEW(m_element.icon), IMAGE_ICON, 32, 32, LR_DEFAULTCOLOR));
      if (m_icon == nullptr) {
        const DWORD error = ::GetLastError();
        return error != ERROR_SUCCESS ? HRESULT_FROM_WIN32(error) : E_FAIL;
      }
    }
    value->vt = VT_UI8;
    value->ullVal = reinterpret_cast<ULONG_PTR>(m_icon);
    return S_OK;
  }

  // The group's members: a one-dimensional array of VARIANTs, each holding a new member's IUnknown.
  HRESULT PutMembers(VARIANT* value) {
    SAFEARRAY* array = ::SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(m_group->memberCount));
    if (array == nullptr) return E_OUTOFMEMORY;
    for (LONG i = 0; i < static_cast<LONG>(m_group->memberCount); ++i) {
      auto* member = new (std::nothrow) CSampleElement(m_group->members[i], nullptr);
      if (member == nullptr) {
        ::SafeArrayDestroy(array);
        return E_OUTOFMEMORY;
      }
      VARIANT entry;
      ::VariantInit(&entry);
      entry.vt = VT_UNKNOWN;
      entry.punkVal = static_cast<IKELTElementUI*>(member);  // the entry owns the new object's reference
      const HRESULT hr = ::SafeArrayPutElement(array, &i, &entry);  // copies, adding a reference
      ::VariantClear(&entry);
      if (FAILED(hr)) {
        ::SafeArrayDestroy(array);
        return hr;
      }
    }
    value->vt = VT_ARRAY | VT_VARIANT;
    value->parray = array;
    return S_OK;
  }

  LONG m_refs = 1;
  const ElementDescription& m_element;
  const ModuleDescription* m_group;
  IUnknown* m_site = nullptr;
  HICON m_icon = nullptr;
};

// The class object: static, so its references do not count; LockServer does.
class CSampleClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
    *out = static_cast<IClassFactory*>(this);
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    const ModuleDescription& module = ThisModule();
    auto* element =
        new (std::nothrow) CSampleElement(module.element, module.memberCount != 0 ? &module : nullptr);
    if (element == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = element->QueryInterface(iid, out);
    element->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    if (lock) {
      LockModule();
    } else {
      UnlockModule();
    }
    return S_OK;
  }
};

CSampleClassFactory g_classFactory;

}  // namespace

}  // namespace vxsample

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    vxsample::g_module = instance;
    ::DisableThreadLibraryCalls(instance);
  }
  return TRUE;
}

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  CLSID served;
  // The text is a constant of this module; a parse failure would be a build fault, reported as such.
  const HRESULT hr = ::CLSIDFromString(vxsample::ThisModule().clsid, &served);
  if (FAILED(hr)) return hr;
  if (!::IsEqualCLSID(clsid, served)) return CLASS_E_CLASSNOTAVAILABLE;
  return vxsample::g_classFactory.QueryInterface(iid, out);
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() { return vxsample::g_moduleLocks == 0 ? S_OK : S_FALSE; }

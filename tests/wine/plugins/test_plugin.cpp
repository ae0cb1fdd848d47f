// A test plug-in module: a group element with sub-elements, two credential tokens, a class whose class
// object refuses to create, and counters the element factory test reads through exports.
#include "plugins/test_plugin.h"

#include <objbase.h>
#include <oleauto.h>
#include <vxkelt/kelt_plugin.h>

#include "platform/wintypes.h"

using namespace vx::plugins::testplugin;

namespace {

LONG g_liveObjects = 0;
LONG g_siteState = -1;

// What one element answers.
struct ElementKind {
  const wchar_t* name;
  const wchar_t* display;
  LONG hint;
  bool credential;
  VARTYPE maskType;
  ULONGLONG mask;
  ULONG rawType;
  bool site;
  bool group;
};

const ElementKind kGroup = {L"TestGroup", L"Test group", -5, false, VT_EMPTY, 0, 0, false, true};
const ElementKind kPassword = {L"Password", L"Password", 42, true, VT_UI4, 0x80000000u, 1, false, false};
const ElementKind kFingerprint = {L"Fingerprint", L"Fingerprint", 7, true, VT_UI8, 0x100000002ull, 3, true, false};

template <class Base>
class Counted : public Base {
 public:
  Counted() { ::InterlockedIncrement(&g_liveObjects); }
  virtual ~Counted() { ::InterlockedDecrement(&g_liveObjects); }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(::InterlockedIncrement(&m_refs)); }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG refs = ::InterlockedDecrement(&m_refs);
    if (refs == 0) delete this;
    return static_cast<ULONG>(refs);
  }

 private:
  LONG m_refs = 1;
};

IUnknown* NoElement();  // an object that is no element: a class object

HRESULT PutUnknown(SAFEARRAY* array, LONG index, IUnknown* unknown) {
  VARIANT entry;
  ::VariantInit(&entry);
  V_VT(&entry) = VT_UNKNOWN;
  V_UNKNOWN(&entry) = unknown;
  return ::SafeArrayPutElement(array, &index, &entry);  // copies, with its own reference
}

class Element final : public Counted<IKELTElementUI>, public IKELTCredential, public IKELTObjectWithSite {
 public:
  explicit Element(const ElementKind& kind) : m_kind(kind) {}
  ~Element() override {
    if (m_site != nullptr) m_site->Release();
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IKELTElementUI) {
      *out = static_cast<IKELTElementUI*>(this);
    } else if (iid == IID_IKELTCredential && m_kind.credential) {
      *out = static_cast<IKELTCredential*>(this);
    } else if (iid == IID_IKELTObjectWithSite && m_kind.site) {
      *out = static_cast<IKELTObjectWithSite*>(this);
    } else {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return Counted<IKELTElementUI>::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return Counted<IKELTElementUI>::Release(); }

  HRESULT STDMETHODCALLTYPE GetProperty(long id, VARIANT* value) override {
    if (value == nullptr) return E_POINTER;
    ::VariantInit(value);
    switch (id) {
      case eKELT_LST_NAME: return String(m_kind.name, value);
      case eKELT_LST_DISPLAYSTRING: return String(m_kind.display, value);
      case eKELT_LST_ORDERHINT:
        V_VT(value) = VT_I4;
        V_I4(value) = m_kind.hint;
        return S_OK;
      case eKELT_LST_SUBELEMENTS:
        if (m_kind.group) return Members(value);
        break;
      default: break;
    }
    return E_INVALIDARG;
  }

  HRESULT STDMETHODCALLTYPE GetCredProperty(long id, VARIANT* value) override {
    if (value == nullptr) return E_POINTER;
    ::VariantInit(value);
    switch (id) {
      case eKELT_CRED_MASK:
        V_VT(value) = m_kind.maskType;
        if (m_kind.maskType == VT_UI4) V_UI4(value) = static_cast<ULONG>(m_kind.mask);
        if (m_kind.maskType == VT_UI8) V_UI8(value) = m_kind.mask;
        return S_OK;
      case eKELT_CRED_RELIABLE:
        V_VT(value) = VT_BOOL;
        V_BOOL(value) = VARIANT_TRUE;
        return S_OK;
      case eKELT_CRED_TYPE:
        V_VT(value) = VT_UI4;
        V_UI4(value) = m_kind.rawType;
        return S_OK;
      default: return E_INVALIDARG;
    }
  }

  HRESULT STDMETHODCALLTYPE SetSite(IUnknown* callback) override {
    if (m_site != nullptr) m_site->Release();
    m_site = nullptr;
    g_siteState = 0;
    if (callback == nullptr) return S_OK;
    // The site must be a real object: it has to answer for IUnknown.
    if (FAILED(callback->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&m_site)))) return E_NOINTERFACE;
    g_siteState = 1;
    return S_OK;
  }

 private:
  static HRESULT String(const wchar_t* text, VARIANT* value) {
    V_BSTR(value) = ::SysAllocString(text);
    if (V_BSTR(value) == nullptr) return E_OUTOFMEMORY;
    V_VT(value) = VT_BSTR;
    return S_OK;
  }

  // Bounds 3 to 7, so that a reader that assumes a lower bound of 0 is caught.
  static HRESULT Members(VARIANT* value) {
    SAFEARRAYBOUND bound = {5, 3};
    SAFEARRAY* array = ::SafeArrayCreate(VT_VARIANT, 1, &bound);
    if (array == nullptr) return E_OUTOFMEMORY;
    IUnknown* password = static_cast<IKELTElementUI*>(new Element(kPassword));
    IUnknown* fingerprint = static_cast<IKELTElementUI*>(new Element(kFingerprint));
    IUnknown* plain = NoElement();
    HRESULT hr = PutUnknown(array, 3, password);
    if (SUCCEEDED(hr)) hr = PutUnknown(array, 4, nullptr);
    if (SUCCEEDED(hr)) hr = PutUnknown(array, 5, fingerprint);
    if (SUCCEEDED(hr)) hr = PutUnknown(array, 6, plain);
    password->Release();
    fingerprint->Release();
    plain->Release();
    if (SUCCEEDED(hr)) {
      VARIANT text;
      V_VT(&text) = VT_BSTR;
      V_BSTR(&text) = ::SysAllocString(L"not an element");
      LONG index = 7;
      hr = ::SafeArrayPutElement(array, &index, &text);
      ::VariantClear(&text);
    }
    if (FAILED(hr)) {
      ::SafeArrayDestroy(array);
      return hr;
    }
    V_VT(value) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(value) = array;
    return S_OK;
  }

  const ElementKind& m_kind;
  IUnknown* m_site = nullptr;
};

class ClassObject final : public Counted<IClassFactory> {
 public:
  explicit ClassObject(const ElementKind* kind) : m_kind(kind) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
    *out = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    if (m_kind == nullptr) return kFactoryFailure;
    Element* element = new Element(*m_kind);
    const HRESULT hr = element->QueryInterface(iid, out);
    element->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  const ElementKind* m_kind;  // null: refuses
};

IUnknown* NoElement() { return new ClassObject(nullptr); }

}  // namespace

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  const ElementKind* kind = nullptr;
  if (clsid == kClsidGroup) {
    kind = &kGroup;
  } else if (clsid == kClsidPassword) {
    kind = &kPassword;
  } else if (clsid != kClsidRefusing) {
    return CLASS_E_CLASSNOTAVAILABLE;
  }
  ClassObject* object = new ClassObject(kind);
  const HRESULT hr = object->QueryInterface(iid, out);
  object->Release();
  return hr;
}

extern "C" LONG WINAPI VxTestLiveObjects() { return g_liveObjects; }
extern "C" LONG WINAPI VxTestSiteState() { return g_siteState; }

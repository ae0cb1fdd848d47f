// A test plug-in module: a group element whose sub-elements are credential tokens with a site, a class
// whose class object refuses to create, and a count of live objects the test reads through an export.
#include "plugins/test_plugin.h"

#include <objbase.h>
#include <oleauto.h>
#include <vxkelt/kelt_plugin.h>

using namespace vx::plugins::testplugin;

namespace {

LONG g_liveObjects = 0;

// The reference count of every object of the module; each one alive counts in g_liveObjects.
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

// The group, or a token: a credential with a site.
class Element final : public Counted<IKELTElementUI>, public IKELTCredential, public IKELTObjectWithSite {
 public:
  explicit Element(bool group) : m_group(group) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IKELTElementUI) *out = static_cast<IKELTElementUI*>(this);
    if (iid == IID_IKELTCredential && !m_group) *out = static_cast<IKELTCredential*>(this);
    if (iid == IID_IKELTObjectWithSite && !m_group) *out = static_cast<IKELTObjectWithSite*>(this);
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return Counted<IKELTElementUI>::AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return Counted<IKELTElementUI>::Release(); }

  HRESULT STDMETHODCALLTYPE GetProperty(long id, VARIANT* value) override {
    ::VariantInit(value);
    if (id != eKELT_LST_SUBELEMENTS || !m_group) return E_INVALIDARG;
    // Bounds 3 to 6, so that a reader that assumes a lower bound of 0 is caught; 6 stays VT_EMPTY.
    SAFEARRAYBOUND bound = {4, 3};
    V_VT(value) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(value) = ::SafeArrayCreate(VT_VARIANT, 1, &bound);
    IStream* noElement = nullptr;
    ::CreateStreamOnHGlobal(nullptr, TRUE, &noElement);
    IUnknown* const entries[] = {static_cast<IKELTElementUI*>(new Element(false)), nullptr, noElement};
    for (LONG index = 3; index < 6; ++index) {
      VARIANT entry;
      V_VT(&entry) = VT_UNKNOWN;
      V_UNKNOWN(&entry) = entries[index - 3];
      ::SafeArrayPutElement(V_ARRAY(value), &index, &entry);  // copies, with its own reference
      if (entries[index - 3] != nullptr) entries[index - 3]->Release();
    }
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetCredProperty(long, VARIANT* value) override {
    ::VariantInit(value);
    return E_INVALIDARG;
  }

  // A site must be a real object: it has to answer for IUnknown.
  HRESULT STDMETHODCALLTYPE SetSite(IUnknown* callback) override {
    if (callback == nullptr) return kNoSite;
    IUnknown* unknown = nullptr;
    if (FAILED(callback->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unknown)))) return E_NOINTERFACE;
    unknown->Release();
    return S_OK;
  }

 private:
  bool m_group;
};

class ClassObject final : public Counted<IClassFactory> {
 public:
  explicit ClassObject(bool refuses) : m_refuses(refuses) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
    *out = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** out) override {
    *out = nullptr;
    if (m_refuses) return CLASS_E_NOTLICENSED;
    Element* element = new Element(true);
    const HRESULT hr = element->QueryInterface(iid, out);
    element->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  bool m_refuses;
};

}  // namespace

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  *out = nullptr;
  if (clsid != kClsidGroup && clsid != kClsidRefusing) return CLASS_E_CLASSNOTAVAILABLE;
  ClassObject* object = new ClassObject(clsid == kClsidRefusing);
  const HRESULT hr = object->QueryInterface(iid, out);
  object->Release();
  return hr;
}

extern "C" LONG WINAPI VxTestLiveObjects() { return g_liveObjects; }

#include "plugins/win32/element_factory_win32.h"

#include <new>
#include <string>
#include <utility>

#include <wrl/client.h>

#include "platform/text.h"
#include "platform/win32/variant_win32.h"
#include "platform/win32/win32_handles.h"
#include "support/check.h"
#include "support/trace.h"

namespace vx::plugins {

using Microsoft::WRL::ComPtr;
using platform::UniqueVariant;

namespace {

using UniqueActCtx = std::unique_ptr<void, platform::CloseWith<&::ReleaseActCtx>>;

// A Win32 error as an HRESULT; an error code of 0 must still be a failure.
HRESULT FromWin32(DWORD error) { return error == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(error); }

// LoadLibraryExW inside the module's own side-by-side context (its manifest resource 2), so that the
// module binds to the assemblies it names, not to the console's. A module without a manifest loads
// without a context, and so does one already loaded: it bound when it first loaded, and making the
// context again reads the file each time. Returns the loader's error code for a null module.
HMODULE LoadInOwnContext(const std::u16string& path, bool loaded, DWORD& error) {
  if (loaded) {
    const HMODULE module = ::LoadLibraryExW(AsWide(path), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    error = module ? ERROR_SUCCESS : ::GetLastError();
    return module;
  }
  ACTCTXW request{};
  request.cbSize = sizeof(request);
  request.dwFlags = ACTCTX_FLAG_RESOURCE_NAME_VALID;
  request.lpSource = AsWide(path);
  request.lpResourceName = MAKEINTRESOURCEW(2);  // ISOLATIONAWARE_MANIFEST_RESOURCE_ID
  const HANDLE created = ::CreateActCtxW(&request);  // INVALID_HANDLE_VALUE without a manifest
  const UniqueActCtx context(created == INVALID_HANDLE_VALUE ? nullptr : created);
  ULONG_PTR cookie = 0;
  const bool active = context && ::ActivateActCtx(context.get(), &cookie);
  const HMODULE module = ::LoadLibraryExW(AsWide(path), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  error = module ? ERROR_SUCCESS : ::GetLastError();
  if (active) ::DeactivateActCtx(0, cookie);
  return module;
}

// The IUnknown handed to IKELTObjectWithSite::SetSite: stands for the core's callback, which stays
// opaque to the plug-in.
class CSiteCallbackUnknown final : public IUnknown {
 public:
  explicit CSiteCallbackUnknown(ISiteCallback* callback) : m_callback(callback) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown) return E_NOINTERFACE;
    *out = static_cast<IUnknown*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(::InterlockedIncrement(&m_refs)); }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG refs = ::InterlockedDecrement(&m_refs);
    if (refs == 0) delete this;
    return static_cast<ULONG>(refs);
  }

 private:
  ~CSiteCallbackUnknown() = default;
  LONG m_refs = 1;
  [[maybe_unused]] ISiteCallback* m_callback;
};

class CCredentialAdapter final : public ICredential {
 public:
  explicit CCredentialAdapter(ComPtr<IKELTCredential> credential) : m_credential(std::move(credential)) {}

  HRESULT GetCredProperty(long id, Variant& value) override {
    value = Variant{};
    UniqueVariant result;
    const HRESULT hr = m_credential->GetCredProperty(id, result.Put());
    if (FAILED(hr)) return hr;
    const HRESULT converted = platform::VariantToCore(*result, value);
    return FAILED(converted) ? converted : hr;
  }

 private:
  ComPtr<IKELTCredential> m_credential;
};

// The entries of a one-dimensional VARIANT array in bound order; each one that holds an object
// offering IKELTElementUI becomes an element, every other entry a null one.
HRESULT ReadMembers(SAFEARRAY* array, std::vector<ElementPtr>& members) {
  members.clear();
  if (array == nullptr) return S_OK;
  if (::SafeArrayGetDim(array) != 1) return E_INVALIDARG;
  LONG lower = 0;
  LONG upper = -1;
  HRESULT hr = ::SafeArrayGetLBound(array, 1, &lower);
  if (SUCCEEDED(hr)) hr = ::SafeArrayGetUBound(array, 1, &upper);
  if (FAILED(hr)) return hr;
  for (LONGLONG index = lower; index <= upper; ++index) {
    LONG at = static_cast<LONG>(index);
    UniqueVariant entry;
    hr = ::SafeArrayGetElement(array, &at, entry.Put());
    if (FAILED(hr)) return hr;
    IUnknown* unknown = nullptr;
    if (V_VT(entry.Get()) == VT_UNKNOWN) unknown = V_UNKNOWN(entry.Get());
    if (V_VT(entry.Get()) == VT_DISPATCH) unknown = V_DISPATCH(entry.Get());
    ComPtr<IKELTElementUI> member;
    if (unknown != nullptr)
      unknown->QueryInterface(IID_IKELTElementUI, reinterpret_cast<void**>(member.GetAddressOf()));
    members.push_back(WrapElement(member.Get()));
  }
  return S_OK;
}

class CElementAdapter final : public IUIElement {
 public:
  explicit CElementAdapter(ComPtr<IKELTElementUI> element) : m_element(std::move(element)) {}

  HRESULT GetProperty(long id, ElementValue& value) override {
    value = ElementValue{};
    try {
      UniqueVariant result;
      const HRESULT hr = m_element->GetProperty(id, result.Put());
      if (FAILED(hr)) return hr;
      HRESULT converted = platform::VariantToCore(*result, value.value);
      if (SUCCEEDED(converted) && V_VT(result.Get()) == (VT_ARRAY | VT_VARIANT))
        converted = ReadMembers(V_ARRAY(result.Get()), value.members);
      if (FAILED(converted)) value = ElementValue{};
      return FAILED(converted) ? converted : hr;
    } catch (const std::bad_alloc&) {
      value = ElementValue{};
      return E_OUTOFMEMORY;
    }
  }

  ICredential* Credential() override {
    if (!m_credential && !m_noCredential) {
      ComPtr<IKELTCredential> credential;
      if (FAILED(m_element.As(&credential)) || !credential) {
        m_noCredential = true;
      } else {
        m_credential.reset(new (std::nothrow) CCredentialAdapter(std::move(credential)));
      }
    }
    return m_credential.get();
  }

  HRESULT SetSite(ISiteCallback* callback) override {
    ComPtr<IKELTObjectWithSite> site;
    if (FAILED(m_element.As(&site)) || !site) return E_NOINTERFACE;
    ComPtr<IUnknown> unknown;
    if (callback != nullptr) {
      unknown.Attach(new (std::nothrow) CSiteCallbackUnknown(callback));
      if (!unknown) return E_OUTOFMEMORY;
    }
    return site->SetSite(unknown.Get());
  }

  bool HasSite() override {
    ComPtr<IKELTObjectWithSite> site;
    return SUCCEEDED(m_element.As(&site)) && site;
  }

 private:
  ComPtr<IKELTElementUI> m_element;
  std::unique_ptr<CCredentialAdapter> m_credential;
  bool m_noCredential = false;  // the element answered no to IKELTCredential
};

}  // namespace

ElementPtr WrapElement(IKELTElementUI* element) {
  if (element == nullptr) return nullptr;
  return std::make_shared<CElementAdapter>(ComPtr<IKELTElementUI>(element));
}

Win32ElementFactory::Win32ElementFactory(std::shared_ptr<ISignatureVerifier> verifier)
    : m_verifier(std::move(verifier)) {}

HRESULT Win32ElementFactory::CreateInstance(std::u16string_view modulePath, const GUID& clsid, ElementPtr& element) {
  VXTraceNS::CTraceScope scope("IKELTElementUIWrapper::CreateInstance(GUID)");
  element.reset();
  HRESULT hr = E_UNEXPECTED;
  try {
    hr = Create(scope, std::u16string(modulePath), clsid, element);
  } catch (const CHResultError& error) {
    hr = error.Code();
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  } catch (...) {
    hr = E_UNEXPECTED;
  }
  if (FAILED(hr)) element.reset();
  return scope.Result(hr, "hr");
}

HRESULT Win32ElementFactory::Create(VXTraceNS::CTraceScope& scope, const std::u16string& path, const GUID& clsid,
                                    ElementPtr& element) {
  wchar_t clsidText[64] = {};
  ::StringFromGUID2(clsid, clsidText, 64);
  scope.Message("Loading %ls [%ls]", static_cast<const wchar_t*>(clsidText), path);

  const bool loaded = ::GetModuleHandleW(AsWide(path)) != nullptr;
  if (loaded) {
    scope.Message("The module has already been loaded, skip signature check.");
  } else if (!m_verifier->Verify(path)) {
    return NTE_BAD_SIGNATURE;
  }

  DWORD error = ERROR_SUCCESS;
  // Freed on every way out but success; declared first, so that the objects of the module go first.
  platform::UniqueLibrary library(LoadInOwnContext(path, loaded, error));
  if (!library) return FromWin32(error);
  scope.Message("LoadLibraryEx succeeded.");

  const auto getClassObject = platform::ProcAddress<LPFNGETCLASSOBJECT>(library.get(), "DllGetClassObject");
  if (getClassObject == nullptr) return FromWin32(::GetLastError());
  scope.Message("GetProcAddress succeeded.");

  ComPtr<IKELTElementUI> created;
  {
    ComPtr<IClassFactory> factory;
    HRESULT hr = getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf()));
    if (FAILED(hr)) return hr;
    scope.Message("DllGetClassObject succeeded.");
    if (!factory) return E_POINTER;
    hr = factory->CreateInstance(nullptr, IID_IKELTElementUI, reinterpret_cast<void**>(created.GetAddressOf()));
    if (FAILED(hr)) return hr;
    scope.Message("IClassFactory::CreateInstance succeeded.");
  }
  element = WrapElement(created.Get());
  // The module stays loaded for the life of the process: its objects may outlive every wrapper.
  static_cast<void>(library.release());
  return S_OK;
}

}  // namespace vx::plugins

#include "wmi_fixture.h"

#include <cstring>
#include <cwchar>
#include <string>

#include <oleauto.h>
#include <wbemcli.h>

namespace vx::wmifixture {

namespace {

LONG g_liveObjects = 0;

constexpr wchar_t kQuery[] = L"SELECT * FROM RSOP_RegistryPolicySetting";

std::wstring Show(const BSTR text) { return text == nullptr ? L"null" : text; }

std::wstring Hex(LONG value) {
  wchar_t buffer[16];
  std::swprintf(buffer, 16, L"0x%lX", static_cast<unsigned long>(value));
  return buffer;
}

// Reference counting and QueryInterface for an object with one interface besides IUnknown.
template <class Interface>
class Object : public Interface {
 public:
  Object() { ::InterlockedIncrement(&g_liveObjects); }
  virtual ~Object() { ::InterlockedDecrement(&g_liveObjects); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != __uuidof(Interface)) return E_NOINTERFACE;
    *out = static_cast<Interface*>(this);
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
  LONG m_refs = 1;
};

// The WBEM status codes are enumerators above LONG_MAX; as HRESULTs they are negative.
constexpr HRESULT Wbem(WBEMSTATUS status) { return static_cast<HRESULT>(static_cast<unsigned long>(status)); }

constexpr HRESULT kNotSupported = Wbem(WBEM_E_NOT_SUPPORTED);

class ClassObject final : public Object<IWbemClassObject> {
 public:
  explicit ClassObject(FixtureObject properties) : m_properties(std::move(properties)) {}

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG, VARIANT* value, CIMTYPE* type, LONG* flavor) override {
    if (name == nullptr) return Wbem(WBEM_E_INVALID_PARAMETER);
    for (const auto& [propertyName, propertyValue] : m_properties) {
      if (::_wcsicmp(propertyName.c_str(), name) != 0) continue;
      if (type != nullptr) *type = CIM_EMPTY;
      if (flavor != nullptr) *flavor = WBEM_FLAVOR_ORIGIN_LOCAL;
      return value != nullptr ? propertyValue.ToVariant(value) : S_OK;
    }
    return Wbem(WBEM_E_NOT_FOUND);
  }

  HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE Put(LPCWSTR, LONG, VARIANT*, CIMTYPE) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE Next(LONG, BSTR*, VARIANT*, CIMTYPE*, LONG*) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE EndEnumeration() override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR, IWbemQualifierSet**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetObjectText(LONG, BSTR*) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG, IWbemClassObject**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE SpawnInstance(LONG, IWbemClassObject**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE CompareTo(LONG, IWbemClassObject*) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR, BSTR*) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR, LONG, IWbemClassObject**, IWbemClassObject**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE NextMethod(LONG, BSTR*, IWbemClassObject**, IWbemClassObject**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE EndMethodEnumeration() override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR*) override { return kNotSupported; }

 private:
  FixtureObject m_properties;
};

// Hands out the objects one by one; past the end, S_FALSE or the failure the source names.
class ObjectEnum final : public Object<IEnumWbemClassObject> {
 public:
  ObjectEnum(std::shared_ptr<IFixtureSource> source, std::vector<FixtureObject> objects, HRESULT atEnd)
      : m_source(std::move(source)), m_objects(std::move(objects)), m_atEnd(atEnd) {}

  HRESULT STDMETHODCALLTYPE Next(LONG timeout, ULONG count, IWbemClassObject** objects, ULONG* returned) override {
    m_source->Log(L"Next(" + std::to_wstring(timeout) + L", " + std::to_wstring(count) + L")");
    if (objects == nullptr || returned == nullptr) return Wbem(WBEM_E_INVALID_PARAMETER);
    *returned = 0;
    ULONG given = 0;
    while (given < count && m_next < m_objects.size()) objects[given++] = new ClassObject(m_objects[m_next++]);
    *returned = given;
    if (given == count) return WBEM_S_NO_ERROR;
    return FAILED(m_atEnd) ? m_atEnd : S_FALSE;  // never S_OK short of the count
  }

  HRESULT STDMETHODCALLTYPE Reset() override {
    m_next = 0;
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE NextAsync(ULONG, IWbemObjectSink*) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG) override { return kNotSupported; }

 private:
  std::shared_ptr<IFixtureSource> m_source;
  std::vector<FixtureObject> m_objects;
  size_t m_next = 0;
  HRESULT m_atEnd;
};

class Services final : public Object<IWbemServices> {
 public:
  Services(std::shared_ptr<IFixtureSource> source, std::wstring ns)
      : m_source(std::move(source)), m_namespace(std::move(ns)) {}

  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                      IEnumWbemClassObject** result) override {
    m_source->Log(L"ExecQuery(" + Show(language) + L", " + Show(query) + L", " + Hex(flags) +
        L", context=" + (context ? L"set" : L"null") + L")");
    if (result == nullptr) return Wbem(WBEM_E_INVALID_PARAMETER);
    *result = nullptr;
    if (language == nullptr || ::_wcsicmp(language, L"WQL") != 0) return Wbem(WBEM_E_INVALID_QUERY_TYPE);
    if (query == nullptr || ::_wcsicmp(query, kQuery) != 0) {
      return Wbem(WBEM_E_INVALID_QUERY);
    }
    std::vector<FixtureObject> objects;
    m_source->Objects(m_namespace, objects);
    *result = new ObjectEnum(m_source, std::move(objects), m_source->EndOfEnumeration(m_namespace));
    return WBEM_S_NO_ERROR;
  }

  HRESULT STDMETHODCALLTYPE OpenNamespace(const BSTR, LONG, IWbemContext*, IWbemServices**,
                                          IWbemCallResult**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE CancelAsyncCall(IWbemObjectSink*) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, IWbemObjectSink**) override { return kNotSupported; }
  HRESULT STDMETHODCALLTYPE GetObject(const BSTR, LONG, IWbemContext*, IWbemClassObject**,
                                      IWbemCallResult**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE PutClassAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE DeleteClass(const BSTR, LONG, IWbemContext*, IWbemCallResult**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE DeleteClassAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR, LONG, IWbemContext*, IWbemCallResult**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE ExecQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR, const BSTR, LONG, IWbemContext*,
                                                  IEnumWbemClassObject**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                                       IWbemObjectSink*) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
                                       IWbemClassObject**, IWbemCallResult**) override {
    return kNotSupported;
  }
  HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
                                            IWbemObjectSink*) override {
    return kNotSupported;
  }

 private:
  std::shared_ptr<IFixtureSource> m_source;
  std::wstring m_namespace;
};

class Locator final : public Object<IWbemLocator> {
 public:
  explicit Locator(std::shared_ptr<IFixtureSource> source) : m_source(std::move(source)) {}

  HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR ns, const BSTR user, const BSTR password, const BSTR locale,
                                          LONG flags, const BSTR authority, IWbemContext* context,
                                          IWbemServices** services) override {
    m_source->Log(L"ConnectServer(" + Show(ns) + L", user=" + Show(user) + L", password=" + Show(password) +
        L", locale=" + Show(locale) + L", flags=" + Hex(flags) + L", authority=" + Show(authority) +
        L", context=" + (context ? L"set" : L"null") + L")");
    if (services == nullptr) return Wbem(WBEM_E_INVALID_PARAMETER);
    *services = nullptr;
    std::vector<FixtureObject> unused;
    if (ns == nullptr || !m_source->Objects(ns, unused)) return Wbem(WBEM_E_INVALID_NAMESPACE);
    *services = new Services(m_source, ns);
    return WBEM_S_NO_ERROR;
  }

 private:
  std::shared_ptr<IFixtureSource> m_source;
};

class LocatorFactory final : public Object<IClassFactory> {
 public:
  explicit LocatorFactory(std::shared_ptr<IFixtureSource> source) : m_source(std::move(source)) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    Locator* locator = new Locator(m_source);
    const HRESULT hr = locator->QueryInterface(iid, out);
    locator->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  std::shared_ptr<IFixtureSource> m_source;
};

}  // namespace

FixtureValue FixtureValue::Text(std::wstring text) {
  FixtureValue v;
  v.kind = Kind::Text;
  v.text = std::move(text);
  return v;
}

FixtureValue FixtureValue::Int(LONG number) {
  FixtureValue v;
  v.kind = Kind::Int32;
  v.number = number;
  return v;
}

FixtureValue FixtureValue::Bool(bool value) {
  FixtureValue v;
  v.kind = Kind::Boolean;
  v.number = value ? 1 : 0;
  return v;
}

FixtureValue FixtureValue::Bytes(std::vector<BYTE> bytes, LONG lowerBound) {
  FixtureValue v;
  v.kind = Kind::Bytes;
  v.bytes = std::move(bytes);
  v.lowerBound = lowerBound;
  return v;
}

HRESULT FixtureValue::ToVariant(VARIANT* target) const {
  ::VariantInit(target);
  switch (kind) {
    case Kind::Null: V_VT(target) = VT_NULL; return S_OK;
    case Kind::Int32: V_VT(target) = VT_I4; V_I4(target) = number; return S_OK;
    case Kind::Boolean: V_VT(target) = VT_BOOL; V_BOOL(target) = number ? VARIANT_TRUE : VARIANT_FALSE; return S_OK;
    case Kind::Text:
      V_BSTR(target) = ::SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
      if (V_BSTR(target) == nullptr) return E_OUTOFMEMORY;
      V_VT(target) = VT_BSTR;
      return S_OK;
    case Kind::Bytes: {
      SAFEARRAYBOUND bound{static_cast<ULONG>(bytes.size()), lowerBound};
      SAFEARRAY* array = ::SafeArrayCreate(VT_UI1, 1, &bound);
      if (array == nullptr) return E_OUTOFMEMORY;
      void* data = nullptr;
      if (FAILED(::SafeArrayAccessData(array, &data))) {
        ::SafeArrayDestroy(array);
        return E_UNEXPECTED;
      }
      if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
      ::SafeArrayUnaccessData(array);
      V_VT(target) = VT_ARRAY | VT_UI1;
      V_ARRAY(target) = array;
      return S_OK;
    }
  }
  return E_UNEXPECTED;
}

HRESULT CreateLocatorFactory(std::shared_ptr<IFixtureSource> source, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (!source) return E_INVALIDARG;
  LocatorFactory* factory = new LocatorFactory(std::move(source));
  const HRESULT hr = factory->QueryInterface(iid, out);
  factory->Release();
  return hr;
}

LONG LiveObjects() { return g_liveObjects; }

}  // namespace vx::wmifixture

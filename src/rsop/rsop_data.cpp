#include "rsop/rsop_data.h"

#include "platform/format.h"
#include "platform/text.h"
#include "support/check.h"
#include "support/trace.h"

namespace vx::rsop {

namespace {

constexpr char16_t kPolicyKey[] =
    u"Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";
constexpr char16_t kQueryLanguage[] = u"WQL";
constexpr char16_t kQuery[] = u"SELECT * FROM RSOP_RegistryPolicySetting";
constexpr char16_t kMachineFormat[] = u"CCF_VX_RSOP_MACHINE_NAMESPACE";
constexpr char16_t kUserFormat[] = u"CCF_VX_RSOP_USER_NAMESPACE";
constexpr char16_t kDisplayNameAttribute[] = u"displayName";
constexpr DWORD kMachineSection = 2;
constexpr DWORD kUserSection = 1;
constexpr DWORD kNamespaceChars = 260;
constexpr std::int64_t kMultiSzType = 7;
constexpr std::int32_t kMaxCapacity = 1 << 25;
constexpr HRESULT kTypeMismatch = static_cast<HRESULT>(0x80020005u);  // DISP_E_TYPEMISMATCH

Variant Property(IRsopObject& object, std::u16string_view name) {
  Variant value;
  VX_CHECK(object.Get(name, value));
  return value;
}

// The data as "%ls" shows it: UTF-16 units (an odd last byte padded with 0) up to the first NUL.
std::u16string DataText(const std::vector<BYTE>& data) {
  std::u16string text;
  for (size_t at = 0; at < data.size(); at += 2) {
    const char16_t unit = static_cast<char16_t>(data[at] | (at + 1 < data.size() ? data[at + 1] << 8 : 0));
    if (unit == 0) break;
    text.push_back(unit);
  }
  return text;
}

std::u16string Upper(std::u16string_view text) {
  std::u16string upper(text);
  for (char16_t& c : upper) c = ToUpperInvariant(c);
  return upper;
}

// Appends with the arrays' own growth rule, so a runaway query ends as E_OUTOFMEMORY.
template <class T>
void Append(std::vector<T>& array, T&& item) {
  if (array.size() == array.capacity())
    array.reserve(static_cast<size_t>(detail::GrowCapacity(static_cast<std::int32_t>(array.capacity()))));
  array.push_back(std::move(item));
}

}  // namespace

std::int32_t detail::GrowCapacity(std::int32_t capacity) {
  const std::int64_t next = capacity == 0 ? 1 : std::int64_t{capacity} * 2;
  if (capacity < 0 || next >= kMaxCapacity)
    ThrowHResult(CheckResult(E_OUTOFMEMORY, "entry array capacity", __FILE__, __LINE__));
  return static_cast<std::int32_t>(next);
}

CRsopData::CRsopData(const RsopPorts& ports) : m_ports(ports) {}

HRESULT CRsopData::InitRsop(IRsopInformationSource* unknown) {
  VXTraceNS::CTraceScope scope("CRsopData::InitRsop()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    if (m_services) return S_OK;
    HPTR(m_ports.clipboard);
    const std::u16string_view format = m_machineSection ? kMachineFormat : kUserFormat;
    scope.Message("query IRSOPInformation");
    std::u16string ns;
    if (unknown == nullptr || !unknown->HasRsopInformation()) {
      // Pages and other components are not given the RSoP information: the first instance left it here.
      VX_CHECK(m_ports.clipboard->Get(format, ns));
      m_namespace = std::move(ns);
    } else {
      ns.reserve(kNamespaceChars);
      scope.Message("GetNamespace");
      VX_CHECK(unknown->GetNamespace(m_machineSection ? kMachineSection : kUserSection, ns, kNamespaceChars));
      m_namespace = std::move(ns);
      VX_CHECK(m_ports.clipboard->Put(format, m_namespace));
    }
    scope.Message("pLoc.CoCreateInstance");
    HPTR(m_ports.locator);
    scope.Message("ConnectServer");
    std::unique_ptr<IRsopServices> services;
    VX_CHECK(m_ports.locator->ConnectServer(m_namespace, services));
    HPTR(services);
    m_services = std::move(services);
    return S_OK;
  });
}

HRESULT CRsopData::LoadRsop() {
  VXTraceNS::CTraceScope scope("CRsopData::LoadRsop()");
  if (m_loaded) return scope.Result(S_OK);
  return scope.Result(QueryRsop());
}

HRESULT CRsopData::QueryRsop() {
  VXTraceNS::CTraceScope scope("CRsopData::QueryRsop()");
  m_entries = {};
  m_index.clear();
  HPTR(m_services);
  std::unique_ptr<IRsopObjectEnum> objects;
  VX_CHECK(m_services->ExecQuery(kQueryLanguage, kQuery, kWbemFlagReturnImmediately | kWbemFlagForwardOnly, objects));
  HPTR(objects);
  for (int index = 0;; ++index) {
    std::unique_ptr<IRsopObject> object;
    VX_CHECK(objects->Next(object));
    if (!object) break;
    scope.Message("[%02d] ...............................", index);
    ReadObject(*object, scope);
  }
  m_loaded = true;
  return scope.Result(S_OK);
}

void CRsopData::ReadObject(IRsopObject& object, VXTraceNS::CTraceScope& scope) {
  const Variant key = Property(object, u"registryKey");
  if (!key.IsString() || key.text.empty()) {
    scope.Message("empty key name");
    return;
  }
  if (key.text != kPolicyKey && !EqualsIgnoreCase(key.text, kPolicyKey)) {  // the usual spelling first
    scope.Message("unknown key name");
    return;
  }
  Variant name = Property(object, u"valueName");
  if (!name.IsString() || name.text.empty()) {
    scope.Message("empty value name");
    return;
  }
  const Variant type = Property(object, u"valueType");
  if (type.vt != kVtI4 || type.integer != kMultiSzType) {
    scope.Message("bad value type");
    return;
  }
  Variant value = Property(object, u"value");
  if (!value.IsByteArray()) {
    scope.Message("invalid value data");
    return;
  }
  RsopPolicyEntry entry;
  entry.valueName = std::move(name.text);
  entry.data = std::move(value.bytes);
  const std::u16string dataText = DataText(entry.data);
  scope.Message("%ls", dataText);

  const Variant deleted = Property(object, u"deleted");
  entry.deleted = deleted.vt == kVtBool && deleted.integer != 0 ? 1 : 0;
  Variant gpoId = Property(object, u"GPOID");
  if (gpoId.IsString()) entry.gpoId = std::move(gpoId.text);
  const Variant precedence = Property(object, u"precedence");
  RsopPrecedenceItem item;
  item.precedence = precedence.vt == kVtI4 ? static_cast<std::int32_t>(precedence.integer) : 1;
  // A directory failure is traced there and leaves the GPO id as the name.
  getFriendlyName(entry, item.gpoName);

  scope.Message("entry");
  scope.Message("-----------------");
  scope.Message("name:    %ls", entry.valueName);
  scope.Message("data:    %ls", dataText);
  scope.Message("gpo-id:  %ls", entry.gpoId);
  scope.Message("friendly:%ls", item.gpoName);
  scope.Message("prec:    %d", item.precedence);
  scope.Message("deleted: %d", entry.deleted);
  scope.Message("-----------------");
  Merge(std::move(entry), std::move(item), scope);
}

void CRsopData::Merge(RsopPolicyEntry&& entry, RsopPrecedenceItem&& item, VXTraceNS::CTraceScope& scope) {
  std::u16string key = Upper(entry.valueName);
  const auto found = m_index.find(key);
  if (found == m_index.end()) {
    entry.winner = item;
    Append(entry.precedenceList, std::move(item));
    Append(m_entries, std::move(entry));
    try {
      m_index.emplace(std::move(key), m_entries.size() - 1);
    } catch (...) {
      m_entries.pop_back();  // an entry the index cannot find must not stay
      throw;
    }
    scope.Message("adding entry");
    return;
  }
  RsopPolicyEntry& existing = m_entries[found->second];
  // Only the winning GPO (precedence 1), or a first setting without a name, gives the data.
  if (existing.winner.gpoName.empty() || item.precedence == 1) {
    existing.winner = item;
    existing.data = std::move(entry.data);
    scope.Message("existing: updating data");
  }
  Append(existing.precedenceList, std::move(item));
  scope.Message("existing: updating precedence");
}

HRESULT CRsopData::getFriendlyName(const RsopPolicyEntry& entry, std::u16string& name) {
  VXTraceNS::CTraceScope scope("CRsopData::getFriendlyName()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    name.clear();
    const std::u16string& id = entry.gpoId;
    scope.Message("GPOID: %ls", id);
    if (id.empty()) {
      scope.Message("empty GPOID");
    } else {
      name = id;
      if (id.find(u"cn=") == std::u16string::npos && id.find(u"CN=") == std::u16string::npos) {
        scope.Message("local gpo ? %ls", id);
      } else {
        const std::u16string path = Format(u"LDAP://%s", id);
        scope.Message("ADsGetObject(%ls)", path);
        HPTR(m_ports.directory);
        scope.Message("Get(displayName)");
        Variant value;
        VX_CHECK(m_ports.directory->GetAttribute(path, kDisplayNameAttribute, value));
        if (!value.IsString()) ThrowHResult(CheckResult(kTypeMismatch, "displayName", __FILE__, __LINE__));
        name = std::move(value.text);
      }
    }
    scope.Message("fiendly: %ls", name);
    return S_OK;
  });
}

const RsopPolicyEntry* CRsopData::FindEntry(std::u16string_view valueName) const {
  const auto found = m_index.find(Upper(valueName));
  return found == m_index.end() ? nullptr : &m_entries[found->second];
}

void CRsopDataPtr::_ASSERTE_RSOP_PTR_() const {
  if (m_pRsop) return;
  ThrowHResult(CheckResult(E_UNEXPECTED, "this->m_pRsop: NULL pointer detected", __FILE__, __LINE__));
}

}  // namespace vx::rsop

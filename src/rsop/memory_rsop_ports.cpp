#include "rsop/memory_rsop_ports.h"

#include "rsop/rsop_data.h"

#include <algorithm>
#include <memory>

namespace vx::rsop {

namespace {

constexpr HRESULT kInsufficientBuffer = HResultFromWin32(122);  // ERROR_INSUFFICIENT_BUFFER

template <class T, class Make>
Variant OrNull(const std::optional<T>& value, Make make) {
  if (!value) {
    Variant null;
    null.vt = kVtNull;
    return null;
  }
  return make(*value);
}

class MemoryRsopObject : public IRsopObject {
 public:
  explicit MemoryRsopObject(const RsopObjectData& data) : m_data(data) {}
  HRESULT Get(std::u16string_view property, Variant& value) override {
    auto found = m_data.find(property);
    if (found == m_data.end())
      found = std::find_if(m_data.begin(), m_data.end(),
                           [&](const auto& item) { return EqualsIgnoreCase(item.first, property); });
    if (found == m_data.end()) return kWbemNotFound;
    value = found->second;
    return S_OK;
  }

 private:
  const RsopObjectData& m_data;  // owned by the locator, which outlives the query
};

class MemoryRsopObjectEnum : public IRsopObjectEnum {
 public:
  explicit MemoryRsopObjectEnum(const MemoryRsopLocator& locator) : m_locator(locator) {}
  HRESULT Next(std::unique_ptr<IRsopObject>& object) override {
    object.reset();
    if (m_locator.failAtObject && *m_locator.failAtObject == m_next) return m_locator.objectFailure;
    if (m_next >= m_locator.objects.size()) return S_FALSE;
    object = std::make_unique<MemoryRsopObject>(m_locator.objects[m_next++]);
    return S_OK;
  }

 private:
  const MemoryRsopLocator& m_locator;
  size_t m_next = 0;
};

class MemoryRsopServices : public IRsopServices {
 public:
  explicit MemoryRsopServices(MemoryRsopLocator& locator) : m_locator(locator) {}
  HRESULT ExecQuery(std::u16string_view language, std::u16string_view query, LONG flags,
                    std::unique_ptr<IRsopObjectEnum>& result) override {
    result.reset();
    m_locator.queries.push_back({std::u16string(language), std::u16string(query), flags});
    if (FAILED(m_locator.queryFailure)) return m_locator.queryFailure;
    result = std::make_unique<MemoryRsopObjectEnum>(m_locator);
    return S_OK;
  }

 private:
  MemoryRsopLocator& m_locator;
};

}  // namespace

RsopObjectData MakeRegistryPolicySetting(const RegistryPolicySetting& setting) {
  const auto text = [](const std::u16string& v) { return Variant::Bstr(v); };
  const auto i4 = [](std::int32_t v) { return Variant::I4(v); };
  RsopObjectData object;
  object[u"registryKey"] = OrNull(setting.registryKey, text);
  object[u"valueName"] = OrNull(setting.valueName, text);
  object[u"valueType"] = OrNull(setting.valueType, i4);
  object[u"value"] = OrNull(setting.value, [](const std::vector<BYTE>& v) { return Variant::Bytes(v); });
  object[u"deleted"] = OrNull(setting.deleted, [](bool v) { return Variant::Bool(v); });
  object[u"GPOID"] = OrNull(setting.gpoId, text);
  object[u"precedence"] = OrNull(setting.precedence, i4);
  return object;
}

std::vector<BYTE> Utf16Bytes(std::u16string_view text) {
  std::vector<BYTE> bytes;
  bytes.reserve(text.size() * 2);
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<BYTE>(unit & 0xFF));
    bytes.push_back(static_cast<BYTE>(unit >> 8));
  }
  return bytes;
}

HRESULT MemoryRsopInformation::GetNamespace(DWORD section, std::u16string& ns, DWORD maxChars) {
  sections.push_back(section);
  if (FAILED(failure)) return failure;
  if (section != 1 && section != 2) return E_INVALIDARG;
  const std::u16string& value = section == 2 ? machineNamespace : userNamespace;
  if (value.size() + 1 > maxChars) return kInsufficientBuffer;
  ns = value;
  return S_OK;
}

HRESULT MemoryRsopLocator::ConnectServer(std::u16string_view ns, std::unique_ptr<IRsopServices>& services) {
  services.reset();
  namespaces.emplace_back(ns);
  if (FAILED(connectFailure)) return connectFailure;
  if (ns.empty()) return kWbemInvalidNamespace;
  services = std::make_unique<MemoryRsopServices>(*this);
  return S_OK;
}

HRESULT MemoryDirectory::GetAttribute(std::u16string_view path, std::u16string_view attribute, Variant& value) {
  paths.emplace_back(path);
  if (FAILED(failure)) return failure;
  const auto found = displayNames.find(std::u16string(path));
  if (found == displayNames.end()) return kDirectoryNoSuchObject;
  if (attribute != u"displayName") return kAdsPropertyNotFound;
  value = Variant::Bstr(found->second);
  return S_OK;
}

HRESULT MemoryRsopClipboard::Put(std::u16string_view format, std::u16string_view text) {
  if (FAILED(putFailure)) return putFailure;
  items[std::u16string(format)] = std::u16string(text.substr(0, text.find(u'\0')));
  return S_OK;
}

HRESULT MemoryRsopClipboard::Get(std::u16string_view format, std::u16string& text) {
  text.clear();
  const auto found = items.find(std::u16string(format));
  if (found == items.end() || found->second.empty()) return E_NOINTERFACE;
  text = found->second;
  return S_OK;
}

void MemoryRsopSession::Add(std::u16string_view name, std::u16string_view elements, int precedence) {
  RegistryPolicySetting setting;
  setting.valueName = std::u16string(name);
  setting.value = Utf16Bytes(elements);
  setting.gpoId = u"LocalGPO";
  setting.precedence = precedence;
  locator.objects.push_back(MakeRegistryPolicySetting(setting));
}

std::shared_ptr<CRsopData> MemoryRsopSession::Open() {
  info.machineNamespace = u"\\\\.\\root\\rsop\\ns1\\Computer";
  auto data = std::make_shared<CRsopData>(RsopPorts{&locator, &directory, &clipboard});
  data->SetMachineSection(true);
  return SUCCEEDED(data->InitRsop(&info)) ? data : nullptr;
}

}  // namespace vx::rsop

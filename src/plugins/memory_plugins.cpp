#include "plugins/memory_plugins.h"

#include <algorithm>

#include "platform/text.h"
#include "plugins/ui_elements.h"

namespace vx::plugins {
namespace {
constexpr std::uint16_t kVtVariant = 12;
}

FakeElement& FakeElement::SetProperty(long id, Variant value) {
  PropertyAnswer answer;
  answer.value.value = std::move(value);
  m_properties[id] = {std::move(answer)};
  return *this;
}

FakeElement& FakeElement::FailProperty(long id, HRESULT hr) {
  PropertyAnswer answer;
  answer.hr = hr;
  m_properties[id] = {std::move(answer)};
  return *this;
}

FakeElement& FakeElement::SetPropertySequence(long id, std::vector<PropertyAnswer> answers) {
  m_properties[id] = std::move(answers);
  return *this;
}

FakeElement& FakeElement::SetSubElements(std::vector<ElementPtr> members) {
  PropertyAnswer answer;
  answer.value.value.vt = kVtArray | kVtVariant;
  answer.value.members = std::move(members);
  m_properties[eKELT_LST_SUBELEMENTS] = {std::move(answer)};
  return *this;
}

FakeElement& FakeElement::SetCredProperty(long id, Variant value) {
  m_fCredential = true;
  m_credProperties[id] = PropertyAnswer{S_OK, ElementValue{std::move(value), {}}};
  return *this;
}

FakeElement& FakeElement::FailCredProperty(long id, HRESULT hr) {
  m_fCredential = true;
  m_credProperties[id] = PropertyAnswer{hr, {}};
  return *this;
}

FakeElement& FakeElement::SetToken(ULONGLONG mask, DWORD rawType) {
  SetCredProperty(eKELT_CRED_MASK, Variant::Ui8(mask));
  return SetCredProperty(eKELT_CRED_TYPE, Variant::Ui4(rawType));
}

FakeElement& FakeElement::EnableSite(HRESULT setSiteResult) {
  m_fSite = true;
  m_setSiteResult = setSiteResult;
  return *this;
}

HRESULT FakeElement::GetProperty(long id, ElementValue& value) {
  const int read = m_reads[id]++;
  const auto found = m_properties.find(id);
  if (found == m_properties.end() || found->second.empty()) return E_INVALIDARG;
  const auto& answers = found->second;
  const PropertyAnswer& answer = answers[std::min(static_cast<size_t>(read), answers.size() - 1)];
  if (SUCCEEDED(answer.hr)) value = answer.value;
  return answer.hr;
}

HRESULT FakeElement::SetSite(ISiteCallback* callback) {
  if (!m_fSite) return E_NOINTERFACE;
  m_sites.push_back(callback);
  return m_setSiteResult;
}

HRESULT FakeElement::GetCredProperty(long id, Variant& value) {
  const auto found = m_credProperties.find(id);
  if (found == m_credProperties.end()) return E_INVALIDARG;
  if (SUCCEEDED(found->second.hr)) value = found->second.value.value;
  return found->second.hr;
}

int FakeElement::Reads(long id) const {
  const auto found = m_reads.find(id);
  return found == m_reads.end() ? 0 : found->second;
}

std::shared_ptr<FakeElement> MakeFakeToken(std::u16string name, std::u16string displayString, ULONGLONG mask,
                                           DWORD rawType) {
  auto token = std::make_shared<FakeElement>(std::move(name));
  token->SetProperty(eKELT_LST_DISPLAYSTRING, Variant::Bstr(std::move(displayString)));
  token->SetToken(mask, rawType);
  return token;
}

void FakeElementFactory::Register(std::u16string modulePath, const GUID& clsid, ElementPtr element) {
  m_entries.push_back(Entry{std::move(modulePath), clsid, S_OK, std::move(element)});
}

void FakeElementFactory::RegisterFailure(std::u16string modulePath, const GUID& clsid, HRESULT hr) {
  m_entries.push_back(Entry{std::move(modulePath), clsid, hr, nullptr});
}

HRESULT FakeElementFactory::CreateInstance(std::u16string_view modulePath, const GUID& clsid, ElementPtr& element) {
  m_calls.push_back(Call{std::u16string(modulePath), clsid});
  element = nullptr;
  for (const Entry& entry : m_entries) {
    if (entry.clsid != clsid || !EqualsIgnoreCase(entry.modulePath, modulePath)) continue;
    if (SUCCEEDED(entry.hr)) element = entry.element;
    return entry.hr;
  }
  return HResultFromWin32(ERROR_MOD_NOT_FOUND);
}

std::vector<BYTE> RegistrationBytes(std::u16string_view text, bool withNul) {
  std::vector<BYTE> bytes;
  bytes.reserve((text.size() + 1) * 2);
  for (const char16_t c : text) {
    bytes.push_back(static_cast<BYTE>(c & 0xFF));
    bytes.push_back(static_cast<BYTE>(c >> 8));
  }
  if (withNul) bytes.insert(bytes.end(), {0, 0});
  return bytes;
}

LONG WriteRegistrationKey(platform::IRegistry& registry, std::u16string_view subkey, std::u16string_view name) {
  std::unique_ptr<platform::IRegistryKey> key;
  const std::u16string path =
      std::u16string(kPluginsKey) + u"\\" + std::u16string(subkey) + u"\\" + std::u16string(name);
  return registry.CreateKey(platform::RegistryRoot::LocalMachine, path, KEY_ALL_ACCESS, key);
}

LONG WriteRegistration(platform::IRegistry& registry, std::u16string_view subkey, std::u16string_view name, DWORD type,
                       const std::vector<BYTE>& bytes) {
  std::unique_ptr<platform::IRegistryKey> key;
  const std::u16string path =
      std::u16string(kPluginsKey) + u"\\" + std::u16string(subkey) + u"\\" + std::u16string(name);
  const LONG error = registry.CreateKey(platform::RegistryRoot::LocalMachine, path, KEY_ALL_ACCESS, key);
  if (error != ERROR_SUCCESS) return error;
  return key->SetValue(u"", type, bytes.data(), static_cast<DWORD>(bytes.size()));
}

LONG WriteRegistration(platform::IRegistry& registry, std::u16string_view subkey, std::u16string_view name,
                       std::u16string_view modulePath) {
  return WriteRegistration(registry, subkey, name, REG_SZ, RegistrationBytes(modulePath));
}

}  // namespace vx::plugins

#include "fixture_objects.h"

#include <cwchar>

#include "platform/text.h"
#include "policy/multi_sz.h"

namespace vx::wmifixture {

namespace {
std::wstring Wide(const std::u16string& text) { return std::wstring(AsWide(text.data()), text.size()); }
}  // namespace

FixtureObject SettingObject(const FixtureSetting& setting) {
  std::vector<ULONGLONG> masks(setting.masks.begin(), setting.masks.end());
  return {{L"registryKey", FixtureValue::Text(kApplicationKey)},
          {L"valueName", FixtureValue::Text(Wide(setting.setting))},
          {L"valueType", FixtureValue::Int(REG_MULTI_SZ)},
          {L"value", FixtureValue::Bytes(policy::SerializeMultiSz(masks))},
          {L"deleted", FixtureValue::Bool(setting.deleted)},
          {L"GPOID", FixtureValue::Text(Wide(setting.gpo))},
          {L"precedence", FixtureValue::Int(setting.precedence)}};
}

bool SettingsSource::Objects(const std::wstring& ns, std::vector<FixtureObject>& out) {
  out.clear();
  FixtureSection section = FixtureSection::Machine;
  if (::_wcsicmp(ns.c_str(), m_machineNamespace.c_str()) == 0) {
    section = FixtureSection::Machine;
  } else if (::_wcsicmp(ns.c_str(), m_userNamespace.c_str()) == 0) {
    section = FixtureSection::User;
  } else {
    return false;
  }
  for (const FixtureSetting& setting : m_settings) {
    if (setting.section == section) out.push_back(SettingObject(setting));
  }
  return true;
}

}  // namespace vx::wmifixture

#include "policy/policy_settings.h"

#include <algorithm>

#include "platform/text.h"

namespace vx::policy {
namespace {

// The kiosk runtime policy is created with the logon policy's type on purpose.
constexpr PolicySettingInfo kSettings[] = {
    {kLogonPolicy, SettingKind::AuthenticationPolicy, 1, false, true},
    {kRuntimePolicy, SettingKind::AuthenticationPolicy, 2, true, true},
    {kKioskRuntimePolicy, SettingKind::AuthenticationPolicy, 1, false, true},
    {GPO_DisableCredentials, SettingKind::EnrollmentPolicy, 0, true, true},
};

}  // namespace

std::span<const PolicySettingInfo> PolicySettings() { return kSettings; }

const PolicySettingInfo* FindPolicySetting(std::u16string_view name) {
  for (const auto& setting : kSettings) {
    if (EqualsIgnoreCase(setting.name, name)) return &setting;
  }
  return nullptr;
}

bool IsSettingInSection(const PolicySettingInfo& setting, DWORD gpoSection) {
  if (gpoSection == VX_GPO_SECTION_MACHINE) return setting.machineSection;
  if (gpoSection == VX_GPO_SECTION_USER) return setting.userSection;
  return false;
}

SettingState GetSettingState(std::span<const ULONGLONG> masks, bool disabled) {
  if (masks.empty()) return disabled ? SettingState::Disabled : SettingState::NotConfigured;
  if (masks.size() == 1 && masks[0] == 0) return SettingState::Disabled;
  return SettingState::Enabled;
}

int RoleSettings::Find(ULONGLONG mask) const {
  const auto it = std::find(m_combinations.begin(), m_combinations.end(), mask);
  return it == m_combinations.end() ? -1 : static_cast<int>(it - m_combinations.begin());
}

bool RoleSettings::Add(ULONGLONG mask) {
  if (Find(mask) >= 0) return false;
  m_combinations.push_back(mask);
  return true;
}

bool RoleSettings::Remove(ULONGLONG mask) {
  const int index = Find(mask);
  if (index < 0) return false;
  m_combinations.erase(m_combinations.begin() + index);
  return true;
}

RoleSettings& CRoleSettingsTable::Ensure(std::int32_t roleId) {
  if (RoleSettings* existing = Find(roleId)) return *existing;
  RoleSettings& record = m_records.emplace_back();
  record.roleId = roleId;
  return record;
}

RoleSettings* CRoleSettingsTable::Find(std::int32_t roleId) {
  for (auto& record : m_records) {
    if (record.roleId == roleId) return &record;
  }
  return nullptr;
}

const RoleSettings* CRoleSettingsTable::Find(std::int32_t roleId) const {
  return const_cast<CRoleSettingsTable*>(this)->Find(roleId);
}

}  // namespace vx::policy

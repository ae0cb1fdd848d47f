// The policy settings of the system, the rule that gives a setting's state, and the role settings that
// the policy pages edit.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/wintypes.h"

namespace vx::policy {

// GPO sections, as IGPEInformation::GetRegistryKey numbers them.
inline constexpr DWORD VX_GPO_SECTION_USER = 1;
inline constexpr DWORD VX_GPO_SECTION_MACHINE = 2;

// Setting names, which are also the registry value names.
inline constexpr char16_t kLogonPolicy[] = u"LogonPolicy";
inline constexpr char16_t kRuntimePolicy[] = u"RuntimePolicy";
inline constexpr char16_t kKioskRuntimePolicy[] = u"KioskRuntimePolicy";
inline constexpr char16_t GPO_DisableCredentials[] = u"DisableCredentials";

enum class SettingKind { AuthenticationPolicy, EnrollmentPolicy };

struct PolicySettingInfo {
  const char16_t* name;
  SettingKind kind;
  int policyType;  // m_apt of the authentication policy node; 0 for the enrollment policy
  bool userSection;
  bool machineSection;
};

// The four settings, in the order the machine section shows the authentication policies.
std::span<const PolicySettingInfo> PolicySettings();
// The setting of that name (compared ignoring case, as the registry does); null when unknown.
const PolicySettingInfo* FindPolicySetting(std::u16string_view name);
// Whether the setting is offered in the GPO section (1 user, 2 machine).
bool IsSettingInSection(const PolicySettingInfo& setting, DWORD gpoSection);

enum class SettingState { NotConfigured, Enabled, Disabled };

// The one rule for a setting's state, shared by the store, the nodes and the pages:
// no masks: Disabled when the flag is set, else Not configured; one mask that is 0: Disabled;
// anything else Enabled (a 0 among other masks is kept and does not disable).
SettingState GetSettingState(std::span<const ULONGLONG> masks, bool disabled);

// Enforcement of a role's policy.
enum VX_ENFORCEPOLICY : std::int32_t {
  VX_ENFORCEPOLICY_UNCONFIGURED = 0,
  VX_ENFORCEPOLICY_IMMEDIATELY = 1,
  VX_ENFORCEPOLICY_SPECIFICDATE = 2,
};

// An OLE automation date (days since 30 December 1899) with its validity status.
struct OleDate {
  enum Status : std::int32_t { valid = 0, invalid = 1 };
  double value = 0.0;
  Status status = invalid;
  bool IsValid() const { return status == valid; }
};

// One role's record of the working copy that the policy pages edit.
struct RoleSettings {
  std::int32_t roleId = 0;
  UINT roleNameId = 0;  // language resource text naming the role
  OleDate enforcementDate;
  VX_ENFORCEPOLICY enforcementMode = VX_ENFORCEPOLICY_UNCONFIGURED;
  std::u16string settingName;

  const std::vector<ULONGLONG>& Combinations() const { return m_combinations; }
  // Index of the mask, or -1.
  int Find(ULONGLONG mask) const;
  // Appends the mask unless the list holds it already; false when it did.
  bool Add(ULONGLONG mask);
  // Removes the mask's occurrence; false when it was not there.
  bool Remove(ULONGLONG mask);
  void RemoveAll() { m_combinations.clear(); }

 private:
  std::vector<ULONGLONG> m_combinations;  // never the same mask twice
};

// The role records of one policy, in insertion order, keyed by role identifier.
class CRoleSettingsTable {
 public:
  // The role's record, created at the end when it is not there yet.
  RoleSettings& Ensure(std::int32_t roleId);
  RoleSettings* Find(std::int32_t roleId);
  const RoleSettings* Find(std::int32_t roleId) const;
  // The last record (the one whose combinations reach the stored policy); null when empty.
  const RoleSettings* Last() const { return m_records.empty() ? nullptr : &m_records.back(); }
  const std::vector<RoleSettings>& Records() const { return m_records; }
  size_t Size() const { return m_records.size(); }

 private:
  std::vector<RoleSettings> m_records;
};

}  // namespace vx::policy

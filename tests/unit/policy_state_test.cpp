// The setting table, the one state rule, the policy's mask list and the role settings records.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "policy/auth_policy.h"
#include "policy/policy_settings.h"

using namespace vx::policy;

TEST(SettingState, OneRuleForListAndFlag) {
  const struct {
    std::vector<ULONGLONG> masks;
    bool disabled;
    SettingState state;
  } cases[] = {
      {{}, false, SettingState::NotConfigured}, {{}, true, SettingState::Disabled},
      {{0}, false, SettingState::Disabled},    // the zero mask alone marks a disabled policy
      {{0, 3}, false, SettingState::Enabled},  // among others it is kept and does not disable
      {{5}, true, SettingState::Enabled},      // masks decide over the flag
  };
  for (const auto& c : cases) EXPECT_EQ(GetSettingState(c.masks, c.disabled), c.state) << c.masks.size() << c.disabled;
}

TEST(SettingTable, TypesAndSectionsByNameIgnoringCase) {
  ASSERT_EQ(PolicySettings().size(), 4u);
  EXPECT_EQ(FindPolicySetting(u"Runtime"), nullptr);
  // The kiosk runtime policy has the logon policy's type; only the runtime and enrollment policies are per user.
  const struct {
    const char16_t* name;
    int type;
    bool user;
  } cases[] = {{u"LOGONPOLICY", 1, false},
               {u"runtimepolicy", 2, true},
               {u"KioskRuntimePolicy", 1, false},
               {u"DisableCredentials", 0, true}};
  for (const auto& c : cases) {
    const PolicySettingInfo* setting = FindPolicySetting(c.name);
    ASSERT_NE(setting, nullptr);
    EXPECT_EQ(setting->policyType, c.type);
    EXPECT_EQ(IsSettingInSection(*setting, VX_GPO_SECTION_USER), c.user);
    EXPECT_TRUE(IsSettingInSection(*setting, VX_GPO_SECTION_MACHINE));
    EXPECT_FALSE(IsSettingInSection(*setting, 0));
  }
}

TEST(RoleSettings, TableOfRolesWhoseCombinationsNeverRepeat) {
  CRoleSettingsTable table;
  EXPECT_EQ(table.Last(), nullptr);
  RoleSettings& admins = table.Ensure(7);
  for (ULONGLONG mask : {3ull, 0ull, ~0ull}) EXPECT_TRUE(admins.Add(mask));
  EXPECT_FALSE(admins.Add(3));
  EXPECT_EQ(admins.Find(0), 1);
  EXPECT_TRUE(admins.Remove(0));
  EXPECT_FALSE(admins.Remove(0));
  EXPECT_EQ(admins.Combinations(), (std::vector<ULONGLONG>{3, ~0ull}));
  admins.enforcementDate = {46000.5, OleDate::valid};

  table.Ensure(2).RemoveAll();
  EXPECT_EQ(&table.Ensure(7), table.Find(7));  // an existing role is not added again
  EXPECT_EQ(table.Size(), 2u);
  EXPECT_EQ(table.Last()->roleId, 2);
  EXPECT_EQ(std::as_const(table).Find(3), nullptr);
  EXPECT_TRUE(std::as_const(table).Find(7)->enforcementDate.IsValid());
  EXPECT_FALSE(table.Records()[1].enforcementDate.IsValid());
}

TEST(PolicyList, AccessInStoredOrderWithTheStateRule) {
  CGPOAuthPolicy policy;
  EXPECT_EQ(policy.State(), SettingState::NotConfigured);
  for (ULONGLONG mask : {6ull, 0ull, 0x8000000000000001ull}) EXPECT_TRUE(policy.Add(mask));
  EXPECT_EQ(policy.MaskAt(2), 0x8000000000000001ull);
  EXPECT_EQ(policy.Find(1), -1);  // full 64-bit comparison
  EXPECT_EQ(policy.Find(0), 1);
  policy.RemoveAt(0);
  policy.RemoveAt(5);  // out of range: nothing
  policy.RemoveAt(-1);
  EXPECT_EQ(policy.Count(), 2);
  policy.RemoveAt(1);
  EXPECT_EQ(policy.State(), SettingState::Disabled) << "the zero mask alone disables even without the flag";
  policy.RemoveAll();
  policy.SetDisabled(true);
  EXPECT_EQ(policy.State(), SettingState::Disabled);
}

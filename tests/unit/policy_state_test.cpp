// The setting table, the one state rule, the policy's mask list and the role settings records.
#include <gtest/gtest.h>

#include <vector>

#include "policy/auth_policy.h"
#include "policy/policy_settings.h"
#include "trace_test_support.h"

using namespace vx::policy;

TEST(SettingState, OneRuleForListAndFlag) {
  struct Case {
    std::vector<ULONGLONG> masks;
    bool disabled;
    SettingState state;
  };
  const Case cases[] = {
      {{}, false, SettingState::NotConfigured},
      {{}, true, SettingState::Disabled},
      {{0}, false, SettingState::Disabled},  // the zero mask alone marks a disabled policy
      {{0}, true, SettingState::Disabled},
      {{0, 3}, false, SettingState::Enabled},  // among others it is kept and does not disable
      {{3, 0}, false, SettingState::Enabled},
      {{5}, false, SettingState::Enabled},
      {{5}, true, SettingState::Enabled},  // masks decide over the flag
      {{0x8000000000000000ull}, false, SettingState::Enabled},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(GetSettingState(c.masks, c.disabled), c.state) << c.masks.size() << " masks, flag " << c.disabled;
  }
}

TEST(SettingTable, LookupTypesAndSections) {
  const auto settings = PolicySettings();
  ASSERT_EQ(settings.size(), 4u);
  const auto* logon = FindPolicySetting(u"LOGONPOLICY");
  const auto* runtime = FindPolicySetting(u"runtimepolicy");
  const auto* kiosk = FindPolicySetting(u"KioskRuntimePolicy");
  const auto* enrollment = FindPolicySetting(u"DisableCredentials");
  ASSERT_TRUE(logon && runtime && kiosk && enrollment);
  EXPECT_EQ(FindPolicySetting(u"Runtime"), nullptr);
  // The kiosk runtime policy has the logon policy's type, not the runtime one's.
  EXPECT_EQ(kiosk->policyType, logon->policyType);
  EXPECT_NE(runtime->policyType, logon->policyType);
  EXPECT_EQ(enrollment->kind, SettingKind::EnrollmentPolicy);
  // Of the authentication policies only the runtime policy is in the user section.
  EXPECT_TRUE(IsSettingInSection(*runtime, VX_GPO_SECTION_USER));
  EXPECT_TRUE(IsSettingInSection(*runtime, VX_GPO_SECTION_MACHINE));
  EXPECT_FALSE(IsSettingInSection(*logon, VX_GPO_SECTION_USER));
  EXPECT_FALSE(IsSettingInSection(*kiosk, VX_GPO_SECTION_USER));
  EXPECT_TRUE(IsSettingInSection(*kiosk, VX_GPO_SECTION_MACHINE));
  EXPECT_TRUE(IsSettingInSection(*enrollment, VX_GPO_SECTION_USER));
  EXPECT_FALSE(IsSettingInSection(*runtime, 0));
}

TEST(RoleSettings, CombinationsNeverRepeat) {
  RoleSettings role;
  EXPECT_EQ(role.enforcementMode, VX_ENFORCEPOLICY_UNCONFIGURED);
  EXPECT_FALSE(role.enforcementDate.IsValid());
  EXPECT_TRUE(role.Add(3));
  EXPECT_TRUE(role.Add(0));
  EXPECT_FALSE(role.Add(3));
  EXPECT_TRUE(role.Add(0xFFFFFFFFFFFFFFFFull));
  EXPECT_EQ(role.Combinations(), (std::vector<ULONGLONG>{3, 0, 0xFFFFFFFFFFFFFFFFull}));
  EXPECT_EQ(role.Find(0), 1);
  EXPECT_EQ(role.Find(7), -1);
  EXPECT_TRUE(role.Remove(0));
  EXPECT_FALSE(role.Remove(0));
  EXPECT_EQ(role.Combinations(), (std::vector<ULONGLONG>{3, 0xFFFFFFFFFFFFFFFFull}));
  role.RemoveAll();
  EXPECT_TRUE(role.Combinations().empty());
}

TEST(RoleSettings, TableKeepsInsertionOrderPerRole) {
  CRoleSettingsTable table;
  EXPECT_EQ(table.Last(), nullptr);
  RoleSettings& admins = table.Ensure(7);
  admins.settingName = kLogonPolicy;
  admins.enforcementDate = {46000.5, OleDate::valid};
  admins.enforcementMode = VX_ENFORCEPOLICY_SPECIFICDATE;
  table.Ensure(2).Add(1);
  EXPECT_EQ(&table.Ensure(7), table.Find(7));  // an existing role is not added again
  EXPECT_EQ(table.Size(), 2u);
  EXPECT_EQ(table.Records()[0].roleId, 7);
  ASSERT_NE(table.Last(), nullptr);
  EXPECT_EQ(table.Last()->roleId, 2);
  EXPECT_EQ(table.Find(3), nullptr);
  EXPECT_TRUE(table.Find(7)->enforcementDate.IsValid());
  EXPECT_EQ(table.Find(7)->settingName, u"LogonPolicy");
}

class PolicyList : public vxtest::TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
  }
};

TEST_F(PolicyList, NewPolicyIsNotConfigured) {
  CGPOAuthPolicy policy;
  EXPECT_EQ(policy.State(), SettingState::NotConfigured);
  EXPECT_EQ(policy.Count(), 0);
  EXPECT_FALSE(policy.IsDisabled());
  EXPECT_FALSE(policy.IsRsopMode());
  EXPECT_TRUE(policy.RsopEntry().valueName.empty());
}

TEST_F(PolicyList, AccessInStoredOrder) {
  CGPOAuthPolicy policy;
  for (ULONGLONG mask : {6ull, 0ull, 0x8000000000000001ull}) EXPECT_TRUE(policy.Add(mask));
  EXPECT_EQ(policy.Count(), 3);
  EXPECT_EQ(policy.MaskAt(2), 0x8000000000000001ull);
  EXPECT_EQ(policy.Find(0x8000000000000001ull), 2);
  EXPECT_EQ(policy.Find(1), -1);  // full 64-bit comparison
  EXPECT_EQ(policy.Find(0), 1);
  EXPECT_EQ(policy.State(), SettingState::Enabled);
  policy.RemoveAt(0);
  policy.RemoveAt(5);  // out of range: nothing
  policy.RemoveAt(-1);
  EXPECT_EQ(std::vector<ULONGLONG>(policy.Masks().begin(), policy.Masks().end()),
            (std::vector<ULONGLONG>{0, 0x8000000000000001ull}));
  policy.RemoveAt(1);
  EXPECT_EQ(policy.State(), SettingState::Disabled) << "the zero mask alone disables even without the flag";
  policy.RemoveAll();
  EXPECT_EQ(policy.State(), SettingState::NotConfigured);
}

TEST_F(PolicyList, SetDisabledTracesTheFlag) {
  CGPOAuthPolicy policy;
  policy.SetDisabled(true);
  EXPECT_EQ(policy.State(), SettingState::Disabled);
  policy.SetDisabled(false);
  Stop();
  const auto file = File();
  EXPECT_EQ(file.Texts('>'), (std::vector<std::string>{"CGPOAuthPolicy::SetDisabled", "CGPOAuthPolicy::SetDisabled"}));
  EXPECT_EQ(file.Texts('U'), (std::vector<std::string>{"m_fDisabled = 1", "m_fDisabled = 0"}));
}

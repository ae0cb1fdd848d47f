// The stored form of a policy (exact bytes when written, _wcstoui64 rules and bounds when read), the
// setting table, the one state rule, the policy's mask list and the role settings records.
#include <gtest/gtest.h>

#include <tuple>
#include <utility>

#include "policy/auth_policy.h"
#include "policy/multi_sz.h"
#include "shared_fixtures.h"

using namespace vx::policy;
using vx::rsop::Utf16Bytes;
using vxtest::Nuls;

namespace {

constexpr ULONGLONG kAll = 0xFFFFFFFFFFFFFFFFull;

TEST(MultiSzWrite, SeventeenUpperCaseCharactersPerMaskAndAClosingNul) {
  EXPECT_EQ(SerializeMultiSz({}), (std::vector<BYTE>{0, 0}));
  const ULONGLONG masks[] = {1, 0xABCDEF0123456789ull};
  EXPECT_EQ(SerializeMultiSz(masks), Utf16Bytes(Nuls(u"0000000000000001|ABCDEF0123456789||")));

  // The length of a multi-string walks its elements up to the empty one, or to the end of the text.
  EXPECT_EQ(MultiSzLength(Nuls(u"AB|C||junk")), 6u);
  EXPECT_EQ(MultiSzLength(Nuls(u"AB|C")), 4u);
}

TEST(MaskConversion, FollowsTheBase16WideConversion) {
  const std::pair<std::u16string_view, ULONGLONG> cases[] = {
      {u"0X1f", 0x1F},
      {u"abcDEF", 0xABCDEF},
      {u"+ff", 0xFF},
      {u"", 0},
      {u"0x", 0},
      {u" \t\r\n\v\f1A", 0x1A},       // leading white space
      {u"12G4", 0x12},                // stops at the first non-hex character
      {u"-1", kAll},                  // a sign negates, as the C conversion does
      {u"00000000000000001", 1},      // longer than 16 digits, but in range
      {u"10000000000000000", kAll},   // overflow saturates
      {u"-10000000000000000", kAll},  // and is not negated
      {u"\u0661", 0},                 // only ASCII digits count
  };
  for (const auto& [text, mask] : cases) EXPECT_EQ(ParseMaskText(text), mask) << vx::Utf16ToUtf8(text);
}

TEST(MultiSzRead, ElementsUpToTheFirstEmptyOneFirstOccurrencesOnly) {
  const std::pair<std::u16string, std::vector<ULONGLONG>> cases[] = {
      {u"0000000000000001|0000000000000006||", {1, 6}},  // '|' for each NUL
      {u"1||2||", {1}},
      {u"|5||", {}},
      {u"zz|3||", {0, 3}},  // text that does not convert is a mask of 0, not the end
      {u"5|3|5|0x3|0||", {5, 3, 0}},
      {u"4|5", {4, 5}},  // no closing NUL
      {u"", {}},
  };
  for (const auto& [text, masks] : cases)
    EXPECT_EQ(ParseMultiSz(Utf16Bytes(Nuls(text))), masks) << vx::Utf16ToUtf8(text);
  EXPECT_EQ(ParseMultiSz(std::vector<BYTE>{0x31, 0, 0x32}), (std::vector<ULONGLONG>{1}));  // odd last byte ignored

  // A reader that reached the end stays there.
  const auto bytes = Utf16Bytes(Nuls(u"7||"));
  MultiSzReader reader(bytes);
  ULONGLONG mask = 0;
  EXPECT_TRUE(reader.Next(mask));
  EXPECT_FALSE(reader.Next(mask));
  EXPECT_FALSE(reader.Next(mask));
}

TEST(MultiSzRead, HugeValuesAreReadWholeAndMasksRoundTripUnsigned) {
  // 64 KiB and more of a single element without any NUL.
  EXPECT_EQ(ParseMultiSz(Utf16Bytes(std::u16string(40000, u'0') + u"5")), (std::vector<ULONGLONG>{5}));
  const std::vector<ULONGLONG> masks = {0x8000000000000000ull, kAll, 0x7FFFFFFFFFFFFFFFull, 0};
  EXPECT_EQ(ParseMultiSz(SerializeMultiSz(masks)), masks);
}

TEST(SettingState, OneRuleForListAndFlag) {
  const std::tuple<std::vector<ULONGLONG>, bool, SettingState> cases[] = {
      {{}, false, SettingState::NotConfigured}, {{}, true, SettingState::Disabled},
      {{0}, false, SettingState::Disabled},    // the zero mask alone marks a disabled policy
      {{0, 3}, false, SettingState::Enabled},  // among others it is kept and does not disable
      {{5}, true, SettingState::Enabled},      // masks decide over the flag
  };
  for (const auto& [masks, disabled, state] : cases)
    EXPECT_EQ(GetSettingState(masks, disabled), state) << masks.size() << disabled;
}

TEST(SettingTable, TypesAndSectionsByNameIgnoringCase) {
  ASSERT_EQ(PolicySettings().size(), 4u);
  EXPECT_EQ(FindPolicySetting(u"Runtime"), nullptr);
  // The kiosk runtime policy has the logon policy's type; only the runtime and enrollment policies are per user.
  const std::tuple<const char16_t*, int, bool> cases[] = {{u"LOGONPOLICY", 1, false},
                                                          {u"runtimepolicy", 2, true},
                                                          {u"KioskRuntimePolicy", 1, false},
                                                          {u"DisableCredentials", 0, true}};
  for (const auto& [name, type, user] : cases) {
    const PolicySettingInfo* setting = FindPolicySetting(name);
    ASSERT_NE(setting, nullptr);
    EXPECT_EQ(setting->policyType, type);
    EXPECT_EQ(IsSettingInSection(*setting, VX_GPO_SECTION_USER), user);
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
  EXPECT_TRUE(admins.Remove(0));
  EXPECT_FALSE(admins.Remove(0));
  EXPECT_EQ(admins.Combinations(), (std::vector<ULONGLONG>{3, ~0ull}));

  table.Ensure(2);
  EXPECT_EQ(&table.Ensure(7), table.Find(7));  // an existing role is not added again
  EXPECT_EQ(table.Size(), 2u);
  EXPECT_EQ(table.Last()->roleId, 2);
  EXPECT_EQ(std::as_const(table).Find(3), nullptr);
}

TEST(PolicyList, AccessInStoredOrder) {
  CGPOAuthPolicy policy;
  for (ULONGLONG mask : {6ull, 0ull, 0x8000000000000001ull}) EXPECT_TRUE(policy.Add(mask));
  EXPECT_EQ(policy.Find(1), -1);  // full 64-bit comparison
  EXPECT_EQ(policy.Find(0), 1);
  policy.RemoveAt(0);
  policy.RemoveAt(5);  // out of range: nothing
  policy.RemoveAt(-1);
  EXPECT_EQ(policy.Count(), 2);
  EXPECT_EQ(policy.MaskAt(0), 0u);
  policy.RemoveAll();
  EXPECT_EQ(policy.Count(), 0);
}

}  // namespace

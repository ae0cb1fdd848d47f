// The GPO policy store: the bytes Save writes, what Load reads, deletion and pruning, failures, RSoP mode.
#include <gtest/gtest.h>

#include <algorithm>

#include "policy/auth_policy.h"
#include "policy/memory_gpo_information.h"
#include "shared_fixtures.h"

using namespace vx::policy;
using vx::rsop::Utf16Bytes;
using vxtest::Nuls;

namespace {

constexpr DWORD kMachine = VX_GPO_SECTION_MACHINE;
constexpr DWORD kUser = VX_GPO_SECTION_USER;
constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002u);

std::vector<ULONGLONG> MasksOf(const CGPOAuthPolicy& policy) { return {policy.Masks().begin(), policy.Masks().end()}; }

class Store : public vxtest::TracedTest {
 protected:
  CRegKey Open(DWORD section, std::u16string_view path, bool create = false) {
    CRegKey key;
    const LONG error = create ? gpo.SectionKey(section)->CreateKey(path, KEY_ALL_ACCESS, key)
                              : gpo.SectionKey(section)->OpenKey(path, KEY_ALL_ACCESS, key);
    return error == ERROR_SUCCESS ? std::move(key) : nullptr;
  }
  // The stored bytes of a value; empty when there is none.
  std::vector<BYTE> Stored(DWORD section, std::u16string_view name, DWORD* type = nullptr) {
    std::vector<BYTE> bytes;
    if (CRegKey app = Open(section, kApplicationKey)) vx::platform::ReadBytes(*app, name, bytes, type);
    return bytes;
  }
  HRESULT SaveMasks(DWORD section, std::u16string_view name, std::vector<ULONGLONG> masks, bool disabled = false) {
    CGPOAuthPolicy policy;
    for (ULONGLONG mask : masks) policy.Add(mask);
    policy.SetDisabled(disabled);
    return policy.Save(&gpo, section, std::u16string(name).c_str());
  }

  MemoryGpoInformation gpo;
};

TEST_F(Store, SaveWritesTheMultiStringImageOrDeletesItAndTellsTheEditor) {
  // Without "Software\Policies" there is nothing to delete from: the save fails before the notice.
  EXPECT_EQ(SaveMasks(kUser, kRuntimePolicy, {}), kFileNotFound);
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {1, 6}), S_OK);
  DWORD type = REG_NONE;
  EXPECT_EQ(Stored(kMachine, kLogonPolicy, &type), Utf16Bytes(Nuls(u"0000000000000001|0000000000000006||")));
  EXPECT_EQ(type, REG_MULTI_SZ);
  ASSERT_EQ(SaveMasks(kUser, kRuntimePolicy, {}, true), S_OK);
  EXPECT_EQ(Stored(kUser, kRuntimePolicy), (std::vector<BYTE>{0, 0})) << "disabled without masks: a lone NUL";
  ASSERT_EQ(SaveMasks(kUser, GPO_DisableCredentials, {0x30}, true), S_OK);
  EXPECT_EQ(Stored(kUser, GPO_DisableCredentials).size(), 36u) << "a disabled policy writes the masks it holds";

  // Not configured: the value is deleted and the keys left empty are pruned up to "Software\Policies".
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {}), S_OK);
  EXPECT_EQ(gpo.Dump(kMachine), "Machine\n  Software\n    Policies\n");
  EXPECT_EQ(SaveMasks(kMachine, kLogonPolicy, {}), S_OK) << "nothing left to delete is no failure";

  std::vector<std::pair<BOOL, BOOL>> notices;  // machine, add
  for (const auto& call : gpo.policyChanged) notices.emplace_back(call.machine, call.add);
  EXPECT_EQ(notices, (std::vector<std::pair<BOOL, BOOL>>{
                         {TRUE, TRUE}, {FALSE, TRUE}, {FALSE, TRUE}, {TRUE, FALSE}, {TRUE, FALSE}}));
  EXPECT_EQ(gpo.policyChanged[1].extension, GUID_RegistryExtension);
  EXPECT_EQ(gpo.policyChanged[1].snapin, GUID_ComputerSnapin);
}

TEST_F(Store, LoadReadsEveryStoredShape) {
  const struct {
    const char16_t* name;
    DWORD type;
    const char16_t* stored;  // '|' for each NUL; null: no value
    std::vector<ULONGLONG> masks;
    bool disabled;
  } cases[] = {
      {kLogonPolicy, REG_MULTI_SZ, u"|", {}, true},
      {kRuntimePolicy, REG_MULTI_SZ, u"0000000000000000||", {0}, true},  // a single zero element is disabled
      {kKioskRuntimePolicy, REG_MULTI_SZ, u"1|0x1|0000000000000001||", {1}, false},
      {GPO_DisableCredentials, REG_SZ, u"0000000000000001|", {}, false},  // other types read as not configured
      {u"Empty", REG_MULTI_SZ, u"", {}, false},                           // and so does a value of no bytes
      {u"Missing", REG_NONE, nullptr, {}, false},
  };
  CRegKey app = Open(kMachine, kApplicationKey, true);
  for (const auto& c : cases) {
    SCOPED_TRACE(vx::Utf16ToUtf8(c.name));
    const auto bytes = Utf16Bytes(Nuls(c.stored ? c.stored : u""));
    if (c.stored) app->SetValue(c.name, c.type, bytes.data(), static_cast<DWORD>(bytes.size()));
    CGPOAuthPolicy policy;
    ASSERT_EQ(policy.Load(&gpo, kMachine, c.name), S_OK);
    EXPECT_EQ(std::pair(MasksOf(policy), policy.IsDisabled()), std::pair(c.masks, c.disabled));
  }
  // A missing value is traced as a result naming the setting, not as a failure of the load.
  const auto results = Written('E');
  EXPECT_EQ(std::count(results.begin(), results.end(), "-2147024894 Missing"), 1);
}

TEST_F(Store, AnotherValueOrSubkeyKeepsTheKeysAlive) {
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {2}), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {}), S_OK);
  EXPECT_EQ(Stored(kMachine, kRuntimePolicy).size(), 36u);

  // A subkey of the application key keeps it; a sibling of "Applications" keeps "Vantorix".
  Open(kMachine, std::u16string(kApplicationKey) + u"\\Extra", true);
  Open(kMachine, u"Software\\Policies\\Vantorix\\Other", true);
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {}), S_OK);
  ASSERT_EQ(Open(kMachine, kApplicationKey)->DeleteKey(u"Extra"), ERROR_SUCCESS);
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {}), S_OK);  // no value deleted: no pruning either
  EXPECT_NE(Open(kMachine, kApplicationKey), nullptr);

  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {2}), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {}), S_OK);
  EXPECT_EQ(Open(kMachine, u"Software\\Policies\\Vantorix\\Applications"), nullptr);
  EXPECT_NE(Open(kMachine, u"Software\\Policies\\Vantorix\\Other"), nullptr);

  CRegKey policies = Open(kMachine, kPoliciesKey);
  Open(kMachine, u"Software\\Policies\\A\\B\\C", true);
  EXPECT_EQ(CGPOAuthPolicy().DeleteEmptyKey(policies, u"A\\B\\C\\"), S_OK);  // a trailing separator is dropped
  EXPECT_EQ(Open(kMachine, u"Software\\Policies\\A"), nullptr);
  EXPECT_EQ(CGPOAuthPolicy().DeleteEmptyKey(policies, u"A"), kFileNotFound);
}

TEST_F(Store, FailuresAreReturnedWithTheirExpressions) {
  // A GPO without the application key.
  EXPECT_EQ(CGPOAuthPolicy().Load(&gpo, kUser, kRuntimePolicy), kFileNotFound);
  gpo.getTypeResult = E_ACCESSDENIED;
  EXPECT_EQ(CGPOAuthPolicy().Load(&gpo, kMachine, kLogonPolicy), E_ACCESSDENIED);
  gpo.getTypeResult = S_OK;
  gpo.getRegistryKeyResult = E_FAIL;
  EXPECT_EQ(CGPOAuthPolicy().Load(&gpo, kMachine, kLogonPolicy), E_FAIL);
  EXPECT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), E_FAIL);
  gpo.getRegistryKeyResult = S_OK;
  gpo.handOutNullKey = true;
  EXPECT_EQ(CGPOAuthPolicy().Load(&gpo, kMachine, kLogonPolicy), E_UNEXPECTED);
  EXPECT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), E_UNEXPECTED);
  gpo.handOutNullKey = false;
  // The value is written; the editor's refusal is what Save answers.
  gpo.policyChangedResult = E_ACCESSDENIED;
  EXPECT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), E_ACCESSDENIED);
  EXPECT_EQ(Stored(kMachine, kLogonPolicy).size(), 36u);
}

TEST_F(Store, SerializeAndDeserializeOnTheirOwn) {
  CGPOAuthPolicy policy;
  policy.Add(1);
  CRegKey none;
  EXPECT_EQ(policy.Serialize(none, kLogonPolicy), E_POINTER);
  CGPOAuthPolicy empty;
  EXPECT_EQ(empty.Serialize(none, kLogonPolicy), S_OK) << "not configured writes nothing";
  EXPECT_EQ(empty.Deserialize(none, kLogonPolicy), S_OK);

  CRegKey app = Open(kMachine, kApplicationKey, true);
  const auto bytes = Utf16Bytes(Nuls(u"2||"));
  app->SetValue(kLogonPolicy, REG_MULTI_SZ, bytes.data(), static_cast<DWORD>(bytes.size()));
  EXPECT_EQ(policy.Deserialize(app, nullptr), S_OK) << "an absent name is the default value: missing";
  EXPECT_EQ(policy.Deserialize(app, kLogonPolicy), S_OK);
  EXPECT_EQ(MasksOf(policy), (std::vector<ULONGLONG>{1, 2})) << "Deserialize adds to the list";
}

// RSoP mode: the settings come from the RSoP data, and nothing is saved.
class RsopStore : public vxtest::WithRsopSession<Store> {
 protected:
  CGPOAuthPolicy Load(const char16_t* name, HRESULT expected = S_OK) {
    CGPOAuthPolicy policy;
    policy.SetRsopData(rsop);
    EXPECT_EQ(policy.Load(nullptr, kMachine, name), expected);
    return policy;
  }
};

// The entry is taken by name; the flag is never derived, so a setting disabled in the GPO does not load
// as disabled; and nothing is saved.
TEST_F(RsopStore, LoadTakesTheEntryByNameNeverDerivesTheFlagAndSaveIsRefused) {
  Setting(u"logonpolicy", Nuls(u"0000000000000003|3|8000000000000000||"));
  Setting(kRuntimePolicy, Nuls(u"|"));
  const CGPOAuthPolicy logon = Load(kLogonPolicy);
  EXPECT_EQ(MasksOf(logon), (std::vector<ULONGLONG>{3, 0x8000000000000000ull}));
  EXPECT_EQ(logon.RsopEntry().winner.gpoName, u"LocalGPO");
  EXPECT_EQ(Load(kRuntimePolicy).State(), SettingState::NotConfigured);
  const CGPOAuthPolicy missing = Load(kKioskRuntimePolicy);
  EXPECT_TRUE(missing.RsopEntry().valueName.empty() && missing.State() == SettingState::NotConfigured);

  CGPOAuthPolicy policy;
  policy.SetRsopData(rsop);
  policy.Add(1);
  EXPECT_EQ(policy.Save(&gpo, kMachine, kLogonPolicy), E_UNEXPECTED);
  EXPECT_TRUE(gpo.policyChanged.empty());
  EXPECT_EQ(gpo.Dump(kMachine), "");
}

TEST_F(RsopStore, QueryFailuresAreReturned) {
  session.locator.queryFailure = static_cast<HRESULT>(0x80041001u);
  Load(kLogonPolicy, static_cast<HRESULT>(0x80041001u));
}

}  // namespace

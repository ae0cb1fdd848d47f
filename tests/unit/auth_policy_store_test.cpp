// The GPO policy store: the bytes Save writes, what Load makes of stored values, deletion and
// pruning, the editor notice, failures with their traced expressions, and RSoP mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "policy/auth_policy.h"
#include "policy/memory_gpo_information.h"
#include "rsop/memory_rsop_ports.h"
#include "rsop/rsop_data.h"
#include "rsop_session_fixture.h"
#include "trace_test_support.h"

using namespace vx::policy;
using vx::platform::IRegistryKey;

namespace {

constexpr DWORD kMachine = VX_GPO_SECTION_MACHINE;
constexpr DWORD kUser = VX_GPO_SECTION_USER;
constexpr HRESULT kFileNotFound = static_cast<HRESULT>(0x80070002u);

std::vector<BYTE> Bytes(std::u16string_view text) {
  std::vector<BYTE> bytes;
  for (const char16_t c : text) {
    bytes.push_back(static_cast<BYTE>(c & 0xFF));
    bytes.push_back(static_cast<BYTE>(c >> 8));
  }
  return bytes;
}

std::vector<ULONGLONG> MasksOf(const CGPOAuthPolicy& policy) {
  return {policy.Masks().begin(), policy.Masks().end()};
}

bool Has(const std::vector<std::string>& texts, const std::string& part) {
  return std::any_of(texts.begin(), texts.end(), [&](const std::string& t) { return t.find(part) != std::string::npos; });
}

class Store : public vxtest::TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
  }

  CRegKey Key(DWORD section, std::u16string_view path, bool create = false) {
    CRegKey root = gpo.SectionKey(section);
    CRegKey key;
    if (create) {
      EXPECT_EQ(root->CreateKey(path, KEY_ALL_ACCESS, key), ERROR_SUCCESS);
    } else if (root->OpenKey(path, KEY_ALL_ACCESS, key) != ERROR_SUCCESS) {
      return nullptr;
    }
    return key;
  }
  void Put(DWORD section, std::u16string_view name, DWORD type, const std::vector<BYTE>& bytes) {
    EXPECT_EQ(Key(section, kApplicationKey, true)->SetValue(name, type, bytes.data(), static_cast<DWORD>(bytes.size())),
              ERROR_SUCCESS);
  }
  // The stored bytes of a value; empty with type REG_NONE when there is none.
  std::vector<BYTE> Stored(DWORD section, std::u16string_view name, DWORD* type = nullptr) {
    DWORD t = REG_NONE;
    DWORD size = 0;
    std::vector<BYTE> bytes;
    if (CRegKey key = Key(section, kApplicationKey); key && key->QueryValue(name, &t, nullptr, &size) == ERROR_SUCCESS) {
      bytes.resize(size);
      EXPECT_EQ(key->QueryValue(name, &t, bytes.data(), &size), ERROR_SUCCESS);
    }
    if (type) *type = t;
    return bytes;
  }
  HRESULT SaveMasks(DWORD section, std::u16string_view name, std::vector<ULONGLONG> masks, bool disabled = false) {
    CGPOAuthPolicy policy;
    for (ULONGLONG mask : masks) policy.Add(mask);
    if (disabled) policy.SetDisabled(true);
    return policy.Save(&gpo, section, std::u16string(name).c_str());
  }
  std::vector<std::string> Traced(char kind) {
    Stop();
    return File().Texts(kind);
  }

  MemoryGpoInformation gpo;
};

TEST_F(Store, SaveWritesTheMultiStringImage) {
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {1, 6}), S_OK);
  DWORD type = REG_NONE;
  const auto bytes = Stored(kMachine, kLogonPolicy, &type);
  EXPECT_EQ(type, REG_MULTI_SZ);
  EXPECT_EQ(bytes.size(), 70u);
  EXPECT_EQ(bytes, Bytes(std::u16string_view(u"0000000000000001\0" u"0000000000000006\0\0", 35)));
  EXPECT_EQ(gpo.Dump(kUser), "") << "the other section is left alone";

  const auto messages = Traced('U');
  EXPECT_TRUE(Has(messages, "gposection = 2, LogonPolicy"));
  EXPECT_TRUE(Has(messages, "[0] = 0000000000000001[0x0000000000000001]"));
  EXPECT_TRUE(Has(messages, "[1] = 0000000000000006[0x0000000000000006]"));
}

TEST_F(Store, PolicyChangedAfterEverySave) {
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {3}), S_OK);
  ASSERT_EQ(SaveMasks(kUser, kRuntimePolicy, {}, true), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {}), S_OK);  // not configured: a deletion
  ASSERT_EQ(gpo.policyChanged.size(), 3u);
  const struct {
    BOOL machine, add;
  } expected[] = {{TRUE, TRUE}, {FALSE, TRUE}, {TRUE, FALSE}};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(gpo.policyChanged[i].machine, expected[i].machine) << i;
    EXPECT_EQ(gpo.policyChanged[i].add, expected[i].add) << i;
    EXPECT_EQ(gpo.policyChanged[i].extension, GUID_RegistryExtension);
    EXPECT_EQ(gpo.policyChanged[i].snapin, GUID_ComputerSnapin);
  }
}

TEST_F(Store, StatesRoundTrip) {
  // Disabled without masks: a lone NUL, read back as disabled.
  ASSERT_EQ(SaveMasks(kMachine, kKioskRuntimePolicy, {}, true), S_OK);
  EXPECT_EQ(Stored(kMachine, kKioskRuntimePolicy), (std::vector<BYTE>{0, 0}));
  CGPOAuthPolicy disabled;
  ASSERT_EQ(disabled.Load(&gpo, kMachine, kKioskRuntimePolicy), S_OK);
  EXPECT_TRUE(disabled.IsDisabled());
  EXPECT_EQ(disabled.Count(), 0);
  EXPECT_EQ(disabled.State(), SettingState::Disabled);

  // Unsigned masks above the signed range keep every bit.
  const std::vector<ULONGLONG> high = {0x8000000000000000ull, 0xFFFFFFFFFFFFFFFFull, 0x7FFFFFFFFFFFFFFFull, 0};
  ASSERT_EQ(SaveMasks(kUser, kRuntimePolicy, high), S_OK);
  CGPOAuthPolicy enabled;
  ASSERT_EQ(enabled.Load(&gpo, kUser, kRuntimePolicy), S_OK);
  EXPECT_EQ(MasksOf(enabled), high);
  EXPECT_FALSE(enabled.IsDisabled());
  EXPECT_EQ(enabled.State(), SettingState::Enabled);

  // A disabled policy that holds masks writes them as they stand.
  ASSERT_EQ(SaveMasks(kMachine, GPO_DisableCredentials, {0x30}, true), S_OK);
  EXPECT_EQ(Stored(kMachine, GPO_DisableCredentials).size(), 36u);
}

TEST_F(Store, LoadIsLenientAboutElements) {
  Put(kMachine, kLogonPolicy, REG_MULTI_SZ, Bytes(std::u16string_view(u"0000000000000000\0\0", 18)));
  CGPOAuthPolicy zero;
  ASSERT_EQ(zero.Load(&gpo, kMachine, kLogonPolicy), S_OK);
  EXPECT_EQ(MasksOf(zero), (std::vector<ULONGLONG>{0}));
  EXPECT_TRUE(zero.IsDisabled()) << "a single zero element is a disabled setting";

  Put(kMachine, kRuntimePolicy, REG_MULTI_SZ, Bytes(std::u16string_view(u"1\0" u"0x1\0" u"0000000000000001\0\0", 25)));
  CGPOAuthPolicy duplicates;
  ASSERT_EQ(duplicates.Load(&gpo, kMachine, kRuntimePolicy), S_OK);
  EXPECT_EQ(MasksOf(duplicates), (std::vector<ULONGLONG>{1}));
  EXPECT_FALSE(duplicates.IsDisabled());
  ASSERT_EQ(duplicates.Save(&gpo, kMachine, kRuntimePolicy), S_OK);
  EXPECT_EQ(Stored(kMachine, kRuntimePolicy), Bytes(std::u16string_view(u"0000000000000001\0\0", 18)));

  const auto messages = Traced('U');
  EXPECT_TRUE(Has(messages, "gpotype = 0, gposection = 2, LogonPolicy"));
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "0x0000000000000001"), 3) << "every element is traced";
  EXPECT_TRUE(Has(messages, "m_fDisabled = 1"));
}

TEST_F(Store, OtherValueShapesReadAsNotConfigured) {
  Put(kMachine, kLogonPolicy, REG_SZ, Bytes(std::u16string_view(u"0000000000000001\0", 17)));
  Put(kMachine, kRuntimePolicy, REG_MULTI_SZ, {});
  for (const char16_t* name : {kLogonPolicy, kRuntimePolicy, kKioskRuntimePolicy}) {
    CGPOAuthPolicy policy;
    ASSERT_EQ(policy.Load(&gpo, kMachine, name), S_OK);
    EXPECT_EQ(policy.State(), SettingState::NotConfigured);
    EXPECT_FALSE(policy.IsDisabled());
  }
  // The missing value is traced as a result naming the setting, not as a failure of the load.
  const auto results = Traced('E');
  EXPECT_EQ(std::count(results.begin(), results.end(), "-2147024894 LogonPolicy"), 1);
  EXPECT_EQ(std::count(results.begin(), results.end(), "-2147024894 KioskRuntimePolicy"), 1);
}

TEST_F(Store, MissingApplicationKeyFailsTheLoad) {
  CGPOAuthPolicy policy;
  EXPECT_EQ(policy.Load(&gpo, kUser, kRuntimePolicy), kFileNotFound);
  EXPECT_EQ(policy.State(), SettingState::NotConfigured);
  EXPECT_TRUE(Has(Traced('E'), "] _W32_TEST_ERROR"));
}

TEST_F(Store, NotConfiguredDeletesAndPrunesUpToPolicies) {
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {}), S_OK);
  EXPECT_EQ(gpo.Dump(kMachine), "Machine\n  Software\n    Policies\n");
  const auto messages = Traced('U');
  EXPECT_TRUE(Has(messages, "Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}"));
  EXPECT_TRUE(Has(messages, "0 subkeys, 0 values found"));
  EXPECT_TRUE(Has(messages, "Vantorix\\Applications"));
}

TEST_F(Store, AnotherValueOrSubkeyKeepsKeysAlive) {
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {2}), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kLogonPolicy, {}), S_OK);
  EXPECT_EQ(Stored(kMachine, kLogonPolicy), std::vector<BYTE>{});
  EXPECT_EQ(Stored(kMachine, kRuntimePolicy).size(), 36u);

  // A subkey of the application key keeps it; a sibling of "Applications" keeps "Vantorix".
  Key(kMachine, std::u16string(kApplicationKey) + u"\\Extra", true);
  Key(kMachine, u"Software\\Policies\\Vantorix\\Other", true);
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {}), S_OK);
  EXPECT_NE(Key(kMachine, kApplicationKey), nullptr);
  Key(kMachine, kApplicationKey)->DeleteKey(u"Extra");
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {}), S_OK);  // nothing to delete: no pruning either
  EXPECT_NE(Key(kMachine, kApplicationKey), nullptr);

  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {2}), S_OK);
  ASSERT_EQ(SaveMasks(kMachine, kRuntimePolicy, {}), S_OK);
  EXPECT_EQ(Key(kMachine, u"Software\\Policies\\Vantorix\\Applications"), nullptr);
  EXPECT_NE(Key(kMachine, u"Software\\Policies\\Vantorix\\Other"), nullptr);
  EXPECT_EQ(gpo.policyChanged.size(), 7u);
}

TEST_F(Store, DeletingNothingStillNotifiesTheEditor) {
  Key(kUser, kPoliciesKey, true);
  EXPECT_EQ(SaveMasks(kUser, kRuntimePolicy, {}), S_OK);
  ASSERT_EQ(gpo.policyChanged.size(), 1u);
  EXPECT_EQ(gpo.policyChanged[0].add, FALSE);
  EXPECT_EQ(gpo.Dump(kUser), "User\n  Software\n    Policies\n");

  // Without "Software\Policies" there is nothing to open: the save fails before the notice.
  EXPECT_EQ(SaveMasks(kMachine, kRuntimePolicy, {}), kFileNotFound);
  EXPECT_EQ(gpo.policyChanged.size(), 1u);
}

TEST_F(Store, DeleteEmptyKeyWalksComponentsBelowItsParent) {
  Key(kMachine, u"Software\\Policies\\A\\B\\C", true);
  CRegKey policies = Key(kMachine, kPoliciesKey);
  CGPOAuthPolicy policy;
  EXPECT_EQ(policy.DeleteEmptyKey(policies, u"A\\B\\C\\"), S_OK);  // a trailing separator is dropped
  EXPECT_EQ(gpo.Dump(kMachine), "Machine\n  Software\n    Policies\n");
  EXPECT_EQ(policy.DeleteEmptyKey(policies, u"A"), kFileNotFound);
  const auto messages = Traced('U');
  EXPECT_EQ(std::count(messages.begin(), messages.end(), "0 subkeys, 0 values found"), 3);
}

TEST_F(Store, EditorFailuresAreReturnedWithTheirExpressions) {
  gpo.getTypeResult = E_ACCESSDENIED;
  CGPOAuthPolicy a;
  EXPECT_EQ(a.Load(&gpo, kMachine, kLogonPolicy), E_ACCESSDENIED);
  gpo.getTypeResult = S_OK;

  gpo.getRegistryKeyResult = E_FAIL;
  CGPOAuthPolicy b;
  EXPECT_EQ(b.Load(&gpo, kMachine, kLogonPolicy), E_FAIL);
  EXPECT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), E_FAIL);
  gpo.getRegistryKeyResult = S_OK;

  gpo.handOutNullKey = true;
  CGPOAuthPolicy c;
  EXPECT_EQ(c.Load(&gpo, kMachine, kLogonPolicy), E_UNEXPECTED);
  EXPECT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), E_UNEXPECTED);
  gpo.handOutNullKey = false;

  // The value is written; the editor's refusal is what Save answers.
  gpo.policyChangedResult = E_ACCESSDENIED;
  EXPECT_EQ(SaveMasks(kMachine, kLogonPolicy, {1}), E_ACCESSDENIED);
  EXPECT_EQ(Stored(kMachine, kLogonPolicy).size(), 36u);
  EXPECT_EQ(gpo.policyChanged.size(), 1u);

  const auto results = Traced('E');
  EXPECT_TRUE(Has(results, "] pgpeinformation->GetType(&gpotype)"));
  EXPECT_TRUE(Has(results, "] pgpeinformation->GetRegistryKey(gposection, &hkeyGPO)"));
  EXPECT_TRUE(Has(results, "] E_UNEXPECTED"));
  EXPECT_TRUE(Has(results,
                  "] pgpeinformation->PolicyChanged(VX_GPO_SECTION_MACHINE == gposection, fDelete? FALSE: TRUE, "
                  "&GUID_RegistryExtension, &GUID_ComputerSnapin)"));
}

TEST_F(Store, SerializeAndDeserializeOnTheirOwn) {
  CGPOAuthPolicy policy;
  policy.Add(1);
  CRegKey none;
  EXPECT_EQ(policy.Serialize(none, kLogonPolicy), E_POINTER);
  CGPOAuthPolicy empty;
  EXPECT_EQ(empty.Serialize(none, kLogonPolicy), S_OK) << "not configured writes nothing";
  EXPECT_EQ(empty.Deserialize(none, kLogonPolicy), S_OK);
  EXPECT_EQ(empty.State(), SettingState::NotConfigured);

  // Straight from an open application key.
  Put(kMachine, kLogonPolicy, REG_MULTI_SZ, Bytes(std::u16string_view(u"2\0\0", 3)));
  CRegKey app = Key(kMachine, kApplicationKey);
  EXPECT_EQ(policy.Deserialize(app, nullptr), S_OK) << "an absent name is the default value: missing";
  EXPECT_EQ(MasksOf(policy), (std::vector<ULONGLONG>{1}));
  EXPECT_EQ(policy.Deserialize(app, kLogonPolicy), S_OK);
  EXPECT_EQ(MasksOf(policy), (std::vector<ULONGLONG>{1, 2})) << "Deserialize adds to the list";
}

// RSoP mode: the settings come from the RSoP data, and nothing is saved.
using RsopStore = vxtest::WithRsopSession<Store>;

TEST_F(RsopStore, LoadTakesTheEntryByNameIgnoringCase) {
  Setting(u"logonpolicy", std::u16string_view(u"0000000000000003\0" u"3\0" u"8000000000000000\0\0", 38));
  CGPOAuthPolicy policy;
  policy.SetRsopData(rsop);
  ASSERT_TRUE(policy.IsRsopMode());
  ASSERT_EQ(policy.Load(nullptr, kMachine, kLogonPolicy), S_OK);
  EXPECT_EQ(MasksOf(policy), (std::vector<ULONGLONG>{3, 0x8000000000000000ull}));
  EXPECT_EQ(policy.RsopEntry().valueName, u"logonpolicy");
  EXPECT_EQ(policy.RsopEntry().winner.gpoName, u"LocalGPO");
  EXPECT_EQ(gpo.getTypeCalls, 0) << "the registry is not touched";
}

TEST_F(RsopStore, DisabledSettingShowsEnabledWithoutMasks) {
  Setting(kRuntimePolicy, std::u16string_view(u"\0", 1));
  Setting(kLogonPolicy, std::u16string_view(u"0000000000000000\0\0", 18));
  CGPOAuthPolicy runtime;
  runtime.SetRsopData(rsop);
  ASSERT_EQ(runtime.Load(nullptr, kMachine, kRuntimePolicy), S_OK);
  EXPECT_EQ(runtime.Count(), 0);
  EXPECT_FALSE(runtime.IsDisabled());
  CGPOAuthPolicy logon;
  logon.SetRsopData(rsop);
  ASSERT_EQ(logon.Load(nullptr, kMachine, kLogonPolicy), S_OK);
  EXPECT_EQ(MasksOf(logon), (std::vector<ULONGLONG>{0}));
  EXPECT_FALSE(logon.IsDisabled()) << "the flag is not derived in RSoP mode";

  CGPOAuthPolicy missing;
  missing.SetRsopData(rsop);
  EXPECT_EQ(missing.Load(nullptr, kMachine, kKioskRuntimePolicy), S_OK);
  EXPECT_EQ(missing.State(), SettingState::NotConfigured);
  EXPECT_TRUE(missing.RsopEntry().valueName.empty());
  EXPECT_EQ(session.locator.queries.size(), 1u) << "the RSoP data is queried once";
}

TEST_F(RsopStore, SaveIsRefusedAndQueryFailuresAreReturned) {
  CGPOAuthPolicy policy;
  policy.SetRsopData(rsop);
  policy.Add(1);
  EXPECT_EQ(policy.Save(&gpo, kMachine, kLogonPolicy), E_UNEXPECTED);
  EXPECT_TRUE(gpo.policyChanged.empty());
  EXPECT_EQ(gpo.Dump(kMachine), "");

  session.locator.queryFailure = static_cast<HRESULT>(0x80041001u);
  CGPOAuthPolicy failing;
  failing.SetRsopData(rsop);
  EXPECT_EQ(failing.Load(nullptr, kMachine, kLogonPolicy), static_cast<HRESULT>(0x80041001u));

  Stop();
  const auto file = File();
  EXPECT_TRUE(Has(file.Texts('U'), "cant be"));
  const auto results = file.Texts('E');
  EXPECT_TRUE(Has(results, "] LoadRsop()"));
  EXPECT_TRUE(Has(results, "] Deserialize( regkeyDummy, lpcwszSettingName)"));
}

}  // namespace

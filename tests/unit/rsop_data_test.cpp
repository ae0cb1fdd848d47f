// The RSoP data: finding the namespace, the query and its skip rules, the merge by precedence,
// GPO display names, and the failures that leave the merged entries in place.
#include <algorithm>
#include <iterator>
#include <set>

#include "rsop/memory_rsop_ports.h"
#include "rsop/rsop_data.h"
#include "support/check.h"
#include "trace_test_support.h"

using namespace vx::rsop;

namespace {

constexpr char16_t kMachineNs[] = u"\\\\.\\root\\rsop\\ns7A1C\\Computer";
constexpr char16_t kUserNs[] = u"\\\\.\\root\\rsop\\ns7A1C\\User_S_1_5_21";
constexpr char16_t kDomainGpo[] = u"cn={31B2F340-016D-11D2-945F-00C04FB984F9},cn=policies,cn=system,DC=corp,DC=example";
constexpr char16_t kOtherGpo[] = u"CN={6AC1786C-016F-11D2-945F-00C04FB984F9},CN=Policies,CN=System,DC=corp,DC=example";

// The code of the CHResultError that body throws; S_OK when it throws none.
template <class Body>
HRESULT Thrown(Body&& body) {
  try {
    body();
  } catch (const vx::CHResultError& e) {
    return e.Code();
  }
  return S_OK;
}

class RsopDataTest : public vxtest::TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
    directory.displayNames[u"LDAP://" + std::u16string(kDomainGpo)] = u"Default Domain Policy";
    directory.displayNames[u"LDAP://" + std::u16string(kOtherGpo)] = u"Kiosk Policy";
  }
  void Connect() {
    info.machineNamespace = kMachineNs;
    data.SetMachineSection(true);
    ASSERT_EQ(data.InitRsop(&info), S_OK);
  }
  // One accepted setting (of LogonPolicy unless named) from a GPO.
  void AddLogon(std::u16string_view gpo, std::optional<std::int32_t> precedence, std::u16string_view mask,
                std::u16string_view name = u"LogonPolicy") {
    RegistryPolicySetting setting;
    setting.valueName = std::u16string(name);
    setting.value = Utf16Bytes(std::u16string(mask) + std::u16string(2, u'\0'));
    setting.gpoId = std::u16string(gpo);
    setting.precedence = precedence;
    setting.deleted = false;
    locator.objects.push_back(MakeRegistryPolicySetting(setting));
  }
  std::vector<std::string> Messages() {
    Stop();
    return File().Texts('U');
  }
  static bool Contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
  }
  static std::u16string DataText(const RsopPolicyEntry& entry) {
    std::u16string text;
    for (size_t i = 0; i + 1 < entry.data.size(); i += 2)
      text.push_back(static_cast<char16_t>(entry.data[i] | entry.data[i + 1] << 8));
    return text.substr(0, text.find(u'\0'));
  }

  MemoryRsopInformation info;
  MemoryRsopLocator locator;
  MemoryDirectory directory;
  MemoryRsopClipboard clipboard;
  CRsopData data{RsopPorts{&locator, &directory, &clipboard}};
};

}  // namespace

// ---- finding the namespace and connecting

TEST_F(RsopDataTest, InitFromInformationSourcePublishesTheNamespaceAndConnects) {
  Connect();
  EXPECT_EQ(info.sections, std::vector<DWORD>{2});
  EXPECT_EQ(data.Namespace(), kMachineNs);
  EXPECT_TRUE(data.IsRsopMode());
  EXPECT_EQ(clipboard.items.at(u"CCF_VX_RSOP_MACHINE_NAMESPACE"), kMachineNs);
  EXPECT_EQ(clipboard.items.count(u"CCF_VX_RSOP_USER_NAMESPACE"), 0u);
  EXPECT_EQ(locator.namespaces, std::vector<std::u16string>{kMachineNs});
  // Connected once: a second call neither asks nor connects again.
  EXPECT_EQ(data.InitRsop(&info), S_OK);
  EXPECT_EQ(info.sections.size(), 1u);
  EXPECT_EQ(locator.namespaces.size(), 1u);
  const auto texts = Messages();
  EXPECT_EQ(texts, (std::vector<std::string>{"query IRSOPInformation", "GetNamespace", "pLoc.CoCreateInstance",
                                             "ConnectServer"}));
}

TEST_F(RsopDataTest, UserSectionUsesSectionOneAndTheUserFormat) {
  info.userNamespace = kUserNs;
  EXPECT_EQ(data.InitRsop(&info), S_OK);
  EXPECT_EQ(info.sections, std::vector<DWORD>{1});
  EXPECT_EQ(clipboard.items.at(u"CCF_VX_RSOP_USER_NAMESPACE"), kUserNs);
  EXPECT_EQ(locator.namespaces, std::vector<std::u16string>{kUserNs});
}

TEST_F(RsopDataTest, InitWithoutInformationTakesTheNamespaceFromTheClipboard) {
  info.present = false;
  clipboard.items[u"CCF_VX_RSOP_USER_NAMESPACE"] = kUserNs;
  clipboard.items[u"CCF_VX_RSOP_MACHINE_NAMESPACE"] = kMachineNs;
  EXPECT_EQ(data.InitRsop(&info), S_OK);
  EXPECT_TRUE(info.sections.empty());
  EXPECT_EQ(data.Namespace(), kUserNs);
  EXPECT_EQ(locator.namespaces, std::vector<std::u16string>{kUserNs});

  CRsopData machine{RsopPorts{&locator, &directory, &clipboard}};
  machine.SetMachineSection(true);
  EXPECT_EQ(machine.InitRsop(nullptr), S_OK);
  EXPECT_EQ(machine.Namespace(), kMachineNs);
}

TEST_F(RsopDataTest, InitFailuresAreReturnedAndLeaveTheDataUnconnected) {
  EXPECT_EQ(data.InitRsop(nullptr), E_NOINTERFACE);  // nothing on the clipboard
  clipboard.items[u"CCF_VX_RSOP_USER_NAMESPACE"] = u"";
  EXPECT_EQ(data.InitRsop(nullptr), E_NOINTERFACE);  // an empty text is no namespace
  EXPECT_FALSE(data.IsRsopMode());
  EXPECT_TRUE(locator.namespaces.empty());

  info.failure = E_ACCESSDENIED;
  EXPECT_EQ(data.InitRsop(&info), E_ACCESSDENIED);
  info.failure = S_OK;
  info.userNamespace = kUserNs;
  clipboard.putFailure = vx::HResultFromWin32(1418);  // ERROR_CLIPBOARD_NOT_OPEN
  EXPECT_EQ(data.InitRsop(&info), vx::HResultFromWin32(1418));
  EXPECT_TRUE(locator.namespaces.empty());

  clipboard.putFailure = S_OK;
  locator.connectFailure = kWbemInvalidNamespace;
  EXPECT_EQ(data.InitRsop(&info), kWbemInvalidNamespace);
  locator.connectFailure = S_OK;
  EXPECT_EQ(data.InitRsop(&info), S_OK);  // not connected before, so it tries again
  EXPECT_EQ(locator.namespaces.size(), 2u);

  Stop();
  const auto results = File().Texts('E');
  EXPECT_EQ(std::count(results.begin(), results.end(), "-2147467262 "), 2) << "InitRsop's E_NOINTERFACE results";
}

// ---- the query and the objects it skips

TEST_F(RsopDataTest, QueryRunsTheFixedQueryWithItsLanguageAndFlags) {
  Connect();
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(locator.queries.size(), 1u);
  EXPECT_EQ(locator.queries[0].language, u"WQL");
  EXPECT_EQ(locator.queries[0].text, u"SELECT * FROM RSOP_RegistryPolicySetting");
  EXPECT_EQ(locator.queries[0].flags, 0x30);
}

TEST_F(RsopDataTest, RejectedObjectsAreSkippedWithTheirReasonAndTheQueryGoesOn) {
  Connect();
  auto with = [](auto change) {
    RegistryPolicySetting s;
    s.valueName = u"RuntimePolicy";
    s.value = Utf16Bytes(std::u16string(u"0000000000000003") + std::u16string(2, u'\0'));
    s.gpoId = u"LocalGPO";
    change(s);
    return MakeRegistryPolicySetting(s);
  };
  locator.objects = {
      with([](auto& s) { s.registryKey = std::nullopt; }),
      with([](auto& s) { s.registryKey = u""; }),
      with([](auto& s) { s.registryKey = u"Software\\Policies\\Vantorix\\Applications\\{00000000-0000}"; }),
      with([](auto& s) { s.valueName = u""; }),
      with([](auto& s) { s.valueName = std::nullopt; }),
      with([](auto& s) { s.valueType = 1; }),  // REG_SZ
      with([](auto& s) { s.valueType = std::nullopt; }),
      with([](auto& s) { s.value = std::nullopt; }),
      with([](auto& s) {
        s.registryKey = u"SOFTWARE\\POLICIES\\VANTORIX\\APPLICATIONS\\{5ed04f3f-ac3e-4be0-a157-782b204e2b8c}";
      }),
  };
  locator.objects[7][u"value"] = vx::Variant::Bstr(u"0000000000000003");  // text, not bytes
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(data.Entries().size(), 1u);  // the key is compared ignoring case
  EXPECT_EQ(data.Entries()[0].valueName, u"RuntimePolicy");

  const auto texts = Messages();
  const std::set<std::string> known = {"empty key name", "unknown key name", "empty value name", "bad value type",
                                       "invalid value data"};
  std::vector<std::string> reasons;
  std::copy_if(texts.begin(), texts.end(), std::back_inserter(reasons),
               [&](const auto& t) { return known.count(t) != 0; });
  EXPECT_EQ(reasons, (std::vector<std::string>{"empty key name", "empty key name", "unknown key name",
                                               "empty value name", "empty value name", "bad value type",
                                               "bad value type", "invalid value data"}));
  EXPECT_TRUE(Contains(texts, "[00] ..............................."));
  EXPECT_TRUE(Contains(texts, "[08] ..............................."));
  EXPECT_FALSE(Contains(texts, "[09] ..............................."));
}

TEST_F(RsopDataTest, AcceptedObjectTracesItsEntryBlock) {
  Connect();
  AddLogon(kDomainGpo, 2, u"0000000000000011");
  locator.objects[0][u"deleted"] = vx::Variant::Bool(true);
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(data.Entries().size(), 1u);
  EXPECT_EQ(data.Entries()[0].deleted, 1);
  auto texts = Messages();
  texts.erase(texts.begin(), texts.begin() + 4);  // InitRsop's
  const std::string gpo = vx::Utf16ToUtf8(kDomainGpo);
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "[00] ...............................", "0000000000000011", "GPOID: " + gpo,
                       "ADsGetObject(LDAP://" + gpo + ")", "Get(displayName)", "fiendly: Default Domain Policy",
                       "entry", "-----------------", "name:    LogonPolicy", "data:    0000000000000011",
                       "gpo-id:  " + gpo, "friendly:Default Domain Policy", "prec:    2", "deleted: 1",
                       "-----------------", "adding entry"}));
}

// ---- the merge by value name and precedence

TEST_F(RsopDataTest, TheWinningSettingReplacesTheDataOfAnEarlierOne) {
  Connect();
  AddLogon(kDomainGpo, 2, u"0000000000000001");
  AddLogon(kOtherGpo, 1, u"0000000000000002");
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(data.Entries().size(), 1u);
  const RsopPolicyEntry& entry = data.Entries()[0];
  EXPECT_EQ(DataText(entry), u"0000000000000002");
  EXPECT_EQ(entry.data.size(), 36u);  // the multi-string image with both NULs, byte for byte
  EXPECT_EQ(entry.winner.gpoName, u"Kiosk Policy");
  EXPECT_EQ(entry.winner.precedence, 1);
  EXPECT_EQ(entry.gpoId, kDomainGpo);  // the GPO id of the first setting stays
  ASSERT_EQ(entry.precedenceList.size(), 2u);
  EXPECT_EQ(entry.precedenceList[0].gpoName, u"Default Domain Policy");
  EXPECT_EQ(entry.precedenceList[0].precedence, 2);
  EXPECT_EQ(entry.precedenceList[1].gpoName, u"Kiosk Policy");
  const auto texts = Messages();
  EXPECT_TRUE(Contains(texts, "existing: updating data"));
  EXPECT_TRUE(Contains(texts, "existing: updating precedence"));
}

TEST_F(RsopDataTest, OnlyPrecedenceOneOrAnUnnamedWinnerReplacesTheData) {
  Connect();
  AddLogon(kDomainGpo, 1, u"0000000000000001");  // 1 then 2: the first stays
  AddLogon(kOtherGpo, 2, u"0000000000000002");
  AddLogon(kDomainGpo, 3, u"0000000000000003", u"RuntimePolicy");  // 3 then 2: the first seen stays
  AddLogon(kOtherGpo, 2, u"0000000000000004", u"RuntimePolicy");
  AddLogon(u"", 3, u"0000000000000005", u"KioskRuntimePolicy");  // no GPO id, so no name
  AddLogon(kOtherGpo, 2, u"0000000000000006", u"KioskRuntimePolicy");
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(data.Entries().size(), 3u);
  const auto& logon = data.Entries()[0];
  EXPECT_EQ(DataText(logon), u"0000000000000001");
  EXPECT_EQ(logon.winner.gpoName, u"Default Domain Policy");
  EXPECT_EQ(logon.precedenceList.size(), 2u);
  const auto& runtime = data.Entries()[1];
  EXPECT_EQ(DataText(runtime), u"0000000000000003");
  EXPECT_EQ(runtime.winner.precedence, 3);
  EXPECT_EQ(runtime.precedenceList[1].precedence, 2);
  const auto& kiosk = data.Entries()[2];
  EXPECT_EQ(DataText(kiosk), u"0000000000000006");
  EXPECT_EQ(kiosk.winner.gpoName, u"Kiosk Policy");
  EXPECT_EQ(kiosk.precedenceList[0].gpoName, u"");
}

TEST_F(RsopDataTest, MissingPrecedenceCountsAsOne) {
  Connect();
  AddLogon(kDomainGpo, 2, u"0000000000000001");
  AddLogon(kOtherGpo, std::nullopt, u"0000000000000002");
  locator.objects[0][u"precedence"] = vx::Variant::Ui4(5);  // not a 32-bit signed integer either
  EXPECT_EQ(data.QueryRsop(), S_OK);
  const auto& entry = data.Entries().at(0);
  EXPECT_EQ(entry.precedenceList[0].precedence, 1);
  EXPECT_EQ(entry.precedenceList[1].precedence, 1);
  EXPECT_EQ(DataText(entry), u"0000000000000002");
}

TEST_F(RsopDataTest, ValueNamesDifferingOnlyInCaseMergeIntoTheFirstEntry) {
  Connect();
  AddLogon(kDomainGpo, 2, u"0000000000000001", u"LogonPolicy");
  AddLogon(kOtherGpo, 2, u"0000000000000002", u"RuntimePolicy");
  AddLogon(kOtherGpo, 1, u"0000000000000003", u"LOGONPOLICY");
  AddLogon(kDomainGpo, 5, u"0000000000000004", u"logonpolicy");
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(data.Entries().size(), 2u);
  EXPECT_EQ(data.Entries()[0].valueName, u"LogonPolicy");
  EXPECT_EQ(data.Entries()[0].precedenceList.size(), 3u);
  EXPECT_EQ(DataText(data.Entries()[0]), u"0000000000000003");
  EXPECT_EQ(data.FindEntry(u"lOGONpOLICY"), &data.Entries()[0]);
  EXPECT_EQ(data.FindEntry(u"RUNTIMEPOLICY"), &data.Entries()[1]);
  EXPECT_EQ(data.FindEntry(u"KioskRuntimePolicy"), nullptr);
  // A new query starts from nothing.
  locator.objects.resize(1);
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(data.Entries().size(), 1u);
  EXPECT_EQ(data.Entries()[0].precedenceList.size(), 1u);
  EXPECT_EQ(data.FindEntry(u"RuntimePolicy"), nullptr);
}

// ---- GPO display names

TEST_F(RsopDataTest, FriendlyNamesOfLocalAndDirectoryGpos) {
  const auto friendly = [&](std::u16string id) {
    RsopPolicyEntry entry;
    entry.gpoId = std::move(id);
    std::u16string name = u"stale";
    EXPECT_EQ(data.getFriendlyName(entry, name), S_OK);
    return name;
  };
  EXPECT_EQ(friendly(u"LocalGPO"), u"LocalGPO");
  EXPECT_EQ(friendly(u"Cn=Mixed,Dc=corp"), u"Cn=Mixed,Dc=corp");  // the searches are case-sensitive
  EXPECT_TRUE(directory.paths.empty());
  EXPECT_EQ(friendly(kDomainGpo), u"Default Domain Policy");
  EXPECT_EQ(friendly(kOtherGpo), u"Kiosk Policy");
  EXPECT_EQ(directory.paths, (std::vector<std::u16string>{u"LDAP://" + std::u16string(kDomainGpo),
                                                          u"LDAP://" + std::u16string(kOtherGpo)}));
  EXPECT_EQ(friendly(u""), u"");
  const auto texts = Messages();
  EXPECT_TRUE(Contains(texts, "local gpo ? LocalGPO"));
  EXPECT_TRUE(Contains(texts, "empty GPOID"));
}

TEST_F(RsopDataTest, DirectoryFailureKeepsTheGpoIdAsTheName) {
  std::u16string name = u"stale";
  RsopPolicyEntry entry;
  entry.gpoId = u"cn={DEADBEEF},cn=policies,DC=gone";
  EXPECT_EQ(data.getFriendlyName(entry, name), kDirectoryNoSuchObject);
  EXPECT_EQ(name, entry.gpoId);

  Connect();
  directory.failure = E_ACCESSDENIED;
  AddLogon(kDomainGpo, 1, u"0000000000000001");
  EXPECT_EQ(data.QueryRsop(), S_OK);  // the query goes on with the id as the name
  EXPECT_EQ(data.Entries().at(0).winner.gpoName, kDomainGpo);
}

// ---- running once, and failures that pass to the caller

TEST_F(RsopDataTest, LoadRsopQueriesOnceItHasSucceeded) {
  Connect();
  AddLogon(kDomainGpo, 1, u"0000000000000001");
  locator.queryFailure = kWbemFailed;
  EXPECT_EQ(Thrown([&] { data.LoadRsop(); }), kWbemFailed);
  locator.queryFailure = S_OK;
  EXPECT_EQ(data.LoadRsop(), S_OK);
  EXPECT_EQ(data.LoadRsop(), S_OK);
  EXPECT_EQ(locator.queries.size(), 2u);
  EXPECT_EQ(data.Entries().size(), 1u);
}

TEST_F(RsopDataTest, FailureAtObjectKLeavesTheEntriesMergedSoFar) {
  Connect();
  AddLogon(kDomainGpo, 2, u"0000000000000001");
  AddLogon(kOtherGpo, 1, u"0000000000000002");
  AddLogon(kDomainGpo, 1, u"0000000000000003", u"RuntimePolicy");
  AddLogon(kDomainGpo, 1, u"0000000000000004", u"KioskRuntimePolicy");
  locator.failAtObject = 3;
  EXPECT_EQ(Thrown([&] { data.LoadRsop(); }), kWbemFailed);
  ASSERT_EQ(data.Entries().size(), 2u);
  EXPECT_EQ(DataText(data.Entries()[0]), u"0000000000000002");

  // A property the object does not have fails the same way.
  locator.failAtObject.reset();
  locator.objects[2].erase(u"GPOID");
  EXPECT_EQ(Thrown([&] { data.QueryRsop(); }), kWbemNotFound);
  EXPECT_EQ(data.Entries().size(), 1u);
  Stop();
  bool traced = false;
  for (const auto& t : File().Texts('E')) traced |= t.find("object.Get(name, value)") != std::string::npos;
  EXPECT_TRUE(traced);
}

TEST_F(RsopDataTest, QueryWithoutConnectionFails) {
  EXPECT_EQ(Thrown([&] { data.QueryRsop(); }), E_POINTER);
  EXPECT_TRUE(locator.queries.empty());
}

// ---- the shared pointer and the array limits

TEST_F(RsopDataTest, NullRsopPointerIsTracedAndThrowsUnexpected) {
  CRsopDataPtr empty;
  EXPECT_FALSE(empty.IsRsopMode());
  EXPECT_EQ(Thrown([&] { empty._ASSERTE_RSOP_PTR_(); }), E_UNEXPECTED);
  CRsopDataPtr set(std::make_shared<CRsopData>(RsopPorts{&locator, &directory, &clipboard}));
  EXPECT_NO_THROW(set._ASSERTE_RSOP_PTR_());
  EXPECT_FALSE(set.IsRsopMode());
  set->SetNamespace(kUserNs);
  EXPECT_TRUE(set.IsRsopMode());
  Stop();
  const auto results = File().Texts('E');
  ASSERT_EQ(results.size(), 1u);
  EXPECT_NE(results[0].find("] this->m_pRsop: NULL pointer detected"), std::string::npos) << results[0];
}

TEST(RsopArrays, GrowByDoublingUpToTwoToThe25) {
  EXPECT_EQ(detail::GrowCapacity(0), 1);
  EXPECT_EQ(detail::GrowCapacity(1), 2);
  EXPECT_EQ(detail::GrowCapacity(3), 6);
  EXPECT_EQ(detail::GrowCapacity(1 << 23), 1 << 24);
  for (const std::int32_t capacity : {1 << 24, (1 << 24) + 1, -1, INT32_MIN})
    EXPECT_EQ(Thrown([&] { detail::GrowCapacity(capacity); }), E_OUTOFMEMORY) << capacity;
}

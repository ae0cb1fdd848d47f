// The RSoP data: the namespace, the query and its skip rules, the merge by precedence, GPO names, failures.
#include "shared_fixtures.h"

using namespace vx::rsop;
using vx::Variant;
using vxtest::Has;
using vxtest::Nuls;
using vxtest::Thrown;

namespace {

constexpr char16_t kMachineNs[] = u"\\\\.\\root\\rsop\\ns7A1C\\Computer";
constexpr char16_t kUserNs[] = u"\\\\.\\root\\rsop\\ns7A1C\\User_S_1_5_21";
constexpr char16_t kDomainGpo[] = u"cn={31B2F340-016D-11D2-945F-00C04FB984F9},cn=policies,cn=system,DC=corp,DC=example";
constexpr char16_t kKioskGpo[] = u"CN={6AC1786C-016F-11D2-945F-00C04FB984F9},CN=Policies,CN=System,DC=corp,DC=example";

class RsopDataTest : public vxtest::TracingFixture {
 protected:
  void SetUp() override {
    TracingFixture::SetUp();
    ports.directory.displayNames[u"LDAP://" + std::u16string(kDomainGpo)] = u"Domain";
    ports.directory.displayNames[u"LDAP://" + std::u16string(kKioskGpo)] = u"Kiosk";
  }
  void Connect() {
    ports.info.machineNamespace = kMachineNs;
    data.SetMachineSection(true);
    ASSERT_EQ(data.InitRsop(&ports.info), S_OK);
  }
  // One accepted setting of a GPO, its value the mask text as a multi-string.
  void Add(std::u16string_view gpo, Variant precedence, std::u16string_view mask,
           std::u16string_view name = u"LogonPolicy") {
    ports.locator.objects.push_back(
        MakeRegistryPolicySetting({.valueName = std::u16string(name),
                                   .value = Utf16Bytes(std::u16string(mask) + std::u16string(2, u'\0')),
                                   .deleted = false,
                                   .gpoId = std::u16string(gpo)}));
    ports.locator.objects.back()[u"precedence"] = std::move(precedence);
  }
  // The entries as "name: data, winner of every GPO in query order; ", each GPO as "name/precedence".
  std::string Merged() const {
    const auto item = [](const RsopPrecedenceItem& i) {
      return vx::Utf16ToUtf8(i.gpoName) + "/" + std::to_string(i.precedence);
    };
    std::string text;
    for (const RsopPolicyEntry& entry : data.Entries()) {
      std::u16string value;
      for (size_t i = 0; i + 1 < entry.data.size() && (entry.data[i] || entry.data[i + 1]); i += 2)
        value.push_back(static_cast<char16_t>(entry.data[i] | entry.data[i + 1] << 8));
      text += vx::Utf16ToUtf8(entry.valueName) + ": " + vx::Utf16ToUtf8(value) + ", " + item(entry.winner) + " of";
      for (const auto& gpo : entry.precedenceList) text += " " + item(gpo);
      text += "; ";
    }
    return text;
  }

  MemoryRsopSession ports;  // only its ports: these tests initialise the data themselves
  CRsopData data{RsopPorts{&ports.locator, &ports.directory, &ports.clipboard}};
};

TEST_F(RsopDataTest, InitAsksTheConsoleOncePublishesTheNamespaceAndConnects) {
  Connect();
  EXPECT_EQ(data.Namespace(), kMachineNs);
  EXPECT_TRUE(data.IsRsopMode());
  EXPECT_EQ(ports.clipboard.items,
            (std::map<std::u16string, std::u16string>{{u"CCF_VX_RSOP_MACHINE_NAMESPACE", kMachineNs}}));
  EXPECT_EQ(data.InitRsop(&ports.info), S_OK);  // connected: neither asks nor connects again
  EXPECT_EQ(ports.locator.namespaces, std::vector<std::u16string>{kMachineNs});

  CRsopData user{RsopPorts{&ports.locator, &ports.directory, &ports.clipboard}};
  ports.info.userNamespace = kUserNs;
  EXPECT_EQ(user.InitRsop(&ports.info), S_OK);
  EXPECT_EQ(ports.info.sections, (std::vector<DWORD>{2, 1}));
  EXPECT_EQ(ports.clipboard.items.at(u"CCF_VX_RSOP_USER_NAMESPACE"), kUserNs);

  // Without the console's object the namespace comes from the clipboard, in the section's format.
  ports.info.present = false;
  CRsopData page{RsopPorts{&ports.locator, &ports.directory, &ports.clipboard}};
  page.SetMachineSection(true);
  EXPECT_EQ(page.InitRsop(&ports.info), S_OK);
  EXPECT_EQ(page.Namespace(), kMachineNs);
  EXPECT_EQ(ports.info.sections.size(), 2u);
}

TEST_F(RsopDataTest, InitFailuresAreReturnedAndLeaveTheDataUnconnected) {
  EXPECT_EQ(data.InitRsop(nullptr), E_NOINTERFACE);  // nothing on the clipboard
  ports.clipboard.items[u"CCF_VX_RSOP_USER_NAMESPACE"] = u"";
  EXPECT_EQ(data.InitRsop(nullptr), E_NOINTERFACE);  // an empty text is no namespace
  EXPECT_FALSE(data.IsRsopMode());

  ports.info.failure = E_ACCESSDENIED;
  EXPECT_EQ(data.InitRsop(&ports.info), E_ACCESSDENIED);
  ports.info.failure = S_OK;
  ports.info.userNamespace = kUserNs;
  ports.clipboard.putFailure = vx::HResultFromWin32(1418);  // ERROR_CLIPBOARD_NOT_OPEN
  EXPECT_EQ(data.InitRsop(&ports.info), vx::HResultFromWin32(1418));
  EXPECT_TRUE(ports.locator.namespaces.empty());
  ports.clipboard.putFailure = S_OK;
  ports.locator.connectFailure = kWbemInvalidNamespace;
  EXPECT_EQ(data.InitRsop(&ports.info), kWbemInvalidNamespace);
  ports.locator.connectFailure = S_OK;
  EXPECT_EQ(data.InitRsop(&ports.info), S_OK);  // not connected before, so it tries again
  EXPECT_EQ(ports.locator.namespaces.size(), 2u);
}

// The key is compared ignoring case; an accepted object keeps its deleted flag and traces its entry.
TEST_F(RsopDataTest, RejectedObjectsAreSkippedWithTheirReasonAndTheQueryGoesOn) {
  Connect();
  auto with = [](auto change) {
    RegistryPolicySetting s{.valueName = u"RuntimePolicy", .value = Utf16Bytes(Nuls(u"0000000000000003||"))};
    change(s);
    return MakeRegistryPolicySetting(s);
  };
  ports.locator.objects = {
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
      with([](auto& s) {
        s.valueName = u"LogonPolicy";
        s.deleted = true;
        s.precedence = 2;
      }),
  };
  ports.locator.objects[7][u"value"] = Variant::Bstr(u"0000000000000003");  // text, not bytes
  EXPECT_EQ(data.QueryRsop(), S_OK);
  ASSERT_EQ(ports.locator.queries.size(), 1u);
  EXPECT_EQ(ports.locator.queries[0].language, u"WQL");
  EXPECT_EQ(ports.locator.queries[0].text, u"SELECT * FROM RSOP_RegistryPolicySetting");
  EXPECT_EQ(ports.locator.queries[0].flags, 0x30);
  EXPECT_EQ(Merged(), "RuntimePolicy: 0000000000000003, /1 of /1; LogonPolicy: 0000000000000003, /2 of /2; ");
  EXPECT_EQ(data.Entries().at(0).deleted, 0);

  const auto texts = Written('U');
  for (const char* line : {"empty key name", "unknown key name", "empty value name", "bad value type",
                           "invalid value data", "[09] ...............................", "name:    LogonPolicy",
                           "data:    0000000000000003", "prec:    2", "deleted: 1"})
    EXPECT_TRUE(Has(texts, line)) << line;
  EXPECT_FALSE(Has(texts, "[10] ..............................."));
}

TEST_F(RsopDataTest, MergeByValueNameAndPrecedence) {
  struct Setting {
    const char16_t* gpo;
    Variant precedence;
    const char16_t* mask;
    const char16_t* name = u"LogonPolicy";
  };
  const auto I4 = [](int v) { return Variant::I4(v); };
  Variant null;
  null.vt = vx::kVtNull;
  const struct {
    std::vector<Setting> settings;
    const char* merged;
  } cases[] = {
      // The winning GPO (precedence 1) gives the data; every GPO joins the list in query order.
      {{{kDomainGpo, I4(2), u"1"}, {kKioskGpo, I4(1), u"2"}}, "LogonPolicy: 2, Kiosk/1 of Domain/2 Kiosk/1; "},
      // Without a 1 the first one seen stays, unless it has no name (no GPO id).
      {{{kDomainGpo, I4(3), u"3"}, {kKioskGpo, I4(2), u"4"}}, "LogonPolicy: 3, Domain/3 of Domain/3 Kiosk/2; "},
      {{{u"", I4(3), u"5"}, {kKioskGpo, I4(2), u"6"}}, "LogonPolicy: 6, Kiosk/2 of /3 Kiosk/2; "},
      // A precedence that is missing or no VT_I4 counts as 1.
      {{{kDomainGpo, Variant::Ui4(5), u"1"}, {kKioskGpo, null, u"2"}}, "LogonPolicy: 2, Kiosk/1 of Domain/1 Kiosk/1; "},
      // Value names differing only in case merge into the first entry.
      {{{kDomainGpo, I4(2), u"1"},
        {kKioskGpo, I4(2), u"2", u"RuntimePolicy"},
        {kKioskGpo, I4(1), u"3", u"LOGONPOLICY"},
        {kDomainGpo, I4(5), u"4", u"logonpolicy"}},
       "LogonPolicy: 3, Kiosk/1 of Domain/2 Kiosk/1 Domain/5; RuntimePolicy: 2, Kiosk/2 of Kiosk/2; "},
  };
  Connect();
  for (const auto& c : cases) {
    ports.locator.objects.clear();
    for (const Setting& s : c.settings) Add(s.gpo, s.precedence, s.mask, s.name);
    ASSERT_EQ(data.QueryRsop(), S_OK);  // each query starts from nothing
    EXPECT_EQ(Merged(), c.merged);
  }
  // The data is the winner's value byte for byte; the GPO id stays the first setting's.
  EXPECT_EQ(data.Entries()[0].data, Utf16Bytes(Nuls(u"3||")));
  EXPECT_EQ(data.Entries()[0].gpoId, kDomainGpo);
  EXPECT_EQ(data.FindEntry(u"lOGONpOLICY"), &data.Entries()[0]);
  EXPECT_EQ(data.FindEntry(u"KioskRuntimePolicy"), nullptr);
  EXPECT_EQ(data.Entries()[0].deleted, 0) << "a false deleted property";
}

TEST_F(RsopDataTest, FriendlyNamesOfLocalAndDirectoryGpos) {
  const auto friendly = [&](std::u16string id, HRESULT expected = S_OK) {
    const RsopPolicyEntry entry{.gpoId = std::move(id)};
    std::u16string name = u"stale";
    EXPECT_EQ(data.getFriendlyName(entry, name), expected);
    return name;
  };
  EXPECT_EQ(friendly(u"LocalGPO"), u"LocalGPO");
  EXPECT_EQ(friendly(u"Cn=Mixed,Dc=corp"), u"Cn=Mixed,Dc=corp");  // the searches are case-sensitive
  EXPECT_TRUE(ports.directory.paths.empty());
  EXPECT_EQ(friendly(kDomainGpo), u"Domain");
  EXPECT_EQ(friendly(kKioskGpo), u"Kiosk");
  EXPECT_EQ(ports.directory.paths.back(), u"LDAP://" + std::u16string(kKioskGpo));
  // A failed lookup keeps the GPO id as the name, and the query goes on with it.
  EXPECT_EQ(friendly(u"cn={DEADBEEF},DC=gone", kDirectoryNoSuchObject), u"cn={DEADBEEF},DC=gone");
  Connect();
  ports.directory.failure = E_ACCESSDENIED;
  Add(kDomainGpo, Variant::I4(1), u"1");
  EXPECT_EQ(data.QueryRsop(), S_OK);
  EXPECT_EQ(data.Entries().at(0).winner.gpoName, kDomainGpo);
}

TEST_F(RsopDataTest, LoadRsopQueriesOnceItHasSucceededAndFailuresKeepWhatWasMerged) {
  EXPECT_EQ(Thrown([&] { data.QueryRsop(); }), E_POINTER) << "not connected";
  Connect();
  Add(kDomainGpo, Variant::I4(2), u"1");
  Add(kKioskGpo, Variant::I4(1), u"2");
  Add(kDomainGpo, Variant::I4(1), u"3", u"RuntimePolicy");
  Add(kDomainGpo, Variant::I4(1), u"4", u"KioskRuntimePolicy");
  ports.locator.queryFailure = kWbemFailed;
  EXPECT_EQ(Thrown([&] { data.LoadRsop(); }), kWbemFailed);
  ports.locator.queryFailure = S_OK;
  ports.locator.failAtObject = 3;
  EXPECT_EQ(Thrown([&] { data.LoadRsop(); }), kWbemFailed);
  EXPECT_EQ(Merged(), "LogonPolicy: 2, Kiosk/1 of Domain/2 Kiosk/1; RuntimePolicy: 3, Domain/1 of Domain/1; ");

  // A property the object does not have fails the same way.
  ports.locator.failAtObject.reset();
  ports.locator.objects[2].erase(u"GPOID");
  EXPECT_EQ(Thrown([&] { data.LoadRsop(); }), kWbemNotFound);
  EXPECT_EQ(data.Entries().size(), 1u);
  ports.locator.objects.resize(2);
  EXPECT_EQ(data.LoadRsop(), S_OK);
  EXPECT_EQ(data.LoadRsop(), S_OK);
  EXPECT_EQ(ports.locator.queries.size(), 4u);
}

TEST_F(RsopDataTest, NullRsopPointerIsTracedAndThrowsUnexpected) {
  CRsopDataPtr empty;
  EXPECT_FALSE(empty.IsRsopMode());
  EXPECT_EQ(Thrown([&] { empty._ASSERTE_RSOP_PTR_(); }), E_UNEXPECTED);
  EXPECT_EQ(Written('E').size(), 1u) << "the null pointer is traced";
  CRsopDataPtr set(std::make_shared<CRsopData>(RsopPorts{}));
  EXPECT_NO_THROW(set._ASSERTE_RSOP_PTR_());
  EXPECT_FALSE(set.IsRsopMode()) << "no namespace";
  set->SetNamespace(kUserNs);
  EXPECT_TRUE(set.IsRsopMode());
}

TEST(RsopArrays, GrowByDoublingUpToTwoToThe25) {
  for (const auto& [capacity, grown] : {std::pair{0, 1}, {3, 6}, {1 << 23, 1 << 24}})
    EXPECT_EQ(detail::GrowCapacity(capacity), grown);
  for (const std::int32_t capacity : {1 << 24, -1, INT32_MIN})
    EXPECT_EQ(Thrown([&] { detail::GrowCapacity(capacity); }), E_OUTOFMEMORY) << capacity;
}

}  // namespace

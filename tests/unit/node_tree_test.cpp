// The node tree: scope children, policy items per section and mode, load failures, columns, pages, help.
#include "snapin/node_tree.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "policy/memory_gpo_information.h"
#include "page_test_support.h"
#include "shared_fixtures.h"
#include "support/error_text.h"
#include "support/html_help.h"
#include "support/language.h"

using namespace vx::snapin;
using vx::plugins::GuidToString;
using vx::policy::CRegKey;
using vxtest::Nuls;

namespace {

constexpr DWORD kMachine = vx::policy::VX_GPO_SECTION_MACHINE;
constexpr DWORD kUser = vx::policy::VX_GPO_SECTION_USER;

class NodeTree : public vxtest::WithPlugins {
 protected:
  void SetUp() override {
    WithPlugins::SetUp();
    strings.texts = {{6, u"No credential plug-ins"},
                     {138, u"Keystone"},
                     {144, u"Not configured"},
                     {159, u"Enabled"},
                     {286, u"Disabled"},
                     {309, u"Runtime policy"},
                     {310, u"Kiosk runtime policy"}};
    vx::InstallReporting({&messageBox, &strings, nullptr, nullptr});
  }
  void TearDown() override { vx::InstallReporting({}); }

  void Save(DWORD section, const char16_t* name, std::vector<ULONGLONG> masks, bool disabled = false) {
    vx::policy::CGPOAuthPolicy policy;
    for (ULONGLONG mask : masks) policy.Add(mask);
    policy.SetDisabled(disabled);
    ASSERT_EQ(policy.Save(&gpo, section, name), S_OK);
  }
  static std::vector<std::u16string> Names(const CAuthenticationNode& node) {
    std::vector<std::u16string> names;
    for (const auto& item : node.Items()) names.push_back(item->SettingName());
    return names;
  }

  vx::platform::RecordingMessageBox messageBox;
  vx::platform::FakeStringTable strings;
  HWND owner = reinterpret_cast<HWND>(0x1234);
  NodePorts ports{registry, factory, [this] { return owner; }};
  vx::policy::MemoryGpoInformation gpo;
  vxtest::GpoSource source{gpo};
};

using RsopNodeTree = vxtest::WithRsopSession<NodeTree>;

TEST_F(RsopNodeTree, ScopeNodesAndTheKioskExtensionPerSectionAndMode) {
  EXPECT_EQ(std::u16string(CVantorixNode::Identity().displayName), u"[DNL]Vantorix Keystone Client");
  EXPECT_EQ(GuidToString(CAuthenticationNode::Identity().nodeType), u"{830CA3CA-7280-4F60-BDDD-B03EFDC527B7}");
  EXPECT_EQ(CSecurityNode().Children(), (std::vector{ScopeNodeKind::Authentication, ScopeNodeKind::Enrollment}));
  EXPECT_EQ(CVantorixNode(kUser, {}).Children(), std::vector{ScopeNodeKind::Security});
  EXPECT_FALSE(CVantorixNode(kUser, {}).KioskExtension(true).has_value()) << "the user section has no Kiosk node";
  const CVantorixNode machine(kMachine, {});
  EXPECT_FALSE(machine.KioskExtension(false).has_value()) << "no dynamic extensions in this console";
  EXPECT_EQ(GuidToString(machine.KioskExtension(true).value()), u"{54C7735F-A199-B177-9E9C-9A9EEA0C9150}");
  EXPECT_EQ(GuidToString(CVantorixNode(kMachine, rsop).KioskExtension(true).value()),
            u"{54C7735F-A199-B177-9E9C-9A9EEA0C9151}");
}

TEST_F(NodeTree, EditingModeCreatesTheItemsOfTheSectionInOrderWithTheirStoredState) {
  RegisterSampleTokens();
  CRegKey key;  // the section's application key, as the editor leaves it once policies were set
  ASSERT_EQ(gpo.SectionKey(kUser)->CreateKey(vx::policy::kApplicationKey, KEY_ALL_ACCESS, key), ERROR_SUCCESS);
  CAuthenticationNode user(ports, kUser, {});
  ASSERT_EQ(user.Load(&source), S_OK);
  EXPECT_EQ(Names(user), std::vector<std::u16string>{u"RuntimePolicy"});
  EXPECT_EQ(user.Items()[0]->GetResultPaneColInfo(0), u"Runtime policy");

  // A GPO in which nothing was saved yet has no application key: its policies are simply not configured.
  CAuthenticationNode machine(ports, kMachine, {});
  ASSERT_EQ(machine.Load(&source), S_OK);
  EXPECT_EQ(Names(machine), (std::vector<std::u16string>{u"LogonPolicy", u"RuntimePolicy", u"KioskRuntimePolicy"}));
  std::vector<int> types;
  for (const auto& item : machine.Items()) {
    types.push_back(item->PolicyType());
    EXPECT_EQ(item->GetResultPaneColInfo(1), u"Not configured") << "every item is kept in editing mode";
    EXPECT_EQ(item->PrimaryTokens().GetSize(), 1) << "the secondary-only code is no primary token";
    EXPECT_EQ(item->SecondaryTokens().GetSize(), 2) << "a password counts as primary and secondary";
  }
  EXPECT_EQ(types, (std::vector<int>{1, 2, 1})) << "the kiosk runtime policy has the logon policy's type";
  EXPECT_EQ(machine.Items()[2]->DisplayName(), u"Kiosk runtime policy");
  EXPECT_TRUE(messageBox.shown.empty());

  Save(kMachine, vx::policy::kLogonPolicy, {0x1, 0x11});
  ASSERT_EQ(machine.Load(&source), S_OK);
  ASSERT_EQ(machine.Items().size(), 3u);
  CPolicyNode& logon = *machine.Items()[0];
  EXPECT_EQ(logon.Masks(), (std::vector<ULONGLONG>{0x1, 0x11}));
  EXPECT_EQ(logon.GetResultPaneColInfo(1), u"Enabled");
  EXPECT_EQ(logon.GetResultPaneColInfo(2), u"");

  // After a page saved the policy, reloading the item gives the new text and no stale masks.
  Save(kMachine, vx::policy::kLogonPolicy, {}, true);
  ASSERT_EQ(logon.Load(&source), S_OK);
  EXPECT_TRUE(logon.Masks().empty());
  EXPECT_EQ(logon.GetResultPaneColInfo(1), u"Disabled");
}

TEST_F(NodeTree, NoPluginsShowsTheErrorBoxAndNoItems) {
  CAuthenticationNode user(ports, kUser, {});
  EXPECT_EQ(user.Load(&source), E_UNEXPECTED);
  EXPECT_TRUE(user.Items().empty());
  ASSERT_EQ(messageBox.shown.size(), 1u);
  const auto& box = messageBox.shown[0];
  EXPECT_EQ(std::tuple(box.owner, box.text, box.caption, box.type),
            std::tuple(owner, u"No credential plug-ins", u"Keystone", UINT{MB_ICONERROR}));
  EXPECT_EQ(source.calls, 0) << "no policy is read without tokens";
}

TEST_F(NodeTree, OneFailingItemFailsTheWholeLoad) {
  RegisterSampleTokens();
  source.failure = E_ACCESSDENIED;
  CAuthenticationNode machine(ports, kMachine, {});
  EXPECT_EQ(machine.Load(&source), E_ACCESSDENIED);
  EXPECT_TRUE(machine.Items().empty());
  EXPECT_EQ(source.calls, 1) << "the first failure ends the load";

  source.failure = S_OK;
  gpo.getRegistryKeyResult = E_FAIL;
  EXPECT_EQ(machine.Load(&source), E_FAIL);
  EXPECT_EQ(machine.Load(nullptr), E_POINTER);
}

TEST_F(NodeTree, EnrollmentItemLoadsItsSetting) {
  RegisterSampleTokens();
  CEnrollmentNode node(ports, kUser, {});
  ASSERT_EQ(node.Load(&source), S_OK);  // a new GPO
  ASSERT_TRUE(node.Item());
  EXPECT_EQ(node.Item()->Tokens().GetSize(), 2) << "filter 7 keeps every token";
  Save(kUser, vx::policy::GPO_DisableCredentials, {0x10});
  ASSERT_EQ(node.Load(&source), S_OK);
  EXPECT_EQ(node.Item()->GetResultPaneColInfo(0), u"[DNL]Enrollment policy");
  EXPECT_EQ(node.Item()->GetResultPaneColInfo(1), u"Enabled");
  source.failure = E_ACCESSDENIED;
  EXPECT_EQ(node.Load(&source), E_ACCESSDENIED);
  EXPECT_FALSE(node.Item());
}

// RSoP mode: settings come from the RSoP data; not configured items are left out.
TEST_F(RsopNodeTree, OnlyAppliedPoliciesAreShownWithTheRsopPages) {
  RegisterSampleTokens();
  Setting(vx::policy::kRuntimePolicy, Nuls(u"0000000000000003||"));
  CAuthenticationNode machine(ports, kMachine, rsop);
  ASSERT_EQ(machine.Load(&source), S_OK);
  ASSERT_EQ(Names(machine), std::vector<std::u16string>{u"RuntimePolicy"});
  const CPolicyNode& runtime = *machine.Items()[0];
  EXPECT_EQ(runtime.Masks(), std::vector<ULONGLONG>{3});
  EXPECT_EQ(runtime.GetResultPaneColInfo(1), u"Enabled");
  EXPECT_EQ(source.calls, 0) << "the editor is not asked in RSoP mode";
  EXPECT_EQ(runtime.RsopEntry().winner.gpoName, u"LocalGPO") << "for the precedence page";
  EXPECT_EQ(runtime.PropertyPages(),
            (std::vector{PropertyPageKind::AuthPolicy, PropertyPageKind::Explanation, PropertyPageKind::Precedence}));
  CPolicyNode editing(ports);
  ASSERT_EQ(editing.FinalConstruct(kUser, 2, vx::policy::kRuntimePolicy), S_OK);
  EXPECT_EQ(editing.PropertyPages(), (std::vector{PropertyPageKind::AuthPolicy, PropertyPageKind::Explanation}));
  EXPECT_EQ(CPolicyNode::QueryPagesFor(), S_OK);
}

TEST_F(NodeTree, HelpTopicComesFromTheRegisteredHelpId) {
  vx::MemoryResourceModules modules;
  vx::CHTMLHelp help(registry, files, process, modules);
  EXPECT_EQ(PolicyHelpTopic(registry, help), u"") << "no help id registered";
  vx::platform::WriteString(*Key(kHelpIdKey), kHelpIdValue, u"{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}");
  EXPECT_EQ(PolicyHelpTopic(registry, help), u"") << "no help file for the id";

  vx::platform::WriteString(*Key(vx::kHelpKey, KEY_WOW64_32KEY), u"{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}",
                            u"C:\\Help\\keystone.chm");
  files.AddDirectory(u"C:\\Help");
  files.SetFileBytes(u"C:\\Help\\keystone.chm", {'x'});
  EXPECT_EQ(PolicyHelpTopic(registry, help), u"C:\\Help\\keystone.chm::/lm-intro.htm");
  vx::platform::WriteString(*Key(kHelpIdKey), kHelpIdValue, u"not a class id");
  EXPECT_EQ(PolicyHelpTopic(registry, help), u"");
}

}  // namespace

// The enrollment page's decisions: which credentials show ticked, when a tick may change, and what
// Apply stores (its warnings are shown by vxpolicy check, in vxpolicy_test).
#include <gtest/gtest.h>

#include "page_test_support.h"
#include "pages/enrollment_page.h"
#include "rsop/memory_rsop_ports.h"

using namespace vx::pages;
using Strings = std::vector<std::string>;

namespace {

// The list as a check-box list view behaves: a tick goes through the page's changing and changed
// notifications, and a refused change leaves the box as it was.
class RecordingEnrollmentView final : public IEnrollmentPageView {
 public:
  HWND Owner() override { return nullptr; }
  int AddTokenIcon(const PageToken& token) override { return static_cast<int>(token.mask); }
  void SetPrompt(const std::u16string&) override {}
  void AppendItem(const std::u16string& text, int, ULONGLONG, bool on) override {
    rows.push_back((on ? "[x] " : "") + vxtest::Narrow(text));
  }
  void SetTicked(int row, bool on) override {
    std::string& shown = rows[static_cast<size_t>(row)];
    const bool was = shown.starts_with("[x] ");
    const UINT before = CheckState(was), after = CheckState(on);
    if (!page->OnItemChanging(row, before, after)) return;
    shown = (on ? "[x] " : "") + shown.substr(was ? 4 : 0);
    page->OnTokensItemChanged(row, before, after);
  }
  // Rows are 20 high; the x of a point gives the hit flags.
  ListHit HitTest(Point point) override { return {static_cast<int>(point.y / 20), 0, static_cast<UINT>(point.x)}; }
  void CheckStateRadio(UINT id) override { checked = id; }
  void EnableControls(bool enabled) override { controlsEnabled = enabled; }
  void SetModified(bool on) override { modified = on; }
  void NotifyConsole() override { log.push_back("console notified"); }
  void Broadcast(std::uintptr_t wParam, std::intptr_t lParam) override {
    log.push_back("broadcast " + std::to_string(wParam) + " " + std::to_string(lParam));
  }

  CEnrollmentPolicyPage* page = nullptr;
  Strings rows, log;  // rows as shown: "Password" or "[x] Password"
  UINT checked = 0;
  bool controlsEnabled = false, modified = false;
};

class EnrollmentPage : public vxtest::GpoPageFixture {
 protected:
  // The page of the machine section's enrollment policy as stored in the GPO (or the RSoP data).
  CEnrollmentPolicyPage& Open(vx::rsop::CRsopDataPtr rsop = {}) {
    node = std::make_shared<vx::snapin::CEnrollmentPolicyNode>(ports, kMachine, rsop);
    EXPECT_EQ(S_OK, node->LoadTokens());
    EXPECT_EQ(S_OK, node->Load(source.get()));
    page = std::make_unique<CEnrollmentPolicyPage>(node, source);
    view = RecordingEnrollmentView();
    view.page = page.get();
    page->OnInitDialog(view);
    return *page;
  }

  std::shared_ptr<vx::snapin::CEnrollmentPolicyNode> node;
  std::unique_ptr<CEnrollmentPolicyPage> page;
  RecordingEnrollmentView view;
};

TEST_F(EnrollmentPage, StoresTheComplementOfTheTickedCredentials) {
  struct Row {
    const char* name;
    std::vector<const char16_t*> stored;
    UINT state;
    std::string after;
  } rows[] = {
      {"enabled with nothing ticked disables every credential", {}, IDC_ENABLED, " 0xFFFFFFFFFFFFFFFF"},
      {"not configured removes the value", {u"FFFFFFFFFFFFFFFA"}, IDC_NOT_CONFIGURED, "absent"},
      {"disabled stores no mask", {u"FFFFFFFFFFFFFFFA"}, IDC_DISABLED, "no combination"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    vx::policy::CGPOAuthPolicy().Save(&gpo, kMachine, vx::policy::GPO_DisableCredentials);  // not configured
    if (!row.stored.empty()) Store(vx::policy::GPO_DisableCredentials, row.stored);
    CEnrollmentPolicyPage& opened = Open();
    opened.OnStateRadio(row.state);
    EXPECT_TRUE(opened.IsModified());
    EXPECT_TRUE(opened.OnApply());
    EXPECT_EQ(row.after, Stored(vx::policy::GPO_DisableCredentials));
    EXPECT_FALSE(view.modified);
    EXPECT_EQ((Strings{"console notified", "broadcast 4 0"}), view.log);
    EXPECT_TRUE(boxes.shown.empty());
  }
}

TEST_F(EnrollmentPage, TicksShowWhatStaysAllowedAndChangeOnlyWhileEnabledNeverInRsopMode) {
  CEnrollmentPolicyPage& opened = Open();
  EXPECT_EQ(IDC_NOT_CONFIGURED, view.checked);
  EXPECT_TRUE(view.controlsEnabled);
  view.SetTicked(0, true);
  opened.OnClick({static_cast<long>(kHitOnItemLabel), 20});
  EXPECT_EQ((Strings{"Password", "Fingerprint", "Smart card", "One-time code"}), view.rows);
  EXPECT_FALSE(opened.OnItemChanging(0, 0, kStateSelected)) << "no selection while not editable";
  EXPECT_FALSE(opened.IsModified());
  EXPECT_TRUE(opened.OnApply());
  EXPECT_TRUE(view.log.empty()) << "nothing changed: nothing saved, nothing broadcast";

  opened.OnStateRadio(IDC_ENABLED);
  EXPECT_TRUE(opened.OnItemChanging(0, 0, kStateSelected | kStateFocused));
  opened.OnTokensItemChanged(0, CheckState(false), CheckState(false) | kStateSelected);
  EXPECT_TRUE(opened.WorkingList().empty()) << "a selection is no tick";
  opened.OnClick({static_cast<long>(kHitOnItemStateIcon), 20});  // the box itself: the list ticks it
  opened.OnClick({static_cast<long>(kHitOnItemLabel), 40});      // the text of Smart card
  opened.OnClick({0, 20});                                       // beside the rows
  EXPECT_EQ((Strings{"Password", "Fingerprint", "[x] Smart card", "One-time code"}), view.rows);
  EXPECT_EQ((std::vector<ULONGLONG>{0x4}), opened.WorkingList());

  vx::rsop::MemoryRsopSession session;
  session.Add(vx::policy::GPO_DisableCredentials, std::u16string(u"FFFFFFFFFFFFFFFE\0\0", 18));
  CEnrollmentPolicyPage& readOnly = Open(vx::rsop::CRsopDataPtr(session.Open()));
  EXPECT_EQ(IDC_ENABLED, view.checked);
  EXPECT_FALSE(view.controlsEnabled);
  view.SetTicked(0, false);
  EXPECT_EQ((Strings{"[x] Password", "Fingerprint", "Smart card", "One-time code"}), view.rows)
      << "ticked as stored, and kept";
  readOnly.OnStateRadio(IDC_DISABLED);
  EXPECT_FALSE(readOnly.IsModified());
  EXPECT_TRUE(readOnly.OnApply());
  EXPECT_TRUE(gpo.policyChanged.empty());
}

TEST_F(EnrollmentPage, FailedSaveIsShownAndKeepsThePageModified) {
  CEnrollmentPolicyPage& opened = Open();
  opened.OnStateRadio(IDC_DISABLED);
  gpo.getRegistryKeyResult = E_ACCESSDENIED;
  EXPECT_FALSE(opened.OnApply());
  EXPECT_EQ(Strings{"#157 (0x80070005)"}, Boxes());
  EXPECT_TRUE(opened.IsModified());
  EXPECT_TRUE(view.log.empty());
}

}  // namespace

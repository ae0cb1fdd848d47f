// The policy page's decisions: what the add-credential dialog offers and accepts, how the list shows
// and edits a role's combinations, the enforcement dialog, the explanation and precedence pages, and
// what Apply stores.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <optional>

#include "page_test_support.h"
#include "pages/explanation_page.h"
#include "pages/ole_date.h"
#include "pages/precedence_page.h"
#include "rsop/memory_rsop_ports.h"

using namespace vx::pages;
using namespace vxtest;
using Strings = std::vector<std::string>;
using Masks = std::vector<ULONGLONG>;

namespace {

// One role (id 0, named Logon) holding these combinations.
vx::policy::CRoleSettingsTable LogonRole(const Masks& combinations) {
  vx::policy::CRoleSettingsTable roles;
  roles.Ensure(0).roleNameId = IDS_ROLE_LOGON;
  for (ULONGLONG mask : combinations) roles.Ensure(0).Add(mask);
  return roles;
}

// Picks the primary and secondary items by text (empty: leave as is) and presses OK.
int Choose(CAuthPolicyAdd& dialog, RecordingAddView& view, const std::string& primary,
           const std::string& secondary = "") {
  auto index = [](const std::vector<ComboItem>& items, const std::string& text) {
    for (size_t i = 0; i < items.size(); ++i)
      if (Narrow(items[i].text) == text) return static_cast<int>(i);
    ADD_FAILURE() << "no item " << text;
    return -1;
  };
  if (!primary.empty()) dialog.OnPrimarySelChange(index(dialog.PrimaryItems(), primary));
  if (!secondary.empty()) dialog.OnSecondarySelChange(index(dialog.SecondaryItems(), secondary));
  dialog.OnCloseCmd(IDOK);
  return view.ended;
}

// A script of the page's add dialog that picks these items and presses OK.
std::function<int(CAuthPolicyAdd&, RecordingAddView&)> Picks(std::string primary, std::string secondary = "") {
  return [=](CAuthPolicyAdd& dialog, RecordingAddView& shown) { return Choose(dialog, shown, primary, secondary); };
}

class AddDialog : public PageFixture {
 protected:
  // The dialog for the Logon role holding these combinations, shown in view.
  CAuthPolicyAdd& Open(Masks existing, ULONGLONG previous = 0, DWORD kind = 1, bool editor = true) {
    roles = LogonRole(existing);
    primary = Catalogue(vx::plugins::kTokenPrimary);
    secondary = Catalogue(vx::plugins::kTokenSecondary);
    dialog.emplace(AuthPolicyAddArgs{kind, 0, &roles, &primary, &secondary, &custom, previous, editor, known});
    view = {};
    dialog->OnInitDialog(view);
    return *dialog;
  }

  vx::policy::CRoleSettingsTable roles;
  TokenCatalogue primary, secondary;
  Masks custom, known{0x1, 0x2, 0x4, 0x10};
  std::optional<CAuthPolicyAdd> dialog;
  RecordingAddView view;
};

TEST_F(AddDialog, OffersPrimaryCredentialsAndWhatMayJoinThem) {
  struct Row {
    const char* name;
    DWORD kind;
    bool editor;
    Masks custom, known;
    std::string pick;
    Strings primary, secondary;
  } rows[] = {
      // clang-format off
      {"logon: any other credential may join, secondary-only ones too", 1, true, {}, {0x1, 0x2, 0x4, 0x10}, "Password",
       {"Password", "Fingerprint", "Smart card"}, {"(alone)", "Fingerprint", "Smart card", "One-time code"}},
      {"two bits of one registered credential never join", 1, true, {}, {0x3, 0x4, 0x10}, "Password",
       {"Password", "Fingerprint", "Smart card"}, {"(alone)", "Smart card", "One-time code"}},
      {"runtime outside the editor: custom members and no authentication", 2, false, {0x10}, {}, "One-time code",
       {"Password", "Fingerprint", "Smart card", "One-time code", "No authentication"},
       {"(alone)", "Password", "Fingerprint", "Smart card"}},
      {"runtime in the editor: never no authentication", 2, true, {0x10}, {}, "Password",
       {"Password", "Fingerprint", "Smart card", "One-time code"}, {"(alone)", "Fingerprint", "Smart card", "One-time code"}},
      {"a custom member of another kind stands alone", 1, true, {0x10}, {}, "One-time code",
       {"Password", "Fingerprint", "Smart card", "One-time code"}, {"Password", "Fingerprint", "Smart card"}},
      // clang-format on
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    custom = row.custom;
    known = row.known;
    CAuthPolicyAdd& opened = Open({}, 0, row.kind, row.editor);
    EXPECT_EQ(row.primary, view.primary);
    EXPECT_TRUE(view.secondary.empty());
    EXPECT_FALSE(view.ok);  // nothing chosen yet
    Choose(opened, view, row.pick);
    EXPECT_EQ(row.secondary, view.secondary);
    EXPECT_TRUE(view.secondaryShown);
  }
}

TEST_F(AddDialog, NamesTheRoleAndLeavesOutNamelessTokens) {
  Register(u"Nameless", 0x20, 1)->FailProperty(vx::plugins::eKELT_LST_DISPLAYSTRING, E_FAIL);
  Open({0x1});
  EXPECT_EQ((Strings{"Password", "Fingerprint", "Smart card"}), view.primary);
  EXPECT_TRUE(view.roleChoice);
  EXPECT_EQ(Strings{"Logon"}, view.roles);
  EXPECT_FALSE(view.deleteButton);

  CAuthPolicyAdd& editing = Open({0x3}, 0x3);
  EXPECT_EQ(Strings({"(alone)", "Fingerprint", "Smart card", "One-time code"}), view.secondary);
  EXPECT_EQ(1, view.secondarySelected) << "the edited combination is preselected";
  EXPECT_EQ(IDOK, Choose(editing, view, "")) << "an unchanged edit is accepted";
  EXPECT_EQ(0x3u, editing.Policy());
}

TEST_F(AddDialog, OkRefusesDuplicatesAndAsksBeforeReplacingOverlaps) {
  struct Row {
    const char* name;
    Masks existing;
    std::string primary, secondary;
    std::vector<int> answers;
    Strings boxes;
    int ended;
    ULONGLONG mask;
    Masks replaced;
  } rows[] = {
      // clang-format off
      {"a combination the role has is refused", {0x1}, "Password", "(alone)", {}, {"#227[Password]"}, 0, 0, {}},
      {"a credential alone inside an existing combination", {0x5}, "Password", "(alone)", {IDYES},
       {"#289[Password+Smart card]"}, IDOK, 0x1, {0x5}},
      {"No keeps the dialog open", {0x5}, "Password", "(alone)", {IDNO}, {"#289[Password+Smart card]"}, 0, 0, {}},
      {"existing credentials inside the new combination", {0x1, 0x2}, "Password", "Smart card", {IDYES},
       {"#5[Password]"}, IDOK, 0x5, {0x1}},
      {"only the existing-credential question is asked", {0x1, 0x7}, "Password", "Smart card", {IDYES},
       {"#5[Password]"}, IDOK, 0x5, {0x1}},
      {"unrelated combinations ask nothing", {0x2}, "Password", "Smart card", {}, {}, IDOK, 0x5, {}},
      // clang-format on
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    boxes.answers = row.answers;
    CAuthPolicyAdd& opened = Open(row.existing);
    EXPECT_EQ(row.ended, Choose(opened, view, row.primary, row.secondary));
    EXPECT_EQ(row.boxes, Boxes());
    if (row.ended == IDOK) {
      EXPECT_EQ(row.mask, opened.Policy());
      EXPECT_EQ(row.replaced, opened.Replaced());
    }
  }
}

// ---- the list and its editing

// An editor with the page's answers given by the test.
class TestEditor final : public CAuthPolicyEditor {
 public:
  using CAuthPolicyEditor::CAuthPolicyEditor;
  bool LeavesOutRoleGroups() const override { return !groups; }
  bool IsGpoEditor() const override { return editor; }
  bool IsReadOnly() const override { return readOnly; }
  void SetModified(bool on) override { modified = on; }
  bool editor = true, readOnly = false, groups = false, modified = false;
};

class Editor : public PageFixture {
 protected:
  TestEditor& Open(vx::policy::CRoleSettingsTable roles, int kind = 1, bool editor = true, bool readOnly = false,
                   bool groups = false) {
    opened = std::make_unique<TestEditor>(
        AuthPolicyEditorArgs{kind, Catalogue(1), Catalogue(2), &registry, &factory, &clock}, std::move(roles));
    opened->editor = editor;
    opened->readOnly = readOnly;
    opened->groups = groups;
    opened->OnInitDialog(view);
    return *opened;
  }
  Masks Stored(std::int32_t role = 0) const { return opened->Roles().Find(role)->Combinations(); }

  RecordingPageView view;
  std::unique_ptr<TestEditor> opened;
};

TEST_F(Editor, ShowsEachCombinationAsOneRowOfItsTokens) {
  struct Row {
    const char* name;
    int kind;
    bool editor;
    Masks combinations;
    Strings rows;
  } rows[] = {
      {"bits no token has leave no row", 1, true, {0x100, 0x1}, {"Password [0x1]"}},
      {"a 0 mask of a logon policy is no row", 1, true, {0x0, 0x2}, {"Fingerprint [0x2]"}},
      {"no authentication hides the runtime policy in the editor", 2, true, {0x1, 0x0}, {}},
      {"two tokens, then one", 1, true, {0x3, 0x4}, {"Password + Fingerprint [0x3]", "Smart card [0x4]"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Open(LogonRole(row.combinations), row.kind, row.editor);
    EXPECT_EQ(row.rows, view.Rows());
  }
  EXPECT_EQ(std::to_string(IDI_JOINER), view.rows[0].joiner);
  EXPECT_EQ(1000 + 0x1, view.rows[0].image);
}

TEST_F(Editor, AddAndEditReplaceWhatTheDialogSays) {
  TestEditor& editor = Open(LogonRole({0x5, 0x2}));
  boxes.answers = {IDYES};
  view.dialogScript = Picks("Password");
  editor.OnPoliciesLinkClicked(0);
  EXPECT_EQ((Masks{0x2, 0x1}), Stored()) << "the replaced combination 0x5 went";
  EXPECT_EQ("Password [0x1]", view.Rows()[static_cast<size_t>(view.selected)]);
  EXPECT_TRUE(editor.modified);

  view.selected = 1;  // Fingerprint: rows follow the order of the tokens
  view.dialogScript = Picks("Fingerprint", "Smart card");
  editor.OnCommand(ID_POLICY_EDIT);
  EXPECT_EQ((Masks{0x1, 0x6}), Stored());

  view.selected = 0;
  view.dialogScript = nullptr;  // Cancel
  editor.OnCommand(ID_POLICY_EDIT);
  EXPECT_EQ((Masks{0x1, 0x6}), Stored());
}

TEST_F(Editor, NoAuthenticationAfterAWarningEmptiesTheRoleAndAnyCredentialEndsIt) {
  TestEditor& editor = Open(LogonRole({0x1, 0x3}), 2, false);
  boxes.answers = {IDNO, IDYES};
  view.dialogScript = Picks("No authentication");
  editor.OnPoliciesLinkClicked(0);
  EXPECT_EQ((Masks{0x1, 0x3}), Stored()) << "No keeps the dialog open";
  editor.OnPoliciesLinkClicked(0);
  EXPECT_EQ(Masks{0x0}, Stored());
  EXPECT_EQ(Strings{"No authentication [0x0]"}, view.Rows());
  EXPECT_EQ(UINT{MB_YESNO | MB_ICONWARNING}, boxes.shown.at(1).type);
  EXPECT_EQ((Strings{"#2[Logon]", "#2[Logon]"}), Boxes());

  view.dialogScript = Picks("Smart card");
  editor.OnPoliciesLinkClicked(0);
  EXPECT_EQ(Masks{0x4}, Stored());
}

TEST_F(Editor, KeysAndClicksActOnRowsAndDeleteFallsThroughToEdit) {
  TestEditor& editor = Open(LogonRole({0x1, 0x2}));  // every dialog is cancelled
  editor.OnKeyDown(kVkDelete);                       // nothing selected: nothing happens
  EXPECT_TRUE(boxes.shown.empty());
  EXPECT_EQ(0, view.dialogs);
  view.hits[10] = {0, 0, kHitOnItemLabel};
  view.hits[20] = {1, 3, kHitOnItemIcon};  // the delete icon of row 1
  editor.OnClick(Point{10, 0});
  EXPECT_EQ(1, view.dialogs) << "a click on a row edits it";
  boxes.answer = IDNO;
  editor.OnClick(Point{20, 0});
  EXPECT_EQ(1, view.dialogs) << "a click on the delete icon deletes instead";
  EXPECT_EQ(Strings{"#173"}, Boxes());
  EXPECT_EQ((Masks{0x1, 0x2}), Stored()) << "No keeps it";
  editor.OnRClick(-1, Point{30, 0});
  EXPECT_EQ("menu 40019", view.log.back()) << "on empty space only adding is offered";
  editor.OnRClick(0, Point{10, 0});
  EXPECT_EQ("menu 40016 40017 40019 (first default)", view.log.back());

  view.selected = 0;
  boxes.answer = IDYES;
  editor.OnKeyDown(kVkDelete);
  EXPECT_EQ(Masks{0x2}, Stored());
  EXPECT_EQ(Strings{"Fingerprint [0x2]"}, view.Rows());
  EXPECT_TRUE(editor.modified);
  EXPECT_EQ(2, view.dialogs) << "the row now in the deleted one's place is opened";
  EXPECT_EQ((Strings{"(alone)", "Password", "Smart card", "One-time code"}), view.lastDialog.secondary);
  editor.OnKeyDown(kVkApps);
  EXPECT_EQ("menu 40016 40017 40019 (first default)", view.log.back());
}

TEST_F(Editor, HoveringSelectsAndShowsTheDeleteIcon) {
  TestEditor& editor = Open(LogonRole({0x1, 0x2}));
  view.hits[350] = {1, 3, kHitOnItemIcon};
  view.cursor = Point{350, 40};
  editor.OnHotTrack(1, view.cursor);
  EXPECT_EQ(1, view.selected);
  EXPECT_EQ(static_cast<int>(IDI_DELETE_HOT), view.rows[1].deleteImage);
  EXPECT_EQ(-1, view.rows[0].deleteImage);
  editor.OnHotTrack(0, Point{5, 5});  // over the row's own icon
  EXPECT_EQ(1, view.selected);
  EXPECT_TRUE(editor.OnItemChanging(1, kStateSelected, 0));
  EXPECT_EQ(-1, view.rows[1].deleteImage) << "a row that loses the selection loses the icon";

  TestEditor& readOnly = Open(LogonRole({0x1}), 1, true, true);
  EXPECT_FALSE(readOnly.OnItemChanging(0, 0, kStateSelected));
  view.hits[10] = {0, 0, kHitOnItemLabel};
  readOnly.OnClick(Point{10, 0});
  readOnly.OnRClick(0, Point{10, 0});
  readOnly.OnHotTrack(0, Point{100, 5});
  EXPECT_EQ(0, view.dialogs);
  EXPECT_EQ(-1, view.selected);
}

TEST_F(Editor, RoleGroupsAndMenuCommands) {
  vx::policy::CRoleSettingsTable roles;
  roles.Ensure(1).roleNameId = IDS_ROLE_LOGON;
  roles.Ensure(1).Add(0x1);
  roles.Ensure(2).roleNameId = IDS_ROLE_RUNTIME;
  roles.Ensure(2).Add(0x2);
  TestEditor& editor = Open(std::move(roles), 1, true, false, true);
  EXPECT_EQ((Strings{"group 1 Logon", "group 2 Runtime"}), (Strings{view.log[0], view.log[1]}));

  // Add from the menu of a row goes to that row's role.
  view.hits[10] = {1, 0, kHitOnItemLabel};
  editor.OnRClick(1, Point{10, 0});
  view.dialogScript = Picks("Smart card");
  editor.OnCommand(ID_POLICY_ADD);
  EXPECT_FALSE(view.lastDialog.roleChoice);
  EXPECT_EQ((Masks{0x2, 0x4}), Stored(2));

  // Edit and Delete act on the selected row; the delete icon follows the selection.
  view.selected = 0;
  editor.OnItemChanged(0, 0, kStateSelected);
  EXPECT_EQ(static_cast<int>(IDI_DELETE), view.rows[0].deleteImage);
  view.dialogScript = [](CAuthPolicyAdd&, RecordingAddView&) { return ID_POLICY_DELETE; };
  boxes.answer = IDYES;
  editor.OnCommand(ID_POLICY_EDIT);  // the dialog's own Delete button
  editor.OnCommand(ID_POLICY_DELETE);
  EXPECT_EQ(Masks{0x1}, Stored(1)) << "a role's last one stays";
  EXPECT_EQ(UINT{MB_ICONERROR}, boxes.shown.at(0).type);
  EXPECT_EQ((Strings{"#229", "#229"}), Boxes());
  editor.OnListSetFocus();
  EXPECT_EQ("redraw", view.log.back());
}

TEST(OleDate, ValidOnlyWhenTheFieldsComeBackAndComparedOnTheLine) {
  struct Row {
    SYSTEMTIME time;
    double date;  // NAN: refused
  } rows[] = {
      // clang-format off
      {{1899, 12, 5, 29, 6, 0, 0, 0}, -1.25},  {{100, 1, 5, 1, 0, 0, 0, 0}, -657434.0},
      {{2000, 2, 2, 29, 0, 0, 0, 0}, 36585.0}, {{99, 12, 0, 31, 0, 0, 0, 0}, NAN},  {{10000, 1, 0, 1, 0, 0, 0, 0}, NAN},
      {{9999, 12, 5, 31, 23, 59, 59, 0}, 2958465.0 + 86399.0 / 86400}, {{1900, 2, 0, 29, 0, 0, 0, 0}, NAN},
      {{2026, 13, 0, 1, 0, 0, 0, 0}, NAN},  {{2026, 0, 0, 1, 0, 0, 0, 0}, NAN},   {{2026, 1, 0, 0, 0, 0, 0, 0}, NAN},
      {{2026, 1, 0, 1, 24, 0, 0, 0}, NAN},  {{2026, 1, 0, 1, 0, 60, 0, 0}, NAN},  {{2026, 1, 0, 1, 0, 0, 60, 0}, NAN},
      // clang-format on
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.time.wYear << "-" << row.time.wMonth << "-" << row.time.wDay);
    double date = 99;
    ASSERT_EQ(!std::isnan(row.date), ToValidOleDate(row.time, date));
    if (std::isnan(row.date)) continue;
    EXPECT_NEAR(row.date, date, 1e-9);
    SYSTEMTIME back{};
    ASSERT_TRUE(OleDateToSystemTime(date, back));
    EXPECT_EQ(0, std::memcmp(&row.time, &back, sizeof(back))) << "day of week " << back.wDayOfWeek;
  }
  SYSTEMTIME time{};
  for (double outside : {double(NAN), double(INFINITY), -657435.5, 2958466.0})
    EXPECT_FALSE(OleDateToSystemTime(outside, time));
  ASSERT_TRUE(OleDateToSystemTime(0.9999999, time));  // rounds to the next midnight
  EXPECT_EQ((std::vector<int>{1899, 12, 31, 0}), (std::vector<int>{time.wYear, time.wMonth, time.wDay, time.wHour}));
  EXPECT_EQ(0, CompareOleDates(-0.75, 0.75)) << "both 30 December 1899, 18:00";
  EXPECT_EQ(-1, CompareOleDates(-1.25, -1.5)) << "06:00 before 12:00 on 29 December";
  EXPECT_EQ(0, CompareOleDates(1.0, 1.0 + 4e-6));
  EXPECT_EQ(-1, CompareOleDates(1.0, 1.0 + 7e-6));
}

// The link names the first record's enforcement date while it lies ahead; the dialog writes that record.
TEST_F(Editor, EnforcementDialogMovesPastDatesAWeekAheadAndWritesTheFirstRecordOnly) {
  clock.SetTime({2026, 11, 1, 23, 12, 0, 0, 0});
  vx::policy::CRoleSettingsTable roles = LogonRole({0x1});
  vx::policy::RoleSettings& second = roles.Ensure(2);
  second.Add(0x2);
  second.enforcementDate = {47000.0, vx::policy::OleDate::valid};
  second.enforcementMode = vx::policy::VX_ENFORCEPOLICY_IMMEDIATELY;
  TestEditor& editor = Open(std::move(roles));
  EXPECT_EQ("<a>#39</a>", view.enforcementLink) << "the first record has no date";
  const auto first = [&] { return editor.Roles().Records().front(); };

  // A specific date picked in the past moves to now + 7 days; a future one stays.
  view.enforcementScript = [](CAuthPolicyAdvanced& dialog, RecordingAdvancedView& shown) {
    EXPECT_EQ((Strings{"Not configured", "Immediately", "From a date"}), shown.choices);
    EXPECT_EQ(0, shown.choice);
    EXPECT_FALSE(shown.dateShown);
    EXPECT_EQ(2026, shown.earliest.wYear);
    shown.picked = {2020, 1, 0, 1, 8, 0, 0, 0};
    shown.choice = 2;
    dialog.OnEnforcePolicySelChange();
    EXPECT_TRUE(shown.dateShown);
    EXPECT_EQ(0, shown.basis);
    EXPECT_EQ((std::vector<int>{2026, 11, 30, 12}),
              (std::vector<int>{shown.picked.wYear, shown.picked.wMonth, shown.picked.wDay, shown.picked.wHour}));
    dialog.OnCloseCmd(IDOK);
    return shown.ended;
  };
  editor.OnEnforcementLinkClicked();
  EXPECT_EQ(vx::policy::VX_ENFORCEPOLICY_SPECIFICDATE, first().enforcementMode);
  EXPECT_NEAR(46356.5, first().enforcementDate.value, 1e-9);
  EXPECT_EQ(47000.0, editor.Roles().Records()[1].enforcementDate.value) << "only the first record is written";
  EXPECT_EQ("<a>#47[46356]</a>", view.enforcementLink);
  EXPECT_TRUE(editor.modified);

  // Immediately is the valid date 0.0, which lies behind; Cancel changes nothing.
  view.enforcementScript = [](CAuthPolicyAdvanced& dialog, RecordingAdvancedView& shown) {
    EXPECT_EQ(2, shown.choice);
    EXPECT_EQ(30, shown.picked.wDay) << "the stored date is shown";
    shown.choice = 1;
    dialog.OnEnforcePolicySelChange();
    EXPECT_FALSE(shown.dateShown);
    dialog.OnCloseCmd(IDOK);
    return shown.ended;
  };
  editor.OnEnforcementLinkClicked();
  EXPECT_EQ(vx::policy::VX_ENFORCEPOLICY_IMMEDIATELY, first().enforcementMode);
  EXPECT_EQ(0.0, first().enforcementDate.value);
  EXPECT_TRUE(first().enforcementDate.IsValid());
  EXPECT_EQ("<a>#39</a>", view.enforcementLink);
  editor.modified = false;
  view.enforcementScript = [](CAuthPolicyAdvanced& dialog, RecordingAdvancedView& shown) {
    shown.choice = 0;
    dialog.OnCloseCmd(IDCANCEL);
    return shown.ended;
  };
  editor.OnEnforcementLinkClicked();
  EXPECT_EQ(vx::policy::VX_ENFORCEPOLICY_IMMEDIATELY, first().enforcementMode);
  EXPECT_FALSE(editor.modified);
}

// ---- the pages of a setting

using SettingPages = PageFixture;

TEST_F(SettingPages, ExplanationNamesTheSettingAndExplainsIt) {
  struct View final : IExplanationPageView {
    void SetHeading(const std::u16string& text) override { heading = Narrow(text); }
    void SetExplanation(const std::u16string& text) override { explanation = Narrow(text); }
    std::string heading, explanation = "unset";
  };
  const std::pair<const char16_t*, UINT> settings[] = {{vx::policy::kLogonPolicy, IDS_EXPLAIN_LOGON},
                                                       {vx::policy::kRuntimePolicy, IDS_EXPLAIN_RUNTIME},
                                                       {vx::policy::kKioskRuntimePolicy, IDS_EXPLAIN_KIOSK_RUNTIME},
                                                       {vx::policy::GPO_DisableCredentials, IDS_EXPLAIN_ENROLLMENT},
                                                       {u"Other", 0}};
  for (const auto& [setting, text] : settings) {
    strings.texts[text] = u"explains " + std::u16string(setting);
    View shown;
    CExplanationPage(u"Shown name", setting).OnInitDialog(shown);
    EXPECT_EQ("Shown name", shown.heading);
    EXPECT_EQ(text ? "explains " + Narrow(setting) : "", shown.explanation);
  }
}

TEST_F(SettingPages, PrecedenceListsTheGposWinnerFirst) {
  struct View final : IPrecedencePageView {
    void SetHeading(const std::u16string&) override {}
    void SetColumn(const std::u16string&) override {}
    void SetGpos(const std::vector<std::u16string>& names) override {
      for (const auto& name : names) gpos.push_back(Narrow(name));
    }
    Strings gpos;
  } shown;
  vx::rsop::RsopPolicyEntry entry;
  entry.precedenceList = {{u"Branch", 3}, {u"Default", 1}, {u"Site", 2}, {u"Second site", 2}};
  CPrecedencePolicyPage(entry).OnInitDialog(shown);
  EXPECT_EQ((Strings{"Default", "Site", "Second site", "Branch"}), shown.gpos) << "equals keep their order";
}

// ---- the page

class Page : public GpoPageFixture {
 protected:
  // The page of a machine policy stored in the GPO with these masks (none: not configured).
  CAuthPolicyPage& Open(const char16_t* setting, int apt, std::vector<const char16_t*> masks = {},
                        vx::rsop::CRsopDataPtr rsop = {}) {
    if (!masks.empty()) Store(setting, masks);
    node = std::make_shared<vx::snapin::CPolicyNode>(ports);
    node->FinalConstruct(kMachine, apt, setting);
    node->SetRsopData(rsop);
    EXPECT_EQ(S_OK, node->LoadTokens());
    EXPECT_EQ(S_OK, node->Load(source.get()));
    page = std::make_unique<CAuthPolicyPage>(node, source, clock);
    page->OnInitDialog(view);
    return *page;
  }
  std::shared_ptr<vx::snapin::CPolicyNode> node;
  std::unique_ptr<CAuthPolicyPage> page;
  RecordingPageView view;
};

TEST_F(Page, AppliesTheCheckedStateToTheGpoAndReadsItBack) {
  struct Row {
    const char* name;
    const char16_t* setting;
    int apt;
    UINT state;
    std::string stored;
  } rows[] = {
      {"enabled keeps the combinations", vx::policy::kLogonPolicy, 1, IDC_ENABLED, " 0x3 0x4"},
      {"not configured removes the value", vx::policy::kLogonPolicy, 1, IDC_NOT_CONFIGURED, "absent"},
      {"a disabled logon policy stores no combination", vx::policy::kLogonPolicy, 1, IDC_DISABLED, "no combination"},
      {"a disabled runtime policy stores no authentication", vx::policy::kRuntimePolicy, 2, IDC_DISABLED, " 0x0"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CAuthPolicyPage& opened = Open(row.setting, row.apt, {u"0000000000000003", u"0000000000000004"});
    opened.OnStateRadio(IDC_DISABLED);
    opened.OnStateRadio(row.state);
    EXPECT_TRUE(opened.IsModified());
    view.log.clear();
    EXPECT_TRUE(opened.OnApply());
    EXPECT_EQ(row.stored, Stored(row.setting));
    EXPECT_FALSE(view.modified);
    EXPECT_EQ((Strings{"console notified", "broadcast 4 1"}), view.log);
    Open(row.setting, row.apt);
    EXPECT_EQ(row.state, view.checked) << "the stored setting reads back as checked";
  }
}

TEST_F(Page, RefusedOrFailedSaveIsShownAndKeepsThePageModified) {
  Register(u"PIN", 0x20, 1, false);
  Register(u"Badge", 0x40, 1, false);
  CAuthPolicyPage& opened = Open(vx::policy::kLogonPolicy, 1, {u"0000000000000021", u"0000000000000040"});
  opened.SetModified(true);
  view.log.clear();
  EXPECT_FALSE(opened.OnApply());
  EXPECT_EQ(Strings{"#1092[PIN,Badge]"}, Boxes());
  EXPECT_TRUE(gpo.policyChanged.empty()) << "nothing is saved";
  EXPECT_TRUE(opened.IsModified());
  EXPECT_TRUE(view.log.empty()) << "no notification, no broadcast";

  boxes.answers = {IDYES};  // Password replaces PIN + Password
  view.dialogScript = Picks("Password");
  opened.OnPoliciesLinkClicked(0);
  gpo.getRegistryKeyResult = E_ACCESSDENIED;
  EXPECT_FALSE(opened.OnApply());
  EXPECT_EQ((Strings{"#289[Password+PIN]", "#157 (0x80070005)"}), Boxes());
  EXPECT_TRUE(opened.IsModified());
  EXPECT_TRUE(view.log.empty());
  gpo.getRegistryKeyResult = S_OK;
  EXPECT_TRUE(opened.OnApply()) << "one combination of reliable credentials is enough";
  EXPECT_EQ(" 0x40 0x1", Stored(vx::policy::kLogonPolicy));
}

TEST_F(Page, WarnsOfCredentialsDisabledForEnrollmentAndSavesAnyway) {
  Store(vx::policy::GPO_DisableCredentials, {u"FFFFFFFFFFFFFFFA"});  // only Password and Smart card may enroll
  CAuthPolicyPage& opened =
      Open(vx::policy::kLogonPolicy, 1, {u"0000000000000002", u"0000000000000003", u"0000000000000010"});
  opened.SetModified(true);
  EXPECT_TRUE(opened.OnApply());
  EXPECT_EQ(UINT{MB_ICONWARNING}, boxes.shown.at(0).type);
  EXPECT_EQ(Strings{"#17[Fingerprint\r\nOne-time code]"}, Boxes());
  EXPECT_EQ(1u, gpo.policyChanged.size());
}

TEST_F(Page, WritesNothingUnchangedOrInRsopModeYetNotifies) {
  CAuthPolicyPage& unchanged = Open(vx::policy::kLogonPolicy, 1, {u"0000000000000001"});
  EXPECT_TRUE(unchanged.OnApply());
  EXPECT_TRUE(gpo.policyChanged.empty());
  EXPECT_EQ("broadcast 4 1", view.log.back());

  vx::rsop::MemoryRsopSession session;
  session.Add(vx::policy::kLogonPolicy, std::u16string(u"0000000000000001\0\0", 18));
  CAuthPolicyPage& readOnly = Open(vx::policy::kLogonPolicy, 1, {}, vx::rsop::CRsopDataPtr(session.Open()));
  EXPECT_FALSE(view.radiosEnabled);
  EXPECT_FALSE(view.editing);
  readOnly.OnStateRadio(IDC_DISABLED);
  EXPECT_FALSE(readOnly.IsModified());
  readOnly.SetModified(true);
  EXPECT_TRUE(readOnly.OnApply());
  EXPECT_TRUE(gpo.policyChanged.empty());
  EXPECT_FALSE(readOnly.IsModified());
}

}  // namespace

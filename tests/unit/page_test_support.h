// The set-up the page and dialog tests share: texts that show which string was used and with what,
// message boxes answered in turn, credential plug-ins registered like the samples, a GPO in memory,
// and recording views of the add-credential dialog and the policy page.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pages/auth_policy_page.h"
#include "platform/format.h"
#include "platform/memory/fakes.h"
#include "platform/text.h"
#include "plugins/memory_plugins.h"
#include "policy/memory_gpo_information.h"
#include "shared_fixtures.h"
#include "support/error_text.h"

namespace vxtest {

using vx::pages::ComboItem;
using vx::pages::ListHit;
using vx::pages::Point;

inline std::string Narrow(const std::u16string& text) { return vx::Utf16ToUtf8(text); }

// The texts of the combo items, for comparing lists.
inline std::vector<std::string> Texts(const std::vector<ComboItem>& items) {
  std::vector<std::string> texts;
  for (const ComboItem& item : items) texts.push_back(Narrow(item.text));
  return texts;
}

class RecordingAddView final : public vx::pages::IAuthPolicyAddView {
 public:
  HWND Owner() override { return nullptr; }
  int AddIcon(UINT id) override { return static_cast<int>(id); }
  int AddTokenIcon(const vx::pages::PageToken& token) override { return 1000 + static_cast<int>(token.mask); }
  void SetTitle(const std::u16string&) override {}
  void ShowRoleChoice(bool visible) override { roleChoice = visible; }
  void SetRoles(const std::vector<ComboItem>& items, int) override { roles = Texts(items); }
  void SetRoleLabel(const std::u16string&) override {}
  void SetPrompt(const std::u16string&) override {}
  void ShowDeleteButton(bool visible) override { deleteButton = visible; }
  void EnableOk(bool enabled) override { ok = enabled; }
  void SetPrimaryItems(const std::vector<ComboItem>& items, int) override { primary = Texts(items); }
  void SetSecondaryItems(const std::vector<ComboItem>& items, int selected) override {
    secondary = Texts(items);
    secondarySelected = selected;
  }
  void ShowSecondary(bool visible) override { secondaryShown = visible; }
  void End(int code) override { ended = code; }

  std::vector<std::string> roles, primary, secondary;
  int secondarySelected = -1, ended = 0;
  bool roleChoice = false, deleteButton = true, ok = false, secondaryShown = false;
};

class RecordingAdvancedView final : public vx::pages::IAuthPolicyAdvancedView {
 public:
  HWND Owner() override { return nullptr; }
  void SetChoices(const std::vector<ComboItem>& items, int selected) override {
    choices = Texts(items);
    choice = selected;
  }
  int SelectedChoice() override { return choice; }
  void SetEarliestTime(const SYSTEMTIME& time) override { earliest = time; }
  void SetPickedTime(const SYSTEMTIME& time) override { picked = time; }
  bool PickedTime(SYSTEMTIME& time) override {
    time = picked;
    return picked.wYear != 0;
  }
  void ShowDateControls(bool visible) override { dateShown = visible; }
  void SetTimeBases(const std::vector<ComboItem>&, int selected) override { basis = selected; }
  void End(int code) override { ended = code; }

  std::vector<std::string> choices;
  int choice = -1, basis = -1, ended = 0;
  SYSTEMTIME earliest{}, picked{};
  bool dateShown = false;
};

// The list as the administrator would read it: one line per row ("Password + Fingerprint"), the
// selection, and every other call of the page in order.
class RecordingPageView final : public vx::pages::IAuthPolicyPageView {
 public:
  HWND Owner() override { return nullptr; }
  int AddIcon(UINT id) override { return static_cast<int>(id); }
  int AddTokenIcon(const vx::pages::PageToken& token) override { return 1000 + static_cast<int>(token.mask); }
  void SetTitle(const std::u16string& text) override { Log("title " + Narrow(text)); }
  void SetAddLink(const std::u16string& text) override { Log("add link " + Narrow(text)); }
  void SetEnforcementLink(const std::u16string& text) override { enforcementLink = Narrow(text); }
  void ShowEnforcementLink(bool) override {}
  std::u16string FormatDateTime(double date) override { return vx::Format(u"%d", static_cast<int>(date)); }
  void SetRedraw(bool) override {}
  bool DeleteAllRows() override {
    rows.clear();
    selected = -1;
    return true;
  }
  void RemoveAllGroups() override {}
  bool InsertGroup(int id, const std::u16string& header) override {
    Log("group " + std::to_string(id) + " " + Narrow(header));
    return true;
  }
  void EnableGroupView(bool) override {}
  int InsertRow(const vx::pages::ListRow& row) override {
    rows.push_back({Narrow(row.text), "", "", row.image, -1, row.data});
    return static_cast<int>(rows.size()) - 1;
  }
  bool SetSubItem(int row, int sub, const std::u16string& text, int image) override {
    Row& target = rows[static_cast<size_t>(row)];
    if (sub == 1) target.joiner = std::to_string(image);
    if (sub == 2) target.second = Narrow(text);
    return true;
  }
  void SetSubItemImage(int row, int sub, int image) override {
    if (sub == 3) rows[static_cast<size_t>(row)].deleteImage = image;
  }
  void DeleteRow(int row) override { rows.erase(rows.begin() + row); }
  void SelectRow(int row) override { selected = row; }
  int SelectedRow() override { return selected; }
  void AutoSizeColumns() override {}
  void RedrawList() override { Log("redraw"); }
  ListHit HitTest(Point p) override { return hits.count(p.x) ? hits[p.x] : ListHit{}; }
  ListHit SubItemHitTest(Point p) override { return HitTest(p); }
  vx::pages::Rect RowBounds(int row) override { return {0, row * 32, 400, row * 32 + 32}; }
  int IconWidth() override { return 32; }
  Point CursorInList() override { return cursor; }
  void ShowContextMenu(std::span<const UINT> commands, bool firstIsDefault, Point) override {
    std::string text = "menu";
    for (UINT command : commands) text += " " + std::to_string(command);
    Log(text + (firstIsDefault ? " (first default)" : ""));
  }
  int RunAddDialog(vx::pages::CAuthPolicyAdd& dialog) override {
    ++dialogs;
    RecordingAddView view;
    dialog.OnInitDialog(view);
    const int code = dialogScript ? dialogScript(dialog, view) : IDCANCEL;
    lastDialog = view;
    return code;
  }
  int RunEnforcementDialog(vx::pages::CAuthPolicyAdvanced& dialog) override {
    RecordingAdvancedView shown;
    dialog.OnInitDialog(shown);
    return enforcementScript ? enforcementScript(dialog, shown) : IDCANCEL;
  }
  void SetModified(bool on) override { modified = on; }
  void CheckStateRadio(UINT id) override { checked = id; }
  void EnableStateRadios(bool enabled) override { radiosEnabled = enabled; }
  void EnableEditing(bool enabled) override { editing = enabled; }
  void NotifyConsole() override { Log("console notified"); }
  void Broadcast(std::uintptr_t wParam, std::intptr_t lParam) override {
    Log("broadcast " + std::to_string(wParam) + " " + std::to_string(lParam));
  }

  // "Password + Fingerprint [data 0x3]" per row.
  std::vector<std::string> Rows() const {
    std::vector<std::string> lines;
    for (const Row& row : rows)
      lines.push_back(row.first + (row.second.empty() ? "" : " + " + row.second) +
                      vx::FormatNarrow(" [0x%I64X]", row.data));
    return lines;
  }
  void Log(std::string line) { log.push_back(std::move(line)); }

  struct Row {
    std::string first, joiner, second;
    int image, deleteImage;
    ULONGLONG data;
  };
  std::vector<Row> rows;
  std::vector<std::string> log;
  std::string enforcementLink;
  std::map<long, ListHit> hits;  // by the x of the point
  Point cursor{-1, -1};
  int selected = -1, dialogs = 0;
  UINT checked = 0;
  bool modified = false, radiosEnabled = false, editing = false;
  RecordingAddView lastDialog;
  // Drives each add dialog once it is shown; its result is the dialog's ending code.
  std::function<int(vx::pages::CAuthPolicyAdd&, RecordingAddView&)> dialogScript;
  std::function<int(vx::pages::CAuthPolicyAdvanced&, RecordingAdvancedView&)> enforcementScript;
};

// A fixture with the sample credentials registered in the editor's and the dialog's plug-in lists.
class PageFixture : public WithPlugins {
 protected:
  PageFixture() {
    strings.texts = {{IDS_ERROR_WITH_CODE, u"%ls (0x%08X)"},
                     {IDS_COMBINATION_JOINER, u" + "},
                     {IDS_PRIMARY_ALONE, u"(alone)"},
                     {IDS_NO_AUTHENTICATION, u"No authentication"},
                     {IDS_ROLE_LOGON, u"Logon"},
                     {IDS_ROLE_RUNTIME, u"Runtime"},
                     {IDS_ENFORCEMENT_UNCONFIGURED, u"Not configured"},
                     {IDS_ENFORCEMENT_IMMEDIATELY, u"Immediately"},
                     {IDS_ENFORCEMENT_SPECIFIC_DATE, u"From a date"}};
    for (UINT id : {2u, 5u, 17u, 47u, 227u, 289u, 1092u}) strings.texts[id] = vx::Format(u"#%u[%%ls]", id);
    for (UINT id : {39u, 157u, 173u, 229u}) strings.texts[id] = vx::Format(u"#%u", id);
    vx::InstallReporting({&boxes, &strings, nullptr, nullptr});
    Register(u"Password", 0x1, 1);
    Register(u"Fingerprint", 0x2, 2);
    Register(u"Smart card", 0x4, 1);
    Register(u"One-time code", 0x10, 3, false);
  }
  ~PageFixture() override { vx::InstallReporting({}); }

  // A credential in both plug-in lists; reliable unless told.
  std::shared_ptr<vx::plugins::FakeElement> Register(const std::u16string& name, ULONGLONG mask, DWORD type,
                                                     bool reliable = true) {
    auto token = vx::plugins::MakeFakeToken(name, name, mask, type);
    token->SetCredProperty(vx::plugins::eKELT_CRED_RELIABLE, vx::Variant::Bool(reliable));
    WithPlugins::Register(token, vx::plugins::kTokensSubkey);
    return WithPlugins::Register(token);
  }
  vx::pages::TokenCatalogue Catalogue(DWORD filter) {
    vx::plugins::UITokens tokens(registry, factory, vx::plugins::kGpoEditorTokensSubkey, filter);
    tokens.LoadElements(true);
    return vx::pages::ReadTokens(tokens);
  }
  // The texts of the message boxes shown so far, which are then forgotten.
  std::vector<std::string> Boxes() {
    std::vector<std::string> texts;
    for (const auto& box : boxes.shown) texts.push_back(Narrow(box.text));
    boxes.shown.clear();
    return texts;
  }

  vx::platform::FakeStringTable strings;
  vx::platform::RecordingMessageBox boxes;
};

// The editor's GPO as a policy item's data object gives it, or the failure set.
class GpoSource final : public vx::snapin::IGpoInformationSource {
 public:
  explicit GpoSource(vx::policy::IGpoInformation& gpo) : m_gpo(&gpo, [](vx::policy::IGpoInformation*) {}) {}
  HRESULT GetGPEInformation(std::shared_ptr<vx::policy::IGpoInformation>& information) override {
    ++calls;
    if (FAILED(failure)) return failure;
    information = m_gpo;
    return S_OK;
  }
  HRESULT failure = S_OK;
  int calls = 0;

 private:
  std::shared_ptr<vx::policy::IGpoInformation> m_gpo;
};

// The sample credentials and a GPO in memory whose machine section the pages read and write.
class GpoPageFixture : public PageFixture {
 protected:
  static constexpr DWORD kMachine = vx::policy::VX_GPO_SECTION_MACHINE;

  // Stores a setting's masks (hex texts) as the snap-in would.
  void Store(const char16_t* setting, const std::vector<const char16_t*>& masks) {
    std::u16string image;
    for (const char16_t* mask : masks) image.append(mask).push_back(u'\0');
    image.push_back(u'\0');
    vx::policy::CRegKey key;
    ASSERT_EQ(ERROR_SUCCESS, gpo.SectionKey(kMachine)->CreateKey(vx::policy::kApplicationKey, KEY_ALL_ACCESS, key));
    ASSERT_EQ(ERROR_SUCCESS, key->SetValue(setting, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(image.data()),
                                           static_cast<DWORD>(image.size() * 2)));
  }
  // " 0x3 0x4", "no combination" (an empty list) or "absent" (no value).
  std::string Stored(const char16_t* setting) {
    vx::policy::CGPOAuthPolicy policy;
    if (FAILED(policy.Load(&gpo, kMachine, setting))) return "absent";
    std::string text = policy.Masks().empty() ? "no combination" : "";
    for (ULONGLONG mask : policy.Masks()) text += vx::FormatNarrow(" 0x%I64X", mask);
    return text;
  }

  vx::policy::MemoryGpoInformation gpo;
  std::shared_ptr<GpoSource> source = std::make_shared<GpoSource>(gpo);
  vx::snapin::NodePorts ports{registry, factory, {}};
};

}  // namespace vxtest

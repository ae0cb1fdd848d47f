// CAuthPolicyEditor: the editing logic of the authentication policy page. It shows one policy's role
// settings as a list of credential combinations (a mask split back into its tokens: the first in
// column 0, a joiner in column 1, the second in column 2, the delete icon of the selected row in
// column 3), and adds, edits and deletes combinations through the add-credential dialog, by mouse,
// keyboard and context menu. The window procedure forwards every event here and carries out the view
// calls; no rule lives in the window.
#pragma once

#include <span>
#include <vector>

#include "pages/auth_policy_add.h"
#include "pages/auth_policy_advanced.h"
#include "pages/page_tokens.h"
#include "pages/page_types.h"
#include "platform/clock.h"
#include "platform/registry.h"
#include "plugins/element.h"
#include "policy/policy_settings.h"

namespace vx::pages {

// A row to insert into the list.
struct ListRow {
  std::u16string text;
  int image = -1;
  ULONGLONG data = 0;
  int indent = 0;
  int groupId = 0;  // 0: none
};

class IAuthPolicyEditorView {
 public:
  virtual ~IAuthPolicyEditorView() = default;
  virtual HWND Owner() = 0;
  // The list's image list: a module icon, or a token's own icon; the index, -1 for none.
  virtual int AddIcon(UINT resourceId) = 0;
  virtual int AddTokenIcon(const PageToken& token) = 0;

  virtual void SetTitle(const std::u16string& text) = 0;
  virtual void SetAddLink(const std::u16string& markup) = 0;
  virtual void SetEnforcementLink(const std::u16string& markup) = 0;
  virtual void ShowEnforcementLink(bool visible) = 0;
  virtual std::u16string FormatDateTime(double oleDate) = 0;

  // The list: rows, sub-items and groups.
  virtual void SetRedraw(bool redraw) = 0;
  virtual bool DeleteAllRows() = 0;
  virtual void RemoveAllGroups() = 0;
  virtual bool InsertGroup(int groupId, const std::u16string& header) = 0;
  virtual void EnableGroupView(bool enable) = 0;
  virtual int InsertRow(const ListRow& row) = 0;  // the row's index, -1 on failure
  virtual bool SetSubItem(int row, int subItem, const std::u16string& text, int image) = 0;
  virtual void SetSubItemImage(int row, int subItem, int image) = 0;  // -1: no image
  virtual void DeleteRow(int row) = 0;
  virtual void SelectRow(int row) = 0;  // selects, focuses and shows the row
  virtual int SelectedRow() = 0;        // the first selected row, -1 for none
  virtual void AutoSizeColumns() = 0;
  virtual void RedrawList() = 0;

  // Hit tests and geometry in the list's client coordinates.
  virtual ListHit HitTest(Point point) = 0;
  virtual ListHit SubItemHitTest(Point point) = 0;
  virtual Rect RowBounds(int row) = 0;
  virtual int IconWidth() = 0;
  virtual Point CursorInList() = 0;

  // The context menu at a point of the list: these commands, the first one the default when asked.
  virtual void ShowContextMenu(std::span<const UINT> commands, bool firstIsDefault, Point point) = 0;
  // Runs the add-credential dialog modally; its ending code.
  virtual int RunAddDialog(CAuthPolicyAdd& dialog) = 0;
  // Runs the enforcement dialog modally; its ending code.
  virtual int RunEnforcementDialog(CAuthPolicyAdvanced& dialog) = 0;
  virtual void SetModified(bool modified) = 0;  // the sheet's Apply button
};

// What an editor is made from.
struct AuthPolicyEditorArgs {
  int policyKind = 0;  // 1 logon and kiosk runtime, 2 runtime
  TokenCatalogue primary;
  TokenCatalogue secondary;
  platform::IRegistry* registry = nullptr;  // for the add dialog's known masks
  plugins::IElementFactory* factory = nullptr;
  platform::IClock* clock = nullptr;
};

class CAuthPolicyEditor {
 public:
  // roles: the working copy of the policy, one record per role.
  CAuthPolicyEditor(AuthPolicyEditorArgs args, policy::CRoleSettingsTable roles);
  virtual ~CAuthPolicyEditor() = default;

  // The page's three answers.
  virtual bool LeavesOutRoleGroups() const = 0;
  virtual bool IsGpoEditor() const = 0;
  virtual bool IsReadOnly() const = 0;
  virtual void SetModified(bool modified) = 0;

  void OnInitDialog(IAuthPolicyEditorView& view);
  void OnUpdateView() { Fill(); }
  void OnPoliciesLinkClicked(int groupId);
  void EditPolicyItem(int row);
  void DeletePolicyItem(int row);
  // The enforcement link's text from the first role record and the current time.
  void UpdateEnforcementLink();
  // The enforcement dialog over the first role record's settings; OK writes them back into that record.
  void OnEnforcementLinkClicked();

  // The list's events.
  void OnKeyDown(UINT key);
  void OnClick(Point point);
  // A right click (or the context-menu key) on a row (-1: on no row) at a point of the list.
  void OnRClick(int row, Point point);
  void OnCommand(UINT command);
  void OnHotTrack(int hotRow, Point cursor);
  bool OnItemChanging(int row, UINT oldState, UINT newState);  // false refuses the change
  void OnItemChanged(int row, UINT oldState, UINT newState);
  const std::u16string& InfoTip() const { return m_infoTip; }
  void OnListSetFocus();
  // A mouse move over something else than the list's items: another window or its scroll bar.
  void OnSetCursorOutsideItems();
  int ItemHitTestDeleteIcon(Point point);

  const std::vector<ULONGLONG>& CustomList() const { return m_custom; }
  const policy::CRoleSettingsTable& Roles() const { return m_roles; }

 protected:
  int PolicyKind() const { return m_args.policyKind; }
  const AuthPolicyEditorArgs& Args() const { return m_args; }
  IAuthPolicyEditorView* View() const { return m_view; }

 private:
  struct Row {
    ULONGLONG data = 0;
    int groupId = 0;
    int deleteImage = -1;
  };
  void Fill();
  void InsertRoleGroups();
  void InsertPolicy(int groupId, const std::vector<ULONGLONG>& combinations);
  int InsertRow(const ListRow& row);
  int TokenImage(int pass, size_t position);
  std::int32_t RoleOfGroup(int groupId) const;
  int GroupOfRole(std::int32_t role) const;
  bool ShowsGroups() const { return !LeavesOutRoleGroups() && !m_groups.empty(); }
  // The add dialog for a new combination (row -1) or for the row's; then the role's list updated.
  void RunAddDialog(std::int32_t role, int row);
  void SetDeleteIcon(int row, bool visible, bool hot);
  void RefreshDeleteIcon(int row);
  int Ask(UINT text, UINT type);

  AuthPolicyEditorArgs m_args;
  policy::CRoleSettingsTable m_roles;
  std::vector<ULONGLONG> m_custom;
  IAuthPolicyEditorView* m_view = nullptr;
  std::u16string m_infoTip;
  std::u16string m_addLinkText;
  int m_imgJoiner = -1, m_imgDelete = -1, m_imgDeleteHot = -1, m_imgNoAuth = -1;
  static constexpr int kNoImageYet = -2;
  std::vector<int> m_tokenImages[2];  // each primary and each secondary token's image, or kNoImageYet
  struct Group {
    std::int32_t role;
    int groupId;
  };
  std::vector<Group> m_groups;
  std::vector<Row> m_rows;
  Point m_lastRClick;
};

}  // namespace vx::pages

// The pages' presenters without windows: views that keep no pixels, and message boxes that answer by
// themselves and remember what they said, so that the command line takes the pages' own decisions.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "pages/auth_policy_page.h"
#include "pages/enrollment_page.h"
#include "platform/ui.h"

namespace vx::vxpolicy {

// A question is answered Yes (or OK); every box is kept for the report.
class CHeadlessMessages final : public platform::IMessageBox {
 public:
  struct Shown {
    std::u16string text;
    UINT type = 0;
  };
  int Show(HWND owner, std::u16string_view text, std::u16string_view caption, UINT type) override;
  std::vector<Shown> shown;
};

// The language texts the presenters use, from the en-US string table compiled into the tool.
class CToolStrings final : public platform::IStringTable {
 public:
  std::u16string LoadText(UINT id) override;
};

// The authentication policy page without its window. Each add dialog the page opens is handed to
// composer, which picks the credentials and answers the dialog's ending code.
class CHeadlessPageView final : public pages::IAuthPolicyPageView {
 public:
  std::function<int(pages::CAuthPolicyAdd&, pages::IAuthPolicyAddView&)> composer;

  HWND Owner() override { return nullptr; }
  int AddIcon(UINT) override { return -1; }
  int AddTokenIcon(const pages::PageToken&) override { return -1; }
  void SetTitle(const std::u16string&) override {}
  void SetAddLink(const std::u16string&) override {}
  void SetEnforcementLink(const std::u16string&) override {}
  void ShowEnforcementLink(bool) override {}
  std::u16string FormatDateTime(double) override { return {}; }
  void SetRedraw(bool) override {}
  bool DeleteAllRows() override { return true; }
  void RemoveAllGroups() override {}
  bool InsertGroup(int, const std::u16string&) override { return true; }
  void EnableGroupView(bool) override {}
  int InsertRow(const pages::ListRow&) override { return m_rows++; }
  bool SetSubItem(int, int, const std::u16string&, int) override { return true; }
  void SetSubItemImage(int, int, int) override {}
  void DeleteRow(int) override { --m_rows; }
  void SelectRow(int) override {}
  int SelectedRow() override { return -1; }
  void AutoSizeColumns() override {}
  void RedrawList() override {}
  pages::ListHit HitTest(pages::Point) override { return {}; }
  pages::ListHit SubItemHitTest(pages::Point) override { return {}; }
  pages::Rect RowBounds(int) override { return {}; }
  int IconWidth() override { return 0; }
  pages::Point CursorInList() override { return {-1, -1}; }
  void ShowContextMenu(std::span<const UINT>, bool, pages::Point) override {}
  int RunAddDialog(pages::CAuthPolicyAdd& dialog) override;
  int RunEnforcementDialog(pages::CAuthPolicyAdvanced&) override { return IDCANCEL; }
  void SetModified(bool) override {}
  void CheckStateRadio(UINT) override {}
  void EnableStateRadios(bool) override {}
  void EnableEditing(bool) override {}
  void NotifyConsole() override {}
  void Broadcast(std::uintptr_t, std::intptr_t) override {}

 private:
  int m_rows = 0;
};

// The add-credential dialog without its window: what it ended with.
class CHeadlessAddView final : public pages::IAuthPolicyAddView {
 public:
  HWND Owner() override { return nullptr; }
  int AddIcon(UINT) override { return -1; }
  int AddTokenIcon(const pages::PageToken&) override { return -1; }
  void SetTitle(const std::u16string&) override {}
  void ShowRoleChoice(bool) override {}
  void SetRoles(const std::vector<pages::ComboItem>&, int) override {}
  void SetRoleLabel(const std::u16string&) override {}
  void SetPrompt(const std::u16string&) override {}
  void ShowDeleteButton(bool) override {}
  void EnableOk(bool) override {}
  void SetPrimaryItems(const std::vector<pages::ComboItem>&, int) override {}
  void SetSecondaryItems(const std::vector<pages::ComboItem>&, int) override {}
  void ShowSecondary(bool) override {}
  void End(int code) override { ended = code; }
  int ended = 0;
};

// The enrollment page without its window: its rows and their ticks.
class CHeadlessEnrollmentView final : public pages::IEnrollmentPageView {
 public:
  struct Row {
    ULONGLONG mask = 0;
    bool ticked = false;
  };
  HWND Owner() override { return nullptr; }
  int AddTokenIcon(const pages::PageToken&) override { return -1; }
  void SetPrompt(const std::u16string&) override {}
  void AppendItem(const std::u16string&, int, ULONGLONG mask, bool ticked) override { rows.push_back({mask, ticked}); }
  void SetTicked(int row, bool ticked) override { rows[static_cast<size_t>(row)].ticked = ticked; }
  pages::ListHit HitTest(pages::Point) override { return {}; }
  void CheckStateRadio(UINT) override {}
  void EnableControls(bool) override {}
  void SetModified(bool) override {}
  void NotifyConsole() override {}
  void Broadcast(std::uintptr_t, std::intptr_t) override {}
  std::vector<Row> rows;
};

}  // namespace vx::vxpolicy

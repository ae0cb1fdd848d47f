// The authentication policy page's window: the page template of the language resources in the DLL's
// activation context, its list subclassed for the keys (CPoliciesCtrl), and every message forwarded
// to CAuthPolicyPage, whose view calls this window carries out.
#pragma once

#include <windows.h>

#include <commctrl.h>
#include <prsht.h>

#include <memory>

#include "pages/auth_policy_page.h"
#include "pages/win32/page_modules.h"

namespace vx::pages {

class CAuthPolicyPageWindow final : public IAuthPolicyPageView {
 public:
  // The page for the sheet; it owns the presenter and frees the console's notification handle when
  // the sheet releases it.
  static HPROPSHEETPAGE Create(std::unique_ptr<CAuthPolicyPage> presenter, LONG_PTR notifyHandle, LPARAM notifyParam);

  ~CAuthPolicyPageWindow() override;  // when the sheet releases the page

  HWND Owner() override { return m_page; }
  int AddIcon(UINT resourceId) override;
  int AddTokenIcon(const PageToken& token) override;
  void SetTitle(const std::u16string& text) override;
  void SetAddLink(const std::u16string& markup) override;
  void SetEnforcementLink(const std::u16string& markup) override;
  void ShowEnforcementLink(bool visible) override;
  std::u16string FormatDateTime(double oleDate) override;
  void SetRedraw(bool redraw) override;
  bool DeleteAllRows() override;
  void RemoveAllGroups() override;
  bool InsertGroup(int groupId, const std::u16string& header) override;
  void EnableGroupView(bool enable) override;
  int InsertRow(const ListRow& row) override;
  bool SetSubItem(int row, int subItem, const std::u16string& text, int image) override;
  void SetSubItemImage(int row, int subItem, int image) override;
  void DeleteRow(int row) override;
  void SelectRow(int row) override;
  int SelectedRow() override;
  void AutoSizeColumns() override;
  void RedrawList() override;
  ListHit HitTest(Point point) override;
  ListHit SubItemHitTest(Point point) override;
  Rect RowBounds(int row) override;
  int IconWidth() override;
  Point CursorInList() override;
  void ShowContextMenu(std::span<const UINT> commands, bool firstIsDefault, Point point) override;
  int RunAddDialog(CAuthPolicyAdd& dialog) override;
  int RunEnforcementDialog(CAuthPolicyAdvanced& dialog) override;
  void SetModified(bool modified) override;
  void CheckStateRadio(UINT id) override;
  void EnableStateRadios(bool enabled) override;
  void EnableEditing(bool enabled) override;
  void NotifyConsole() override;
  void Broadcast(std::uintptr_t wParam, std::intptr_t lParam) override;

 private:
  CAuthPolicyPageWindow(std::unique_ptr<CAuthPolicyPage> presenter, LONG_PTR notifyHandle, LPARAM notifyParam);
  static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  static LRESULT CALLBACK ListProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id, DWORD_PTR data);
  void OnInitDialog(HWND window);
  INT_PTR OnNotify(NMHDR* header);
  INT_PTR OnListNotify(NMHDR* header);
  void OnDestroy();

  std::unique_ptr<CAuthPolicyPage> m_presenter;
  LONG_PTR m_notifyHandle;
  LPARAM m_notifyParam;
  HWND m_page = nullptr;
  HWND m_list = nullptr;
  HIMAGELIST m_images = nullptr;       // 32x32: rows, the joiner, the delete icons
  CTokenImages m_tokenImages{true};  // drawn when their rows first paint
  HIMAGELIST m_groupImages = nullptr;  // 24x24: group headers
  HFONT m_boldFont = nullptr;
  HICON m_headerIcon = nullptr;
};

}  // namespace vx::pages

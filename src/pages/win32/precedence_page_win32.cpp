#include "pages/win32/precedence_page_win32.h"

#include <commctrl.h>
#include <uxtheme.h>

#include "pages/win32/page_modules.h"
#include "platform/text.h"

namespace vx::pages {

HPROPSHEETPAGE CPrecedencePageWindow::Create(std::unique_ptr<CPrecedencePolicyPage> presenter) {
  return CreateOwningPage(new CPrecedencePageWindow(std::move(presenter)), IDD_PRECEDENCE_PAGE, IDS_PRECEDENCE_TITLE,
                          DialogProc);
}

INT_PTR CALLBACK CPrecedencePageWindow::DialogProc(HWND window, UINT message, WPARAM, LPARAM lParam) {
  if (message != WM_INITDIALOG) return FALSE;
  auto* self = reinterpret_cast<CPrecedencePageWindow*>(reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
  self->m_page = window;
  self->m_list = ::GetDlgItem(window, IDC_PRECEDENCE_LIST);
  constexpr DWORD kStyles = LVS_EX_FULLROWSELECT | LVS_EX_INFOTIP | LVS_EX_LABELTIP | LVS_EX_DOUBLEBUFFER;
  ListView_SetExtendedListViewStyleEx(self->m_list, kStyles, kStyles);
  self->m_presenter->OnInitDialog(*self);
  for (HWND child = ::GetWindow(window, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT))
    ::SetWindowTheme(child, L"Explorer", nullptr);
  return TRUE;
}

void CPrecedencePageWindow::SetHeading(const std::u16string& text) {
  ::SetDlgItemTextW(m_page, IDC_PROMPT, AsWide(text));
}

void CPrecedencePageWindow::SetColumn(const std::u16string& title) {
  RECT client{};
  ::GetClientRect(m_list, &client);
  LVCOLUMNW column{};
  column.mask = LVCF_FMT | LVCF_TEXT | LVCF_WIDTH;
  column.fmt = LVCFMT_LEFT;
  column.cx = client.right - client.left;
  column.pszText = const_cast<LPWSTR>(AsWide(title));
  ListView_InsertColumn(m_list, 0, &column);
}

void CPrecedencePageWindow::SetGpos(const std::vector<std::u16string>& names) {
  for (const std::u16string& name : names) {
    LVITEMW item{};
    item.mask = LVIF_TEXT;
    item.iItem = ListView_GetItemCount(m_list);
    item.pszText = const_cast<LPWSTR>(AsWide(name));
    ListView_InsertItem(m_list, &item);
  }
}

}  // namespace vx::pages

#include "pages/win32/auth_policy_advanced_win32.h"

#include <commctrl.h>

#include "pages/win32/page_modules.h"
#include "platform/text.h"

namespace vx::pages {

int CAuthPolicyAdvancedWindow::Run(HWND owner, CAuthPolicyAdvanced& dialog) {
  CActivationScope activation;
  CAuthPolicyAdvancedWindow window(dialog);
  return static_cast<int>(::DialogBoxParamW(CurrentPageModules().resources, MAKEINTRESOURCEW(IDD_ENFORCEMENT), owner,
                                            DialogProc, reinterpret_cast<LPARAM>(&window)));
}

INT_PTR CALLBACK CAuthPolicyAdvancedWindow::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    auto* self = reinterpret_cast<CAuthPolicyAdvancedWindow*>(lParam);
    ::SetWindowLongPtrW(window, DWLP_USER, lParam);
    self->m_window = window;
    self->m_presenter.OnInitDialog(*self);
    return TRUE;
  }
  auto* self = reinterpret_cast<CAuthPolicyAdvancedWindow*>(::GetWindowLongPtrW(window, DWLP_USER));
  if (self == nullptr || message != WM_COMMAND) return FALSE;
  const WORD id = LOWORD(wParam);
  if (id == IDC_ENFORCE_MODE && HIWORD(wParam) == CBN_SELCHANGE) self->m_presenter.OnEnforcePolicySelChange();
  if (id == IDOK || id == IDCANCEL) self->m_presenter.OnCloseCmd(id);
  return TRUE;
}

void CAuthPolicyAdvancedWindow::Fill(int control, const std::vector<ComboItem>& items, int selected) {
  HWND combo = ::GetDlgItem(m_window, control);
  ::SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (const ComboItem& item : items) {
    const auto index = ::SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(AsWide(item.text)));
    ::SendMessageW(combo, CB_SETITEMDATA, static_cast<WPARAM>(index), static_cast<LPARAM>(item.data));
  }
  ::SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(selected), 0);
}

void CAuthPolicyAdvancedWindow::SetChoices(const std::vector<ComboItem>& items, int selected) {
  Fill(IDC_ENFORCE_MODE, items, selected);
}

int CAuthPolicyAdvancedWindow::SelectedChoice() {
  return static_cast<int>(::SendDlgItemMessageW(m_window, IDC_ENFORCE_MODE, CB_GETCURSEL, 0, 0));
}

void CAuthPolicyAdvancedWindow::SetEarliestTime(const SYSTEMTIME& time) {
  SYSTEMTIME range[2] = {time, {}};
  ::SendDlgItemMessageW(m_window, IDC_ENFORCE_DATE, DTM_SETRANGE, GDTR_MIN, reinterpret_cast<LPARAM>(range));
}

void CAuthPolicyAdvancedWindow::SetPickedTime(const SYSTEMTIME& time) {
  for (int id : {IDC_ENFORCE_DATE, IDC_ENFORCE_TIME})
    ::SendDlgItemMessageW(m_window, id, DTM_SETSYSTEMTIME, GDT_VALID, reinterpret_cast<LPARAM>(&time));
}

bool CAuthPolicyAdvancedWindow::PickedTime(SYSTEMTIME& time) {
  SYSTEMTIME day{}, clock{};
  if (::SendDlgItemMessageW(m_window, IDC_ENFORCE_DATE, DTM_GETSYSTEMTIME, 0, reinterpret_cast<LPARAM>(&day)) !=
          GDT_VALID ||
      ::SendDlgItemMessageW(m_window, IDC_ENFORCE_TIME, DTM_GETSYSTEMTIME, 0, reinterpret_cast<LPARAM>(&clock)) !=
          GDT_VALID)
    return false;
  time = day;  // the day of one picker, the time of day of the other
  time.wHour = clock.wHour;
  time.wMinute = clock.wMinute;
  time.wSecond = clock.wSecond;
  time.wMilliseconds = 0;
  return true;
}

void CAuthPolicyAdvancedWindow::ShowDateControls(bool visible) {
  for (int id :
       {IDC_ENFORCE_DATE_LABEL, IDC_ENFORCE_DATE, IDC_ENFORCE_TIME, IDC_ENFORCE_BASIS_LABEL, IDC_ENFORCE_BASIS})
    ::ShowWindow(::GetDlgItem(m_window, id), visible ? SW_SHOW : SW_HIDE);
}

void CAuthPolicyAdvancedWindow::SetTimeBases(const std::vector<ComboItem>& items, int selected) {
  Fill(IDC_ENFORCE_BASIS, items, selected);
}

}  // namespace vx::pages

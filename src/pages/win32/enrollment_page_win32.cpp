#include "pages/win32/enrollment_page_win32.h"

#include <uxtheme.h>

#include "platform/text.h"

namespace vx::pages {

namespace {

constexpr int kImageSize = 16;

// A list-view notification's answer goes back through the dialog's message result.
INT_PTR Answer(HWND page, LRESULT result) {
  ::SetWindowLongPtrW(page, DWLP_MSGRESULT, result);
  return TRUE;
}

}  // namespace

HPROPSHEETPAGE CEnrollmentPageWindow::Create(std::unique_ptr<CEnrollmentPolicyPage> presenter, LONG_PTR notifyHandle,
                                             LPARAM notifyParam) {
  return CreateOwningPage(new CEnrollmentPageWindow(std::move(presenter), notifyHandle, notifyParam),
                          IDD_ENROLLMENT_PAGE, 0, DialogProc);
}

CEnrollmentPageWindow::~CEnrollmentPageWindow() {
  FreeNotifyHandle(m_notifyHandle);
  if (m_images) ImageList_Destroy(m_images);
  if (m_headerIcon) ::DestroyIcon(m_headerIcon);
}

INT_PTR CALLBACK CEnrollmentPageWindow::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    auto* self = reinterpret_cast<CEnrollmentPageWindow*>(reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
    ::SetWindowLongPtrW(window, DWLP_USER, reinterpret_cast<LONG_PTR>(self));
    self->OnInitDialog(window);
    return TRUE;
  }
  auto* self = reinterpret_cast<CEnrollmentPageWindow*>(::GetWindowLongPtrW(window, DWLP_USER));
  if (self == nullptr) return FALSE;
  if (message == WM_NOTIFY) return self->OnNotify(reinterpret_cast<NMHDR*>(lParam));
  if (message == WM_COMMAND && HIWORD(wParam) == BN_CLICKED && LOWORD(wParam) >= IDC_NOT_CONFIGURED &&
      LOWORD(wParam) <= IDC_DISABLED) {
    self->m_presenter->OnStateRadio(LOWORD(wParam));
    return TRUE;
  }
  return FALSE;
}

void CEnrollmentPageWindow::OnInitDialog(HWND window) {
  m_page = window;
  m_list = ::GetDlgItem(window, IDC_TOKENS_LIST);
  ::SetWindowLongPtrW(m_list, GWL_STYLE, ::GetWindowLongPtrW(m_list, GWL_STYLE) | LVS_SHAREIMAGELISTS);
  constexpr DWORD kStyles = LVS_EX_CHECKBOXES | LVS_EX_INFOTIP | LVS_EX_LABELTIP | LVS_EX_DOUBLEBUFFER;
  ListView_SetExtendedListViewStyleEx(m_list, kStyles, kStyles);
  m_images = ImageList_Create(kImageSize, kImageSize, ILC_COLOR32 | ILC_MASK, 8, 8);
  ListView_SetImageList(m_list, m_images, LVSIL_SMALL);
  LVCOLUMNW column{};
  column.mask = LVCF_WIDTH;
  RECT client{};
  ::GetClientRect(m_list, &client);
  column.cx = client.right - client.left;
  ListView_InsertColumn(m_list, 0, &column);
  m_headerIcon = LoadResourceIcon(IDI_PAGE_HEADER, 32);
  ::SendDlgItemMessageW(window, IDC_HEADER_ICON, STM_SETICON, reinterpret_cast<WPARAM>(m_headerIcon), 0);
  m_presenter->OnInitDialog(*this);
  for (HWND child = ::GetWindow(window, GW_CHILD); child; child = ::GetWindow(child, GW_HWNDNEXT))
    ::SetWindowTheme(child, L"Explorer", nullptr);
}

INT_PTR CEnrollmentPageWindow::OnNotify(NMHDR* header) {
  if (header->code == PSN_APPLY)
    return Answer(m_page, m_presenter->OnApply() ? PSNRET_NOERROR : PSNRET_INVALID_NOCHANGEPAGE);
  if (header->idFrom != IDC_TOKENS_LIST) return FALSE;
  const auto* change = reinterpret_cast<NMLISTVIEW*>(header);
  switch (header->code) {
    case LVN_ITEMCHANGING: {
      const bool allowed = !(change->uChanged & LVIF_STATE) ||
                           m_presenter->OnItemChanging(change->iItem, change->uOldState, change->uNewState);
      return Answer(m_page, allowed ? FALSE : TRUE);
    }
    case LVN_ITEMCHANGED:
      if (change->uChanged & LVIF_STATE)
        m_presenter->OnTokensItemChanged(change->iItem, change->uOldState, change->uNewState);
      return TRUE;
    case NM_CLICK: {
      const auto* click = reinterpret_cast<NMITEMACTIVATE*>(header);
      m_presenter->OnClick({click->ptAction.x, click->ptAction.y});
      return TRUE;
    }
    default:
      return FALSE;
  }
}

// ---- the view

int CEnrollmentPageWindow::AddTokenIcon(const PageToken& token) {
  return m_tokenImages.Add(m_images, token, kImageSize);
}

void CEnrollmentPageWindow::SetPrompt(const std::u16string& text) {
  ::SetDlgItemTextW(m_page, IDC_PROMPT, AsWide(text));
}

void CEnrollmentPageWindow::AppendItem(const std::u16string& text, int image, ULONGLONG mask, bool ticked) {
  LVITEMW item{};
  item.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM;
  item.iItem = ListView_GetItemCount(m_list);
  item.pszText = const_cast<LPWSTR>(AsWide(text));
  item.iImage = image;
  item.lParam = static_cast<LPARAM>(mask);
  const int row = ListView_InsertItem(m_list, &item);
  if (row >= 0) ListView_SetCheckState(m_list, row, ticked ? TRUE : FALSE);
}

void CEnrollmentPageWindow::SetTicked(int row, bool ticked) {
  ListView_SetCheckState(m_list, row, ticked ? TRUE : FALSE);
}

ListHit CEnrollmentPageWindow::HitTest(Point point) {
  LVHITTESTINFO hit{};
  hit.pt = {point.x, point.y};
  const int row = ListView_HitTest(m_list, &hit);
  return {row, 0, hit.flags};
}

void CEnrollmentPageWindow::CheckStateRadio(UINT id) {
  ::CheckRadioButton(m_page, IDC_NOT_CONFIGURED, IDC_DISABLED, static_cast<int>(id));
}

void CEnrollmentPageWindow::EnableControls(bool enabled) {
  for (int id : {IDC_NOT_CONFIGURED, IDC_ENABLED, IDC_DISABLED, IDC_TOKENS_LIST})
    ::EnableWindow(::GetDlgItem(m_page, id), enabled);
}

void CEnrollmentPageWindow::SetModified(bool modified) { SetPageModified(m_page, modified); }

void CEnrollmentPageWindow::NotifyConsole() { PropertyChangeNotify(m_notifyHandle, m_notifyParam); }

void CEnrollmentPageWindow::Broadcast(std::uintptr_t wParam, std::intptr_t lParam) {
  BroadcastPolicyChange(wParam, lParam);
}

}  // namespace vx::pages

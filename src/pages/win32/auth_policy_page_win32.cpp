#include "pages/win32/auth_policy_page_win32.h"

#include <uxtheme.h>

#include <algorithm>
#include <cwchar>

#include "pages/ole_date.h"
#include "pages/win32/auth_policy_add_win32.h"
#include "pages/win32/auth_policy_advanced_win32.h"
#include "pages/win32/page_modules.h"
#include "platform/text.h"

#ifndef LVSIL_GROUPHEADER
#define LVSIL_GROUPHEADER 3
#endif

namespace vx::pages {

namespace {

constexpr int kRowImageSize = 32;
constexpr int kGroupImageSize = 24;
constexpr UINT_PTR kListSubclass = 1;
constexpr COLORREF kNoticeColour = 0x0000FF;  // red

}  // namespace

HPROPSHEETPAGE CAuthPolicyPageWindow::Create(std::unique_ptr<CAuthPolicyPage> presenter, LONG_PTR notifyHandle,
                                             LPARAM notifyParam) {
  return CreateOwningPage(new CAuthPolicyPageWindow(std::move(presenter), notifyHandle, notifyParam),
                          IDD_AUTH_POLICY_PAGE, 0, DialogProc);
}

CAuthPolicyPageWindow::CAuthPolicyPageWindow(std::unique_ptr<CAuthPolicyPage> presenter, LONG_PTR notifyHandle,
                                             LPARAM notifyParam)
    : m_presenter(std::move(presenter)), m_notifyHandle(notifyHandle), m_notifyParam(notifyParam) {}

CAuthPolicyPageWindow::~CAuthPolicyPageWindow() {
  FreeNotifyHandle(m_notifyHandle);
  if (m_images) ImageList_Destroy(m_images);
  if (m_groupImages) ImageList_Destroy(m_groupImages);
  if (m_boldFont) ::DeleteObject(m_boldFont);
  if (m_headerIcon) ::DestroyIcon(m_headerIcon);
}

INT_PTR CALLBACK CAuthPolicyPageWindow::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    auto* self = reinterpret_cast<CAuthPolicyPageWindow*>(reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
    ::SetWindowLongPtrW(window, DWLP_USER, reinterpret_cast<LONG_PTR>(self));
    self->OnInitDialog(window);
    return TRUE;
  }
  auto* self = reinterpret_cast<CAuthPolicyPageWindow*>(::GetWindowLongPtrW(window, DWLP_USER));
  if (self == nullptr) return FALSE;
  static const UINT updateView = ::RegisterWindowMessageW(L"WM_KELT_UPDATEVIEW");
  switch (message) {
    case WM_NOTIFY:
      return self->OnNotify(reinterpret_cast<NMHDR*>(lParam));
    case WM_COMMAND: {
      const UINT id = LOWORD(wParam);
      if (HIWORD(wParam) == BN_CLICKED && id >= IDC_NOT_CONFIGURED && id <= IDC_DISABLED) {
        self->m_presenter->OnStateRadio(id);
      } else if (id == ID_POLICY_EDIT || id == ID_POLICY_DELETE || id == ID_POLICY_ADD) {
        self->m_presenter->OnCommand(id);
      }
      return TRUE;
    }
    case WM_CTLCOLORSTATIC:
      if (reinterpret_cast<HWND>(lParam) != ::GetDlgItem(window, IDC_NOTICE)) return FALSE;
      ::SetTextColor(reinterpret_cast<HDC>(wParam), kNoticeColour);
      ::SetBkMode(reinterpret_cast<HDC>(wParam), TRANSPARENT);
      return reinterpret_cast<INT_PTR>(::GetStockObject(NULL_BRUSH));
    case WM_SETCURSOR:
      // Leaving the rows for another window or the scroll bar: the selected row's delete icon
      // loses its highlight.
      if (HIWORD(lParam) == WM_MOUSEMOVE &&
          (reinterpret_cast<HWND>(wParam) != self->m_list || LOWORD(lParam) == HTVSCROLL))
        self->m_presenter->OnSetCursorOutsideItems();
      return FALSE;
    case WM_DESTROY:
      self->OnDestroy();
      return FALSE;
    default:
      if (message == updateView && updateView != 0) {
        self->m_presenter->OnUpdateView();
        return TRUE;
      }
      return FALSE;
  }
}

LRESULT CALLBACK CAuthPolicyPageWindow::ListProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                                 DWORD_PTR data) {
  // CPoliciesCtrl: the page acts on the key, and the list still gets it.
  if (message == WM_KEYDOWN)
    reinterpret_cast<CAuthPolicyPageWindow*>(data)->m_presenter->OnKeyDown(static_cast<UINT>(wParam));
  return ::DefSubclassProc(list, message, wParam, lParam);
}

void CAuthPolicyPageWindow::OnInitDialog(HWND window) {
  m_page = window;
  m_list = ::GetDlgItem(window, IDC_POLICIES_LIST);
  ::SetWindowSubclass(m_list, ListProc, kListSubclass, reinterpret_cast<DWORD_PTR>(this));
  // The page owns the image lists: the list only shares them.
  ::SetWindowLongPtrW(m_list, GWL_STYLE, ::GetWindowLongPtrW(m_list, GWL_STYLE) | LVS_SHAREIMAGELISTS);
  m_images = ImageList_Create(kRowImageSize, kRowImageSize, ILC_COLOR32 | ILC_MASK, 16, 16);
  m_groupImages = ImageList_Create(kGroupImageSize, kGroupImageSize, ILC_COLOR32 | ILC_MASK, 2, 2);
  ListView_SetImageList(m_list, m_images, LVSIL_SMALL);
  ::SendMessageW(m_list, LVM_SETIMAGELIST, LVSIL_GROUPHEADER, reinterpret_cast<LPARAM>(m_groupImages));
  ListView_SetExtendedListViewStyle(m_list,
                                    LVS_EX_DOUBLEBUFFER | LVS_EX_INFOTIP | LVS_EX_FULLROWSELECT | LVS_EX_SUBITEMIMAGES);
  ::SetWindowTheme(m_list, L"Explorer", nullptr);
  for (int column = 0; column < 4; ++column) {
    LVCOLUMNW header{};
    header.mask = LVCF_WIDTH | LVCF_SUBITEM;
    header.cx = 40;
    header.iSubItem = column;
    ListView_InsertColumn(m_list, column, &header);
  }
  m_headerIcon = LoadResourceIcon(IDI_PAGE_HEADER, 32);
  ::SendDlgItemMessageW(window, IDC_HEADER_ICON, STM_SETICON, reinterpret_cast<WPARAM>(m_headerIcon), 0);
  LOGFONTW font{};
  const auto dialogFont = reinterpret_cast<HFONT>(::SendDlgItemMessageW(window, IDC_NOTICE, WM_GETFONT, 0, 0));
  if (dialogFont && ::GetObjectW(dialogFont, sizeof(font), &font) == sizeof(font)) {
    font.lfWeight = FW_BOLD;
    m_boldFont = ::CreateFontIndirectW(&font);
    ::SendDlgItemMessageW(window, IDC_NOTICE, WM_SETFONT, reinterpret_cast<WPARAM>(m_boldFont), FALSE);
  }
  m_presenter->OnInitDialog(*this);
}

void CAuthPolicyPageWindow::OnDestroy() {
  if (m_list) ::RemoveWindowSubclass(m_list, ListProc, kListSubclass);
}

INT_PTR CAuthPolicyPageWindow::OnNotify(NMHDR* header) {
  if (header->idFrom == IDC_POLICIES_LIST) return OnListNotify(header);
  if (header->idFrom == IDC_ADD_LINK && (header->code == NM_CLICK || header->code == NM_RETURN)) {
    m_presenter->OnPoliciesLinkClicked(0);
    return TRUE;
  }
  if (header->idFrom == IDC_ENFORCEMENT_LINK && (header->code == NM_CLICK || header->code == NM_RETURN)) {
    m_presenter->OnEnforcementLinkClicked();
    return TRUE;
  }
  if (header->code == PSN_APPLY) {
    const bool applied = m_presenter->OnApply();
    ::SetWindowLongPtrW(m_page, DWLP_MSGRESULT, applied ? PSNRET_NOERROR : PSNRET_INVALID_NOCHANGEPAGE);
    return TRUE;
  }
  return FALSE;
}

INT_PTR CAuthPolicyPageWindow::OnListNotify(NMHDR* header) {
  switch (header->code) {
    case NM_CLICK: {
      const auto* click = reinterpret_cast<NMITEMACTIVATE*>(header);
      m_presenter->OnClick({click->ptAction.x, click->ptAction.y});
      return TRUE;
    }
    case NM_RCLICK: {
      const auto* click = reinterpret_cast<NMITEMACTIVATE*>(header);
      m_presenter->OnRClick(click->iItem, {click->ptAction.x, click->ptAction.y});
      return TRUE;
    }
    case LVN_HOTTRACK: {
      const auto* track = reinterpret_cast<NMLISTVIEW*>(header);
      m_presenter->OnHotTrack(track->iItem, {track->ptAction.x, track->ptAction.y});
      ::SetWindowLongPtrW(m_page, DWLP_MSGRESULT, 0);
      return TRUE;
    }
    case LVN_ITEMCHANGING: {
      const auto* change = reinterpret_cast<NMLISTVIEW*>(header);
      bool allowed = true;
      if (change->uChanged & LVIF_STATE)
        allowed = m_presenter->OnItemChanging(change->iItem, change->uOldState, change->uNewState);
      ::SetWindowLongPtrW(m_page, DWLP_MSGRESULT, allowed ? FALSE : TRUE);
      return TRUE;
    }
    case LVN_ITEMCHANGED: {
      const auto* change = reinterpret_cast<NMLISTVIEW*>(header);
      if (change->uChanged & LVIF_STATE)
        m_presenter->OnItemChanged(change->iItem, change->uOldState, change->uNewState);
      return TRUE;
    }
    case LVN_GETINFOTIPW: {
      auto* tip = reinterpret_cast<NMLVGETINFOTIPW*>(header);
      const std::u16string& text = m_presenter->InfoTip();
      if (!text.empty() && tip->pszText && tip->cchTextMax > 0) {
        const size_t count = std::min<size_t>(text.size(), static_cast<size_t>(tip->cchTextMax) - 1);
        std::wmemcpy(tip->pszText, AsWide(text), count);
        tip->pszText[count] = L'\0';
      }
      return TRUE;
    }
    case NM_CUSTOMDRAW: {  // a row about to paint: its token icons drawn into their slots first
      const auto* draw = reinterpret_cast<NMLVCUSTOMDRAW*>(header);
      LRESULT result = CDRF_DODEFAULT;
      if (draw->nmcd.dwDrawStage == CDDS_PREPAINT) {
        result = CDRF_NOTIFYITEMDRAW;
      } else if (draw->nmcd.dwDrawStage == CDDS_ITEMPREPAINT) {
        for (int column : {0, 2}) {
          LVITEMW item{};
          item.mask = LVIF_IMAGE;
          item.iItem = static_cast<int>(draw->nmcd.dwItemSpec);
          item.iSubItem = column;
          if (ListView_GetItem(m_list, &item) && item.iImage >= 0) m_tokenImages.Realise(m_images, item.iImage);
        }
      }
      ::SetWindowLongPtrW(m_page, DWLP_MSGRESULT, result);
      return TRUE;
    }
    case NM_SETFOCUS:
      m_presenter->OnListSetFocus();
      return TRUE;
    case LVN_LINKCLICK:  // a role group's task link
      m_presenter->OnPoliciesLinkClicked(reinterpret_cast<NMLVLINK*>(header)->iSubItem);
      return TRUE;
    default:
      return FALSE;
  }
}

// ---- the view

int CAuthPolicyPageWindow::AddIcon(UINT resourceId) { return AddResourceIcon(m_images, resourceId, kRowImageSize); }

int CAuthPolicyPageWindow::AddTokenIcon(const PageToken& token) {
  return m_tokenImages.Add(m_images, token, kRowImageSize);
}

void CAuthPolicyPageWindow::SetTitle(const std::u16string& text) {
  ::SetDlgItemTextW(m_page, IDC_PAGE_TITLE, AsWide(text));
}

void CAuthPolicyPageWindow::SetAddLink(const std::u16string& markup) {
  ::SetDlgItemTextW(m_page, IDC_ADD_LINK, AsWide(markup));
}

void CAuthPolicyPageWindow::SetEnforcementLink(const std::u16string& markup) {
  ::SetDlgItemTextW(m_page, IDC_ENFORCEMENT_LINK, AsWide(markup));
}

void CAuthPolicyPageWindow::ShowEnforcementLink(bool visible) {
  ::ShowWindow(::GetDlgItem(m_page, IDC_ENFORCEMENT_LINK), visible ? SW_SHOW : SW_HIDE);
}

std::u16string CAuthPolicyPageWindow::FormatDateTime(double oleDate) {
  SYSTEMTIME time{};
  if (!OleDateToSystemTime(oleDate, time)) return {};
  wchar_t date[80] = {}, clock[80] = {};
  ::GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &time, nullptr, date, 80);
  ::GetTimeFormatW(LOCALE_USER_DEFAULT, TIME_NOSECONDS, &time, nullptr, clock, 80);
  return std::u16string(AsU16(date)) + u" " + AsU16(clock);
}

void CAuthPolicyPageWindow::SetRedraw(bool redraw) {
  ::SendMessageW(m_list, WM_SETREDRAW, redraw ? TRUE : FALSE, 0);
  if (redraw) ::RedrawWindow(m_list, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN);
}

bool CAuthPolicyPageWindow::DeleteAllRows() { return ListView_DeleteAllItems(m_list) != FALSE; }

void CAuthPolicyPageWindow::RemoveAllGroups() { ListView_RemoveAllGroups(m_list); }

bool CAuthPolicyPageWindow::InsertGroup(int groupId, const std::u16string& header) {
  LVGROUP group{};
  group.cbSize = sizeof(group);
  group.mask = LVGF_HEADER | LVGF_GROUPID | LVGF_STATE;
  group.pszHeader = const_cast<LPWSTR>(AsWide(header));
  group.iGroupId = groupId;
  group.stateMask = group.state = LVGS_COLLAPSIBLE;
  return ListView_InsertGroup(m_list, -1, &group) >= 0;
}

void CAuthPolicyPageWindow::EnableGroupView(bool enable) { ListView_EnableGroupView(m_list, enable ? TRUE : FALSE); }

int CAuthPolicyPageWindow::InsertRow(const ListRow& row) {
  LVITEMW item{};
  item.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM | LVIF_INDENT;
  item.iItem = ListView_GetItemCount(m_list);
  item.pszText = const_cast<LPWSTR>(AsWide(row.text));
  item.iImage = row.image >= 0 ? row.image : I_IMAGENONE;
  item.lParam = static_cast<LPARAM>(row.data);
  item.iIndent = row.indent;
  if (row.groupId > 0) {
    item.mask |= LVIF_GROUPID;
    item.iGroupId = row.groupId;
  }
  return ListView_InsertItem(m_list, &item);
}

bool CAuthPolicyPageWindow::SetSubItem(int row, int subItem, const std::u16string& text, int image) {
  LVITEMW item{};
  item.mask = LVIF_TEXT | LVIF_IMAGE;
  item.iItem = row;
  item.iSubItem = subItem;
  item.pszText = const_cast<LPWSTR>(AsWide(text));
  item.iImage = image >= 0 ? image : I_IMAGENONE;
  return ListView_SetItem(m_list, &item) != FALSE;
}

void CAuthPolicyPageWindow::SetSubItemImage(int row, int subItem, int image) {
  LVITEMW item{};
  item.mask = LVIF_IMAGE;
  item.iItem = row;
  item.iSubItem = subItem;
  item.iImage = image >= 0 ? image : I_IMAGENONE;
  ListView_SetItem(m_list, &item);
}

void CAuthPolicyPageWindow::DeleteRow(int row) { ListView_DeleteItem(m_list, row); }

void CAuthPolicyPageWindow::SelectRow(int row) {
  ListView_SetItemState(m_list, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
  ListView_EnsureVisible(m_list, row, FALSE);
}

int CAuthPolicyPageWindow::SelectedRow() { return ListView_GetNextItem(m_list, -1, LVNI_SELECTED); }

void CAuthPolicyPageWindow::AutoSizeColumns() {
  // The token columns as wide as their widest name and its icon; the joiner and delete columns hold
  // an icon alone.
  constexpr int kPadding = 12;
  const int rows = ListView_GetItemCount(m_list);
  for (int column = 0; column < 4; ++column) {
    int width = IconWidth() + kPadding;
    for (int row = 0; (column == 0 || column == 2) && row < rows; ++row) {
      wchar_t text[260] = {};
      ListView_GetItemText(m_list, row, column, text, 260);
      width = std::max(width, IconWidth() + ListView_GetStringWidth(m_list, text) + 2 * kPadding);
    }
    ListView_SetColumnWidth(m_list, column, width);
  }
}

void CAuthPolicyPageWindow::RedrawList() { ::InvalidateRect(m_list, nullptr, TRUE); }

ListHit CAuthPolicyPageWindow::HitTest(Point point) {
  LVHITTESTINFO hit{};
  hit.pt = {point.x, point.y};
  ListView_HitTest(m_list, &hit);
  return {hit.iItem, 0, hit.flags};
}

ListHit CAuthPolicyPageWindow::SubItemHitTest(Point point) {
  LVHITTESTINFO hit{};
  hit.pt = {point.x, point.y};
  if (ListView_SubItemHitTest(m_list, &hit) < 0) return {};
  return {hit.iItem, hit.iSubItem, hit.flags};
}

Rect CAuthPolicyPageWindow::RowBounds(int row) {
  RECT bounds{};
  if (!ListView_GetItemRect(m_list, row, &bounds, LVIR_BOUNDS)) return {};
  return {bounds.left, bounds.top, bounds.right, bounds.bottom};
}

int CAuthPolicyPageWindow::IconWidth() {
  int width = 0, height = 0;
  return ImageList_GetIconSize(m_images, &width, &height) ? width : kRowImageSize;
}

Point CAuthPolicyPageWindow::CursorInList() {
  POINT cursor{};
  ::GetCursorPos(&cursor);
  ::ScreenToClient(m_list, &cursor);
  return {cursor.x, cursor.y};
}

void CAuthPolicyPageWindow::ShowContextMenu(std::span<const UINT> commands, bool firstIsDefault, Point point) {
  HMENU menu = ::LoadMenuW(CurrentPageModules().resources, MAKEINTRESOURCEW(IDR_POLICIES_MENU));
  if (menu == nullptr) return;
  HMENU popup = ::GetSubMenu(menu, 0);
  // Only the offered commands stay, with no separator left at either end.
  for (int position = ::GetMenuItemCount(popup) - 1; position >= 0; --position) {
    const UINT id = ::GetMenuItemID(popup, position);
    const bool separator = id == 0;
    if (!separator && std::find(commands.begin(), commands.end(), id) == commands.end())
      ::DeleteMenu(popup, static_cast<UINT>(position), MF_BYPOSITION);
  }
  while (::GetMenuItemCount(popup) > 0 && ::GetMenuItemID(popup, 0) == 0) ::DeleteMenu(popup, 0, MF_BYPOSITION);
  for (int last = ::GetMenuItemCount(popup) - 1; last >= 0 && ::GetMenuItemID(popup, last) == 0; --last)
    ::DeleteMenu(popup, static_cast<UINT>(last), MF_BYPOSITION);
  if (firstIsDefault && !commands.empty()) ::SetMenuDefaultItem(popup, commands.front(), FALSE);
  POINT screen{point.x, point.y};
  ::ClientToScreen(m_list, &screen);
  const UINT align = ::GetSystemMetrics(SM_MENUDROPALIGNMENT) ? TPM_RIGHTALIGN | TPM_HORNEGANIMATION
                                                              : TPM_LEFTALIGN | TPM_HORPOSANIMATION;
  ::TrackPopupMenu(popup, TPM_RIGHTBUTTON | align, screen.x, screen.y, 0, m_page, nullptr);
  ::DestroyMenu(menu);
}

int CAuthPolicyPageWindow::RunAddDialog(CAuthPolicyAdd& dialog) { return CAuthPolicyAddWindow::Run(m_page, dialog); }

int CAuthPolicyPageWindow::RunEnforcementDialog(CAuthPolicyAdvanced& dialog) {
  return CAuthPolicyAdvancedWindow::Run(m_page, dialog);
}

void CAuthPolicyPageWindow::SetModified(bool modified) { SetPageModified(m_page, modified); }

void CAuthPolicyPageWindow::CheckStateRadio(UINT id) {
  ::CheckRadioButton(m_page, IDC_NOT_CONFIGURED, IDC_DISABLED, static_cast<int>(id));
}

void CAuthPolicyPageWindow::EnableStateRadios(bool enabled) {
  for (int id : {IDC_NOT_CONFIGURED, IDC_ENABLED, IDC_DISABLED}) ::EnableWindow(::GetDlgItem(m_page, id), enabled);
}

void CAuthPolicyPageWindow::EnableEditing(bool enabled) {
  for (int id : {IDC_POLICIES_LIST, IDC_ADD_LINK, IDC_ENFORCEMENT_LINK})
    ::EnableWindow(::GetDlgItem(m_page, id), enabled);
}

void CAuthPolicyPageWindow::NotifyConsole() { PropertyChangeNotify(m_notifyHandle, m_notifyParam); }

void CAuthPolicyPageWindow::Broadcast(std::uintptr_t wParam, std::intptr_t lParam) {
  BroadcastPolicyChange(wParam, lParam);
}

}  // namespace vx::pages

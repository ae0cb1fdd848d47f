#include "pages/win32/auth_policy_add_win32.h"

#include <uxtheme.h>

#include "pages/win32/page_modules.h"
#include "platform/text.h"

namespace vx::pages {

namespace {

constexpr int kImageSize = 16;  // the small icons a drop-down list shows beside its text

}  // namespace

int CAuthPolicyAddWindow::Run(HWND owner, CAuthPolicyAdd& dialog) {
  CActivationScope activation;
  CAuthPolicyAddWindow window(dialog);
  const INT_PTR code = ::DialogBoxParamW(CurrentPageModules().resources, MAKEINTRESOURCEW(IDD_AUTH_POLICY_ADD), owner,
                                         DialogProc, reinterpret_cast<LPARAM>(&window));
  return static_cast<int>(code);
}

CAuthPolicyAddWindow::~CAuthPolicyAddWindow() {
  if (m_images) ImageList_Destroy(m_images);
}

INT_PTR CALLBACK CAuthPolicyAddWindow::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    ::SetWindowLongPtrW(window, DWLP_USER, lParam);
    reinterpret_cast<CAuthPolicyAddWindow*>(lParam)->OnInitDialog(window);
    return TRUE;
  }
  auto* self = reinterpret_cast<CAuthPolicyAddWindow*>(::GetWindowLongPtrW(window, DWLP_USER));
  if (self == nullptr) return FALSE;
  if (message == WM_COMMAND) {
    self->OnCommand(LOWORD(wParam), HIWORD(wParam));
    return TRUE;
  }
  return FALSE;
}

void CAuthPolicyAddWindow::OnInitDialog(HWND window) {
  m_window = window;
  m_images = ImageList_Create(kImageSize, kImageSize, ILC_COLOR32 | ILC_MASK, 8, 8);
  for (int id : {IDC_PRIMARY_COMBO, IDC_SECONDARY_COMBO}) {
    HWND combo = ::GetDlgItem(window, id);
    ::SendMessageW(combo, CBEM_SETIMAGELIST, 0, reinterpret_cast<LPARAM>(m_images));
    ::SetWindowTheme(combo, L"Explorer", nullptr);
  }
  m_presenter.OnInitDialog(*this);
}

void CAuthPolicyAddWindow::OnCommand(WORD id, WORD code) {
  if (code == CBN_SELCHANGE) {
    const int index = static_cast<int>(::SendDlgItemMessageW(m_window, id, CB_GETCURSEL, 0, 0));
    if (id == IDC_ROLE_COMBO) m_presenter.OnRoleSelChange(index);
    if (id == IDC_PRIMARY_COMBO) m_presenter.OnPrimarySelChange(index);
    if (id == IDC_SECONDARY_COMBO) m_presenter.OnSecondarySelChange(index);
    return;
  }
  if (id == IDOK || id == IDCANCEL || id == ID_POLICY_DELETE) m_presenter.OnCloseCmd(id);
}

int CAuthPolicyAddWindow::AddIcon(UINT resourceId) { return AddResourceIcon(m_images, resourceId, kImageSize); }

int CAuthPolicyAddWindow::AddTokenIcon(const PageToken& token) {
  return m_tokenImages.Add(m_images, token, kImageSize);
}

void CAuthPolicyAddWindow::SetTitle(const std::u16string& text) { ::SetWindowTextW(m_window, AsWide(text)); }

void CAuthPolicyAddWindow::ShowRoleChoice(bool visible) {
  Show(IDC_ROLE_COMBO, visible);
  Show(IDC_ROLE_CAPTION, visible);
  Show(IDC_ROLE_LABEL, !visible);
}

void CAuthPolicyAddWindow::SetRoles(const std::vector<ComboItem>& roles, int selected) {
  HWND combo = ::GetDlgItem(m_window, IDC_ROLE_COMBO);
  ::SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (const ComboItem& role : roles)
    ::SendMessageW(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(AsWide(role.text)));
  ::SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(selected), 0);
}

void CAuthPolicyAddWindow::SetRoleLabel(const std::u16string& text) {
  ::SetDlgItemTextW(m_window, IDC_ROLE_LABEL, AsWide(text));
}

void CAuthPolicyAddWindow::SetPrompt(const std::u16string& text) {
  ::SetDlgItemTextW(m_window, IDC_PROMPT, AsWide(text));
}

void CAuthPolicyAddWindow::ShowDeleteButton(bool visible) { Show(ID_POLICY_DELETE, visible); }

void CAuthPolicyAddWindow::EnableOk(bool enabled) { ::EnableWindow(::GetDlgItem(m_window, IDOK), enabled); }

void CAuthPolicyAddWindow::FillExtended(int control, const std::vector<ComboItem>& items, int selected) {
  HWND combo = ::GetDlgItem(m_window, control);
  ::SendMessageW(combo, CB_RESETCONTENT, 0, 0);
  for (size_t i = 0; i < items.size(); ++i) {
    COMBOBOXEXITEMW item{};
    item.mask = CBEIF_TEXT | CBEIF_LPARAM | CBEIF_IMAGE | CBEIF_SELECTEDIMAGE;
    item.iItem = static_cast<INT_PTR>(i);
    item.pszText = const_cast<LPWSTR>(AsWide(items[i].text));
    item.iImage = item.iSelectedImage = items[i].image >= 0 ? items[i].image : I_IMAGENONE;
    item.lParam = static_cast<LPARAM>(items[i].data);
    ::SendMessageW(combo, CBEM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&item));
  }
  ::SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(selected), 0);
}

void CAuthPolicyAddWindow::SetPrimaryItems(const std::vector<ComboItem>& items, int selected) {
  FillExtended(IDC_PRIMARY_COMBO, items, selected);
}

void CAuthPolicyAddWindow::SetSecondaryItems(const std::vector<ComboItem>& items, int selected) {
  FillExtended(IDC_SECONDARY_COMBO, items, selected);
}

void CAuthPolicyAddWindow::ShowSecondary(bool visible) {
  Show(IDC_SECONDARY_COMBO, visible);
  Show(IDC_SECONDARY_LABEL, visible);
}

void CAuthPolicyAddWindow::End(int code) { ::EndDialog(m_window, code); }

}  // namespace vx::pages

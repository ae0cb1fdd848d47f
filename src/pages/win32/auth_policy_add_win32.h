// The add-credential dialog's window: the template of the language resources, shown modally in the
// DLL's activation context; every event goes to CAuthPolicyAdd, which decides what the window shows.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include "pages/auth_policy_add.h"
#include "pages/win32/page_modules.h"

namespace vx::pages {

class CAuthPolicyAddWindow final : public IAuthPolicyAddView {
 public:
  // Runs the dialog over owner; its ending code (IDOK, IDCANCEL or ID_POLICY_DELETE), -1 when it
  // could not be shown.
  static int Run(HWND owner, CAuthPolicyAdd& dialog);

  HWND Owner() override { return m_window; }
  int AddIcon(UINT resourceId) override;
  int AddTokenIcon(const PageToken& token) override;
  void SetTitle(const std::u16string& text) override;
  void ShowRoleChoice(bool visible) override;
  void SetRoles(const std::vector<ComboItem>& roles, int selected) override;
  void SetRoleLabel(const std::u16string& text) override;
  void SetPrompt(const std::u16string& text) override;
  void ShowDeleteButton(bool visible) override;
  void EnableOk(bool enabled) override;
  void SetPrimaryItems(const std::vector<ComboItem>& items, int selected) override;
  void SetSecondaryItems(const std::vector<ComboItem>& items, int selected) override;
  void ShowSecondary(bool visible) override;
  void End(int code) override;

 private:
  explicit CAuthPolicyAddWindow(CAuthPolicyAdd& presenter) : m_presenter(presenter) {}
  ~CAuthPolicyAddWindow();
  static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  void OnInitDialog(HWND window);
  void OnCommand(WORD id, WORD code);
  void FillExtended(int control, const std::vector<ComboItem>& items, int selected);
  void Show(int control, bool visible) { ::ShowWindow(::GetDlgItem(m_window, control), visible ? SW_SHOW : SW_HIDE); }

  CAuthPolicyAdd& m_presenter;
  HWND m_window = nullptr;
  HIMAGELIST m_images = nullptr;
  CTokenImages m_tokenImages;
};

}  // namespace vx::pages

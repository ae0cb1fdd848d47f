// The enforcement dialog's window: template 291 of the language resources, shown modally in the DLL's
// activation context; every event goes to CAuthPolicyAdvanced, which decides what the window shows.
#pragma once

#include <windows.h>

#include "pages/auth_policy_advanced.h"

namespace vx::pages {

class CAuthPolicyAdvancedWindow final : public IAuthPolicyAdvancedView {
 public:
  // Runs the dialog over owner; its ending code, -1 when it could not be shown.
  static int Run(HWND owner, CAuthPolicyAdvanced& dialog);

  HWND Owner() override { return m_window; }
  void SetChoices(const std::vector<ComboItem>& items, int selected) override;
  int SelectedChoice() override;
  void SetEarliestTime(const SYSTEMTIME& time) override;
  void SetPickedTime(const SYSTEMTIME& time) override;
  bool PickedTime(SYSTEMTIME& time) override;
  void ShowDateControls(bool visible) override;
  void SetTimeBases(const std::vector<ComboItem>& items, int selected) override;
  void End(int code) override { ::EndDialog(m_window, code); }

 private:
  explicit CAuthPolicyAdvancedWindow(CAuthPolicyAdvanced& presenter) : m_presenter(presenter) {}
  static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  void Fill(int control, const std::vector<ComboItem>& items, int selected);

  CAuthPolicyAdvanced& m_presenter;
  HWND m_window = nullptr;
};

}  // namespace vx::pages

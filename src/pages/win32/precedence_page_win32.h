// The RSoP precedence page's window: template 290 of the language resources, made in the DLL's
// activation context; it only shows what CPrecedencePolicyPage gives it.
#pragma once

#include <windows.h>

#include <prsht.h>

#include <memory>

#include "pages/precedence_page.h"

namespace vx::pages {

class CPrecedencePageWindow final : public IPrecedencePageView {
 public:
  // The page for a sheet; null (and the presenter gone) when it cannot be made.
  static HPROPSHEETPAGE Create(std::unique_ptr<CPrecedencePolicyPage> presenter);

  void SetHeading(const std::u16string& text) override;
  void SetColumn(const std::u16string& title) override;
  void SetGpos(const std::vector<std::u16string>& names) override;

 private:
  explicit CPrecedencePageWindow(std::unique_ptr<CPrecedencePolicyPage> presenter)
      : m_presenter(std::move(presenter)) {}
  static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  std::unique_ptr<CPrecedencePolicyPage> m_presenter;
  HWND m_page = nullptr;
  HWND m_list = nullptr;
};

}  // namespace vx::pages

// The explanation page's window: template 202 of the language resources, made in the DLL's
// activation context; it only shows what CExplanationPage gives it.
#pragma once

#include <windows.h>

#include <prsht.h>

#include <memory>

#include "pages/explanation_page.h"

namespace vx::pages {

class CExplanationPageWindow final : public IExplanationPageView {
 public:
  // The page for a sheet; null (and the presenter gone) when it cannot be made.
  static HPROPSHEETPAGE Create(std::unique_ptr<CExplanationPage> presenter);

  void SetHeading(const std::u16string& text) override;
  void SetExplanation(const std::u16string& text) override;

 private:
  explicit CExplanationPageWindow(std::unique_ptr<CExplanationPage> presenter) : m_presenter(std::move(presenter)) {}
  static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  std::unique_ptr<CExplanationPage> m_presenter;
  HWND m_page = nullptr;
};

}  // namespace vx::pages

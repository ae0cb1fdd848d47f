#include "pages/win32/explanation_page_win32.h"

#include "pages/win32/page_modules.h"
#include "platform/text.h"

namespace vx::pages {

HPROPSHEETPAGE CExplanationPageWindow::Create(std::unique_ptr<CExplanationPage> presenter) {
  return CreateOwningPage(new CExplanationPageWindow(std::move(presenter)), IDD_EXPLANATION_PAGE, IDS_EXPLANATION_TITLE,
                          DialogProc);
}

INT_PTR CALLBACK CExplanationPageWindow::DialogProc(HWND window, UINT message, WPARAM, LPARAM lParam) {
  if (message != WM_INITDIALOG) return FALSE;
  auto* self = reinterpret_cast<CExplanationPageWindow*>(reinterpret_cast<PROPSHEETPAGEW*>(lParam)->lParam);
  self->m_page = window;
  self->m_presenter->OnInitDialog(*self);
  return TRUE;
}

void CExplanationPageWindow::SetHeading(const std::u16string& text) {
  ::SetDlgItemTextW(m_page, IDC_PROMPT, AsWide(text));
}

void CExplanationPageWindow::SetExplanation(const std::u16string& text) {
  ::SetDlgItemTextW(m_page, IDC_EXPLANATION, AsWide(text));
}

}  // namespace vx::pages

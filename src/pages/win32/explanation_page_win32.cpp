#include "pages/win32/explanation_page_win32.h"

#include "pages/win32/page_modules.h"
#include "platform/text.h"

namespace vx::pages {

HPROPSHEETPAGE CExplanationPageWindow::Create(std::unique_ptr<CExplanationPage> presenter) {
  auto* window = new CExplanationPageWindow(std::move(presenter));
  PROPSHEETPAGEW page{};
  page.dwSize = sizeof(page);
  page.dwFlags = PSP_USECALLBACK | PSP_USETITLE;
  page.hInstance = CurrentPageModules().resources;
  page.pszTemplate = MAKEINTRESOURCEW(IDD_EXPLANATION_PAGE);
  page.pszTitle = MAKEINTRESOURCEW(IDS_EXPLANATION_TITLE);
  page.pfnDlgProc = DialogProc;
  page.pfnCallback = PageCallback;
  page.lParam = reinterpret_cast<LPARAM>(window);
  if (HANDLE context = PagesActivationContext()) {
    page.dwFlags |= PSP_USEFUSIONCONTEXT;
    page.hActCtx = context;
  }
  CActivationScope activation;
  HPROPSHEETPAGE made = ::CreatePropertySheetPageW(&page);
  if (made == nullptr) delete window;
  return made;
}

UINT CALLBACK CExplanationPageWindow::PageCallback(HWND, UINT message, PROPSHEETPAGEW* page) {
  if (message == PSPCB_RELEASE && page) delete reinterpret_cast<CExplanationPageWindow*>(page->lParam);
  return 1;
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

// The enrollment page's window: template 205 of the language resources in the DLL's activation
// context, a check-box list of the credential tokens with their icons. Every message goes to
// CEnrollmentPolicyPage, whose view calls this window carries out.
#pragma once

#include <windows.h>

#include <commctrl.h>
#include <prsht.h>

#include <memory>

#include "pages/enrollment_page.h"
#include "pages/win32/page_modules.h"

namespace vx::pages {

class CEnrollmentPageWindow final : public IEnrollmentPageView {
 public:
  // The page for a sheet; it owns the presenter and frees the console's notification handle when the
  // sheet releases it. Null (and both gone) when it cannot be made.
  static HPROPSHEETPAGE Create(std::unique_ptr<CEnrollmentPolicyPage> presenter, LONG_PTR notifyHandle,
                               LPARAM notifyParam);

  ~CEnrollmentPageWindow() override;  // when the sheet releases the page

  HWND Owner() override { return m_page; }
  int AddTokenIcon(const PageToken& token) override;
  void SetPrompt(const std::u16string& text) override;
  void AppendItem(const std::u16string& text, int image, ULONGLONG mask, bool ticked) override;
  void SetTicked(int row, bool ticked) override;
  ListHit HitTest(Point point) override;
  void CheckStateRadio(UINT id) override;
  void EnableControls(bool enabled) override;
  void SetModified(bool modified) override;
  void NotifyConsole() override;
  void Broadcast(std::uintptr_t wParam, std::intptr_t lParam) override;

 private:
  CEnrollmentPageWindow(std::unique_ptr<CEnrollmentPolicyPage> presenter, LONG_PTR notifyHandle, LPARAM notifyParam)
      : m_presenter(std::move(presenter)), m_notifyHandle(notifyHandle), m_notifyParam(notifyParam) {}
  static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  void OnInitDialog(HWND window);
  INT_PTR OnNotify(NMHDR* header);

  std::unique_ptr<CEnrollmentPolicyPage> m_presenter;
  LONG_PTR m_notifyHandle;
  LPARAM m_notifyParam;
  HWND m_page = nullptr;
  HWND m_list = nullptr;
  HIMAGELIST m_images = nullptr;
  CTokenImages m_tokenImages;
  HICON m_headerIcon = nullptr;
};

}  // namespace vx::pages

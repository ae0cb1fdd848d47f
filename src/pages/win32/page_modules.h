// What the page and dialog windows need of the module: the DLL (its manifest gives the windows
// version 6 of the common controls), the language resource module (templates, menus, icons), the
// console's property-change calls, and the system clock.
#pragma once

#include <windows.h>

#include <commctrl.h>
#include <prsht.h>

#include <cstdint>
#include <map>
#include <string>

#include "pages/page_tokens.h"
#include "platform/clock.h"

namespace vx::pages {

struct PageModules {
  HMODULE dll = nullptr;        // whose manifest (resource 2) names the common controls
  HMODULE resources = nullptr;  // the language resource module
};

// Installed at module load; until then both are the process's executable.
void InstallPageModules(const PageModules& modules);
const PageModules& CurrentPageModules();

// The activation context of the DLL's manifest, made once; null when it cannot be made (the windows
// then get whatever the console has).
HANDLE PagesActivationContext();

// Activates the DLL's context for its lifetime: windows created meanwhile use its control classes.
class CActivationScope {
 public:
  CActivationScope();
  ~CActivationScope();
  CActivationScope(const CActivationScope&) = delete;
  CActivationScope& operator=(const CActivationScope&) = delete;

 private:
  ULONG_PTR m_cookie = 0;
  bool m_active = false;
};

// A module icon of the language resources at a size; null when missing. The caller destroys it.
HICON LoadResourceIcon(UINT id, int size);
// A module icon added to an image list of that size; the index, -1 when it could not be added.
int AddResourceIcon(HIMAGELIST list, UINT id, int size);
// The token images of one image list: a token's own icon (a copy: the handle stays the plug-in's)
// added once per credential mask, else the generic credential icon, added once. A deferred list
// only reserves a token's slot and draws its icon into it when Realise() is asked for the slot
// (a list view about to paint the row): copying an icon into an image list is slow, and with many
// credentials registered most rows are never scrolled into view.
class CTokenImages {
 public:
  explicit CTokenImages(bool deferred = false) : m_deferred(deferred) {}
  int Add(HIMAGELIST list, const PageToken& token, int size);
  void Realise(HIMAGELIST list, int index);

 private:
  bool m_deferred;
  std::map<ULONGLONG, int> m_byMask;
  std::map<int, HICON> m_pending;     // slots handed out, not drawn yet
  int m_nextSlot = 0, m_endSlot = 0;  // reserved slots not handed out yet
  int m_generic = -1;
};

// MMCPropertyChangeNotify and MMCFreeNotifyHandle of the console's library, if it is loaded.
HRESULT PropertyChangeNotify(LONG_PTR handle, LPARAM param);
void FreeNotifyHandle(LONG_PTR handle);

// A property sheet page from a template of the language module (titled by a text of it, or 0 for the
// template's caption), made in the DLL's activation context; null when it cannot be made.
HPROPSHEETPAGE CreateModulePage(UINT templateId, UINT titleId, DLGPROC proc, LPFNPSPCALLBACKW callback, LPARAM param);

// The page of a window object that the page owns: deleted when the sheet releases the page, or at once
// when the page cannot be made. The dialog procedure finds the window in the PROPSHEETPAGEW's lParam.
template <class Window>
UINT CALLBACK ReleaseOwnedWindow(HWND, UINT message, PROPSHEETPAGEW* page) {
  if (message == PSPCB_RELEASE && page) delete reinterpret_cast<Window*>(page->lParam);
  return 1;
}
template <class Window>
HPROPSHEETPAGE CreateOwningPage(Window* window, UINT templateId, UINT titleId, DLGPROC proc) {
  HPROPSHEETPAGE made =
      CreateModulePage(templateId, titleId, proc, &ReleaseOwnedWindow<Window>, reinterpret_cast<LPARAM>(window));
  if (made == nullptr) delete window;  // no release callback comes for a page never made
  return made;
}

// PSM_CHANGED or PSM_UNCHANGED to the page's sheet.
void SetPageModified(HWND page, bool modified);
// Posts "KELT_BROADCAST_NOTIFICATION" to every application: a policy was applied.
void BroadcastPolicyChange(std::uintptr_t wParam, std::intptr_t lParam);

// The system clock, for the pages' dates.
platform::IClock& PagesClock();

// The text of a dialog control.
std::wstring ControlText(HWND dialog, int id);

}  // namespace vx::pages

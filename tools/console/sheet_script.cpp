#include "sheet_script.h"

#include <prsht.h>

#include "screenshot.h"

namespace vx::console {

namespace {

constexpr UINT kStepDelay = 1500;  // painted and settled
SheetScript* g_script = nullptr;
HWND g_sheet = nullptr;
int g_step = 0;

bool IsDialog(HWND window) {
  wchar_t name[16] = {};
  ::GetClassNameW(window, name, 16);
  return std::wstring(name) == L"#32770" && ::IsWindowVisible(window);
}

void Fail(HRESULT hr) {
  if (SUCCEEDED(g_script->result)) g_script->result = hr;
}

void CALLBACK Step(HWND, UINT, UINT_PTR timer, DWORD) {
  ::KillTimer(nullptr, timer);
  HWND top = FindTopDialog();
  if (top == nullptr) return Fail(HRESULT_FROM_WIN32(ERROR_NOT_FOUND));
  bool more = false;
  if (g_step == 0 && g_script->tab > 0) {  // the tab first; the shot once it has painted
    PropSheet_SetCurSel(top, nullptr, g_script->tab);
    g_script->tab = 0;
    ::SetTimer(nullptr, 0, kStepDelay / 2, Step);
    return;
  }
  if (g_step == 0) {
    g_sheet = top;
    if (!g_script->sheetShot.empty()) Fail(SaveWindowBitmap(g_sheet, g_script->sheetShot));
    if (g_script->command != 0) {
      ::PostMessageW(PropSheet_GetCurrentPageHwnd(g_sheet), WM_COMMAND, g_script->command, 0);
      more = true;
    }
  } else if (top != g_sheet && g_script->pickFirst != 0) {  // the dialog the command opened
    HWND combo = ::GetDlgItem(top, static_cast<int>(g_script->pickFirst));
    ::SendMessageW(combo, CB_SETCURSEL, 0, 0);
    ::SendMessageW(top, WM_COMMAND, MAKEWPARAM(g_script->pickFirst, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo));
    g_script->pickFirst = 0;
    more = true;
  } else if (top != g_sheet) {
    if (!g_script->dialogShot.empty()) Fail(SaveWindowBitmap(top, g_script->dialogShot));
    ::PostMessageW(top, WM_COMMAND, IDCANCEL, 0);
  } else {
    Fail(HRESULT_FROM_WIN32(ERROR_NOT_FOUND));
  }
  ++g_step;
  if (more) {
    ::SetTimer(nullptr, 0, kStepDelay, Step);
  } else if (g_script->close) {
    ::PostMessageW(g_sheet, WM_COMMAND, IDCANCEL, 0);
  }
}

}  // namespace

HWND FindTopDialog() {
  HWND found = nullptr;
  ::EnumThreadWindows(
      ::GetCurrentThreadId(),
      [](HWND window, LPARAM param) -> BOOL {
        auto* best = reinterpret_cast<HWND*>(param);
        // The enabled one: a modal dialog disables its owner.
        if (IsDialog(window) && ::IsWindowEnabled(window)) *best = window;
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&found));
  return found;
}

void StartSheetScript(SheetScript& script) {
  g_script = &script;
  g_sheet = nullptr;
  g_step = 0;
  ::SetTimer(nullptr, 0, kStepDelay, Step);
}

}  // namespace vx::console

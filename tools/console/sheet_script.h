// Steps the host takes by itself once a result item's property sheet is up: a tab chosen, a
// screenshot of the sheet, then optionally the page's add command, a first choice in the dialog it
// opens and a screenshot of that dialog, then the sheet closed. The steps run on timers of the
// host's thread, inside the sheet's and the dialog's own message loops.
#pragma once

#include <windows.h>

#include <string>

namespace vx::console {

struct SheetScript {
  std::wstring sheetShot;   // the sheet, or empty
  int tab = 0;              // the tab shown for the shot (0: the first)
  UINT command = 0;         // a WM_COMMAND for the current page after the shot, or 0
  UINT pickFirst = 0;       // a combo box of that dialog whose first item is chosen before its shot, or 0
  std::wstring dialogShot;  // the dialog that command opens, or empty
  bool close = false;       // cancel the sheet at the end
  HRESULT result = S_OK;    // the first failure of a step
};

// Arms the first step; the script must outlive the sheet.
void StartSheetScript(SheetScript& script);

// The visible modal window (#32770) of this thread that is not owner, or null.
HWND FindTopDialog();

}  // namespace vx::console

// Opens the property sheet of a result item the way the console does: the view's
// IExtendPropertySheet adds its pages through an IPropertySheetCallback of the host.
#pragma once

#include <windows.h>

#include <prsht.h>
#include <mmc.h>

#include <string>

namespace vx::console {

// S_FALSE when the item has no pages. The pages are given notifyHandle for MMCPropertyChangeNotify.
// Modal, S_OK once the sheet closed; with modelessSheet the sheet is left open and *modelessSheet is it.
HRESULT ShowPropertySheet(HWND owner, IComponent* component, MMC_COOKIE cookie, const std::wstring& title,
                          LONG_PTR notifyHandle, HWND* modelessSheet = nullptr);

}  // namespace vx::console

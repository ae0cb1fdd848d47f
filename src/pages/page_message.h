// The message boxes of the pages and dialogs: the product's caption over the owner window, through
// the reporting port; 0 when no box can be shown.
#pragma once

#include <string>

#include "platform/wintypes.h"

namespace vx::pages {

int ShowPageMessage(HWND owner, const std::u16string& text, UINT type);

}  // namespace vx::pages

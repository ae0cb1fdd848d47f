#include "pages/page_message.h"

#include "pages/page_types.h"
#include "support/error_text.h"

namespace vx::pages {

int ShowPageMessage(HWND owner, const std::u16string& text, UINT type) {
  platform::IMessageBox* box = Reporting().messageBox;
  return box ? box->Show(owner, text, rstring(IDS_MESSAGE_CAPTION), type) : 0;
}

}  // namespace vx::pages

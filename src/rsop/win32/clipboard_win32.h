// The clipboard port as the namespace transfer uses it: an item of a registered format holding the
// text as UTF-16 with one NUL in a movable global block (2 x (length + 1) bytes, no header).
#pragma once

#include "rsop/rsop_ports.h"

namespace vx::rsop {

class Win32RsopClipboard final : public IRsopClipboard {
 public:
  // Opens the clipboard with no owner, sets the item and closes it again; nothing is emptied first.
  HRESULT Put(std::u16string_view format, std::u16string_view text) override;
  // Opens the clipboard with no owner and copies the item's text up to its first NUL. The clipboard
  // is left open on purpose (see the .cpp).
  HRESULT Get(std::u16string_view format, std::u16string& text) override;
};

}  // namespace vx::rsop

#include "snapin/win32/clipboard_formats.h"

#include <windows.h>
#include <mmc.h>

namespace vx::snapin {

const ClipboardFormats& Formats() {
  // A function-local static: registered once, whichever thread gets here first.
  static const ClipboardFormats formats = [] {
    ClipboardFormats f;
    f.nodeType = RegisterClipboardFormatW(CCF_NODETYPE);
    f.szNodeType = RegisterClipboardFormatW(CCF_SZNODETYPE);
    f.displayName = RegisterClipboardFormatW(CCF_DISPLAY_NAME);
    f.snapinClassId = RegisterClipboardFormatW(CCF_SNAPIN_CLASSID);
    f.getObjectData = RegisterClipboardFormatW(L"CCF_GETOBJECTDATA");
    f.multiSelect = RegisterClipboardFormatW(CCF_MMC_MULTISELECT_DATAOBJECT);
    f.gpeInfo = RegisterClipboardFormatW(L"CCF_VX_GPEINFO");
    f.rsopUserNamespace = RegisterClipboardFormatW(L"CCF_VX_RSOP_USER_NAMESPACE");
    f.rsopMachineNamespace = RegisterClipboardFormatW(L"CCF_VX_RSOP_MACHINE_NAMESPACE");
    return f;
  }();
  return formats;
}

}  // namespace vx::snapin

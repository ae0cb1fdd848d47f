// The clipboard formats the snap-in's data objects answer: the console's standard ones and our
// private ones, registered by name once per process.
#pragma once

#include "platform/wintypes.h"

namespace vx::snapin {

struct ClipboardFormats {
  UINT nodeType = 0;          // CCF_NODETYPE: the node type GUID
  UINT szNodeType = 0;        // CCF_SZNODETYPE: the node type as text
  UINT displayName = 0;       // CCF_DISPLAY_NAME
  UINT snapinClassId = 0;     // CCF_SNAPIN_CLASSID
  UINT getObjectData = 0;     // CCF_GETOBJECTDATA
  UINT multiSelect = 0;       // CCF_MMC_MULTISELECT_DATAOBJECT
  UINT gpeInfo = 0;           // "CCF_VX_GPEINFO": the product node's GPO information pointer
  UINT rsopUserNamespace = 0;     // "CCF_VX_RSOP_USER_NAMESPACE"
  UINT rsopMachineNamespace = 0;  // "CCF_VX_RSOP_MACHINE_NAMESPACE"
};

// Registers on first use (thread-safe); the module calls it at process start as well.
const ClipboardFormats& Formats();

}  // namespace vx::snapin

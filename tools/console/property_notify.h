// How a property page reaches the console that opened it. The console hands CreatePropertyPages a
// notify handle: the address of a PropertyNotifyTarget that the host keeps until it closes. A page
// calls MMCPropertyChangeNotify(handle, param); the host's own mmcbase.dll (beside console.exe, where
// the loader looks first) posts kPropertyChangeMessage to the host window, and the host passes
// MMCN_PROPERTY_CHANGE to the snap-in object that created the pages, on its own thread.
#pragma once

#include <windows.h>

namespace vx::console {

inline constexpr DWORD kNotifyTargetMagic = 0x4E535856;  // "VXSN"
inline constexpr wchar_t kPropertyChangeMessageName[] = L"VXConsoleHost.PropertyChange";

struct PropertyNotifyTarget {
  DWORD magic = kNotifyTargetMagic;
  HWND window = nullptr;  // receives kPropertyChangeMessage(wParam: this target, lParam: param)
  int extension = -1;     // whose IComponentData (scope) or IComponent (result) hears of the change
  bool scope = true;
};

}  // namespace vx::console

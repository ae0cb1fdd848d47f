#include "platform/win32/win32_clock.h"

namespace vx::platform {

DWORD Win32Clock::GetTickCount() { return ::GetTickCount(); }

SYSTEMTIME Win32Clock::GetLocalTime() {
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  return now;
}

}  // namespace vx::platform

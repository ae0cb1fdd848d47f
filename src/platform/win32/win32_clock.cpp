#include "platform/win32/win32_clock.h"

namespace vx::platform {

namespace {

DWORD SystemTickCount() { return ::GetTickCount(); }

}  // namespace

DWORD Win32Clock::GetTickCount() { return ::GetTickCount(); }

SYSTEMTIME Win32Clock::GetLocalTime() {
  SYSTEMTIME now{};
  ::GetLocalTime(&now);
  return now;
}

IClock::TickFunction Win32Clock::TickSource() { return &SystemTickCount; }

}  // namespace vx::platform

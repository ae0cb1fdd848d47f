#include <ctime>

#include "platform/posix/posix_ports.h"

namespace vx::platform {

DWORD PosixTickCount() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &ts);
  return static_cast<DWORD>(static_cast<unsigned long long>(ts.tv_sec) * 1000u + ts.tv_nsec / 1000000);
}

DWORD PosixClock::GetTickCount() { return PosixTickCount(); }

IClock::TickFunction PosixClock::TickSource() { return &PosixTickCount; }

SYSTEMTIME PosixClock::GetLocalTime() {
  // The coarse clock has the resolution of the system tick, like GetLocalTime on Windows.
  timespec ts;
  clock_gettime(CLOCK_REALTIME_COARSE, &ts);
  // Converting to local time takes the time-zone lock: do it once a second per thread.
  thread_local time_t cachedSecond = -1;
  thread_local tm local{};
  if (ts.tv_sec != cachedSecond) {
    localtime_r(&ts.tv_sec, &local);
    cachedSecond = ts.tv_sec;
  }
  SYSTEMTIME st;
  st.wYear = static_cast<WORD>(local.tm_year + 1900);
  st.wMonth = static_cast<WORD>(local.tm_mon + 1);
  st.wDayOfWeek = static_cast<WORD>(local.tm_wday);
  st.wDay = static_cast<WORD>(local.tm_mday);
  st.wHour = static_cast<WORD>(local.tm_hour);
  st.wMinute = static_cast<WORD>(local.tm_min);
  st.wSecond = static_cast<WORD>(local.tm_sec);
  st.wMilliseconds = static_cast<WORD>(ts.tv_nsec / 1000000);
  return st;
}

}  // namespace vx::platform

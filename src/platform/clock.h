// Clock port: the millisecond tick count and the local time.
#pragma once

#include "platform/wintypes.h"

namespace vx::platform {

class IClock {
 public:
  using TickFunction = DWORD (*)();

  virtual ~IClock() = default;
  virtual DWORD GetTickCount() = 0;  // milliseconds since start, wraps after 49.7 days
  virtual SYSTEMTIME GetLocalTime() = 0;
  // A plain function giving exactly what GetTickCount gives, for the trace facility's check on every
  // traced call; clocks that keep state (test clocks) have none and are called through GetTickCount.
  virtual TickFunction TickSource() { return nullptr; }
};

}  // namespace vx::platform

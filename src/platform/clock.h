// Clock port: the millisecond tick count and the local time.
#pragma once

#include "platform/wintypes.h"

namespace vx::platform {

class IClock {
 public:
  virtual ~IClock() = default;
  virtual DWORD GetTickCount() = 0;  // milliseconds since start, wraps after 49.7 days
  virtual SYSTEMTIME GetLocalTime() = 0;
};

}  // namespace vx::platform

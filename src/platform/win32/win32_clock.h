// Clock port on the system's tick count and local time.
#pragma once

#include "platform/clock.h"

namespace vx::platform {

class Win32Clock final : public IClock {
 public:
  DWORD GetTickCount() override;
  SYSTEMTIME GetLocalTime() override;
  TickFunction TickSource() override;
};

}  // namespace vx::platform

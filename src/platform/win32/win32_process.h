// Module and process facts from the Win32 API.
#pragma once

#include "platform/process.h"

namespace vx::platform {

class Win32ProcessInfo final : public IProcessInfo {
 public:
  // The module that holds this code: the DLL that links it, or the program.
  std::u16string ModulePath() override;
  std::u16string ExecutablePath() override;
  DWORD SessionId() override;
  DWORD ProcessId() override;
  DWORD CurrentThreadId() override;
  std::u16string ComputerName() override;
  // From RtlGetVersion, which reports the real version (GetVersionEx answers what the manifest allows).
  OsVersionInfo OsVersion() override;
  bool ReadVersionResource(std::u16string_view modulePath, VersionResource& version) override;
  std::u16string ExpandEnvironment(std::u16string_view text) override;
  std::unique_ptr<IHandle> CreateNamedMutex(std::u16string_view name) override;
};

}  // namespace vx::platform

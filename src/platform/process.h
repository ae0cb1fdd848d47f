// Module and process facts port.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/wintypes.h"

namespace vx::platform {

// The OS version record (OSVERSIONINFOEXW), reduced to what the system reads.
struct OsVersionInfo {
  DWORD platformId = 0;  // VER_PLATFORM_WIN32_NT on Windows
  DWORD major = 0;
  DWORD minor = 0;
  BYTE productType = 0;  // VER_NT_WORKSTATION, VER_NT_SERVER ...
  std::u16string servicePack;
};

// The fixed part of a version resource (VS_FIXEDFILEINFO).
struct VersionResource {
  DWORD fileVersionMS = 0;
  DWORD fileVersionLS = 0;
  DWORD productVersionMS = 0;
  DWORD productVersionLS = 0;
};

// An owned system object (a named mutex); closed when destroyed.
class IHandle {
 public:
  virtual ~IHandle() = default;
};

class IProcessInfo {
 public:
  virtual ~IProcessInfo() = default;
  // Full path of the module that contains the caller (the DLL, or the program that links the core).
  virtual std::u16string ModulePath() = 0;
  // Full path of the process's executable.
  virtual std::u16string ExecutablePath() = 0;
  virtual DWORD SessionId() = 0;
  virtual DWORD ProcessId() = 0;
  virtual DWORD CurrentThreadId() = 0;
  virtual std::u16string ComputerName() = 0;
  virtual OsVersionInfo OsVersion() = 0;
  // Reads the version resource of a module through the system's version library, loaded at run time;
  // false when the library, one of its functions or the resource is missing.
  virtual bool ReadVersionResource(std::u16string_view modulePath, VersionResource& version) = 0;
  // Replaces each %NAME% by the value of the environment variable (ExpandEnvironmentStringsW);
  // unknown names stay as they are.
  virtual std::u16string ExpandEnvironment(std::u16string_view text) = 0;
  // Creates (or opens) a named mutex; null when that fails.
  virtual std::unique_ptr<IHandle> CreateNamedMutex(std::u16string_view name) = 0;
};

}  // namespace vx::platform

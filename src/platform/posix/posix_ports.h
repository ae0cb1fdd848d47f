// POSIX implementations of the clock, file and process ports, for the Linux tools and benchmarks.
// Paths keep the Windows form in the core ("\" separators); the file system turns them into POSIX
// paths ("C:" is dropped, "\" becomes "/").
#pragma once

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/process.h"

namespace vx::platform {

class PosixClock : public IClock {
 public:
  DWORD GetTickCount() override;  // coarse monotonic clock, milliseconds
  SYSTEMTIME GetLocalTime() override;
  TickFunction TickSource() override;
};

class PosixFileSystem : public IFileSystem {
 public:
  LONG OpenForWrite(std::u16string_view path, FileDisposition disposition, std::unique_ptr<IFile>& file) override;
  bool AnyMatch(std::u16string_view pattern) override;
  LONG CreateDirectory(std::u16string_view path) override;
  LONG ReadAll(std::u16string_view path, std::vector<BYTE>& bytes) override;
  LONG ReplaceAll(std::u16string_view path, std::span<const BYTE> bytes) override;
  static std::string ToPosixPath(std::u16string_view path);
};

class PosixProcessInfo : public IProcessInfo {
 public:
  std::u16string ModulePath() override;
  std::u16string ExecutablePath() override;
  DWORD SessionId() override;
  DWORD ProcessId() override;
  DWORD CurrentThreadId() override;
  std::u16string ComputerName() override;
  OsVersionInfo OsVersion() override;
  bool ReadVersionResource(std::u16string_view modulePath, VersionResource& version) override;
  std::u16string ExpandEnvironment(std::u16string_view text) override;
  std::unique_ptr<IHandle> CreateNamedMutex(std::u16string_view name) override;
};

// The coarse clock read on its own: the floor that a traced call costs when tracing is off.
DWORD PosixTickCount();

}  // namespace vx::platform

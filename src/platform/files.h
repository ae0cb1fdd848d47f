// File output port: what the trace facility needs of the file system.
// Paths use "\" as separator, as on Windows; an implementation for another system translates them.
#pragma once

#include <memory>
#include <string_view>

#include "platform/wintypes.h"

namespace vx::platform {

class IFile {
 public:
  virtual ~IFile() = default;
  // Moves to the end; *size (may be null) receives the file size.
  virtual LONG SeekToEnd(ULONGLONG* size) = 0;
  // One write call, unbuffered; *written may be null.
  virtual LONG Write(const void* data, DWORD size, DWORD* written) = 0;
};

enum class FileDisposition {
  CreateAlways,  // create, or truncate what exists
  OpenAlways,    // open what exists, or create
};

class IFileSystem {
 public:
  virtual ~IFileSystem() = default;
  // Opens for writing, shared for reading and writing, sequential access.
  virtual LONG OpenForWrite(std::u16string_view path, FileDisposition disposition, std::unique_ptr<IFile>& file) = 0;
  // A file search (FindFirstFileW) on the pattern finds at least one entry.
  virtual bool AnyMatch(std::u16string_view pattern) = 0;
  // CreateDirectoryW of one directory whose parent exists.
  virtual LONG CreateDirectory(std::u16string_view path) = 0;
};

}  // namespace vx::platform

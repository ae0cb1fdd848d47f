// File port: what the trace facility and the GPO folder code need of the file system.
// Paths use "\" as separator, as on Windows; an implementation for another system translates them.
#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

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
  // The whole file; ERROR_FILE_NOT_FOUND or ERROR_PATH_NOT_FOUND when there is none.
  virtual LONG ReadAll(std::u16string_view path, std::vector<BYTE>& bytes) = 0;
  // Writes "<path>.new" beside the file, then moves it over the file: an interrupted write leaves the
  // old file whole.
  virtual LONG ReplaceAll(std::u16string_view path, std::span<const BYTE> bytes) = 0;
};

}  // namespace vx::platform

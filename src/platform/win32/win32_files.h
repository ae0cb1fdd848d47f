// File output port on CreateFileW and friends.
#pragma once

#include "platform/files.h"

namespace vx::platform {

class Win32FileSystem final : public IFileSystem {
 public:
  LONG OpenForWrite(std::u16string_view path, FileDisposition disposition, std::unique_ptr<IFile>& file) override;
  bool AnyMatch(std::u16string_view pattern) override;
  LONG CreateDirectory(std::u16string_view path) override;
  LONG ReadAll(std::u16string_view path, std::vector<BYTE>& bytes) override;
  LONG ReplaceAll(std::u16string_view path, std::span<const BYTE> bytes) override;
};

}  // namespace vx::platform

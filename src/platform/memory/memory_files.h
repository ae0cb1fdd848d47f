// In-memory file system for tests and Linux tools: files are byte vectors, directories a set of paths.
// Paths compare case-insensitively, with "\" as the separator, as on Windows.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/files.h"

namespace vx::platform {

class MemoryFileSystem : public IFileSystem {
 public:
  MemoryFileSystem();  // holds the root "C:"
  ~MemoryFileSystem() override;

  LONG OpenForWrite(std::u16string_view path, FileDisposition disposition, std::unique_ptr<IFile>& file) override;
  bool AnyMatch(std::u16string_view pattern) override;
  LONG CreateDirectory(std::u16string_view path) override;
  LONG ReadAll(std::u16string_view path, std::vector<BYTE>& bytes) override;
  LONG ReplaceAll(std::u16string_view path, std::span<const BYTE> bytes) override;

  // Test access.
  void AddDirectory(std::u16string_view path);
  bool DirectoryExists(std::u16string_view path) const;
  bool FileExists(std::u16string_view path) const;
  std::vector<BYTE> FileBytes(std::u16string_view path) const;
  void SetFileBytes(std::u16string_view path, std::vector<BYTE> bytes);
  std::vector<std::u16string> FilePaths() const;
  size_t WriteCalls() const;
  // Every later CreateDirectory answers this code (0: normal behaviour).
  void FailCreateDirectory(LONG error) { m_failCreateDirectory = error; }
  // Every later ReplaceAll answers this code and changes nothing (0: normal behaviour).
  void FailReplace(LONG error) { m_failReplace = error; }

 private:
  struct Less {
    bool operator()(const std::u16string& a, const std::u16string& b) const;
  };
  friend class MemoryFile;
  std::u16string Parent(std::u16string_view path) const;

  mutable std::mutex m_mutex;
  std::set<std::u16string, Less> m_directories;
  std::map<std::u16string, std::shared_ptr<std::vector<BYTE>>, Less> m_files;
  size_t m_writeCalls = 0;
  LONG m_failCreateDirectory = 0;
  LONG m_failReplace = 0;
};

}  // namespace vx::platform

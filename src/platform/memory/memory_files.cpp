#include "platform/memory/memory_files.h"

#include "platform/text.h"

namespace vx::platform {

bool MemoryFileSystem::Less::operator()(const std::u16string& a, const std::u16string& b) const {
  return CompareIgnoreCase(a, b) < 0;
}

class MemoryFile : public IFile {
 public:
  MemoryFile(MemoryFileSystem& owner, std::shared_ptr<std::vector<BYTE>> bytes)
      : m_owner(owner), m_bytes(std::move(bytes)) {}

  LONG SeekToEnd(ULONGLONG* size) override {
    std::lock_guard lock(m_owner.m_mutex);
    m_position = m_bytes->size();
    if (size) *size = m_position;
    return ERROR_SUCCESS;
  }

  LONG Write(const void* data, DWORD size, DWORD* written) override {
    std::lock_guard lock(m_owner.m_mutex);
    ++m_owner.m_writeCalls;
    if (m_bytes->size() < m_position + size) m_bytes->resize(m_position + size);
    const auto* bytes = static_cast<const BYTE*>(data);
    std::copy(bytes, bytes + size, m_bytes->begin() + static_cast<std::ptrdiff_t>(m_position));
    m_position += size;
    if (written) *written = size;
    return ERROR_SUCCESS;
  }

 private:
  MemoryFileSystem& m_owner;
  std::shared_ptr<std::vector<BYTE>> m_bytes;
  size_t m_position = 0;
};

MemoryFileSystem::MemoryFileSystem() { m_directories.insert(u"C:"); }
MemoryFileSystem::~MemoryFileSystem() = default;

std::u16string MemoryFileSystem::Parent(std::u16string_view path) const {
  const size_t slash = path.find_last_of(u'\\');
  return slash == std::u16string_view::npos ? std::u16string() : std::u16string(path.substr(0, slash));
}

LONG MemoryFileSystem::OpenForWrite(std::u16string_view path, FileDisposition disposition,
                                    std::unique_ptr<IFile>& file) {
  std::lock_guard lock(m_mutex);
  const std::u16string name(path);
  if (!m_directories.count(Parent(name))) return ERROR_PATH_NOT_FOUND;
  if (m_directories.count(name)) return ERROR_ACCESS_DENIED;
  auto& bytes = m_files[name];
  if (!bytes) bytes = std::make_shared<std::vector<BYTE>>();
  if (disposition == FileDisposition::CreateAlways) bytes->clear();
  file = std::make_unique<MemoryFile>(*this, bytes);
  return ERROR_SUCCESS;
}

bool MemoryFileSystem::AnyMatch(std::u16string_view pattern) {
  // Only the "directory\*" form is used: it matches when the directory exists.
  if (pattern.size() < 2 || pattern.substr(pattern.size() - 2) != u"\\*") return FileExists(pattern);
  return DirectoryExists(pattern.substr(0, pattern.size() - 2));
}

LONG MemoryFileSystem::CreateDirectory(std::u16string_view path) {
  std::lock_guard lock(m_mutex);
  if (m_failCreateDirectory) return m_failCreateDirectory;
  const std::u16string name(path);
  if (m_directories.count(name) || m_files.count(name)) return ERROR_ALREADY_EXISTS;
  if (!m_directories.count(Parent(name))) return ERROR_PATH_NOT_FOUND;
  m_directories.insert(name);
  return ERROR_SUCCESS;
}

LONG MemoryFileSystem::ReadAll(std::u16string_view path, std::vector<BYTE>& bytes) {
  std::lock_guard lock(m_mutex);
  const auto it = m_files.find(std::u16string(path));
  if (m_directories.count(std::u16string(path))) return ERROR_ACCESS_DENIED;  // as a directory opened for reading
  if (it == m_files.end()) return m_directories.count(Parent(path)) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
  bytes = *it->second;
  return ERROR_SUCCESS;
}

LONG MemoryFileSystem::ReplaceAll(std::u16string_view path, std::span<const BYTE> bytes) {
  std::lock_guard lock(m_mutex);
  if (m_failReplace) return m_failReplace;
  const std::u16string name(path);
  if (!m_directories.count(Parent(name))) return ERROR_PATH_NOT_FOUND;
  if (m_directories.count(name)) return ERROR_ACCESS_DENIED;
  ++m_writeCalls;
  m_files[name] = std::make_shared<std::vector<BYTE>>(bytes.begin(), bytes.end());
  return ERROR_SUCCESS;
}

void MemoryFileSystem::AddDirectory(std::u16string_view path) {
  std::lock_guard lock(m_mutex);
  std::u16string prefix;
  for (size_t start = 0; start <= path.size();) {
    size_t end = path.find(u'\\', start);
    if (end == std::u16string_view::npos) end = path.size();
    prefix = std::u16string(path.substr(0, end));
    if (!prefix.empty()) m_directories.insert(prefix);
    start = end + 1;
  }
}

bool MemoryFileSystem::DirectoryExists(std::u16string_view path) const {
  std::lock_guard lock(m_mutex);
  return m_directories.count(std::u16string(path)) != 0;
}

bool MemoryFileSystem::FileExists(std::u16string_view path) const {
  std::lock_guard lock(m_mutex);
  return m_files.count(std::u16string(path)) != 0;
}

std::vector<BYTE> MemoryFileSystem::FileBytes(std::u16string_view path) const {
  std::lock_guard lock(m_mutex);
  const auto it = m_files.find(std::u16string(path));
  return it == m_files.end() ? std::vector<BYTE>() : *it->second;
}

void MemoryFileSystem::SetFileBytes(std::u16string_view path, std::vector<BYTE> bytes) {
  std::lock_guard lock(m_mutex);
  m_files[std::u16string(path)] = std::make_shared<std::vector<BYTE>>(std::move(bytes));
}

std::vector<std::u16string> MemoryFileSystem::FilePaths() const {
  std::lock_guard lock(m_mutex);
  std::vector<std::u16string> paths;
  for (const auto& entry : m_files) paths.push_back(entry.first);
  return paths;
}

size_t MemoryFileSystem::WriteCalls() const {
  std::lock_guard lock(m_mutex);
  return m_writeCalls;
}

}  // namespace vx::platform

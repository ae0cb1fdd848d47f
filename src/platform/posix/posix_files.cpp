#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/posix_ports.h"
#include "platform/text.h"

namespace vx::platform {

namespace {

LONG FromErrno(int error) {
  switch (error) {
    case ENOENT: return ERROR_PATH_NOT_FOUND;
    case EEXIST: return ERROR_ALREADY_EXISTS;
    case EACCES:
    case EPERM: return ERROR_ACCESS_DENIED;
    case ENOMEM: return ERROR_NOT_ENOUGH_MEMORY;
    default: return ERROR_INVALID_PARAMETER;
  }
}

class PosixFile : public IFile {
 public:
  explicit PosixFile(int fd) : m_fd(fd) {}
  ~PosixFile() override { close(m_fd); }
  LONG SeekToEnd(ULONGLONG* size) override {
    const off_t end = lseek(m_fd, 0, SEEK_END);
    if (end < 0) return FromErrno(errno);
    if (size) *size = static_cast<ULONGLONG>(end);
    return ERROR_SUCCESS;
  }
  LONG Write(const void* data, DWORD size, DWORD* written) override {
    const ssize_t n = write(m_fd, data, size);
    if (n < 0) return FromErrno(errno);
    if (written) *written = static_cast<DWORD>(n);
    return ERROR_SUCCESS;
  }

 private:
  int m_fd;
};

}  // namespace

std::string PosixFileSystem::ToPosixPath(std::u16string_view path) {
  if (path.size() >= 2 && path[1] == u':') path.remove_prefix(2);
  std::string out = Utf16ToUtf8(path);
  for (char& c : out)
    if (c == '\\') c = '/';
  return out;
}

LONG PosixFileSystem::OpenForWrite(std::u16string_view path, FileDisposition disposition,
                                   std::unique_ptr<IFile>& file) {
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (disposition == FileDisposition::CreateAlways ? O_TRUNC : 0);
  const int fd = open(ToPosixPath(path).c_str(), flags, 0644);
  if (fd < 0) return FromErrno(errno);
  file = std::make_unique<PosixFile>(fd);
  return ERROR_SUCCESS;
}

bool PosixFileSystem::AnyMatch(std::u16string_view pattern) {
  if (pattern.size() >= 2 && pattern.substr(pattern.size() - 2) == u"\\*") {
    const std::string dir = ToPosixPath(pattern.substr(0, pattern.size() - 2));
    DIR* handle = opendir(dir.empty() ? "/" : dir.c_str());
    if (!handle) return false;
    closedir(handle);
    return true;
  }
  struct stat st;
  return stat(ToPosixPath(pattern).c_str(), &st) == 0;
}

LONG PosixFileSystem::CreateDirectory(std::u16string_view path) {
  return mkdir(ToPosixPath(path).c_str(), 0755) == 0 ? ERROR_SUCCESS : FromErrno(errno);
}

}  // namespace vx::platform

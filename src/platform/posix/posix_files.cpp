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

LONG PosixFileSystem::ReadAll(std::u16string_view path, std::vector<BYTE>& bytes) {
  const int fd = open(ToPosixPath(path).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return errno == ENOENT ? ERROR_FILE_NOT_FOUND : FromErrno(errno);
  bytes.clear();
  BYTE buffer[65536];
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof(buffer));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int error = n < 0 ? errno : 0;
      close(fd);
      return error ? FromErrno(error) : ERROR_SUCCESS;
    }
    bytes.insert(bytes.end(), buffer, buffer + n);
  }
}

LONG PosixFileSystem::ReplaceAll(std::u16string_view path, std::span<const BYTE> bytes) {
  const std::string target = ToPosixPath(path);
  const std::string temporary = target + ".new";
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return FromErrno(errno);
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int error = errno;
      close(fd);
      unlink(temporary.c_str());
      return FromErrno(error);
    }
    done += static_cast<size_t>(n);
  }
  // On disk before the rename, so a crash never leaves a renamed but empty file.
  const bool synced = fsync(fd) == 0;
  close(fd);
  if (!synced || rename(temporary.c_str(), target.c_str()) != 0) {
    const int error = errno;
    unlink(temporary.c_str());
    return FromErrno(error);
  }
  return ERROR_SUCCESS;
}

}  // namespace vx::platform

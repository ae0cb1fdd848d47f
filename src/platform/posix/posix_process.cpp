#include <dlfcn.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <climits>

#include "platform/posix/posix_ports.h"
#include "platform/text.h"

namespace vx::platform {

namespace {

std::u16string AsWindowsPath(const std::string& path) {
  std::u16string out = Utf8ToUtf16(path);
  for (char16_t& c : out)
    if (c == u'/') c = u'\\';
  return out;
}

}  // namespace

std::u16string PosixProcessInfo::ModulePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&PosixTickCount), &info) && info.dli_fname) {
    char resolved[PATH_MAX];
    if (realpath(info.dli_fname, resolved)) return AsWindowsPath(resolved);
  }
  return ExecutablePath();
}

std::u16string PosixProcessInfo::ExecutablePath() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  return n > 0 ? AsWindowsPath(std::string(path, static_cast<size_t>(n))) : std::u16string();
}

DWORD PosixProcessInfo::SessionId() { return static_cast<DWORD>(getsid(0)); }
DWORD PosixProcessInfo::ProcessId() { return static_cast<DWORD>(getpid()); }
DWORD PosixProcessInfo::CurrentThreadId() {
  // The id is asked for every record; a system call each time would cost more than the record.
  thread_local const DWORD id = static_cast<DWORD>(syscall(SYS_gettid));
  return id;
}

std::u16string PosixProcessInfo::ComputerName() {
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  return Utf8ToUtf16(name);
}

OsVersionInfo PosixProcessInfo::OsVersion() {
  OsVersionInfo os;
  utsname uts{};
  if (uname(&uts) == 0) {
    unsigned major = 0, minor = 0;
    std::sscanf(uts.release, "%u.%u", &major, &minor);
    os.major = major;
    os.minor = minor;
  }
  return os;
}

bool PosixProcessInfo::ReadVersionResource(std::u16string_view, VersionResource&) { return false; }

std::u16string PosixProcessInfo::ExpandEnvironment(std::u16string_view text) {
  std::u16string out;
  size_t at = 0;
  while (at < text.size()) {
    const size_t open = text.find(u'%', at);
    const size_t close = open == std::u16string_view::npos ? open : text.find(u'%', open + 1);
    if (close == std::u16string_view::npos) break;
    out.append(text.substr(at, open - at));
    const char* value = std::getenv(Utf16ToUtf8(text.substr(open + 1, close - open - 1)).c_str());
    if (value && close > open + 1) {
      out += Utf8ToUtf16(value);
      at = close + 1;
    } else {
      out.append(text.substr(open, close - open));  // keep "%NAME" and look again from the second '%'
      at = close;
    }
  }
  out.append(text.substr(at));
  return out;
}

std::unique_ptr<IHandle> PosixProcessInfo::CreateNamedMutex(std::u16string_view) {
  return std::make_unique<IHandle>();  // no named kernel objects here; nothing else uses the name
}

}  // namespace vx::platform

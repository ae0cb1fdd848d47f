#include "platform/win32/win32_process.h"

#include <winver.h>

#include <type_traits>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"

namespace vx::platform {

namespace {

// Its address identifies the module this code was linked into.
const char kModuleAnchor = 0;

// GetModuleFileNameW with a buffer that grows until the path fits (long paths exceed MAX_PATH).
std::u16string ModuleFileName(HMODULE module) {
  constexpr DWORD kLongestPath = 32768;
  std::u16string path(MAX_PATH, u'\0');
  for (;;) {
    const DWORD capacity = static_cast<DWORD>(path.size());
    const DWORD length = ::GetModuleFileNameW(module, AsWide(path.data()), capacity);
    if (length == 0) return {};
    if (length < capacity) {
      path.resize(length);
      return path;
    }
    if (capacity >= kLongestPath) return {};
    path.resize(capacity * 2);
  }
}

std::u16string SystemDirectory() {
  std::u16string directory(MAX_PATH, u'\0');
  UINT length = ::GetSystemDirectoryW(AsWide(directory.data()), static_cast<UINT>(directory.size()));
  if (length >= directory.size()) {
    directory.resize(length);  // length includes the terminator here
    length = ::GetSystemDirectoryW(AsWide(directory.data()), static_cast<UINT>(directory.size()));
  }
  if (length == 0 || length >= directory.size()) return {};
  directory.resize(length);
  return directory;
}

class Win32Handle final : public IHandle {
 public:
  explicit Win32Handle(UniqueHandle handle) : m_handle(std::move(handle)) {}

 private:
  UniqueHandle m_handle;
};

}  // namespace

std::u16string Win32ProcessInfo::ModulePath() {
  HMODULE module = nullptr;
  if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&kModuleAnchor), &module)) {
    return {};
  }
  return ModuleFileName(module);
}

std::u16string Win32ProcessInfo::ExecutablePath() { return ModuleFileName(nullptr); }

DWORD Win32ProcessInfo::SessionId() {
  DWORD session = 0;
  if (!::ProcessIdToSessionId(::GetCurrentProcessId(), &session)) return 0;
  return session;
}

DWORD Win32ProcessInfo::ProcessId() { return ::GetCurrentProcessId(); }

DWORD Win32ProcessInfo::CurrentThreadId() { return ::GetCurrentThreadId(); }

std::u16string Win32ProcessInfo::ComputerName() {
  std::u16string name(MAX_COMPUTERNAME_LENGTH + 1, u'\0');
  DWORD size = static_cast<DWORD>(name.size());
  if (!::GetComputerNameW(AsWide(name.data()), &size)) {
    if (::GetLastError() != ERROR_BUFFER_OVERFLOW) return {};
    name.resize(size);  // size now includes the terminator
    if (!::GetComputerNameW(AsWide(name.data()), &size)) return {};
  }
  name.resize(size);
  return name;
}

OsVersionInfo Win32ProcessInfo::OsVersion() {
  using RtlGetVersionFunction = LONG(WINAPI*)(OSVERSIONINFOW*);
  OsVersionInfo result;
  const auto rtlGetVersion = ProcAddress<RtlGetVersionFunction>(::GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion");
  if (rtlGetVersion == nullptr) return result;
  OSVERSIONINFOEXW info{};
  info.dwOSVersionInfoSize = sizeof(info);
  if (rtlGetVersion(reinterpret_cast<OSVERSIONINFOW*>(&info)) != 0) return result;
  result.platformId = info.dwPlatformId;
  result.major = info.dwMajorVersion;
  result.minor = info.dwMinorVersion;
  result.productType = info.wProductType;
  result.servicePack = AsU16(info.szCSDVersion);
  return result;
}

bool Win32ProcessInfo::ReadVersionResource(std::u16string_view modulePath, VersionResource& version) {
  using GetSizeFunction = DWORD(WINAPI*)(LPCWSTR, LPDWORD);
  using GetInfoFunction = BOOL(WINAPI*)(LPCWSTR, DWORD, DWORD, LPVOID);
  using QueryFunction = BOOL(WINAPI*)(LPCVOID, LPCWSTR, LPVOID*, PUINT);

  // A full path, so that no copy of the library beside the program is taken instead.
  const std::u16string directory = SystemDirectory();
  if (directory.empty()) return false;
  const std::u16string libraryPath = directory + u"\\version.dll";
  const UniqueLibrary library(::LoadLibraryW(AsWide(libraryPath)));
  if (!library) return false;
  const auto getSize = ProcAddress<GetSizeFunction>(library.get(), "GetFileVersionInfoSizeW");
  const auto getInfo = ProcAddress<GetInfoFunction>(library.get(), "GetFileVersionInfoW");
  const auto query = ProcAddress<QueryFunction>(library.get(), "VerQueryValueW");
  if (getSize == nullptr || getInfo == nullptr || query == nullptr) return false;

  const std::u16string path(modulePath);
  DWORD ignored = 0;
  const DWORD size = getSize(AsWide(path), &ignored);
  if (size == 0) return false;
  std::vector<BYTE> data(size);
  if (!getInfo(AsWide(path), 0, size, data.data())) return false;
  void* block = nullptr;
  UINT blockSize = 0;
  if (!query(data.data(), L"\\", &block, &blockSize) || block == nullptr || blockSize < sizeof(VS_FIXEDFILEINFO)) {
    return false;
  }
  const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(block);
  if (fixed->dwSignature != VS_FFI_SIGNATURE) return false;
  version.fileVersionMS = fixed->dwFileVersionMS;
  version.fileVersionLS = fixed->dwFileVersionLS;
  version.productVersionMS = fixed->dwProductVersionMS;
  version.productVersionLS = fixed->dwProductVersionLS;
  return true;
}

std::u16string Win32ProcessInfo::ExpandEnvironment(std::u16string_view text) {
  const std::u16string source(text);
  std::u16string expanded(source.size() + 64, u'\0');
  for (;;) {
    const DWORD needed = ::ExpandEnvironmentStringsW(AsWide(source), AsWide(expanded.data()),
                                                     static_cast<DWORD>(expanded.size()));
    if (needed == 0) return source;
    if (needed <= expanded.size()) {
      expanded.resize(needed - 1);  // needed counts the terminator
      return expanded;
    }
    expanded.resize(needed);
  }
}

std::unique_ptr<IHandle> Win32ProcessInfo::CreateNamedMutex(std::u16string_view name) {
  const std::u16string text(name);
  UniqueHandle mutex(::CreateMutexW(nullptr, FALSE, AsWide(text)));
  if (!mutex) return nullptr;
  return std::make_unique<Win32Handle>(std::move(mutex));
}

}  // namespace vx::platform

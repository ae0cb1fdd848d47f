#include "platform/win32/win32_files.h"

#include <string>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"

namespace vx::platform {

namespace {

class Win32File final : public IFile {
 public:
  explicit Win32File(UniqueHandle handle) : m_handle(std::move(handle)) {}

  LONG SeekToEnd(ULONGLONG* size) override {
    LARGE_INTEGER end{};
    if (!::SetFilePointerEx(m_handle.get(), LARGE_INTEGER{}, &end, FILE_END)) return static_cast<LONG>(::GetLastError());
    if (size != nullptr) *size = static_cast<ULONGLONG>(end.QuadPart);
    return ERROR_SUCCESS;
  }

  LONG Write(const void* data, DWORD size, DWORD* written) override {
    DWORD done = 0;
    const BOOL ok = ::WriteFile(m_handle.get(), data, size, &done, nullptr);
    if (written != nullptr) *written = done;
    return ok ? ERROR_SUCCESS : static_cast<LONG>(::GetLastError());
  }

 private:
  UniqueHandle m_handle;
};

}  // namespace

LONG Win32FileSystem::OpenForWrite(std::u16string_view path, FileDisposition disposition,
                                   std::unique_ptr<IFile>& file) {
  file.reset();
  const std::u16string name(path);
  const DWORD creation = disposition == FileDisposition::CreateAlways ? CREATE_ALWAYS : OPEN_ALWAYS;
  UniqueHandle handle(::CreateFileW(AsWide(name), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        creation, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (handle.get() == INVALID_HANDLE_VALUE) {
    const LONG error = static_cast<LONG>(::GetLastError());
    return error != ERROR_SUCCESS ? error : ERROR_INVALID_HANDLE;
  }
  file = std::make_unique<Win32File>(std::move(handle));
  return ERROR_SUCCESS;
}

bool Win32FileSystem::AnyMatch(std::u16string_view pattern) {
  const std::u16string text(pattern);
  WIN32_FIND_DATAW found{};
  const UniqueFindHandle search(::FindFirstFileW(AsWide(text), &found));
  return search.get() != INVALID_HANDLE_VALUE;
}

LONG Win32FileSystem::CreateDirectory(std::u16string_view path) {
  const std::u16string name(path);
  if (::CreateDirectoryW(AsWide(name), nullptr)) return ERROR_SUCCESS;
  return static_cast<LONG>(::GetLastError());
}

LONG Win32FileSystem::ReadAll(std::u16string_view path, std::vector<BYTE>& bytes) {
  const std::u16string name(path);
  UniqueHandle handle(::CreateFileW(AsWide(name), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (handle.get() == INVALID_HANDLE_VALUE) return static_cast<LONG>(::GetLastError());
  bytes.clear();
  BYTE buffer[65536];
  DWORD read = 0;
  while (::ReadFile(handle.get(), buffer, sizeof(buffer), &read, nullptr)) {
    if (read == 0) return ERROR_SUCCESS;
    bytes.insert(bytes.end(), buffer, buffer + read);
  }
  return static_cast<LONG>(::GetLastError());
}

LONG Win32FileSystem::ReplaceAll(std::u16string_view path, std::span<const BYTE> bytes) {
  const std::u16string name(path);
  const std::u16string temporary = name + u".new";
  {
    UniqueHandle handle(::CreateFileW(AsWide(temporary), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (handle.get() == INVALID_HANDLE_VALUE) return static_cast<LONG>(::GetLastError());
    DWORD written = 0;
    if (!::WriteFile(handle.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) ||
        written != bytes.size() || !::FlushFileBuffers(handle.get())) {
      const LONG error = static_cast<LONG>(::GetLastError());
      handle.reset();
      ::DeleteFileW(AsWide(temporary));
      return error != ERROR_SUCCESS ? error : ERROR_WRITE_FAULT;
    }
  }
  if (!::MoveFileExW(AsWide(temporary), AsWide(name), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    const LONG error = static_cast<LONG>(::GetLastError());
    ::DeleteFileW(AsWide(temporary));
    return error;
  }
  return ERROR_SUCCESS;
}

}  // namespace vx::platform

#include "platform/win32/win32_ui.h"

#include <string>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"

namespace vx::platform {

int Win32MessageBox::Show(HWND owner, std::u16string_view text, std::u16string_view caption, UINT type) {
  const std::u16string body(text);
  const std::u16string title(caption);
  return ::MessageBoxW(owner, AsWide(body), AsWide(title), type);
}

std::u16string Win32StringTable::LoadText(UINT id) {
  // With a zero buffer size LoadStringW hands out a pointer into the resource itself and its full length.
  const wchar_t* resource = nullptr;
  const int length = ::LoadStringW(m_module, id, reinterpret_cast<LPWSTR>(&resource), 0);
  if (length <= 0 || resource == nullptr) return {};
  return std::u16string(AsU16(resource), static_cast<size_t>(length));
}

Win32ErrorTextLibrary::Win32ErrorTextLibrary() = default;

Win32ErrorTextLibrary::~Win32ErrorTextLibrary() {
  if (m_library != nullptr) ::FreeLibrary(m_library);
}

void Win32ErrorTextLibrary::Load() {
  m_library = ::LoadLibraryW(L"VXFPApiUI.dll");
  if (m_library == nullptr) {
    m_loadResult = HResultFromWin32(ERROR_MOD_NOT_FOUND);
    return;
  }
  m_format = ProcAddress<FormatFunction>(m_library, "KELTFormatMessage");
  m_free = ProcAddress<FreeFunction>(m_library, "KELTBufferFree");
  // A text that cannot be freed is not taken either.
  m_loadResult = m_format != nullptr && m_free != nullptr ? S_OK : HResultFromWin32(ERROR_PROC_NOT_FOUND);
}

HRESULT Win32ErrorTextLibrary::FormatMessage(HRESULT hr, DWORD flags, char16_t** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = nullptr;
  std::call_once(m_loadOnce, [this] { Load(); });
  if (FAILED(m_loadResult)) return m_loadResult;
  LPWSTR text = nullptr;
  const HRESULT result = m_format(hr, flags, &text);
  *buffer = AsU16(text);
  return result;
}

void Win32ErrorTextLibrary::BufferFree(char16_t* buffer) {
  // Only a library that handed out a buffer can take it back.
  if (buffer == nullptr) return;
  std::call_once(m_loadOnce, [this] { Load(); });
  if (m_free != nullptr && SUCCEEDED(m_loadResult)) m_free(AsWide(buffer));
}

bool Win32SystemMessages::Lookup(HRESULT hr, std::u16string& text) {
  wchar_t* buffer = nullptr;
  const DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
      static_cast<DWORD>(hr), 0, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
  const UniqueLocal<wchar_t> owned(buffer);
  if (length == 0 || buffer == nullptr) return false;
  text.assign(AsU16(buffer), length);
  return true;
}

}  // namespace vx::platform

#include "rsop/win32/clipboard_win32.h"

#include <cstring>
#include <memory>
#include <string>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"

namespace vx::rsop {

namespace {

using UniqueGlobal = std::unique_ptr<void, platform::CloseWith<&::GlobalFree>>;

// The failed call's last error; a call that failed without setting one still fails.
HRESULT LastErrorResult() {
  const DWORD error = ::GetLastError();
  return error != ERROR_SUCCESS ? HResultFromWin32(static_cast<long>(error)) : E_FAIL;
}

HRESULT RegisterFormat(std::u16string_view format, UINT& id) {
  const std::u16string name(format);
  id = ::RegisterClipboardFormatW(AsWide(name));
  return id != 0 ? S_OK : LastErrorResult();
}

}  // namespace

HRESULT Win32RsopClipboard::Put(std::u16string_view format, std::u16string_view text) {
  UINT id = 0;
  HRESULT hr = RegisterFormat(format, id);
  if (FAILED(hr)) return hr;

  const SIZE_T bytes = (text.size() + 1) * sizeof(char16_t);
  UniqueGlobal block(::GlobalAlloc(GMEM_MOVEABLE, bytes));
  if (!block) return LastErrorResult();
  auto* characters = static_cast<char16_t*>(::GlobalLock(block.get()));
  if (characters == nullptr) return LastErrorResult();
  if (!text.empty()) std::memcpy(characters, text.data(), text.size() * sizeof(char16_t));
  characters[text.size()] = u'\0';
  ::GlobalUnlock(block.get());

  if (!::OpenClipboard(nullptr)) return LastErrorResult();
  if (::SetClipboardData(id, block.get()) == nullptr) {
    hr = LastErrorResult();
    ::CloseClipboard();
    return hr;
  }
  block.release();  // the clipboard owns the block now
  return ::CloseClipboard() ? S_OK : LastErrorResult();
}

HRESULT Win32RsopClipboard::Get(std::u16string_view format, std::u16string& text) {
  text.clear();
  UINT id = 0;
  const HRESULT hr = RegisterFormat(format, id);
  if (FAILED(hr)) return hr;

  // The clipboard is opened here and deliberately not closed again: the established transfer leaves
  // it open after reading, and callers rely on that behaviour staying as it is.
  if (!::OpenClipboard(nullptr)) return LastErrorResult();
  const HANDLE block = ::GetClipboardData(id);
  if (block == nullptr) return E_NOINTERFACE;
  const auto* characters = static_cast<const char16_t*>(::GlobalLock(block));
  if (characters == nullptr) return LastErrorResult();
  // Up to the first NUL, never past the block.
  const size_t limit = ::GlobalSize(block) / sizeof(char16_t);
  size_t length = 0;
  while (length < limit && characters[length] != u'\0') ++length;
  text.assign(characters, length);
  ::GlobalUnlock(block);
  return text.empty() ? E_NOINTERFACE : S_OK;
}

}  // namespace vx::rsop

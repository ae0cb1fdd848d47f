// User-facing ports on the Win32 API: message boxes, string tables, error texts.
#pragma once

#include <memory>
#include <mutex>

#include "platform/ui.h"

namespace vx::platform {

class Win32MessageBox final : public IMessageBox {
 public:
  int Show(HWND owner, std::u16string_view text, std::u16string_view caption, UINT type) override;
};

// Strings of the string tables of one module (the language resource module).
class Win32StringTable final : public IStringTable {
 public:
  explicit Win32StringTable(HMODULE module) : m_module(module) {}
  std::u16string LoadText(UINT id) override;

 private:
  HMODULE m_module;
};

// Loads "VXFPApiUI.dll" by the normal search order on first use and frees it when destroyed,
// so the owner must not destroy it while the loader lock is held (DllMain).
class Win32ErrorTextLibrary final : public IErrorTextLibrary {
 public:
  Win32ErrorTextLibrary();
  ~Win32ErrorTextLibrary() override;
  Win32ErrorTextLibrary(const Win32ErrorTextLibrary&) = delete;
  Win32ErrorTextLibrary& operator=(const Win32ErrorTextLibrary&) = delete;

  HRESULT FormatMessage(HRESULT hr, DWORD flags, char16_t** buffer) override;
  void BufferFree(char16_t* buffer) override;

 private:
  using FormatFunction = HRESULT(WINAPI*)(HRESULT, DWORD, LPWSTR*);
  using FreeFunction = void(WINAPI*)(LPVOID);

  void Load();

  std::once_flag m_loadOnce;
  HMODULE m_library = nullptr;
  HRESULT m_loadResult = E_UNEXPECTED;
  FormatFunction m_format = nullptr;
  FreeFunction m_free = nullptr;
};

class Win32SystemMessages final : public ISystemMessages {
 public:
  bool Lookup(HRESULT hr, std::u16string& text) override;
};

}  // namespace vx::platform

#pragma once

#include <windows.h>

#include <string>

namespace vx::console {

// Saves what the window's client area shows on screen as a 24-bit BMP file.
HRESULT SaveWindowBitmap(HWND window, const std::wstring& path);

}  // namespace vx::console

#include "screenshot.h"

#include <fstream>
#include <vector>

namespace vx::console {
namespace {

// Wine draws into window surfaces that reach the screen while the thread handles its messages.
void LetPaintingReachTheScreen() {
  for (int i = 0; i < 10; ++i) {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      if (message.message == WM_QUIT) {
        ::PostQuitMessage(static_cast<int>(message.wParam));
        return;
      }
      ::TranslateMessage(&message);
      ::DispatchMessageW(&message);
    }
    ::Sleep(20);
  }
}

}  // namespace

HRESULT SaveWindowBitmap(HWND window, const std::wstring& path) {
  // The client area: without a window manager (Xvfb) nobody draws the frame and caption.
  RECT rect;
  if (!::GetClientRect(window, &rect)) return HRESULT_FROM_WIN32(::GetLastError());
  ::MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&rect), 2);
  const int width = rect.right - rect.left, height = rect.bottom - rect.top;
  HDC screen = ::GetDC(nullptr);
  HDC memory = ::CreateCompatibleDC(screen);
  HBITMAP bitmap = ::CreateCompatibleBitmap(screen, width, height);
  HGDIOBJ old = ::SelectObject(memory, bitmap);
  // A copy of the screen: the window is brought to the top first (PrintWindow leaves the children out).
  ::SetForegroundWindow(window);
  ::RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
  if (::GetWindowThreadProcessId(window, nullptr) == ::GetCurrentThreadId()) LetPaintingReachTheScreen();
  ::BitBlt(memory, 0, 0, width, height, screen, rect.left, rect.top, SRCCOPY);
  ::SelectObject(memory, old);

  BITMAPINFOHEADER info{};
  info.biSize = sizeof(info);
  info.biWidth = width;
  info.biHeight = height;
  info.biPlanes = 1;
  info.biBitCount = 24;
  info.biCompression = BI_RGB;
  const DWORD stride = ((static_cast<DWORD>(width) * 3 + 3) / 4) * 4;
  std::vector<BYTE> pixels(static_cast<size_t>(stride) * height);
  const int lines = ::GetDIBits(memory, bitmap, 0, height, pixels.data(), reinterpret_cast<BITMAPINFO*>(&info),
                                DIB_RGB_COLORS);
  ::DeleteObject(bitmap);
  ::DeleteDC(memory);
  ::ReleaseDC(nullptr, screen);
  if (lines != height) return E_FAIL;

  BITMAPFILEHEADER header{};
  header.bfType = 0x4D42;  // "BM"
  header.bfOffBits = sizeof(header) + sizeof(info);
  header.bfSize = header.bfOffBits + static_cast<DWORD>(pixels.size());
  std::ofstream out(path.c_str(), std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(&header), sizeof(header));
  out.write(reinterpret_cast<const char*>(&info), sizeof(info));
  out.write(reinterpret_cast<const char*>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
  return out.flush() ? S_OK : HRESULT_FROM_WIN32(ERROR_WRITE_FAULT);
}

}  // namespace vx::console

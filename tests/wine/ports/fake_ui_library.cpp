// Test double of the maker's UI library "VXFPApiUI.dll".
// KELTFormatMessage answers "Text of 0xXXXXXXXX (flags N)" for every code but E_NOTIMPL, which it
// has no text for. Built a second time with VX_FAKE_UI_WITHOUT_FREE, lacking KELTBufferFree.
#include <windows.h>

#include <cwchar>

namespace {
LONG g_outstanding = 0;  // buffers handed out and not yet freed
}  // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI KELTFormatMessage(HRESULT hr, DWORD flags, LPWSTR* buffer) {
  *buffer = nullptr;
  if (hr == E_NOTIMPL) return E_FAIL;
  constexpr size_t kChars = 64;
  auto* text = static_cast<wchar_t*>(::HeapAlloc(::GetProcessHeap(), 0, kChars * sizeof(wchar_t)));
  std::swprintf(text, kChars, L"Text of 0x%08lX (flags %lu)", static_cast<unsigned long>(hr),
                static_cast<unsigned long>(flags));
  ::InterlockedIncrement(&g_outstanding);
  *buffer = text;
  return S_OK;
}

#if !defined(VX_FAKE_UI_WITHOUT_FREE)
extern "C" __declspec(dllexport) void WINAPI KELTBufferFree(LPVOID buffer) {
  ::HeapFree(::GetProcessHeap(), 0, buffer);
  ::InterlockedDecrement(&g_outstanding);
}
#endif

// For the tests only.
extern "C" __declspec(dllexport) LONG WINAPI VxFakeUiOutstanding() { return g_outstanding; }

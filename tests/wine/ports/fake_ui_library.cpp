// Test double of the maker's UI library "VXFPApiUI.dll".
// KELTFormatMessage answers "Text of 0xXXXXXXXX (flags N)" for every code but E_NOTIMPL, which it
// has no text for. Built a second time with VX_FAKE_UI_WITHOUT_FREE, lacking KELTBufferFree.
#include <windows.h>

#include <string>

namespace {

LONG g_outstanding = 0;  // buffers handed out and not yet freed
LONG g_freed = 0;

std::wstring Hex(DWORD value) {
  static const wchar_t kDigits[] = L"0123456789ABCDEF";
  std::wstring text(8, L'0');
  for (int i = 7; i >= 0; --i, value >>= 4) text[static_cast<size_t>(i)] = kDigits[value & 0xF];
  return text;
}

}  // namespace

extern "C" __declspec(dllexport) HRESULT WINAPI KELTFormatMessage(HRESULT hr, DWORD flags, LPWSTR* buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = nullptr;
  if (hr == E_NOTIMPL) return E_FAIL;
  const std::wstring text = L"Text of 0x" + Hex(static_cast<DWORD>(hr)) + L" (flags " + std::to_wstring(flags) + L")";
  const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  auto* copy = static_cast<wchar_t*>(::HeapAlloc(::GetProcessHeap(), 0, bytes));
  if (copy == nullptr) return E_OUTOFMEMORY;
  ::CopyMemory(copy, text.c_str(), bytes);
  ::InterlockedIncrement(&g_outstanding);
  *buffer = copy;
  return S_OK;
}

#if !defined(VX_FAKE_UI_WITHOUT_FREE)
extern "C" __declspec(dllexport) void WINAPI KELTBufferFree(LPVOID buffer) {
  if (buffer == nullptr) return;
  ::HeapFree(::GetProcessHeap(), 0, buffer);
  ::InterlockedDecrement(&g_outstanding);
  ::InterlockedIncrement(&g_freed);
}
#endif

// For the tests only: what happened to the buffers.
extern "C" __declspec(dllexport) void WINAPI VxFakeUiCounts(LONG* outstanding, LONG* freed) {
  *outstanding = g_outstanding;
  *freed = g_freed;
}

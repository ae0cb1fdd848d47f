// Windows base types for the portable core.
// On Windows this is the system headers; elsewhere it declares exactly the subset the core uses,
// with the same names, sizes and values, so core code reads the same on both platforms.
#pragma once

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#else  // !_WIN32

#include <cstdint>
#include <cstring>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using UINT = unsigned int;
using INT = int;
using BOOL = int;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORD64 = std::uint64_t;
using HRESULT = std::int32_t;
using LANGID = WORD;
using REGSAM = DWORD;
using WCHAR = char16_t;

struct HWND__;
using HWND = HWND__*;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
using HMODULE = HINSTANCE;
using HANDLE = void*;

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool operator!=(const GUID& a, const GUID& b) { return !(a == b); }
using CLSID = GUID;
using IID = GUID;

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;

// HRESULTs
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
inline constexpr HRESULT E_HANDLE = static_cast<HRESULT>(0x80070006u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
inline constexpr HRESULT NTE_BAD_SIGNATURE = static_cast<HRESULT>(0x80090006u);

// Win32 error codes
inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_PATH_NOT_FOUND = 3;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_HANDLE = 6;
inline constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr LONG ERROR_INVALID_DATA = 13;
inline constexpr LONG ERROR_OUTOFMEMORY = 14;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr LONG ERROR_MOD_NOT_FOUND = 126;
inline constexpr LONG ERROR_PROC_NOT_FOUND = 127;
inline constexpr LONG ERROR_BAD_PATHNAME = 161;
inline constexpr LONG ERROR_ALREADY_EXISTS = 183;
inline constexpr LONG ERROR_MORE_DATA = 234;
inline constexpr LONG ERROR_NO_MORE_ITEMS = 259;
inline constexpr LONG ERROR_BADKEY = 1010;
inline constexpr LONG ERROR_KEY_DELETED = 1018;
inline constexpr LONG ERROR_UNSUPPORTED_TYPE = 1630;

// Registry value types
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_QWORD = 11;

// Registry access rights and views
inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_NOTIFY = 0x0010;
inline constexpr REGSAM KEY_WOW64_64KEY = 0x0100;
inline constexpr REGSAM KEY_WOW64_32KEY = 0x0200;
inline constexpr REGSAM DELETE = 0x00010000;
inline constexpr REGSAM KEY_READ = 0x00020019;
inline constexpr REGSAM KEY_WRITE = 0x00020006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0x000F003F;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// Message boxes
inline constexpr UINT MB_OK = 0x0;
inline constexpr UINT MB_OKCANCEL = 0x1;
inline constexpr UINT MB_YESNO = 0x4;
inline constexpr UINT MB_ICONERROR = 0x10;
inline constexpr UINT MB_ICONQUESTION = 0x20;
inline constexpr UINT MB_ICONWARNING = 0x30;
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr int IDYES = 6;
inline constexpr int IDNO = 7;

// OS version record
inline constexpr DWORD VER_PLATFORM_WIN32_NT = 2;
inline constexpr BYTE VER_NT_WORKSTATION = 1;
inline constexpr BYTE VER_NT_DOMAIN_CONTROLLER = 2;
inline constexpr BYTE VER_NT_SERVER = 3;

inline constexpr UINT MAX_PATH = 260;

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)
#define HIWORD(l) (static_cast<WORD>((static_cast<DWORD>(l) >> 16) & 0xFFFF))
#define LOWORD(l) (static_cast<WORD>(static_cast<DWORD>(l) & 0xFFFF))

#endif  // _WIN32

namespace vx {

// 0x80070000 combined with a positive Win32 code; 0 and negative values are kept as they are.
constexpr HRESULT HResultFromWin32(long code) {
  return code > 0 ? static_cast<HRESULT>(0x80070000u | (static_cast<unsigned long>(code) & 0xFFFFu))
                  : static_cast<HRESULT>(code);
}

}  // namespace vx

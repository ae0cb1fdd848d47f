// Registry port: the subset of the Windows registry that the system uses, with its rules.
// Names are case-insensitive and case-preserving; paths hold one or more components separated by "\";
// calls answer Win32 error codes (ERROR_SUCCESS, ERROR_FILE_NOT_FOUND, ERROR_MORE_DATA ...) exactly as
// the advapi32 functions they stand for, so core code and its tests read like the Win32 code.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/wintypes.h"

namespace vx::platform {

enum class RegistryRoot { ClassesRoot, CurrentUser, LocalMachine, Users };

class IRegistryKey {
 public:
  virtual ~IRegistryKey() = default;

  // RegOpenKeyExW / RegCreateKeyExW relative to this key. An empty path opens this key again.
  // KEY_WOW64_32KEY in access selects the 32-bit view where the path leads into it.
  virtual LONG OpenKey(std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key) = 0;
  virtual LONG CreateKey(std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key,
                         DWORD* disposition = nullptr) = 0;

  // RegQueryValueExW: type and size may be asked without data (data null); a short buffer answers
  // ERROR_MORE_DATA and sets *size to the size needed. An empty name is the default value.
  virtual LONG QueryValue(std::u16string_view name, DWORD* type, BYTE* data, DWORD* size) = 0;
  // RegSetValueExW: the bytes are stored as given, whatever the type says.
  virtual LONG SetValue(std::u16string_view name, DWORD type, const BYTE* data, DWORD size) = 0;
  virtual LONG DeleteValue(std::u16string_view name) = 0;

  // RegQueryInfoKeyW: counts of direct subkeys and values (either pointer may be null).
  virtual LONG QueryInfo(DWORD* subKeys, DWORD* values) = 0;
  // RegEnumKeyExW / RegEnumValueW by index; ERROR_NO_MORE_ITEMS past the end.
  virtual LONG EnumKey(DWORD index, std::u16string& name) = 0;
  virtual LONG EnumValue(DWORD index, std::u16string& name) = 0;

  // RegDeleteKeyExW: deletes the key at path below this one, which must have no subkeys of its own
  // (ERROR_ACCESS_DENIED otherwise, as the real registry answers). view is 0 or KEY_WOW64_32KEY.
  virtual LONG DeleteKey(std::u16string_view path, REGSAM view = 0) = 0;
};

class IRegistry {
 public:
  virtual ~IRegistry() = default;
  virtual LONG OpenKey(RegistryRoot root, std::u16string_view path, REGSAM access,
                       std::unique_ptr<IRegistryKey>& key) = 0;
  virtual LONG CreateKey(RegistryRoot root, std::u16string_view path, REGSAM access,
                         std::unique_ptr<IRegistryKey>& key, DWORD* disposition = nullptr) = 0;
  virtual LONG DeleteKey(RegistryRoot root, std::u16string_view path, REGSAM view = 0) = 0;
};

// Typed helpers over the port (free functions, so every implementation gets them).
// A DWORD is read only from a REG_DWORD value of exactly 4 bytes; anything else answers
// ERROR_UNSUPPORTED_TYPE. Strings are read from REG_SZ or REG_EXPAND_SZ (type reported in *type),
// tolerate a missing terminating NUL and stop at the first NUL; other types answer ERROR_UNSUPPORTED_TYPE.
LONG ReadDword(IRegistryKey& key, std::u16string_view name, DWORD& value);
LONG ReadString(IRegistryKey& key, std::u16string_view name, std::u16string& value, DWORD* type = nullptr);
LONG ReadBytes(IRegistryKey& key, std::u16string_view name, std::vector<BYTE>& value, DWORD* type = nullptr);
LONG WriteDword(IRegistryKey& key, std::u16string_view name, DWORD value);
LONG WriteString(IRegistryKey& key, std::u16string_view name, std::u16string_view value, DWORD type = REG_SZ);

}  // namespace vx::platform

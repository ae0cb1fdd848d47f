#include "platform/win32/win32_registry.h"

#include <string>
#include <type_traits>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"

namespace vx::platform {

namespace {

// Longest legal names plus the terminating NUL (Wine accepts key names of 256 characters).
constexpr DWORD kKeyNameChars = 256 + 1;
constexpr DWORD kValueNameChars = 16383 + 1;

HKEY RootKey(RegistryRoot root) {
  switch (root) {
    case RegistryRoot::ClassesRoot: return HKEY_CLASSES_ROOT;
    case RegistryRoot::CurrentUser: return HKEY_CURRENT_USER;
    case RegistryRoot::LocalMachine: return HKEY_LOCAL_MACHINE;
    case RegistryRoot::Users: break;
  }
  return HKEY_USERS;
}

// The API wants NUL-terminated text; a view need not be.
std::u16string Terminated(std::u16string_view text) { return std::u16string(text); }

LONG Open(HKEY parent, std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key) {
  HKEY opened = nullptr;
  const LONG rc = ::RegOpenKeyExW(parent, AsWide(Terminated(path)), 0, access, &opened);
  key = rc == ERROR_SUCCESS ? WrapRegistryKey(opened, true) : nullptr;
  return rc;
}

LONG Create(HKEY parent, std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key,
            DWORD* disposition) {
  HKEY created = nullptr;
  DWORD how = 0;
  const LONG rc = ::RegCreateKeyExW(parent, AsWide(Terminated(path)), 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                                    nullptr, &created, &how);
  if (rc == ERROR_SUCCESS && disposition != nullptr) *disposition = how;
  key = rc == ERROR_SUCCESS ? WrapRegistryKey(created, true) : nullptr;
  return rc;
}

class Win32Key final : public IRegistryKey {
 public:
  Win32Key(HKEY key, bool owned) : key_(key), owner_(owned ? key : nullptr) {}

  LONG OpenKey(std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key) override {
    return Open(key_, path, access, key);
  }

  LONG CreateKey(std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key,
                 DWORD* disposition) override {
    return Create(key_, path, access, key, disposition);
  }

  LONG QueryValue(std::u16string_view name, DWORD* type, BYTE* data, DWORD* size) override {
    return ::RegQueryValueExW(key_, AsWide(Terminated(name)), nullptr, type, data, size);
  }

  LONG SetValue(std::u16string_view name, DWORD type, const BYTE* data, DWORD size) override {
    return ::RegSetValueExW(key_, AsWide(Terminated(name)), 0, type, data, size);
  }

  LONG DeleteValue(std::u16string_view name) override { return ::RegDeleteValueW(key_, AsWide(Terminated(name))); }

  LONG QueryInfo(DWORD* subKeys, DWORD* values) override {
    return ::RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, subKeys, nullptr, nullptr, values, nullptr, nullptr,
                              nullptr, nullptr);
  }

  LONG EnumKey(DWORD index, std::u16string& name) override {
    wchar_t buffer[kKeyNameChars];
    DWORD length = kKeyNameChars;
    const LONG rc = ::RegEnumKeyExW(key_, index, buffer, &length, nullptr, nullptr, nullptr, nullptr);
    if (rc == ERROR_SUCCESS) name.assign(AsU16(buffer), length);
    return rc;
  }

  LONG EnumValue(DWORD index, std::u16string& name) override {
    std::u16string buffer(kValueNameChars, u'\0');
    DWORD length = kValueNameChars;
    const LONG rc = ::RegEnumValueW(key_, index, AsWide(buffer.data()), &length, nullptr, nullptr, nullptr, nullptr);
    if (rc != ERROR_SUCCESS) return rc;
    buffer.resize(length);
    name = std::move(buffer);
    return ERROR_SUCCESS;
  }

  LONG DeleteKey(std::u16string_view path, REGSAM view) override {
    return ::RegDeleteKeyExW(key_, AsWide(Terminated(path)), view, 0);
  }

 private:
  HKEY key_;
  UniqueKey owner_;
};

}  // namespace

LONG Win32Registry::OpenKey(RegistryRoot root, std::u16string_view path, REGSAM access,
                            std::unique_ptr<IRegistryKey>& key) {
  return Open(RootKey(root), path, access, key);
}

LONG Win32Registry::CreateKey(RegistryRoot root, std::u16string_view path, REGSAM access,
                              std::unique_ptr<IRegistryKey>& key, DWORD* disposition) {
  return Create(RootKey(root), path, access, key, disposition);
}

LONG Win32Registry::DeleteKey(RegistryRoot root, std::u16string_view path, REGSAM view) {
  return ::RegDeleteKeyExW(RootKey(root), AsWide(Terminated(path)), view, 0);
}

std::unique_ptr<IRegistryKey> WrapRegistryKey(HKEY key, bool takeOwnership) {
  if (key == nullptr) return nullptr;
  return std::make_unique<Win32Key>(key, takeOwnership);
}

}  // namespace vx::platform

#include "support/win32/language_win32.h"

#include <windows.h>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"

namespace vx {

namespace {

constexpr DWORD kAllowNeutralNames = 0x08000000;  // LOCALE_ALLOW_NEUTRAL_NAMES
constexpr DWORD kLanguageName = 0x8;              // MUI_LANGUAGE_NAME

using GetThreadPreferredUILanguagesFn = BOOL(WINAPI*)(DWORD, PULONG, PZZWSTR, PULONG);

std::u16string LocaleName(LANGID language) {
  wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
  const int length = ::LCIDToLocaleName(MAKELCID(language, SORT_DEFAULT), name, LOCALE_NAME_MAX_LENGTH,
                                        kAllowNeutralNames);
  return length > 1 ? std::u16string(AsU16(name)) : std::u16string();
}

}  // namespace

Win32ResourceModules::~Win32ResourceModules() {
  for (HMODULE module : m_loaded) ::FreeLibrary(module);
}

HMODULE Win32ResourceModules::LoadData(const std::u16string& path) {
  HMODULE module = ::LoadLibraryExW(AsWide(path), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  if (module) {
    m_loaded.push_back(module);
  } else {
    m_lastError = ::GetLastError();
  }
  return module;
}

HMODULE Win32ResourceModules::LoadLanguageModule(std::u16string_view modulePath, LANGID language) {
  const std::u16string directory(modulePath.substr(0, modulePath.size() - FileNamePart(modulePath).size()));
  const std::u16string file = std::u16string(FileNamePart(modulePath)) + u".mui";
  std::vector<std::u16string> names;
  if (language != 0) {
    names.push_back(LocaleName(language));
  } else {
    ThreadPreferredUILanguages(names);
  }
  for (const auto& name : names) {
    if (name.empty()) continue;
    const std::u16string path = directory + name + u"\\" + file;
    if (::GetFileAttributesW(AsWide(path)) == INVALID_FILE_ATTRIBUTES) continue;
    if (HMODULE module = LoadData(path)) return module;
  }
  if (language == 0 && ::GetFileAttributesW(AsWide(directory + file)) != INVALID_FILE_ATTRIBUTES)
    return LoadData(directory + file);
  m_lastError = ERROR_FILE_NOT_FOUND;
  return nullptr;
}

HMODULE Win32ResourceModules::LoadResourceModule(std::u16string_view path) { return LoadData(std::u16string(path)); }

std::u16string Win32ResourceModules::LoadString(HMODULE module, UINT id) {
  // With no buffer size LoadStringW hands out the resource text itself (not NUL-terminated).
  const wchar_t* text = nullptr;
  const int length = ::LoadStringW(module, id, reinterpret_cast<LPWSTR>(&text), 0);
  if (length <= 0 || !text) return {};
  return std::u16string(AsU16(text), static_cast<size_t>(length));
}

LANGID Win32ResourceModules::UserDefaultUILanguage() { return ::GetUserDefaultUILanguage(); }

bool Win32ResourceModules::ThreadPreferredUILanguages(std::vector<std::u16string>& languages) {
  const auto function = platform::ProcAddress<GetThreadPreferredUILanguagesFn>(
      ::GetModuleHandleW(L"kernel32.dll"), "GetThreadPreferredUILanguages");
  if (!function) return false;
  ULONG count = 0;
  ULONG size = 0;
  if (!function(kLanguageName, &count, nullptr, &size) || size == 0) return true;
  std::vector<wchar_t> buffer(size);
  if (!function(kLanguageName, &count, buffer.data(), &size)) return true;
  for (const wchar_t* at = buffer.data(); at < buffer.data() + buffer.size() && *at; at += wcslen(at) + 1)
    languages.emplace_back(AsU16(at));
  return true;
}

std::u16string ModuleLongPath(HMODULE module) {
  std::vector<wchar_t> path(MAX_PATH);
  for (;;) {
    const DWORD length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) return {};
    if (length < path.size()) break;
    path.resize(path.size() * 2);
  }
  std::vector<wchar_t> longPath(path.size() + MAX_PATH);
  const DWORD length = ::GetLongPathNameW(path.data(), longPath.data(), static_cast<DWORD>(longPath.size()));
  if (length == 0 || length >= longPath.size()) return std::u16string(AsU16(path.data()));
  return std::u16string(AsU16(longPath.data()));
}

}  // namespace vx

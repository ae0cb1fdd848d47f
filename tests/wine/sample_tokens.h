// The policy tests' credential tokens: three signed sample plug-ins copied beside the test program,
// registered in the editor's token list of the prefix, and removed again.
#pragma once

#include <windows.h>

#include <array>
#include <string>
#include <utility>

#include "sample_clsids.h"

namespace vxtest {

inline constexpr wchar_t kPluginsKey[] = L"SOFTWARE\\Vantorix\\KELT\\Plugins";

inline std::wstring BesideProgram(const std::wstring& file) {
  wchar_t path[MAX_PATH];
  const DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring directory(path, n);
  return directory.substr(0, directory.find_last_of(L'\\') + 1) + file;
}

// Password, fingerprint and smart card in UIElements\GPOEditorTokens; false when the registry refuses.
inline bool RegisterSampleTokens() {
  constexpr std::array<std::pair<const wchar_t*, const wchar_t*>, 3> samples{{
      {VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll"},
      {VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll"},
      {VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll"},
  }};
  for (const auto& [clsid, file] : samples) {
    const std::wstring key = std::wstring(kPluginsKey) + L"\\UIElements\\GPOEditorTokens\\" + clsid;
    const std::wstring path = BesideProgram(file);
    if (::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, path.c_str(),
                          static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS)
      return false;
  }
  return true;
}

inline void RemovePlugins() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPluginsKey); }

}  // namespace vxtest

// Credential tokens for the Wine tests: the signed sample plug-ins copied beside the test program,
// registered in the plug-in lists of the prefix, and removed again.
#pragma once

#include <windows.h>

#include <string>

#include "sample_clsids.h"
#include "wine_support.h"

namespace vxtest {

inline constexpr wchar_t kPluginsKey[] = L"SOFTWARE\\Vantorix\\KELT\\Plugins";

// Every signed sample registered in both of the snap-in's plug-in lists; false when the registry refuses.
inline bool RegisterAllSamples() {
  const wchar_t* const samples[][2] = {{VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll"},
                                       {VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll"},
                                       {VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll"},
                                       {VX_SAMPLE_CLSID_ONETIMECODE, L"vxsample_onetimecode.dll"},
                                       {VX_SAMPLE_CLSID_BIOMETRICS, L"vxsample_biometrics.dll"},
                                       {VX_SAMPLE_CLSID_SECURITYKEY, L"vxsample_securitykey.dll"}};
  for (const wchar_t* list : {L"GPOEditorTokens", L"Tokens"})
    for (const auto& [clsid, file] : samples) {
      const std::wstring key = std::wstring(kPluginsKey) + L"\\UIElements\\" + list + L"\\" + clsid;
      const std::wstring path = BesideProgram(file);
      if (::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, path.c_str(),
                            static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS)
        return false;
    }
  return true;
}

inline void RemovePlugins() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPluginsKey); }

}  // namespace vxtest

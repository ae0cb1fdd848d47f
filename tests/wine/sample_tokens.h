// Credential tokens for the Wine tests: the signed sample plug-ins copied beside the test program,
// registered in the plug-in lists of the prefix, and removed again.
#pragma once

#include <windows.h>

#include <string>

#include "sample_clsids.h"
#include "wine_support.h"

namespace vxtest {

inline constexpr wchar_t kPluginsKey[] = L"SOFTWARE\\Vantorix\\KELT\\Plugins";

// The first count of these samples in a list (GPOEditorTokens, Tokens); false when the registry refuses.
inline bool RegisterSamples(const wchar_t* list, int count) {
  const wchar_t* const samples[][2] = {{VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll"},
                                       {VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll"},
                                       {VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll"},
                                       {VX_SAMPLE_CLSID_ONETIMECODE, L"vxsample_onetimecode.dll"},
                                       {VX_SAMPLE_CLSID_BIOMETRICS, L"vxsample_biometrics.dll"},
                                       {VX_SAMPLE_CLSID_SECURITYKEY, L"vxsample_securitykey.dll"}};
  for (int i = 0; i < count; ++i) {
    const std::wstring key = std::wstring(kPluginsKey) + L"\\UIElements\\" + list + L"\\" + samples[i][0];
    const std::wstring path = BesideProgram(samples[i][1]);
    if (::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, path.c_str(),
                          static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS)
      return false;
  }
  return true;
}

// Password, fingerprint and smart card in the editor's token list.
inline bool RegisterSampleTokens() { return RegisterSamples(L"GPOEditorTokens", 3); }

// Every sample above in both of the snap-in's lists.
inline bool RegisterAllSamples() { return RegisterSamples(L"GPOEditorTokens", 6) && RegisterSamples(L"Tokens", 6); }

inline void RemovePlugins() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPluginsKey); }

}  // namespace vxtest

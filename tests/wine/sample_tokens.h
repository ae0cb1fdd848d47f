// Credential tokens for the Wine tests: the signed sample plug-ins copied beside the test program,
// registered in the plug-in lists of the prefix, and removed again.
#pragma once

#include <windows.h>

#include <string>
#include <utility>

#include "sample_clsids.h"
#include "wine_support.h"

namespace vxtest {

inline constexpr wchar_t kPluginsKey[] = L"SOFTWARE\\Vantorix\\KELT\\Plugins";

// One class of a list (GPOEditorTokens, Tokens) served by a module beside the program.
inline bool RegisterSample(const wchar_t* list, const std::wstring& clsid, const std::wstring& file) {
  const std::wstring key = std::wstring(kPluginsKey) + L"\\UIElements\\" + list + L"\\" + clsid;
  const std::wstring path = BesideProgram(file);
  return ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, path.c_str(),
                           static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

// Password, fingerprint and smart card in the editor's token list; false when the registry refuses.
inline bool RegisterSampleTokens() {
  return RegisterSample(L"GPOEditorTokens", VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll") &&
         RegisterSample(L"GPOEditorTokens", VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll") &&
         RegisterSample(L"GPOEditorTokens", VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll");
}

// Every sample in both of the snap-in's lists.
inline bool RegisterAllSamples() {
  const std::pair<const wchar_t*, const wchar_t*> samples[] = {
      {VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll"},
      {VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll"},
      {VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll"},
      {VX_SAMPLE_CLSID_ONETIMECODE, L"vxsample_onetimecode.dll"},
      {VX_SAMPLE_CLSID_BIOMETRICS, L"vxsample_biometrics.dll"},
      {VX_SAMPLE_CLSID_SECURITYKEY, L"vxsample_securitykey.dll"}};
  for (const wchar_t* list : {L"GPOEditorTokens", L"Tokens"})
    for (const auto& [clsid, file] : samples)
      if (!RegisterSample(list, clsid, file)) return false;
  return true;
}

inline void RemovePlugins() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPluginsKey); }

}  // namespace vxtest

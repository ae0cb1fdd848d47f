#include "plugins/win32/signature_win32.h"

#include <string>

#include <softpub.h>
#include <wintrust.h>

#include "platform/text.h"
#include "support/trace.h"

namespace vx::plugins {

LONG Win32SignatureVerifier::Check(std::u16string_view path) {
  const std::u16string file(path);
  WINTRUST_FILE_INFO fileInfo{};
  fileInfo.cbStruct = sizeof(fileInfo);
  fileInfo.pcwszFilePath = AsWide(file);

  WINTRUST_DATA data{};
  data.cbStruct = sizeof(data);
  data.dwUIChoice = WTD_UI_NONE;
  data.fdwRevocationChecks = WTD_REVOKE_NONE;
  data.dwUnionChoice = WTD_CHOICE_FILE;
  data.pFile = &fileInfo;
  data.dwStateAction = WTD_STATEACTION_VERIFY;
  data.dwProvFlags = WTD_REVOCATION_CHECK_NONE;

  GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  // INVALID_HANDLE_VALUE as the window: there is no interactive user to ask.
  const HWND noWindow = static_cast<HWND>(INVALID_HANDLE_VALUE);
  const LONG status = ::WinVerifyTrust(noWindow, &action, &data);
  // The verify step keeps provider state until it is closed, whatever it answered.
  data.dwStateAction = WTD_STATEACTION_CLOSE;
  ::WinVerifyTrust(noWindow, &action, &data);
  return status;
}

bool Win32SignatureVerifier::Verify(std::u16string_view path) {
  VXTraceNS::CTraceScope scope("Win32SignatureVerifier::Verify");
  const LONG status = Check(path);
  scope.Result(static_cast<HRESULT>(status), "WinVerifyTrust");
  return status == ERROR_SUCCESS;
}

}  // namespace vx::plugins

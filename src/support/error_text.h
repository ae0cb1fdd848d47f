// Texts of failures and the message box that shows a failed save to the user.
#pragma once

#include <string>

#include "platform/ui.h"
#include "platform/wintypes.h"

namespace vx {

// Identifiers of the language resource strings used here.
inline constexpr UINT IDS_ERROR_CAPTION = 138;       // message box caption
inline constexpr UINT IDS_ERROR_FORMAT = 156;        // "%ls ... 0x%08X": the joined text and the HRESULT
inline constexpr UINT IDS_E_SETPOLICIES = 157;       // saving the policies failed

// The ports these functions report through; installed at module load (tests install fakes).
struct ReportingPorts {
  platform::IMessageBox* messageBox = nullptr;
  platform::IStringTable* strings = nullptr;
  platform::IErrorTextLibrary* errorText = nullptr;
  platform::ISystemMessages* systemMessages = nullptr;
};
void InstallReporting(const ReportingPorts& ports);
const ReportingPorts& Reporting();

// Shows a failed hr to the user (error icon, OK button, owned by window) and returns hr; does nothing
// for a success.
HRESULT MessageBoxResult(HWND window, const std::u16string& text, HRESULT hr);

// The user-facing text of an HRESULT from the maker's UI library; empty when it has none.
std::u16string GetHresultText(HRESULT hr);

// The system's message text of an HRESULT, or "HRESULT 0x%8.8x"; trailing line breaks cut.
std::u16string GetSystemErrorText(HRESULT hr);

// The fixed name of an enforcement mode value, or "UNEXPECTED_0x%X".
std::u16string GetEnumValueName(DWORD value);

// A language resource string (empty when missing or no string table is installed).
std::u16string rstring(UINT id);

}  // namespace vx

#include "support/error_text.h"

#include "platform/format.h"
#include "support/trace.h"

namespace vx {

namespace {

ReportingPorts g_reporting;

struct EnumName {
  DWORD value;
  const char16_t* name;
};

constexpr EnumName kEnforcementModes[] = {
    {0, u"VX_ENFORCEPOLICY_UNCONFIGURED"},
    {1, u"VX_ENFORCEPOLICY_IMMEDIATELY"},
    {2, u"VX_ENFORCEPOLICY_SPECIFICDATE"},
};

}  // namespace

void InstallReporting(const ReportingPorts& ports) { g_reporting = ports; }
const ReportingPorts& Reporting() { return g_reporting; }

std::u16string rstring(UINT id) { return g_reporting.strings ? g_reporting.strings->LoadText(id) : std::u16string(); }

std::u16string GetHresultText(HRESULT hr) {
  std::u16string text;
  platform::IErrorTextLibrary* library = g_reporting.errorText;
  if (!library) return text;
  char16_t* buffer = nullptr;
  const HRESULT formatted = library->FormatMessage(hr, 0, &buffer);
  if (SUCCEEDED(formatted) && buffer && *buffer) text = buffer;
  library->BufferFree(buffer);
  return text;
}

std::u16string GetSystemErrorText(HRESULT hr) {
  std::u16string text;
  if (!g_reporting.systemMessages || !g_reporting.systemMessages->Lookup(hr, text))
    text = Format(u"HRESULT 0x%8.8x", hr);
  while (!text.empty() && (text.back() == u'\r' || text.back() == u'\n')) text.pop_back();
  return text;
}

std::u16string GetEnumValueName(DWORD value) {
  for (const auto& entry : kEnforcementModes)
    if (entry.value == value) return entry.name;
  return Format(u"UNEXPECTED_0x%X", value);
}

HRESULT MessageBoxResult(HWND window, const std::u16string& text, HRESULT hr) {
  if (SUCCEEDED(hr)) return hr;
  VXTraceNS::CTraceScope scope("::MessageBoxResult");
  const std::u16string joined = text + GetHresultText(hr);
  std::u16string format = rstring(IDS_ERROR_FORMAT);
  if (format.empty()) format = u"%ls\n\n0x%08X";  // no language resources: still say what failed
  const std::u16string message = Format(format, joined, hr);
  scope.Message("hr = 0x%08X", hr);
  if (g_reporting.messageBox) g_reporting.messageBox->Show(window, message, rstring(IDS_ERROR_CAPTION), MB_OK | MB_ICONERROR);
  return hr;
}

}  // namespace vx

#include "module/win32/module.h"

#include <string>

#include "pages/win32/page_modules.h"
#include "platform/win32/win32_registry.h"
#include "platform/win32/win32_ui.h"
#include "support/branding.h"
#include "support/error_text.h"
#include "support/language.h"
#include "support/win32/language_win32.h"
#include "support/win32/trace_win32.h"

namespace vx::module {

UINT g_wmKeltUpdateView = 0;
UINT g_wmKeltBroadcastNotification = 0;

namespace {

CVXAdminSnapinModule g_module;
// Current from process attach to detach.
VXTraceNS::CWin32Trace* g_trace = nullptr;
// Owns the loaded language resource module.
vx::Win32ResourceModules* g_resourceModules = nullptr;

// What the core reports failures through: branded language texts, message boxes, the maker's UI
// library and the system's message table.
struct ReportingServices {
  ReportingServices(vx::Win32ResourceModules& modules, HINSTANCE instance)
      : branding(registry, modules), strings(modules, vx::ModuleLongPath(instance), instance, &branding) {}
  vx::platform::Win32Registry registry;
  vx::CBranding branding;
  vx::CLanguageResources strings;
  vx::platform::Win32MessageBox messageBox;
  vx::platform::Win32ErrorTextLibrary errorText;
  vx::platform::Win32SystemMessages systemMessages;
};
ReportingServices* g_reporting = nullptr;

// The optional heap-detection hook of the system directory's helper library; absent is fine.
void StartHeapDetection(HMODULE module) {
  wchar_t directory[MAX_PATH + 2] = {};
  const UINT length = GetSystemDirectoryW(directory, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return;
  std::wstring path(directory, length);
  if (path.back() != L'\\') path += L'\\';
  path += L"vxappver.dll";
  HMODULE helper = LoadLibraryW(path.c_str());
  if (helper == nullptr) return;
  using HeapDetectionStart = void(WINAPI*)(HMODULE);
  auto start = reinterpret_cast<HeapDetectionStart>(
      reinterpret_cast<void*>(GetProcAddress(helper, "HeapDetectionStart")));
  if (start != nullptr) start(module);
}

}  // namespace

CVXAdminSnapinModule& Module() { return g_module; }

bool CVXAdminSnapinModule::Attach(HINSTANCE instance) {
  StartHeapDetection(instance);
  m_module = instance;
  DisableThreadLibraryCalls(instance);
  // Tracing and the language resources are optional: no exception may leave DllMain.
  try {
    g_trace = new VXTraceNS::CWin32Trace();
  } catch (...) {
    g_trace = nullptr;
  }
  // Resource files load as data only, so this is safe under the loader lock.
  HMODULE language = nullptr;
  try {
    g_resourceModules = new vx::Win32ResourceModules();
    language = vx::LoadDefaultMUILibrary(*g_resourceModules, vx::ModuleLongPath(instance), instance);
  } catch (...) {
    language = nullptr;
  }
  m_resourceModule = language != nullptr ? language : instance;
  vx::pages::InstallPageModules({instance, m_resourceModule});
  try {
    if (g_resourceModules) {
      g_reporting = new ReportingServices(*g_resourceModules, instance);
      vx::InstallReporting({&g_reporting->messageBox, &g_reporting->strings, &g_reporting->errorText,
                            &g_reporting->systemMessages});
    }
  } catch (...) {
    g_reporting = nullptr;
  }
  g_wmKeltUpdateView = RegisterWindowMessageW(L"WM_KELT_UPDATEVIEW");
  g_wmKeltBroadcastNotification = RegisterWindowMessageW(L"KELT_BROADCAST_NOTIFICATION");
  return true;
}

void CVXAdminSnapinModule::Detach(bool processEnding) {
  // At process end the system frees the libraries itself; freeing them here could touch unloaded code.
  vx::InstallReporting({});
  if (!processEnding) {
    delete g_reporting;
    delete g_resourceModules;
  }
  g_reporting = nullptr;
  g_resourceModules = nullptr;
  m_resourceModule = nullptr;
  delete g_trace;
  g_trace = nullptr;
}

}  // namespace vx::module

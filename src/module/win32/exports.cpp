// The DLL's entry points; each forwards to the module object.
#include <cwchar>

#include "module/win32/module.h"

using vx::module::Module;

extern "C" {

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  if (reason == DLL_PROCESS_ATTACH) return Module().Attach(instance) ? TRUE : FALSE;
  if (reason == DLL_PROCESS_DETACH) Module().Detach(reserved != nullptr);
  return TRUE;
}

HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out) {
  return Module().GetClassObject(clsid, iid, out);
}

HRESULT STDAPICALLTYPE DllCanUnloadNow() { return Module().CanUnloadNow(); }

HRESULT STDAPICALLTYPE DllRegisterServer() { return Module().RegisterServer(); }

HRESULT STDAPICALLTYPE DllUnregisterServer() { return Module().UnregisterServer(); }

// "user" (in any case) registers per user; a failed install is undone.
HRESULT STDAPICALLTYPE DllInstall(BOOL install, LPCWSTR commandLine) {
  Module().SetPerUser(commandLine != nullptr && _wcsicmp(commandLine, L"user") == 0);
  HRESULT hr;
  if (install) {
    hr = DllRegisterServer();
    if (FAILED(hr)) DllUnregisterServer();
  } else {
    hr = DllUnregisterServer();
  }
  Module().SetPerUser(false);
  return hr;
}

}  // extern "C"

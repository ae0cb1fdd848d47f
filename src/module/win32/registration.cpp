// DllRegisterServer / DllUnregisterServer: the registry script (REGISTRY resource 207) with %MODULE%
// replaced, and the type library from the module's own resources, under the system default locale.
#include <windows.h>
#include <oleauto.h>

#include <new>
#include <string>

#include <wrl/client.h>

#include "module/registration_script.h"
#include "module/unregister_components.h"
#include "module/win32/module.h"
#include "platform/text.h"
#include "platform/win32/win32_registry.h"
#include "support/check.h"

namespace vx::module {

namespace {

using Microsoft::WRL::ComPtr;

constexpr WORD kRegistryScriptId = 207;

// The thread locale switched to the system default for a registration, and back afterwards.
class CSystemLocaleScope {
 public:
  CSystemLocaleScope() : m_saved(GetThreadLocale()) { SetThreadLocale(LOCALE_SYSTEM_DEFAULT); }
  ~CSystemLocaleScope() { SetThreadLocale(m_saved); }
  CSystemLocaleScope(const CSystemLocaleScope&) = delete;
  CSystemLocaleScope& operator=(const CSystemLocaleScope&) = delete;

 private:
  LCID m_saved;
};

HRESULT LastErrorResult() {
  const DWORD error = GetLastError();
  return error == 0 ? E_FAIL : HRESULT_FROM_WIN32(error);
}

std::wstring ModulePath(HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) ThrowHResult(CheckResult(LastErrorResult(), "GetModuleFileNameW", __FILE__, __LINE__));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

// The script text: UTF-16 when it starts with a byte-order mark, UTF-8 otherwise.
std::u16string LoadRegistryScript(HMODULE module) {
  HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(kRegistryScriptId), L"REGISTRY");
  if (resource == nullptr) ThrowHResult(CheckResult(LastErrorResult(), "FindResourceW(REGISTRY)", __FILE__, __LINE__));
  HGLOBAL loaded = LoadResource(module, resource);
  const DWORD size = SizeofResource(module, resource);
  const auto* bytes = loaded ? static_cast<const unsigned char*>(LockResource(loaded)) : nullptr;
  if (bytes == nullptr) ThrowHResult(CheckResult(LastErrorResult(), "LoadResource(REGISTRY)", __FILE__, __LINE__));
  if (size >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE)
    return std::u16string(reinterpret_cast<const char16_t*>(bytes + 2), (size - 2) / 2);
  std::string_view text(reinterpret_cast<const char*>(bytes), size);
  if (text.size() >= 3 && text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
  return Utf8ToUtf16(text);
}

// The per-user functions of oleaut32 when it has them, else the machine-wide ones.
template <class Function>
Function PerUserFunction(const char* name) {
  HMODULE oleaut = GetModuleHandleW(L"oleaut32.dll");
  return oleaut ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(oleaut, name))) : nullptr;
}

ComPtr<ITypeLib> LoadOwnTypeLibrary(const std::wstring& path) {
  ComPtr<ITypeLib> library;
  VX_CHECK(LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.GetAddressOf()));
  return library;
}

void RegisterTypeLibrary(const std::wstring& path, bool perUser, VXTraceNS::CTraceScope& scope) {
  ComPtr<ITypeLib> library = LoadOwnTypeLibrary(path);
  using RegisterForUser = HRESULT(WINAPI*)(ITypeLib*, OLECHAR*, OLECHAR*);
  RegisterForUser forUser = perUser ? PerUserFunction<RegisterForUser>("RegisterTypeLibForUser") : nullptr;
  scope.Message("type library %ls%ls", path.c_str(), forUser ? L" (per user)" : L"");
  std::wstring full = path;
  VX_CHECK(forUser ? forUser(library.Get(), full.data(), nullptr) : RegisterTypeLib(library.Get(), full.data(), nullptr));
}

void UnregisterTypeLibrary(const std::wstring& path, bool perUser, VXTraceNS::CTraceScope& scope) {
  ComPtr<ITypeLib> library = LoadOwnTypeLibrary(path);
  TLIBATTR* attributes = nullptr;
  VX_CHECK(library->GetLibAttr(&attributes));
  const TLIBATTR own = *attributes;
  library->ReleaseTLibAttr(attributes);
  // Nothing registered is nothing to remove (the platforms disagree on the code they give then).
  ComPtr<ITypeLib> registered;
  const HRESULT found = LoadRegTypeLib(own.guid, own.wMajorVerNum, own.wMinorVerNum, own.lcid, registered.GetAddressOf());
  if (FAILED(found)) {
    scope.Message("type library not registered (0x%08X)", static_cast<DWORD>(found));
    return;
  }
  using UnregisterForUser = HRESULT(WINAPI*)(REFGUID, WORD, WORD, LCID, SYSKIND);
  UnregisterForUser forUser = perUser ? PerUserFunction<UnregisterForUser>("UnRegisterTypeLibForUser") : nullptr;
  VX_CHECK((forUser ? forUser : &UnRegisterTypeLib)(own.guid, own.wMajorVerNum, own.wMinorVerNum, own.lcid, own.syskind));
}

// Runs the registry script with %MODULE% as the module's full path; a syntax error's text is traced.
void UpdateRegistry(HMODULE module, bool registering, bool perUser, VXTraceNS::CTraceScope& scope) {
  const std::wstring path = ModulePath(module);
  const std::u16string script = LoadRegistryScript(module);
  platform::Win32Registry registry;
  std::u16string error;
  const HRESULT hr = RunRegistrationScript(registry, script, {{u"MODULE", std::u16string(AsU16(path.c_str()))}},
                                           registering, perUser, &error);
  if (!error.empty()) scope.Message("registry script: %ls", AsWide(error));
  VX_CHECK(hr);
}

}  // namespace

HRESULT CVXAdminSnapinModule::RegisterServer() {
  VXTraceNS::CTraceScope scope("DllRegisterServer");
  CSystemLocaleScope locale;
  const HRESULT hr = HResultGuard([&]() -> HRESULT {
    UpdateRegistry(m_module, true, m_perUser, scope);
    RegisterTypeLibrary(ModulePath(m_module), m_perUser, scope);
    return S_OK;
  });
  return scope.Result(hr, "_AtlModule.DllRegisterServer()");
}

HRESULT CVXAdminSnapinModule::UnregisterServer() {
  VXTraceNS::CTraceScope scope("DllUnregisterServer");
  // Inert here: no unregistration callback of this module removes plug-in keys. A missing Plugins
  // key only leaves the helper's stored error, never a failure of the unregistration.
  platform::Win32Registry pluginRegistry;
  KELT_SDK::CUnregisterComponents components(pluginRegistry);
  scope.Message("Plugins key: 0x%08X", static_cast<DWORD>(components.OpenResult()));
  CSystemLocaleScope locale;
  const HRESULT hr = HResultGuard([&]() -> HRESULT {
    UpdateRegistry(m_module, false, m_perUser, scope);
    UnregisterTypeLibrary(ModulePath(m_module), m_perUser, scope);
    return S_OK;
  });
  return scope.Result(hr, "_AtlModule.DllUnregisterServer()");
}

}  // namespace vx::module

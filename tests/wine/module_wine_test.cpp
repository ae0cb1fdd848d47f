// The DLL as the loader, regsvr32 and COM see it: the heap-detection hook started at load, per-user or
// machine installation with the type library, the class objects and DllCanUnloadNow. What the script
// writes and removes is the engine's (native test) and the package test's; the modes are the console test's.
#include <windows.h>

namespace {
// Where the test heap-detection hook leaves the name of the module that started it.
constexpr wchar_t kHookKey[] = L"Software\\VXGPOSnapinTests\\HeapDetection";
}  // namespace

#ifdef VX_HEAP_DETECTION_HOOK
// Built from this file as the helper library "vxappver.dll" that the module starts at load.
extern "C" __declspec(dllexport) void WINAPI HeapDetectionStart(HMODULE module) {
  wchar_t path[MAX_PATH] = {};
  const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
  RegSetKeyValueW(HKEY_CURRENT_USER, kHookKey, L"Module", REG_SZ, path, (length + 1) * sizeof(wchar_t));
}
#else

#include <gtest/gtest.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <process.h>
#include <string>

#include "platform/win32/win32_handles.h"
#include "rsop/win32/rsop_snapin_mode.h"
#include "sample_tokens.h"

using Microsoft::WRL::ComPtr;

namespace {

constexpr CLSID kClasses[] = {{0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xeb}},
                              {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xec}},
                              {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xed}}};
constexpr GUID kTypeLib = {0x7b9e7131, 0xb528, 0x450c, {0xa6, 0x37, 0x7e, 0xce, 0x1e, 0x77, 0xe7, 0x6c}};

const std::wstring kClsid = L"Software\\Classes\\CLSID\\";
const std::wstring kClassIds[] = {L"{0471D727-58C9-47C4-8350-7D99EB9B60EB}", L"{0471D727-58C9-47C4-8350-7D99EB9B60EC}",
                                  L"{0471D727-58C9-47C4-8350-7D99EB9B60ED}"};

std::wstring Upper(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return std::towupper(c); });
  return text;
}

// A REG_SZ value as text; "<missing>" when the key or the value is not there.
std::wstring Text(HKEY root, const std::wstring& path, const std::wstring& name = L"") {
  wchar_t text[512] = {};
  DWORD size = sizeof text;
  const LONG rc = RegGetValueW(root, path.c_str(), name.c_str(), RRF_RT_REG_SZ, nullptr, text, &size);
  return rc == ERROR_SUCCESS ? text : L"<missing>";
}

bool KeyExists(HKEY root, const std::wstring& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

const std::wstring kModulePath = vxtest::BesideProgram(L"VXGPOSnapin.dll");

// The loaded DLL and its exports; stays loaded for the whole run.
struct Exports {
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  using Simple = HRESULT(STDAPICALLTYPE*)();
  using Install = HRESULT(STDAPICALLTYPE*)(BOOL, LPCWSTR);
  HMODULE module = LoadLibraryW(kModulePath.c_str());
  GetClassObject getClassObject = vx::platform::ProcAddress<GetClassObject>(module, "DllGetClassObject");
  Simple canUnloadNow = vx::platform::ProcAddress<Simple>(module, "DllCanUnloadNow");
  Simple registerServer = vx::platform::ProcAddress<Simple>(module, "DllRegisterServer");
  Simple unregisterServer = vx::platform::ProcAddress<Simple>(module, "DllUnregisterServer");
  Install install = vx::platform::ProcAddress<Install>(module, "DllInstall");
};

const Exports& Dll() {
  static const Exports exports;
  return exports;
}

ComPtr<IClassFactory> ClassObject(const CLSID& clsid) {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(Dll().getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
  return factory;
}

class Module : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(Dll().module, nullptr) << "cannot load the DLL beside the program";
    ASSERT_TRUE(Dll().getClassObject && Dll().canUnloadNow && Dll().registerServer && Dll().unregisterServer &&
                Dll().install)
        << "every entry point is exported under its plain name";
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    Clean();
  }
  void TearDown() override {
    Clean();
    CoUninitialize();
  }

  // Removes whatever a registration of the module may have left, machine and per user, without the
  // plug-ins key too: unregistration does not need it.
  static void Clean() {
    Dll().install(FALSE, L"user");
    Dll().unregisterServer();
    for (const std::wstring& id : kClassIds) {
      RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kClsid + id).c_str());
      RegDeleteTreeW(HKEY_CURRENT_USER, (kClsid + id).c_str());
    }
    UnRegisterTypeLib(kTypeLib, 1, 0, 0, SYS_WIN64);
    vxtest::RemovePlugins();
  }
  static bool TypeLibraryRegistered() {
    ComPtr<ITypeLib> library;
    return LoadRegTypeLib(kTypeLib, 1, 0, 0, &library) == S_OK;
  }
};

// regsvr32 loads the module in a process of its own, after the hook is in place.
TEST_F(Module, LoadStartsTheHeapDetectionHookOfTheSystemDirectory) {
  wchar_t system[MAX_PATH] = {};
  ASSERT_GT(GetSystemDirectoryW(system, MAX_PATH), 0u);
  const std::wstring hook = std::wstring(system) + L"\\vxappver.dll";
  ASSERT_TRUE(CopyFileW(vxtest::BesideProgram(L"vxappver_test_hook.dll").c_str(), hook.c_str(), FALSE));
  RegDeleteTreeW(HKEY_CURRENT_USER, kHookKey);
  const std::wstring quoted = L"\"" + kModulePath + L"\"";
  EXPECT_EQ(_wspawnlp(_P_WAIT, L"regsvr32.exe", L"regsvr32.exe", L"/s", quoted.c_str(), nullptr), 0);
  EXPECT_EQ(Upper(Text(HKEY_CURRENT_USER, kHookKey, L"Module")), Upper(kModulePath)) << "given the module's handle";
  EXPECT_TRUE(DeleteFileW(hook.c_str()));
  RegDeleteTreeW(HKEY_CURRENT_USER, kHookKey);
  RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\VXGPOSnapinTests");
}

// "user" in any case registers the classes and the type library per user, anything else for the machine.
TEST_F(Module, DllInstallRegistersPerUserOrMachineAndRestoresTheThreadLocale) {
  const LCID german = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT);
  const LCID before = GetThreadLocale();
  ASSERT_TRUE(SetThreadLocale(german));
  for (const wchar_t* text : {L"user", L"USER", L"", L"users", static_cast<const wchar_t*>(nullptr)}) {
    const bool perUser = text != nullptr && _wcsicmp(text, L"user") == 0;
    SCOPED_TRACE(text ? std::string(text, text + wcslen(text)) : "null");
    const HKEY where = perUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
    const HKEY elsewhere = perUser ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    ASSERT_EQ(Dll().install(TRUE, text), S_OK);
    EXPECT_EQ(GetThreadLocale(), german) << "registration runs under the system locale, then the caller's again";
    for (const std::wstring& id : kClassIds) {
      EXPECT_EQ(Upper(Text(where, kClsid + id + L"\\InprocServer32")), Upper(kModulePath));
      EXPECT_FALSE(KeyExists(elsewhere, kClsid + id));
    }
    EXPECT_TRUE(TypeLibraryRegistered());
    ASSERT_EQ(Dll().install(FALSE, text), S_OK);
    for (const std::wstring& id : kClassIds) EXPECT_FALSE(KeyExists(where, kClsid + id));
    EXPECT_FALSE(TypeLibraryRegistered());
  }
  SetThreadLocale(before);
}

// The interface the RSoP factories set the mode through is declared twice, in C++ and in the type
// library: the same four operations in the same vtable slots.
TEST_F(Module, TypeLibraryDeclaresTheModeInterfaceInItsVtableOrder) {
  ASSERT_EQ(Dll().registerServer(), S_OK);
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadRegTypeLib(kTypeLib, 1, 0, 0, &library), S_OK);
  ComPtr<ITypeInfo> info;
  ASSERT_EQ(library->GetTypeInfoOfGuid(vx::rsop::IID_IVXRsopSnapinMode, &info), S_OK);
  // Each operation as "name kind slot", the slots counted in pointers from the vtable's start.
  std::wstring operations;
  FUNCDESC* function = nullptr;
  for (UINT i = 0; info->GetFuncDesc(i, &function) == S_OK; ++i) {
    BSTR name = nullptr;
    ASSERT_EQ(info->GetDocumentation(function->memid, &name, nullptr, nullptr, nullptr), S_OK);
    const wchar_t* kind = function->invkind == INVOKE_PROPERTYGET   ? L" get "
                          : function->invkind == INVOKE_PROPERTYPUT ? L" put "
                                                                    : L" other ";
    operations += name + (kind + std::to_wstring(function->oVft / sizeof(void*))) + L"; ";
    SysFreeString(name);
    info->ReleaseFuncDesc(function);
  }
  EXPECT_EQ(operations, L"Rsop get 3; Rsop put 4; MachineSection get 5; MachineSection put 6; ")
      << "the four operations after IUnknown's three";
}

// Each class object refuses what COM says it must refuse and clears results first; the module stays
// while a class object, an object or a server lock lives. Activation through the registry, and the mode
// each class makes the snap-in in, are the console test's.
TEST_F(Module, ClassObjectsRefuseWhatComRefusesAndHoldTheModuleWhileInUse) {
  for (const CLSID& clsid : kClasses) {
    SCOPED_TRACE(static_cast<int>(clsid.Data4[7]));
    ASSERT_EQ(Dll().canUnloadNow(), S_OK);
    ComPtr<IClassFactory> factory = ClassObject(clsid);
    ASSERT_TRUE(factory);
    EXPECT_EQ(Dll().canUnloadNow(), S_FALSE) << "a live class object";
    const struct {
      IUnknown* outer;
      IID iid;
      HRESULT expected;
    } refused[] = {{factory.Get(), IID_IUnknown, CLASS_E_NOAGGREGATION},
                   {factory.Get(), vx::rsop::IID_IVXRsopSnapinMode, CLASS_E_NOAGGREGATION},
                   {nullptr, IID_IClassFactory, E_NOINTERFACE}};
    for (const auto& r : refused) {
      void* out = reinterpret_cast<void*>(0x1234);
      EXPECT_EQ(factory->CreateInstance(r.outer, r.iid, &out), r.expected);
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);

    ComPtr<IUnknown> object;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(object.GetAddressOf())), S_OK);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    factory.Reset();
    EXPECT_EQ(Dll().canUnloadNow(), S_FALSE) << "an object and a server lock";
    object.Reset();
    EXPECT_EQ(Dll().canUnloadNow(), S_FALSE) << "the server lock";
    factory = ClassObject(clsid);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    factory.Reset();
    EXPECT_EQ(Dll().canUnloadNow(), S_OK) << "every reference was given back";
  }
  void* out = reinterpret_cast<void*>(0x1234);
  const CLSID unknown = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xee}};
  EXPECT_EQ(Dll().getClassObject(unknown, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(out, nullptr);
}

}  // namespace
#endif  // VX_HEAP_DETECTION_HOOK

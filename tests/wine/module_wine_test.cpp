// The DLL as the console and regsvr32 see it: registration against the whole registry tables,
// unregistration, per-user installation, the type library, class objects, the RSoP factories' modes,
// the module lock count and the heap-detection hook. The DLL is copied beside this program; each test
// starts and ends with nothing of the module registered.
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

#include <oleauto.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <wrl/client.h>

#include "rsop/win32/rsop_snapin_mode.h"

using Microsoft::WRL::ComPtr;

namespace {

constexpr CLSID kEditorClass = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xeb}};
constexpr CLSID kRsopClass = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xec}};
constexpr CLSID kUserRsopClass = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xed}};
constexpr GUID kTypeLib = {0x7b9e7131, 0xb528, 0x450c, {0xa6, 0x37, 0x7e, 0xce, 0x1e, 0x77, 0xe7, 0x6c}};

const std::wstring kMmc = L"Software\\Microsoft\\MMC";
const std::wstring kClasses = L"Software\\Classes\\CLSID";
const std::wstring kEditorName = L"Vantorix GPO Editor authentication policies snapin";
const std::wstring kRsopName = L"Vantorix GPO Editor authentication policies RSoP snapin";
const std::wstring kNodeName = L"Vantorix Keystone Client (extension node)";
const std::wstring kNode = L"{1CA3CF7B-B0C5-407b-BA51-D45B11291688}";
const std::wstring kClassIds[] = {L"{0471D727-58C9-47C4-8350-7D99EB9B60EB}", L"{0471D727-58C9-47C4-8350-7D99EB9B60EC}",
                                  L"{0471D727-58C9-47C4-8350-7D99EB9B60ED}"};
// The extended console node types and the class that extends each.
const std::pair<std::wstring, std::wstring> kExtended[] = {
    {L"{8FC0B73A-A0E1-11D1-A7D3-0000F87571E3}", kClassIds[0]},
    {L"{8FC0B73C-A0E1-11d1-A7D3-0000F87571E3}", kClassIds[0]},
    {L"{6A76273E-EB8E-45DB-94C5-25663A5f2C1A}", kClassIds[1]},
    {L"{E52C5CE3-FD27-4402-84DE-D9A5F2858910}", kClassIds[2]},
};

std::wstring Upper(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(), [](wchar_t c) { return std::towupper(c); });
  return text;
}

// A subtree as key path (upper case, relative) -> value name (upper case) -> "type:data".
using Values = std::map<std::wstring, std::wstring>;
using Tree = std::map<std::wstring, Values>;

void ReadTree(HKEY key, const std::wstring& relative, Tree& tree) {
  Values& values = tree[Upper(relative)];
  for (DWORD i = 0;; ++i) {
    wchar_t name[256];
    DWORD nameLength = 256, type = 0, size = 0;
    BYTE data[2048];
    size = sizeof(data);
    if (RegEnumValueW(key, i, name, &nameLength, nullptr, &type, data, &size) != ERROR_SUCCESS) break;
    std::wstring text = type == REG_SZ ? std::wstring(reinterpret_cast<wchar_t*>(data), size / sizeof(wchar_t))
                                       : L"(binary)";
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    values[Upper(name)] = std::to_wstring(type) + L":" + text;
  }
  for (DWORD i = 0;; ++i) {
    wchar_t name[256];
    DWORD nameLength = 256;
    if (RegEnumKeyExW(key, i, name, &nameLength, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    HKEY child = nullptr;
    if (RegOpenKeyExW(key, name, 0, KEY_READ, &child) != ERROR_SUCCESS) continue;
    ReadTree(child, relative.empty() ? name : relative + L"\\" + name, tree);
    RegCloseKey(child);
  }
}

// The whole subtree below root\path; empty when the key does not exist.
Tree Subtree(HKEY root, const std::wstring& path) {
  Tree tree;
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return tree;
  ReadTree(key, L"", tree);
  RegCloseKey(key);
  return tree;
}

bool KeyExists(HKEY root, const std::wstring& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

std::wstring Sz(const std::wstring& text) { return std::to_wstring(REG_SZ) + L":" + text; }

std::string Show(const Tree& tree) {
  std::wstring text;
  for (const auto& [path, values] : tree) {
    text += L"[" + path + L"]\n";
    for (const auto& [name, value] : values) text += L"  " + (name.empty() ? L"@" : name) + L" = " + value + L"\n";
  }
  return std::string(text.begin(), text.end());
}

Tree Expected(std::initializer_list<std::pair<std::wstring, Values>> keys) {
  Tree tree;
  for (const auto& [path, values] : keys) {
    Values& upper = tree[Upper(path)];
    for (const auto& [name, value] : values) upper[Upper(name)] = value;
  }
  return tree;
}

std::wstring ProgramDirectory() {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring directory(path, length);
  return directory.substr(0, directory.rfind(L'\\') + 1);
}

const std::wstring& ModulePath() {
  static const std::wstring path = ProgramDirectory() + L"VXGPOSnapin.dll";
  return path;
}

// The loaded DLL and its exports; stays loaded for the whole run.
struct Exports {
  HMODULE module = nullptr;
  HRESULT(STDAPICALLTYPE* getClassObject)(REFCLSID, REFIID, void**) = nullptr;
  HRESULT(STDAPICALLTYPE* canUnloadNow)() = nullptr;
  HRESULT(STDAPICALLTYPE* registerServer)() = nullptr;
  HRESULT(STDAPICALLTYPE* unregisterServer)() = nullptr;
  HRESULT(STDAPICALLTYPE* install)(BOOL, LPCWSTR) = nullptr;
};

template <class F>
void Bind(HMODULE module, const char* name, F& function) {
  function = reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

const Exports& Dll() {
  static const Exports exports = [] {
    Exports e;
    e.module = LoadLibraryW(ModulePath().c_str());
    if (e.module == nullptr) return e;
    Bind(e.module, "DllGetClassObject", e.getClassObject);
    Bind(e.module, "DllCanUnloadNow", e.canUnloadNow);
    Bind(e.module, "DllRegisterServer", e.registerServer);
    Bind(e.module, "DllUnregisterServer", e.unregisterServer);
    Bind(e.module, "DllInstall", e.install);
    return e;
  }();
  return exports;
}

DWORD RunRegsvr32(const std::wstring& arguments) {
  std::wstring command = L"regsvr32.exe /s " + arguments + L" \"" + ModulePath() + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
    return GetLastError() | 0x80000000u;
  WaitForSingleObject(process.hProcess, 60000);
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return code;
}

void DeleteTree(HKEY root, const std::wstring& path) { RegDeleteTreeW(root, path.c_str()), RegDeleteKeyW(root, path.c_str()); }

class Module : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(Dll().module, nullptr) << "cannot load " << std::string(ModulePath().begin(), ModulePath().end());
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

  // Removes whatever a registration of the module may have left, machine and per user.
  static void Clean() {
    for (const std::wstring& id : kClassIds) {
      DeleteTree(HKEY_LOCAL_MACHINE, kMmc + L"\\Snapins\\" + id);
      DeleteTree(HKEY_LOCAL_MACHINE, kClasses + L"\\" + id);
      DeleteTree(HKEY_CURRENT_USER, kClasses + L"\\" + id);
    }
    DeleteTree(HKEY_LOCAL_MACHINE, kMmc + L"\\NodeTypes\\" + kNode);
    for (const auto& [node, id] : kExtended)
      RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, (kMmc + L"\\NodeTypes\\" + node + L"\\Extensions\\Namespace").c_str(),
                         id.c_str());
    UnRegisterTypeLib(kTypeLib, 1, 0, 0, SYS_WIN64);
  }

  static Tree MachineClass(int i) { return Subtree(HKEY_LOCAL_MACHINE, kClasses + L"\\" + kClassIds[i]); }
};

Tree ExpectedClass(const std::wstring& name) {
  return Expected({
      {L"", {{L"", Sz(name)}}},
      {L"Programmable", {}},
      {L"InprocServer32", {{L"", Sz(ModulePath())}, {L"ThreadingModel", Sz(L"Apartment")}}},
      {L"TypeLib", {{L"", Sz(L"{7B9E7131-B528-450C-A637-7ECE1E77E76C}")}}},
      {L"Version", {{L"", Sz(L"1.0")}}},
  });
}

Tree ExpectedSnapin(const std::wstring& name) {
  return Expected({
      {L"", {{L"", Sz(name)}, {L"NameString", Sz(kEditorName)}}},
      {L"NodeTypes", {}},
      {L"NodeTypes\\" + kNode, {{L"", Sz(kNodeName)}}},
  });
}

TEST_F(Module, Regsvr32RegistersTheWholeTablesAndTheTypeLibrary) {
  ASSERT_EQ(RunRegsvr32(L""), 0u);

  const std::wstring names[] = {kEditorName, kRsopName, kRsopName};
  for (int i = 0; i < 3; ++i) {
    const Tree snapin = Subtree(HKEY_LOCAL_MACHINE, kMmc + L"\\Snapins\\" + kClassIds[i]);
    EXPECT_EQ(snapin, ExpectedSnapin(names[i])) << Show(snapin);
    const Tree clsid = MachineClass(i);
    EXPECT_EQ(clsid, ExpectedClass(names[i])) << Show(clsid);
  }
  for (const auto& [node, id] : kExtended) {
    const Tree ns = Subtree(HKEY_LOCAL_MACHINE, kMmc + L"\\NodeTypes\\" + node + L"\\Extensions\\Namespace");
    EXPECT_EQ(ns, Expected({{L"", {{id, Sz(kEditorName)}}}})) << Show(ns);
  }
  const Tree node = Subtree(HKEY_LOCAL_MACHINE, kMmc + L"\\NodeTypes\\" + kNode);
  EXPECT_EQ(node, Expected({{L"", {{L"", Sz(kNodeName)}}}})) << Show(node);

  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadRegTypeLib(kTypeLib, 1, 0, 0, &library), S_OK);
  ComPtr<ITypeInfo> info;
  ASSERT_EQ(library->GetTypeInfoOfGuid(vx::rsop::IID_IVXRsopSnapinMode, &info), S_OK);
  TYPEATTR* attributes = nullptr;
  ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
  EXPECT_EQ(attributes->cFuncs, 4) << "the four operations after IUnknown";
  info->ReleaseTypeAttr(attributes);
  // The same vtable order as the C++ declaration: get/put RSoP mode, get/put machine section.
  const std::pair<const wchar_t*, INVOKEKIND> order[] = {{L"Rsop", INVOKE_PROPERTYGET},
                                                        {L"Rsop", INVOKE_PROPERTYPUT},
                                                        {L"MachineSection", INVOKE_PROPERTYGET},
                                                        {L"MachineSection", INVOKE_PROPERTYPUT}};
  for (UINT i = 0; i < 4; ++i) {
    FUNCDESC* function = nullptr;
    ASSERT_EQ(info->GetFuncDesc(i, &function), S_OK);
    BSTR name = nullptr;
    UINT count = 0;
    EXPECT_EQ(info->GetNames(function->memid, &name, 1, &count), S_OK);
    EXPECT_STREQ(name, order[i].first) << i;
    EXPECT_EQ(function->invkind, order[i].second) << i;
    EXPECT_EQ(function->oVft, static_cast<SHORT>((3 + i) * sizeof(void*))) << i;
    SysFreeString(name);
    info->ReleaseFuncDesc(function);
  }
}

TEST_F(Module, LoadStartsTheHeapDetectionHookOfTheSystemDirectory) {
  wchar_t system[MAX_PATH] = {};
  ASSERT_GT(GetSystemDirectoryW(system, MAX_PATH), 0u);
  const std::wstring hook = std::wstring(system) + L"\\vxappver.dll";
  ASSERT_TRUE(CopyFileW((ProgramDirectory() + L"vxappver_test_hook.dll").c_str(), hook.c_str(), FALSE));
  RegDeleteTreeW(HKEY_CURRENT_USER, kHookKey);

  // regsvr32 loads the module in a process of its own, so the hook runs at that load.
  EXPECT_EQ(RunRegsvr32(L""), 0u);
  wchar_t started[MAX_PATH] = {};
  DWORD size = sizeof(started);
  EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, kHookKey, L"Module", RRF_RT_REG_SZ, nullptr, started, &size), ERROR_SUCCESS);
  EXPECT_EQ(Upper(started), Upper(ModulePath())) << "the hook is given the module's own handle";

  EXPECT_TRUE(DeleteFileW(hook.c_str()));
  RegDeleteTreeW(HKEY_CURRENT_USER, kHookKey);
  RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\VXGPOSnapinTests");
}

TEST_F(Module, UnregistrationRemovesOnlyTheModulesKeysAndValues) {
  ASSERT_EQ(Dll().registerServer(), S_OK);
  // Another extension of the same console node, and the MMC keys, belong to others.
  const std::wstring shared = kMmc + L"\\NodeTypes\\" + kExtended[0].first + L"\\Extensions\\Namespace";
  const std::wstring other = L"{11111111-2222-3333-4444-555555555555}";
  ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, shared.c_str(), other.c_str(), REG_SZ, L"x", 4), ERROR_SUCCESS);

  ASSERT_EQ(RunRegsvr32(L"/u"), 0u);

  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kMmc + L"\\Snapins\\" + kClassIds[i])) << i;
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kClasses + L"\\" + kClassIds[i])) << i;
  }
  EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kMmc + L"\\NodeTypes\\" + kNode));
  EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kMmc + L"\\Snapins"));
  EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, kClasses));
  for (const auto& [node, id] : kExtended) {
    const Tree ns = Subtree(HKEY_LOCAL_MACHINE, kMmc + L"\\NodeTypes\\" + node + L"\\Extensions\\Namespace");
    const Tree expected = node == kExtended[0].first ? Expected({{L"", {{other, Sz(L"x")}}}}) : Expected({{L"", {}}});
    EXPECT_EQ(ns, expected) << "the Namespace key stays, without the module's value\n" << Show(ns);
  }
  ComPtr<ITypeLib> library;
  EXPECT_NE(LoadRegTypeLib(kTypeLib, 1, 0, 0, &library), S_OK) << "the type library is unregistered";
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, shared.c_str(), other.c_str());
}

TEST_F(Module, UnregistrationSucceedsWithoutThePluginsKey) {
  ASSERT_EQ(Dll().registerServer(), S_OK);
  const std::wstring plugins = L"SOFTWARE\\Vantorix\\KELT\\Plugins";
  const std::wstring saved = L"SOFTWARE\\Vantorix\\KELT\\Plugins.module_wine_test";
  HKEY key = nullptr;
  const bool hadPlugins = RegOpenKeyExW(HKEY_LOCAL_MACHINE, plugins.c_str(), 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS;
  if (hadPlugins) {
    ASSERT_EQ(RegRenameKey(key, nullptr, L"Plugins.module_wine_test"), ERROR_SUCCESS);
    RegCloseKey(key);
  }
  EXPECT_EQ(Dll().unregisterServer(), S_OK);
  EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, kClasses + L"\\" + kClassIds[0]));
  if (hadPlugins && RegOpenKeyExW(HKEY_LOCAL_MACHINE, saved.c_str(), 0, KEY_ALL_ACCESS, &key) == ERROR_SUCCESS) {
    RegRenameKey(key, nullptr, L"Plugins");
    RegCloseKey(key);
  }
}

TEST_F(Module, DllInstallUserRegistersPerUserAnyOtherTextForTheMachine) {
  for (const wchar_t* text : {L"user", L"USER", L"User"}) {
    ASSERT_EQ(Dll().install(TRUE, text), S_OK) << text;
    for (int i = 0; i < 3; ++i) {
      const Tree clsid = Subtree(HKEY_CURRENT_USER, kClasses + L"\\" + kClassIds[i]);
      EXPECT_EQ(clsid, ExpectedClass(i == 0 ? kEditorName : kRsopName)) << Show(clsid);
      EXPECT_TRUE(MachineClass(i).empty()) << "nothing of the classes goes to the machine";
    }
    ComPtr<ITypeLib> library;
    EXPECT_EQ(LoadRegTypeLib(kTypeLib, 1, 0, 0, &library), S_OK);
    ASSERT_EQ(Dll().install(FALSE, text), S_OK) << text;
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kClasses + L"\\" + kClassIds[0])) << text;
  }
  for (const wchar_t* text : {L"", L"users", static_cast<const wchar_t*>(nullptr)}) {
    ASSERT_EQ(Dll().install(TRUE, text), S_OK);
    EXPECT_FALSE(MachineClass(0).empty()) << "registered for the machine";
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, kClasses + L"\\" + kClassIds[0]));
    ASSERT_EQ(Dll().install(FALSE, text), S_OK);
    EXPECT_TRUE(MachineClass(0).empty());
  }
}

TEST_F(Module, RegistrationRestoresTheCallersThreadLocale) {
  const LCID german = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), SORT_DEFAULT);
  const LCID before = GetThreadLocale();
  ASSERT_TRUE(SetThreadLocale(german));
  EXPECT_EQ(Dll().registerServer(), S_OK);
  EXPECT_EQ(GetThreadLocale(), german);
  EXPECT_EQ(Dll().unregisterServer(), S_OK);
  EXPECT_EQ(GetThreadLocale(), german);
  SetThreadLocale(before);
}

// Creates an object of clsid through its class object and reads its mode back.
void ExpectMode(const CLSID& clsid, VARIANT_BOOL rsop, VARIANT_BOOL machine) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(Dll().getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
  ComPtr<IVXRsopSnapinMode> mode;
  ASSERT_EQ(factory->CreateInstance(nullptr, vx::rsop::IID_IVXRsopSnapinMode,
                                    reinterpret_cast<void**>(mode.GetAddressOf())),
            S_OK);
  VARIANT_BOOL value = 7;
  EXPECT_EQ(mode->get_Rsop(&value), S_OK);
  EXPECT_EQ(value, rsop);
  EXPECT_EQ(mode->get_MachineSection(&value), S_OK);
  EXPECT_EQ(value, machine);
}

TEST_F(Module, EachClassObjectCreatesTheSnapinInItsMode) {
  ExpectMode(kEditorClass, VARIANT_FALSE, VARIANT_TRUE);
  ExpectMode(kRsopClass, VARIANT_TRUE, VARIANT_TRUE);
  ExpectMode(kUserRsopClass, VARIANT_TRUE, VARIANT_FALSE);

  // The mode can be read back through IUnknown as well, and the setters take effect.
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(Dll().getClassObject(kEditorClass, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
  ComPtr<IUnknown> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(object.GetAddressOf())), S_OK);
  ComPtr<IVXRsopSnapinMode> mode;
  ASSERT_EQ(object.As(&mode), S_OK);
  EXPECT_EQ(mode->put_Rsop(VARIANT_TRUE), S_OK);
  EXPECT_EQ(mode->put_MachineSection(VARIANT_FALSE), S_OK);
  VARIANT_BOOL value = 7;
  mode->get_Rsop(&value);
  EXPECT_EQ(value, VARIANT_TRUE);
  mode->get_MachineSection(&value);
  EXPECT_EQ(value, VARIANT_FALSE);
  EXPECT_EQ(mode->get_Rsop(nullptr), E_POINTER);
  ComPtr<IClassFactory> notOffered;
  EXPECT_EQ(object.As(&notOffered), E_NOINTERFACE);
}

TEST_F(Module, RegisteredClassesActivateThroughCom) {
  ASSERT_EQ(Dll().registerServer(), S_OK);
  ComPtr<IVXRsopSnapinMode> mode;
  ASSERT_EQ(CoCreateInstance(kUserRsopClass, nullptr, CLSCTX_INPROC_SERVER, vx::rsop::IID_IVXRsopSnapinMode,
                             reinterpret_cast<void**>(mode.GetAddressOf())),
            S_OK);
  VARIANT_BOOL value = 7;
  mode->get_MachineSection(&value);
  EXPECT_EQ(value, VARIANT_FALSE);
}

TEST_F(Module, ClassObjectsRefuseUnknownClassesAggregationAndNullResults) {
  void* out = reinterpret_cast<void*>(0x1234);
  const CLSID unknown = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xee}};
  EXPECT_EQ(Dll().getClassObject(unknown, IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(out, nullptr) << "the result is cleared first";

  for (const CLSID& clsid : {kEditorClass, kRsopClass, kUserRsopClass}) {
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(Dll().getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
    ComPtr<IUnknown> outer;
    ASSERT_EQ(factory.As(&outer), S_OK);
    for (const IID& iid : {IID_IUnknown, vx::rsop::IID_IVXRsopSnapinMode}) {
      out = reinterpret_cast<void*>(0x1234);
      EXPECT_EQ(factory->CreateInstance(outer.Get(), iid, &out), CLASS_E_NOAGGREGATION);
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    out = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
  }
}

TEST_F(Module, CanUnloadNowFollowsObjectsAndServerLocks) {
  ASSERT_EQ(Dll().canUnloadNow(), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(Dll().getClassObject(kRsopClass, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
  EXPECT_EQ(Dll().canUnloadNow(), S_FALSE) << "a live class object";

  ComPtr<IUnknown> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(object.GetAddressOf())), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  factory.Reset();
  EXPECT_EQ(Dll().canUnloadNow(), S_FALSE) << "an object and a server lock";
  object.Reset();
  EXPECT_EQ(Dll().canUnloadNow(), S_FALSE) << "the server lock";

  ASSERT_EQ(Dll().getClassObject(kRsopClass, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.Reset();
  EXPECT_EQ(Dll().canUnloadNow(), S_OK);
}

}  // namespace
#endif  // VX_HEAP_DETECTION_HOOK

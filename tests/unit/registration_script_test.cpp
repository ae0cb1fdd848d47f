// The registration script: its parser, the engine over the in-memory registry with the undo of a
// registration that fails part-way, the installer package's rows that stand for it, and the removal of
// plug-in component keys.
#include "module/registration_script.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>

#include "module/unregister_components.h"
#include "platform/memory/memory_registry.h"
#include "platform/text.h"
#include "wix_registry.h"

namespace vx::module {
namespace {

using platform::IRegistry;
using platform::IRegistryKey;
using platform::MemoryRegistry;
using platform::RegistryRoot;

constexpr char16_t kModulePath[] = u"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll";
constexpr char16_t kMmc[] = u"SOFTWARE\\Microsoft\\MMC\\";

std::u16string ModuleScript() {
  std::ifstream file(VX_MODULE_SCRIPT, std::ios::binary);
  EXPECT_TRUE(file) << VX_MODULE_SCRIPT;
  return Utf8ToUtf16(std::string(std::istreambuf_iterator<char>(file), {}));
}

RegistrationScript Parse(std::u16string_view text, const Replacements& names = {}, const ScriptLimits& limits = {}) {
  RegistrationScript script;
  ScriptError error;
  EXPECT_TRUE(ParseRegistrationScript(text, names, script, error, limits)) << Utf16ToUtf8(error.Text());
  return script;
}

ScriptError ParseError(std::u16string_view text, const ScriptLimits& limits = {}) {
  RegistrationScript script;
  ScriptError error;
  EXPECT_FALSE(ParseRegistrationScript(text, {{u"MODULE", u"m.dll"}}, script, error, limits)) << Utf16ToUtf8(text);
  EXPECT_TRUE(script.roots.empty());
  return error;
}

void SetString(IRegistry& registry, RegistryRoot root, std::u16string_view path, std::u16string_view name,
               std::u16string_view text) {
  std::unique_ptr<IRegistryKey> key;
  ASSERT_EQ(ERROR_SUCCESS, registry.CreateKey(root, path, KEY_ALL_ACCESS, key));
  ASSERT_EQ(ERROR_SUCCESS, platform::WriteString(*key, name, text));
}

std::string Everything(const MemoryRegistry& registry) {
  return registry.Dump(RegistryRoot::LocalMachine) + registry.Dump(RegistryRoot::CurrentUser);
}

// Every construct of the language, registered over a key that holds values of others and unregistered
// again: plain keys go once empty, a NoRemove key keeps its default value, values of others stay,
// ForceRemove keys are replaced whole and go whole, Delete keys go at registration only.
TEST(RegistrationScriptEngine, RegistersAndUnregistersEveryConstruct) {
  MemoryRegistry registry;
  SetString(registry, RegistryRoot::CurrentUser, u"Shared\\Old\\Deep\\Deeper", u"v", u"x");
  SetString(registry, RegistryRoot::CurrentUser, u"Shared\\It's here\\Stale", u"v", u"x");
  // A replacement is text: a module path with a quote or braces is not parsed again.
  const auto script = Parse(
      u"HKEY_CURRENT_USER { NoRemove Shared = s 'shared default' { val Ours = s 'at %MODULE%, 100%%'\n"
      u"  Plain = s 'p' { val Count = d '42' val Mask = d '0xFFFFFFFF' val Path = e '%%SystemRoot%%' }\n"
      u"  Kept = s 'k'  Delete Old  ForceRemove 'It''s here' { val '' = s 'x' Sub { } }\n"
      u"  Parent { Child } } }\n"
      u"hkcu { Empty = s '' }",
      {{u"module", u"C:\\O'Neil {x}\\a.dll"}});
  ASSERT_EQ(S_OK, RegisterScript(registry, script, false));
  EXPECT_EQ(R"dump(HKEY_CURRENT_USER
  Empty
    @ = REG_SZ ""
  Shared
    @ = REG_SZ "shared default"
    Ours = REG_SZ "at C:\O'Neil {x}\a.dll, 100%"
    It's here
      @ = REG_SZ "x"
      Sub
    Kept
      @ = REG_SZ "k"
    Parent
      Child
    Plain
      @ = REG_SZ "p"
      Count = REG_DWORD 0x0000002A
      Mask = REG_DWORD 0xFFFFFFFF
      Path = REG_EXPAND_SZ "%SystemRoot%"
)dump",
            registry.Dump(RegistryRoot::CurrentUser));

  SetString(registry, RegistryRoot::CurrentUser, u"Shared\\Kept", u"Foreign", u"keeps it");
  SetString(registry, RegistryRoot::CurrentUser, u"Shared", u"Foreign", u"stays");
  SetString(registry, RegistryRoot::CurrentUser, u"Shared\\Old", u"v", u"x");
  ASSERT_EQ(S_OK, UnregisterScript(registry, script, false));
  EXPECT_EQ(R"dump(HKEY_CURRENT_USER
  Shared
    @ = REG_SZ "shared default"
    Foreign = REG_SZ "stays"
    Kept
      Foreign = REG_SZ "keeps it"
    Old
      v = REG_SZ "x"
)dump",
            registry.Dump(RegistryRoot::CurrentUser));
}

TEST(RegistrationScriptParser, NamesTheLineColumnAndWhatWasExpected) {
  struct Case {
    const char16_t* text;
    size_t line, column;
    const char16_t* expected;
  } cases[] = {
      {u"HKXX { }", 1, 1, u"a root key (HKLM, HKCR or HKCU)"},
      {u"HKLM K", 1, 6, u"'{'"},
      {u"HKLM {\n  K {\n", 3, 1, u"'}'"},
      {u"HKLM {\n  K = x 'a' }", 2, 7, u"a value type (s, e or d)"},
      {u"HKLM {\n  K = s a }", 2, 9, u"a quoted text"},
      {u"HKLM { K { val N s 'a' } }", 1, 18, u"'='"},
      {u"HKLM { K { val = s 'a' } }", 1, 16, u"a value name"},
      {u"HKLM { K = d '12x' }", 1, 14, u"a quoted number"},
      {u"HKLM { K = d '4294967296' }", 1, 14, u"a quoted number"},
      {u"HKLM { K = s 'open }", 1, 21, u"a closing quote"},
      {u"HKLM { ForceRemove }", 1, 20, u"a key name"},
      {u"HKLM { 'a\\b' }", 1, 8, u"a non-empty key name without '\\'"},
      {u"HKLM { '' }", 1, 8, u"a non-empty key name without '\\'"},
      {u"HKLM {\n\n K = s '%OTHER%' }", 3, 9, u"a known replacement instead of %OTHER%"},
      {u"HKLM { K = s '%MODULE' }", 1, 15, u"a closing %"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(Utf16ToUtf8(c.text));
    const ScriptError error = ParseError(c.text);
    EXPECT_EQ(std::tuple(c.line, c.column, std::u16string(c.expected)),
              std::tuple(error.line, error.column, error.expected));
  }
}

TEST(RegistrationScriptParser, EnforcesItsLimits) {
  const ScriptLimits limits{.maxScript = 40, .maxDepth = 3, .maxToken = 8, .maxKeys = 4};
  Parse(u"HKLM { A { B { C } } }", {}, limits);
  EXPECT_EQ(u"no deeper nesting", ParseError(u"HKLM { A { B { C { D } } } }", limits).expected);
  EXPECT_EQ(u"fewer keys", ParseError(u"HKLM { A B C D E }", limits).expected);
  EXPECT_EQ(u"a name or text of at most 8 characters", ParseError(u"HKLM { ABCDEFGHI }", limits).expected);
  EXPECT_EQ(u"a name or text of at most 8 characters", ParseError(u"HKLM { K = s 'ab%MODULE%cd' }", limits).expected);
  EXPECT_EQ(u"a script of at most 40 characters", ParseError(std::u16string(41, u' '), limits).expected);
}

constexpr char kEditorName[] = "\"Vantorix GPO Editor authentication policies snapin\"";
constexpr char kRsopName[] = "\"Vantorix GPO Editor authentication policies RSoP snapin\"";
std::string ProductNode(size_t indent) {
  return std::string(indent, ' ') + "{1CA3CF7B-B0C5-407b-BA51-D45B11291688}\n" + std::string(indent + 2, ' ') +
         "@ = REG_SZ \"Vantorix Keystone Client (extension node)\"\n";
}

// Below MMC: the product's node type, the snap-ins' values in the Namespace keys of the node types they
// extend, and the three snap-ins (the last two hex digits of {0471D727-58C9-47C4-8350-7D99EB9B60xx}).
std::string RegisteredMmc() {
  std::string dump = "MMC\n  NodeTypes\n" + ProductNode(4);
  for (const auto& [nodeType, snapin] : {std::pair{"{6A76273E-EB8E-45DB-94C5-25663A5f2C1A}", "EC"},
                                         {"{8FC0B73A-A0E1-11D1-A7D3-0000F87571E3}", "EB"},
                                         {"{8FC0B73C-A0E1-11d1-A7D3-0000F87571E3}", "EB"},
                                         {"{E52C5CE3-FD27-4402-84DE-D9A5F2858910}", "ED"}}) {
    dump += std::string("    ") + nodeType + "\n      Extensions\n        Namespace\n          " +
            "{0471D727-58C9-47C4-8350-7D99EB9B60" + snapin + "} = REG_SZ " + kEditorName + "\n";
  }
  dump += "  Snapins\n";
  for (const auto& [snapin, name] : {std::pair{"EB", kEditorName}, {"EC", kRsopName}, {"ED", kRsopName}}) {
    dump += std::string("    {0471D727-58C9-47C4-8350-7D99EB9B60") + snapin + "}\n      @ = REG_SZ " + name +
            "\n      NameString = REG_SZ " + kEditorName + "\n      NodeTypes\n" + ProductNode(8);
  }
  return dump;
}

// Below HKCR: each class with its name, module, threading model, type library and version.
std::string RegisteredClasses() {
  std::string dump = "CLSID\n";
  for (const auto& [snapin, name] : {std::pair{"EB", kEditorName}, {"EC", kRsopName}, {"ED", kRsopName}}) {
    dump += std::string("  {0471D727-58C9-47C4-8350-7D99EB9B60") + snapin + "}\n    @ = REG_SZ " + name +
            "\n    InprocServer32\n      @ = REG_SZ \"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll\"\n      "
            "ThreadingModel = REG_SZ \"Apartment\"\n    Programmable\n    TypeLib\n"
            "      @ = REG_SZ \"{7B9E7131-B528-450C-A637-7ECE1E77E76C}\"\n    Version\n      @ = REG_SZ \"1.0\"\n";
  }
  return dump;
}

HRESULT RunModuleScript(IRegistry& registry, bool registering, bool perUser = false) {
  return RunRegistrationScript(registry, ModuleScript(), {{u"MODULE", kModulePath}}, registering, perUser);
}

// Another snap-in, on a machine with the keys the module shares with the console (which stay when the
// module is unregistered): its values in the shared Namespace keys and a default value on a node type.
void OtherComponent(MemoryRegistry& registry) {
  const std::u16string other = u"{11111111-0000-0000-0000-000000000000}";
  for (const char16_t* nodeType :
       {u"{8FC0B73A-A0E1-11D1-A7D3-0000F87571E3}", u"{8FC0B73C-A0E1-11d1-A7D3-0000F87571E3}",
        u"{6A76273E-EB8E-45DB-94C5-25663A5f2C1A}", u"{E52C5CE3-FD27-4402-84DE-D9A5F2858910}"}) {
    SetString(registry, RegistryRoot::LocalMachine, kMmc + (u"NodeTypes\\" + std::u16string(nodeType)), u"", nodeType);
    SetString(registry, RegistryRoot::LocalMachine,
              kMmc + (u"NodeTypes\\" + std::u16string(nodeType)) + u"\\Extensions\\Namespace", other, u"Other");
  }
  SetString(registry, RegistryRoot::LocalMachine, kMmc + (u"Snapins\\" + other), u"", u"Other snap-in");
  SetString(registry, RegistryRoot::ClassesRoot, u"CLSID\\" + other + u"\\InprocServer32", u"", u"other.dll");
}

TEST(RegistrationScriptEngine, RegistersTheModuleTableForTheMachineOrPerUser) {
  MemoryRegistry registry;
  ASSERT_EQ(S_OK, RunModuleScript(registry, true));
  EXPECT_EQ(RegisteredMmc(), registry.Dump(RegistryRoot::LocalMachine, u"SOFTWARE\\Microsoft\\MMC"));
  EXPECT_EQ(RegisteredClasses(), registry.Dump(RegistryRoot::ClassesRoot, u"CLSID"));
  EXPECT_EQ("HKEY_CURRENT_USER\n", registry.Dump(RegistryRoot::CurrentUser));

  // Per user, the classes go to the user's hive.
  MemoryRegistry perUser;
  ASSERT_EQ(S_OK, RunModuleScript(perUser, true, true));
  EXPECT_EQ("", perUser.Dump(RegistryRoot::ClassesRoot, u"CLSID"));
  EXPECT_EQ(RegisteredClasses(), perUser.Dump(RegistryRoot::CurrentUser, u"Software\\Classes\\CLSID"));
  EXPECT_EQ(RegisteredMmc(), perUser.Dump(RegistryRoot::LocalMachine, u"SOFTWARE\\Microsoft\\MMC"));
  ASSERT_EQ(S_OK, RunModuleScript(perUser, false, true));
  EXPECT_EQ("CLSID\n", perUser.Dump(RegistryRoot::CurrentUser, u"Software\\Classes\\CLSID"));
}

TEST(RegistrationScriptEngine, ASyntaxErrorIsReportedAndChangesNothing) {
  MemoryRegistry registry;
  std::u16string error;
  EXPECT_EQ(E_INVALIDARG,
            RunRegistrationScript(registry, u"HKLM { A = s 'a' }\nHKCR { B = s }", {}, true, false, &error));
  EXPECT_EQ(u"line 2, column 14: expected a quoted text", error);
  EXPECT_EQ(Everything(MemoryRegistry()), Everything(registry));
}

// Refuses the n-th key that registration creates or deletes with ERROR_ACCESS_DENIED or, with readOnly,
// creates it without the right to set values, so that the first value written to it is refused.
struct RefusingRegistry final : IRegistry {
  RefusingRegistry(IRegistry& inner, int failAt, bool readOnly) : inner(inner), failAt(failAt), readOnly(readOnly) {}
  LONG OpenKey(RegistryRoot root, std::u16string_view path, REGSAM sam, std::unique_ptr<IRegistryKey>& key) override {
    return inner.OpenKey(root, path, sam, key);
  }
  LONG CreateKey(RegistryRoot root, std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key,
                 DWORD* disposition) override {
    if (changes++ != failAt) return inner.CreateKey(root, path, access, key, disposition);
    return readOnly ? inner.CreateKey(root, path, KEY_READ, key, disposition) : ERROR_ACCESS_DENIED;
  }
  LONG DeleteKey(RegistryRoot root, std::u16string_view path, REGSAM view) override {
    return changes++ == failAt && !readOnly ? ERROR_ACCESS_DENIED : inner.DeleteKey(root, path, view);
  }
  IRegistry& inner;
  int failAt, changes = 0;
  bool readOnly;
};

// Every possible point of failure, over a machine that already holds an older registration with
// extra keys (so ForceRemove deletes something that has to come back); then a refused unregistration,
// and one that removes only what the module added.
TEST(RegistrationScriptEngine, FailureAtAnyStepLeavesTheRegistryAsBeforeAndUnregistrationOnlyTheModules) {
  const auto script = Parse(ModuleScript(), {{u"MODULE", kModulePath}});
  const auto olderRegistration = [](MemoryRegistry& registry) {
    OtherComponent(registry);
    SetString(registry, RegistryRoot::ClassesRoot, u"CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60EB}\\Old\\Deep", u"Data",
              u"old");
    SetString(registry, RegistryRoot::LocalMachine,
              kMmc + std::u16string(u"NodeTypes\\{6A76273E-EB8E-45DB-94C5-25663A5f2C1A}\\Extensions\\Namespace"),
              u"{0471D727-58C9-47C4-8350-7D99EB9B60EC}", u"older text");
  };
  MemoryRegistry registered;
  olderRegistration(registered);
  RefusingRegistry counting(registered, -1, false);
  ASSERT_EQ(S_OK, RegisterScript(counting, script, false));
  EXPECT_GT(counting.changes, 30);
  for (int step = 0; step < 2 * counting.changes; ++step) {
    MemoryRegistry registry;
    olderRegistration(registry);
    const std::string before = Everything(registry);
    RefusingRegistry wrapper(registry, step / 2, step % 2 == 1);
    const HRESULT hr = RegisterScript(wrapper, script, false);
    if (hr == S_OK && wrapper.readOnly) continue;  // a deletion, or a key without values
    ASSERT_EQ(HResultFromWin32(ERROR_ACCESS_DENIED), hr) << "step " << step;
    ASSERT_EQ(before, Everything(registry)) << "step " << step;
  }
  RefusingRegistry refusing(registered, 0, false);
  EXPECT_EQ(HResultFromWin32(ERROR_ACCESS_DENIED), UnregisterScript(refusing, script, false));
  MemoryRegistry expected;
  OtherComponent(expected);
  ASSERT_EQ(S_OK, UnregisterScript(registered, script, false));
  EXPECT_EQ(Everything(expected), Everything(registered));
  EXPECT_EQ(S_OK, UnregisterScript(registered, script, false)) << "nothing left to remove is no failure";
}

// ---- The installer package's registry rows

std::vector<regscript::RegistryRow> Rows(std::u16string_view script, const regscript::FormattedReplacements& names) {
  std::vector<regscript::RegistryRow> rows;
  std::string error;
  EXPECT_TRUE(regscript::RegistryRows(script, names, rows, error)) << error;
  return rows;
}

// Installed as the installer's WriteRegistryValues does, the rows write what registration writes. That
// removal takes only the module's keys whole is the package test's (a foreign value in a shared key stays).
TEST(PackageRegistryRows, InstallWhatRegistrationWrites) {
  MemoryRegistry registered, installed;
  ASSERT_EQ(S_OK, RunModuleScript(registered, true));
  const auto rows = Rows(ModuleScript(), {{u"MODULE", kModulePath}});
  for (const regscript::RegistryRow& row : rows) {
    std::unique_ptr<IRegistryKey> key;
    ASSERT_EQ(ERROR_SUCCESS, installed.CreateKey(row.root, row.key, KEY_ALL_ACCESS, key));
    if (row.kind != regscript::RowKind::Value) continue;
    ASSERT_EQ(ERROR_SUCCESS, row.type == REG_DWORD ? platform::WriteDword(*key, row.name, row.number)
                                                   : platform::WriteString(*key, row.name, row.text, row.type));
  }
  EXPECT_EQ(registered.Dump(RegistryRoot::LocalMachine), installed.Dump(RegistryRoot::LocalMachine));
  EXPECT_EQ(regscript::RowKind::Value, rows.front().kind) << "values first: a component's key path";
}

TEST(PackageRegistryRows, IncludeEscapesTextAndKeepsFormattedReplacements) {
  const std::string wix =
      regscript::WixInclude(Rows(u"HKEY_LOCAL_MACHINE { NoRemove Software { 'A&B' = s '[not a property] %MODULE%' { "
                                 u"val Count = d '4294967295'\n"
                                 u"val Path = e '%%SystemRoot%%\\\"x\"' } NoRemove Empty ForceRemove Gone Plain } }",
                                 {{u"MODULE", u"[#VXGPOSnapin.dll]"}}),
                            "test.rgs");
  for (const char* row :
       {"<RegistryValue Root=\"HKLM\" Key=\"Software\\A&amp;B\" Type=\"string\" Value=\"[\\[]not a property[\\]] "
        "[#VXGPOSnapin.dll]\"/>",
        "Name=\"Count\" Type=\"integer\" Value=\"-1\"/>",
        "Name=\"Path\" Type=\"expandable\" Value=\"%SystemRoot%\\&quot;x&quot;\"/>",
        "Key=\"Software\\Empty\" Name=\"+\" Type=\"multistring\"/>",
        "Key=\"Software\\Gone\" Name=\"*\" Type=\"multistring\"/>",
        "Key=\"Software\\Plain\" Name=\"*\" Type=\"multistring\"/>"})
    EXPECT_NE(std::string::npos, wix.find(row)) << row << "\n" << wix;
  EXPECT_EQ(std::string::npos, wix.find("Key=\"Software\" Name=")) << wix;  // NoRemove with content: no row
}

TEST(PackageRegistryRows, RefusesWhatThePackageCannotExpress) {
  std::vector<regscript::RegistryRow> rows;
  std::string error;
  EXPECT_FALSE(regscript::RegistryRows(u"HKCR { NoRemove CLSID { Delete Old } }", {}, rows, error));
  EXPECT_NE(std::string::npos, error.find("CLSID\\Old")) << error;
  EXPECT_FALSE(regscript::RegistryRows(u"HKCR { Key = s '%MODULE%' }", {}, rows, error));
  EXPECT_NE(std::string::npos, error.find("MODULE")) << error;
  EXPECT_TRUE(rows.empty());
}

// ---- Plug-in component keys: a key goes with every parent it leaves without subkeys.

TEST(UnregisterComponents, DeletesTheKeyAndTheParentsItLeavesWithoutSubkeys) {
  using KELT_SDK::CUnregisterComponents;
  const GUID clsid = {0x0471D727, 0x58C9, 0x47C4, {0x83, 0x50, 0x7D, 0x99, 0xEB, 0x9B, 0x60, 0xab}};
  const HRESULT notFound = HResultFromWin32(ERROR_FILE_NOT_FOUND);
  MemoryRegistry registry;
  {
    CUnregisterComponents helper(registry);  // without the Plugins key every operation answers the open error
    EXPECT_EQ(notFound, helper.UnregisterComponent(u"Credentials", clsid));
  }
  const std::u16string plugins = std::u16string(KELT_SDK::kPluginsKey) + u"\\Credentials\\";
  SetString(registry, RegistryRoot::LocalMachine, plugins + u"Biometric\\{0471D727-58C9-47C4-8350-7D99EB9B60AB}",
            u"Name", u"x");
  SetString(registry, RegistryRoot::LocalMachine, plugins + u"Biometric", u"Name", u"x");  // values keep no parent
  SetString(registry, RegistryRoot::LocalMachine, plugins + u"Cards\\Card\\Settings", u"", u"");
  CUnregisterComponents helper(registry);
  ASSERT_EQ(S_OK, helper.OpenResult());
  const auto dump = [&] { return registry.Dump(RegistryRoot::LocalMachine, KELT_SDK::kPluginsKey); };

  EXPECT_EQ(S_OK, helper.UnregisterComponent(u"Credentials\\Biometric", clsid));
  const std::string cards =
      "Plugins\n  Credentials\n    Cards\n      Card\n        Settings\n          @ = REG_SZ \"\"\n";
  EXPECT_EQ(cards, dump());
  EXPECT_EQ(S_OK, helper.DeleteComponentKey(u"Credentials\\Cards", u"Card"));
  EXPECT_EQ(cards, dump()) << "a key with subkeys stays";
  EXPECT_EQ(notFound, helper.DeleteComponentKey(u"Credentials", u"Missing"));
  EXPECT_EQ(S_OK, helper.DeleteComponentKey(u"Credentials\\Cards", u"Card\\Settings"));
  EXPECT_EQ("Plugins\n", dump()) << "the Plugins key itself stays";
}

}  // namespace
}  // namespace vx::module

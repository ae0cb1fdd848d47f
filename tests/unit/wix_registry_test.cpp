// The package's registry rows against the registration engine they stand for.
#include "wix_registry.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <set>

#include "platform/memory/memory_registry.h"
#include "platform/text.h"

namespace vx::regscript {
namespace {

using platform::IRegistryKey;
using platform::MemoryRegistry;
using platform::RegistryRoot;

constexpr char16_t kModule[] = u"C:\\Program Files\\Vantorix\\VXGPOSnapin.dll";

std::u16string ModuleScript() {
  std::ifstream file(VX_MODULE_SCRIPT, std::ios::binary);
  EXPECT_TRUE(file) << VX_MODULE_SCRIPT;
  return Utf8ToUtf16(std::string(std::istreambuf_iterator<char>(file), {}));
}

std::vector<RegistryRow> Rows(std::u16string_view script, const FormattedReplacements& replacements = {}) {
  std::vector<RegistryRow> rows;
  std::string error;
  EXPECT_TRUE(RegistryRows(script, replacements, rows, error)) << error;
  return rows;
}

// What the installer's WriteRegistryValues does with the rows.
void Install(MemoryRegistry& registry, const std::vector<RegistryRow>& rows) {
  for (const RegistryRow& row : rows) {
    std::unique_ptr<IRegistryKey> key;
    ASSERT_EQ(ERROR_SUCCESS, registry.CreateKey(row.root, row.key, KEY_ALL_ACCESS, key));
    if (row.kind != RowKind::Value) continue;
    if (row.type == REG_DWORD)
      ASSERT_EQ(ERROR_SUCCESS, platform::WriteDword(*key, row.name, row.number));
    else
      ASSERT_EQ(ERROR_SUCCESS, platform::WriteString(*key, row.name, row.text, row.type));
  }
}

TEST(WixRegistryTest, ModuleRowsInstallWhatRegistrationWrites) {
  const std::u16string script = ModuleScript();
  MemoryRegistry registered;
  ASSERT_EQ(S_OK, module::RunRegistrationScript(registered, script, {{u"MODULE", kModule}}, true, false));
  MemoryRegistry installed;
  const std::vector<RegistryRow> rows = Rows(script, {{u"MODULE", kModule}});
  Install(installed, rows);
  EXPECT_EQ(registered.Dump(RegistryRoot::LocalMachine), installed.Dump(RegistryRoot::LocalMachine));
  EXPECT_NE(std::string::npos, installed.Dump(RegistryRoot::LocalMachine).find("InprocServer32"));

  // Only the ForceRemove keys go whole: the shared NodeTypes, Namespace and CLSID keys are never removed.
  std::set<std::string> removedWhole;
  for (const RegistryRow& row : rows)
    if (row.kind == RowKind::CreateAndRemoveKey) removedWhole.insert(Utf16ToUtf8(row.key));
  EXPECT_EQ((std::set<std::string>{
                "CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60EB}",
                "CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60EB}\\Programmable",
                "CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60EC}",
                "CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60EC}\\Programmable",
                "CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60ED}",
                "CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60ED}\\Programmable",
                "Software\\Microsoft\\MMC\\NodeTypes\\{1CA3CF7B-B0C5-407b-BA51-D45B11291688}",
                "Software\\Microsoft\\MMC\\Snapins\\{0471D727-58C9-47C4-8350-7D99EB9B60EB}",
                "Software\\Microsoft\\MMC\\Snapins\\{0471D727-58C9-47C4-8350-7D99EB9B60EC}",
                "Software\\Microsoft\\MMC\\Snapins\\{0471D727-58C9-47C4-8350-7D99EB9B60ED}",
            }),
            removedWhole);
  // Values come before key rows, so the first row can be a component's key path.
  EXPECT_EQ(RowKind::Value, rows.front().kind);
}

TEST(WixRegistryTest, IncludeEscapesTextAndKeepsFormattedReplacements) {
  const std::vector<RegistryRow> rows = Rows(
      u"HKLM { NoRemove Software { 'A&B' = s '[not a property] %MODULE%' { val Count = d '4294967295'\n"
      u"val Path = e '%%SystemRoot%%\\\"x\"' } NoRemove Empty ForceRemove Gone Plain } }",
      {{u"MODULE", u"[#VXGPOSnapin.dll]"}});
  const std::string wix = WixInclude(rows, "test.rgs");
  EXPECT_NE(std::string::npos, wix.find("<RegistryValue Root=\"HKLM\" Key=\"Software\\A&amp;B\" Type=\"string\" "
                                        "Value=\"[\\[]not a property[\\]] [#VXGPOSnapin.dll]\"/>"))
      << wix;
  EXPECT_NE(std::string::npos, wix.find("Name=\"Count\" Type=\"integer\" Value=\"-1\"/>")) << wix;
  EXPECT_NE(std::string::npos,
            wix.find("Name=\"Path\" Type=\"expandable\" Value=\"%SystemRoot%\\&quot;x&quot;\"/>")) << wix;
  EXPECT_NE(std::string::npos, wix.find("Key=\"Software\\Empty\" Name=\"+\" Type=\"multistring\"/>")) << wix;
  EXPECT_NE(std::string::npos, wix.find("Key=\"Software\\Gone\" Name=\"*\" Type=\"multistring\"/>")) << wix;
  EXPECT_NE(std::string::npos, wix.find("Key=\"Software\\Plain\" Name=\"*\" Type=\"multistring\"/>")) << wix;
  EXPECT_EQ(std::string::npos, wix.find("Key=\"Software\" Name=")) << wix;  // NoRemove with content: no row
}

TEST(WixRegistryTest, RefusesWhatThePackageCannotExpress) {
  std::vector<RegistryRow> rows;
  std::string error;
  EXPECT_FALSE(RegistryRows(u"HKCR { NoRemove CLSID { Delete Old } }", {}, rows, error));
  EXPECT_NE(std::string::npos, error.find("CLSID\\Old")) << error;
  EXPECT_FALSE(RegistryRows(u"HKCR { Key = s '%MODULE%' }", {}, rows, error));
  EXPECT_NE(std::string::npos, error.find("MODULE")) << error;
  EXPECT_TRUE(rows.empty());
}

}  // namespace
}  // namespace vx::regscript

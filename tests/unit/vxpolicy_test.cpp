// vxpolicy on GPO folders in memory: what show prints, what set stores and refuses, what check finds,
// and the catalogue file.
#include <gtest/gtest.h>

#include <sstream>

#include "catalogue.h"
#include "gpo/registry_pol.h"
#include "platform/memory/memory_files.h"
#include "policy/multi_sz.h"
#include "vxpolicy.h"

using vx::vxpolicy::CatalogueEntry;
using Strings = std::vector<std::string>;

namespace {

constexpr char16_t kKey[] = u"Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";

vx::gpo::PolRecord Setting(const char16_t* name, std::vector<ULONGLONG> masks) {
  return {kKey, name, REG_MULTI_SZ, vx::policy::SerializeMultiSz(masks)};
}

class VxPolicy : public ::testing::Test {
 protected:
  VxPolicy() {
    files.AddDirectory(u"C:\\gpo\\Machine");
    files.SetFileBytes(u"C:\\gpo\\gpt.ini", Bytes("[General]\r\nVersion=0\r\n"));
    const std::vector<CatalogueEntry> catalogue = {{0x1, 1, true, u"Password"},
                                                   {0x2, 3, true, u"Fingerprint"},
                                                   {0x4, 1, true, u"Smart card"},
                                                   {0x20, 1, false, u"Face"}};
    files.SetFileBytes(u"C:\\tokens.txt", Bytes(vx::vxpolicy::WriteCatalogue(catalogue)));
  }
  static std::vector<BYTE> Bytes(const std::string& text) { return {text.begin(), text.end()}; }
  void Machine(const std::vector<vx::gpo::PolRecord>& records) {
    files.SetFileBytes(u"C:\\gpo\\Machine\\Registry.pol", vx::gpo::WriteRegistryPol(records));
  }
  // The masks of a machine setting as stored; {0xDEAD} when the value is absent.
  std::vector<ULONGLONG> Stored(const char16_t* name) {
    std::vector<vx::gpo::PolRecord> records;
    vx::gpo::PolError error;
    EXPECT_TRUE(vx::gpo::ParseRegistryPol(files.FileBytes(u"C:\\gpo\\Machine\\Registry.pol"), records, error));
    for (const auto& record : records)
      if (record.value == name) return vx::policy::ParseMultiSz(record.data);
    return {0xDEAD};
  }
  int Run(Strings args) {
    args.insert(args.end(), {"--tokens", "C:\\tokens.txt"});
    std::ostringstream o, e;
    vx::vxpolicy::ToolPorts ports{files};
    const int code = vx::vxpolicy::RunVxPolicy(args, ports, o, e);
    out = o.str();
    err = e.str();
    return code;
  }
  std::map<std::u16string, std::vector<BYTE>> Snapshot() {
    std::map<std::u16string, std::vector<BYTE>> all;
    for (const auto& path : files.FilePaths()) all[path] = files.FileBytes(path);
    return all;
  }

  vx::platform::MemoryFileSystem files;
  std::string out, err;
};

TEST_F(VxPolicy, ShowNamesEachCombinationsCredentialsInTextAndJson) {
  Machine({Setting(u"LogonPolicy", {0x3, 0x104}), Setting(u"RuntimePolicy", {0x0}),
           Setting(u"DisableCredentials", {0xFFFFFFFFFFFFFFFA})});
  ASSERT_EQ(0, Run({"show", "C:\\gpo"})) << err;
  EXPECT_EQ(out,
            "Computer (machine)\n"
            "  Logon policy: Enabled: Password + Fingerprint; Smart card + 0x100\n"
            "  Runtime policy: Disabled\n"
            "  Kiosk runtime policy: Not configured\n"
            "  Enrollment policy: Enabled: disabled for enrollment: Fingerprint, Face [0xFFFFFFFFFFFFFFFA]\n"
            "User (user)\n"
            "  Runtime policy: Not configured\n"
            "  Enrollment policy: Not configured\n");

  Machine({Setting(u"LogonPolicy", {0x3})});
  ASSERT_EQ(0, Run({"show", "C:\\gpo", "--json"}));
  EXPECT_EQ(out,
            "{\"gpo\": \"C:\\\\gpo\", \"sections\": [{\"section\": \"machine\", \"policies\": ["
            "{\"policy\": \"logon\", \"setting\": \"LogonPolicy\", \"state\": \"enabled\", \"stored\": "
            "[\"0x0000000000000003\"], \"combinations\": [{\"mask\": \"0x0000000000000003\", \"credentials\": "
            "[\"Password\", \"Fingerprint\"]}]}, "
            "{\"policy\": \"runtime\", \"setting\": \"RuntimePolicy\", \"state\": \"not configured\", \"stored\": [], "
            "\"combinations\": []}, "
            "{\"policy\": \"kiosk\", \"setting\": \"KioskRuntimePolicy\", \"state\": \"not configured\", \"stored\": "
            "[], \"combinations\": []}, "
            "{\"policy\": \"enrollment\", \"setting\": \"DisableCredentials\", \"state\": \"not configured\", "
            "\"stored\": [], \"disabled\": []}]}, "
            "{\"section\": \"user\", \"policies\": ["
            "{\"policy\": \"runtime\", \"setting\": \"RuntimePolicy\", \"state\": \"not configured\", \"stored\": [], "
            "\"combinations\": []}, "
            "{\"policy\": \"enrollment\", \"setting\": \"DisableCredentials\", \"state\": \"not configured\", "
            "\"stored\": [], \"disabled\": []}]}]}\n");
}

TEST_F(VxPolicy, SetTakesThePagesDecisionsAndRaisesTheMachineVersion) {
  Machine({Setting(u"LogonPolicy", {0x2}), {u"Software\\Other", u"Kept", REG_DWORD, {1, 0, 0, 0}}});
  ASSERT_EQ(0, Run({"set", "C:\\gpo", "--section", "machine", "--policy", "logon", "--enable", "Password+Fingerprint",
                    "password", "Smart card", "Smart card"}))
      << err;
  EXPECT_EQ(Stored(u"LogonPolicy"), (std::vector<ULONGLONG>{0x1, 0x4})) << "the whole list is replaced";
  EXPECT_NE(err.find("note: Password replaces Password + Fingerprint"), std::string::npos) << err;
  EXPECT_NE(err.find("note: The combination Smart card is already in the list."), std::string::npos)
      << "given twice, kept once: " << err;
  EXPECT_EQ(out, "machine logon: Enabled: Fingerprint\n  now: Enabled: Password; Smart card\n");
  EXPECT_NE(Stored(u"Kept"), std::vector<ULONGLONG>{0xDEAD}) << "an unrelated record stays";
  EXPECT_EQ(files.FileBytes(u"C:\\gpo\\gpt.ini"), Bytes("[General]\r\nVersion=1\r\n"));

  ASSERT_EQ(0, Run({"set", "C:\\gpo", "--section", "machine", "--policy", "runtime", "--disable"}));
  EXPECT_EQ(Stored(u"RuntimePolicy"), std::vector<ULONGLONG>{0x0}) << "no authentication";
  ASSERT_EQ(0, Run({"set", "C:\\gpo", "--section", "machine", "--policy", "logon", "--not-configured"}));
  EXPECT_EQ(Stored(u"LogonPolicy"), std::vector<ULONGLONG>{0xDEAD});

  // Fingerprint and 0x80, a credential not in the catalogue, allowed: one is unticked, the other stays.
  Machine({Setting(u"LogonPolicy", {0x2}), Setting(u"DisableCredentials", {0xFFFFFFFFFFFFFF7D})});
  const auto before = Snapshot();
  ASSERT_EQ(0, Run({"set", "C:\\gpo", "--section", "machine", "--policy", "enrollment", "--enable", "Password",
                    "Smart card", "--dry-run"}));
  EXPECT_EQ(Snapshot(), before) << "a dry run writes nothing";
  EXPECT_NE(out.find("would become: Enabled: disabled for enrollment: Fingerprint, Face [0xFFFFFFFFFFFFFF7A]"),
            std::string::npos)
      << out;
  ASSERT_EQ(0, Run({"set", "C:\\gpo", "--section", "machine", "--policy", "enrollment", "--enable", "Password",
                    "Smart card"}));
  EXPECT_EQ(Stored(u"DisableCredentials"), std::vector<ULONGLONG>{0xFFFFFFFFFFFFFF7A});
  EXPECT_NE(err.find("warning: The logon policy contains combinations made only of credentials"), std::string::npos)
      << err;
}

TEST_F(VxPolicy, BadInputIsRefusedClearlyAndChangesNothing) {
  Machine({Setting(u"LogonPolicy", {0x1})});
  struct Row {
    Strings args;
    std::string message;
  } rows[] = {
      {{"set", "C:\\gpo", "--section", "machine", "--policy", "logon", "--enable", "Password+Retina"},
       "unknown credential \"Retina\""},
      {{"set", "C:\\gpo", "--section", "machine", "--policy", "login", "--disable"}, "unknown policy \"login\""},
      {{"set", "C:\\gpo", "--section", "user", "--policy", "kiosk", "--disable"}, "the user section has no kiosk"},
      {{"set", "C:\\gpo", "--section", "machine", "--policy", "logon", "--enable", "Face"}, "not reliable: Face"},
      {{"set", "C:\\gpo", "--section", "machine", "--policy", "logon"}, "give --enable"},
      {{"show", "C:\\nowhere"}, "C:\\nowhere: no GPO folder"},
      {{"frobnicate"}, "unknown command"},
  };
  const auto before = Snapshot();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.message);
    EXPECT_EQ(2, Run(row.args));
    EXPECT_NE(err.find(row.message), std::string::npos) << err;
    EXPECT_EQ(Snapshot(), before);
  }

  // A folder that cannot be written: neither a section folder made nor a file replaced.
  for (const bool directories : {true, false}) {
    files.FailCreateDirectory(directories ? ERROR_ACCESS_DENIED : 0);
    files.FailReplace(directories ? 0 : ERROR_ACCESS_DENIED);
    EXPECT_EQ(2, Run({"set", "C:\\gpo", "--section", "user", "--policy", "runtime", "--disable"}));
    EXPECT_NE(err.find("cannot be written (0x80070005); nothing was changed"), std::string::npos) << err;
    EXPECT_EQ(Snapshot(), before);
  }

  files.AddDirectory(u"C:\\gpo\\User\\Registry.pol");
  EXPECT_EQ(2, Run({"show", "C:\\gpo"}));
  EXPECT_NE(err.find("C:\\gpo\\User\\Registry.pol: cannot be read"), std::string::npos) << err;

  files.SetFileBytes(u"C:\\gpo\\Machine\\Registry.pol", Bytes(std::string("PReg\x01\0\0\0[\0X", 11)));
  EXPECT_EQ(2, Run({"show", "C:\\gpo"}));
  EXPECT_NE(err.find("C:\\gpo\\Machine\\Registry.pol: byte 10: "), std::string::npos) << err;
}

TEST_F(VxPolicy, CheckFindsWhatWouldLockUsersOut) {
  Machine({Setting(u"LogonPolicy", {0x1, 0x6})});
  EXPECT_EQ(0, Run({"check", "C:\\gpo"}));
  EXPECT_EQ(out, "no problem found\n");

  // The zero mask (no authentication) holds no credential disabled for enrollment.
  Machine({Setting(u"LogonPolicy", {0x20}), Setting(u"RuntimePolicy", {0x0, 0x4, 0x100}),
           Setting(u"DisableCredentials", {0xFFFFFFFFFFFFFFFB})});
  EXPECT_EQ(1, Run({"check", "C:\\gpo"}));
  EXPECT_EQ(out,
            "machine logon: Each logon type needs at least one combination made of reliable credentials only. These "
            "credentials are not reliable: Face\n"
            "machine runtime: 0x100 holds credentials no plug-in of the catalogue names (0x100)\n"
            "machine enrollment: The logon policy contains combinations made only of credentials that are disabled "
            "for enrollment:\r\n\r\nFace\n"
            "machine enrollment: The runtime policy contains combinations made only of credentials that are disabled "
            "for enrollment:\r\n\r\n0x100\n");
}

TEST(VxPolicyCatalogue, WrittenAndReadBackOrRefusedByLine) {
  const std::vector<CatalogueEntry> entries = {{0x1, 1, true, u"Password"}, {0x80, 1, false, u"Clé de sécurité"}};
  std::vector<CatalogueEntry> read;
  std::string error;
  ASSERT_TRUE(vx::vxpolicy::ParseCatalogue(vx::vxpolicy::WriteCatalogue(entries), read, error)) << error;
  EXPECT_EQ(read, entries);
  EXPECT_FALSE(vx::vxpolicy::ParseCatalogue("# vxpolicy credential catalogue 1\n0x1\t1\tmaybe\tPIN\n", read, error));
  EXPECT_EQ(error, "line 2: expected 0x<mask>, type, reliable or unreliable, name");
}

}  // namespace

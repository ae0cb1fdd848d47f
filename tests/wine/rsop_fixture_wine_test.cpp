// The console host's RSoP fixture on the real platform: its locator class registered in this apartment is
// what the product's WMI adapter creates for CLSID_WbemLocator (no registry change), the RSoP data reads
// the fixture's settings through it, and once the fixture is gone the platform's locator is back.
#include <gtest/gtest.h>

#include <cwchar>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/text.h"
#include "policy/multi_sz.h"
#include "rsop/rsop_data.h"
#include "rsop/win32/clipboard_win32.h"
#include "rsop/win32/directory_win32.h"
#include "rsop/win32/rsop_information_win32.h"
#include "rsop/win32/wmi_rsop.h"
#include "rsop_root.h"
#include "wmi_fixture.h"

namespace vx::console {
namespace {

using rsop::CRsopData;
using rsop::RsopPolicyEntry;

std::string Narrow(std::u16string_view text) { return Utf16ToUtf8(text); }
std::string Narrow(const std::wstring& text) { return Utf16ToUtf8(AsU16(text.c_str())); }

constexpr char kFixture[] =
    "# a loser before its winner, a disabled setting marked deleted, a user setting\n"
    "machine | 2 | Branch Office Policy  | LogonPolicy        | 1\n"
    "machine | 1 | Default Domain Policy | LogonPolicy        | 3, 4\n"
    "machine | 1 | Kiosk Lockdown Policy | KioskRuntimePolicy |     | deleted\n"
    "user    | 1 | Default Domain Policy | RuntimePolicy      | 2, 0x11\n";

class RsopFixtureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    wchar_t folder[MAX_PATH] = {};
    ASSERT_GT(::GetTempPathW(MAX_PATH, folder), 0u);
    m_folder = folder;
    m_folder += L"vx_rsop_fixture_" + std::to_wstring(::GetCurrentProcessId()) + L"\\";
    ::CreateDirectoryW(m_folder.c_str(), nullptr);
  }

  void TearDown() override {
    for (const std::wstring& file : m_files) ::DeleteFileW(file.c_str());
    ::RemoveDirectoryW(m_folder.c_str());
    EXPECT_EQ(wmifixture::LiveObjects(), 0) << "every locator object is released";
    ::CoUninitialize();
  }

  std::wstring Write(const wchar_t* name, const std::string& text) {
    const std::wstring path = m_folder + name;
    std::ofstream(std::filesystem::path(path), std::ios::binary) << text;
    m_files.push_back(path);
    return path;
  }

  static std::string Read(const std::wstring& path) {
    std::ostringstream text;
    text << std::ifstream(std::filesystem::path(path), std::ios::binary).rdbuf();
    return text.str();
  }

  void LoadAndRegister(RsopFixture& fixture) {
    std::wstring error;
    ASSERT_EQ(fixture.Load(Write(L"fixture.txt", kFixture), error), S_OK) << Narrow(error);
    EXPECT_TRUE(error.empty());
    ASSERT_EQ(fixture.Register(), S_OK);
  }

  // The RSoP data of one section as the snap-in builds it, over the product's Win32 ports.
  std::unique_ptr<CRsopData> LoadSection(RsopFixture& fixture, bool machine) {
    auto data = std::make_unique<CRsopData>(m_ports);
    data->SetMachineSection(machine);
    rsop::Win32RsopInformationSource source(fixture.Information());
    EXPECT_EQ(data->InitRsop(&source), S_OK);
    EXPECT_EQ(data->LoadRsop(), S_OK);
    return data;
  }

  std::wstring m_folder;
  std::vector<std::wstring> m_files;
  rsop::WmiRsopLocator m_locator;  // CLSID_WbemLocator, as the snap-in creates it
  rsop::Win32Directory m_directory;
  rsop::Win32RsopClipboard m_clipboard;
  rsop::RsopPorts m_ports{&m_locator, &m_directory, &m_clipboard};
};

void ExpectEntry(const RsopPolicyEntry* entry, std::vector<ULONGLONG> masks, const char* winner,
                 std::vector<std::pair<std::string, std::int32_t>> precedence, int deleted) {
  ASSERT_NE(entry, nullptr);
  const std::string name = Narrow(entry->valueName);
  EXPECT_EQ(entry->data, policy::SerializeMultiSz(masks)) << name;
  EXPECT_EQ(Narrow(entry->winner.gpoName), winner) << name;
  EXPECT_EQ(entry->winner.precedence, 1) << name;
  std::vector<std::pair<std::string, std::int32_t>> list;
  for (const auto& item : entry->precedenceList) list.emplace_back(Narrow(item.gpoName), item.precedence);
  EXPECT_EQ(list, precedence) << name;
  EXPECT_EQ(entry->deleted, deleted) << name;
}

TEST_F(RsopFixtureTest, TheSnapinReadsTheFixtureThroughThePlatformLocatorClass) {
  RsopFixture fixture;
  EXPECT_EQ(wmifixture::LiveObjects(), 0);
  LoadAndRegister(fixture);
  EXPECT_EQ(fixture.SettingCount(), 4u);
  EXPECT_TRUE(fixture.Registered());
  EXPECT_EQ(fixture.Register(), S_FALSE) << "registered once";
  EXPECT_EQ(wmifixture::LiveObjects(), 1) << "the class object";

  const auto machine = LoadSection(fixture, true);
  EXPECT_EQ(Narrow(machine->Namespace()), Narrow(kRsopMachineNamespace));
  ASSERT_EQ(machine->Entries().size(), 2u);
  ExpectEntry(machine->FindEntry(u"LogonPolicy"), {3, 4}, "Default Domain Policy",
              {{"Branch Office Policy", 2}, {"Default Domain Policy", 1}}, 0);
  ExpectEntry(machine->FindEntry(u"KioskRuntimePolicy"), {}, "Kiosk Lockdown Policy", {{"Kiosk Lockdown Policy", 1}},
              1);
  EXPECT_EQ(machine->FindEntry(u"RuntimePolicy"), nullptr) << "a user setting";

  const auto user = LoadSection(fixture, false);
  EXPECT_EQ(Narrow(user->Namespace()), Narrow(kRsopUserNamespace));
  ASSERT_EQ(user->Entries().size(), 1u);
  ExpectEntry(user->FindEntry(u"RuntimePolicy"), {2, 0x11}, "Default Domain Policy",
              {{"Default Domain Policy", 1}}, 0);

  std::unique_ptr<rsop::IRsopServices> services;
  EXPECT_EQ(m_locator.ConnectServer(u"\\\\.\\root\\rsop\\vxconsole\\elsewhere", services),
            static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
  EXPECT_EQ(services, nullptr);
}

TEST_F(RsopFixtureTest, OnceTheFixtureIsGoneTheLocatorClassIsThePlatformsAgain) {
  std::unique_ptr<rsop::IRsopServices> kept;
  {
    RsopFixture fixture;
    LoadAndRegister(fixture);
    ASSERT_EQ(m_locator.ConnectServer(AsU16(kRsopMachineNamespace), kept), S_OK);
  }
  EXPECT_EQ(wmifixture::LiveObjects(), 1) << "only the services still held are left";

  // Whatever the platform offers now (Wine's own WMI, or nothing) does not know the fixture's namespace.
  std::unique_ptr<rsop::IRsopServices> services;
  const HRESULT connect = m_locator.ConnectServer(AsU16(kRsopMachineNamespace), services);
  EXPECT_TRUE(FAILED(connect)) << std::hex << connect;
  EXPECT_EQ(services, nullptr);

  // What was handed out before keeps working on its settings.
  std::unique_ptr<rsop::IRsopObjectEnum> objects;
  ASSERT_EQ(kept->ExecQuery(u"WQL", u"SELECT * FROM RSOP_RegistryPolicySetting", 0x30, objects), S_OK);
  size_t count = 0;
  for (std::unique_ptr<rsop::IRsopObject> object; objects->Next(object) == S_OK;) ++count;
  EXPECT_EQ(count, 3u);
  objects.reset();
  kept.reset();
}

TEST_F(RsopFixtureTest, TheInformationObjectGivesEachSectionItsNamespace) {
  RsopFixture fixture;
  IRSOPInformation* information = fixture.Information();
  ASSERT_NE(information, nullptr);
  wchar_t name[260] = L"stale";
  struct Case {
    DWORD section;
    int chars;
    HRESULT expected;
    const wchar_t* ns;
  };
  const size_t machineChars = std::wcslen(kRsopMachineNamespace);
  const Case cases[] = {
      {GPO_SECTION_MACHINE, 260, S_OK, kRsopMachineNamespace},
      {GPO_SECTION_USER, 260, S_OK, kRsopUserNamespace},
      {GPO_SECTION_MACHINE, static_cast<int>(machineChars) + 1, S_OK, kRsopMachineNamespace},
      {GPO_SECTION_MACHINE, static_cast<int>(machineChars), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER), nullptr},
      {GPO_SECTION_ROOT, 260, E_INVALIDARG, nullptr},
      {3, 260, E_INVALIDARG, nullptr},
  };
  for (const Case& c : cases) {
    std::wcscpy(name, L"stale");
    EXPECT_EQ(information->GetNamespace(c.section, name, c.chars), c.expected) << c.section << "/" << c.chars;
    EXPECT_EQ(Narrow(std::wstring(name)), Narrow(std::wstring(c.ns ? c.ns : L"stale"))) << c.section;
  }
  DWORD flags = 0xFFFF;
  EXPECT_EQ(information->GetFlags(&flags), S_OK);
  EXPECT_EQ(flags, 0u);
  LPOLESTR text = reinterpret_cast<LPOLESTR>(name);
  EXPECT_EQ(information->GetEventLogEntryText(nullptr, nullptr, nullptr, 0, &text), E_NOTIMPL);
  EXPECT_EQ(text, nullptr);

  Microsoft::WRL::ComPtr<IUnknown> unknown;
  EXPECT_EQ(information->QueryInterface(kIidRsopInformation, reinterpret_cast<void**>(unknown.GetAddressOf())), S_OK);
  EXPECT_EQ(unknown.Get(), information);
  EXPECT_EQ(information->QueryInterface(IID_IDataObject, reinterpret_cast<void**>(unknown.ReleaseAndGetAddressOf())),
            E_NOINTERFACE);
  EXPECT_EQ(unknown.Get(), nullptr);
}

TEST_F(RsopFixtureTest, AFileThatCannotBeUsedIsReportedAndChangesNothing) {
  RsopFixture fixture;
  std::wstring error;
  ASSERT_EQ(fixture.Load(Write(L"good.txt", kFixture), error), S_OK);

  const std::string badText =
      "# comment\n\nmachine | 1 | GPO | LogonPolicy | 3\ncomputer | 1 | GPO | LogonPolicy | 1\n";
  const std::wstring bad = Write(L"bad.txt", badText);
  const std::wstring missing = m_folder + L"missing.txt";
  struct Case {
    std::wstring path;
    HRESULT expected;
    std::string message;
  };
  const Case cases[] = {
      {bad, HRESULT_FROM_WIN32(ERROR_INVALID_DATA), ": line 4: unknown section 'computer' (machine or user)"},
      {Write(L"mask.txt", "user | 1 | GPO | RuntimePolicy | 1,x\n"), HRESULT_FROM_WIN32(ERROR_INVALID_DATA),
       ": line 1: bad mask 'x' (1 to 16 hexadecimal digits)"},
      {missing, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), ": cannot read the file (error 2)"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(fixture.Load(c.path, error), c.expected) << Narrow(c.path);
    EXPECT_EQ(Narrow(error), Narrow(c.path) + c.message);
    EXPECT_EQ(fixture.SettingCount(), 4u) << "the settings loaded before stay";
  }
  EXPECT_EQ(Read(bad), badText) << "the file is only read";
  EXPECT_EQ(::GetFileAttributesW(missing.c_str()), INVALID_FILE_ATTRIBUTES) << "nothing is created";

  ASSERT_EQ(fixture.Register(), S_OK);
  EXPECT_EQ(fixture.Load(Write(L"other.txt", "user | 1 | GPO | RuntimePolicy | 1\n"), error), E_UNEXPECTED);
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(fixture.SettingCount(), 4u) << "not while it is served";
  fixture.Revoke();
  EXPECT_FALSE(fixture.Registered());
  EXPECT_EQ(fixture.Load(Write(L"other.txt", "user | 1 | GPO | RuntimePolicy | 1\n"), error), S_OK);
  EXPECT_EQ(fixture.SettingCount(), 1u);
}

}  // namespace
}  // namespace vx::console

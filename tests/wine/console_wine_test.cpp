// The snap-in as an administrator meets it: the built DLL registered in the prefix, loaded by the
// console host into real tree and list windows over GPO folders kept as Registry.pol and gpt.ini, or
// over an RSoP fixture. Screenshots of what the windows show are kept in artefacts/ beside the program.
#include <gtest/gtest.h>
#include <windows.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "console_host.h"
#include "gpo/gpt_ini.h"
#include "gpo/registry_pol.h"
#include "gpo_folder.h"
#include "platform/text.h"
#include "platform/win32/win32_handles.h"
#include "policy/auth_policy.h"
#include "policy/multi_sz.h"
#include "policy/policy_settings.h"
#include "policy/win32/gpe_information.h"
#include "rsop_root.h"
#include "sample_tokens.h"
#include "screenshot.h"

using Microsoft::WRL::ComPtr;
using namespace vx::console;
using Rows = std::vector<std::vector<std::wstring>>;

namespace {

using vxtest::BesideProgram;

constexpr wchar_t kMachine[] = L"Computer Configuration\\Software Settings";
constexpr wchar_t kUser[] = L"User Configuration\\Software Settings";

std::string Narrow(const std::wstring& text) { return vx::Utf16ToUtf8(vx::AsU16(text.c_str())); }

// A file of the build, as Wine sees the build tree on its drive Z:.
std::wstring WindowsPath(const char* path) {
  std::wstring windows = L"Z:" + std::wstring(vx::AsWide(vx::Utf8ToUtf16(path)));
  std::replace(windows.begin(), windows.end(), L'/', L'\\');
  return windows;
}

std::vector<BYTE> ReadBytes(const std::wstring& path) {
  std::ifstream in(path.c_str(), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

template <class Bytes>
void WriteBytes(const std::wstring& path, const Bytes& bytes) {
  std::ofstream(path.c_str(), std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// A policy value of the application key with the masks as the store writes them.
vx::gpo::PolRecord Setting(const char16_t* name, std::vector<ULONGLONG> masks) {
  return {vx::policy::kApplicationKey, name, REG_MULTI_SZ, vx::policy::SerializeMultiSz(masks)};
}

// Runs the host's messages for a while, so that the windows paint.
void Pump(int milliseconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (std::chrono::steady_clock::now() < end) {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      ::TranslateMessage(&message);
      ::DispatchMessageW(&message);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

// Closes the first message box this process shows, keeping its caption, its text and a screenshot.
class MessageBoxWatcher {
 public:
  explicit MessageBoxWatcher(std::wstring screenshot)
      : m_screenshot(std::move(screenshot)), m_thread([this] {
          for (int i = 0; i < 400 && !m_stop; ++i) {
            if (HWND box = Find()) {
              wchar_t text[1024] = {};
              ::GetDlgItemTextW(box, 0xFFFF, text, 1024);  // the static control of a message box
              m_text = text;
              ::GetWindowTextW(box, text, 1024);
              m_caption = text;
              std::this_thread::sleep_for(std::chrono::milliseconds(200));  // painted
              m_saved = SaveWindowBitmap(box, m_screenshot);
              ::PostMessageW(box, WM_COMMAND, IDOK, 0);
              return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
          }
        }) {}
  ~MessageBoxWatcher() { Stop(); }
  void Stop() {
    m_stop = true;
    if (m_thread.joinable()) m_thread.join();
  }
  std::wstring m_screenshot, m_text, m_caption;
  HRESULT m_saved = E_PENDING;

 private:
  static HWND Find() {
    HWND found = nullptr;
    ::EnumWindows(
        [](HWND window, LPARAM param) -> BOOL {
          DWORD process = 0;
          ::GetWindowThreadProcessId(window, &process);
          wchar_t name[16] = {};
          ::GetClassNameW(window, name, 16);
          if (process != ::GetCurrentProcessId() || std::wstring(name) != L"#32770" || !::IsWindowVisible(window))
            return TRUE;
          *reinterpret_cast<HWND*>(param) = window;
          return FALSE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
  }
  std::atomic<bool> m_stop{false};
  std::thread m_thread;
};

class ConsoleWine : public ::testing::Test {
 protected:
  using Entry = HRESULT(STDAPICALLTYPE*)();
  static void SetUpTestSuite() {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    s_module = ::LoadLibraryW(WindowsPath(VX_SNAPIN_DLL).c_str());
    ASSERT_NE(s_module, nullptr) << "the snap-in DLL is built before this test";
    const auto registerServer = vx::platform::ProcAddress<Entry>(s_module, "DllRegisterServer");
    ASSERT_NE(registerServer, nullptr);
    ASSERT_EQ(registerServer(), S_OK);
  }
  static void TearDownTestSuite() {
    if (s_module) {
      if (const auto unregisterServer = vx::platform::ProcAddress<Entry>(s_module, "DllUnregisterServer")) {
        unregisterServer();
      }
    }
    ::CoFreeUnusedLibraries();
    ::CoUninitialize();
  }

  void SetUp() override {
    vxtest::RemovePlugins();
    std::filesystem::create_directories(folder / L"Machine");
    std::filesystem::create_directories(folder / L"User");
    WriteBytes(folder / L"gpt.ini", std::string("[General]\r\nVersion=0\r\n"));
    std::filesystem::create_directories(BesideProgram(L"artefacts"));
  }
  void TearDown() override {
    if (host) host->Shutdown();
    host.reset();
    gpo.reset();
    vxtest::RemovePlugins();
  }

  void RegisterSamples() { ASSERT_TRUE(vxtest::RegisterSampleTokens()); }
  void WritePol(const wchar_t* section, const std::vector<vx::gpo::PolRecord>& records) {
    WriteBytes(folder / (section + std::wstring(L"\\Registry.pol")), vx::gpo::WriteRegistryPol(records));
  }
  // Opens the folder in a new host window, as `console.exe <folder>` does.
  void Open() {
    gpo = std::make_unique<GpoFolder>(folder.Path());
    ASSERT_EQ(gpo->Load(), S_OK) << Narrow(gpo->Error());
    host = std::make_unique<ConsoleHost>(EditorRoots(gpo.get()));
    ASSERT_EQ(host->Create(), S_OK);
    ASSERT_GE(host->LoadExtensions(), 1u);
  }
  Rows Show(const std::wstring& root, const wchar_t* node) {
    EXPECT_TRUE(host->Select({root, L"Vantorix Keystone Client", L"Security", node}));
    return host->ResultRows();
  }
  // Keeps what the windows show; the result pane must not change meanwhile.
  void Screenshot(const std::wstring& name) {
    const Rows before = host->ResultRows();
    Pump(300);
    EXPECT_EQ(host->ResultRows(), before) << "painting changed the result pane";
    EXPECT_EQ(SaveWindowBitmap(host->Window(), BesideProgram(L"artefacts\\" + name + L".bmp")), S_OK);
  }

  vxtest::ScratchFolder folder;
  std::unique_ptr<GpoFolder> gpo;
  std::unique_ptr<ConsoleHost> host;
  static HMODULE s_module;
};

HMODULE ConsoleWine::s_module = nullptr;

TEST_F(ConsoleWine, BothSectionsShowTheBranchAndTheirPolicies) {
  RegisterSamples();
  WritePol(L"Machine", {Setting(u"LogonPolicy", {3, 1})});
  ASSERT_NO_FATAL_FAILURE(Open());
  for (const wchar_t* root : {kMachine, kUser}) {
    EXPECT_EQ(host->Children({root}), std::vector<std::wstring>{L"[DNL]Vantorix Keystone Client"}) << Narrow(root);
    EXPECT_EQ(host->Children({root, L"Vantorix Keystone Client"}), std::vector<std::wstring>{L"[DNL]Security"});
    EXPECT_EQ(host->Children({root, L"Vantorix Keystone Client", L"Security"}),
              (std::vector<std::wstring>{L"[DNL]Authentication", L"[DNL]Enrollment"}));
  }
  EXPECT_EQ(Show(kMachine, L"Authentication"), (Rows{{L"Logon Policy", L"Enabled"},
                                                     {L"Runtime Policy", L"Not configured"},
                                                     {L"Kiosk Runtime Policy", L"Not configured"}}));
  Screenshot(L"console-machine-authentication");
  // The user half of this GPO was never written: no application key, nothing configured.
  EXPECT_EQ(Show(kUser, L"Authentication"), (Rows{{L"Runtime Policy", L"Not configured"}}));
  Screenshot(L"console-user-authentication");
  EXPECT_EQ(Show(kMachine, L"Enrollment"), (Rows{{L"[DNL]Enrollment policy", L"Not configured"}}));
}

TEST_F(ConsoleWine, WithoutPluginsAuthenticationShowsTheErrorBoxAndNoItems) {
  ASSERT_NO_FATAL_FAILURE(Open());
  MessageBoxWatcher box(BesideProgram(L"artefacts\\console-no-plugins-box.bmp"));
  EXPECT_TRUE(Show(kMachine, L"Authentication").empty());
  box.Stop();
  EXPECT_NE(box.m_text.find(L"No credential plug-ins of"), std::wstring::npos) << Narrow(box.m_text);
  EXPECT_FALSE(box.m_caption.empty());
  EXPECT_EQ(box.m_saved, S_OK);
  Screenshot(L"console-no-plugins");
}

// What the snap-in saves goes through PolicyChanged into the folder: Registry.pol rewritten with
// everything it held, the machine half of the version raised; a new host shows the saved state.
TEST_F(ConsoleWine, SavedPolicyReachesTheFolderAndTheViewsFollow) {
  RegisterSamples();
  const std::vector<vx::gpo::PolRecord> held = {Setting(u"LogonPolicy", {1}),
                                                {u"Software\\Policies\\Other", u"**del.Stale", REG_SZ, {' ', 0, 0, 0}},
                                                {u"Software\\Policies\\Other", u"Level", REG_DWORD, {7, 0, 0, 0}}};
  WritePol(L"Machine", held);
  ASSERT_NO_FATAL_FAILURE(Open());
  ASSERT_EQ(Show(kMachine, L"Authentication").size(), 3u);
  {
    vx::policy::CGpeInformation information{ComPtr<IGPEInformation>(gpo.get())};
    vx::policy::CGPOAuthPolicy runtime;
    runtime.SetDisabled(true);
    ASSERT_EQ(runtime.Save(&information, vx::policy::VX_GPO_SECTION_MACHINE, vx::policy::kRuntimePolicy), S_OK);
  }
  std::vector<vx::gpo::PolRecord> written;
  vx::gpo::PolError error;
  ASSERT_TRUE(vx::gpo::ParseRegistryPol(ReadBytes(folder / L"Machine\\Registry.pol"), written, error));
  for (const vx::gpo::PolRecord& record : {held[0], held[1], held[2], Setting(u"RuntimePolicy", {})}) {
    EXPECT_NE(std::find(written.begin(), written.end(), record), written.end()) << vx::Utf16ToUtf8(record.value);
  }
  const std::vector<BYTE> ini = ReadBytes(folder / L"gpt.ini");
  EXPECT_EQ(vx::gpo::GptIni::Parse({reinterpret_cast<const char*>(ini.data()), ini.size()}).Version(), 1u);

  // A page of the Authentication node tells the console through the host's mmcbase.dll; the snap-in
  // updates all views and the shown list follows without reopening the node.
  const Rows saved{
      {L"Logon Policy", L"Enabled"}, {L"Runtime Policy", L"Disabled"}, {L"Kiosk Runtime Policy", L"Not configured"}};
  const vx::platform::UniqueLibrary mmcbase(::LoadLibraryW(WindowsPath(VX_MMCBASE_DLL).c_str()));
  ASSERT_NE(mmcbase, nullptr);
  const auto notify =
      vx::platform::ProcAddress<HRESULT(STDAPICALLTYPE*)(LONG_PTR, LPARAM)>(mmcbase.get(), "MMCPropertyChangeNotify");
  const auto freeHandle =
      vx::platform::ProcAddress<HRESULT(STDAPICALLTYPE*)(LONG_PTR)>(mmcbase.get(), "MMCFreeNotifyHandle");
  ASSERT_TRUE(notify && freeHandle);
  MMC_COOKIE cookie = 0;
  const LONG_PTR handle =
      host->ScopeNotifyHandle({kMachine, L"Vantorix Keystone Client", L"Security", L"Authentication"}, &cookie);
  ASSERT_NE(handle, 0);
  EXPECT_EQ(notify(0, cookie), E_INVALIDARG);
  ASSERT_EQ(notify(handle, cookie), S_OK);
  EXPECT_NE(host->ResultRows(), saved) << "posted: nothing happens before the host's thread runs";
  Pump(100);
  EXPECT_EQ(host->ResultRows(), saved);
  EXPECT_EQ(freeHandle(handle), S_OK);

  host->Shutdown();
  host.reset();
  gpo.reset();
  ASSERT_NO_FATAL_FAILURE(Open());
  EXPECT_EQ(Show(kMachine, L"Authentication"), saved);
}

// The RSoP console over applied settings: only what some GPO set is listed, with the winner's data.
TEST_F(ConsoleWine, RsopViewListsTheAppliedPoliciesOfEachSection) {
  RegisterSamples();
  WriteBytes(folder / L"rsop.txt", std::string("machine | 2 | Branch Office Policy | LogonPolicy | 1\n"
                                               "machine | 1 | Default Domain Policy | LogonPolicy | 3, 4\n"
                                               "machine | 1 | Kiosk Policy | KioskRuntimePolicy | 4\n"
                                               "user | 1 | Default Domain Policy | RuntimePolicy | 2\n"));
  RsopFixture fixture;
  std::wstring error;
  ASSERT_EQ(fixture.Load(folder / L"rsop.txt", error), S_OK) << Narrow(error);
  ASSERT_EQ(fixture.Register(), S_OK);
  host = std::make_unique<ConsoleHost>(
      std::vector<ConsoleRoot>{{kRsopMachineNodeType, kMachine, kIidRsopInformation, fixture.Information()},
                               {kRsopUserNodeType, kUser, kIidRsopInformation, fixture.Information()}});
  ASSERT_EQ(host->Create(), S_OK);
  ASSERT_EQ(host->LoadExtensions(), 2u) << "the machine and user RSoP classes";
  EXPECT_EQ(Show(kMachine, L"Authentication"),
            (Rows{{L"Logon Policy", L"Enabled"}, {L"Kiosk Runtime Policy", L"Enabled"}}));
  Screenshot(L"console-rsop-machine");
  EXPECT_EQ(Show(kUser, L"Authentication"), (Rows{{L"Runtime Policy", L"Enabled"}}));
  host->Shutdown();
  host.reset();
}

TEST_F(ConsoleWine, MalformedRegistryPolIsRefusedAndLeftAsItWas) {
  const std::vector<vx::gpo::PolRecord> records{Setting(u"LogonPolicy", {1})};
  std::vector<BYTE> bytes = vx::gpo::WriteRegistryPol(records);
  bytes.resize(bytes.size() - 3);  // cut inside the last record
  WriteBytes(folder / L"Machine\\Registry.pol", bytes);
  GpoFolder broken(folder.Path());
  EXPECT_EQ(broken.Load(), HRESULT_FROM_WIN32(ERROR_INVALID_DATA));
  EXPECT_NE(broken.Error().find(L"Registry.pol: byte "), std::wstring::npos) << Narrow(broken.Error());
  EXPECT_EQ(ReadBytes(folder / L"Machine\\Registry.pol"), bytes);
}

}  // namespace

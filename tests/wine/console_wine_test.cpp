// The snap-in as an administrator meets it: the built DLL registered in the prefix, loaded by the
// console host into real tree and list windows over GPO folders kept as Registry.pol and gpt.ini, or
// over an RSoP fixture; the policy page and its dialogs worked from the keyboard (a second thread types
// while the host's thread runs the modal sheet). Screenshots are kept in artefacts/ beside the program.
#include <gtest/gtest.h>
#include <windows.h>
#include <commctrl.h>
#include <prsht.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
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
#include "resource_ids.h"
#include "rsop_root.h"
#include "sample_tokens.h"
#include "screenshot.h"

using Microsoft::WRL::ComPtr;
using namespace vx::console;
using Rows = std::vector<std::vector<std::wstring>>;
using Strings = std::vector<std::wstring>;

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

// Keyboard input as the administrator types it, to whatever window has the focus.
void Press(WORD key, bool alt = false) {
  std::vector<INPUT> inputs;
  auto add = [&](WORD vk, bool up) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = vk;
    input.ki.dwFlags = up ? KEYEVENTF_KEYUP : 0;
    inputs.push_back(input);
  };
  if (alt) add(VK_MENU, false);
  add(key, false);
  add(key, true);
  if (alt) add(VK_MENU, true);
  ::SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
}

// The enabled, visible dialog of that thread other than `other` (a modal one disables its owner),
// once painted; null after ten seconds.
HWND WaitForDialog(DWORD thread, HWND other = nullptr) {
  for (int i = 0; i < 100; ++i) {
    std::pair<HWND, HWND> search{other, nullptr};
    ::EnumThreadWindows(
        thread,
        [](HWND window, LPARAM param) -> BOOL {
          auto* s = reinterpret_cast<std::pair<HWND, HWND>*>(param);
          wchar_t name[16] = {};
          ::GetClassNameW(window, name, 16);
          if (window != s->first && std::wstring(name) == L"#32770" && ::IsWindowVisible(window) &&
              ::IsWindowEnabled(window))
            s->second = window;
          return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    if (search.second) {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      return search.second;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return nullptr;
}

std::wstring Text(HWND window) {
  wchar_t text[1024] = {};
  ::GetWindowTextW(window, text, 1024);
  return text;
}

// The combinations the page's list shows, "Password + Fingerprint" per row.
Strings ListRows(HWND list) {
  Strings rows;
  for (int row = 0; row < ListView_GetItemCount(list); ++row) {
    wchar_t first[260] = {}, second[260] = {};
    ListView_GetItemText(list, row, 0, first, 260);
    ListView_GetItemText(list, row, 2, second, 260);
    rows.push_back(second[0] ? std::wstring(first) + L" + " + second : std::wstring(first));
  }
  return rows;
}

// Runs vxpolicy.exe with these arguments; its exit code, and what it printed to either stream.
int RunVxPolicy(const std::wstring& arguments, std::string& output) {
  SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
  HANDLE read = nullptr, write = nullptr;
  if (!::CreatePipe(&read, &write, &inherit, 0)) return -1;
  ::SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = startup.hStdError = write;
  PROCESS_INFORMATION process{};
  std::wstring line = L"\"" + WindowsPath(VX_VXPOLICY_EXE) + L"\" " + arguments;
  const BOOL started = ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                                        nullptr, &startup, &process);
  ::CloseHandle(write);
  output.clear();
  char buffer[4096];
  DWORD got = 0;
  while (started && ::ReadFile(read, buffer, sizeof(buffer), &got, nullptr) && got > 0) output.append(buffer, got);
  ::CloseHandle(read);
  if (!started) return -1;
  ::WaitForSingleObject(process.hProcess, 60000);
  DWORD code = 0;
  ::GetExitCodeProcess(process.hProcess, &code);
  ::CloseHandle(process.hProcess);
  ::CloseHandle(process.hThread);
  return static_cast<int>(code);
}

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
    // The host's stand-in for the console library, which the pages' notifications go through.
    ASSERT_NE(::LoadLibraryW(WindowsPath(VX_MMCBASE_DLL).c_str()), nullptr);
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
  void Shot(HWND window, const std::wstring& name) {
    EXPECT_EQ(SaveWindowBitmap(window, BesideProgram(L"artefacts\\" + name + L".bmp")), S_OK);
  }
  // A setting's masks in Machine\Registry.pol; {0xDEAD} when it holds no such value.
  std::vector<ULONGLONG> Stored(const char16_t* setting = vx::policy::kLogonPolicy) {
    std::vector<vx::gpo::PolRecord> records;
    vx::gpo::PolError error;
    EXPECT_TRUE(vx::gpo::ParseRegistryPol(ReadBytes(folder / L"Machine\\Registry.pol"), records, error));
    for (const auto& record : records)
      if (record.value == setting) return vx::policy::ParseMultiSz(record.data);
    return {0xDEAD};  // no value
  }
  // Opens an item's sheet on this thread; drive works it from a second one, then it is closed.
  void WithSheet(const std::function<void(HWND sheet, HWND page, DWORD thread)>& drive,
                 const wchar_t* item = L"Logon Policy") {
    const DWORD thread = ::GetCurrentThreadId();
    std::thread driver([&] {
      HWND sheet = WaitForDialog(thread);
      ASSERT_NE(sheet, nullptr) << "no property sheet";
      drive(sheet, PropSheet_GetCurrentPageHwnd(sheet), thread);
      if (::IsWindow(sheet)) ::PostMessageW(sheet, WM_COMMAND, IDCANCEL, 0);
    });
    EXPECT_TRUE(host->OpenProperties(item));
    driver.join();
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
  std::wstring text, caption;
  std::thread watcher([&, thread = ::GetCurrentThreadId()] {
    if (HWND box = WaitForDialog(thread)) {
      text = Text(::GetDlgItem(box, 0xFFFF));  // the static control of a message box
      caption = Text(box);
      Shot(box, L"console-no-plugins-box");
      ::PostMessageW(box, WM_COMMAND, IDOK, 0);
    }
  });
  EXPECT_TRUE(Show(kMachine, L"Authentication").empty());
  watcher.join();
  EXPECT_NE(text.find(L"No credential plug-ins of"), std::wstring::npos) << Narrow(text);
  EXPECT_FALSE(caption.empty());
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

  const Rows saved{
      {L"Logon Policy", L"Enabled"}, {L"Runtime Policy", L"Disabled"}, {L"Kiosk Runtime Policy", L"Not configured"}};
  host->Shutdown();
  host.reset();
  gpo.reset();
  ASSERT_NO_FATAL_FAILURE(Open());
  EXPECT_EQ(Show(kMachine, L"Authentication"), saved);
}

// The RSoP console over applied settings: only what some GPO set is listed, with the winner's data.
TEST_F(ConsoleWine, RsopViewListsTheAppliedPoliciesOfEachSection) {
  RegisterSamples();
  WriteBytes(folder / L"rsop.txt", std::string("machine | 3 | Branch Office Policy | LogonPolicy | 1\n"
                                               "machine | 1 | Default Domain Policy | LogonPolicy | 3, 4\n"
                                               "machine | 2 | Site Policy | LogonPolicy | 2\n"
                                               "machine | 1 | Kiosk Policy | KioskRuntimePolicy | 4\n"
                                               "machine | 1 | Default Domain Policy | DisableCredentials | "
                                               "FFFFFFFFFFFFFFFA\n"
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
  // Read only, with the GPOs that set the value, the winner first.
  WithSheet([&](HWND sheet, HWND page, DWORD) {
    EXPECT_FALSE(::IsWindowEnabled(::GetDlgItem(page, IDC_ENABLED)));
    EXPECT_FALSE(::IsWindowEnabled(::GetDlgItem(page, IDC_ADD_LINK)));
    ::SendMessageW(sheet, PSM_SETCURSEL, 2, 0);
    HWND list = ::GetDlgItem(PropSheet_GetCurrentPageHwnd(sheet), IDC_PRECEDENCE_LIST);
    EXPECT_EQ(ListRows(list), (Strings{L"Default Domain Policy", L"Site Policy", L"Branch Office Policy"}));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Shot(sheet, L"rsop-precedence-page");
  });
  // The enrollment page shows what the winning GPO allows, and nothing can be changed.
  EXPECT_EQ(Show(kMachine, L"Enrollment"), (Rows{{L"[DNL]Enrollment policy", L"Enabled"}}));
  WithSheet(
      [&](HWND sheet, HWND page, DWORD) {
        HWND list = ::GetDlgItem(page, IDC_TOKENS_LIST);
        EXPECT_FALSE(::IsWindowEnabled(list));
        EXPECT_FALSE(::IsWindowEnabled(::GetDlgItem(page, IDC_NOT_CONFIGURED)));
        EXPECT_EQ(::IsDlgButtonChecked(page, IDC_ENABLED), BST_CHECKED);
        EXPECT_TRUE(ListView_GetCheckState(list, 0));  // Password
        EXPECT_FALSE(ListView_GetCheckState(list, 1));
        EXPECT_TRUE(ListView_GetCheckState(list, 2));  // Smart card
        Shot(sheet, L"rsop-enrollment-page");
      },
      L"Enrollment policy");
  EXPECT_EQ(Show(kUser, L"Authentication"), (Rows{{L"Runtime Policy", L"Enabled"}}));

  // A second instance whose node offers no RSoP information finds the namespace the first one left
  // on the clipboard.
  ConsoleHost second({{kRsopMachineNodeType, kMachine, kIidRsopInformation, nullptr}});
  ASSERT_EQ(second.Create(L"Second view"), S_OK);
  ASSERT_EQ(second.LoadExtensions(), 1u);
  EXPECT_TRUE(second.Select({kMachine, L"Vantorix Keystone Client", L"Security", L"Authentication"}));
  EXPECT_EQ(second.ResultRows(), (Rows{{L"Logon Policy", L"Enabled"}, {L"Kiosk Runtime Policy", L"Enabled"}}));
  second.Shutdown();
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

// The DLL's manifest (resource 2) asks for version 6 of the common controls, and an activation
// context can be made of it: the pages' links and list views are made in it.
TEST_F(ConsoleWine, TheDllAsksForVersion6OfTheCommonControls) {
  HRSRC resource = ::FindResourceW(s_module, MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24));
  HGLOBAL loaded = resource ? ::LoadResource(s_module, resource) : nullptr;
  ASSERT_NE(loaded, nullptr);
  const std::string manifest(static_cast<const char*>(::LockResource(loaded)), ::SizeofResource(s_module, resource));
  EXPECT_NE(manifest.find("name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\""), std::string::npos);
  ACTCTXW request{};
  request.cbSize = sizeof(request);
  request.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
  request.hModule = s_module;
  request.lpResourceName = MAKEINTRESOURCEW(2);
  HANDLE context = ::CreateActCtxW(&request);
  ASSERT_NE(context, INVALID_HANDLE_VALUE) << ::GetLastError();
  ::ReleaseActCtx(context);
}

TEST_F(ConsoleWine, PolicyPageByKeyboardAddEditDeleteAndApplyReachRegistryPol) {
  ASSERT_TRUE(vxtest::RegisterAllSamples());
  WritePol(L"Machine", {Setting(u"LogonPolicy", {0x80})});
  ASSERT_NO_FATAL_FAILURE(Open());
  ASSERT_TRUE(host->ExpandTo(L"Authentication"));
  WithSheet([&](HWND sheet, HWND page, DWORD thread) {
    HWND list = ::GetDlgItem(page, IDC_POLICIES_LIST);
    EXPECT_EQ(ListRows(list), Strings{L"Security key"});

    // Add: the list (its label's mnemonic), the link, Enter; then the dialog's two combo boxes.
    Press('C', true);
    Press(VK_TAB);
    Press(VK_RETURN);
    HWND dialog = WaitForDialog(thread, sheet);
    ASSERT_NE(dialog, nullptr) << "no add dialog";
    Press('P', true);
    Press(VK_DOWN);  // Password
    Press('S', true);
    Press(VK_DOWN);  // from "(None)" to Fingerprint
    Shot(dialog, L"policy-page-add-dialog");
    Press(VK_RETURN);
    EXPECT_EQ(ListRows(list), (Strings{L"Password + Fingerprint", L"Security key"}));
    Shot(page, L"policy-page");

    // Edit the new row (selected after the add) with Space: Fingerprint becomes Smart card.
    Press('C', true);
    Press(VK_SPACE);
    ASSERT_NE(dialog = WaitForDialog(thread, sheet), nullptr) << "no edit dialog";
    EXPECT_EQ(Text(dialog), L"Edit Credential Combination");
    Press('S', true);
    Press(VK_DOWN);
    Press(VK_RETURN);
    EXPECT_EQ(ListRows(list), (Strings{L"Password + Smart card", L"Security key"}));
    Press('A', true);  // Apply
    EXPECT_EQ(Stored(), (std::vector<ULONGLONG>{0x80, 0x5}));

    // Delete the first row with the Delete key: asked, Yes; the row now in its place opens for
    // editing, which Escape cancels.
    Press('C', true);
    Press(VK_HOME);
    Press(VK_DELETE);
    ASSERT_NE(WaitForDialog(thread, sheet), nullptr) << "no question";
    Press(VK_RETURN);  // Yes
    ASSERT_NE(dialog = WaitForDialog(thread, sheet), nullptr) << "Delete falls through to edit";
    EXPECT_EQ(Text(dialog), L"Edit Credential Combination");
    Press(VK_ESCAPE);
    EXPECT_EQ(ListRows(list), Strings{L"Security key"});
    Press('A', true);
    EXPECT_EQ(Stored(), std::vector<ULONGLONG>{0x80});

    // Disabled: nothing stored, and the result pane follows through the console notification.
    Press('D', true);
    Press('A', true);
    EXPECT_EQ(Stored(), std::vector<ULONGLONG>{});
    for (int i = 0; i < 20 && host->ResultRows().at(0).at(1) != L"Disabled"; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the notification is posted
    EXPECT_EQ(host->ResultRows().at(0), (Strings{L"Logon Policy", L"Disabled"}));
  });
}

TEST_F(ConsoleWine, PolicyPageRefusesUnreliableCredentialsAndWritesNothing) {
  ASSERT_TRUE(vxtest::RegisterAllSamples());
  WritePol(L"Machine", {Setting(u"LogonPolicy", {0x20})});  // Face alone, which is not reliable
  ASSERT_NO_FATAL_FAILURE(Open());
  ASSERT_TRUE(host->ExpandTo(L"Authentication"));
  const std::vector<BYTE> before = ReadBytes(folder / L"Machine\\Registry.pol");
  WithSheet([&](HWND sheet, HWND, DWORD thread) {
    Press('D', true);
    Press('E', true);
    Press('A', true);
    HWND box = WaitForDialog(thread, sheet);
    ASSERT_NE(box, nullptr) << "no error box";
    EXPECT_NE(Text(::GetDlgItem(box, 0xFFFF)).find(L"Face"), std::wstring::npos) << Text(::GetDlgItem(box, 0xFFFF));
    Shot(box, L"policy-page-unreliable");
    Press(VK_RETURN);
    EXPECT_TRUE(::IsWindowEnabled(::GetDlgItem(sheet, 0x3021))) << "Apply stays available";
  });
  EXPECT_EQ(ReadBytes(folder / L"Machine\\Registry.pol"), before);
}

TEST_F(ConsoleWine, PolicyPageOpensTheEnforcementDialogAndTheSheetExplainsThePolicy) {
  ASSERT_TRUE(vxtest::RegisterAllSamples());
  WritePol(L"Machine", {Setting(u"LogonPolicy", {0x1})});
  ASSERT_NO_FATAL_FAILURE(Open());
  ASSERT_TRUE(host->ExpandTo(L"Authentication"));
  WithSheet([&](HWND sheet, HWND page, DWORD thread) {
    EXPECT_EQ(Text(::GetDlgItem(page, IDC_ENFORCEMENT_LINK)), L"<a>Enforcement: not scheduled</a>");
    Press('C', true);
    Press(VK_TAB);
    Press(VK_TAB);
    Press(VK_RETURN);
    HWND dialog = WaitForDialog(thread, sheet);
    ASSERT_NE(dialog, nullptr) << "no enforcement dialog";
    const auto dateShown = [&] { return ::IsWindowVisible(::GetDlgItem(dialog, IDC_ENFORCE_DATE)) != FALSE; };
    EXPECT_FALSE(dateShown());
    Press('E', true);
    Press(VK_DOWN);  // Immediately
    EXPECT_FALSE(dateShown());
    Press(VK_DOWN);  // From a specific date
    EXPECT_TRUE(dateShown());
    Shot(dialog, L"policy-page-enforcement");
    Press(VK_UP);
    Press(VK_RETURN);
    for (int i = 0; i < 50 && ::IsWindow(dialog); ++i)  // Wine may take a while to hand the focus back
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(::IsWindow(dialog));
    EXPECT_TRUE(::IsWindowEnabled(::GetDlgItem(sheet, 0x3021))) << "the page is modified";

    // The second tab explains the setting.
    ::SendMessageW(sheet, PSM_SETCURSEL, 1, 0);
    HWND explanation = PropSheet_GetCurrentPageHwnd(sheet);
    EXPECT_EQ(Text(::GetDlgItem(explanation, IDC_PROMPT)), L"Logon Policy");
    EXPECT_NE(Text(::GetDlgItem(explanation, IDC_EXPLANATION)).find(L"to log on"), std::wstring::npos);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Shot(sheet, L"policy-page-explanation");
  });
}

TEST_F(ConsoleWine, EnrollmentPageTicksByKeyboardAndApplyWarnsThenReachesRegistryPol) {
  ASSERT_TRUE(vxtest::RegisterAllSamples());
  WritePol(L"Machine", {Setting(u"LogonPolicy", {0x2, 0x5})});
  ASSERT_NO_FATAL_FAILURE(Open());
  ASSERT_TRUE(host->ExpandTo(L"Enrollment"));
  WithSheet(
      [&](HWND sheet, HWND page, DWORD thread) {
        HWND list = ::GetDlgItem(page, IDC_TOKENS_LIST);
        const Strings rows = ListRows(list);
        ASSERT_GE(rows.size(), 3u);
        EXPECT_EQ(Strings(rows.begin(), rows.begin() + 3), (Strings{L"Password", L"Fingerprint", L"Smart card"}));
        Press(VK_SPACE);  // not enabled: the box stays as it is
        Press('E', true);
        Press('C', true);  // the list, through its label
        Press(VK_HOME);
        Press(VK_SPACE);  // Password
        Press(VK_DOWN);
        Press(VK_DOWN);
        Press(VK_SPACE);  // Smart card
        EXPECT_TRUE(ListView_GetCheckState(list, 0));
        EXPECT_FALSE(ListView_GetCheckState(list, 1));
        EXPECT_TRUE(ListView_GetCheckState(list, 2));
        Shot(page, L"enrollment-page");
        Press('A', true);
        HWND box = WaitForDialog(thread, sheet);
        ASSERT_NE(box, nullptr) << "no warning about the logon policy's fingerprint-only combination";
        const std::wstring warning = Text(::GetDlgItem(box, 0xFFFF));
        EXPECT_NE(warning.find(L"Fingerprint"), std::wstring::npos) << warning;
        EXPECT_EQ(warning.find(L"Smart card"), std::wstring::npos) << warning;
        Shot(box, L"enrollment-page-warning");
        Press(VK_RETURN);
        for (int i = 0; i < 20 && Stored(vx::policy::GPO_DisableCredentials).front() == 0xDEAD; ++i)
          std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(Stored(vx::policy::GPO_DisableCredentials), std::vector<ULONGLONG>{~0x5ull});
        for (int i = 0; i < 20 && host->ResultRows().at(0).at(1) != L"Enabled"; ++i)
          std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(host->ResultRows().at(0), (Strings{L"[DNL]Enrollment policy", L"Enabled"}));
        ::SendMessageW(sheet, PSM_SETCURSEL, 1, 0);
        EXPECT_EQ(Text(::GetDlgItem(PropSheet_GetCurrentPageHwnd(sheet), IDC_PROMPT)), L"Enrollment policy");
      },
      L"Enrollment policy");
}

TEST_F(ConsoleWine, HelpOnAnItemOpensTheIntroductionOfTheInstalledHelpFile) {
  RegisterSamples();
  ASSERT_NO_FATAL_FAILURE(Open());
  ASSERT_TRUE(host->ExpandTo(L"Authentication"));
  EXPECT_EQ(host->Help(L"Logon Policy"), S_FALSE) << "no help registered: nothing shown, nothing fails";
  EXPECT_EQ(host->HelpTopic(), L"");

  // As the product's installer registers it: a help id, the file's name for that id, and the
  // binary directory whose language folders hold the file.
  const std::wstring binDir = WindowsPath(VX_BIN_DIR);
  const wchar_t helpId[] = L"{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";
  const wchar_t file[] = L"VXGPOSnapin.chm";
  const auto set = [](const wchar_t* key, const wchar_t* name, const std::wstring& value, REGSAM view) {
    HKEY opened = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, key, 0, nullptr, 0, KEY_SET_VALUE | view, nullptr, &opened,
                                nullptr), ERROR_SUCCESS);
    ::RegSetValueExW(opened, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                     static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    ::RegCloseKey(opened);
  };
  set(L"SOFTWARE\\Vantorix\\Help", L"KeystoneAdminToolsHelpID", helpId, 0);
  set(L"SOFTWARE\\Vantorix\\Applications\\Help", helpId, file, KEY_WOW64_32KEY);
  set(L"SOFTWARE\\Vantorix\\Applications", L"BinDir", binDir, KEY_WOW64_32KEY);
  EXPECT_EQ(host->Help(L"Logon Policy"), S_OK);
  const std::wstring chm = binDir + L"\\en-US\\" + file;
  EXPECT_EQ(host->HelpTopic(), chm + L"::/lm-intro.htm");
  const std::vector<BYTE> compiled = ReadBytes(chm);
  const std::string needle = "/lm-intro.htm";
  EXPECT_NE(std::search(compiled.begin(), compiled.end(), needle.begin(), needle.end()), compiled.end())
      << "the topic is in the compiled file";
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantorix\\Help");
  ::RegDeleteKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantorix\\Applications\\Help", KEY_WOW64_32KEY, 0);
  HKEY applications = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantorix\\Applications", 0, KEY_SET_VALUE | KEY_WOW64_32KEY,
                      &applications) == ERROR_SUCCESS) {
    ::RegDeleteValueW(applications, L"BinDir");
    ::RegCloseKey(applications);
  }
}

TEST_F(ConsoleWine, VxPolicyAndTheConsoleShowTheSameGpo) {
  ASSERT_TRUE(vxtest::RegisterAllSamples());
  const std::wstring gpoPath = L"\"" + folder.Path() + L"\"";
  std::string output;
  ASSERT_EQ(RunVxPolicy(L"set " + gpoPath + L" --section machine --policy logon --enable Password+Fingerprint "
                        L"\"Smart card\"", output), 0) << output;
  ASSERT_EQ(RunVxPolicy(L"set " + gpoPath + L" --section machine --policy enrollment --enable Password Fingerprint "
                        L"\"Smart card\"", output), 0) << output;
  ASSERT_NO_FATAL_FAILURE(Open());
  EXPECT_EQ(Show(kMachine, L"Enrollment"), (Rows{{L"[DNL]Enrollment policy", L"Enabled"}}));
  EXPECT_EQ(Show(kMachine, L"Authentication").at(0), (Strings{L"Logon Policy", L"Enabled"}));
  // The page shows what the tool stored; what the page applies, the tool reads back.
  WithSheet([&](HWND, HWND page, DWORD) {
    EXPECT_EQ(ListRows(::GetDlgItem(page, IDC_POLICIES_LIST)), (Strings{L"Password + Fingerprint", L"Smart card"}));
    Press('D', true);
    Press('A', true);
  });
  host->Shutdown();
  host.reset();
  EXPECT_EQ(RunVxPolicy(L"show " + gpoPath, output), 0) << output;
  EXPECT_NE(output.find("Logon policy: Disabled"), std::string::npos) << output;
  EXPECT_NE(output.find("Enrollment policy: Enabled: disabled for enrollment: "), std::string::npos) << output;
  EXPECT_EQ(output.find("Smart card"), std::string::npos) << "Smart card stays allowed: " << output;
  EXPECT_EQ(RunVxPolicy(L"check " + gpoPath, output), 0) << output;

  // The catalogue of the samples, for the tool where they are not installed: the copy kept with the
  // samples is what the registered plug-ins say now.
  const std::wstring exported = BesideProgram(L"artefacts\\samples.tokens");
  ASSERT_EQ(RunVxPolicy(L"tokens --export \"" + exported + L"\"", output), 0) << output;
  EXPECT_EQ(ReadBytes(exported), ReadBytes(WindowsPath(VX_SOURCE_DIR "/samples/plugins/samples.tokens")))
      << "samples/plugins/samples.tokens is out of date: copy " << Narrow(exported);
}

}  // namespace

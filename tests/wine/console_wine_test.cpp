// The snap-in as an administrator meets it: the built DLL registered in the prefix, loaded by the
// console host into real tree and list windows over GPO folders kept as Registry.pol and gpt.ini, or
// over an RSoP fixture; the pages and their dialogs worked from the keyboard (a second thread types
// while the host's thread runs the modal sheet). What the pages decide is proven by the native page
// tests; here the real windows, files and plug-ins. Screenshots are kept in artefacts/ beside the program.
#include <gtest/gtest.h>
#include <windows.h>
#include <commctrl.h>
#include <prsht.h>
#include <wrl/client.h>

#include <algorithm>
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
#include "resource_ids.h"
#include "rsop_root.h"
#include "sample_tokens.h"
#include "screenshot.h"

using namespace vx::console;
using Rows = std::vector<std::vector<std::wstring>>;
using Strings = std::vector<std::wstring>;
using Masks = std::vector<ULONGLONG>;

namespace {

using vxtest::BesideProgram;

constexpr wchar_t kMachine[] = L"Computer Configuration\\Software Settings";
constexpr wchar_t kUser[] = L"User Configuration\\Software Settings";
constexpr int kApplyButton = 0x3021;
constexpr int kMessageText = 0xFFFF;  // the static control of a message box
constexpr WORD kMarker = VK_F24;      // a key no window here acts on

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
vx::gpo::PolRecord Setting(const char16_t* name, Masks masks) {
  return {vx::policy::kApplicationKey, name, REG_MULTI_SZ, vx::policy::SerializeMultiSz(masks)};
}

// Waits up to ten seconds for done(); its last answer.
bool Eventually(const std::function<bool()>& done) {
  for (int i = 0; i < 1000; ++i) {
    if (done()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return done();
}

// Runs the host's messages for a while, so that the windows paint.
void Pump(int milliseconds) {
  for (int i = 0; i < milliseconds / 20; ++i) {
    MSG message;
    while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) ::DispatchMessageW(&message);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

// Key strokes (a key and whether it goes up) as the administrator types them, to the focus of the
// host's thread.
void Send(const std::vector<std::pair<WORD, bool>>& strokes) {
  std::vector<INPUT> inputs;
  for (const auto& [key, up] : strokes) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = key;
    input.ki.dwFlags = up ? KEYEVENTF_KEYUP : 0;
    inputs.push_back(input);
  }
  ::SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
}

// Types a key and returns once the host's thread has handled it: a marker key follows, whose toggle
// state in the input the typing thread shares with the host's thread (WithSheet) changes once that
// thread has taken the marker from its queue.
void Press(WORD key, bool alt = false) {
  const SHORT toggled = ::GetKeyState(kMarker) & 1;
  if (alt) {
    Send({{VK_MENU, false}, {key, false}, {key, true}, {VK_MENU, true}, {kMarker, false}, {kMarker, true}});
  } else {
    Send({{key, false}, {key, true}, {kMarker, false}, {kMarker, true}});
  }
  EXPECT_TRUE(Eventually([&] { return (::GetKeyState(kMarker) & 1) != toggled; })) << "key " << key;
}

GUITHREADINFO GuiOf(DWORD thread) {
  GUITHREADINFO info{sizeof(info)};
  ::GetGUIThreadInfo(thread, &info);
  return info;
}

// The dialog of that thread other than `other` once it is active with the focus in it; null after
// ten seconds.
HWND WaitForDialog(DWORD thread, HWND other = nullptr) {
  HWND found = nullptr;
  Eventually([&] {
    const GUITHREADINFO gui = GuiOf(thread);
    found = gui.hwndFocus ? gui.hwndActive : nullptr;
    wchar_t name[16] = {};
    return found && found != other && ::GetClassNameW(found, name, 16) && std::wstring(name) == L"#32770";
  });
  return found != other ? found : nullptr;
}

// Closes a dialog with that key, waits until another window is active (Wine drops the input still
// queued for a destroyed window), then until the thread is back in its message loop.
void Close(DWORD thread, HWND dialog, WORD key) {
  Send({{key, false}, {key, true}});
  EXPECT_TRUE(Eventually([&] { return !::IsWindow(dialog) && GuiOf(thread).hwndActive; }));
  ::SendMessageW(GuiOf(thread).hwndActive, WM_NULL, 0, 0);
}

std::wstring Text(HWND window) {
  wchar_t text[1024] = {};
  ::GetWindowTextW(window, text, 1024);
  return text;
}

// The rows of a list view, "Password + Fingerprint" per row of the policy page.
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

// Runs vxpolicy.exe with these arguments through the command processor; its exit code, and what it
// printed to either stream.
int RunVxPolicy(const std::wstring& arguments, std::string& output) {
  const std::wstring printed = BesideProgram(L"artefacts\\vxpolicy.txt");
  const int code = ::_wsystem(
      (L"\"\"" + WindowsPath(VX_VXPOLICY_EXE) + L"\" " + arguments + L" >\"" + printed + L"\" 2>&1\"").c_str());
  const std::vector<BYTE> bytes = ReadBytes(printed);
  output.assign(bytes.begin(), bytes.end());
  return code;
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
    ASSERT_TRUE(vxtest::RegisterAllSamples());
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

  void WritePol(const std::vector<vx::gpo::PolRecord>& records) {
    WriteBytes(folder / L"Machine\\Registry.pol", vx::gpo::WriteRegistryPol(records));
  }
  std::vector<vx::gpo::PolRecord> ReadPol() {
    std::vector<vx::gpo::PolRecord> records;
    vx::gpo::PolError error;
    EXPECT_TRUE(vx::gpo::ParseRegistryPol(ReadBytes(folder / L"Machine\\Registry.pol"), records, error));
    return records;
  }
  // A setting's masks in Machine\Registry.pol; {0xDEAD} when it holds no such value.
  Masks Stored(const char16_t* setting = vx::policy::kLogonPolicy) {
    for (const auto& record : ReadPol())
      if (record.value == setting) return vx::policy::ParseMultiSz(record.data);
    return {0xDEAD};
  }
  // Opens the folder in a new host window, as `console.exe <folder>` does, showing that node.
  void Open(const wchar_t* node) {
    gpo = std::make_unique<GpoFolder>(folder.Path());
    ASSERT_EQ(gpo->Load(), S_OK) << Narrow(gpo->Error());
    host = std::make_unique<ConsoleHost>(EditorRoots(gpo.get()));
    ASSERT_EQ(host->Create(), S_OK);
    ASSERT_GE(host->LoadExtensions(), 1u);
    ASSERT_TRUE(host->ExpandTo(node));
  }
  Rows Show(const std::wstring& root, const wchar_t* node) {
    EXPECT_TRUE(host->Select({root, L"Vantorix Keystone Client", L"Security", node}));
    return host->ResultRows();
  }
  // A window of the host's thread, from the typing thread once it was painted.
  void Shot(HWND window, const std::wstring& name) {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(SaveWindowBitmap(window, BesideProgram(L"artefacts\\" + name + L".bmp")), S_OK);
  }
  // The host's window from its own thread; the result pane must not change while it paints.
  void Screenshot(const std::wstring& name) {
    const Rows before = host->ResultRows();
    Pump(300);
    EXPECT_EQ(host->ResultRows(), before) << "painting changed the result pane";
    EXPECT_EQ(SaveWindowBitmap(host->Window(), BesideProgram(L"artefacts\\" + name + L".bmp")), S_OK);
  }
  // Opens an item's sheet on this thread; drive works it from a second one, then it is closed.
  void WithSheet(const std::function<void(HWND sheet, HWND page, DWORD thread)>& drive, const wchar_t* item) {
    const DWORD thread = ::GetCurrentThreadId();
    std::thread driver([&] {
      ASSERT_TRUE(::AttachThreadInput(::GetCurrentThreadId(), thread, TRUE));
      HWND sheet = WaitForDialog(thread);
      ASSERT_NE(sheet, nullptr) << "no property sheet";
      // Attaching cleared the shared key state: a marker makes it follow the desktop's again once the
      // host's thread has taken it, which it does before it answers a message sent after the next ones.
      Send({{kMarker, false}, {kMarker, true}});
      for (int i = 0; i < 4; ++i) ::SendMessageW(sheet, WM_NULL, 0, 0);
      drive(sheet, PropSheet_GetCurrentPageHwnd(sheet), thread);
      if (::IsWindow(sheet)) ::PostMessageW(sheet, WM_COMMAND, IDCANCEL, 0);
    });
    EXPECT_TRUE(host->OpenProperties(item));
    driver.join();
  }

  vxtest::ScratchFolder folder;
  std::unique_ptr<GpoFolder> gpo;
  std::unique_ptr<ConsoleHost> host;
  static HMODULE s_module;
};

HMODULE ConsoleWine::s_module = nullptr;

// What the page applies goes through PolicyChanged into the folder: Registry.pol rewritten with
// everything else it held, the machine half of the version raised, the result pane following.
TEST_F(ConsoleWine, PolicyPageByKeyboardAddEditDeleteAndApplyReachRegistryPol) {
  const std::vector<vx::gpo::PolRecord> held = {Setting(u"LogonPolicy", {0x80}),
                                                {u"Software\\Policies\\Other", u"**del.Stale", REG_SZ, {' ', 0, 0, 0}},
                                                {u"Software\\Policies\\Other", u"Level", REG_DWORD, {7, 0, 0, 0}}};
  WritePol(held);
  ASSERT_NO_FATAL_FAILURE(Open(L"Authentication"));
  EXPECT_EQ(host->ResultRows(), (Rows{{L"Logon Policy", L"Enabled"},
                                      {L"Runtime Policy", L"Not configured"},
                                      {L"Kiosk Runtime Policy", L"Not configured"}}));
  Screenshot(L"console-machine-authentication");
  WithSheet(
      [&](HWND sheet, HWND page, DWORD thread) {
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
        Close(thread, dialog, VK_RETURN);
        EXPECT_EQ(ListRows(list), (Strings{L"Password + Fingerprint", L"Security key"}));
        Shot(page, L"policy-page");

        // Edit the new row (selected after the add) with Space: Fingerprint becomes Smart card.
        Press('C', true);
        Press(VK_SPACE);
        ASSERT_NE(dialog = WaitForDialog(thread, sheet), nullptr) << "no edit dialog";
        EXPECT_EQ(Text(dialog), L"Edit Credential Combination");
        Press('S', true);
        Press(VK_DOWN);
        Close(thread, dialog, VK_RETURN);
        EXPECT_EQ(ListRows(list), (Strings{L"Password + Smart card", L"Security key"}));
        Press('A', true);  // Apply
        const std::vector<vx::gpo::PolRecord> written = ReadPol();
        for (const vx::gpo::PolRecord& record : {held[1], held[2], Setting(u"LogonPolicy", {0x80, 0x5})})
          EXPECT_NE(std::find(written.begin(), written.end(), record), written.end()) << vx::Utf16ToUtf8(record.value);
        const std::vector<BYTE> ini = ReadBytes(folder / L"gpt.ini");
        EXPECT_EQ(vx::gpo::GptIni::Parse({reinterpret_cast<const char*>(ini.data()), ini.size()}).Version(), 1u);

        // Delete the first row with the Delete key: asked, Yes; the row now in its place opens for
        // editing, which Escape cancels.
        Press('C', true);
        Press(VK_HOME);
        Press(VK_DELETE);
        HWND question = WaitForDialog(thread, sheet);
        ASSERT_NE(question, nullptr) << "no question";
        Close(thread, question, VK_RETURN);  // Yes
        ASSERT_NE(dialog = WaitForDialog(thread, sheet), nullptr) << "Delete falls through to edit";
        EXPECT_EQ(Text(dialog), L"Edit Credential Combination");
        Close(thread, dialog, VK_ESCAPE);
        EXPECT_EQ(ListRows(list), Strings{L"Security key"});
        Press('A', true);
        EXPECT_EQ(Stored(), Masks{0x80});

        // Disabled: nothing stored, and the result pane follows through the console notification.
        Press('D', true);
        Press('A', true);
        EXPECT_EQ(Stored(), Masks{});
        EXPECT_TRUE(Eventually([&] { return host->ResultRows().at(0).at(1) == L"Disabled"; }));
      },
      L"Logon Policy");
}

// One sheet of a policy made only of Face, which the sample says is not reliable: the enforcement
// dialog from its link, the explanation tab, and Apply refused.
TEST_F(ConsoleWine, PolicySheetShowsTheEnforcementDialogAndExplanationAndRefusesUnreliableCredentials) {
  WritePol({Setting(u"KioskRuntimePolicy", {0x20})});
  ASSERT_NO_FATAL_FAILURE(Open(L"Authentication"));
  const std::vector<BYTE> before = ReadBytes(folder / L"Machine\\Registry.pol");
  WithSheet(
      [&](HWND sheet, HWND page, DWORD thread) {
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
        Close(thread, dialog, VK_RETURN);
        EXPECT_TRUE(::IsWindowEnabled(::GetDlgItem(sheet, kApplyButton))) << "the page is modified";

        ::SendMessageW(sheet, PSM_SETCURSEL, 1, 0);
        HWND explanation = PropSheet_GetCurrentPageHwnd(sheet);
        EXPECT_EQ(Text(::GetDlgItem(explanation, IDC_PROMPT)), L"Kiosk Runtime Policy");
        EXPECT_NE(Text(::GetDlgItem(explanation, IDC_EXPLANATION)).find(L"kiosk mode"), std::wstring::npos);
        Shot(sheet, L"policy-page-explanation");

        Press('A', true);
        HWND box = WaitForDialog(thread, sheet);
        ASSERT_NE(box, nullptr) << "no error box";
        EXPECT_NE(Text(::GetDlgItem(box, kMessageText)).find(L"Face"), std::wstring::npos)
            << Narrow(Text(::GetDlgItem(box, kMessageText)));
        Shot(box, L"policy-page-unreliable");
        Close(thread, box, VK_RETURN);
        EXPECT_TRUE(::IsWindowEnabled(::GetDlgItem(sheet, kApplyButton))) << "Apply stays available";
      },
      L"Kiosk Runtime Policy");
  EXPECT_EQ(ReadBytes(folder / L"Machine\\Registry.pol"), before);
}

TEST_F(ConsoleWine, EnrollmentPageTicksByKeyboardAndApplyWarnsThenReachesRegistryPol) {
  WritePol({Setting(u"LogonPolicy", {0x2, 0x5})});
  ASSERT_NO_FATAL_FAILURE(Open(L"Enrollment"));
  WithSheet(
      [&](HWND sheet, HWND page, DWORD thread) {
        HWND list = ::GetDlgItem(page, IDC_TOKENS_LIST);
        const Strings rows = ListRows(list);
        ASSERT_GE(rows.size(), 3u);
        EXPECT_EQ(Strings(rows.begin(), rows.begin() + 3), (Strings{L"Password", L"Fingerprint", L"Smart card"}));
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
        const std::wstring warning = Text(::GetDlgItem(box, kMessageText));
        EXPECT_NE(warning.find(L"Fingerprint"), std::wstring::npos) << Narrow(warning);
        EXPECT_EQ(warning.find(L"Smart card"), std::wstring::npos) << Narrow(warning);
        Shot(box, L"enrollment-page-warning");
        Close(thread, box, VK_RETURN);
        EXPECT_TRUE(Eventually([&] { return Stored(vx::policy::GPO_DisableCredentials) == Masks{~0x5ull}; }));
        EXPECT_TRUE(Eventually([&] { return host->ResultRows().at(0).at(1) == L"Enabled"; }));
        ::SendMessageW(sheet, PSM_SETCURSEL, 1, 0);
        EXPECT_EQ(Text(::GetDlgItem(PropSheet_GetCurrentPageHwnd(sheet), IDC_PROMPT)), L"Enrollment policy");
      },
      L"Enrollment policy");
}

// The RSoP console over applied settings: only what some GPO set is listed, read only, with the
// GPOs that set it, the winner first.
TEST_F(ConsoleWine, RsopViewListsTheAppliedPoliciesOfEachSection) {
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
  const Rows applied{{L"Logon Policy", L"Enabled"}, {L"Kiosk Runtime Policy", L"Enabled"}};
  EXPECT_EQ(Show(kMachine, L"Authentication"), applied);
  Screenshot(L"console-rsop-machine");
  WithSheet(
      [&](HWND sheet, HWND page, DWORD) {
        EXPECT_FALSE(::IsWindowEnabled(::GetDlgItem(page, IDC_ENABLED)));
        EXPECT_FALSE(::IsWindowEnabled(::GetDlgItem(page, IDC_ADD_LINK)));
        ::SendMessageW(sheet, PSM_SETCURSEL, 2, 0);
        HWND list = ::GetDlgItem(PropSheet_GetCurrentPageHwnd(sheet), IDC_PRECEDENCE_LIST);
        EXPECT_EQ(ListRows(list), (Strings{L"Default Domain Policy", L"Site Policy", L"Branch Office Policy"}));
        Shot(sheet, L"rsop-precedence-page");
      },
      L"Logon Policy");
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
  EXPECT_EQ(second.ResultRows(), applied);
  second.Shutdown();
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

TEST_F(ConsoleWine, HelpOnAnItemOpensTheIntroductionOfTheInstalledHelpFile) {
  ASSERT_NO_FATAL_FAILURE(Open(L"Authentication"));
  EXPECT_EQ(host->Help(L"Logon Policy"), S_FALSE) << "no help registered: nothing shown, nothing fails";
  EXPECT_EQ(host->HelpTopic(), L"");

  // As the product's installer registers it: a help id, the file's name for that id, and the
  // binary directory whose language folders hold the file, the last two in the 32-bit view.
  const std::wstring binDir = WindowsPath(VX_BIN_DIR), file = L"VXGPOSnapin.chm";
  const wchar_t helpId[] = L"{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";
  const auto set = [](const wchar_t* key, const wchar_t* name, const std::wstring& value) {
    ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_SZ, value.c_str(),
                                static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  };
  set(L"SOFTWARE\\Vantorix\\Help", L"KeystoneAdminToolsHelpID", helpId);
  set(L"SOFTWARE\\Wow6432Node\\Vantorix\\Applications\\Help", helpId, file);
  set(L"SOFTWARE\\Wow6432Node\\Vantorix\\Applications", L"BinDir", binDir);
  EXPECT_EQ(host->Help(L"Logon Policy"), S_OK);
  const std::wstring chm = binDir + L"\\en-US\\" + file;
  EXPECT_EQ(host->HelpTopic(), chm + L"::/lm-intro.htm");
  const std::vector<BYTE> compiled = ReadBytes(chm);
  const std::string needle = "/lm-intro.htm";
  EXPECT_NE(std::search(compiled.begin(), compiled.end(), needle.begin(), needle.end()), compiled.end())
      << "the topic is in the compiled file";
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantorix\\Help");
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\Vantorix\\Applications\\Help");
  ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Wow6432Node\\Vantorix\\Applications", L"BinDir");
}

TEST_F(ConsoleWine, VxPolicyAndTheConsoleShowTheSameGpo) {
  const std::wstring gpoPath = L"\"" + folder.Path() + L"\"";
  std::string output;
  ASSERT_EQ(RunVxPolicy(L"set " + gpoPath +
                            L" --section machine --policy logon --enable Password+Fingerprint "
                            L"\"Smart card\"",
                        output),
            0)
      << output;
  ASSERT_EQ(RunVxPolicy(L"set " + gpoPath +
                            L" --section machine --policy enrollment --enable Password Fingerprint "
                            L"\"Smart card\"",
                        output),
            0)
      << output;
  ASSERT_NO_FATAL_FAILURE(Open(L"Enrollment"));
  EXPECT_EQ(host->ResultRows(), (Rows{{L"[DNL]Enrollment policy", L"Enabled"}}));
  EXPECT_EQ(Show(kMachine, L"Authentication").at(0), (Strings{L"Logon Policy", L"Enabled"}));
  // The page shows what the tool stored; what the page applies, the tool reads back.
  WithSheet(
      [&](HWND, HWND page, DWORD) {
        EXPECT_EQ(ListRows(::GetDlgItem(page, IDC_POLICIES_LIST)), (Strings{L"Password + Fingerprint", L"Smart card"}));
        Press('D', true);
        Press('A', true);
      },
      L"Logon Policy");
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

// The authentication policy page as an administrator uses it: the built DLL registered in the
// prefix with the signed sample plug-ins, the console host over a GPO folder, and the page and its
// add-credential dialog worked from the keyboard (a second thread types while the host's thread runs
// the modal sheet). What Apply stores is read back from Registry.pol. Screenshots go to artefacts/.
#include <gtest/gtest.h>
#include <windows.h>

#include <commctrl.h>
#include <prsht.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "console_host.h"
#include "gpo/registry_pol.h"
#include "gpo_folder.h"
#include "platform/text.h"
#include "policy/auth_policy.h"
#include "resource_ids.h"
#include "sample_clsids.h"
#include "screenshot.h"

using namespace vx::console;
using Strings = std::vector<std::wstring>;

namespace {

std::wstring BesideProgram(const std::wstring& file) {
  wchar_t path[MAX_PATH];
  const std::wstring program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
  return program.substr(0, program.find_last_of(L'\\') + 1) + file;
}

std::wstring WindowsPath(const char* path) {
  std::wstring windows = L"Z:" + std::wstring(vx::AsWide(vx::Utf8ToUtf16(path)));
  for (wchar_t& c : windows)
    if (c == L'/') c = L'\\';
  return windows;
}

std::vector<BYTE> ReadBytes(const std::wstring& path) {
  std::ifstream in(path.c_str(), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Every sample plug-in in both of the snap-in's lists.
void RegisterSamples() {
  const std::pair<const wchar_t*, const wchar_t*> samples[] = {
      {VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll"},
      {VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll"},
      {VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll"},
      {VX_SAMPLE_CLSID_ONETIMECODE, L"vxsample_onetimecode.dll"},
      {VX_SAMPLE_CLSID_BIOMETRICS, L"vxsample_biometrics.dll"},
      {VX_SAMPLE_CLSID_SECURITYKEY, L"vxsample_securitykey.dll"}};
  for (const wchar_t* list : {L"GPOEditorTokens", L"Tokens"}) {
    for (const auto& [clsid, file] : samples) {
      const std::wstring key = std::wstring(L"SOFTWARE\\Vantorix\\KELT\\Plugins\\UIElements\\") + list + L"\\" + clsid;
      const std::wstring path = BesideProgram(file);
      ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, path.c_str(),
                                                 static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))));
    }
  }
}

// A REG_MULTI_SZ of 16-digit masks, as the store writes them.
std::vector<BYTE> Masks(std::initializer_list<const char16_t*> masks) {
  std::u16string image;
  for (const char16_t* mask : masks) image.append(mask).push_back(u'\0');
  image.push_back(u'\0');
  const auto* bytes = reinterpret_cast<const BYTE*>(image.data());
  return {bytes, bytes + image.size() * sizeof(char16_t)};
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

// The enabled, visible dialog of that thread other than `other`: a modal one disables its owner.
HWND WaitForDialog(DWORD thread, HWND other = nullptr) {
  for (int i = 0; i < 100; ++i) {
    struct Search {
      HWND other, found;
    } search{other, nullptr};
    ::EnumThreadWindows(
        thread,
        [](HWND window, LPARAM param) -> BOOL {
          auto* s = reinterpret_cast<Search*>(param);
          wchar_t name[16] = {};
          ::GetClassNameW(window, name, 16);
          if (window != s->other && std::wstring(name) == L"#32770" && ::IsWindowVisible(window) &&
              ::IsWindowEnabled(window))
            s->found = window;
          return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    if (search.found) {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));  // initialised and painted
      return search.found;
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

// The combinations the list shows, "Password + Fingerprint" per row.
Strings Rows(HWND list) {
  Strings rows;
  for (int row = 0; row < ListView_GetItemCount(list); ++row) {
    wchar_t first[260] = {}, second[260] = {};
    ListView_GetItemText(list, row, 0, first, 260);
    ListView_GetItemText(list, row, 2, second, 260);
    rows.push_back(second[0] ? std::wstring(first) + L" + " + second : std::wstring(first));
  }
  return rows;
}

// The DLL's manifest (resource 2): what its pages and dialogs are made in.
std::string Manifest(HMODULE module) {
  HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24));
  HGLOBAL loaded = resource ? ::LoadResource(module, resource) : nullptr;
  const char* text = loaded ? static_cast<const char*>(::LockResource(loaded)) : nullptr;
  return text ? std::string(text, ::SizeofResource(module, resource)) : std::string();
}

class PolicyPageWine : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    s_module = ::LoadLibraryW(WindowsPath(VX_SNAPIN_DLL).c_str());
    ASSERT_NE(s_module, nullptr) << "the snap-in DLL is built before this test";
    using Entry = HRESULT(STDAPICALLTYPE*)();
    const auto reg = reinterpret_cast<Entry>(reinterpret_cast<void*>(::GetProcAddress(s_module, "DllRegisterServer")));
    ASSERT_EQ(reg ? reg() : E_FAIL, S_OK);
    // The host's stand-in for the console library, which the pages' notifications go through.
    ASSERT_NE(::LoadLibraryW(WindowsPath(VX_MMCBASE_DLL).c_str()), nullptr);
    RegisterSamples();
  }
  static void TearDownTestSuite() {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Vantorix\\KELT\\Plugins");
    ::CoUninitialize();
  }
  void SetUp() override {
    folder = BesideProgram(L"page_gpo_" + std::to_wstring(::GetCurrentProcessId()));
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder + L"\\Machine");
    std::filesystem::create_directories(folder + L"\\User");
    std::filesystem::create_directories(BesideProgram(L"artefacts"));
    std::ofstream(std::filesystem::path(folder + L"\\gpt.ini")) << "[General]\r\nVersion=0\r\n";
  }
  void TearDown() override {
    if (host) host->Shutdown();
    host.reset();
    gpo.reset();
    std::filesystem::remove_all(folder);
  }

  // The GPO holds the logon policy with these masks; the host shows the machine's Authentication.
  void Open(std::initializer_list<const char16_t*> logon) {
    const vx::gpo::PolRecord record{vx::policy::kApplicationKey, vx::policy::kLogonPolicy, REG_MULTI_SZ, Masks(logon)};
    const std::vector<BYTE> bytes = vx::gpo::WriteRegistryPol(std::vector<vx::gpo::PolRecord>{record});
    std::ofstream(std::filesystem::path(MachinePol()), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    gpo = std::make_unique<GpoFolder>(folder);
    ASSERT_EQ(gpo->Load(), S_OK);
    host = std::make_unique<ConsoleHost>(EditorRoots(gpo.get()));
    ASSERT_EQ(host->Create(), S_OK);
    ASSERT_GE(host->LoadExtensions(), 1u);
    ASSERT_TRUE(host->ExpandTo(L"Authentication"));
  }
  std::wstring MachinePol() const { return folder + L"\\Machine\\Registry.pol"; }
  // The logon policy's value in Machine\Registry.pol, as its masks.
  Strings StoredLogon() {
    std::vector<vx::gpo::PolRecord> records;
    vx::gpo::PolError error;
    const std::vector<BYTE> bytes = ReadBytes(MachinePol());
    EXPECT_TRUE(vx::gpo::ParseRegistryPol(bytes, records, error));
    for (const auto& record : records) {
      if (record.value != vx::policy::kLogonPolicy) continue;
      Strings masks;
      const auto* text = reinterpret_cast<const wchar_t*>(record.data.data());
      for (size_t at = 0; at < record.data.size() / 2 && text[at] != L'\0'; at += wcslen(text + at) + 1)
        masks.emplace_back(text + at);
      return masks;
    }
    return {L"(no value)"};
  }
  // Opens the logon policy's sheet; drive works it from a second thread and closes it.
  void WithSheet(const std::function<void(HWND sheet, HWND page)>& drive) {
    const DWORD thread = ::GetCurrentThreadId();
    std::thread driver([&] {
      HWND sheet = WaitForDialog(thread);
      ASSERT_NE(sheet, nullptr) << "no property sheet";
      drive(sheet, PropSheet_GetCurrentPageHwnd(sheet));
      if (::IsWindow(sheet)) ::PostMessageW(sheet, WM_COMMAND, IDCANCEL, 0);
    });
    EXPECT_TRUE(host->OpenProperties(L"Logon Policy"));
    driver.join();
  }
  void Shot(HWND window, const std::wstring& name) {
    EXPECT_EQ(SaveWindowBitmap(window, BesideProgram(L"artefacts\\" + name + L".bmp")), S_OK);
  }

  std::wstring folder;
  std::unique_ptr<GpoFolder> gpo;
  std::unique_ptr<ConsoleHost> host;
  static HMODULE s_module;
};

HMODULE PolicyPageWine::s_module = nullptr;

TEST_F(PolicyPageWine, TheDllAsksForVersion6OfTheCommonControls) {
  const std::string manifest = Manifest(s_module);
  EXPECT_NE(manifest.find("name=\"Microsoft.Windows.Common-Controls\" version=\"6.0.0.0\""), std::string::npos)
      << manifest;
  ACTCTXW request{};
  request.cbSize = sizeof(request);
  request.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
  request.hModule = s_module;
  request.lpResourceName = MAKEINTRESOURCEW(2);
  HANDLE context = ::CreateActCtxW(&request);
  EXPECT_NE(context, INVALID_HANDLE_VALUE) << ::GetLastError();
  if (context != INVALID_HANDLE_VALUE) ::ReleaseActCtx(context);
}

TEST_F(PolicyPageWine, KeyboardAddEditDeleteAndApplyReachRegistryPol) {
  ASSERT_NO_FATAL_FAILURE(Open({u"0000000000000080"}));
  WithSheet([&](HWND sheet, HWND page) {
    const DWORD thread = ::GetWindowThreadProcessId(sheet, nullptr);
    HWND list = ::GetDlgItem(page, IDC_POLICIES_LIST);
    EXPECT_EQ(Rows(list), Strings{L"Security key"});

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
    EXPECT_EQ(Rows(list), (Strings{L"Password + Fingerprint", L"Security key"}));
    Shot(page, L"policy-page");

    // Edit the new row (selected after the add) with Space: Fingerprint becomes Smart card.
    Press('C', true);
    Press(VK_SPACE);
    ASSERT_NE(dialog = WaitForDialog(thread, sheet), nullptr) << "no edit dialog";
    EXPECT_EQ(Text(dialog), L"Edit Credential Combination");
    Press('S', true);
    Press(VK_DOWN);
    Press(VK_RETURN);
    EXPECT_EQ(Rows(list), (Strings{L"Password + Smart card", L"Security key"}));
    Press('A', true);  // Apply
    EXPECT_EQ(StoredLogon(), (Strings{L"0000000000000080", L"0000000000000005"}));

    // Delete the first row with the Delete key: asked, Yes; the row now in its place opens for
    // editing, which Escape cancels.
    Press('C', true);
    Press(VK_HOME);
    Press(VK_DELETE);
    HWND question = WaitForDialog(thread, sheet);
    ASSERT_NE(question, nullptr) << "no question";
    Press(VK_RETURN);  // Yes
    ASSERT_NE(dialog = WaitForDialog(thread, sheet), nullptr) << "Delete falls through to edit";
    EXPECT_EQ(Text(dialog), L"Edit Credential Combination");
    Press(VK_ESCAPE);
    EXPECT_EQ(Rows(list), Strings{L"Security key"});
    Press('A', true);
    EXPECT_EQ(StoredLogon(), Strings{L"0000000000000080"});

    // Disabled: nothing stored, and the result pane follows.
    Press('D', true);
    Press('A', true);
    EXPECT_EQ(StoredLogon(), Strings{});
    for (int i = 0; i < 20 && host->ResultRows().at(0).at(1) != L"Disabled"; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the notification is posted
    EXPECT_EQ(host->ResultRows().at(0), (Strings{L"Logon Policy", L"Disabled"}));
  });
}

TEST_F(PolicyPageWine, ApplyRefusedForUnreliableCredentialsWritesNothing) {
  ASSERT_NO_FATAL_FAILURE(Open({u"0000000000000020"}));  // Face alone, which is not reliable
  const std::vector<BYTE> before = ReadBytes(MachinePol());
  WithSheet([&](HWND sheet, HWND) {
    const DWORD thread = ::GetWindowThreadProcessId(sheet, nullptr);
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
  EXPECT_EQ(ReadBytes(MachinePol()), before);
}

}  // namespace

// How long an administrator waits, with many credential plug-ins registered: expanding the
// Authentication node (the policy items load their token catalogues and policies) and opening the
// logon policy's page until its list is filled. The built DLL runs in the console host under Wine,
// with 1 and with 64 registered credential elements; a blank page of the host, opened the same way,
// is the floor the page's figures are read against. Medians of several runs, in milliseconds.
//
//   page_bench.exe [RUNS]
#include <windows.h>

#include <commctrl.h>
#include <prsht.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "console_host.h"
#include "gpo/registry_pol.h"
#include "gpo_folder.h"
#include "platform/format.h"
#include "platform/text.h"
#include "policy/auth_policy.h"
#include "resource_ids.h"

using namespace vx::console;

namespace {

constexpr wchar_t kPlugins[] = L"SOFTWARE\\Vantorix\\KELT\\Plugins";
constexpr wchar_t kMachine[] = L"Computer Configuration\\Software Settings";

std::wstring BesideProgram(const std::wstring& file) {
  wchar_t path[MAX_PATH];
  const std::wstring program(path, ::GetModuleFileNameW(nullptr, path, MAX_PATH));
  return program.substr(0, program.find_last_of(L'\\') + 1) + file;
}

double Now() {
  LARGE_INTEGER counter, frequency;
  ::QueryPerformanceCounter(&counter);
  ::QueryPerformanceFrequency(&frequency);
  return 1000.0 * static_cast<double>(counter.QuadPart) / static_cast<double>(frequency.QuadPart);
}

void Pump() {
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

double Median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times.empty() ? 0.0 : times[times.size() / 2];
}

// Element k of the benchmark plug-in, with the mask bit k, in both of the snap-in's lists.
bool RegisterElements(unsigned count) {
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPlugins);
  const std::wstring module = BesideProgram(L"vxbench_plugin.dll");
  for (unsigned k = 0; k < count; ++k) {
    wchar_t clsid[64];
    std::swprintf(clsid, 64, L"{%08X-0B3C-4A1B-9F00-000000000064}", 0x5EC00000u + k);
    for (const wchar_t* list : {L"GPOEditorTokens", L"Tokens"}) {
      const std::wstring key = std::wstring(kPlugins) + L"\\UIElements\\" + list + L"\\" + clsid;
      if (::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, module.c_str(),
                            static_cast<DWORD>((module.size() + 1) * sizeof(wchar_t))) != ERROR_SUCCESS)
        return false;
    }
  }
  return true;
}

// The logon policy over count credentials: two credentials a combination (bit 3, kept for the
// lists of every credential, is left out), one left alone.
std::vector<BYTE> LogonPolicy(unsigned count) {
  std::vector<unsigned> bits;
  for (unsigned k = 0; k < count; ++k)
    if (k != 3) bits.push_back(k);
  std::u16string image;
  for (size_t i = 0; i < bits.size(); i += 2) {
    ULONGLONG mask = 1ULL << bits[i];
    if (i + 1 < bits.size()) mask |= 1ULL << bits[i + 1];
    image += vx::Format(u"%016I64X", mask);
    image.push_back(u'\0');
  }
  image.push_back(u'\0');
  const auto* bytes = reinterpret_cast<const BYTE*>(image.data());
  return {bytes, bytes + image.size() * sizeof(char16_t)};
}

struct Figures {
  double expand = 0, page = 0;
  int rows = 0;
};

Figures Measure(unsigned elements, int runs) {
  Figures figures;
  if (!RegisterElements(elements)) return figures;
  const std::wstring folder = BesideProgram(L"bench_gpo");
  std::filesystem::remove_all(folder);
  std::filesystem::create_directories(folder + L"\\Machine");
  std::filesystem::create_directories(folder + L"\\User");
  std::ofstream(std::filesystem::path(folder + L"\\gpt.ini")) << "[General]\r\nVersion=0\r\n";
  const vx::gpo::PolRecord record{vx::policy::kApplicationKey, vx::policy::kLogonPolicy, REG_MULTI_SZ,
                                  LogonPolicy(elements)};
  const std::vector<BYTE> pol = vx::gpo::WriteRegistryPol(std::vector<vx::gpo::PolRecord>{record});
  std::ofstream(std::filesystem::path(folder + L"\\Machine\\Registry.pol"), std::ios::binary)
      .write(reinterpret_cast<const char*>(pol.data()), static_cast<std::streamsize>(pol.size()));
  {
    GpoFolder gpo(folder);
    if (FAILED(gpo.Load())) return figures;
    ConsoleHost host(EditorRoots(&gpo));
    if (FAILED(host.Create()) || host.LoadExtensions() == 0) return figures;
    const std::vector<std::wstring> security{kMachine, L"Vantorix Keystone Client", L"Security"};
    std::vector<std::wstring> authentication = security;
    authentication.push_back(L"Authentication");
    std::vector<double> expand, page;
    for (int run = 0; run <= runs; ++run) {  // run 0 loads the modules: not counted
      host.Select(security);
      Pump();
      const double start = Now();
      host.Select(authentication);
      const double shown = Now();
      HWND sheet = host.OpenPropertiesModeless(L"Logon Policy");
      const double opened = Now();
      if (sheet == nullptr) return figures;
      HWND list = ::GetDlgItem(PropSheet_GetCurrentPageHwnd(sheet), IDC_POLICIES_LIST);
      figures.rows = ListView_GetItemCount(list);
      ::DestroyWindow(sheet);
      Pump();
      if (run == 0) continue;
      expand.push_back(shown - start);
      page.push_back(opened - shown);
    }
    figures.expand = Median(expand);
    figures.page = Median(page);
    host.Shutdown();
  }
  std::filesystem::remove_all(folder);
  return figures;
}

INT_PTR CALLBACK BlankProc(HWND, UINT message, WPARAM, LPARAM) { return message == WM_INITDIALOG; }

// A page with nothing on it, the size of the policy page, opened in a sheet the same way.
double BlankPage(int runs) {
  struct alignas(DWORD) {
    DLGTEMPLATE dialog;
    WORD menu, windowClass, title;
  } blank{};
  blank.dialog.style = WS_CHILD | WS_DISABLED | WS_CAPTION;
  blank.dialog.cx = 252;
  blank.dialog.cy = 218;
  std::vector<double> times;
  for (int run = 0; run <= runs; ++run) {
    const double start = Now();
    PROPSHEETPAGEW page{};
    page.dwSize = sizeof(page);
    page.dwFlags = PSP_DLGINDIRECT;
    page.pResource = &blank.dialog;
    page.pfnDlgProc = BlankProc;
    HPROPSHEETPAGE made = ::CreatePropertySheetPageW(&page);
    PROPSHEETHEADERW header{};
    header.dwSize = sizeof(header);
    header.dwFlags = PSH_MODELESS;
    header.pszCaption = L"Blank";
    header.nPages = 1;
    header.phpage = &made;
    HWND sheet = reinterpret_cast<HWND>(::PropertySheetW(&header));
    const double opened = Now();
    if (sheet == nullptr) return 0;
    ::DestroyWindow(sheet);
    Pump();
    if (run > 0) times.push_back(opened - start);
  }
  return Median(times);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const int runs = argc > 1 ? std::max(1, _wtoi(argv[1])) : 9;
  if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
  HMODULE snapin = ::LoadLibraryW(BesideProgram(L"VXGPOSnapin.dll").c_str());
  using Entry = HRESULT(STDAPICALLTYPE*)();
  const auto reg = snapin
                       ? reinterpret_cast<Entry>(reinterpret_cast<void*>(::GetProcAddress(snapin, "DllRegisterServer")))
                       : nullptr;
  if (!reg || FAILED(reg()) || !::LoadLibraryW(BesideProgram(L"mmcbase.dll").c_str())) {
    std::fwprintf(stderr, L"page_bench: VXGPOSnapin.dll and mmcbase.dll belong beside the program\n");
    return 1;
  }
  const Figures one = Measure(1, runs);
  const Figures many = Measure(64, runs);
  const double blank = BlankPage(runs);
  ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPlugins);
  if (one.rows == 0 || many.rows == 0 || blank == 0) {
    std::fwprintf(stderr, L"page_bench: a measurement failed (rows %d and %d, blank page %.2f ms)\n", one.rows,
                  many.rows, blank);
    return 1;
  }
  std::printf("medians of %d runs, milliseconds            1 element   64 elements   blank page\n", runs);
  std::printf("  expand Authentication                     %9.2f   %11.2f\n", one.expand, many.expand);
  std::printf("  open the logon policy page, list filled   %9.2f   %11.2f   %10.2f\n", one.page, many.page, blank);
  std::printf("  rows in the list                          %9d   %11d\n", one.rows, many.rows);
  std::printf("ratios: 64 / 1 element: expand %.2fx, page %.2fx; page / blank page: %.2fx (1), %.2fx (64)\n",
              many.expand / one.expand, many.page / one.page, one.page / blank, many.page / blank);
  std::printf("goal: each under 50 ms with 64 elements: expand %s, page %s\n", many.expand < 50 ? "met" : "NOT met",
              many.page < 50 ? "met" : "NOT met");
  ::CoUninitialize();
  return 0;
}

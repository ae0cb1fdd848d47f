// A console host for namespace extensions of the editor's Software Settings nodes: a tree and a
// result list in real common controls, driven through the console interfaces as the editor does.
//
//   console.exe (<GPO folder> | --rsop FIXTURE) [--user] [--expand-to NAME] [--properties ITEM]
//               [--tab N] [--add-dialog FILE.bmp] [--screenshot FILE.bmp] [--exit]
//
// With --rsop the host is the RSoP console over a fixture file of applied settings instead of the
// editor over a GPO folder. --expand-to looks below the computer root, or the user root with --user.
// --properties opens the property sheet of that result item (the screenshot is then of the sheet,
// showing its tab N, 0 the first); --add-dialog also opens the page's add-credential dialog and saves
// a screenshot of it. F1 on a result item asks the snap-in for help, shown in the HTML Help viewer.
#include <windows.h>

#include <commctrl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <mmc.h>
#include <prsht.h>
#include <gpedit.h>
#include <wrl/client.h>

#include "console_host.h"
#include "gpo_folder.h"
#include "rsop_root.h"
#include "screenshot.h"
#include "resource_ids.h"
#include "sheet_script.h"

using Microsoft::WRL::ComPtr;
using namespace vx::console;

namespace {

struct Options {
  std::wstring folder, rsop, expandTo, screenshot, properties, addDialog;
  int tab = 0;
  bool user = false, exitAfter = false;
};

constexpr wchar_t kUsage[] =
    L"usage: console.exe (<GPO folder> | --rsop FIXTURE) [--user] [--expand-to NAME] [--properties ITEM]\n"
    L"                   [--tab N] [--add-dialog FILE.bmp] [--screenshot FILE.bmp] [--exit]\n";

bool ParseArguments(int argc, wchar_t** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::wstring arg = argv[i];
    if (arg == L"--expand-to" && i + 1 < argc) {
      options.expandTo = argv[++i];
    } else if (arg == L"--rsop" && i + 1 < argc) {
      options.rsop = argv[++i];
    } else if (arg == L"--user") {
      options.user = true;
    } else if (arg == L"--properties" && i + 1 < argc) {
      options.properties = argv[++i];
    } else if (arg == L"--tab" && i + 1 < argc) {
      wchar_t* end = nullptr;
      const long tab = std::wcstol(argv[++i], &end, 10);
      if (end == argv[i] || *end != L'\0' || tab < 0 || tab > 9) return false;
      options.tab = static_cast<int>(tab);
    } else if (arg == L"--add-dialog" && i + 1 < argc) {
      options.addDialog = argv[++i];
    } else if (arg == L"--screenshot" && i + 1 < argc) {
      options.screenshot = argv[++i];
    } else if (arg == L"--exit") {
      options.exitAfter = true;
    } else if (options.folder.empty() && arg.rfind(L"--", 0) != 0) {
      options.folder = arg;
    } else {
      return false;
    }
  }
  if ((!options.addDialog.empty() || options.tab != 0) && options.properties.empty()) return false;
  return options.folder.empty() != options.rsop.empty();  // one of the two
}

std::vector<ConsoleRoot> RsopRoots(IRSOPInformation* information) {
  return {{kRsopMachineNodeType, L"Computer Configuration\\Software Settings", kIidRsopInformation, information},
          {kRsopUserNodeType, L"User Configuration\\Software Settings", kIidRsopInformation, information}};
}

constexpr UINT_PTR kShowTimer = 1;

}  // namespace

int wmain(int argc, wchar_t** argv) {
  Options options;
  if (!ParseArguments(argc, argv, options)) {
    std::fwprintf(stderr, kUsage);
    return 2;
  }
  if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
  int code = 0;
  {
    GpoFolder gpo(options.folder);
    RsopFixture fixture;
    std::vector<ConsoleRoot> roots;
    std::wstring error;
    HRESULT hr = S_OK;
    if (!options.rsop.empty()) {
      hr = fixture.Load(options.rsop, error);
      if (SUCCEEDED(hr)) hr = fixture.Register();
      roots = RsopRoots(fixture.Information());
    } else {
      hr = gpo.Load();
      error = gpo.Error();
      roots = EditorRoots(&gpo);
    }
    if (FAILED(hr)) {
      // The error text names the file and where in it.
      if (error.empty()) error = options.rsop.empty() ? options.folder : options.rsop;
      std::fwprintf(stderr, L"console: cannot open %ls (0x%08lX)\n", error.c_str(), static_cast<unsigned long>(hr));
      ::CoUninitialize();
      return 1;
    }
    ConsoleHost host(std::move(roots));
    host.QuitWhenClosed();
    host.ShowHelpTopics();
    hr = host.Create(options.rsop.empty() ? L"Group Policy Console Host - " + options.folder
                                          : L"Resultant Set of Policy - " + options.rsop);
    if (FAILED(hr)) {
      std::fwprintf(stderr, L"console: cannot create the main window (0x%08lX)\n", static_cast<unsigned long>(hr));
      ::CoUninitialize();
      return 1;
    }
    const size_t loaded = host.LoadExtensions();
    std::fwprintf(stdout, L"console: %zu extension(s) loaded\n", loaded);
    if (!options.expandTo.empty() && !host.ExpandTo(options.expandTo, options.user ? 1 : 0)) {
      std::fwprintf(stderr, L"console: no node named \"%ls\"\n", options.expandTo.c_str());
      code = 3;
    }
    std::fflush(stdout);
    // The screenshot is taken once the window has painted.
    SheetScript sheet{options.screenshot, options.tab, options.addDialog.empty() ? 0u : ID_POLICY_ADD,
                      options.addDialog.empty() ? 0u : IDC_PRIMARY_COMBO, options.addDialog, options.exitAfter};
    host.OnTimer([&] {
      if (!options.properties.empty()) {
        StartSheetScript(sheet);
        if (!host.OpenProperties(options.properties)) {
          std::fwprintf(stderr, L"console: no properties of \"%ls\"\n", options.properties.c_str());
          code = 3;
        } else if (FAILED(sheet.result)) {
          std::fwprintf(stderr, L"console: the sheet's screenshots failed (0x%08lX)\n",
                        static_cast<unsigned long>(sheet.result));
          code = 4;
        }
        if (options.exitAfter) ::DestroyWindow(host.Window());
        return;
      }
      if (!options.screenshot.empty()) {
        const HRESULT saved = SaveWindowBitmap(host.Window(), options.screenshot);
        if (FAILED(saved)) {
          std::fwprintf(stderr, L"console: cannot save %ls (0x%08lX)\n", options.screenshot.c_str(),
                        static_cast<unsigned long>(saved));
          code = 4;
        }
      }
      if (options.exitAfter) ::DestroyWindow(host.Window());
    });
    if (!options.screenshot.empty() || options.exitAfter || !options.properties.empty())
      ::SetTimer(host.Window(), kShowTimer, 1500, nullptr);
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
      ::TranslateMessage(&message);
      ::DispatchMessageW(&message);
    }
    host.Shutdown();
  }
  ::CoUninitialize();
  return code;
}

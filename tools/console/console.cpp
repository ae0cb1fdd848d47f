// A console host for namespace extensions of the editor's Software Settings nodes: a tree and a
// result list in real common controls, driven through the console interfaces as the editor does.
//
//   console.exe <GPO folder> [--expand-to NAME] [--screenshot FILE.bmp] [--exit]
#include <windows.h>

#include <commctrl.h>

#include <cstdio>
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
#include "screenshot.h"

using Microsoft::WRL::ComPtr;
using namespace vx::console;

namespace {

struct Options {
  std::wstring folder, expandTo, screenshot;
  bool exitAfter = false;
};

bool ParseArguments(int argc, wchar_t** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::wstring arg = argv[i];
    if (arg == L"--expand-to" && i + 1 < argc) {
      options.expandTo = argv[++i];
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
  return !options.folder.empty();
}

constexpr UINT_PTR kShowTimer = 1;

}  // namespace

int wmain(int argc, wchar_t** argv) {
  Options options;
  if (!ParseArguments(argc, argv, options)) {
    std::fwprintf(stderr, L"usage: console.exe <GPO folder> [--expand-to NAME] [--screenshot FILE.bmp] [--exit]\n");
    return 2;
  }
  if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
  int code = 0;
  {
    GpoFolder gpo(options.folder);
    HRESULT hr = gpo.Load();
    if (FAILED(hr)) {
      std::fwprintf(stderr, L"console: cannot load the GPO folder %ls (0x%08lX)\n", options.folder.c_str(),
                    static_cast<unsigned long>(hr));
      ::CoUninitialize();
      return 1;
    }
    ConsoleHost host(&gpo);
    hr = host.Create();
    if (FAILED(hr)) {
      std::fwprintf(stderr, L"console: cannot create the main window (0x%08lX)\n", static_cast<unsigned long>(hr));
      ::CoUninitialize();
      return 1;
    }
    const size_t loaded = host.LoadExtensions();
    std::fwprintf(stdout, L"console: %zu extension(s) loaded\n", loaded);
    if (!options.expandTo.empty() && !host.ExpandTo(options.expandTo)) {
      std::fwprintf(stderr, L"console: no node named \"%ls\"\n", options.expandTo.c_str());
      code = 3;
    }
    std::fflush(stdout);
    // The screenshot is taken once the window has painted.
    host.OnTimer([&] {
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
    if (!options.screenshot.empty() || options.exitAfter) ::SetTimer(host.Window(), kShowTimer, 1500, nullptr);
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

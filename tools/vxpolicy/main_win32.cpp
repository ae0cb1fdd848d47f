// vxpolicy on Windows: credentials from the registered plug-ins, each module's signature checked
// before it is loaded, as in the snap-in.
#include <windows.h>

#include <objbase.h>

#include <iostream>
#include <memory>

#include "platform/text.h"
#include "platform/win32/win32_files.h"
#include "platform/win32/win32_registry.h"
#include "plugins/win32/element_factory_win32.h"
#include "plugins/win32/signature_win32.h"
#include "vxpolicy.h"

int wmain(int argc, wchar_t** argv) {
  ::SetConsoleOutputCP(CP_UTF8);
  const bool com = SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
  int code = vx::vxpolicy::kExitBadInput;
  {
    vx::platform::Win32FileSystem files;
    vx::platform::Win32Registry registry;
    vx::plugins::Win32ElementFactory factory(std::make_shared<vx::plugins::Win32SignatureVerifier>());
    vx::vxpolicy::ToolPorts ports{files, &registry, &factory};
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) args.push_back(vx::Utf16ToUtf8(vx::AsU16(argv[i])));
    code = vx::vxpolicy::RunVxPolicy(args, ports, std::cout, std::cerr);
  }
  if (com) ::CoUninitialize();
  return code;
}

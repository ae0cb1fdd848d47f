// vxpolicy: the policies of a GPO folder from the command line, with the pages' own code.
//
//   vxpolicy show GPO_FOLDER [--json] [--tokens FILE]
//   vxpolicy set GPO_FOLDER --section machine|user --policy logon|runtime|kiosk|enrollment
//            (--enable COMBINATION... | --disable | --not-configured) [--dry-run] [--tokens FILE]
//   vxpolicy check GPO_FOLDER [--tokens FILE]
//   vxpolicy tokens [--export FILE] [--tokens FILE]
//
// Exit status: 0 done (check: nothing found), 1 check found something, 2 bad input or a failure.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/registry.h"
#include "plugins/element.h"

namespace vx::vxpolicy {

struct ToolPorts {
  platform::IFileSystem& files;
  // The registered credential plug-ins (Windows); null where there are none: the catalogue then
  // comes from --tokens FILE, or the tool knows hex masks only.
  platform::IRegistry* pluginRegistry = nullptr;
  plugins::IElementFactory* pluginFactory = nullptr;
};

inline constexpr int kExitDone = 0;
inline constexpr int kExitFound = 1;
inline constexpr int kExitBadInput = 2;

// args without the program name, in UTF-8; output in UTF-8.
int RunVxPolicy(const std::vector<std::string>& args, ToolPorts& ports, std::ostream& out, std::ostream& err);

}  // namespace vx::vxpolicy

// vxpolicy on Linux: GPO folders on the local file system; credentials from --tokens FILE.
#include <iostream>

#include "platform/posix/posix_ports.h"
#include "vxpolicy.h"

int main(int argc, char** argv) {
  vx::platform::PosixFileSystem files;
  vx::vxpolicy::ToolPorts ports{files};
  return vx::vxpolicy::RunVxPolicy(std::vector<std::string>(argv + 1, argv + argc), ports, std::cout, std::cerr);
}

// The trace facility over the Win32 ports, as a module makes it current from load to unload.
#pragma once

#include "platform/win32/win32_clock.h"
#include "platform/win32/win32_files.h"
#include "platform/win32/win32_process.h"
#include "platform/win32/win32_registry.h"
#include "support/trace.h"

namespace VXTraceNS {

class CWin32Trace {
 public:
  CWin32Trace() : m_installed(TracePorts{m_registry, m_clock, m_files, m_process}) {}
  CTraceFacility& Facility() { return m_installed.Facility(); }

 private:
  // Declared before the facility: constructed first, destroyed last.
  vx::platform::Win32Registry m_registry;
  vx::platform::Win32Clock m_clock;
  vx::platform::Win32FileSystem m_files;
  vx::platform::Win32ProcessInfo m_process;
  CInstalledFacility m_installed;
};

}  // namespace VXTraceNS

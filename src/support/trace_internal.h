// Pieces of the trace facility that are tested on their own: configuration reads, the header lines,
// the trace file's name and directory.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"

namespace VXTraceNS {

// A DWORD configuration value; nullopt when missing or not a DWORD.
std::optional<DWORD> ReadConfigDword(vx::platform::IRegistryKey* key, std::u16string_view name);
// A REG_SZ or REG_EXPAND_SZ value of at most maxChars characters (after expansion of a REG_EXPAND_SZ);
// nullopt otherwise.
std::optional<std::u16string> ReadConfigString(vx::platform::IRegistryKey* key, std::u16string_view name,
                                               size_t maxChars, vx::platform::IProcessInfo& process);
// The settings word built from the configuration key (0 when the key could not be opened).
DWORD ComputeSettings(vx::platform::IRegistryKey* key);
// Whether the configuration asks for a file output (DoTrace nonzero, TraceToFile absent or 1).
bool WantsFileOutput(vx::platform::IRegistryKey* key);
// Whether the file is truncated when opened (NewFileAlways missing, not a DWORD, or nonzero).
bool WantsTruncate(vx::platform::IRegistryKey* key);

std::string OsLine(const vx::platform::OsVersionInfo& os);
std::string FileVersionLine(vx::platform::IProcessInfo& process, std::u16string_view modulePath);
std::vector<std::string> ProductLines(vx::platform::IRegistry& registry);
std::string InstallationLine(vx::platform::IRegistry& registry);
std::vector<std::string> HeaderLines(vx::platform::IRegistry& registry, vx::platform::IProcessInfo& process,
                                     const SYSTEMTIME& now);

// Creates every missing directory of the path, component by component. S_OK, E_INVALIDARG for an
// empty path, or the HRESULT of the first creation that failed.
HRESULT CreateDirectoryPath(vx::platform::IFileSystem& files, std::u16string_view path);

// The trace file's full path: FileName, or the generated "exe.module.ext.x64.session.trc3" in TracePath
// (created when missing) or this module's directory.
std::u16string TraceFilePath(vx::platform::IRegistryKey* config, vx::platform::IProcessInfo& process,
                             vx::platform::IFileSystem& files, DWORD sessionId);

}  // namespace VXTraceNS

// The files of a GPO folder as the editor keeps them: gpt.ini at the top, Machine\Registry.pol and
// User\Registry.pol below. A section's Registry.pol is loaded into a key that stands for its root
// (deletion markers kept as values, so they are written back), and written back from that key beside
// the old file and moved over it; gpt.ini's version half of the changed section is then raised.
#pragma once

#include <string>

#include "platform/files.h"
#include "platform/registry.h"
#include "platform/wintypes.h"

namespace vx::gpo {

// "<folder>\Machine" or "<folder>\User".
std::u16string SectionFolder(std::u16string_view folder, bool machine);

// Loads the section's Registry.pol into root; a missing file is an empty section. A file that cannot
// be read or parsed is refused whole: error then names the file and, for a damaged one, the byte
// offset of the fault ("...\Registry.pol: byte 12: expected ';'").
HRESULT LoadGpoSection(platform::IFileSystem& files, std::u16string_view folder, bool machine,
                       platform::IRegistryKey& root, std::u16string& error);

// Writes root's settings to the section's Registry.pol (the section folder made when missing), then
// raises the section's half of the version in gpt.ini. Either write replaces its file whole.
HRESULT SaveGpoSection(platform::IFileSystem& files, std::u16string_view folder, bool machine,
                       platform::IRegistryKey& root);

}  // namespace vx::gpo

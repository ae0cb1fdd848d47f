// The credential catalogue as a file: what the registered plug-ins say of each credential token
// (display name, mask, raw credential type, reliable or not), written where the plug-ins are
// installed and read where they are not, e.g. on Linux. One token per line, tab-separated:
//
//   # vxpolicy credential catalogue 1
//   0x0000000000000001<TAB>1<TAB>reliable<TAB>Password
//
// Registered again into an in-memory plug-in list, the tokens are seen by the pages' code exactly
// as plug-in elements are.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"
#include "plugins/memory_plugins.h"
#include "plugins/ui_tokens.h"

namespace vx::vxpolicy {

struct CatalogueEntry {
  ULONGLONG mask = 0;
  DWORD rawType = 0;
  bool reliable = true;
  std::u16string name;
  bool operator==(const CatalogueEntry&) const = default;
};

inline constexpr char kCatalogueHeader[] = "# vxpolicy credential catalogue 1";

std::string WriteCatalogue(const std::vector<CatalogueEntry>& entries);
// False with "line N: ..." in error when a line is not an entry.
bool ParseCatalogue(std::string_view text, std::vector<CatalogueEntry>& entries, std::string& error);

// The tokens of the editor's plug-in list, groups expanded, in catalogue order; tokens without a mask
// or a display name are left out.
std::vector<CatalogueEntry> ReadCatalogue(platform::IRegistry& registry, plugins::IElementFactory& factory);

// Registers each entry in both of the snap-in's plug-in lists of registry, served by factory.
void RegisterCatalogue(const std::vector<CatalogueEntry>& entries, platform::IRegistry& registry,
                       plugins::FakeElementFactory& factory);

}  // namespace vx::vxpolicy

// The rows of an installer package's Registry table that stand for a registration script: installing
// them writes what RegisterScript writes, uninstalling them removes what UnregisterScript removes.
//   - every value is a row; the installer removes it again, and a key left empty goes with it;
//   - a ForceRemove key is created and removed whole (row name "*");
//   - a NoRemove key has no row of its own (the installer removes only the values it added), unless it
//     is empty: then it is created and never removed (row name "+");
//   - a plain key with nothing in it is created and removed like a ForceRemove key;
//   - Delete keys have no equivalent here and are refused.
// Texts become the installer's formatted text: brackets are escaped, and the %NAME% replacements take
// the formatted text given for them as it is (e.g. MODULE as [#FileId], the installed file's path).
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "module/registration_script.h"
#include "platform/registry.h"
#include "platform/wintypes.h"

namespace vx::regscript {

enum class RowKind { Value, CreateKey, CreateAndRemoveKey };

struct RegistryRow {
  platform::RegistryRoot root = platform::RegistryRoot::ClassesRoot;
  std::u16string key;
  RowKind kind = RowKind::Value;
  std::u16string name;  // Value rows: empty is the key's default value
  DWORD type = REG_SZ;  // REG_SZ, REG_EXPAND_SZ or REG_DWORD
  std::u16string text;  // formatted text (REG_SZ, REG_EXPAND_SZ)
  DWORD number = 0;     // REG_DWORD
};

// %NAME% -> the installer's formatted text for it.
using FormattedReplacements = std::map<std::u16string, std::u16string>;

// Value rows come first (so the first row can be a component's key path), key rows after them.
// False with the reason on a syntax error or a Delete key.
bool RegistryRows(std::u16string_view script, const FormattedReplacements& replacements,
                  std::vector<RegistryRow>& rows, std::string& error);

// A WiX include of RegistryValue elements, for wixl, to place inside a Component.
std::string WixInclude(const std::vector<RegistryRow>& rows, std::string_view source);

}  // namespace vx::regscript

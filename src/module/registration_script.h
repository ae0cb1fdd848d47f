// The registration script: a small language that declares registry keys and values (root blocks
// HKLM / HKCR / HKCU, nested key blocks, ForceRemove / NoRemove / Delete, `val Name = s 'text'`,
// `= s 'text'` for a key's default value, %NAME% replacements), its parser, and the engine that runs it
// over the registry port to register or unregister the module.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"
#include "platform/wintypes.h"

namespace vx::module {

using Replacements = std::map<std::u16string, std::u16string>;

enum class KeyRemoval { Plain, ForceRemove, NoRemove, Delete };

struct ScriptValue {
  std::u16string name;  // empty: the key's default value
  DWORD type = REG_SZ;  // REG_SZ, REG_EXPAND_SZ or REG_DWORD
  std::u16string text;
  DWORD number = 0;
};

struct ScriptKey {
  std::u16string name;
  KeyRemoval removal = KeyRemoval::Plain;
  bool hasDefault = false;  // `Name = s '...'`: values.front() is the default value
  std::vector<ScriptValue> values;
  std::vector<ScriptKey> subkeys;
};

struct ScriptRoot {
  platform::RegistryRoot root = platform::RegistryRoot::ClassesRoot;
  std::vector<ScriptKey> keys;
};

struct RegistrationScript {
  std::vector<ScriptRoot> roots;
};

struct ScriptError {
  size_t line = 0;    // 1-based
  size_t column = 0;  // 1-based, in UTF-16 units
  std::u16string expected;
  std::u16string Text() const;  // "line 3, column 7: expected ..."
};

// Explicit bounds, so hostile input cannot exhaust the stack or memory.
struct ScriptLimits {
  size_t maxScript = 1u << 20;  // characters
  size_t maxDepth = 32;         // nested key blocks
  size_t maxToken = 4096;       // characters of one name or text, after replacement
  size_t maxKeys = 10000;
};

// Pure parser: true and the tree, or false and where and what was expected. Replacements apply in
// names and texts; an unknown %NAME% is an error, %% is a percent sign.
bool ParseRegistrationScript(std::u16string_view script, const Replacements& replacements, RegistrationScript& out,
                             ScriptError& error, const ScriptLimits& limits = {});

// Registration: ForceRemove keys are deleted with their subtree first and written whole, Delete keys
// are deleted; a failure part-way restores everything written or deleted so far. Unregistration:
// ForceRemove keys go with their subtree, NoRemove keys stay (their `val` values go), plain keys go
// once they hold nothing after their own values and children were removed, Delete keys are left alone.
// perUser writes what the script puts under HKCR into HKCU\Software\Classes.
HRESULT RegisterScript(platform::IRegistry& registry, const RegistrationScript& script, bool perUser);
HRESULT UnregisterScript(platform::IRegistry& registry, const RegistrationScript& script, bool perUser);

// The module's entry point: parse (a syntax error gives E_INVALIDARG and, when asked, its text) and run.
HRESULT RunRegistrationScript(platform::IRegistry& registry, std::u16string_view script,
                              const Replacements& replacements, bool registering, bool perUser,
                              std::u16string* error = nullptr);

// Deletes root\path with everything below it, over a port that deletes only keys without subkeys.
LONG DeleteKeyTree(platform::IRegistry& registry, platform::RegistryRoot root, std::u16string_view path);

}  // namespace vx::module

// libFuzzer entry on the registration-script parser: any text is read in bounds and within the
// limits, and a parsed tree written back as script text parses to a tree that is written the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "module/registration_script.h"
#include "platform/text.h"

namespace {

using namespace vx::module;

// A quote or a percent sign is written twice.
std::u16string Quote(std::u16string_view text) {
  std::u16string out = u"'";
  for (char16_t c : text) out += c == u'\'' || c == u'%' ? std::u16string(2, c) : std::u16string(1, c);
  return out + u"'";
}

std::u16string Data(const ScriptValue& v) {
  if (v.type == REG_DWORD) return u" = d '" + vx::Utf8ToUtf16(std::to_string(v.number)) + u"'";
  return (v.type == REG_SZ ? u" = s " : u" = e ") + Quote(v.text);
}

// Every field of the key is written, so two trees written the same are the same tree.
void Write(const ScriptKey& key, size_t depth, size_t maxDepth, std::u16string& out) {
  if (depth > maxDepth) std::abort();
  static const char16_t* const kRemoval[] = {u"", u"ForceRemove ", u"NoRemove ", u"Delete "};
  out += kRemoval[static_cast<int>(key.removal)] + Quote(key.name);
  if (key.removal == KeyRemoval::Delete) {  // a deleted key has no block
    out += u"\n";
    return;
  }
  size_t first = 0;
  if (key.hasDefault) out += Data(key.values[first++]);
  out += u"\n{\n";
  for (size_t i = first; i < key.values.size(); ++i)
    out += u"val " + Quote(key.values[i].name) + Data(key.values[i]) + u"\n";
  for (const ScriptKey& sub : key.subkeys) Write(sub, depth + 1, maxDepth, out);
  out += u"}\n";
}

std::u16string Write(const RegistrationScript& script, size_t maxDepth) {
  static const char16_t* const kRoots[] = {u"HKCR", u"HKCU", u"HKLM"};
  std::u16string out;
  for (const ScriptRoot& root : script.roots) {
    if (static_cast<int>(root.root) > 2) std::abort();
    out += kRoots[static_cast<int>(root.root)] + std::u16string(u"\n{\n");
    for (const ScriptKey& key : root.keys) Write(key, 1, maxDepth, out);
    out += u"}\n";
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = vx::Utf8ToUtf16(std::string_view(reinterpret_cast<const char*>(data), size));
  const Replacements replacements{{u"MODULE", u"C:\\It's {here}\\m.dll"}};
  ScriptLimits limits{.maxDepth = 8, .maxToken = 64};
  RegistrationScript script;
  ScriptError error;
  if (!ParseRegistrationScript(text, replacements, script, error, limits)) {
    if (error.line == 0 || error.column == 0 || error.expected.empty()) std::abort();
    return 0;
  }
  const std::u16string written = Write(script, limits.maxDepth);
  RegistrationScript again;
  limits.maxScript = SIZE_MAX;
  if (!ParseRegistrationScript(written, replacements, again, error, limits)) std::abort();
  if (Write(again, limits.maxDepth) != written) std::abort();
  return 0;
}

// libFuzzer entry on the registration-script parser: any text is read in bounds and within the
// limits, and a parsed tree written back as script text parses to the same tree.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "module/registration_script.h"
#include "platform/text.h"

namespace {

using namespace vx::module;

std::u16string Quote(std::u16string_view text) {
  std::u16string out = u"'";
  for (char16_t c : text) {
    if (c == u'\'') out += u"''";
    else if (c == u'%') out += u"%%";
    else out += c;
  }
  return out + u"'";
}

std::u16string Data(const ScriptValue& v) {
  if (v.type == REG_DWORD) return u" = d '" + vx::Utf8ToUtf16(std::to_string(v.number)) + u"'";
  return (v.type == REG_SZ ? u" = s " : u" = e ") + Quote(v.text);
}

void Write(const ScriptKey& key, std::u16string& out) {
  static const char16_t* const kRemoval[] = {u"", u"ForceRemove ", u"NoRemove ", u"Delete "};
  out += kRemoval[static_cast<int>(key.removal)] + Quote(key.name);
  size_t first = 0;
  if (key.hasDefault) out += Data(key.values[first++]);
  out += u"\n{\n";
  for (size_t i = first; i < key.values.size(); ++i) {
    out += u"val " + Quote(key.values[i].name) + Data(key.values[i]) + u"\n";
  }
  for (const ScriptKey& sub : key.subkeys) Write(sub, out);
  out += u"}\n";
  if (key.removal == KeyRemoval::Delete) out.resize(out.size() - 4);  // a deleted key has no block
}

bool Same(const ScriptKey& a, const ScriptKey& b) {
  if (a.name != b.name || a.removal != b.removal || a.hasDefault != b.hasDefault ||
      a.values.size() != b.values.size() || a.subkeys.size() != b.subkeys.size())
    return false;
  for (size_t i = 0; i < a.values.size(); ++i) {
    const ScriptValue &x = a.values[i], &y = b.values[i];
    if (x.name != y.name || x.type != y.type || x.text != y.text || x.number != y.number) return false;
  }
  for (size_t i = 0; i < a.subkeys.size(); ++i)
    if (!Same(a.subkeys[i], b.subkeys[i])) return false;
  return true;
}

size_t Depth(const ScriptKey& key) {
  size_t deepest = 0;
  for (const ScriptKey& sub : key.subkeys) deepest = std::max(deepest, Depth(sub));
  return deepest + 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = vx::Utf8ToUtf16(std::string_view(reinterpret_cast<const char*>(data), size));
  const Replacements replacements{{u"MODULE", u"C:\\It's {here}\\m.dll"}};
  ScriptLimits limits;
  limits.maxDepth = 8;
  limits.maxToken = 64;
  RegistrationScript script;
  ScriptError error;
  if (!ParseRegistrationScript(text, replacements, script, error, limits)) {
    if (error.line == 0 || error.column == 0 || error.expected.empty()) std::abort();
    return 0;
  }
  std::u16string written;
  static const char16_t* const kRoots[] = {u"HKCR", u"HKCU", u"HKLM"};
  for (const ScriptRoot& root : script.roots) {
    if (static_cast<int>(root.root) > 2) std::abort();
    written += kRoots[static_cast<int>(root.root)] + std::u16string(u"\n{\n");
    for (const ScriptKey& key : root.keys) {
      if (Depth(key) > limits.maxDepth) std::abort();
      Write(key, written);
    }
    written += u"}\n";
  }
  RegistrationScript again;
  limits.maxScript = SIZE_MAX;
  if (!ParseRegistrationScript(written, replacements, again, error, limits)) std::abort();
  if (again.roots.size() != script.roots.size()) std::abort();
  for (size_t r = 0; r < script.roots.size(); ++r) {
    if (again.roots[r].root != script.roots[r].root || again.roots[r].keys.size() != script.roots[r].keys.size())
      std::abort();
    for (size_t k = 0; k < script.roots[r].keys.size(); ++k)
      if (!Same(again.roots[r].keys[k], script.roots[r].keys[k])) std::abort();
  }
  return 0;
}

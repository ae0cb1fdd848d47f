#include "wix_registry.h"

#include <cstdint>

#include "platform/text.h"

namespace vx::regscript {

using module::KeyRemoval;
using module::ScriptKey;
using platform::RegistryRoot;

namespace {

// A replacement stands in the parsed text as a private-use marker until the literal text around it
// has been escaped; then the formatted text given for it takes its place unescaped.
constexpr char16_t kOpen = u'\uE000';
constexpr char16_t kClose = u'\uE001';

std::u16string Marker(const std::u16string& name) { return kOpen + name + kClose; }

// Brackets are the installer's references ([Property], [#File]); literal ones are escaped.
std::u16string Formatted(std::u16string_view text, const FormattedReplacements& replacements) {
  std::u16string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    const size_t end = c == kOpen ? text.find(kClose, i) : std::u16string_view::npos;
    const auto replacement = end == std::u16string_view::npos
                                 ? replacements.end()
                                 : replacements.find(std::u16string(text.substr(i + 1, end - i - 1)));
    if (replacement != replacements.end()) {
      out += replacement->second;
      i = end;
    } else if (c == u'[' || c == u']') {
      out += u"[\\";
      out += c;
      out += u']';
    } else {
      out += c;
    }
  }
  return out;
}

struct Builder {
  const FormattedReplacements& replacements;
  std::vector<RegistryRow> values;
  std::vector<RegistryRow> keys;
  std::string error;

  bool Add(RegistryRoot root, const std::u16string& parent, const ScriptKey& key) {
    const std::u16string path = parent.empty() ? key.name : parent + u"\\" + key.name;
    if (key.removal == KeyRemoval::Delete) {
      error = "Delete key " + Utf16ToUtf8(path) + ": the package has no way to delete a key at install";
      return false;
    }
    const std::u16string formattedPath = Formatted(path, replacements);
    for (const module::ScriptValue& value : key.values) {
      RegistryRow row{root, formattedPath, RowKind::Value, Formatted(value.name, replacements), value.type, {},
                      value.number};
      if (value.type != REG_DWORD) row.text = Formatted(value.text, replacements);
      values.push_back(std::move(row));
    }
    const bool empty = key.values.empty() && key.subkeys.empty();
    if (key.removal == KeyRemoval::ForceRemove || (key.removal == KeyRemoval::Plain && empty))
      keys.push_back({root, formattedPath, RowKind::CreateAndRemoveKey, {}, REG_SZ, {}, 0});
    else if (key.removal == KeyRemoval::NoRemove && empty)
      keys.push_back({root, formattedPath, RowKind::CreateKey, {}, REG_SZ, {}, 0});
    for (const ScriptKey& sub : key.subkeys)
      if (!Add(root, path, sub)) return false;
    return true;
  }
};

void AppendXml(std::string& out, std::u16string_view text) {
  for (char c : Utf16ToUtf8(text)) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
}

const char* RootName(RegistryRoot root) {
  switch (root) {
    case RegistryRoot::ClassesRoot: return "HKCR";
    case RegistryRoot::CurrentUser: return "HKCU";
    case RegistryRoot::LocalMachine: return "HKLM";
    case RegistryRoot::Users: return "HKU";
  }
  return "HKCR";
}

}  // namespace

bool RegistryRows(std::u16string_view script, const FormattedReplacements& replacements,
                  std::vector<RegistryRow>& rows, std::string& error) {
  module::Replacements markers;
  for (const auto& [name, value] : replacements) markers[name] = Marker(name);
  module::RegistrationScript parsed;
  module::ScriptError syntax;
  if (!module::ParseRegistrationScript(script, markers, parsed, syntax)) {
    error = Utf16ToUtf8(syntax.Text());
    return false;
  }
  Builder builder{replacements, {}, {}, {}};
  for (const module::ScriptRoot& root : parsed.roots)
    for (const ScriptKey& key : root.keys)
      if (!builder.Add(root.root, {}, key)) {
        error = builder.error;
        return false;
      }
  rows = std::move(builder.values);
  rows.insert(rows.end(), builder.keys.begin(), builder.keys.end());
  return true;
}

std::string WixInclude(const std::vector<RegistryRow>& rows, std::string_view source) {
  std::string out = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!-- Made by vxregscript from ";
  out += source;
  out += "; edit the script, not this file. -->\n<Include xmlns=\"http://schemas.microsoft.com/wix/2006/wi\">\n";
  for (const RegistryRow& row : rows) {
    out += "  <RegistryValue Root=\"";
    out += RootName(row.root);
    out += "\" Key=\"";
    AppendXml(out, row.key);
    if (row.kind != RowKind::Value) {
      // A key row has no value; wixl leaves a multistring's absent value empty, where for a string
      // it complains.
      out += row.kind == RowKind::CreateKey ? "\" Name=\"+\"" : "\" Name=\"*\"";
      out += " Type=\"multistring\"/>\n";
      continue;
    }
    out += "\"";
    if (!row.name.empty()) {
      out += " Name=\"";
      AppendXml(out, row.name);
      out += "\"";
    }
    if (row.type == REG_DWORD) {
      // The Registry table writes "#n" as a DWORD from a signed number.
      out += " Type=\"integer\" Value=\"" + std::to_string(static_cast<std::int32_t>(row.number)) + "\"/>\n";
      continue;
    }
    out += row.type == REG_EXPAND_SZ ? " Type=\"expandable\" Value=\"" : " Type=\"string\" Value=\"";
    AppendXml(out, row.text);
    out += "\"/>\n";
  }
  out += "</Include>\n";
  return out;
}

}  // namespace vx::regscript

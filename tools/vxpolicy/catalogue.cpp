#include "catalogue.h"

#include <cstdlib>

#include "pages/page_tokens.h"
#include "platform/format.h"
#include "platform/text.h"
#include "plugins/ui_elements.h"

namespace vx::vxpolicy {

namespace {

std::vector<std::string_view> Split(std::string_view line, char separator, size_t parts) {
  std::vector<std::string_view> fields;
  while (fields.size() + 1 < parts) {
    const size_t at = line.find(separator);
    if (at == std::string_view::npos) break;
    fields.push_back(line.substr(0, at));
    line.remove_prefix(at + 1);
  }
  fields.push_back(line);
  return fields;
}

bool ParseNumber(std::string_view text, int base, ULONGLONG& value) {
  const std::string digits(text);
  if (digits.empty()) return false;
  char* end = nullptr;
  value = std::strtoull(digits.c_str(), &end, base);
  return end == digits.c_str() + digits.size();
}

}  // namespace

std::string WriteCatalogue(const std::vector<CatalogueEntry>& entries) {
  std::string text = std::string(kCatalogueHeader) + "\n";
  for (const CatalogueEntry& entry : entries)
    text +=
        FormatNarrow("0x%016I64X\t%u\t%s\t", entry.mask, entry.rawType, entry.reliable ? "reliable" : "unreliable") +
        Utf16ToUtf8(entry.name) + "\n";
  return text;
}

bool ParseCatalogue(std::string_view text, std::vector<CatalogueEntry>& entries, std::string& error) {
  entries.clear();
  int number = 0;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    ++number;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == '#') continue;
    const auto fields = Split(line, '\t', 4);
    CatalogueEntry entry;
    ULONGLONG type = 0;
    const bool ok = fields.size() == 4 && fields[0].substr(0, 2) == "0x" &&
                    ParseNumber(fields[0].substr(2), 16, entry.mask) && entry.mask != 0 &&
                    ParseNumber(fields[1], 10, type) && type <= 0xFFFFFFFFu &&
                    (fields[2] == "reliable" || fields[2] == "unreliable") && !fields[3].empty();
    if (!ok) {
      error = "line " + std::to_string(number) + ": expected 0x<mask>, type, reliable or unreliable, name";
      return false;
    }
    entry.rawType = static_cast<DWORD>(type);
    entry.reliable = fields[2] == "reliable";
    entry.name = Utf8ToUtf16(fields[3]);
    entries.push_back(std::move(entry));
  }
  return true;
}

std::vector<CatalogueEntry> ReadCatalogue(platform::IRegistry& registry, plugins::IElementFactory& factory) {
  plugins::UITokens tokens(registry, factory, plugins::kGpoEditorTokensSubkey, plugins::kTokenAll);
  tokens.LoadElements(true);
  std::vector<CatalogueEntry> entries;
  for (const pages::PageToken& token : pages::ReadTokens(tokens).tokens) {
    plugins::ICredential* credential = token.element.get() ? token.element.get()->Credential() : nullptr;
    if (token.mask == 0 || token.name.empty() || credential == nullptr) continue;
    const plugins::CredentialWrapper wrapper(credential);
    CatalogueEntry entry{token.mask, 0, true, token.name};
    Variant value;
    if (SUCCEEDED(wrapper.GetCredProperty(plugins::eKELT_CRED_TYPE, &value)))
      entry.rawType = static_cast<DWORD>(value.integer);
    // A credential that does not say it is unreliable counts as reliable, as on the pages.
    if (SUCCEEDED(wrapper.GetCredProperty(plugins::eKELT_CRED_RELIABLE, &value)) && value.vt == kVtBool)
      entry.reliable = value.integer != 0;
    entries.push_back(std::move(entry));
  }
  return entries;
}

void RegisterCatalogue(const std::vector<CatalogueEntry>& entries, platform::IRegistry& registry,
                       plugins::FakeElementFactory& factory) {
  std::uint32_t number = 0;
  for (const CatalogueEntry& entry : entries) {
    auto token = plugins::MakeFakeToken(entry.name, entry.name, entry.mask, entry.rawType);
    token->SetCredProperty(plugins::eKELT_CRED_RELIABLE, Variant::Bool(entry.reliable));
    const GUID clsid{0x7C000000u + ++number, 0x5EED, 0x4C47, {0x80, 0, 0, 0, 0, 0, 0, 1}};
    const std::u16string module = Format(u"catalogue\\token%u.dll", number);
    for (const char16_t* list : {plugins::kGpoEditorTokensSubkey, plugins::kTokensSubkey})
      plugins::WriteRegistration(registry, list, plugins::GuidToString(clsid), module);
    factory.Register(module, clsid, token);
  }
}

}  // namespace vx::vxpolicy

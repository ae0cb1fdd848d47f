#include "support/branding.h"

#include "support/trace.h"

namespace vx {

namespace {

struct Placeholder {
  const char16_t* text;
  UINT id;
  const char16_t* builtIn;  // used when the branding module or its string is missing
};

constexpr Placeholder kPlaceholders[] = {
    {u"<<%PN%>>", IDS_BRAND_PRODUCT_NAME, u"Vantorix Keystone Client"},
    {u"<<%SP%>>", IDS_BRAND_SUPPORT, u"Vantorix Support"},
    {u"<<%MA%>>", IDS_BRAND_MAKER, u"Vantorix"},
};

void ReplaceAll(std::u16string& text, std::u16string_view placeholder, std::u16string_view replacement) {
  for (size_t at = text.find(placeholder); at != std::u16string::npos;
       at = text.find(placeholder, at + replacement.size())) {
    text.replace(at, placeholder.size(), replacement);
  }
}

}  // namespace

CBranding::CBranding(platform::IRegistry& registry, IResourceModules& modules)
    : m_registry(registry), m_modules(modules) {}

void CBranding::LoadResourceDLL() {
  VXTraceNS::CTraceScope scope("CBranding::LoadResourceDLL");
  m_triedModule = true;
  std::unique_ptr<platform::IRegistryKey> key;
  if (m_registry.OpenKey(platform::RegistryRoot::LocalMachine, kBrandingKey, KEY_READ, key) != ERROR_SUCCESS) {
    scope.Message("Unable to open registry key %s", kBrandingKey);
    return;
  }
  std::u16string path;
  if (platform::ReadString(*key, kBrandingValue, path) != ERROR_SUCCESS || path.empty()) {
    scope.Message("Unable to find registry value %s under registry key %s", kBrandingValue, kBrandingKey);
    return;
  }
  m_module = m_modules.LoadResourceModule(path);
  if (!m_module) scope.Message("Unable to load resource dll, GetLastError returned %u", m_modules.LastError());
}

const std::u16string& CBranding::Text(UINT id) {
  size_t index = 0;
  while (index + 1 < std::size(kPlaceholders) && kPlaceholders[index].id != id) ++index;
  std::optional<std::u16string>& text = m_texts[index];
  if (!text) {
    if (!m_triedModule) LoadResourceDLL();
    text = m_module ? m_modules.LoadString(m_module, kPlaceholders[index].id) : std::u16string();
    if (text->empty()) {
      VXTraceNS::CTraceScope scope("CBranding::Text");
      scope.Message("Branding string %u is missing, using \"%ls\"", kPlaceholders[index].id,
                    kPlaceholders[index].builtIn);
      text = kPlaceholders[index].builtIn;
    }
  }
  return *text;
}

std::u16string CBranding::Apply(std::u16string text) {
  for (const Placeholder& placeholder : kPlaceholders) {
    if (text.find(placeholder.text) != std::u16string::npos) ReplaceAll(text, placeholder.text, Text(placeholder.id));
  }
  return text;
}

}  // namespace vx

// The product's branding: texts of the branding resource module named by the registry, placed into
// every display text in place of the placeholders "<<%PN%>>", "<<%SP%>>" and "<<%MA%>>".
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/registry.h"
#include "support/language.h"

namespace vx {

inline constexpr char16_t kBrandingKey[] = u"SOFTWARE\\Vantorix\\Branding\\Common";
inline constexpr char16_t kBrandingValue[] = u"DLLPath";

// String identifiers of the branding module.
inline constexpr UINT IDS_BRAND_PRODUCT_NAME = 103;
inline constexpr UINT IDS_BRAND_SUPPORT = 1101;
inline constexpr UINT IDS_BRAND_MAKER = 1103;

class CBranding {
 public:
  CBranding(platform::IRegistry& registry, IResourceModules& modules);

  // Replaces every placeholder, in the order product name, support, maker.
  std::u16string Apply(std::u16string text);
  // One branding text (103, 1101 or 1103), loaded once; the built-in text when the module lacks it.
  const std::u16string& Text(UINT id);

 private:
  void LoadResourceDLL();

  platform::IRegistry& m_registry;
  IResourceModules& m_modules;
  bool m_triedModule = false;
  HMODULE m_module = nullptr;
  std::optional<std::u16string> m_texts[3];
};

}  // namespace vx

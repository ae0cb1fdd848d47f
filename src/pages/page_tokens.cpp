#include "pages/page_tokens.h"

#include <algorithm>

#include "support/trace.h"

namespace vx::pages {

using VXTraceNS::CTraceScope;

TokenCatalogue ReadTokens(const plugins::UITokens& catalogue) {
  CTraceScope scope("PageTokens::ReadTokens");
  TokenCatalogue result;
  result.allMasks = catalogue.AllMasks();
  for (int i = 0; i < catalogue.GetSize(); ++i) {
    PageToken token;
    token.element = catalogue.GetValueAt(i);
    plugins::IUIElement& element = *token.element.get();
    token.mask = plugins::GetTokenMask(element);
    token.credType = plugins::UITokens::GetCredType(element);
    token.nameResult = token.element.GetPropertyBSTR(plugins::eKELT_LST_DISPLAYSTRING, &token.name);
    if (FAILED(token.nameResult)) token.name.clear();
    plugins::ElementValue icon;
    if (SUCCEEDED(token.element.GetProperty(plugins::eKELT_LST_ICON, &icon)) && icon.value.vt == kVtUi8)
      token.icon = static_cast<std::uint64_t>(icon.value.integer);
    scope.Message("0x%I64X %ls", token.mask, token.name.c_str());
    result.tokens.push_back(std::move(token));
  }
  return result;
}

plugins::DisplayNameMap NameMap(std::span<const TokenCatalogue* const> catalogues) {
  plugins::DisplayNameMap map;
  for (const TokenCatalogue* catalogue : catalogues) {
    for (const PageToken& token : catalogue->tokens)
      if (token.mask != 0 && SUCCEEDED(token.nameResult)) map.Add(token.mask, token.name);
  }
  return map;
}

std::vector<ULONGLONG> KnownMasks(platform::IRegistry& registry, plugins::IElementFactory& factory) {
  CTraceScope scope("CAuthPolicyAdd::KnownMasks");
  plugins::UITokens tokens(registry, factory, plugins::kTokensSubkey, plugins::kTokenAll);
  tokens.LoadElements(false);
  std::vector<ULONGLONG> masks;
  for (int i = 0; i < tokens.GetSize(); ++i) {
    const ULONGLONG mask = plugins::GetTokenMask(*tokens.GetValueAt(i).get());
    if (mask != 0 && std::find(masks.begin(), masks.end(), mask) == masks.end()) masks.push_back(mask);
  }
  scope.Message("%d known masks", static_cast<int>(masks.size()));
  return masks;
}

}  // namespace vx::pages

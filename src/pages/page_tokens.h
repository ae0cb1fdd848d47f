// The credential tokens as the pages and dialogs use them: what each token of a catalogue says of
// itself, read once when a page is made, in catalogue order.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/wintypes.h"
#include "plugins/ui_tokens.h"

namespace vx::pages {

struct PageToken {
  plugins::ElementWrapper element;
  ULONGLONG mask = 0;
  DWORD credType = plugins::kCredTypeUnknown;
  std::u16string name;        // the display string; empty when it could not be read
  HRESULT nameResult = S_OK;  // the failure of that read (the dialogs leave such a token out)
  std::uint64_t icon = 0;     // the plug-in's icon handle; 0 when it gives none
};

// One catalogue's tokens with the OR of the masks it kept.
struct TokenCatalogue {
  std::vector<PageToken> tokens;
  ULONGLONG allMasks = 0;
};

TokenCatalogue ReadTokens(const plugins::UITokens& catalogue);

// The display-name map of the tokens of the catalogues in order (the first name of a mask wins);
// tokens without a name are left out.
plugins::DisplayNameMap NameMap(std::span<const TokenCatalogue* const> catalogues);

// The distinct non-zero masks of every token registered in the add-credential dialog's list
// (groups not expanded), in catalogue order.
std::vector<ULONGLONG> KnownMasks(platform::IRegistry& registry, plugins::IElementFactory& factory);

}  // namespace vx::pages

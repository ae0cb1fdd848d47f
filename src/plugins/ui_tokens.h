// UITokens: the plug-in catalogue narrowed to credential tokens of a chosen kind, and the display-name
// map that turns credential masks back into the names the administrator reads.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "plugins/ui_elements.h"

namespace vx::plugins {

// Filter bits of a token catalogue.
inline constexpr DWORD kTokenPrimary = 0x1;
inline constexpr DWORD kTokenSecondary = 0x2;
inline constexpr DWORD kTokenWithBit3 = 0x4;  // also tokens whose mask has bit 0x8
inline constexpr DWORD kTokenAll = kTokenPrimary | kTokenSecondary | kTokenWithBit3;

// The mask bit that only catalogues with kTokenWithBit3 keep.
inline constexpr ULONGLONG kMaskBit3 = 0x8;

// Credential types (same bits as kTokenPrimary and kTokenSecondary): 0 is unknown.
inline constexpr DWORD kCredTypeUnknown = 0;
inline constexpr DWORD kCredTypeSecondaryOnly = 2;
inline constexpr DWORD kCredTypeAny = 3;

// IKELTCredentialWrapper: an element's credential face with the contract's out-pointer calls.
class CredentialWrapper {
 public:
  explicit CredentialWrapper(ICredential* credential) : m_p(credential) {}

  // GetCredProperty; E_NOINTERFACE when the element is no credential.
  HRESULT GetCredProperty(long id, Variant* value) const;
  // eKELT_CRED_MASK: VT_UI4 zero-extended, VT_UI8 whole, any other type E_UNEXPECTED; *mask is 0 on
  // every failure.
  HRESULT GetCredMask(ULONGLONG* mask) const;

 private:
  ICredential* m_p;
};

// The element's credential mask; 0 when it is no credential or the mask cannot be read. A mask of 0
// means the element is no token.
ULONGLONG GetTokenMask(IUIElement& element);

class UITokens : public UIElements {
 public:
  UITokens(platform::IRegistry& registry, IElementFactory& factory, std::u16string_view subkey, DWORD filter)
      : UIElements(registry, factory, subkey), m_filter(filter) {}

  bool IsAddElement(IUIElement& element) override;

  // kCredTypeAny for raw types 1 and 2, kCredTypeSecondaryOnly for 3, kCredTypeUnknown otherwise.
  static DWORD GetCredType(IUIElement& element);

  DWORD Filter() const { return m_filter; }
  // The OR of the masks of every token kept so far.
  ULONGLONG AllMasks() const { return m_allMasks; }

 private:
  DWORD m_filter;
  ULONGLONG m_allMasks = 0;
};

// Mask -> display text pairs in catalogue order, one per distinct mask. An index outside
// 0 .. GetSize()-1 throws CHResultError(kArrayBoundsExceeded).
class DisplayNameMap {
 public:
  DisplayNameMap() = default;
  // From a catalogue: tokens with a mask and a display string, the first token of each mask.
  explicit DisplayNameMap(const UIElements& tokens);

  // Appends unless the mask is present (first wins); false when present or memory ran out.
  bool Add(ULONGLONG mask, std::u16string text);
  int GetSize() const { return static_cast<int>(m_masks.size()); }
  ULONGLONG GetKeyAt(int index) const;
  const std::u16string& GetValueAt(int index) const;
  int FindKey(ULONGLONG mask) const;  // index or -1

  // The names of the tokens in mask joined by "+", then any bits no token names as "0x%X".
  std::u16string MaskToText(ULONGLONG mask) const;
  // The texts of the masks in order, the non-empty ones separated by CR LF.
  std::u16string PolicyToText(std::span<const ULONGLONG> masks) const;

 private:
  void CheckIndex(int index) const;

  std::vector<ULONGLONG> m_masks;
  std::vector<std::u16string> m_texts;
};

}  // namespace vx::plugins

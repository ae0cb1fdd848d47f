#include "plugins/ui_tokens.h"

#include <new>

#include "platform/format.h"
#include "support/check.h"

using VXTraceNS::CTraceScope;

namespace vx::plugins {

// Like VX_CHECK, but the failure is traced and given back instead of raised.
#define VX_CHECKED_RESULT(call) ::vx::CheckResult(::vx::detail::CheckedHResult((call)), #call, __FILE__, __LINE__)

HRESULT CredentialWrapper::GetCredProperty(long id, Variant* value) const {
  if (!value) return E_POINTER;
  if (!m_p) return E_NOINTERFACE;
  return m_p->GetCredProperty(id, *value);
}

HRESULT CredentialWrapper::GetCredMask(ULONGLONG* mask) const {
  CTraceScope scope("IKELTCredentialWrapper::GetCredMask");
  if (!mask) return scope.Result(E_POINTER);
  *mask = 0;
  Variant cvCredMask;
  const HRESULT hr = GetCredProperty(eKELT_CRED_MASK, &cvCredMask);
  if (FAILED(hr)) return scope.Result(hr);
  switch (cvCredMask.vt) {
    case kVtUi4:
      *mask = static_cast<std::uint32_t>(cvCredMask.integer);  // zero-extended
      return S_OK;
    case kVtUi8:
      *mask = static_cast<ULONGLONG>(cvCredMask.integer);
      return S_OK;
    default:
      return scope.Result(E_UNEXPECTED, "cvCredMask");
  }
}

ULONGLONG GetTokenMask(IUIElement& element) {
  ICredential* credential = element.Credential();
  if (!credential) return 0;
  ULONGLONG mask = 0;
  if (FAILED(CredentialWrapper(credential).GetCredMask(&mask))) return 0;
  return mask;
}

DWORD UITokens::GetCredType(IUIElement& element) {
  CTraceScope scope("UITokens::GetCredType");
  const CredentialWrapper credential(element.Credential());
  const CredentialWrapper* cpcredential = &credential;
  Variant cvCredType;
  DWORD type = kCredTypeUnknown;
  if (SUCCEEDED(VX_CHECKED_RESULT(cpcredential->GetCredProperty(eKELT_CRED_TYPE, &cvCredType))) &&
      cvCredType.vt == kVtUi4) {
    switch (static_cast<std::uint32_t>(cvCredType.integer)) {
      case 1:
      case 2:  // both raw types fold into "primary or secondary", by design
        type = kCredTypeAny;
        break;
      case 3:
        type = kCredTypeSecondaryOnly;
        break;
      default:
        break;
    }
  }
  if (type == kCredTypeUnknown) {
    scope.Message("Unknown credential type for token 0x%X", GetTokenMask(element));
    scope.Result(E_UNEXPECTED);
  }
  scope.Message("0x%X", type);
  return type;
}

bool UITokens::IsAddElement(IUIElement& element) {
  CTraceScope scope("UITokens::IsAddElement");
  const ULONGLONG ul64CredMask = GetTokenMask(element);
  scope.Message("ul64CredMask = 0x%X", ul64CredMask);
  if ((ul64CredMask & kMaskBit3) != 0 && (m_filter & kTokenWithBit3) == 0) return false;

  if ((m_filter & (kTokenPrimary | kTokenSecondary)) == (kTokenPrimary | kTokenSecondary)) {
    m_allMasks |= ul64CredMask;
    return ul64CredMask != 0;
  }
  const ULONGLONG counted = (m_filter & GetCredType(element)) != 0 ? ul64CredMask : 0;
  m_allMasks |= counted;
  return counted != 0;
}

DisplayNameMap::DisplayNameMap(const UIElements& tokens) {
  CTraceScope scope("DisplayNameMap::DisplayNameMap");
  for (int i = 0; i < tokens.GetSize(); ++i) {
    const ElementWrapper& token = tokens.GetValueAt(i);
    const ULONGLONG mask = GetTokenMask(*token.get());
    if (mask == 0) continue;
    std::u16string cbsDisplayName;
    if (FAILED(VX_CHECKED_RESULT(token.GetPropertyBSTR(eKELT_LST_DISPLAYSTRING, &cbsDisplayName)))) continue;
    Add(mask, std::move(cbsDisplayName));
  }
}

bool DisplayNameMap::Add(ULONGLONG mask, std::u16string text) {
  if (FindKey(mask) >= 0) return false;
  try {
    m_masks.push_back(mask);
    try {
      m_texts.push_back(std::move(text));
    } catch (const std::bad_alloc&) {
      m_masks.pop_back();
      return false;
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void DisplayNameMap::CheckIndex(int index) const {
  // An index outside the map raises the array-bounds exception (EXCEPTION_ARRAY_BOUNDS_EXCEEDED).
  if (index < 0 || index >= GetSize()) ThrowHResult(kArrayBoundsExceeded);
}

ULONGLONG DisplayNameMap::GetKeyAt(int index) const {
  CheckIndex(index);
  return m_masks[static_cast<size_t>(index)];
}

const std::u16string& DisplayNameMap::GetValueAt(int index) const {
  CheckIndex(index);
  return m_texts[static_cast<size_t>(index)];
}

int DisplayNameMap::FindKey(ULONGLONG mask) const {
  for (size_t i = 0; i < m_masks.size(); ++i) {
    if (m_masks[i] == mask) return static_cast<int>(i);
  }
  return -1;
}

std::u16string DisplayNameMap::MaskToText(ULONGLONG mask) const {
  std::u16string text;
  ULONGLONG remaining = mask;
  for (size_t i = 0; i < m_masks.size() && remaining != 0; ++i) {
    if ((m_masks[i] & remaining) == 0) continue;
    if (!text.empty()) text += u'+';
    text += m_texts[i];
    remaining &= ~m_masks[i];
  }
  if (remaining != 0) {
    if (!text.empty()) text += u'+';
    // "%X" reads 32 bits: a remainder above them shows only its low half, as it always has.
    text += Format(u"0x%X", remaining);
  }
  return text;
}

std::u16string DisplayNameMap::PolicyToText(std::span<const ULONGLONG> masks) const {
  std::u16string text;
  for (const ULONGLONG mask : masks) {
    const std::u16string line = MaskToText(mask);
    if (line.empty()) continue;
    if (!text.empty()) text += u"\r\n";
    text += line;
  }
  return text;
}

}  // namespace vx::plugins

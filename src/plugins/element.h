// Plug-in UI elements as the core sees them. The Win32 adapter wraps a module's IKELTElementUI object
// (and its IKELTCredential and IKELTObjectWithSite faces) into these interfaces; property values keep
// their variant type, so every "must be a non-null VT_BSTR" rule is the core's to state and test.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "platform/variant.h"
#include "platform/wintypes.h"

namespace vx::plugins {

// Property identifiers of IKELTElementUI::GetProperty.
enum KeltListProperty : long {
  eKELT_LST_NAME = 1,
  eKELT_LST_DISPLAYSTRING = 3,
  eKELT_LST_ICON = 4,  // VT_UI8: an HICON of the element's, which the pages copy
  eKELT_LST_ORDERHINT = 7,
  eKELT_LST_SUBELEMENTS = 102,
};

// Property identifiers of IKELTCredential::GetCredProperty.
enum KeltCredProperty : long {
  eKELT_CRED_MASK = 0,
  eKELT_CRED_RELIABLE = 2,
  eKELT_CRED_TYPE = 7,
};

class IUIElement;
using ElementPtr = std::shared_ptr<IUIElement>;

// A property value. For eKELT_LST_SUBELEMENTS the value is a VT_ARRAY (its vt is kept in value.vt) and
// members holds its entries in bound order: an entry that is no IUnknown, or whose IUnknown is null or
// does not offer IKELTElementUI, is a null ElementPtr.
struct ElementValue {
  Variant value;
  std::vector<ElementPtr> members;
};

// IKELTCredential.
class ICredential {
 public:
  virtual ~ICredential() = default;
  virtual HRESULT GetCredProperty(long id, Variant& value) = 0;
};

// The site callback handed to IKELTObjectWithSite::SetSite; opaque to the core.
class ISiteCallback {
 public:
  virtual ~ISiteCallback() = default;
};

// IKELTElementUI, with QueryInterface for the two other faces of the contract.
class IUIElement {
 public:
  virtual ~IUIElement() = default;
  virtual HRESULT GetProperty(long id, ElementValue& value) = 0;
  // QueryInterface(IKELTCredential): null when the element is no credential.
  virtual ICredential* Credential() = 0;
  // QueryInterface(IKELTObjectWithSite) then SetSite(callback); E_NOINTERFACE when the element has no site.
  virtual HRESULT SetSite(ISiteCallback* callback) = 0;
  virtual bool HasSite() = 0;
};

// IKELTElementUIWrapper::CreateInstance: loads the module (verifying its signature) and creates the
// element of the class.
class IElementFactory {
 public:
  virtual ~IElementFactory() = default;
  virtual HRESULT CreateInstance(std::u16string_view modulePath, const GUID& clsid, ElementPtr& element) = 0;
};

// The platform's code-signature check of a module file: yes or no for a path.
class ISignatureVerifier {
 public:
  virtual ~ISignatureVerifier() = default;
  virtual bool Verify(std::u16string_view path) = 0;
};

}  // namespace vx::plugins

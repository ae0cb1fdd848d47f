// In-memory plug-ins for tests and tools: an element whose every property (and credential property)
// is set, or made to fail, by hand; a factory that answers from a table of registrations; and a writer
// of registration keys that stores exactly the bytes it is given, so bad registrations can be made.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"
#include "plugins/element.h"

namespace vx::plugins {

// One answer of a property read.
struct PropertyAnswer {
  HRESULT hr = S_OK;
  ElementValue value;
};

class FakeElement final : public IUIElement, public ICredential {
 public:
  FakeElement() = default;
  explicit FakeElement(std::u16string name) { SetProperty(eKELT_LST_NAME, Variant::Bstr(std::move(name))); }

  // Element properties. A property never set answers E_INVALIDARG. A sequence answers its entries in
  // turn, the last one for every later read.
  FakeElement& SetProperty(long id, Variant value);
  FakeElement& FailProperty(long id, HRESULT hr);
  FakeElement& SetPropertySequence(long id, std::vector<PropertyAnswer> answers);
  // eKELT_LST_SUBELEMENTS as a VT_ARRAY | VT_VARIANT of the members (null entries allowed).
  FakeElement& SetSubElements(std::vector<ElementPtr> members);

  // Credential face: absent until one of these is called. Unset credential properties answer E_INVALIDARG.
  FakeElement& SetCredProperty(long id, Variant value);
  FakeElement& FailCredProperty(long id, HRESULT hr);
  // Mask as VT_UI8 and raw type as VT_UI4.
  FakeElement& SetToken(ULONGLONG mask, DWORD rawType);

  // Site face: absent until enabled; SetSite then answers setSiteResult and records the callback.
  FakeElement& EnableSite(HRESULT setSiteResult = S_OK);

  HRESULT GetProperty(long id, ElementValue& value) override;
  ICredential* Credential() override { return m_fCredential ? this : nullptr; }
  HRESULT SetSite(ISiteCallback* callback) override;
  bool HasSite() override { return m_fSite; }
  HRESULT GetCredProperty(long id, Variant& value) override;

  // What was asked.
  int Reads(long id) const;
  const std::vector<ISiteCallback*>& Sites() const { return m_sites; }

 private:
  std::map<long, std::vector<PropertyAnswer>> m_properties;
  std::map<long, PropertyAnswer> m_credProperties;
  std::map<long, int> m_reads;
  bool m_fCredential = false;
  bool m_fSite = false;
  HRESULT m_setSiteResult = S_OK;
  std::vector<ISiteCallback*> m_sites;
};

// A token element: name, display string, mask (VT_UI8) and raw type (VT_UI4); no order hint.
std::shared_ptr<FakeElement> MakeFakeToken(std::u16string name, std::u16string displayString, ULONGLONG mask,
                                           DWORD rawType);

class FakeElementFactory final : public IElementFactory {
 public:
  struct Call {
    std::u16string modulePath;
    GUID clsid;
  };

  // The element created for (module, class); may be null, which is then a success with no element.
  void Register(std::u16string modulePath, const GUID& clsid, ElementPtr element);
  // A creation that fails with hr.
  void RegisterFailure(std::u16string modulePath, const GUID& clsid, HRESULT hr);

  // Unregistered pairs fail as a module that cannot be found (HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)).
  HRESULT CreateInstance(std::u16string_view modulePath, const GUID& clsid, ElementPtr& element) override;

  const std::vector<Call>& Calls() const { return m_calls; }

 private:
  struct Entry {
    std::u16string modulePath;
    GUID clsid;
    HRESULT hr;
    ElementPtr element;
  };
  std::vector<Entry> m_entries;
  std::vector<Call> m_calls;
};

// The bytes of a UTF-16 little-endian text, with its terminating NUL when withNul.
std::vector<BYTE> RegistrationBytes(std::u16string_view text, bool withNul = true);

// Creates HKLM kPluginsKey\<subkey>\<name> and sets its default value to bytes with type, as given.
LONG WriteRegistration(platform::IRegistry& registry, std::u16string_view subkey, std::u16string_view name, DWORD type,
                       const std::vector<BYTE>& bytes);
// The usual registration: a REG_SZ module path with its NUL.
LONG WriteRegistration(platform::IRegistry& registry, std::u16string_view subkey, std::u16string_view name,
                       std::u16string_view modulePath);
// The key alone, without a default value.
LONG WriteRegistrationKey(platform::IRegistry& registry, std::u16string_view subkey, std::u16string_view name);

}  // namespace vx::plugins

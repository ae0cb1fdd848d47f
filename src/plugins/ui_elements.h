// UIElements: the catalogue of the plug-in UI elements registered under one key below
// HKLM "SOFTWARE\Vantorix\KELT\Plugins". Each registration names a class (the subkey, a braced CLSID)
// and its module (the default value); the catalogue creates every element, files it by its order
// hint, and keeps the result as a name-keyed table in that settled order.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"
#include "platform/wintypes.h"
#include "plugins/element.h"

namespace vx::plugins {

inline constexpr char16_t kPluginsKey[] = u"SOFTWARE\\Vantorix\\KELT\\Plugins";
inline constexpr char16_t kTokensSubkey[] = u"UIElements\\Tokens";
inline constexpr char16_t kGpoEditorTokensSubkey[] = u"UIElements\\GPOEditorTokens";

// EXCEPTION_ARRAY_BOUNDS_EXCEEDED: what an index outside a table raises, as a CHResultError.
inline constexpr HRESULT kArrayBoundsExceeded = static_cast<HRESULT>(0xC000008Cu);
// CO_E_CLASSSTRING: a text that is no class identifier.
inline constexpr HRESULT kInvalidClassString = static_cast<HRESULT>(0x800401F3u);

// Limits of the registration reads: the subkey name buffer and the module path buffer, in characters.
inline constexpr size_t kMaxSubkeyChars = 260;
inline constexpr size_t kMaxModulePathChars = 1024;

// CLSIDFromString for the registry form "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (hex digits in either
// case); anything else answers kInvalidClassString and leaves guid zeroed.
HRESULT GuidFromString(std::u16string_view text, GUID& guid);
// StringFromGUID2: the registry form in upper case.
std::u16string GuidToString(const GUID& guid);

// IKELTElementUIWrapper: a reference-counted element pointer with the contract's out-pointer calls.
class ElementWrapper {
 public:
  ElementWrapper() = default;
  explicit ElementWrapper(ElementPtr element) : m_p(std::move(element)) {}

  // GetProperty; E_POINTER for an empty wrapper.
  HRESULT GetProperty(long id, ElementValue* value) const;
  // The property as text: a failing read gives its HRESULT, a value that is no non-null VT_BSTR
  // E_INVALIDARG.
  HRESULT GetPropertyBSTR(long id, std::u16string* text) const;

  IUIElement* get() const { return m_p.get(); }
  const ElementPtr& Ptr() const { return m_p; }
  explicit operator bool() const { return m_p != nullptr; }

 private:
  ElementPtr m_p;
};

// Elements with a usable order hint, keyed by the hint read as an unsigned 32-bit number (a negative
// hint sorts after every non-negative one); and the others, in order of arrival.
using OrderedElements = std::map<std::uint32_t, ElementPtr>;
using UnorderedElements = std::vector<ElementPtr>;

class UIElements {
 public:
  // subkey: kTokensSubkey or kGpoEditorTokensSubkey. The table starts empty.
  UIElements(platform::IRegistry& registry, IElementFactory& factory, std::u16string_view subkey);
  virtual ~UIElements() = default;
  UIElements(const UIElements&) = delete;
  UIElements& operator=(const UIElements&) = delete;

  // Whether a created element joins the catalogue; this catalogue keeps every element.
  virtual bool IsAddElement(IUIElement& element);

  // Empties and refills the table from the registry. Only a missing or unreadable plug-in key fails
  // (HRESULT_FROM_WIN32 of the error, table left empty); a bad registration is traced and skipped.
  HRESULT LoadElements(bool expandSubElements);
  // Creates one registered element and files its members (the element itself, or with expansion its
  // sub-elements) that IsAddElement accepts into the two containers.
  HRESULT AddElement(OrderedElements& orderedMap, UnorderedElements& unorderedList, const CLSID& clsid,
                     std::u16string_view modulePath, bool expandSubElements,
                     ISiteCallback* pconfigUICallback = nullptr);

  // The table: parallel arrays of names and elements, duplicates kept, linear look-up. An index
  // outside 0 .. GetSize()-1 throws CHResultError(kArrayBoundsExceeded).
  int GetSize() const { return static_cast<int>(m_keys.size()); }
  const std::u16string& GetKeyAt(int index) const;
  const ElementWrapper& GetValueAt(int index) const;
  int FindKey(std::u16string_view name) const;  // first index with that name, or -1
  void RemoveAll();

  const std::u16string& KeyPath() const { return m_keyPath; }

 private:
  void CheckIndex(int index) const;
  // Appends the elements in table order, each under the name it gives now.
  void FillTable(const OrderedElements& orderedMap, const UnorderedElements& unorderedList);

  platform::IRegistry& m_registry;
  IElementFactory& m_factory;
  std::u16string m_keyPath;
  std::vector<std::u16string> m_keys;
  std::vector<ElementWrapper> m_values;
};

}  // namespace vx::plugins

#include "plugins/ui_elements.h"

#include <new>

#include "platform/text.h"
#include "support/check.h"

using VXTraceNS::CTraceScope;

namespace vx::plugins {
namespace {

int HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

// The value of count hex digits at text[at], or false.
bool ReadHex(std::u16string_view text, size_t at, size_t count, std::uint64_t& value) {
  value = 0;
  for (size_t i = 0; i < count; ++i) {
    const int digit = HexDigit(text[at + i]);
    if (digit < 0) return false;
    value = (value << 4) | static_cast<std::uint64_t>(digit);
  }
  return true;
}

// The default value of a registration key: a REG_SZ or REG_EXPAND_SZ of at most kMaxModulePathChars
// characters that ends in its NUL; the text is used up to the first NUL, as stored.
LONG ReadModulePath(platform::IRegistryKey& key, std::u16string& path) {
  std::vector<BYTE> buffer(kMaxModulePathChars * sizeof(char16_t));
  DWORD type = REG_NONE;
  DWORD size = static_cast<DWORD>(buffer.size());
  const LONG error = key.QueryValue(u"", &type, buffer.data(), &size);
  if (error != ERROR_SUCCESS) return error;
  if (type != REG_SZ && type != REG_EXPAND_SZ) return ERROR_UNSUPPORTED_TYPE;
  if (size < sizeof(char16_t) || size % sizeof(char16_t) != 0 || buffer[size - 1] != 0 || buffer[size - 2] != 0)
    return ERROR_UNSUPPORTED_TYPE;
  path.clear();
  for (DWORD i = 0; i + 1 < size; i += 2) {
    const char16_t c = static_cast<char16_t>(buffer[i] | (buffer[i + 1] << 8));
    if (c == u'\0') break;
    path.push_back(c);
  }
  return ERROR_SUCCESS;
}

}  // namespace

HRESULT GuidFromString(std::u16string_view text, GUID& guid) {
  guid = GUID{};
  // "{" 8 "-" 4 "-" 4 "-" 4 "-" 12 "}"
  if (text.size() != 38 || text[0] != u'{' || text[37] != u'}' || text[9] != u'-' || text[14] != u'-' ||
      text[19] != u'-' || text[24] != u'-')
    return kInvalidClassString;
  std::uint64_t data1 = 0, data2 = 0, data3 = 0, byte = 0;
  if (!ReadHex(text, 1, 8, data1) || !ReadHex(text, 10, 4, data2) || !ReadHex(text, 15, 4, data3))
    return kInvalidClassString;
  GUID parsed{};
  parsed.Data1 = static_cast<std::uint32_t>(data1);
  parsed.Data2 = static_cast<std::uint16_t>(data2);
  parsed.Data3 = static_cast<std::uint16_t>(data3);
  static constexpr size_t kBytePositions[8] = {20, 22, 25, 27, 29, 31, 33, 35};
  for (size_t i = 0; i < 8; ++i) {
    if (!ReadHex(text, kBytePositions[i], 2, byte)) return kInvalidClassString;
    parsed.Data4[i] = static_cast<std::uint8_t>(byte);
  }
  guid = parsed;
  return S_OK;
}

std::u16string GuidToString(const GUID& guid) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string text;
  auto hex = [&](std::uint64_t value, int digits) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) text.push_back(kDigits[(value >> shift) & 0xF]);
  };
  text.push_back(u'{');
  hex(guid.Data1, 8);
  text.push_back(u'-');
  hex(guid.Data2, 4);
  text.push_back(u'-');
  hex(guid.Data3, 4);
  text.push_back(u'-');
  for (int i = 0; i < 8; ++i) {
    if (i == 2) text.push_back(u'-');
    hex(guid.Data4[i], 2);
  }
  text.push_back(u'}');
  return text;
}

HRESULT ElementWrapper::GetProperty(long id, ElementValue* value) const {
  if (!m_p || !value) return E_POINTER;
  return m_p->GetProperty(id, *value);
}

HRESULT ElementWrapper::GetPropertyBSTR(long id, std::u16string* text) const {
  ElementValue value;
  const HRESULT hr = GetProperty(id, &value);
  if (FAILED(hr)) return hr;
  if (!value.value.IsString()) return E_INVALIDARG;
  *text = std::move(value.value.text);
  return S_OK;
}

UIElements::UIElements(platform::IRegistry& registry, IElementFactory& factory, std::u16string_view subkey)
    : m_registry(registry),
      m_factory(factory),
      m_keyPath(std::u16string(kPluginsKey) + u"\\" + std::u16string(subkey)) {}

bool UIElements::IsAddElement(IUIElement&) { return true; }

void UIElements::CheckIndex(int index) const {
  // An index outside the table raises the array-bounds exception (EXCEPTION_ARRAY_BOUNDS_EXCEEDED).
  if (index < 0 || index >= GetSize()) ThrowHResult(kArrayBoundsExceeded);
}

const std::u16string& UIElements::GetKeyAt(int index) const {
  CheckIndex(index);
  return m_keys[static_cast<size_t>(index)];
}

const ElementWrapper& UIElements::GetValueAt(int index) const {
  CheckIndex(index);
  return m_values[static_cast<size_t>(index)];
}

int UIElements::FindKey(std::u16string_view name) const {
  for (size_t i = 0; i < m_keys.size(); ++i) {
    if (m_keys[i] == name) return static_cast<int>(i);
  }
  return -1;
}

void UIElements::RemoveAll() {
  m_keys.clear();
  m_values.clear();
}

HRESULT UIElements::AddElement(OrderedElements& orderedMap, UnorderedElements& unorderedList, const CLSID& clsid,
                               std::u16string_view modulePath, bool expandSubElements,
                               ISiteCallback* pconfigUICallback) {
  CTraceScope scope("UIElements :: AddElement");
  const HRESULT hr = HResultGuard([&]() -> HRESULT {
    ElementPtr cpelementRegisteredUI;
    VX_CHECK(m_factory.CreateInstance(modulePath, clsid, cpelementRegisteredUI));
    _COM_TEST_BOOL((0 != cpelementRegisteredUI));

    std::vector<ElementPtr> members;
    ElementValue cvSubElements;
    if (expandSubElements && SUCCEEDED(cpelementRegisteredUI->GetProperty(eKELT_LST_SUBELEMENTS, cvSubElements)) &&
        (cvSubElements.value.vt & kVtArray) != 0) {
      members = std::move(cvSubElements.members);
      scope.Message("#sub elements: %d", static_cast<int>(members.size()));
    } else {
      members.push_back(cpelementRegisteredUI);
      scope.Message("#elements: %d", 1);
    }

    for (const ElementPtr& member : members) {
      if (!member) continue;  // an entry that is no IKELTElementUI
      const ElementWrapper element(member);
      const ElementWrapper* cpelementUI = &element;

      if (pconfigUICallback) {
        IUIElement* cpsite = member->HasSite() ? member.get() : nullptr;
        try {
          HPTR(cpsite);
        } catch (const CHResultError&) {
          // Traced; an element without a site is still used.
        }
        if (cpsite) VX_CHECK(cpsite->SetSite(pconfigUICallback));
      }

      ElementValue cvName;
      VX_CHECK(cpelementUI->GetProperty(eKELT_LST_NAME, &cvName));
      if (!cvName.value.IsString()) VX_UNEXPECTED();
      scope.Message("%ls", cvName.value.text);

      if (!IsAddElement(*member)) continue;

      ElementValue cvOrderHint;
      if (FAILED(cpelementUI->GetProperty(eKELT_LST_ORDERHINT, &cvOrderHint)) || cvOrderHint.value.vt != kVtI4) {
        scope.Message("Add");
        unorderedList.push_back(member);
        continue;
      }
      const auto hint = static_cast<std::int32_t>(cvOrderHint.value.integer);
      scope.Message("vOrderHint = %d", hint);
      const auto key = static_cast<std::uint32_t>(hint);
      if (orderedMap.emplace(key, member).second) continue;
      scope.Message("Order hint already exists!!!");
      // One step of displacement only: a third element on the same hint loses its position.
      if (orderedMap.emplace(key + 1u, member).second) continue;
      scope.Message("Order hint + 1 already exists, either!!!");
      unorderedList.push_back(member);
    }
    return S_OK;
  });
  return scope.Result(hr, "hr");
}

void UIElements::FillTable(const OrderedElements& orderedMap, const UnorderedElements& unorderedList) {
  auto add = [this](const ElementPtr& element) {
    ElementValue cvName;
    if (FAILED(element->GetProperty(eKELT_LST_NAME, cvName)) || !cvName.value.IsString()) return;
    try {
      m_keys.push_back(std::move(cvName.value.text));
      try {
        m_values.emplace_back(element);
      } catch (const std::bad_alloc&) {
        m_keys.pop_back();
      }
    } catch (const std::bad_alloc&) {
      // The element is left out.
    }
  };
  for (const auto& [hint, element] : orderedMap) add(element);
  for (const ElementPtr& element : unorderedList) add(element);
}

HRESULT UIElements::LoadElements(bool expandSubElements) {
  CTraceScope scope("UIElements :: LoadElements");
  scope.Message("%ls", m_keyPath);
  RemoveAll();
  const HRESULT hr = HResultGuard([&]() -> HRESULT {
    std::unique_ptr<platform::IRegistryKey> plugins;
    _W32_TEST_ERROR(m_registry.OpenKey(platform::RegistryRoot::LocalMachine, m_keyPath, KEY_READ, plugins));

    OrderedElements orderedMap;
    UnorderedElements unorderedList;
    std::u16string name;
    for (DWORD index = 0;; ++index) {
      LONG error = plugins->EnumKey(index, name);
      if (error == ERROR_SUCCESS && name.size() >= kMaxSubkeyChars) error = ERROR_MORE_DATA;
      if (error != ERROR_SUCCESS) break;

      std::unique_ptr<platform::IRegistryKey> registration;
      std::u16string modulePath;
      if (plugins->OpenKey(name, KEY_READ, registration) != ERROR_SUCCESS ||
          ReadModulePath(*registration, modulePath) != ERROR_SUCCESS)
        continue;

      CLSID clsid{};
      HRESULT hr2 = GuidFromString(name, clsid);
      if (SUCCEEDED(hr2)) hr2 = AddElement(orderedMap, unorderedList, clsid, modulePath, expandSubElements);
      if (FAILED(hr2)) scope.Result(hr2, "hr2");
    }

    FillTable(orderedMap, unorderedList);
    scope.Message("%d", GetSize());
    return S_OK;
  });
  return scope.Result(hr, "hr");
}

}  // namespace vx::plugins

#include "policy/auth_policy.h"

#include <string>
#include <unordered_set>

#include "platform/text.h"
#include "policy/multi_sz.h"
#include "support/check.h"
#include "support/error_text.h"

using VXTraceNS::CTraceScope;

namespace vx::policy {
namespace {

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;
constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070002u);

const char16_t* OrEmpty(const char16_t* text) { return text ? text : u""; }

// A missing value is traced as a result record naming the setting.
void TraceNotFound(CTraceScope& scope, const char16_t* name) {
  scope.Result(kNotFound, Utf16ToUtf8(OrEmpty(name)).c_str());
}

}  // namespace

// Like VX_CHECK, but the call's own result (a success code included) is what it gives.
#define VX_CHECKED_RESULT(call) \
  ::vx::CheckResult(::vx::detail::CheckedHResult((call)), #call, __FILE__, __LINE__)

void CGPOAuthPolicy::SetDisabled(bool disabled) {
  CTraceScope scope("CGPOAuthPolicy::SetDisabled");
  m_fDisabled = disabled;
  scope.Message("m_fDisabled = %d", static_cast<int>(m_fDisabled));
}

int CGPOAuthPolicy::Find(ULONGLONG mask) const {
  for (size_t i = 0; i < m_masks.size(); ++i) {
    if (m_masks[i] == mask) return static_cast<int>(i);
  }
  return -1;
}

bool CGPOAuthPolicy::Add(ULONGLONG mask) {
  try {
    m_masks.push_back(mask);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void CGPOAuthPolicy::RemoveAt(int index) {
  if (index >= 0 && static_cast<size_t>(index) < m_masks.size()) m_masks.erase(m_masks.begin() + index);
}

// The RSoP query lets its failures pass as error objects; here they become the checked result.
HRESULT CGPOAuthPolicy::LoadRsop() {
  try {
    return m_pRsop->LoadRsop();
  } catch (const CHResultError& error) {
    return error.Code();
  }
}

void CGPOAuthPolicy::AppendMasks(CTraceScope& scope, std::span<const BYTE> bytes) {
  // A set keeps long lists linear; the list itself stays in first-occurrence order.
  std::unordered_set<ULONGLONG> present(m_masks.begin(), m_masks.end());
  present.reserve(m_masks.size() + bytes.size() / (2 * kMaskElementChars) + 1);
  MultiSzReader reader(bytes);
  for (ULONGLONG mask = 0; reader.Next(mask);) {
    scope.Message("0x%016I64X", mask);
    if (present.insert(mask).second && !Add(mask)) present.erase(mask);
  }
}

HRESULT CGPOAuthPolicy::Load(IGpoInformation* pgpeinformation, DWORD gposection, const char16_t* lpcwszSettingName) {
  CTraceScope scope("CGPOAuthPolicy::Load");
  return HResultBoundary(scope, [&]() -> HRESULT {
    if (IsRsopMode()) {
      CRegKey regkeyDummy;
      VX_CHECK(Deserialize( regkeyDummy, lpcwszSettingName));
      return S_OK;
    }
    HPTR(pgpeinformation);
    DWORD gpotype = 0;
    VX_CHECK(pgpeinformation->GetType(&gpotype));
    scope.Message("gpotype = %d, gposection = %d, %ls", gpotype, gposection, OrEmpty(lpcwszSettingName));

    CRegKey hkeyGPO;
    VX_CHECK(pgpeinformation->GetRegistryKey(gposection, &hkeyGPO));
    if (!hkeyGPO) VX_UNEXPECTED();

    CRegKey regkeyGPOPolicy;
    _W32_TEST_ERROR(hkeyGPO->OpenKey(kApplicationKey, kReadWrite, regkeyGPOPolicy));
    VX_CHECK(Deserialize(regkeyGPOPolicy, lpcwszSettingName));
    return S_OK;
  });
}

HRESULT CGPOAuthPolicy::Deserialize(CRegKey& key, const char16_t* lpcwszSettingName) {
  CTraceScope scope("CGPOAuthPolicy::Deserialize");
  return HResultBoundary(scope, [&]() -> HRESULT {
    const std::u16string_view name = OrEmpty(lpcwszSettingName);
    scope.Message("%ls", OrEmpty(lpcwszSettingName));

    if (IsRsopMode()) {
      VX_CHECK(LoadRsop());
      const rsop::RsopPolicyEntry* entry = m_pRsop->FindEntry(name);
      if (!entry) {
        TraceNotFound(scope, lpcwszSettingName);
        return S_OK;
      }
      m_rsopEntry = *entry;
      AppendMasks(scope, m_rsopEntry.data);
      // The flag is not derived here: a setting disabled in the GPO shows as enabled with no masks.
      scope.Message("m_fDisabled = %d", static_cast<int>(m_fDisabled));
      return S_OK;
    }

    DWORD type = REG_NONE;
    DWORD size = 0;
    const LONG query = key ? key->QueryValue(name, &type, nullptr, &size) : ERROR_INVALID_HANDLE;
    if (query != ERROR_SUCCESS || type != REG_MULTI_SZ || size == 0) {
      TraceNotFound(scope, lpcwszSettingName);
      return S_OK;
    }
    std::vector<BYTE> bytes(size);
    DWORD read = size;
    if (key->QueryValue(name, &type, bytes.data(), &read) == ERROR_SUCCESS) {
      bytes.resize(read < size ? read : size);
      AppendMasks(scope, bytes);
    }  // a value that cannot be read now counts as empty: disabled
    m_fDisabled = m_masks.empty() || (m_masks.size() == 1 && m_masks[0] == 0);
    scope.Message("m_fDisabled = %d", static_cast<int>(m_fDisabled));
    return S_OK;
  });
}

HRESULT CGPOAuthPolicy::Save(IGpoInformation* pgpeinformation, DWORD gposection, const char16_t* lpcwszSettingName) {
  CTraceScope scope("CGPOAuthPolicy::Save");
  return HResultBoundary(scope, [&]() -> HRESULT {
    if (IsRsopMode()) {
      scope.Message("cant be");
      VX_UNEXPECTED();
    }
    HPTR(pgpeinformation);
    scope.Message("gposection = %d, %ls", gposection, OrEmpty(lpcwszSettingName));

    CRegKey hkeyGPO;
    VX_CHECK(pgpeinformation->GetRegistryKey(gposection, &hkeyGPO));
    if (!hkeyGPO) VX_UNEXPECTED();

    const bool fDelete = m_masks.empty() && !m_fDisabled;
    if (fDelete) {
      CRegKey regkeyPolicies;
      _W32_TEST_ERROR(hkeyGPO->OpenKey(kPoliciesKey, kReadWrite, regkeyPolicies));
      CRegKey regkeyApplication;
      LONG status = regkeyPolicies->OpenKey(kApplicationSubKey, kReadWrite, regkeyApplication);
      if (status == ERROR_SUCCESS) status = regkeyApplication->DeleteValue(OrEmpty(lpcwszSettingName));
      regkeyApplication.reset();
      if (status == ERROR_SUCCESS) {
        DeleteEmptyKey(regkeyPolicies, kApplicationSubKey);  // what stays behind is harmless
      } else {
        scope.Message("%ls", GetSystemErrorText(HResultFromWin32(status)));
      }
    } else {
      CRegKey regkeyGPOAuthPolicies;
      _W32_TEST_ERROR(hkeyGPO->CreateKey(kApplicationKey, kReadWrite, regkeyGPOAuthPolicies));
      VX_CHECK(Serialize(regkeyGPOAuthPolicies, lpcwszSettingName));
    }
    // Also after a deletion of nothing: the editor then saves the GPO's registry file.
    return VX_CHECKED_RESULT(pgpeinformation->PolicyChanged(VX_GPO_SECTION_MACHINE == gposection, fDelete? FALSE: TRUE, &GUID_RegistryExtension, &GUID_ComputerSnapin));
  });
}

HRESULT CGPOAuthPolicy::Serialize(CRegKey& key, const char16_t* lpcwszSettingName) {
  CTraceScope scope("CGPOAuthPolicy::Serialize");
  return HResultBoundary(scope, [&]() -> HRESULT {
    scope.Message("m_fDisabled = %d", static_cast<int>(m_fDisabled));
    if (m_masks.empty() && !m_fDisabled) return S_OK;  // not configured: Save deletes instead
    HPTR(key);
    if (m_masks.size() > kMaxStoredMasks) ThrowHResult(CheckResult(E_OUTOFMEMORY, "E_OUTOFMEMORY", __FILE__, __LINE__));

    std::vector<char16_t> buffer(MultiSzChars(m_masks.size()), u'\0');
    char16_t* at = buffer.data();
    for (size_t i = 0; i < m_masks.size(); ++i) {
      char16_t text[kMaskElementChars];
      FormatMaskText(m_masks[i], text);
      scope.Message("[%d] = %ls[0x%016I64X]", static_cast<int>(i), text, m_masks[i]);
      for (const char16_t c : text) *at++ = c;
    }
    const size_t chars = MultiSzLength(buffer);
    std::vector<BYTE> bytes(chars * sizeof(char16_t));
    for (size_t i = 0; i < chars; ++i) {
      bytes[2 * i] = static_cast<BYTE>(buffer[i] & 0xFF);
      bytes[2 * i + 1] = static_cast<BYTE>(buffer[i] >> 8);
    }
    _W32_TEST_ERROR(key->SetValue(OrEmpty(lpcwszSettingName), REG_MULTI_SZ, bytes.data(),
                                  static_cast<DWORD>(bytes.size())));
    return S_OK;
  });
}

HRESULT CGPOAuthPolicy::DeleteEmptyKey(CRegKey& parent, const char16_t* path) {
  CTraceScope scope("CGPOAuthPolicy::DeleteEmptyKey");
  return HResultBoundary(scope, [&]() -> HRESULT {
    scope.Message("%ls", OrEmpty(path));
    HPTR(parent);
    std::u16string keyPath = OrEmpty(path);
    {
      CRegKey key;
      _W32_TEST_ERROR(parent->OpenKey(keyPath, KEY_READ, key));
      DWORD subkeys = 0;
      DWORD values = 0;
      _W32_TEST_ERROR(key->QueryInfo(&subkeys, &values));
      scope.Message("%d subkeys, %d values found", subkeys, values);
      if (subkeys != 0 || values != 0) return S_OK;
    }
    if (!keyPath.empty() && keyPath.back() == u'\\') keyPath.pop_back();
    const size_t p = keyPath.rfind(u'\\');
    if (p != std::u16string::npos && p > 0 && p < keyPath.size() - 1) {
      const std::u16string before = keyPath.substr(0, p);
      {
        CRegKey container;
        _W32_TEST_ERROR(parent->OpenKey(before, kReadWrite, container));
        _W32_TEST_ERROR(container->DeleteKey(keyPath.substr(p + 1)));
      }
      VX_CHECK(DeleteEmptyKey(parent, before.c_str()));
    } else {
      _W32_TEST_ERROR(parent->DeleteKey(keyPath));
    }
    return S_OK;
  });
}

}  // namespace vx::policy

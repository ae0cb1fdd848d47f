// CGPOAuthPolicy: one policy setting in memory (its ordered credential masks and its disabled flag)
// with its load from and save to the GPO's registry section, or, in RSoP mode, its load from the RSoP
// data. Every setting of the system is stored alike: one REG_MULTI_SZ value named by the setting
// below the application key of the section.
#pragma once

#include <span>
#include <vector>

#include "platform/wintypes.h"
#include "policy/gpo_information.h"
#include "policy/policy_settings.h"
#include "rsop/rsop_data.h"
#include "support/trace.h"

namespace vx::policy {

// The application key, relative to a GPO section root, and its parts as the deletion walks them.
inline constexpr char16_t kPoliciesKey[] = u"Software\\Policies";
inline constexpr char16_t kApplicationSubKey[] = u"Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";
inline constexpr char16_t kApplicationKey[] =
    u"Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";

class CGPOAuthPolicy {
 public:
  CGPOAuthPolicy() = default;

  // The RSoP data shared with the node that made the policy; a namespace puts it in RSoP mode.
  void SetRsopData(rsop::CRsopDataPtr rsop) { m_pRsop = std::move(rsop); }
  const rsop::CRsopDataPtr& RsopData() const { return m_pRsop; }
  bool IsRsopMode() const { return m_pRsop.IsRsopMode(); }
  // In RSoP mode, the entry the policy was loaded from (for the precedence and explanation pages).
  const rsop::RsopPolicyEntry& RsopEntry() const { return m_rsopEntry; }

  void SetDisabled(bool disabled);
  bool IsDisabled() const { return m_fDisabled; }
  SettingState State() const { return GetSettingState(m_masks, m_fDisabled); }

  // The mask list, in stored or added order.
  int Count() const { return static_cast<int>(m_masks.size()); }
  ULONGLONG MaskAt(int index) const { return m_masks.at(static_cast<size_t>(index)); }
  std::span<const ULONGLONG> Masks() const { return m_masks; }
  int Find(ULONGLONG mask) const;  // index, or -1
  // Appends at the end; false (and nothing added) when memory for the growth cannot be had.
  bool Add(ULONGLONG mask);
  void RemoveAt(int index);
  void RemoveAll() { m_masks.clear(); }

  // Fills a freshly made policy from the GPO section (or the RSoP data); adds to the list.
  HRESULT Load(IGpoInformation* pgpeinformation, DWORD gposection, const char16_t* lpcwszSettingName);
  // Writes the value, or deletes it (and the keys left empty) when not configured; then tells the editor.
  HRESULT Save(IGpoInformation* pgpeinformation, DWORD gposection, const char16_t* lpcwszSettingName);
  // From an open application key, or in RSoP mode from the RSoP data (the key is then not opened).
  HRESULT Deserialize(CRegKey& key, const char16_t* lpcwszSettingName);
  HRESULT Serialize(CRegKey& key, const char16_t* lpcwszSettingName);
  // Removes path below parent when it has neither subkeys nor values, then each parent component
  // left empty, up to but not including parent.
  HRESULT DeleteEmptyKey(CRegKey& parent, const char16_t* path);

 private:
  HRESULT LoadRsop();
  // Appends each element's mask unless the list holds it, tracing every element.
  void AppendMasks(VXTraceNS::CTraceScope& scope, std::span<const BYTE> bytes);

  std::vector<ULONGLONG> m_masks;
  rsop::CRsopDataPtr m_pRsop;
  bool m_fDisabled = false;
  rsop::RsopPolicyEntry m_rsopEntry;
};

}  // namespace vx::policy

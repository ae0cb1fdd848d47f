#include "pages/enrollment_page.h"

#include "pages/page_message.h"
#include "platform/format.h"
#include "policy/auth_policy.h"
#include "support/check.h"
#include "support/error_text.h"
#include "support/trace.h"

namespace vx::pages {

using VXTraceNS::CTraceScope;

namespace {

void Check(HRESULT hr, const char* expression, int line) { ThrowIfFailed(CheckResult(hr, expression, __FILE__, line)); }

void AddZeroIfEmpty(std::vector<ULONGLONG>& masks, CTraceScope& scope) {
  if (!masks.empty()) return;
  scope.Message("Enrollment policy is empty, adding 0");
  masks.push_back(0);
}

}  // namespace

UINT GetEnrollmentSettingState(const std::vector<ULONGLONG>& working, bool disabled) {
  CTraceScope scope("CEnrollmentPolicyPage::GetPolicySettingState");
  if (!working.empty()) {
    scope.Message("Enabled");
    return IDC_ENABLED;
  }
  scope.Message(disabled ? "Disable" : "Not configured");
  return disabled ? IDC_DISABLED : IDC_NOT_CONFIGURED;
}

CEnrollmentPolicyPage::CEnrollmentPolicyPage(std::shared_ptr<snapin::CEnrollmentPolicyNode> node,
                                             std::shared_ptr<snapin::IGpoInformationSource> source)
    : m_node(std::move(node)), m_source(std::move(source)), m_catalogue(ReadTokens(m_node->Tokens())) {
  // The page edits what stays allowed: the complement of the stored mask of disabled credentials.
  // Bits of credentials not installed here survive a save unchanged.
  const policy::CGPOAuthPolicy& stored = m_node->Policy();
  if (stored.Count() > 0) m_working.push_back(~stored.MaskAt(0));
  m_state = GetEnrollmentSettingState(m_working, stored.IsDisabled());
}

void CEnrollmentPolicyPage::OnInitDialog(IEnrollmentPageView& view) {
  CTraceScope scope("CEnrollmentPolicyPage::OnInitDialog");
  m_view = &view;
  m_filling = true;
  const ULONGLONG allowed = m_working.empty() ? 0 : m_working.front();
  for (const PageToken& token : m_catalogue.tokens) {
    if (token.mask == 0) continue;
    if (FAILED(token.nameResult))
      CheckResult(token.nameResult, "token.GetPropertyBSTR(eKELT_LST_DISPLAYSTRING, &cbsDisplayName)", __FILE__,
                  __LINE__);
    const bool ticked = !m_working.empty() && (token.mask & ~allowed) == 0;
    view.AppendItem(token.name, view.AddTokenIcon(token), token.mask, ticked);
    m_rows.push_back({token.mask, ticked});
  }
  m_filling = false;
  view.CheckStateRadio(m_state);
  view.EnableControls(!IsRsopMode());
  view.SetPrompt(rstring(IDS_ENROLLMENT_PROMPT));
}

void CEnrollmentPolicyPage::OnStateRadio(UINT id) {
  if (IsRsopMode() || id == m_state) return;
  if (id != IDC_NOT_CONFIGURED && id != IDC_ENABLED && id != IDC_DISABLED) return;
  m_state = id;
  SetModified(true);
}

bool CEnrollmentPolicyPage::OnItemChanging(int, UINT oldState, UINT newState) const {
  if (m_filling || IsEditable()) return true;
  const UINT before = CheckImage(oldState), after = CheckImage(newState);
  if (before != 0 && after != 0 && before != after) return false;
  return ((newState & ~oldState) & (kStateSelected | kStateFocused)) == 0;
}

void CEnrollmentPolicyPage::OnTokensItemChanged(int row, UINT oldState, UINT newState) {
  const UINT before = CheckImage(oldState), after = CheckImage(newState);
  if (m_filling || before == 0 || after == 0 || before == after) return;
  if (row < 0 || static_cast<size_t>(row) >= m_rows.size()) return;
  CTraceScope scope("CEnrollmentPolicyPage::OnTokensItemChanged");
  AddZeroIfEmpty(m_working, scope);
  Row& item = m_rows[static_cast<size_t>(row)];
  item.ticked = after == 2;
  if (item.ticked) {
    m_working.front() |= item.mask;
  } else {
    m_working.front() &= ~item.mask;
  }
  SetModified(true);
}

void CEnrollmentPolicyPage::OnClick(Point point) {
  if (!IsEditable()) return;
  const ListHit hit = m_view->HitTest(point);
  if (hit.row < 0 || static_cast<size_t>(hit.row) >= m_rows.size()) return;
  if ((hit.flags & kHitOnItem) == 0 || (hit.flags & kHitOnItemStateIcon) != 0) return;
  m_view->SetTicked(hit.row, !m_rows[static_cast<size_t>(hit.row)].ticked);
}

void CEnrollmentPolicyPage::SetModified(bool modified) {
  m_bChanged = modified;
  if (m_view) m_view->SetModified(modified);
}

void CEnrollmentPolicyPage::WarnAboutPolicy(policy::IGpoInformation& information, const char16_t* settingName,
                                            UINT nameId, const policy::CGPOAuthPolicy& enrollment,
                                            const plugins::DisplayNameMap& names) {
  CTraceScope scope("CEnrollmentPolicyPage::WarnAboutPolicy");
  policy::CGPOAuthPolicy authpolicy;
  const HRESULT loaded = authpolicy.Load(&information, m_node->GPOSection(), settingName);
  if (FAILED(loaded) || authpolicy.Count() == 0 || enrollment.Count() == 0) {
    scope.Result(loaded, "nothing to compare");
    return;
  }
  const ULONGLONG disabled = enrollment.MaskAt(0);
  std::u16string texts;
  for (ULONGLONG combination : authpolicy.Masks()) {
    // The 0 mask (no authentication) holds no credential, so none of it can be disabled.
    if (combination == 0 || (combination & disabled) != combination) continue;
    if (!texts.empty()) texts += u"\r\n";
    texts += names.MaskToText(combination);
  }
  if (texts.empty()) return;
  ShowPageMessage(m_view ? m_view->Owner() : nullptr,
                  Format(rstring(IDS_WARN_ENROLLMENT_CONFLICT), rstring(nameId), texts), MB_ICONWARNING);
}

bool CEnrollmentPolicyPage::OnApply() {
  CTraceScope scope("CEnrollmentPolicyPage::OnApply");
  if (!m_bChanged || IsRsopMode()) {
    scope.Message("m_bChanged = %d, isReadonly = %d", m_bChanged ? 1 : 0, IsRsopMode() ? 1 : 0);
    if (IsRsopMode()) SetModified(false);
    return true;
  }
  const HRESULT hr = HResultGuard([&]() -> HRESULT {
    std::shared_ptr<policy::IGpoInformation> cpgpeinformation;
    Check(m_source ? m_source->GetGPEInformation(cpgpeinformation) : E_POINTER,
          "m_rpolicynode.GetGPEInformation(&cpgpeinformation)", __LINE__);
    HPTR(cpgpeinformation);
    std::vector<ULONGLONG> masks = m_working;
    AddZeroIfEmpty(masks, scope);
    masks.front() = ~masks.front();  // stored: the credentials disabled for enrollment
    policy::CGPOAuthPolicy gpoauthpolicyDisableCreds;
    if (m_state == IDC_ENABLED) {
      for (ULONGLONG mask : masks) gpoauthpolicyDisableCreds.Add(mask);
    } else {
      gpoauthpolicyDisableCreds.SetDisabled(m_state == IDC_DISABLED);
    }
    const TokenCatalogue* catalogues[] = {&m_catalogue};
    const plugins::DisplayNameMap names = NameMap(catalogues);
    WarnAboutPolicy(*cpgpeinformation, policy::kLogonPolicy, IDS_LOGON_POLICY_NAME, gpoauthpolicyDisableCreds, names);
    WarnAboutPolicy(*cpgpeinformation, policy::kRuntimePolicy, IDS_RUNTIME_POLICY_NAME, gpoauthpolicyDisableCreds,
                    names);
    Check(gpoauthpolicyDisableCreds.Save(cpgpeinformation.get(), m_node->GPOSection(), policy::GPO_DisableCredentials),
          "gpoauthpolicyDisableCreds.Save(cpgpeinformation, m_rpolicynode.GPOSection(), GPO_DisableCredentials)",
          __LINE__);
    return S_OK;
  });
  scope.Message("m_bChanged = %d, isReadonly = %d", m_bChanged ? 1 : 0, 0);
  if (FAILED(hr)) {
    MessageBoxResult(m_view ? m_view->Owner() : nullptr, rstring(IDS_E_SETPOLICIES), hr);
    return false;
  }
  SetModified(false);
  m_view->NotifyConsole();
  m_view->Broadcast(kBroadcastEnrollment, 0);
  return true;
}

}  // namespace vx::pages

#include "pages/auth_policy_page.h"

#include "pages/page_message.h"
#include "platform/format.h"
#include "policy/auth_policy.h"
#include "support/check.h"
#include "support/error_text.h"
#include "platform/text.h"
#include "support/trace.h"

namespace vx::pages {

using VXTraceNS::CTraceScope;

namespace {

void Check(HRESULT hr, const char* expression, int line) { ThrowIfFailed(CheckResult(hr, expression, __FILE__, line)); }

AuthPolicyEditorArgs EditorArgs(snapin::CPolicyNode& node, platform::IClock& clock) {
  AuthPolicyEditorArgs args;
  args.policyKind = node.PolicyType();
  args.primary = ReadTokens(node.PrimaryTokens());
  args.secondary = ReadTokens(node.SecondaryTokens());
  args.registry = &node.Ports().registry;
  args.factory = &node.Ports().factory;
  args.clock = &clock;
  return args;
}

// The page edits one role: the node's setting, stored under its name.
policy::CRoleSettingsTable RoleSettingsOf(const snapin::CPolicyNode& node) {
  policy::CRoleSettingsTable roles;
  policy::RoleSettings& record = roles.Ensure(0);
  record.roleNameId = RoleNameOf(node.SettingName());
  record.settingName = node.SettingName() ? node.SettingName() : u"";
  for (ULONGLONG mask : node.Masks()) record.Add(mask);
  return roles;
}

}  // namespace

UINT GetAuthPolicySettingState(const std::vector<ULONGLONG>& masks, bool disabled) {
  CTraceScope scope("CAuthPolicyPage::GetAuthPolicySettingState");
  UINT id = IDC_ENABLED;
  const char* word = "Enabled";
  if (masks.empty()) {
    id = disabled ? IDC_DISABLED : IDC_NOT_CONFIGURED;
    word = disabled ? "Disable" : "Not configured";
  } else if (masks.size() == 1 && masks.front() == 0) {
    id = IDC_DISABLED;
    word = "Disable";
  }
  scope.Message("%s", word);
  return id;
}

UINT RoleNameOf(const char16_t* settingName) {
  const std::u16string_view name = settingName ? settingName : u"";
  if (EqualsIgnoreCase(name, policy::kRuntimePolicy)) return IDS_ROLE_RUNTIME;
  if (EqualsIgnoreCase(name, policy::kKioskRuntimePolicy)) return IDS_ROLE_KIOSK_RUNTIME;
  return IDS_ROLE_LOGON;
}

CAuthPolicyPage::CAuthPolicyPage(std::shared_ptr<snapin::CPolicyNode> node,
                                 std::shared_ptr<snapin::IGpoInformationSource> source, platform::IClock& clock)
    : CAuthPolicyEditor(EditorArgs(*node, clock), RoleSettingsOf(*node)),
      m_node(std::move(node)),
      m_source(std::move(source)) {
  m_state = GetAuthPolicySettingState(m_node->Masks(), m_node->IsDisabled());
}

void CAuthPolicyPage::OnInitDialog(IAuthPolicyPageView& view) {
  m_pageView = &view;
  CAuthPolicyEditor::OnInitDialog(view);
  view.CheckStateRadio(m_state);
  view.EnableStateRadios(!IsRsopMode());
  view.EnableEditing(m_state == IDC_ENABLED && !IsRsopMode());
}

void CAuthPolicyPage::OnStateRadio(UINT id) {
  if (IsRsopMode() || id == m_state) return;
  if (id != IDC_NOT_CONFIGURED && id != IDC_ENABLED && id != IDC_DISABLED) return;
  m_state = id;
  m_pageView->EnableEditing(m_state == IDC_ENABLED);
  SetModified(true);
}

void CAuthPolicyPage::SetModified(bool modified) {
  m_bChanged = modified;
  if (m_pageView) m_pageView->SetModified(modified);
}

bool CAuthPolicyPage::ShowRoleStatus() {
  CTraceScope scope("CAuthPolicyPage::ShowRoleStatus");
  scope.Result(E_NOTIMPL);
  return true;
}

void CAuthPolicyPage::WarnDisabledForEnrollment(policy::IGpoInformation& information,
                                                const policy::RoleSettings& record) {
  CTraceScope scope("CAuthPolicyPage::WarnDisabledForEnrollment");
  policy::CGPOAuthPolicy enrollment;
  const HRESULT loaded = enrollment.Load(&information, m_node->GPOSection(), policy::GPO_DisableCredentials);
  if (FAILED(loaded) || enrollment.Count() == 0) {
    scope.Result(loaded, "no credentials disabled for enrollment");
    return;
  }
  const ULONGLONG disabled = enrollment.MaskAt(0);
  const TokenCatalogue* catalogues[] = {&Args().primary, &Args().secondary};
  const plugins::DisplayNameMap names = NameMap(catalogues);
  std::u16string text;
  for (int i = 0; i < names.GetSize(); ++i) {
    const ULONGLONG mask = names.GetKeyAt(i);
    if ((mask & ~disabled) != 0 || record.Find(mask) < 0) continue;  // not a disabled credential alone
    if (!text.empty()) text += u"\r\n";
    text += names.GetValueAt(i);
  }
  if (!text.empty()) ShowPageMessage(View()->Owner(), Format(rstring(IDS_WARN_DISABLED_ENROLLMENT), text), MB_ICONWARNING);
}

bool CAuthPolicyPage::RefuseUnreliable() {
  CTraceScope scope("CAuthPolicyPage::RefuseUnreliable");
  std::u16string names;
  ULONGLONG unreliable = 0;
  for (const PageToken& token : Args().primary.tokens) {
    plugins::ICredential* credential = token.element.get() ? token.element.get()->Credential() : nullptr;
    HPTR(credential);
    const plugins::CredentialWrapper wrapper(credential);
    Variant cvReliable;
    // A credential that does not say it is unreliable counts as reliable.
    if (FAILED(CheckResult(wrapper.GetCredProperty(plugins::eKELT_CRED_RELIABLE, &cvReliable),
                           "credential->GetCredProperty(eKELT_CRED_RELIABLE, &cvReliable)", __FILE__, __LINE__)) ||
        cvReliable.vt != kVtBool || cvReliable.integer != 0)
      continue;
    ULONGLONG ul64CredMask = 0;
    Check(wrapper.GetCredMask(&ul64CredMask), "credential.GetCredMask(&ul64CredMask)", __LINE__);
    if (!names.empty()) names += u",";
    names += token.name;
    unreliable |= ul64CredMask;
  }
  if (unreliable == 0) return false;
  for (const policy::RoleSettings& record : Roles().Records()) {
    const auto& combinations = record.Combinations();
    bool everyUnreliable = !combinations.empty();
    for (ULONGLONG combination : combinations) everyUnreliable = everyUnreliable && (combination & unreliable) != 0;
    if (!everyUnreliable) continue;
    scope.Message("Role %d has no combination of reliable credentials only", record.roleId);
    ShowPageMessage(View()->Owner(), Format(rstring(IDS_ERROR_UNRELIABLE), names), MB_ICONERROR);
    return true;
  }
  return false;
}

bool CAuthPolicyPage::PolicyToStore(policy::IGpoInformation& information, const policy::RoleSettings& record,
                                    policy::CGPOAuthPolicy& gpoauthpolicy) {
  switch (m_state) {
    case IDC_NOT_CONFIGURED:
      gpoauthpolicy.SetDisabled(false);
      return true;
    case IDC_DISABLED:
      gpoauthpolicy.SetDisabled(true);
      if (PolicyKind() == 2) gpoauthpolicy.Add(0);  // a disabled runtime policy: no authentication
      return true;
    default:
      break;
  }
  for (ULONGLONG mask : record.Combinations()) gpoauthpolicy.Add(mask);
  WarnDisabledForEnrollment(information, record);
  return !RefuseUnreliable();
}

bool CAuthPolicyPage::OnApply() {
  CTraceScope scope("CAuthPolicyPage::OnApply");
  if (!m_bChanged || IsRsopMode()) {
    scope.Message("m_bChanged = %d, isReadonly = %d", m_bChanged ? 1 : 0, IsRsopMode() ? 1 : 0);
  } else {
    bool refused = false;
    const HRESULT hr = HResultGuard([&]() -> HRESULT {
      std::shared_ptr<policy::IGpoInformation> cpgpeinformation;
      Check(m_source ? m_source->GetGPEInformation(cpgpeinformation) : E_POINTER,
            "m_rpolicynode.GetGPEInformation(&cpgpeinformation)", __LINE__);
      HPTR(cpgpeinformation);
      const policy::RoleSettings* pauthpolicysetting = Roles().Last();
      HPTR(pauthpolicysetting);
      policy::CGPOAuthPolicy gpoauthpolicy;
      if (!PolicyToStore(*cpgpeinformation, *pauthpolicysetting, gpoauthpolicy)) {
        refused = true;
        return S_FALSE;
      }
      Check(gpoauthpolicy.Save(cpgpeinformation.get(), m_node->GPOSection(), pauthpolicysetting->settingName.c_str()),
            "gpoauthpolicy.Save(cpgpeinformation, m_rpolicynode.GPOSection(), "
            "pauthpolicysetting->authpolicyname.lpcwszSettingName)",
            __LINE__);
      return S_OK;
    });
    if (refused) return false;  // the page stays open and modified for correction
    if (FAILED(hr)) {
      MessageBoxResult(View()->Owner(), rstring(IDS_E_SETPOLICIES), hr);
      return false;
    }
  }
  SetModified(false);
  m_pageView->NotifyConsole();
  m_pageView->Broadcast(kBroadcastAuthPolicy, TRUE);
  return true;
}

}  // namespace vx::pages

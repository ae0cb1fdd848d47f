#include "snapin/node_tree.h"

#include "../../resources/resource_ids.h"
#include "platform/text.h"
#include "plugins/ui_elements.h"
#include "support/check.h"
#include "support/error_text.h"
#include "support/html_help.h"
#include "support/trace.h"

namespace vx::snapin {

using policy::SettingState;
using VXTraceNS::CTraceScope;

namespace {

// The node operations report their failures under this source name.
constexpr char kAuthNodeFile[] = "AuthNode";

void Check(HRESULT hr, const char* expression, int line) {
  ThrowIfFailed(CheckResult(hr, expression, kAuthNodeFile, line));
}

// The title of a policy item: by setting, so that the two policies of type 1 read apart.
UINT TitleOf(const char16_t* settingName, int apt) {
  if (settingName && EqualsIgnoreCase(settingName, policy::kKioskRuntimePolicy)) return IDS_POLICY_KIOSK_RUNTIME;
  return apt == 2 ? IDS_POLICY_RUNTIME : IDS_POLICY_LOGON;
}

std::unique_ptr<plugins::UITokens> MakeTokens(NodePorts& ports, DWORD filter) {
  return std::make_unique<plugins::UITokens>(ports.registry, ports.factory, plugins::kGpoEditorTokensSubkey, filter);
}

HRESULT GetInformation(IGpoInformationSource* source, std::shared_ptr<policy::IGpoInformation>& information) {
  CTraceScope scope("CPolicyNode::GetGPEInformation");
  scope.Message("Trying to request CCF_GPEINFO");
  const HRESULT hr = source ? source->GetGPEInformation(information) : E_POINTER;
  if (FAILED(hr)) scope.Message("GetDataHere CCF_GPEINFO failed");
  return scope.Result(hr);
}

// A GPO in which no setting of the system was ever saved has no application key: its policies are
// simply not configured, and the administrator must be able to configure them. Any other failure
// of the store fails the load.
bool IsNewGpo(HRESULT loaded, bool rsopMode, CTraceScope& scope) {
  if (rsopMode || loaded != HResultFromWin32(ERROR_FILE_NOT_FOUND)) return false;
  scope.Message("The GPO has no application key: not configured");
  return true;
}

}  // namespace

NodeIdentity IdentityOf(ScopeNodeKind kind) {
  switch (kind) {
    case ScopeNodeKind::Vantorix:
      return {u"[DNL]Vantorix Keystone Client", NODETYPE_Vantorix};
    case ScopeNodeKind::Security:
      return {u"[DNL]Security", NODETYPE_Security};
    case ScopeNodeKind::Authentication:
      return {u"[DNL]Authentication", NODETYPE_Authentication};
    case ScopeNodeKind::Enrollment:
      break;
  }
  return {u"[DNL]Enrollment", NODETYPE_Enrollment};
}

std::optional<GUID> CVantorixNode::KioskExtension(bool consoleHasDynamicExtensions) const {
  if (m_GPOSection != policy::VX_GPO_SECTION_MACHINE || !consoleHasDynamicExtensions) return std::nullopt;
  GUID clsid{};
  if (FAILED(plugins::GuidFromString(m_pRsop.IsRsopMode() ? kKioskExtensionRsop : kKioskExtensionEditing, clsid)))
    return std::nullopt;
  return clsid;
}

void CVantorixNode::TraceKioskAdded(HRESULT hr) {
  CTraceScope scope("CVantorixNode::OnExpand");
  scope.Result(hr, "adding 'Kiosk'");
}

std::u16string SettingStateText(SettingState state) {
  switch (state) {
    case SettingState::NotConfigured:
      return rstring(IDS_STATE_NOT_CONFIGURED);
    case SettingState::Enabled:
      return rstring(IDS_STATE_ENABLED);
    case SettingState::Disabled:
      break;
  }
  return rstring(IDS_STATE_DISABLED);
}

// ---- CPolicyNode

CPolicyNode::CPolicyNode(NodePorts& ports) : m_ports(ports) {
  m_tokens[0] = MakeTokens(ports, plugins::kTokenPrimary);
  m_tokens[1] = MakeTokens(ports, plugins::kTokenSecondary);
}

HRESULT CPolicyNode::FinalConstruct(DWORD section, int apt, const char16_t* settingName) {
  CTraceScope scope("CPolicyNode::FinalConstruct");
  return HResultBoundary(scope, [&]() -> HRESULT {
    m_GPOSection = section;
    m_apt = apt;
    scope.Message("m_apt = %d, m_GPOSection = %d", apt, section);
    const UINT title = TitleOf(settingName, apt);
    m_settings.push_back({title, settingName, {}});
    if (std::u16string text = rstring(title); !text.empty()) m_displayName = std::move(text);
    return S_OK;
  });
}

HRESULT CPolicyNode::LoadTokens() {
  CTraceScope scope("CPolicyNode::LoadTokens");
  HRESULT hr = m_tokens[0]->LoadElements(true);
  const HRESULT secondary = m_tokens[1]->LoadElements(true);
  if (SUCCEEDED(hr)) hr = secondary;
  return scope.Result(hr);
}

HRESULT CPolicyNode::Load(IGpoInformationSource* source) {
  CTraceScope scope("CPolicyNode::Load");
  return HResultBoundary(scope, [&]() -> HRESULT {
    AuthPolicySetting* pauthpolicysetting = m_settings.empty() ? nullptr : &m_settings.back();
    Check(pauthpolicysetting ? S_OK : E_POINTER, "HPTR(pauthpolicysetting)", __LINE__);
    pauthpolicysetting->masks.clear();

    std::shared_ptr<policy::IGpoInformation> cpgpeinformation;
    if (!IsRsopMode())
      Check(GetInformation(source, cpgpeinformation), "GetGPEInformation(&cpgpeinformation)", __LINE__);

    policy::CGPOAuthPolicy gpoauthpolicy;
    gpoauthpolicy.SetRsopData(m_pRsop);
    const HRESULT loaded = gpoauthpolicy.Load(cpgpeinformation.get(), m_GPOSection, pauthpolicysetting->lpcwszSettingName);
    if (!IsNewGpo(loaded, IsRsopMode(), scope))
      Check(loaded, "gpoauthpolicy.Load(cpgpeinformation, GPOSection(), "
            "pauthpolicysetting->authpolicyname.lpcwszSettingName)",
            __LINE__);

    pauthpolicysetting->masks.assign(gpoauthpolicy.Masks().begin(), gpoauthpolicy.Masks().end());
    m_fDisabled = gpoauthpolicy.IsDisabled();
    m_rsopEntry = gpoauthpolicy.RsopEntry();
    return S_OK;
  });
}

const char16_t* CPolicyNode::SettingName() const {
  return m_settings.empty() ? nullptr : m_settings.back().lpcwszSettingName;
}

const std::vector<ULONGLONG>& CPolicyNode::Masks() const {
  static const std::vector<ULONGLONG> kNone;
  return m_settings.empty() ? kNone : m_settings.back().masks;
}

SettingState CPolicyNode::State() const { return policy::GetSettingState(Masks(), m_fDisabled); }

std::u16string CPolicyNode::GetResultPaneColInfo(int column) const {
  CTraceScope scope("CPolicyNode::GetResultPaneColInfo");
  std::u16string text;
  if (column == 0) {
    text = m_displayName;
  } else if (column == 1) {
    text = SettingStateText(State());
  }
  scope.Message("[%d] = %ls", column, text.c_str());
  return text;
}

std::vector<PropertyPageKind> CPolicyNode::PropertyPages() const {
  std::vector<PropertyPageKind> pages{PropertyPageKind::AuthPolicy, PropertyPageKind::Explanation};
  if (IsRsopMode()) pages.push_back(PropertyPageKind::Precedence);
  return pages;
}

// ---- CAuthenticationNode

HRESULT CAuthenticationNode::Load(IGpoInformationSource* source) {
  CTraceScope scope("CAuthenticationNode::Load");
  return HResultBoundary(scope, [&]() -> HRESULT {
    m_items.clear();
    const bool machine = m_GPOSection == policy::VX_GPO_SECTION_MACHINE;
    struct Planned {
      std::shared_ptr<CPolicyNode> node;
      const char* skipText;
    };
    std::vector<Planned> planned;
    auto create = [&](int apt, const char16_t* name, const char* expression, const char* skipText) {
      std::shared_ptr<CPolicyNode> node = std::make_shared<CPolicyNode>(m_ports);
      Check(node ? S_OK : E_POINTER, expression, __LINE__);
      ThrowIfFailed(node->FinalConstruct(m_GPOSection, apt, name));
      planned.push_back({std::move(node), skipText});
    };
    if (machine) create(1, policy::kLogonPolicy, "HPTR(cptrLogon)", "Logon policy is not configured. Skipping...");
    create(2, policy::kRuntimePolicy, "HPTR(cptrRuntime)", "Runtime policy is not configured. Skipping...");
    if (machine) {
      create(1, policy::kKioskRuntimePolicy, "HPTR(cptrRuntimeKiosk)",
             "Runtime Kiosk policy is not configured. Skipping...");
    }

    std::vector<std::shared_ptr<CPolicyNode>> kept;
    for (Planned& item : planned) {
      item.node->SetRsopData(m_pRsop);
      item.node->LoadTokens();  // a missing plug-in list leaves the catalogue empty: reported below
      if (item.node->PrimaryTokens().GetSize() == 0) {
        if (const ReportingPorts& ports = Reporting(); ports.messageBox) {
          const HWND owner = m_ports.activeWindow ? m_ports.activeWindow() : nullptr;
          ports.messageBox->Show(owner, rstring(IDS_ERROR_NO_PLUGINS), rstring(IDS_MESSAGE_CAPTION), MB_ICONERROR);
        }
        Check(E_UNEXPECTED, "E_UNEXPECTED", __LINE__);
      }
      ThrowIfFailed(item.node->Load(source));
      if (m_pRsop.IsRsopMode() && item.node->State() == SettingState::NotConfigured) {
        scope.Message("%s", item.skipText);
        continue;
      }
      kept.push_back(item.node);
    }
    m_items = std::move(kept);
    return S_OK;
  });
}

// ---- help

std::u16string PolicyHelpTopic(platform::IRegistry& registry, CHTMLHelp& help) {
  CTraceScope scope("CPolicyNode::OnShowHelp");
  std::unique_ptr<platform::IRegistryKey> key;
  if (registry.OpenKey(platform::RegistryRoot::LocalMachine, kHelpIdKey, KEY_READ, key) != ERROR_SUCCESS) return {};
  std::u16string id;
  if (platform::ReadString(*key, kHelpIdValue, id) != ERROR_SUCCESS || id.size() >= kMaxHelpValueChars) return {};
  GUID clsid{};
  if (FAILED(plugins::GuidFromString(id, clsid))) return {};
  std::u16string topic = help.GetHelpFileName(clsid);
  if (topic.empty()) return {};
  topic += kHelpTopic;
  if (topic.size() >= kMaxHelpTopicChars) return {};
  scope.Message("%ls", topic.c_str());
  return topic;
}

// ---- Enrollment

CEnrollmentPolicyNode::CEnrollmentPolicyNode(NodePorts& ports, DWORD section, rsop::CRsopDataPtr rsop)
    : m_GPOSection(section), m_pRsop(std::move(rsop)), m_tokens(MakeTokens(ports, plugins::kTokenAll)) {
  CTraceScope scope("CEnrollmentPolicyNode::CEnrollmentPolicyNode");
  scope.Message("m_GPOSection = %d", section);
  m_policy.SetRsopData(m_pRsop);
}

HRESULT CEnrollmentPolicyNode::LoadTokens() {
  CTraceScope scope("CEnrollmentPolicyNode::LoadTokens");
  return scope.Result(m_tokens->LoadElements(true));
}

HRESULT CEnrollmentPolicyNode::Load(IGpoInformationSource* source) {
  CTraceScope scope("CEnrollmentPolicyNode::Load");
  return HResultBoundary(scope, [&]() -> HRESULT {
    policy::CGPOAuthPolicy gpoauthpolicy;
    gpoauthpolicy.SetRsopData(m_pRsop);
    std::shared_ptr<policy::IGpoInformation> cpgpeinformation;
    if (!m_pRsop.IsRsopMode())
      Check(GetInformation(source, cpgpeinformation), "GetGPEInformation(&cpgpeinformation)", __LINE__);
    const HRESULT loaded = gpoauthpolicy.Load(cpgpeinformation.get(), m_GPOSection, policy::GPO_DisableCredentials);
    if (!IsNewGpo(loaded, m_pRsop.IsRsopMode(), scope))
      Check(loaded, "gpoauthpolicy.Load(cpgpeinformation, GPOSection(), GPO_DisableCredentials)", __LINE__);
    m_policy = std::move(gpoauthpolicy);
    return S_OK;
  });
}

std::u16string CEnrollmentPolicyNode::GetResultPaneColInfo(int column) const {
  CTraceScope scope("CEnrollmentPolicyNode::GetResultPaneColInfo");
  std::u16string text;
  if (column == 0) {
    text = Identity().displayName;
  } else if (column == 1) {
    text = SettingStateText(m_policy.State());
  }
  scope.Message("[%d] = %ls", column, text.c_str());
  return text;
}

HRESULT CEnrollmentNode::Load(IGpoInformationSource* source) {
  CTraceScope scope("CEnrollmentNode::Load");
  return HResultBoundary(scope, [&]() -> HRESULT {
    m_item.reset();
    auto cptrEnroll = std::make_shared<CEnrollmentPolicyNode>(m_ports, m_GPOSection, m_pRsop);
    Check(cptrEnroll ? S_OK : E_POINTER, "HPTR(cptrEnroll)", __LINE__);
    cptrEnroll->LoadTokens();
    ThrowIfFailed(cptrEnroll->Load(source));
    if (cptrEnroll->Policy().State() == SettingState::NotConfigured)
      scope.Message("Enrollment policy is not configured. Skipping...");
    m_item = std::move(cptrEnroll);
    return S_OK;
  });
}

}  // namespace vx::snapin

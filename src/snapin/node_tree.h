// The snap-in's node tree as plain C++: which children each node has, which policy items the
// Authentication node makes for its section and mode, how a policy item loads its policy, the result
// column texts, the property pages an item offers and its help topic. The COM objects only translate
// these decisions into console calls.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "platform/wintypes.h"
#include "plugins/element.h"
#include "plugins/ui_tokens.h"
#include "policy/auth_policy.h"
#include "policy/gpo_information.h"
#include "rsop/rsop_data.h"

namespace vx {
class CHTMLHelp;
}

namespace vx::snapin {

// Node types of the tree (the two extension roots are the editor's own Software Settings nodes).
inline constexpr GUID NODETYPE_ComputerSoftwareSettings = {
    0x8FC0B73A, 0xA0E1, 0x11D1, {0xA7, 0xD3, 0x00, 0x00, 0xF8, 0x75, 0x71, 0xE3}};
inline constexpr GUID NODETYPE_UserSoftwareSettings = {
    0x8FC0B73C, 0xA0E1, 0x11D1, {0xA7, 0xD3, 0x00, 0x00, 0xF8, 0x75, 0x71, 0xE3}};
inline constexpr GUID NODETYPE_Vantorix = {
    0x1CA3CF7B, 0xB0C5, 0x407B, {0xBA, 0x51, 0xD4, 0x5B, 0x11, 0x29, 0x16, 0x88}};
inline constexpr GUID NODETYPE_Security = {
    0x9B0A2E8D, 0xA9A3, 0x4720, {0x94, 0xFF, 0xC1, 0x88, 0x24, 0xEA, 0xCC, 0x22}};
inline constexpr GUID NODETYPE_Authentication = {
    0x830CA3CA, 0x7280, 0x4F60, {0xBD, 0xDD, 0xB0, 0x3E, 0xFD, 0xC5, 0x27, 0xB7}};
inline constexpr GUID NODETYPE_Policy = {
    0xB37463D3, 0x4B21, 0x4C69, {0xA9, 0x7F, 0xF7, 0x9B, 0x1B, 0x7A, 0x00, 0x21}};
inline constexpr GUID NODETYPE_Enrollment = {
    0xB193615F, 0x67B2, 0x4D92, {0xAD, 0x1F, 0x67, 0x4D, 0x84, 0x50, 0x0F, 0x59}};
inline constexpr GUID NODETYPE_EnrollmentPolicy = {
    0xBD1F0B43, 0xBCE6, 0x4186, {0x92, 0x32, 0xD3, 0x74, 0x51, 0x09, 0xF7, 0xE2}};

// The Kiosk snap-in, attached to the product node as a dynamic extension (machine section only).
inline constexpr char16_t kKioskExtensionEditing[] = u"{54C7735F-A199-B177-9E9C-9A9EEA0C9150}";
inline constexpr char16_t kKioskExtensionRsop[] = u"{54C7735F-A199-B177-9E9C-9A9EEA0C9151}";

// Where the help of the administration tools is registered (HKLM), and the topic opened in it.
inline constexpr char16_t kHelpIdKey[] = u"SOFTWARE\\Vantorix\\Help";
inline constexpr char16_t kHelpIdValue[] = u"KeystoneAdminToolsHelpID";
inline constexpr char16_t kHelpTopic[] = u"::/lm-intro.htm";
inline constexpr size_t kMaxHelpTopicChars = 260;  // with its NUL

// What every node needs from the platform, shared by the nodes of one snap-in (and outliving them).
struct NodePorts {
  platform::IRegistry& registry;     // plug-in registrations
  plugins::IElementFactory& factory;  // creates the plug-in elements
  std::function<HWND()> activeWindow;  // owner of message boxes; may be empty
};

// The editor's GPO information of a policy item (the COM layer answers it from the item's data
// object through CCF_GPEINFO).
class IGpoInformationSource {
 public:
  virtual ~IGpoInformationSource() = default;
  virtual HRESULT GetGPEInformation(std::shared_ptr<policy::IGpoInformation>& information) = 0;
};

enum class ScopeNodeKind { Vantorix, Security, Authentication, Enrollment };

struct NodeIdentity {
  const char16_t* displayName;
  GUID nodeType;
};
NodeIdentity IdentityOf(ScopeNodeKind kind);

// The product node: a Security child and, in the machine section, the Kiosk extension.
class CVantorixNode {
 public:
  CVantorixNode(DWORD section, rsop::CRsopDataPtr rsop) : m_GPOSection(section), m_pRsop(std::move(rsop)) {}
  static NodeIdentity Identity() { return IdentityOf(ScopeNodeKind::Vantorix); }
  DWORD GPOSection() const { return m_GPOSection; }
  const rsop::CRsopDataPtr& RsopData() const { return m_pRsop; }

  // The Kiosk extension to attach on expansion: none outside the machine section or when the console
  // offers no dynamic extensions; the RSoP CLSID in RSoP mode, the editing one otherwise.
  std::optional<GUID> KioskExtension(bool consoleHasDynamicExtensions) const;
  // Traces "adding 'Kiosk'" with the console's answer.
  static void TraceKioskAdded(HRESULT hr);
  std::vector<ScopeNodeKind> Children() const { return {ScopeNodeKind::Security}; }

 private:
  DWORD m_GPOSection;
  rsop::CRsopDataPtr m_pRsop;
};

class CSecurityNode {
 public:
  static NodeIdentity Identity() { return IdentityOf(ScopeNodeKind::Security); }
  std::vector<ScopeNodeKind> Children() const { return {ScopeNodeKind::Authentication, ScopeNodeKind::Enrollment}; }
};

// The pages of an item's property sheet, in the order they are added.
enum class PropertyPageKind { AuthPolicy, Explanation, Precedence, EnrollmentPolicy };

// One setting a policy item edits: its title's resource id, its name and the masks loaded.
struct AuthPolicySetting {
  UINT resourceId = 0;
  const char16_t* lpcwszSettingName = nullptr;
  std::vector<ULONGLONG> masks;
};

// The text of a setting state: language strings 144, 159, 286.
std::u16string SettingStateText(policy::SettingState state);

// The result item of one authentication policy.
class CPolicyNode {
 public:
  explicit CPolicyNode(NodePorts& ports);
  static GUID NodeType() { return NODETYPE_Policy; }

  // Section, policy type, the setting's record and the display name (title by setting).
  HRESULT FinalConstruct(DWORD section, int apt, const char16_t* settingName);
  void SetRsopData(rsop::CRsopDataPtr rsop) { m_pRsop = std::move(rsop); }
  bool IsRsopMode() const { return m_pRsop.IsRsopMode(); }

  // Fills the two token catalogues (kinds 1 and 2) from the editor's plug-in list.
  HRESULT LoadTokens();
  plugins::UITokens& PrimaryTokens() { return *m_tokens[0]; }
  plugins::UITokens& SecondaryTokens() { return *m_tokens[1]; }

  // Loads the policy: from the GPO (through source) in editing mode, from the RSoP data otherwise.
  HRESULT Load(IGpoInformationSource* source);

  const std::u16string& DisplayName() const { return m_displayName; }
  NodePorts& Ports() const { return m_ports; }
  DWORD GPOSection() const { return m_GPOSection; }
  int PolicyType() const { return m_apt; }
  const char16_t* SettingName() const;
  const std::vector<ULONGLONG>& Masks() const;
  bool IsDisabled() const { return m_fDisabled; }
  policy::SettingState State() const;
  const rsop::RsopPolicyEntry& RsopEntry() const { return m_rsopEntry; }

  // Column 0: the display name; column 1: the state text; others empty.
  std::u16string GetResultPaneColInfo(int column) const;
  std::vector<PropertyPageKind> PropertyPages() const;
  static HRESULT QueryPagesFor() { return S_OK; }

 private:
  NodePorts& m_ports;
  std::u16string m_displayName = u"[DNL]Policy";
  DWORD m_GPOSection = 0;
  int m_apt = 0;
  std::vector<AuthPolicySetting> m_settings;  // the last record is the one used
  bool m_fDisabled = false;
  rsop::RsopPolicyEntry m_rsopEntry;
  std::unique_ptr<plugins::UITokens> m_tokens[2];
  rsop::CRsopDataPtr m_pRsop;
};

// The scope node holding the policy items of its section.
class CAuthenticationNode {
 public:
  CAuthenticationNode(NodePorts& ports, DWORD section, rsop::CRsopDataPtr rsop)
      : m_ports(ports), m_GPOSection(section), m_pRsop(std::move(rsop)) {}
  static NodeIdentity Identity() { return IdentityOf(ScopeNodeKind::Authentication); }
  DWORD GPOSection() const { return m_GPOSection; }

  // Builds the items: machine logon, runtime, machine kiosk runtime. No plug-in tokens: error box and
  // E_UNEXPECTED; the failure of one item fails the load; RSoP mode skips not configured items.
  HRESULT Load(IGpoInformationSource* source);
  const std::vector<std::shared_ptr<CPolicyNode>>& Items() const { return m_items; }
  void RemoveItems() { m_items.clear(); }

 private:
  NodePorts& m_ports;
  DWORD m_GPOSection;
  rsop::CRsopDataPtr m_pRsop;
  std::vector<std::shared_ptr<CPolicyNode>> m_items;
};

// The help topic of a policy item: the help file of the registered help CLSID with kHelpTopic
// appended; empty when nothing is registered or no file is found (nothing is shown then).
std::u16string PolicyHelpTopic(platform::IRegistry& registry, CHTMLHelp& help);

// The enrollment policy item: the "DisableCredentials" setting of its section.
class CEnrollmentPolicyNode {
 public:
  CEnrollmentPolicyNode(NodePorts& ports, DWORD section, rsop::CRsopDataPtr rsop);
  static NodeIdentity Identity() { return {u"[DNL]Enrollment policy", NODETYPE_EnrollmentPolicy}; }
  DWORD GPOSection() const { return m_GPOSection; }
  bool IsRsopMode() const { return m_pRsop.IsRsopMode(); }

  HRESULT LoadTokens();  // the catalogue of filter 7, sub-elements expanded
  plugins::UITokens& Tokens() { return *m_tokens; }
  HRESULT Load(IGpoInformationSource* source);
  const policy::CGPOAuthPolicy& Policy() const { return m_policy; }

  std::u16string GetResultPaneColInfo(int column) const;
  static std::vector<PropertyPageKind> PropertyPages() {
    return {PropertyPageKind::EnrollmentPolicy, PropertyPageKind::Explanation, PropertyPageKind::Precedence};
  }
  static HRESULT QueryPagesFor() { return S_OK; }

 private:
  DWORD m_GPOSection;
  rsop::CRsopDataPtr m_pRsop;
  std::unique_ptr<plugins::UITokens> m_tokens;
  policy::CGPOAuthPolicy m_policy;
};

// The Enrollment scope node and its one item while expanded.
class CEnrollmentNode {
 public:
  CEnrollmentNode(NodePorts& ports, DWORD section, rsop::CRsopDataPtr rsop)
      : m_ports(ports), m_GPOSection(section), m_pRsop(std::move(rsop)) {}
  static NodeIdentity Identity() { return IdentityOf(ScopeNodeKind::Enrollment); }

  HRESULT Load(IGpoInformationSource* source);
  const std::shared_ptr<CEnrollmentPolicyNode>& Item() const { return m_item; }
  void RemoveItems() { m_item.reset(); }

 private:
  NodePorts& m_ports;
  DWORD m_GPOSection;
  rsop::CRsopDataPtr m_pRsop;
  std::shared_ptr<CEnrollmentPolicyNode> m_item;
};

}  // namespace vx::snapin

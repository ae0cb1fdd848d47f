// CAuthPolicyPage: the property page of one authentication policy item. The editor of the policy's
// combinations, plus the setting state (Not configured, Enabled, Disabled) and Apply: the checks
// against credentials disabled for enrollment and against unreliable credentials, the save through
// the GPO store, the console's notification and the broadcast to running programs.
#pragma once

#include <cstdint>
#include <memory>

#include "pages/auth_policy_editor.h"
#include "snapin/node_tree.h"

namespace vx::pages {

class IAuthPolicyPageView : public IAuthPolicyEditorView {
 public:
  virtual void CheckStateRadio(UINT id) = 0;
  virtual void EnableStateRadios(bool enabled) = 0;
  // The list and its links: editable only while the policy is enabled, and never in RSoP mode.
  virtual void EnableEditing(bool enabled) = 0;
  // MMCPropertyChangeNotify through the page's notification handle.
  virtual void NotifyConsole() = 0;
  // Posts "KELT_BROADCAST_NOTIFICATION" to every application.
  virtual void Broadcast(std::uintptr_t wParam, std::intptr_t lParam) = 0;
};

// wParam of the broadcast after an authentication policy was applied.
inline constexpr std::uintptr_t kBroadcastAuthPolicy = 4;

// The radio button that shows a stored setting.
UINT GetAuthPolicySettingState(const std::vector<ULONGLONG>& masks, bool disabled);
// The language text naming the role whose record a setting is stored under.
UINT RoleNameOf(const char16_t* settingName);

class CAuthPolicyPage : public CAuthPolicyEditor {
 public:
  // The node gives the policy, its section, its tokens and its RSoP data; source its GPO.
  CAuthPolicyPage(std::shared_ptr<snapin::CPolicyNode> node, std::shared_ptr<snapin::IGpoInformationSource> source,
                  platform::IClock& clock);

  bool LeavesOutRoleGroups() const override { return true; }
  bool IsGpoEditor() const override { return true; }
  bool IsReadOnly() const override { return false; }
  void SetModified(bool modified) override;
  bool IsModified() const { return m_bChanged; }
  bool IsRsopMode() const { return m_node->IsRsopMode(); }

  void OnInitDialog(IAuthPolicyPageView& view);
  void OnStateRadio(UINT id);
  UINT CheckedState() const { return m_state; }
  // True when the sheet may close; false keeps the page open and modified.
  bool OnApply();
  // Not part of this page: traced and answered as done.
  bool ShowRoleStatus();

  // Fills the policy to store from the checked state; false when Apply is refused.
  bool PolicyToStore(policy::IGpoInformation& information, const policy::RoleSettings& record,
                     policy::CGPOAuthPolicy& gpoauthpolicy);

 private:
  void WarnDisabledForEnrollment(policy::IGpoInformation& information, const policy::RoleSettings& record);
  bool RefuseUnreliable();

  std::shared_ptr<snapin::CPolicyNode> m_node;
  std::shared_ptr<snapin::IGpoInformationSource> m_source;
  IAuthPolicyPageView* m_pageView = nullptr;
  UINT m_state = IDC_NOT_CONFIGURED;
  bool m_bChanged = false;
};

}  // namespace vx::pages

// CAuthPolicyAdd: the add-credential dialog, in which the administrator composes one combination (a
// primary credential, optionally a secondary one) for one role of an authentication policy. It
// refuses a combination the role has, asks before no authentication, and finds the combinations the
// new one overlaps, offering to replace them. The window only shows what this decides.
#pragma once

#include <optional>
#include <vector>

#include "pages/page_tokens.h"
#include "pages/page_types.h"
#include "plugins/ui_tokens.h"
#include "policy/policy_settings.h"

namespace vx::pages {

// What the dialog window does for the presenter.
class IAuthPolicyAddView {
 public:
  virtual ~IAuthPolicyAddView() = default;
  virtual HWND Owner() = 0;  // owner of the message boxes
  // Images of the dialog's image list: a module icon, or a token's own icon; the index, -1 for none.
  virtual int AddIcon(UINT resourceId) = 0;
  virtual int AddTokenIcon(const PageToken& token) = 0;

  virtual void SetTitle(const std::u16string& text) = 0;
  virtual void ShowRoleChoice(bool visible) = 0;  // the role combo box, or the fixed role's label
  virtual void SetRoles(const std::vector<ComboItem>& roles, int selected) = 0;
  virtual void SetRoleLabel(const std::u16string& text) = 0;
  virtual void SetPrompt(const std::u16string& text) = 0;  // label 213
  virtual void ShowDeleteButton(bool visible) = 0;
  virtual void EnableOk(bool enabled) = 0;
  virtual void SetPrimaryItems(const std::vector<ComboItem>& items, int selected) = 0;
  virtual void SetSecondaryItems(const std::vector<ComboItem>& items, int selected) = 0;
  virtual void ShowSecondary(bool visible) = 0;  // the secondary combo box with its label
  virtual void End(int code) = 0;
};

struct AuthPolicyAddArgs {
  DWORD policyKind = 0;  // 2: the runtime policy
  DWORD role = 0;        // 0: the administrator picks the role
  policy::CRoleSettingsTable* roles = nullptr;
  const TokenCatalogue* primary = nullptr;
  const TokenCatalogue* secondary = nullptr;
  const std::vector<ULONGLONG>* custom = nullptr;
  ULONGLONG previousMask = 0;         // the combination edited; 0 when adding
  bool gpoEditor = true;              // no "no authentication" item in the editor
  std::vector<ULONGLONG> knownMasks;  // KnownMasks(): which masks belong to one registered token
};

class CAuthPolicyAdd {
 public:
  explicit CAuthPolicyAdd(AuthPolicyAddArgs args);

  bool IsEditing() const { return m_args.previousMask != 0; }

  // Handlers of the dialog window.
  void OnInitDialog(IAuthPolicyAddView& view);
  void OnRoleSelChange(int index) { m_roleSel = index; }
  void OnPrimarySelChange(int index);
  void OnSecondarySelChange(int index) { m_secondarySel = index; }
  // IDOK, IDCANCEL or ID_POLICY_DELETE; refusals keep the dialog open.
  void OnCloseCmd(int command);

  // Results, after the dialog ended with IDOK.
  DWORD UserRole() const { return m_role; }
  ULONGLONG Policy() const { return m_mask; }
  const std::vector<ULONGLONG>& Replaced() const { return m_replaced; }

  // The lists as shown (for the window, and for what the administrator reads).
  const std::vector<ComboItem>& PrimaryItems() const { return m_primaryItems; }
  const std::vector<ComboItem>& SecondaryItems() const { return m_secondaryItems; }
  int PrimarySelection() const { return m_primarySel; }
  int SecondarySelection() const { return m_secondarySel; }

 private:
  void InsertSecondaryTokens(bool initial);
  bool IsCustomMember(ULONGLONG mask) const;
  // Index of the first known mask holding every bit of mask, or -1.
  int KnownIndex(ULONGLONG mask) const;
  int Ask(const std::u16string& text, UINT type);
  bool CheckOverlaps(const policy::RoleSettings& record, ULONGLONG mask);

  AuthPolicyAddArgs m_args;
  IAuthPolicyAddView* m_view = nullptr;
  plugins::DisplayNameMap m_names;
  bool m_roleChoice = false;
  std::vector<int> m_secondaryImages;  // each secondary token's image
  std::vector<ComboItem> m_roleItems;
  std::vector<ComboItem> m_primaryItems;
  std::vector<ComboItem> m_secondaryItems;
  int m_roleSel = -1;
  int m_primarySel = -1;
  int m_secondarySel = -1;
  int m_lastPrimary = -1;  // the primary selection the secondary list was last shown for
  int m_iItemNoAuth = -1;
  std::optional<ULONGLONG> m_initialSecondary;  // the edited combination's secondary part
  DWORD m_role = 0;
  ULONGLONG m_mask = 0;
  std::vector<ULONGLONG> m_replaced;
};

}  // namespace vx::pages

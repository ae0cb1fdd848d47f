#include "pages/auth_policy_add.h"

#include <algorithm>

#include "pages/page_message.h"
#include "platform/format.h"
#include "support/check.h"
#include "support/error_text.h"
#include "support/trace.h"

namespace vx::pages {

using VXTraceNS::CTraceScope;

namespace {

constexpr char kNameExpression[] = "token.GetPropertyBSTR(eKELT_LST_DISPLAYSTRING, &cbsDisplayName)";

bool Contains(ULONGLONG whole, ULONGLONG part) { return (whole & part) == part; }

void AppendOnce(std::vector<ULONGLONG>& list, ULONGLONG mask) {
  if (std::find(list.begin(), list.end(), mask) == list.end()) list.push_back(mask);
}

// A token whose display string could not be read is left out of the lists, the failure traced.
bool HasName(const PageToken& token) {
  if (SUCCEEDED(token.nameResult)) return true;
  CheckResult(token.nameResult, kNameExpression, __FILE__, __LINE__);
  return false;
}

}  // namespace

CAuthPolicyAdd::CAuthPolicyAdd(AuthPolicyAddArgs args) : m_args(std::move(args)) {
  const TokenCatalogue* catalogues[] = {m_args.primary, m_args.secondary};
  m_names = NameMap(catalogues);
}

bool CAuthPolicyAdd::IsCustomMember(ULONGLONG mask) const {
  return std::any_of(m_args.custom->begin(), m_args.custom->end(), [&](ULONGLONG c) { return Contains(c, mask); });
}

int CAuthPolicyAdd::KnownIndex(ULONGLONG mask) const {
  const auto& known = m_args.knownMasks;
  const auto it = std::find_if(known.begin(), known.end(), [&](ULONGLONG k) { return Contains(k, mask); });
  return it == known.end() ? -1 : static_cast<int>(it - known.begin());
}

int CAuthPolicyAdd::Ask(const std::u16string& text, UINT type) {
  return ShowPageMessage(m_view ? m_view->Owner() : nullptr, text, type);
}

void CAuthPolicyAdd::OnInitDialog(IAuthPolicyAddView& view) {
  CTraceScope scope("CAuthPolicyAdd::OnInitDialog");
  m_view = &view;
  view.AddIcon(IDI_JOINER);
  const int noAuthImage = view.AddIcon(IDI_NO_AUTHENTICATION);
  std::vector<int> primaryImages;
  for (const PageToken& token : m_args.primary->tokens) primaryImages.push_back(view.AddTokenIcon(token));
  for (const PageToken& token : m_args.secondary->tokens) m_secondaryImages.push_back(view.AddTokenIcon(token));

  // Role: a fixed one is named in a label, otherwise the administrator picks it.
  const policy::RoleSettings* record = m_args.roles->Find(static_cast<std::int32_t>(m_args.role));
  m_roleChoice = m_args.role == 0;
  view.ShowRoleChoice(m_roleChoice);
  if (!m_roleChoice) {
    const std::u16string roleName = record ? rstring(record->roleNameId) : std::u16string();
    view.SetRoleLabel(Format(rstring(IsEditing() ? IDS_EDIT_LABEL_FOR_ROLE : IDS_ADD_LABEL_FOR_ROLE), roleName));
  } else {
    for (const policy::RoleSettings& role : m_args.roles->Records()) {
      if (role.roleId == static_cast<std::int32_t>(m_args.role)) m_roleSel = static_cast<int>(m_roleItems.size());
      m_roleItems.push_back({rstring(role.roleNameId), -1, static_cast<ULONGLONG>(static_cast<DWORD>(role.roleId))});
    }
    if (m_roleSel < 0 && !m_roleItems.empty()) m_roleSel = 0;
    view.SetRoles(m_roleItems, m_roleSel);
  }
  view.SetTitle(rstring(IsEditing() ? IDS_TITLE_EDIT_CREDENTIAL : IDS_TITLE_ADD_CREDENTIAL));
  view.SetPrompt(rstring(m_roleChoice ? IDS_SELECT_ROLE_AND_CREDENTIAL : IDS_SELECT_CREDENTIAL));
  view.ShowDeleteButton(false);

  // Primary list: the primary tokens, then the secondary tokens inside a custom combination.
  const auto& primary = m_args.primary->tokens;
  for (size_t i = 0; i < primary.size(); ++i) {
    if (HasName(primary[i])) m_primaryItems.push_back({primary[i].name, primaryImages[i], primary[i].mask});
  }
  const auto& secondary = m_args.secondary->tokens;
  for (size_t i = 0; i < secondary.size(); ++i) {
    const ULONGLONG mask = secondary[i].mask;
    const auto custom = std::find_if(m_args.custom->begin(), m_args.custom->end(),
                                     [&](ULONGLONG c) { return mask != 0 && Contains(c, mask); });
    if (custom == m_args.custom->end()) continue;
    scope.Message("Adding 0x%I64X for custom policy 0x%I64X", mask, *custom);
    if (HasName(secondary[i])) m_primaryItems.push_back({secondary[i].name, m_secondaryImages[i], mask});
  }
  if (m_args.policyKind == 2 && !m_args.gpoEditor) {
    m_iItemNoAuth = static_cast<int>(m_primaryItems.size());
    m_primaryItems.push_back({rstring(IDS_NO_AUTHENTICATION), noAuthImage, 0});
  }

  // Selection: the primary credential of the edited combination, its secondary part preselected.
  const bool fSelect = record && record->Find(m_args.previousMask) >= 0;
  scope.Message("fSelect = %d", fSelect ? 1 : 0);
  if (IsEditing()) {
    for (size_t i = 0; i < m_primaryItems.size(); ++i) {
      const ULONGLONG data = m_primaryItems[i].data;
      if (data != 0 && Contains(m_args.previousMask, data)) {
        m_primarySel = static_cast<int>(i);
        const ULONGLONG rest = m_args.previousMask & ~data;
        if (rest != 0) m_initialSecondary = rest;
        break;
      }
    }
  }
  view.SetPrimaryItems(m_primaryItems, m_primarySel);
  InsertSecondaryTokens(true);
}

void CAuthPolicyAdd::OnPrimarySelChange(int index) {
  m_primarySel = index;
  InsertSecondaryTokens(false);
}

void CAuthPolicyAdd::InsertSecondaryTokens(bool initial) {
  CTraceScope scope("CAuthPolicyAdd::InsertSecondaryTokens");
  // The secondary credential to select again in the new list, if it is there.
  bool haveTarget = initial && m_initialSecondary.has_value();
  ULONGLONG target = haveTarget ? *m_initialSecondary : 0;
  if (!initial && m_secondarySel >= 0 && m_secondarySel < static_cast<int>(m_secondaryItems.size())) {
    haveTarget = true;
    target = m_secondaryItems[static_cast<size_t>(m_secondarySel)].data;
  }
  m_secondaryItems.clear();
  int preselected = -1;
  const bool havePrimary = m_primarySel >= 0 && m_primarySel < static_cast<int>(m_primaryItems.size());
  if (havePrimary) {
    const ULONGLONG P = m_primaryItems[static_cast<size_t>(m_primarySel)].data;
    if (haveTarget && target == P) haveTarget = false;
    const bool customMember = IsCustomMember(P);
    if (customMember) {
      scope.Message("0x%X is the member of custom policy", P);
    } else {
      scope.Message("0x%X", P);
    }
    const int iP = KnownIndex(P);
    const auto& tokens = m_args.secondary->tokens;
    for (size_t i = 0; i < tokens.size(); ++i) {
      const PageToken& token = tokens[i];
      const ULONGLONG S = token.mask;
      if (S == 0) continue;
      if ((S & P) != 0) {
        scope.Message("Skipping 0x%X", S);
        continue;
      }
      const int iS = KnownIndex(S);
      if (iP >= 0 && iS >= 0 && iP == iS) {  // both are parts of one registered token
        scope.Message("Skipping 0x%X, as combined with 0x%X", S, P);
        continue;
      }
      if (customMember) {
        const bool withCustom = std::any_of(m_args.custom->begin(), m_args.custom->end(),
                                            [&](ULONGLONG c) { return Contains(c, P) && (c & S) != 0; });
        if (!withCustom && (token.credType & plugins::kTokenPrimary) == 0) {
          scope.Message("Skipping 0x%X", S);
          continue;
        }
      }
      scope.Message("Inserting 0x%X", S);
      if (!HasName(token)) continue;
      if (initial) m_names.Add(S, token.name);
      if (haveTarget && target == S) preselected = static_cast<int>(m_secondaryItems.size());
      m_secondaryItems.push_back({token.name, m_secondaryImages[i], S});
      scope.Message("Done");
    }
    if (!m_secondaryItems.empty() && !(customMember && m_args.policyKind != 2)) {
      m_secondaryItems.insert(m_secondaryItems.begin(), {rstring(IDS_PRIMARY_ALONE), -1, 0});
      if (preselected >= 0) ++preselected;
    }
  }
  const bool changed = m_primarySel != m_lastPrimary;
  m_lastPrimary = m_primarySel;
  m_secondarySel = m_secondaryItems.empty() ? -1 : std::max(preselected, 0);
  m_view->SetSecondaryItems(m_secondaryItems, m_secondarySel);
  if (changed || initial) {
    m_view->ShowSecondary(!m_secondaryItems.empty());
    if (m_secondaryItems.empty()) scope.Message("m_iItemNoAuth, %d", static_cast<int>(m_secondaryItems.size()));
  }
  m_view->EnableOk(havePrimary);
}

bool CAuthPolicyAdd::CheckOverlaps(const policy::RoleSettings& record, ULONGLONG mask) {
  CTraceScope scope("CAuthPolicyAdd::OnCloseCmd IDOK");
  const ULONGLONG P = mask & m_args.primary->allMasks;
  const ULONGLONG S = mask & m_args.secondary->allMasks;
  std::vector<ULONGLONG> existingCredential, existingCombination;
  const auto& combinations = record.Combinations();
  for (size_t i = 0; i < combinations.size(); ++i) {
    const ULONGLONG E = combinations[i];
    ULONGLONG common = E & P;
    if (common == 0) common = E & S;
    if (common == 0) continue;
    scope.Message("0x%X found in 0x%X [%d]", common, E, static_cast<int>(i));
    if (IsEditing() && E == m_args.previousMask) {
      scope.Message("This is edited policy");
      continue;
    }
    if ((E & ~common) == 0) {  // every credential of E is in the new combination
      AppendOnce(existingCredential, E);
      scope.Message("Addding to the authpolicyExistingCredential");
    } else if ((mask & ~common) == 0) {  // the new combination is part of E
      AppendOnce(existingCombination, E);
      scope.Message("Addding to the authpolicyExistingCombination");
    }
  }
  const std::vector<ULONGLONG>* list = nullptr;
  UINT question = 0;
  if (!existingCredential.empty()) {
    scope.Message("Primary credential from the combination is already exists");
    list = &existingCredential;
    question = IDS_ASK_REPLACE_CREDENTIALS;
  } else if (!existingCombination.empty()) {
    scope.Message("Combination of primary credential including credential is already exists");
    list = &existingCombination;
    question = IDS_ASK_REPLACE_COMBINATIONS;
  }
  if (!list) return true;
  if (Ask(Format(rstring(question), m_names.PolicyToText(*list)), MB_YESNO | MB_ICONWARNING) != IDYES) return false;
  m_replaced = *list;
  return true;
}

void CAuthPolicyAdd::OnCloseCmd(int command) {
  if (command == IDCANCEL) {
    m_view->End(IDCANCEL);
    return;
  }
  if (command == ID_POLICY_DELETE) {
    CTraceScope scope("CAuthPolicyAdd::OnCloseCmd BT_DELETEPOLICY");
    m_view->End(ID_POLICY_DELETE);
    return;
  }
  if (command != IDOK) return;
  CTraceScope scope("CAuthPolicyAdd::OnCloseCmd IDOK");
  m_replaced.clear();
  if (m_primarySel < 0 || m_primarySel >= static_cast<int>(m_primaryItems.size())) return;
  m_role = m_args.role;
  if (m_roleChoice && m_roleSel >= 0 && m_roleSel < static_cast<int>(m_roleItems.size()))
    m_role = static_cast<DWORD>(m_roleItems[static_cast<size_t>(m_roleSel)].data);

  const ComboItem& primary = m_primaryItems[static_cast<size_t>(m_primarySel)];
  ULONGLONG mask = primary.data;
  std::u16string text = primary.text;
  if (m_secondarySel >= 0 && m_secondarySel < static_cast<int>(m_secondaryItems.size())) {
    const ComboItem& secondary = m_secondaryItems[static_cast<size_t>(m_secondarySel)];
    if (secondary.data != 0) {
      mask |= secondary.data;
      text += rstring(IDS_COMBINATION_JOINER) + secondary.text;
    }
  }
  const policy::RoleSettings* record = m_args.roles->Find(static_cast<std::int32_t>(m_role));
  if (record) {
    scope.Message("dw64Policy = 0x%X", mask);
    if (!(IsEditing() && mask == m_args.previousMask) && record->Find(mask) >= 0) {
      scope.Message("0x%X already exists", mask);
      Ask(Format(rstring(IDS_ERROR_DUPLICATE), text), MB_ICONERROR);
      return;
    }
    if (mask == 0) {
      scope.Message("No authentication selected");
      if (Ask(Format(rstring(IDS_ASK_NO_AUTHENTICATION), rstring(record->roleNameId)), MB_YESNO | MB_ICONWARNING) !=
          IDYES)
        return;
    }
    if (!CheckOverlaps(*record, mask)) return;
  }
  m_mask = mask;
  m_view->End(IDOK);
}

}  // namespace vx::pages

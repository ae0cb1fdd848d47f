#include "pages/auth_policy_editor.h"

#include <algorithm>

#include "pages/ole_date.h"
#include "pages/page_message.h"
#include "platform/format.h"
#include "support/check.h"
#include "support/error_text.h"
#include "support/trace.h"

namespace vx::pages {

using VXTraceNS::CTraceScope;

namespace {

std::u16string LinkMarkup(const std::u16string& text) { return Format(u"<a>%ls</a>", text); }

}  // namespace

CAuthPolicyEditor::CAuthPolicyEditor(AuthPolicyEditorArgs args, policy::CRoleSettingsTable roles)
    : m_args(std::move(args)), m_roles(std::move(roles)) {
  CTraceScope scope("CAuthPolicyEditorImpl::CAuthPolicyEditorImpl");
  if (m_args.policyKind == 2) {
    // Secondary-only credentials may stand alone in a runtime policy: the custom combinations.
    scope.Message("Adding secondary tokens for runtime policy");
    for (const PageToken& token : m_args.secondary.tokens) {
      if ((token.credType & 3) != plugins::kCredTypeSecondaryOnly) continue;
      const ULONGLONG mask = static_cast<DWORD>(token.mask);  // the custom list keeps 32-bit masks
      if (std::find(m_custom.begin(), m_custom.end(), mask) != m_custom.end()) continue;
      scope.Message("Adding 0x%X to the custom", mask);
      m_custom.push_back(mask);
    }
  }
  m_infoTip = rstring(IDS_LIST_TIP);
  m_addLinkText = rstring(IDS_ADD_LINK);
}

int CAuthPolicyEditor::Ask(UINT text, UINT type) {
  return ShowPageMessage(m_view->Owner(), rstring(text), type);
}

void CAuthPolicyEditor::OnInitDialog(IAuthPolicyEditorView& view) {
  CTraceScope scope("CAuthPolicyEditorImpl::OnInitDialog");
  m_view = &view;
  m_imgJoiner = view.AddIcon(IDI_JOINER);
  m_imgDelete = view.AddIcon(IDI_DELETE);
  m_imgDeleteHot = view.AddIcon(IDI_DELETE_HOT);
  m_imgNoAuth = view.AddIcon(IDI_NO_AUTHENTICATION);
  InsertRoleGroups();
  const TokenCatalogue* catalogues[] = {&m_args.primary, &m_args.secondary};
  for (int pass = 0; pass < 2; ++pass) m_tokenImages[pass].assign(catalogues[pass]->tokens.size(), kNoImageYet);
  Fill();
  view.SetTitle(rstring(m_args.policyKind == 1 ? IDS_PAGE_TITLE : IDS_PAGE_TITLE_RUNTIME));
  if (m_args.policyKind == 1 && !IsGpoEditor() && !LeavesOutRoleGroups()) view.ShowEnforcementLink(true);
  view.SetAddLink(LinkMarkup(m_addLinkText));
}

// ---- the list

// A token's image is made when a row first shows the token: with many credentials registered,
// most are in no combination.
int CAuthPolicyEditor::TokenImage(int pass, size_t position) {
  int& image = m_tokenImages[pass][position];
  if (image == kNoImageYet) image = m_view->AddTokenIcon((pass == 0 ? m_args.primary : m_args.secondary).tokens[position]);
  return image;
}

void CAuthPolicyEditor::InsertRoleGroups() {
  if (LeavesOutRoleGroups()) return;
  CTraceScope scope("CAuthPolicyEditorImpl::InsertRoleGroupItem");
  for (const policy::RoleSettings& record : m_roles.Records()) {
    if (GroupOfRole(record.roleId) != 0) continue;
    const int groupId = static_cast<int>(m_groups.size()) + 1;
    if (!m_view->InsertGroup(groupId, rstring(record.roleNameId))) {
      scope.Result(E_FAIL, "InsertGroup");
      continue;
    }
    m_groups.push_back({record.roleId, groupId});
  }
}

std::int32_t CAuthPolicyEditor::RoleOfGroup(int groupId) const {
  for (const Group& group : m_groups)
    if (group.groupId == groupId) return group.role;
  return 0;
}

int CAuthPolicyEditor::GroupOfRole(std::int32_t role) const {
  for (const Group& group : m_groups)
    if (group.role == role) return group.groupId;
  return 0;
}

int CAuthPolicyEditor::InsertRow(const ListRow& row) {
  const int index = m_view->InsertRow(row);
  if (index >= 0)
    m_rows.insert(m_rows.begin() + std::min<size_t>(static_cast<size_t>(index), m_rows.size()),
                  Row{row.data, row.groupId, -1});
  return index;
}

void CAuthPolicyEditor::Fill() {
  CTraceScope scope("CAuthPolicyEditorImpl::OnUpdateView");
  m_view->SetRedraw(false);
  if (!m_view->DeleteAllRows()) {
    m_view->SetRedraw(true);
    return;
  }
  m_rows.clear();
  m_groups.clear();
  m_view->RemoveAllGroups();
  InsertRoleGroups();
  for (const policy::RoleSettings& record : m_roles.Records())
    InsertPolicy(GroupOfRole(record.roleId), record.Combinations());
  m_view->EnableGroupView(!m_groups.empty());
  m_view->SetRedraw(true);
  m_view->AutoSizeColumns();
  UpdateEnforcementLink();
}

void CAuthPolicyEditor::InsertPolicy(int groupId, const std::vector<ULONGLONG>& combinations) {
  CTraceScope scope("CAuthPolicyEditorImpl::InsertPolicy");
  std::vector<ULONGLONG> work(combinations);
  const int indent = ShowsGroups() ? 1 : 0;
  const int group = groupId > 0 ? groupId : 0;
  if (m_args.policyKind == 2 && std::find(work.begin(), work.end(), 0) != work.end()) {
    scope.Message("No authentication policy");
    if (IsGpoEditor()) {
      scope.Message("This is GPO editor");
      return;
    }
    InsertRow({rstring(IDS_NO_AUTHENTICATION), m_imgNoAuth, 0, indent, group});
    return;
  }
  const TokenCatalogue* catalogues[] = {&m_args.primary, &m_args.secondary};
  for (size_t n = combinations.size(); n > 0 && !work.empty(); --n) {
    int chosen = -1;
    ULONGLONG full = 0;
    int row = -1;
    for (int pass = 0; pass < 2; ++pass) {
      const auto& tokens = catalogues[pass]->tokens;
      for (size_t position = 0; position < tokens.size(); ++position) {
        const ULONGLONG T = tokens[position].mask;
        if (chosen < 0) {
          // The combination to show next: the token alone, else the token with some secondary
          // token, else any combination holding the token.
          auto find = [&](auto&& holds) {
            const auto it = std::find_if(work.begin(), work.end(), holds);
            return it == work.end() ? -1 : static_cast<int>(it - work.begin());
          };
          chosen = find([&](ULONGLONG w) { return w == T; });
          for (size_t s = 0; chosen < 0 && s < m_args.secondary.tokens.size(); ++s) {
            const ULONGLONG both = T | m_args.secondary.tokens[s].mask;
            chosen = find([&](ULONGLONG w) { return (w & both) == both; });
          }
          if (chosen < 0) chosen = find([&](ULONGLONG w) { return T != 0 && (w & T) == T; });
          if (chosen < 0) continue;
          full = work[static_cast<size_t>(chosen)];
          scope.Message("Starting with 0x%X", full);
        }
        ULONGLONG& mask = work[static_cast<size_t>(chosen)];
        if ((mask & T) == 0) continue;
        scope.Message("Inserting %ls 0x%I64X", pass == 0 ? u"primary token" : u"secondary token", T);
        const std::u16string& name = tokens[position].name;
        const int image = TokenImage(pass, position);
        bool inserted = false;
        if (row < 0) {
          row = InsertRow({name, image, full, indent, group});
          inserted = row >= 0;
        } else {
          inserted = m_view->SetSubItem(row, 1, u"", m_imgJoiner) && m_view->SetSubItem(row, 2, name, image);
        }
        if (inserted) {
          mask &= ~T;
        } else {
          scope.Result(E_UNEXPECTED, "Failed to insert token");
        }
      }
    }
    if (chosen < 0) chosen = 0;  // no token of it at all: nothing to show
    const ULONGLONG leftover = work[static_cast<size_t>(chosen)];
    if (leftover != 0) {
      scope.Message("Done with 0x%X leftover", leftover);
    } else {
      scope.Message("Done");
    }
    work.erase(work.begin() + chosen);
  }
}

void CAuthPolicyEditor::UpdateEnforcementLink() {
  const policy::RoleSettings* first = m_roles.Records().empty() ? nullptr : &m_roles.Records().front();
  std::u16string text = rstring(IDS_ENFORCEMENT_NOW);
  double now = 0;
  if (first && first->enforcementDate.IsValid() && m_args.clock && ToValidOleDate(m_args.clock->GetLocalTime(), now) &&
      CompareOleDates(first->enforcementDate.value, now) > 0)
    text = Format(rstring(IDS_ENFORCEMENT_FROM_DATE), m_view->FormatDateTime(first->enforcementDate.value));
  m_view->SetEnforcementLink(LinkMarkup(text));
}

void CAuthPolicyEditor::OnEnforcementLinkClicked() {
  CTraceScope scope("CAuthPolicyEditorImpl::OnEnforcementLinkClicked");
  if (IsReadOnly() || m_roles.Records().empty() || !m_args.clock) return;
  policy::RoleSettings& first = *m_roles.Find(m_roles.Records().front().roleId);
  CAuthPolicyAdvanced dialog(first.enforcementDate, first.enforcementMode, *m_args.clock);
  if (m_view->RunEnforcementDialog(dialog) != IDOK) return;
  // Once per role record, and each time into the first one: the other roles keep their settings.
  for (size_t i = 0; i < m_roles.Size(); ++i) {
    first.enforcementDate = dialog.Date();
    first.enforcementMode = dialog.Mode();
  }
  scope.Message("%ls", GetEnumValueName(static_cast<DWORD>(first.enforcementMode)).c_str());
  UpdateEnforcementLink();
  SetModified(true);
}

// ---- add, edit, delete

void CAuthPolicyEditor::OnPoliciesLinkClicked(int groupId) { RunAddDialog(RoleOfGroup(groupId), -1); }

void CAuthPolicyEditor::EditPolicyItem(int row) {
  if (row < 0 || row >= static_cast<int>(m_rows.size())) return;
  RunAddDialog(RoleOfGroup(m_rows[static_cast<size_t>(row)].groupId), row);
}

void CAuthPolicyEditor::RunAddDialog(std::int32_t role, int row) {
  CTraceScope scope(row < 0 ? "CAuthPolicyEditorImpl::OnPoliciesLinkClicked" : "CAuthPolicyEditorImpl::EditPolicyItem");
  const bool editing = row >= 0;
  const ULONGLONG previous = editing ? m_rows[static_cast<size_t>(row)].data : 0;
  if (editing) scope.Message("Editing 0x%X for %d role", previous, role);
  AuthPolicyAddArgs args;
  args.policyKind = static_cast<DWORD>(m_args.policyKind);
  args.role = static_cast<DWORD>(role);
  args.roles = &m_roles;
  args.primary = &m_args.primary;
  args.secondary = &m_args.secondary;
  args.custom = &m_custom;
  args.previousMask = previous;
  args.gpoEditor = IsGpoEditor();
  if (m_args.registry && m_args.factory) args.knownMasks = KnownMasks(*m_args.registry, *m_args.factory);
  CAuthPolicyAdd dialog(std::move(args));
  const int code = m_view->RunAddDialog(dialog);
  if (code == ID_POLICY_DELETE && editing) DeletePolicyItem(row);
  if (code != IDOK) return;

  const ULONGLONG mask = dialog.Policy();
  scope.Message("GetUserRole() = %d, GetPolicy() = 0x%X", dialog.UserRole(), mask);
  policy::RoleSettings* record = m_roles.Find(static_cast<std::int32_t>(dialog.UserRole()));
  if ((editing && mask == previous) || !record) return;
  if (mask != 0) {
    record->Remove(0);
  } else {
    scope.Message("No authentication added");
    record->RemoveAll();
  }
  if (editing) record->Remove(previous);
  for (ULONGLONG replaced : dialog.Replaced()) {
    // The second text's spelling is what trace readers search for.
    scope.Message(editing ? "Removing invalid crdential: 0x%X" : "Removing invalid credential: 0x%X", replaced);
    record->Remove(replaced);
  }
  record->Add(mask);
  for (size_t i = 0; i < record->Combinations().size(); ++i)
    scope.Message("_TRACE_POLICY rauthpolicysetting.authpolicy[%d] = 0x%X", static_cast<int>(i),
                  record->Combinations()[i]);
  Fill();
  const int group = GroupOfRole(record->roleId);
  for (size_t i = 0; i < m_rows.size(); ++i) {
    if (m_rows[i].groupId == group && m_rows[i].data == mask) {
      m_view->SelectRow(static_cast<int>(i));
      break;
    }
  }
  SetModified(true);
}

void CAuthPolicyEditor::DeletePolicyItem(int row) {
  CTraceScope scope("CAuthPolicyEditorImpl::DeletePolicyItem");
  if (row < 0 || row >= static_cast<int>(m_rows.size())) return;
  const std::int32_t role = RoleOfGroup(m_rows[static_cast<size_t>(row)].groupId);
  policy::RoleSettings* record = m_roles.Find(role);
  if (!record) return;
  if (record->Combinations().size() == 1) {  // a role's list never becomes empty by deletion
    Ask(IDS_ERROR_LAST_COMBINATION, MB_ICONERROR);
    return;
  }
  if (Ask(IDS_ASK_DELETE, MB_YESNO | MB_ICONQUESTION) != IDYES) return;
  const ULONGLONG mask = m_rows[static_cast<size_t>(row)].data;
  scope.Message("Removing 0x%X for %d role", mask, role);
  record->Remove(mask);
  m_view->DeleteRow(row);
  m_rows.erase(m_rows.begin() + row);
  if (row < static_cast<int>(m_rows.size())) m_view->SelectRow(row);
  for (size_t i = 0; i < record->Combinations().size(); ++i)
    scope.Message("_TRACE_POLICY rauthpolicy[%d] = 0x%X", static_cast<int>(i), record->Combinations()[i]);
  m_view->AutoSizeColumns();
  SetModified(true);
}

// ---- the list's events

void CAuthPolicyEditor::OnKeyDown(UINT key) {
  CTraceScope scope("CPoliciesCtrl::OnKeyDown");
  switch (key) {
    case kVkDelete:
      scope.Message("VK_DELETE");
      if (m_view->SelectedRow() >= 0) OnCommand(ID_POLICY_DELETE);
      [[fallthrough]];  // the row now in the deleted one's place (or the same row) is opened
    case kVkSpace:
      scope.Message("VK_SPACE");
      if (m_view->SelectedRow() >= 0) OnCommand(ID_POLICY_EDIT);
      break;
    case kVkApps:
      if (const int row = m_view->SelectedRow(); row >= 0) OnRClick(row, m_view->CursorInList());
      break;
    default:
      break;
  }
}

int CAuthPolicyEditor::ItemHitTestDeleteIcon(Point point) {
  const ListHit hit = m_view->SubItemHitTest(point);
  if (hit.row < 0 || hit.row >= static_cast<int>(m_rows.size()) || (hit.flags & kHitOnItemIcon) == 0 ||
      hit.subItem != 3)
    return -1;
  CTraceScope scope("CAuthPolicyEditorImpl::ItemHitTestDeleteIcon");
  scope.Message("Delete hit");
  return hit.row;
}

void CAuthPolicyEditor::OnClick(Point point) {
  if (IsReadOnly()) return;
  if (const int row = ItemHitTestDeleteIcon(point); row >= 0) {
    DeletePolicyItem(row);
    return;
  }
  const ListHit hit = m_view->HitTest(point);
  if (hit.row >= 0 && (hit.flags & kHitOnItem) != 0) EditPolicyItem(hit.row);
}

void CAuthPolicyEditor::OnRClick(int row, Point point) {
  if (IsReadOnly()) return;
  m_lastRClick = point;
  static constexpr UINT kOnRow[] = {ID_POLICY_EDIT, ID_POLICY_DELETE, ID_POLICY_ADD};
  static constexpr UINT kOnSpace[] = {ID_POLICY_ADD};
  if (row >= 0 && row < static_cast<int>(m_rows.size())) {
    m_view->ShowContextMenu(kOnRow, true, point);
  } else {
    m_view->ShowContextMenu(kOnSpace, false, point);
  }
}

void CAuthPolicyEditor::OnCommand(UINT command) {
  switch (command) {
    case ID_POLICY_EDIT:
      EditPolicyItem(m_view->SelectedRow());
      break;
    case ID_POLICY_DELETE:
      DeletePolicyItem(m_view->SelectedRow());
      break;
    case ID_POLICY_ADD: {
      int group = 0;
      if (ShowsGroups()) {
        const ListHit hit = m_view->HitTest(m_lastRClick);
        if (hit.row >= 0 && hit.row < static_cast<int>(m_rows.size()))
          group = m_rows[static_cast<size_t>(hit.row)].groupId;
      }
      OnPoliciesLinkClicked(group);
      break;
    }
    default:
      break;
  }
}

void CAuthPolicyEditor::SetDeleteIcon(int row, bool visible, bool hot) {
  if (row < 0 || row >= static_cast<int>(m_rows.size())) return;
  const int image = visible ? (hot ? m_imgDeleteHot : m_imgDelete) : -1;
  Row& target = m_rows[static_cast<size_t>(row)];
  if (target.deleteImage == image) return;
  target.deleteImage = image;
  m_view->SetSubItemImage(row, 3, image);
}

void CAuthPolicyEditor::RefreshDeleteIcon(int row) {
  if (row < 0) return;
  SetDeleteIcon(row, true, ItemHitTestDeleteIcon(m_view->CursorInList()) == row);
}

void CAuthPolicyEditor::OnHotTrack(int hotRow, Point cursor) {
  if (IsReadOnly()) return;
  if (hotRow < 0 || hotRow >= static_cast<int>(m_rows.size())) {
    RefreshDeleteIcon(m_view->SelectedRow());
    return;
  }
  Rect bounds = m_view->RowBounds(hotRow);
  bounds.left += m_view->IconWidth();  // over the row's own icon nothing happens
  if (!bounds.Contains(cursor)) return;
  SetDeleteIcon(hotRow, true, ItemHitTestDeleteIcon(cursor) == hotRow);
  if (m_view->SelectedRow() != hotRow) m_view->SelectRow(hotRow);  // hovering selects
}

bool CAuthPolicyEditor::OnItemChanging(int row, UINT oldState, UINT newState) {
  if (IsReadOnly()) return ((newState & ~oldState) & (kStateSelected | kStateFocused)) == 0;
  if ((oldState & kStateSelected) != 0 && (newState & kStateSelected) == 0) SetDeleteIcon(row, false, false);
  return true;
}

void CAuthPolicyEditor::OnItemChanged(int row, UINT oldState, UINT newState) {
  if (IsReadOnly()) return;
  if ((oldState & kStateSelected) == 0 && (newState & kStateSelected) != 0) RefreshDeleteIcon(row);
}

void CAuthPolicyEditor::OnListSetFocus() { m_view->RedrawList(); }

void CAuthPolicyEditor::OnSetCursorOutsideItems() { RefreshDeleteIcon(m_view->SelectedRow()); }

}  // namespace vx::pages

#include "pages/auth_policy_advanced.h"

#include "pages/ole_date.h"
#include "support/error_text.h"
#include "support/trace.h"

namespace vx::pages {

using VXTraceNS::CTraceScope;

namespace {

struct ModeRow {
  policy::VX_ENFORCEPOLICY mode;
  UINT text;
};

constexpr ModeRow kModes[] = {
    {policy::VX_ENFORCEPOLICY_UNCONFIGURED, IDS_ENFORCEMENT_UNCONFIGURED},
    {policy::VX_ENFORCEPOLICY_IMMEDIATELY, IDS_ENFORCEMENT_IMMEDIATELY},
    {policy::VX_ENFORCEPOLICY_SPECIFICDATE, IDS_ENFORCEMENT_SPECIFIC_DATE},
};

constexpr double kWeek = 7.0;

}  // namespace

CAuthPolicyAdvanced::CAuthPolicyAdvanced(policy::OleDate date, policy::VX_ENFORCEPOLICY mode, platform::IClock& clock)
    : m_date(date), m_mode(mode), m_clock(clock) {
  CTraceScope scope("CAuthPolicyAdvanced::CAuthPolicyAdvanced");
}

void CAuthPolicyAdvanced::OnInitDialog(IAuthPolicyAdvancedView& view) {
  m_view = &view;
  int selected = -1;
  for (const ModeRow& row : kModes) {
    if (row.mode == m_mode) selected = static_cast<int>(m_choices.size());
    m_choices.push_back({rstring(row.text), -1, static_cast<ULONGLONG>(row.mode)});
  }
  view.SetChoices(m_choices, selected);
  view.SetEarliestTime(m_clock.GetLocalTime());
  SYSTEMTIME stored{};
  if (m_date.IsValid() && OleDateToSystemTime(m_date.value, stored)) view.SetPickedTime(stored);
  ShowSpecificDateControls();
}

policy::VX_ENFORCEPOLICY CAuthPolicyAdvanced::SelectedMode() {
  const int index = m_view->SelectedChoice();
  if (index < 0 || index >= static_cast<int>(m_choices.size())) return m_mode;
  return static_cast<policy::VX_ENFORCEPOLICY>(m_choices[static_cast<size_t>(index)].data);
}

void CAuthPolicyAdvanced::OnEnforcePolicySelChange() {
  if (SelectedMode() == policy::VX_ENFORCEPOLICY_SPECIFICDATE) {
    SYSTEMTIME picked{};
    double pickedDate = 0, now = 0;
    // A date in the past is moved a week ahead of now.
    if (m_view->PickedTime(picked) && ToValidOleDate(picked, pickedDate) &&
        ToValidOleDate(m_clock.GetLocalTime(), now) && CompareOleDates(now, pickedDate) > 0) {
      SYSTEMTIME ahead{};
      if (OleDateToSystemTime(LinearToOleDate(OleDateToLinear(now) + kWeek), ahead)) m_view->SetPickedTime(ahead);
    }
  }
  ShowSpecificDateControls();
}

void CAuthPolicyAdvanced::ShowSpecificDateControls() {
  const bool specific = SelectedMode() == policy::VX_ENFORCEPOLICY_SPECIFICDATE;
  m_view->ShowDateControls(specific);
  m_view->SetTimeBases({{rstring(IDS_ENFORCEMENT_LOCAL_TIME), -1, 0}}, specific ? 0 : -1);
}

void CAuthPolicyAdvanced::OnCloseCmd(int id) {
  if (id == IDOK) {
    CTraceScope scope("CAuthPolicyAdvanced::OnCloseCmd IDOK");
    const policy::VX_ENFORCEPOLICY mode = SelectedMode();
    scope.Message("%d", static_cast<int>(mode));
    if (mode == policy::VX_ENFORCEPOLICY_IMMEDIATELY) {
      m_date = {0.0, policy::OleDate::valid};
    } else if (mode == policy::VX_ENFORCEPOLICY_SPECIFICDATE) {
      SYSTEMTIME picked{};
      if (m_view->PickedTime(picked)) {
        double date = 0;
        m_date.status = ToValidOleDate(picked, date) ? policy::OleDate::valid : policy::OleDate::invalid;
        if (m_date.IsValid()) m_date.value = date;
      }
    }
    m_mode = mode;
    scope.Message("%d", static_cast<int>(m_mode));
  }
  m_view->End(id);
}

}  // namespace vx::pages

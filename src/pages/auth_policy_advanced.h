// CAuthPolicyAdvanced: the enforcement dialog of the authentication policy page. It sets when an
// edited policy is enforced (not configured, immediately, or from a date and time) on a copy of the
// first role record's settings; the page writes the copy back after OK. Its window only forwards the
// dialog's messages and carries out the view calls.
#pragma once

#include <string>
#include <vector>

#include "pages/page_types.h"
#include "platform/clock.h"
#include "policy/policy_settings.h"

namespace vx::pages {

class IAuthPolicyAdvancedView {
 public:
  virtual ~IAuthPolicyAdvancedView() = default;
  virtual HWND Owner() = 0;
  virtual void SetChoices(const std::vector<ComboItem>& items, int selected) = 0;
  virtual int SelectedChoice() = 0;  // -1: none
  // The date and time pickers: the earliest selectable time, the time shown, the time picked (false
  // when the pickers hold none).
  virtual void SetEarliestTime(const SYSTEMTIME& time) = 0;
  virtual void SetPickedTime(const SYSTEMTIME& time) = 0;
  virtual bool PickedTime(SYSTEMTIME& time) = 0;
  virtual void ShowDateControls(bool visible) = 0;
  // The second drop-down: how the picked time is read, chosen only for a specific date.
  virtual void SetTimeBases(const std::vector<ComboItem>& items, int selected) = 0;
  virtual void End(int code) = 0;
};

class CAuthPolicyAdvanced {
 public:
  CAuthPolicyAdvanced(policy::OleDate date, policy::VX_ENFORCEPOLICY mode, platform::IClock& clock);

  void OnInitDialog(IAuthPolicyAdvancedView& view);
  void OnEnforcePolicySelChange();
  void OnCloseCmd(int id);

  policy::OleDate Date() const { return m_date; }
  policy::VX_ENFORCEPOLICY Mode() const { return m_mode; }

 private:
  policy::VX_ENFORCEPOLICY SelectedMode();
  void ShowSpecificDateControls();

  policy::OleDate m_date;
  policy::VX_ENFORCEPOLICY m_mode;
  platform::IClock& m_clock;
  IAuthPolicyAdvancedView* m_view = nullptr;
  std::vector<ComboItem> m_choices;
};

}  // namespace vx::pages

// CEnrollmentPolicyPage: the property page of the enrollment policy item. A check-box list of the
// credential tokens: the ticked ones stay allowed for enrollment, the others are disabled; the GPO
// stores the complement, the mask of the disabled credentials. Apply warns when the logon or runtime
// policy of the same section holds a combination made only of disabled credentials, then saves.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "pages/page_tokens.h"
#include "pages/page_types.h"
#include "snapin/node_tree.h"

namespace vx::pages {

class IEnrollmentPageView {
 public:
  virtual ~IEnrollmentPageView() = default;
  virtual HWND Owner() = 0;
  virtual int AddTokenIcon(const PageToken& token) = 0;
  virtual void SetPrompt(const std::u16string& text) = 0;
  // Appends a row with its check box; the row's data is the token's mask.
  virtual void AppendItem(const std::u16string& text, int image, ULONGLONG mask, bool ticked) = 0;
  virtual void SetTicked(int row, bool ticked) = 0;
  virtual ListHit HitTest(Point point) = 0;
  virtual void CheckStateRadio(UINT id) = 0;
  virtual void EnableControls(bool enabled) = 0;  // the radios and the list
  virtual void SetModified(bool modified) = 0;
  virtual void NotifyConsole() = 0;
  virtual void Broadcast(std::uintptr_t wParam, std::intptr_t lParam) = 0;
};

// The check-box image of a list item state: 0 none, 1 unticked, 2 ticked.
inline constexpr UINT kStateImageMask = 0xF000;
inline constexpr UINT CheckImage(UINT state) { return (state & kStateImageMask) >> 12; }
inline constexpr UINT CheckState(bool ticked) { return (ticked ? 2u : 1u) << 12; }

// The radio button that shows the page's working list and the stored disabled flag.
UINT GetEnrollmentSettingState(const std::vector<ULONGLONG>& working, bool disabled);

class CEnrollmentPolicyPage {
 public:
  CEnrollmentPolicyPage(std::shared_ptr<snapin::CEnrollmentPolicyNode> node,
                        std::shared_ptr<snapin::IGpoInformationSource> source);

  void OnInitDialog(IEnrollmentPageView& view);
  void OnStateRadio(UINT id);
  // Before a list item's state changes: false refuses the change.
  bool OnItemChanging(int row, UINT oldState, UINT newState) const;
  // After it changed: a tick or untick edits the working mask.
  void OnTokensItemChanged(int row, UINT oldState, UINT newState);
  // A click on a row, not on its check box, toggles the check box while the policy is enabled.
  void OnClick(Point point);
  // True when the sheet may close; false keeps the page open and modified.
  bool OnApply();

  UINT CheckedState() const { return m_state; }
  bool IsModified() const { return m_bChanged; }
  bool IsRsopMode() const { return m_node->IsRsopMode(); }
  // The masks being edited: empty, or the mask of the credentials that stay allowed.
  const std::vector<ULONGLONG>& WorkingList() const { return m_working; }

 private:
  struct Row {
    ULONGLONG mask = 0;
    bool ticked = false;
  };
  bool IsEditable() const { return !IsRsopMode() && m_state == IDC_ENABLED; }
  void SetModified(bool modified);
  void WarnAboutPolicy(policy::IGpoInformation& information, const char16_t* settingName, UINT nameId,
                       const policy::CGPOAuthPolicy& enrollment, const plugins::DisplayNameMap& names);

  std::shared_ptr<snapin::CEnrollmentPolicyNode> m_node;
  std::shared_ptr<snapin::IGpoInformationSource> m_source;
  TokenCatalogue m_catalogue;
  IEnrollmentPageView* m_view = nullptr;
  std::vector<ULONGLONG> m_working;
  std::vector<Row> m_rows;
  UINT m_state = IDC_NOT_CONFIGURED;
  bool m_bChanged = false;
  bool m_filling = false;  // the list is being filled: its notifications are not edits
};

// wParam of the broadcast after the enrollment policy was applied (lParam 0).
inline constexpr std::uintptr_t kBroadcastEnrollment = 4;

}  // namespace vx::pages

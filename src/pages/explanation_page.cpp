#include "pages/explanation_page.h"

#include "policy/policy_settings.h"
#include "support/error_text.h"
#include "support/trace.h"

namespace vx::pages {

UINT ExplanationTextId(std::u16string_view settingName) {
  if (settingName == policy::kLogonPolicy) return IDS_EXPLAIN_LOGON;
  if (settingName == policy::kRuntimePolicy) return IDS_EXPLAIN_RUNTIME;
  if (settingName == policy::kKioskRuntimePolicy) return IDS_EXPLAIN_KIOSK_RUNTIME;
  if (settingName == policy::GPO_DisableCredentials) return IDS_EXPLAIN_ENROLLMENT;
  return 0;
}

void CExplanationPage::OnInitDialog(IExplanationPageView& view) {
  VXTraceNS::CTraceScope scope("CExplanationPage::OnInitDialog");
  view.SetHeading(m_displayName);
  const UINT text = ExplanationTextId(m_settingName);
  view.SetExplanation(text != 0 ? rstring(text) : std::u16string());
}

}  // namespace vx::pages

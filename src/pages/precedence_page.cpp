#include "pages/precedence_page.h"

#include <algorithm>

#include "support/error_text.h"
#include "support/trace.h"

namespace vx::pages {

void CPrecedencePolicyPage::OnInitDialog(IPrecedencePageView& view) {
  VXTraceNS::CTraceScope scope("CPrecedencePolicyPage::OnInitDialog");
  view.SetHeading(rstring(IDS_PRECEDENCE_HEADING));
  view.SetColumn(rstring(IDS_PRECEDENCE_COLUMN));
  std::vector<rsop::RsopPrecedenceItem> items = m_entry.precedenceList;
  std::stable_sort(items.begin(), items.end(),
                   [](const auto& a, const auto& b) { return a.precedence < b.precedence; });
  std::vector<std::u16string> names;
  for (const rsop::RsopPrecedenceItem& item : items) names.push_back(item.gpoName);
  view.SetGpos(names);
}

}  // namespace vx::pages

// CPrecedencePolicyPage: the read-only RSoP page that lists the Group Policy Objects that set an
// item's policy value, the winning one (precedence 1) first, by name (or GPO id where no name was
// found).
#pragma once

#include <string>
#include <vector>

#include "pages/page_types.h"
#include "rsop/rsop_data.h"

namespace vx::pages {

class IPrecedencePageView {
 public:
  virtual ~IPrecedencePageView() = default;
  virtual void SetHeading(const std::u16string& text) = 0;
  virtual void SetColumn(const std::u16string& title) = 0;
  virtual void SetGpos(const std::vector<std::u16string>& names) = 0;  // top to bottom
};

class CPrecedencePolicyPage {
 public:
  explicit CPrecedencePolicyPage(rsop::RsopPolicyEntry entry) : m_entry(std::move(entry)) {}
  void OnInitDialog(IPrecedencePageView& view);

 private:
  rsop::RsopPolicyEntry m_entry;
};

}  // namespace vx::pages

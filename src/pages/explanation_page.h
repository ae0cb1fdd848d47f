// CExplanationPage: the read-only page that names a setting and explains it to the administrator:
// what it controls and what Enabled, Disabled and Not configured mean for users.
#pragma once

#include <string>

#include "pages/page_types.h"

namespace vx::pages {

// The explanation of a stored setting ("LogonPolicy", "RuntimePolicy", "KioskRuntimePolicy",
// "DisableCredentials") as a language resource text; 0 for another name.
UINT ExplanationTextId(std::u16string_view settingName);

class IExplanationPageView {
 public:
  virtual ~IExplanationPageView() = default;
  virtual void SetHeading(const std::u16string& text) = 0;
  virtual void SetExplanation(const std::u16string& text) = 0;
};

class CExplanationPage {
 public:
  CExplanationPage(std::u16string settingDisplayName, std::u16string settingName)
      : m_displayName(std::move(settingDisplayName)), m_settingName(std::move(settingName)) {}
  void OnInitDialog(IExplanationPageView& view);

 private:
  std::u16string m_displayName, m_settingName;
};

}  // namespace vx::pages

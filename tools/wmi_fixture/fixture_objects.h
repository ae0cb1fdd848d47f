// The settings of a fixture file as the RSoP registry policy objects of two namespaces, one per section.
#pragma once

#include <string>
#include <vector>

#include "fixture_file.h"
#include "wmi_fixture.h"

namespace vx::wmifixture {

// The application key every setting is reported under.
inline constexpr wchar_t kApplicationKey[] =
    L"Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";

// registryKey (the application key), valueName, valueType 7, value (the REG_MULTI_SZ image of the masks
// as a byte array), deleted, GPOID (the GPO text), precedence.
FixtureObject SettingObject(const FixtureSetting& setting);

// The machine settings in the machine namespace and the user settings in the user one (namespaces
// compared ignoring case), each in file order.
class SettingsSource final : public IFixtureSource {
 public:
  SettingsSource(std::wstring machineNamespace, std::wstring userNamespace, std::vector<FixtureSetting> settings)
      : m_machineNamespace(std::move(machineNamespace)),
        m_userNamespace(std::move(userNamespace)),
        m_settings(std::move(settings)) {}

  bool Objects(const std::wstring& ns, std::vector<FixtureObject>& out) override;
  const std::vector<FixtureSetting>& Settings() const { return m_settings; }

 private:
  std::wstring m_machineNamespace;
  std::wstring m_userNamespace;
  std::vector<FixtureSetting> m_settings;
};

}  // namespace vx::wmifixture

// The host as the RSoP console: the node types of its two Software Settings roots, the IRSOPInformation
// their data objects offer, and the platform's WMI locator served in-process from a fixture file (the
// format is described in tools/wmi_fixture/fixture_file.h), since no RSoP provider runs here.
#pragma once

#include <windows.h>

#include <cstddef>
#include <memory>
#include <string>

#include <prsht.h>
#include <gpedit.h>
#include <wrl/client.h>

namespace vx::wmifixture {
class SettingsSource;
}

namespace vx::console {

// The RSoP console's Software Settings node types, computer and user.
inline constexpr GUID kRsopMachineNodeType = {
    0x6a76273e, 0xeb8e, 0x45db, {0x94, 0xc5, 0x25, 0x66, 0x3a, 0x5f, 0x2c, 0x1a}};
inline constexpr GUID kRsopUserNodeType = {
    0xe52c5ce3, 0xfd27, 0x4402, {0x84, 0xde, 0xd9, 0xa5, 0xf2, 0x85, 0x89, 0x10}};
// IID_IRSOPInformation: gpedit.h declares it, but no import library defines it.
inline constexpr IID kIidRsopInformation = {
    0x9a5a81b5, 0xd9c7, 0x49ef, {0x9d, 0x11, 0xdd, 0xf5, 0x09, 0x68, 0xc4, 0x8d}};

// The namespaces GetNamespace gives for GPO_SECTION_MACHINE and GPO_SECTION_USER.
inline constexpr wchar_t kRsopMachineNamespace[] = L"\\\\.\\root\\rsop\\vxconsole\\computer";
inline constexpr wchar_t kRsopUserNamespace[] = L"\\\\.\\root\\rsop\\vxconsole\\user";

// Owns the settings of a fixture file and serves them as the RSoP session of this process. Used on
// one apartment-threaded COM thread, and destroyed there before COM is uninitialised.
class RsopFixture final {
 public:
  RsopFixture();
  ~RsopFixture();  // revokes the locator class
  RsopFixture(const RsopFixture&) = delete;
  RsopFixture& operator=(const RsopFixture&) = delete;

  // Reads the fixture file (it is never written). On failure error says what is wrong and where, as
  // "<path>: line 3: unknown section 'computer' (machine or user)", and the settings stay as they were:
  // ERROR_INVALID_DATA for a wrong file, the system's error when it cannot be read, E_UNEXPECTED while
  // registered.
  HRESULT Load(const std::wstring& path, std::wstring& error);

  // Registers the locator class object for CLSID_WbemLocator (in-process, multiple use) in this apartment,
  // so that the snap-in's CoCreateInstance finds the fixture instead of the platform's WMI. S_FALSE when
  // already registered.
  HRESULT Register();
  // Withdraws the class object; later locators are the platform's again. Objects already handed out keep
  // working on the settings they were made from.
  void Revoke();
  bool Registered() const { return m_cookie != 0; }

  // The RSoP console's information object for both roots (GetNamespace of the machine or user section,
  // GetFlags 0); it lives at least as long as the fixture.
  IRSOPInformation* Information() const { return m_information.Get(); }

  size_t SettingCount() const;

 private:
  std::shared_ptr<wmifixture::SettingsSource> m_source;
  Microsoft::WRL::ComPtr<IRSOPInformation> m_information;
  DWORD m_cookie = 0;
};

}  // namespace vx::console

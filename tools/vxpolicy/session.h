// What one run of vxpolicy works with: the credential catalogue as the pages' code sees it, the
// pages' message boxes and texts answered by the tool, and how settings and masks are named.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalogue.h"
#include "gpo_folder_store.h"
#include "headless.h"
#include "platform/memory/memory_registry.h"
#include "snapin/node_tree.h"
#include "vxpolicy.h"

namespace vx::vxpolicy {

// Bad input: the message goes to the error stream and the run ends with kExitBadInput.
struct BadInput : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One of the four settings of a section.
struct SettingInfo {
  const char* option;    // logon, runtime, kiosk, enrollment
  const char16_t* name;  // the stored value's name
  int apt;               // the policy item's type; 0 for enrollment
  bool machineOnly;
  const char* label;
};
const std::vector<SettingInfo>& Settings();
const SettingInfo& SettingByOption(const std::string& option);  // BadInput for another
DWORD SectionByName(const std::string& name);                   // BadInput for another
const char* SectionName(DWORD section);                         // "machine", "user"

class CSession {
 public:
  // Reads the catalogue (--tokens FILE when given, else the registered plug-ins if any).
  CSession(ToolPorts& ports, const std::string& tokensFile);
  ~CSession();
  CSession(const CSession&) = delete;
  CSession& operator=(const CSession&) = delete;

  snapin::NodePorts& NodePorts() { return m_nodePorts; }
  bool HasCatalogue() const { return !m_catalogue.empty(); }
  const std::vector<CatalogueEntry>& Catalogue() const { return m_catalogue; }
  CHeadlessMessages& Messages() { return m_messages; }
  ToolPorts& Ports() { return m_ports; }

  // "Password + Fingerprint" (or with "0x..." for bits no credential names); "0x0" for 0.
  std::string MaskText(ULONGLONG mask) const;
  std::vector<std::string> MaskNames(ULONGLONG mask) const;
  // Credential names of the catalogue whose every bit is in mask.
  std::vector<std::string> CoveredNames(ULONGLONG mask) const;
  // "Password+Fingerprint", "password + fingerprint" or "0x3" as a mask; BadInput otherwise.
  ULONGLONG ParseCombination(const std::string& text) const;
  ULONGLONG KnownBits() const;

  // The folder, loaded; BadInput naming the file and the byte of a fault.
  std::unique_ptr<CGpoFolder> OpenFolder(const std::string& folder, bool dryRun);

 private:
  ToolPorts& m_ports;
  platform::MemoryRegistry m_catalogueRegistry;
  plugins::FakeElementFactory m_catalogueFactory;
  snapin::NodePorts m_nodePorts;
  std::vector<CatalogueEntry> m_catalogue;
  CHeadlessMessages m_messages;
  CToolStrings m_strings;
};

// The folder as the pages' nodes reach their GPO.
class CFolderSource final : public snapin::IGpoInformationSource {
 public:
  explicit CFolderSource(CGpoFolder& folder) : m_folder(folder) {}
  HRESULT GetGPEInformation(std::shared_ptr<policy::IGpoInformation>& information) override {
    information = std::shared_ptr<policy::IGpoInformation>(&m_folder, [](policy::IGpoInformation*) {});
    return S_OK;
  }

 private:
  CGpoFolder& m_folder;
};

// The stored policy of a setting; not configured when the GPO holds none.
struct StoredSetting {
  policy::SettingState state = policy::SettingState::NotConfigured;
  std::vector<ULONGLONG> masks;
  HRESULT loaded = S_OK;  // a failure other than "not there"
};
StoredSetting ReadSetting(policy::IGpoInformation& gpo, DWORD section, const SettingInfo& setting);
const char* StateName(policy::SettingState state);  // "enabled", "disabled", "not configured"

// The commands.
int Show(CSession& session, const std::string& folder, bool json, std::ostream& out);
int Set(CSession& session, const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
int Check(CSession& session, const std::string& folder, std::ostream& out, std::ostream& err);
int Tokens(CSession& session, const std::string& exportFile, std::ostream& out, std::ostream& err);

// One line of a setting for people: "Enabled: Password + Fingerprint; Smart card".
std::string SettingLine(CSession& session, const SettingInfo& setting, const StoredSetting& stored);

}  // namespace vx::vxpolicy

// A GPO folder as the pages' code sees a GPO: both sections loaded into keys of an in-memory registry;
// a policy saved through it writes the section's Registry.pol and raises gpt.ini's version, with the
// same code as the console host. In a dry run nothing is written: the changed sections are only noted.
#pragma once

#include <string>

#include "platform/files.h"
#include "policy/memory_gpo_information.h"

namespace vx::vxpolicy {

class CGpoFolder final : public policy::IGpoInformation {
 public:
  CGpoFolder(platform::IFileSystem& files, std::u16string folder, bool dryRun)
      : m_files(files), m_folder(std::move(folder)), m_dryRun(dryRun) {}

  // Both sections; a damaged Registry.pol fails the load, error naming the file and the byte.
  HRESULT Load(std::u16string& error);

  HRESULT GetType(DWORD* gpoType) override { return m_sections.GetType(gpoType); }
  HRESULT GetRegistryKey(DWORD section, policy::CRegKey* key) override {
    return m_sections.GetRegistryKey(section, key);
  }
  HRESULT PolicyChanged(BOOL machine, BOOL add, const GUID* extension, const GUID* snapin) override;

  const std::u16string& Folder() const { return m_folder; }
  bool Changed(bool machine) const { return m_changed[machine ? 1 : 0]; }

 private:
  platform::IFileSystem& m_files;
  std::u16string m_folder;
  bool m_dryRun;
  policy::MemoryGpoInformation m_sections;
  bool m_changed[2] = {false, false};
};

}  // namespace vx::vxpolicy

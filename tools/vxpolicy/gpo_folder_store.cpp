#include "gpo_folder_store.h"

#include "gpo/gpo_files.h"
#include "policy/policy_settings.h"

namespace vx::vxpolicy {

namespace {
constexpr DWORD kSection[2] = {policy::VX_GPO_SECTION_USER, policy::VX_GPO_SECTION_MACHINE};
}  // namespace

HRESULT CGpoFolder::Load(std::u16string& error) {
  std::vector<BYTE> ini;
  const LONG read = m_files.ReadAll(m_folder + u"\\gpt.ini", ini);
  if (read != ERROR_SUCCESS) {
    error = m_folder + u": no GPO folder (gpt.ini cannot be read)";
    return HResultFromWin32(read);
  }
  for (const bool machine : {true, false}) {
    policy::CRegKey root = m_sections.SectionKey(kSection[machine ? 1 : 0]);
    if (!root) return E_FAIL;
    const HRESULT hr = gpo::LoadGpoSection(m_files, m_folder, machine, *root, error);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

HRESULT CGpoFolder::PolicyChanged(BOOL machine, BOOL, const GUID*, const GUID*) {
  m_changed[machine ? 1 : 0] = true;
  if (m_dryRun) return S_OK;
  policy::CRegKey root = m_sections.SectionKey(kSection[machine ? 1 : 0]);
  if (!root) return E_FAIL;
  return gpo::SaveGpoSection(m_files, m_folder, machine != FALSE, *root);
}

}  // namespace vx::vxpolicy

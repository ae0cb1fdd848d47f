#include "gpo/gpo_files.h"

#include <vector>

#include "gpo/gpt_ini.h"
#include "gpo/pol_registry.h"
#include "gpo/registry_pol.h"

namespace vx::gpo {

std::u16string SectionFolder(std::u16string_view folder, bool machine) {
  return std::u16string(folder) + (machine ? u"\\Machine" : u"\\User");
}

HRESULT LoadGpoSection(platform::IFileSystem& files, std::u16string_view folder, bool machine,
                       platform::IRegistryKey& root, std::u16string& error) {
  const std::u16string file = SectionFolder(folder, machine) + u"\\Registry.pol";
  std::vector<BYTE> bytes;
  const LONG read = files.ReadAll(file, bytes);
  if (read == ERROR_FILE_NOT_FOUND || read == ERROR_PATH_NOT_FOUND) return S_OK;
  if (read != ERROR_SUCCESS) {
    error = file + u": cannot be read";
    return HResultFromWin32(read);
  }
  std::vector<PolRecord> records;
  PolError fault;
  if (!ParseRegistryPol(bytes, records, fault)) {
    error = file + u": " + fault.Text();
    return HResultFromWin32(ERROR_INVALID_DATA);
  }
  const HRESULT hr = ApplyRegistryPol(root, records, PolMarkers::Keep);
  if (FAILED(hr)) error = file + u": its settings cannot be loaded";
  return hr;
}

HRESULT SaveGpoSection(platform::IFileSystem& files, std::u16string_view folder, bool machine,
                       platform::IRegistryKey& root) {
  std::vector<PolRecord> records;
  HRESULT hr = DumpRegistryPol(root, records);
  if (FAILED(hr)) return hr;
  const std::u16string section = SectionFolder(folder, machine);
  const LONG made = files.CreateDirectory(section);
  if (made != ERROR_SUCCESS && made != ERROR_ALREADY_EXISTS) return HResultFromWin32(made);
  const std::vector<BYTE> pol = WriteRegistryPol(records);
  LONG written = files.ReplaceAll(section + u"\\Registry.pol", pol);
  if (written != ERROR_SUCCESS) return HResultFromWin32(written);

  const std::u16string iniPath = std::u16string(folder) + u"\\gpt.ini";
  std::vector<BYTE> bytes;
  files.ReadAll(iniPath, bytes);  // none: a new one
  GptIni ini = GptIni::Parse(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  ini.SetVersion(BumpVersion(ini.Version(), machine));
  const std::string text = ini.Text();
  written = files.ReplaceAll(iniPath, std::span(reinterpret_cast<const BYTE*>(text.data()), text.size()));
  return written == ERROR_SUCCESS ? S_OK : HResultFromWin32(written);
}

}  // namespace vx::gpo

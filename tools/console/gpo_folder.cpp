#include "gpo_folder.h"

#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "gpo/gpt_ini.h"
#include "gpo/pol_registry.h"
#include "gpo/registry_pol.h"
#include "platform/win32/win32_registry.h"

namespace vx::console {
namespace {

bool ReadFileBytes(const std::wstring& path, std::vector<BYTE>& bytes) {
  std::ifstream in(path.c_str(), std::ios::binary);
  if (!in) return false;
  bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

// Writes a new file beside the old one, then moves it over: the old file is never truncated.
HRESULT ReplaceFile(const std::wstring& path, const void* data, size_t size) {
  const std::wstring temporary = path + L".new";
  {
    std::ofstream out(temporary.c_str(), std::ios::binary | std::ios::trunc);
    if (!out) return HRESULT_FROM_WIN32(ERROR_CANNOT_MAKE);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!out.flush()) return HRESULT_FROM_WIN32(ERROR_WRITE_FAULT);
  }
  if (!::MoveFileExW(temporary.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    return HRESULT_FROM_WIN32(::GetLastError());
  return S_OK;
}

HRESULT CopyOut(const std::wstring& text, LPOLESTR out, int length) {
  if (!out || length <= 0) return E_INVALIDARG;
  if (text.size() >= static_cast<size_t>(length)) return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
  text.copy(out, text.size());
  out[text.size()] = L'\0';
  return S_OK;
}

}  // namespace

GpoFolder::~GpoFolder() {
  for (HKEY& key : m_keys)
    if (key) ::RegCloseKey(key);
  if (!m_root.empty()) ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
}

HRESULT GpoFolder::Load() {
  m_root = L"Software\\VXConsoleHost\\" + std::to_wstring(::GetCurrentProcessId());
  ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
  HRESULT hr = LoadSection(true);
  if (SUCCEEDED(hr)) hr = LoadSection(false);
  return hr;
}

HRESULT GpoFolder::LoadSection(bool machine) {
  HKEY& key = m_keys[machine ? 1 : 0];
  const std::wstring path = m_root + (machine ? L"\\Machine" : L"\\User");
  LONG status = ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(status);
  const std::wstring file = SectionFolder(machine) + L"\\Registry.pol";
  std::vector<BYTE> bytes;
  if (::GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) return S_OK;  // an empty section
  if (!ReadFileBytes(file, bytes)) {
    m_error = file + L": cannot be read";
    return HRESULT_FROM_WIN32(ERROR_READ_FAULT);
  }
  std::vector<gpo::PolRecord> records;
  gpo::PolError error;
  if (!gpo::ParseRegistryPol(bytes, records, error)) {
    const std::u16string text = error.Text();
    m_error = file + L": " + std::wstring(text.begin(), text.end());
    return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
  }
  std::unique_ptr<platform::IRegistryKey> root = platform::WrapRegistryKey(key, false);
  const HRESULT hr = gpo::ApplyRegistryPol(*root, records, gpo::PolMarkers::Keep);
  if (FAILED(hr)) m_error = file + L": its settings cannot be loaded";
  return hr;
}

HRESULT GpoFolder::SaveSection(bool machine) {
  std::unique_ptr<platform::IRegistryKey> root = platform::WrapRegistryKey(m_keys[machine ? 1 : 0], false);
  std::vector<gpo::PolRecord> records;
  HRESULT hr = gpo::DumpRegistryPol(*root, records);
  if (FAILED(hr)) return hr;
  const std::vector<BYTE> bytes = gpo::WriteRegistryPol(records);
  ::CreateDirectoryW(SectionFolder(machine).c_str(), nullptr);
  return ReplaceFile(SectionFolder(machine) + L"\\Registry.pol", bytes.data(), bytes.size());
}

HRESULT GpoFolder::BumpGptIni(bool machine) {
  const std::wstring path = m_folder + L"\\gpt.ini";
  std::vector<BYTE> bytes;
  ReadFileBytes(path, bytes);
  gpo::GptIni ini = gpo::GptIni::Parse(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  ini.SetVersion(gpo::BumpVersion(ini.Version(), machine));
  const std::string text = ini.Text();
  return ReplaceFile(path, text.data(), text.size());
}

STDMETHODIMP GpoFolder::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (iid != IID_IUnknown && iid != IID_IGPEInformation) return E_NOINTERFACE;
  *out = static_cast<IGPEInformation*>(this);
  AddRef();
  return S_OK;
}

STDMETHODIMP GpoFolder::GetName(LPOLESTR name, int length) { return CopyOut(L"Local", name, length); }
STDMETHODIMP GpoFolder::GetDisplayName(LPOLESTR name, int length) { return CopyOut(m_folder, name, length); }

// Each caller gets a handle of its own to the section's key, and closes it.
STDMETHODIMP GpoFolder::GetRegistryKey(DWORD section, HKEY* key) {
  if (!key) return E_POINTER;
  *key = nullptr;
  if (section != GPO_SECTION_MACHINE && section != GPO_SECTION_USER) return E_INVALIDARG;
  HKEY source = m_keys[section == GPO_SECTION_MACHINE ? 1 : 0];
  if (!source) return E_UNEXPECTED;
  return HRESULT_FROM_WIN32(::RegOpenKeyExW(source, nullptr, 0, KEY_ALL_ACCESS, key));
}

STDMETHODIMP GpoFolder::GetDSPath(DWORD, LPOLESTR path, int length) { return CopyOut(L"", path, length); }

STDMETHODIMP GpoFolder::GetFileSysPath(DWORD section, LPOLESTR path, int length) {
  if (section == GPO_SECTION_ROOT) return CopyOut(m_folder, path, length);
  if (section != GPO_SECTION_MACHINE && section != GPO_SECTION_USER) return E_INVALIDARG;
  return CopyOut(SectionFolder(section == GPO_SECTION_MACHINE), path, length);
}

STDMETHODIMP GpoFolder::GetOptions(DWORD* options) {
  if (!options) return E_POINTER;
  *options = 0;
  return S_OK;
}

STDMETHODIMP GpoFolder::GetType(GROUP_POLICY_OBJECT_TYPE* type) {
  if (!type) return E_POINTER;
  *type = GPOTypeLocal;
  return S_OK;
}

STDMETHODIMP GpoFolder::GetHint(GROUP_POLICY_HINT_TYPE* hint) {
  if (!hint) return E_POINTER;
  *hint = GPHintMachine;
  return S_OK;
}

STDMETHODIMP GpoFolder::PolicyChanged(BOOL machine, BOOL, GUID*, GUID*) {
  HRESULT hr = SaveSection(machine != FALSE);
  if (SUCCEEDED(hr)) hr = BumpGptIni(machine != FALSE);
  return hr;
}

}  // namespace vx::console

// The editor's GPO as a folder on disk: gpt.ini, Machine/Registry.pol and User/Registry.pol (read and
// written by gpo_files). Each Registry.pol is loaded into a private key below
// HKCU\Software\VXConsoleHost\<pid> while the host runs; PolicyChanged writes a section back and
// raises the version in gpt.ini.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>

#include <prsht.h>
#include <gpedit.h>

#include "platform/win32/win32_files.h"

namespace vx::console {

class GpoFolder final : public IGPEInformation {
 public:
  explicit GpoFolder(std::wstring folder) : m_folder(std::move(folder)) {}
  ~GpoFolder();
  // Both sections into their private keys. A Registry.pol that cannot be read is refused as a whole
  // (Error() names the file and the byte offset): the host never writes back less than a file held.
  HRESULT Load();
  const std::wstring& Error() const { return m_error; }

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override { return --m_refs; }  // lives as long as the host
  STDMETHODIMP GetName(LPOLESTR name, int length) override;
  STDMETHODIMP GetDisplayName(LPOLESTR name, int length) override;
  STDMETHODIMP GetRegistryKey(DWORD section, HKEY* key) override;
  STDMETHODIMP GetDSPath(DWORD, LPOLESTR path, int length) override;
  STDMETHODIMP GetFileSysPath(DWORD section, LPOLESTR path, int length) override;
  STDMETHODIMP GetOptions(DWORD* options) override;
  STDMETHODIMP GetType(GROUP_POLICY_OBJECT_TYPE* type) override;
  STDMETHODIMP GetHint(GROUP_POLICY_HINT_TYPE* hint) override;
  STDMETHODIMP PolicyChanged(BOOL machine, BOOL add, GUID* extension, GUID* snapin) override;

 private:
  HRESULT LoadSection(bool machine);
  std::wstring SectionFolder(bool machine) const { return m_folder + (machine ? L"\\Machine" : L"\\User"); }
  platform::Win32FileSystem m_files;
  std::wstring m_folder;
  std::wstring m_root;  // below HKCU
  std::wstring m_error;
  HKEY m_keys[2] = {nullptr, nullptr};  // user, machine
  std::atomic<ULONG> m_refs{1};
};

}  // namespace vx::console

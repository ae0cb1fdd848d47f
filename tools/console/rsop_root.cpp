#include "rsop_root.h"

#include <atomic>
#include <cwchar>
#include <string>
#include <vector>

#include <wbemcli.h>

#include "fixture_file.h"
#include "fixture_objects.h"
#include "platform/text.h"
#include "platform/win32/win32_handles.h"
#include "wmi_fixture.h"

namespace vx::console {

namespace {

class RsopInformation final : public IRSOPInformation {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != kIidRsopInformation) return E_NOINTERFACE;
    *out = static_cast<IRSOPInformation*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --m_refs;
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP GetNamespace(DWORD section, LPOLESTR name, int maxChars) override {
    if (name == nullptr) return E_POINTER;
    const wchar_t* ns = section == GPO_SECTION_MACHINE ? kRsopMachineNamespace
                        : section == GPO_SECTION_USER  ? kRsopUserNamespace
                                                       : nullptr;
    if (ns == nullptr) return E_INVALIDARG;
    const size_t length = std::wcslen(ns);
    if (maxChars <= 0 || length >= static_cast<size_t>(maxChars)) {
      return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
    }
    std::wmemcpy(name, ns, length + 1);
    return S_OK;
  }
  STDMETHODIMP GetFlags(DWORD* flags) override {
    if (flags == nullptr) return E_POINTER;
    *flags = 0;
    return S_OK;
  }
  STDMETHODIMP GetEventLogEntryText(LPOLESTR, LPOLESTR, LPOLESTR, DWORD, LPOLESTR* text) override {
    if (text != nullptr) *text = nullptr;
    return E_NOTIMPL;
  }

 private:
  std::atomic<ULONG> m_refs{1};
};

// The whole file as bytes; on failure the reason in words.
HRESULT ReadWholeFile(const std::wstring& path, std::string& bytes, std::wstring& reason) {
  const platform::UniqueHandle file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                  nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size{};
  if (file.get() == INVALID_HANDLE_VALUE || !::GetFileSizeEx(file.get(), &size)) {
    const DWORD status = ::GetLastError();
    reason = L"cannot read the file (error " + std::to_wstring(status) + L")";
    return HRESULT_FROM_WIN32(status);
  }
  if (size.QuadPart > static_cast<LONGLONG>(wmifixture::kMaxFixtureFileBytes)) {
    reason = L"file larger than " + std::to_wstring(wmifixture::kMaxFixtureFileBytes) + L" bytes";
    return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
  }
  bytes.resize(static_cast<size_t>(size.QuadPart));
  DWORD read = 0;
  if (!bytes.empty() && !::ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) {
    const DWORD status = ::GetLastError();
    reason = L"cannot read the file (error " + std::to_wstring(status) + L")";
    return HRESULT_FROM_WIN32(status);
  }
  bytes.resize(read);
  return S_OK;
}

std::wstring Wide(const std::string& utf8) {
  const std::u16string text = Utf8ToUtf16(utf8);
  return std::wstring(AsWide(text.data()), text.size());
}

}  // namespace

RsopFixture::RsopFixture()
    : m_source(std::make_shared<wmifixture::SettingsSource>(kRsopMachineNamespace, kRsopUserNamespace,
                                                            std::vector<wmifixture::FixtureSetting>{})) {
  m_information.Attach(new RsopInformation());
}

RsopFixture::~RsopFixture() { Revoke(); }

HRESULT RsopFixture::Load(const std::wstring& path, std::wstring& error) {
  error.clear();
  if (Registered()) {
    error = path + L": the fixture in use cannot be replaced";
    return E_UNEXPECTED;
  }
  std::string bytes;
  std::wstring reason;
  const HRESULT hr = ReadWholeFile(path, bytes, reason);
  if (FAILED(hr)) {
    error = path + L": " + reason;
    return hr;
  }
  std::vector<wmifixture::FixtureSetting> settings;
  wmifixture::FixtureFileError parseError;
  if (!wmifixture::ParseFixtureFile(bytes, settings, parseError)) {
    error = path + L": " + Wide(parseError.Describe());
    return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
  }
  m_source = std::make_shared<wmifixture::SettingsSource>(kRsopMachineNamespace, kRsopUserNamespace,
                                                          std::move(settings));
  return S_OK;
}

HRESULT RsopFixture::Register() {
  if (Registered()) return S_FALSE;
  Microsoft::WRL::ComPtr<IClassFactory> factory;
  HRESULT hr = wmifixture::CreateLocatorFactory(m_source, IID_IClassFactory,
                                                reinterpret_cast<void**>(factory.GetAddressOf()));
  if (FAILED(hr)) return hr;
  DWORD cookie = 0;
  hr = ::CoRegisterClassObject(CLSID_WbemLocator, factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie);
  if (FAILED(hr)) return hr;
  m_cookie = cookie;
  return S_OK;
}

void RsopFixture::Revoke() {
  if (!Registered()) return;
  ::CoRevokeClassObject(m_cookie);
  m_cookie = 0;
}

size_t RsopFixture::SettingCount() const { return m_source->Settings().size(); }

}  // namespace vx::console

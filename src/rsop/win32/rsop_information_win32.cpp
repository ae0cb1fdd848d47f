#include "rsop/win32/rsop_information_win32.h"

#include <vector>

#include "platform/text.h"

namespace vx::rsop {

namespace {
// IID_IRSOPInformation: the platform headers declare it, but no import library defines it.
constexpr GUID kIidRsopInformation = {0x9a5a81b5, 0xd9c7, 0x49ef, {0x9d, 0x11, 0xdd, 0xf5, 0x09, 0x68, 0xc4, 0x8d}};
}  // namespace

HRESULT Win32RsopInformationSource::Query() {
  if (m_information) return S_OK;
  if (!m_unknown) return E_NOINTERFACE;
  const HRESULT hr = m_unknown->QueryInterface(kIidRsopInformation, reinterpret_cast<void**>(m_information.GetAddressOf()));
  if (FAILED(hr)) return hr;
  return m_information ? S_OK : E_NOINTERFACE;
}

bool Win32RsopInformationSource::HasRsopInformation() { return SUCCEEDED(Query()); }

HRESULT Win32RsopInformationSource::GetNamespace(DWORD section, std::u16string& ns, DWORD maxChars) {
  ns.clear();
  HRESULT hr = Query();
  if (FAILED(hr)) return hr;
  std::vector<wchar_t> buffer(maxChars + 1, L'\0');
  hr = m_information->GetNamespace(section, buffer.data(), static_cast<int>(maxChars));
  if (FAILED(hr)) return hr;
  size_t length = 0;
  while (length < maxChars && buffer[length] != L'\0') ++length;
  ns.assign(AsU16(buffer.data()), length);
  return hr;
}

}  // namespace vx::rsop

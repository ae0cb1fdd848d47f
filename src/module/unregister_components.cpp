#include "module/unregister_components.h"

#include <string>

#include "plugins/ui_elements.h"
#include "support/check.h"
#include "support/trace.h"

namespace KELT_SDK {

CUnregisterComponents::CUnregisterComponents(vx::platform::IRegistry& registry) {
  VXTraceNS::CTraceScope scope("CUnregisterComponents::CUnregisterComponents");
  const LONG rc = registry.OpenKey(vx::platform::RegistryRoot::LocalMachine, kPluginsKey, KEY_WRITE, m_pluginsKey);
  m_hrOpen = rc == ERROR_SUCCESS ? S_OK : vx::HResultFromWin32(rc);
  scope.Result(m_hrOpen);
}

CUnregisterComponents::~CUnregisterComponents() = default;

HRESULT CUnregisterComponents::UnregisterComponent(std::u16string_view categoryPath, const CLSID& clsid) {
  VXTraceNS::CTraceScope scope("CUnregisterComponents::UnregisterComponent");
  return vx::HResultBoundary(scope, [&] {
    const std::u16string text = vx::plugins::GuidToString(clsid);
    scope.Message("%ls", text.c_str());
    return DeleteComponentKey(categoryPath, text);
  });
}

HRESULT CUnregisterComponents::DeleteComponentKey(std::u16string_view path1, std::u16string_view path2) {
  VXTraceNS::CTraceScope scope("CUnregisterComponents::DeleteComponentKey");
  return vx::HResultBoundary(scope, [&] {
    VX_CHECK(m_hrOpen);
    std::u16string path = std::u16string(path1) + u"\\" + std::u16string(path2);
    scope.Message("%ls", path.c_str());
    for (;;) {
      std::unique_ptr<vx::platform::IRegistryKey> key;
      _W32_TEST_ERROR(m_pluginsKey->OpenKey(path, KEY_READ, key));
      DWORD subKeys = 0;
      _W32_TEST_ERROR(key->QueryInfo(&subKeys, nullptr));
      key.reset();
      if (subKeys != 0) return S_OK;
      _W32_TEST_ERROR(m_pluginsKey->DeleteKey(path));
      const size_t cut = path.rfind(u'\\');
      path.resize(cut == std::u16string::npos ? 0 : cut);
      if (path.empty()) return S_OK;
    }
  });
}

}  // namespace KELT_SDK

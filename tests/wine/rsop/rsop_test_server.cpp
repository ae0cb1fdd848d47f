// The test WMI locator: the fixture locator (tools/wmi_fixture) over the fixed objects of rsop_fixture.cpp,
// with its calls logged for the test to read and a broken namespace whose enumeration fails.
#include <cwchar>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/wintypes.h"

#include <objbase.h>

#include "rsop/rsop_fixture.h"
#include "rsop/rsop_test_server.h"
#include "wmi_fixture.h"

namespace vx::rsop::testserver {

namespace {

std::mutex g_logLock;
std::wstring g_log;

class TestSource final : public wmifixture::IFixtureSource {
 public:
  bool Objects(const std::wstring& ns, std::vector<FixtureObject>& out) override { return FixtureObjects(ns, out); }
  HRESULT EndOfEnumeration(const std::wstring& ns) override {
    return ::_wcsicmp(ns.c_str(), kBrokenNamespace) == 0 ? kBrokenNextResult : S_FALSE;
  }
  void Log(const std::wstring& line) override {
    std::lock_guard<std::mutex> lock(g_logLock);
    g_log += line;
    g_log += L'\n';
  }
};

}  // namespace

}  // namespace vx::rsop::testserver

using namespace vx::rsop::testserver;

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (clsid != kLocatorClsid) return CLASS_E_CLASSNOTAVAILABLE;
  return vx::wmifixture::CreateLocatorFactory(std::make_shared<TestSource>(), iid, out);
}

// Stays loaded: the test reads the log and the object count through the exports.
extern "C" HRESULT WINAPI DllCanUnloadNow() { return S_FALSE; }

extern "C" HRESULT WINAPI VxRsopTestTakeCalls(wchar_t* buffer, int chars) {
  std::lock_guard<std::mutex> lock(g_logLock);
  if (buffer == nullptr || chars <= 0 || g_log.size() >= static_cast<size_t>(chars)) return E_NOT_SUFFICIENT_BUFFER;
  std::wmemcpy(buffer, g_log.c_str(), g_log.size() + 1);
  g_log.clear();
  return S_OK;
}

extern "C" LONG WINAPI VxRsopTestLiveObjects() { return vx::wmifixture::LiveObjects(); }

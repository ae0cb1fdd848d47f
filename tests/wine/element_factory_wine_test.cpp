// Plug-in modules loaded for real: the signature check, the loader, the module's class object and the
// core's view of the COM elements, over the test plug-in modules built into plugins/; and the sample
// plug-ins as the build leaves them beside this program.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"
#include "plugins/test_plugin.h"
#include "plugins/win32/element_factory_win32.h"
#include "plugins/win32/signature_win32.h"
#include "sample_clsids.h"
#include "unit/trace_test_support.h"
#include "wine_support.h"

namespace vx::plugins {
namespace {

using namespace testplugin;

std::u16string Beside(const std::wstring& file) { return AsU16(vxtest::BesideProgram(file).c_str()); }
std::u16string PluginPath(const wchar_t* name) { return Beside(std::wstring(L"plugins\\") + name + L".dll"); }
bool IsLoaded(const std::u16string& path) { return ::GetModuleHandleW(AsWide(path)) != nullptr; }

// What the adapters make of the group's COM elements: typed values, members found at the array's own
// bounds, credentials, sites; every reference given back, the module kept loaded.
TEST(ElementFactoryTest, SignedModuleLoadsAndItsElementsComeThrough) {
  const std::u16string path = PluginPath(L"vx_test_plugin");
  ASSERT_FALSE(IsLoaded(path));
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  {
    ElementPtr group;
    ASSERT_EQ(factory.CreateInstance(path, kClsidGroup, group), S_OK);
    ASSERT_TRUE(group);
    ElementValue value{Variant::I4(1), {}};
    EXPECT_EQ(group->GetProperty(eKELT_LST_ORDERHINT, value), E_INVALIDARG);
    EXPECT_EQ(value.value.vt, kVtEmpty) << "a failed read leaves no value";
    EXPECT_EQ(group->Credential(), nullptr);
    EXPECT_FALSE(group->HasSite());
    EXPECT_EQ(group->SetSite(nullptr), E_NOINTERFACE);

    ASSERT_EQ(group->GetProperty(eKELT_LST_SUBELEMENTS, value), S_OK);
    const std::vector<ElementPtr>& members = value.members;
    ASSERT_EQ(members.size(), 4u);
    EXPECT_TRUE(members[0] && !members[1] && !members[2] && !members[3]);
    ICredential* credential = members[0]->Credential();
    ASSERT_NE(credential, nullptr);
    Variant type = Variant::Ui4(1);
    EXPECT_EQ(credential->GetCredProperty(eKELT_CRED_TYPE, type), E_INVALIDARG);
    EXPECT_EQ(type.vt, kVtEmpty) << "a failed read leaves no value";
    EXPECT_TRUE(members[0]->HasSite());
    struct : ISiteCallback {
    } callback;
    EXPECT_EQ(members[0]->SetSite(&callback), S_OK) << "an object of ours that answers for IUnknown";
    EXPECT_EQ(members[0]->SetSite(nullptr), kNoSite);
  }
  // Found only while the module stays loaded: how many of its objects are alive.
  const auto liveObjects =
      platform::ProcAddress<LONG(WINAPI*)()>(::GetModuleHandleW(AsWide(path)), "VxTestLiveObjects");
  ASSERT_NE(liveObjects, nullptr);
  EXPECT_EQ(liveObjects(), 0);
}

TEST(ElementFactoryTest, AlreadyLoadedModuleSkipsTheSignatureCheck) {
  const std::u16string path = PluginPath(L"vx_test_plugin_preloaded");  // unsigned
  const HMODULE ours = ::LoadLibraryW(AsWide(path));
  ASSERT_NE(ours, nullptr);
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  ElementPtr element;
  EXPECT_EQ(factory.CreateInstance(path, kClsidGroup, element), S_OK);
  ::FreeLibrary(ours);
  EXPECT_TRUE(IsLoaded(path)) << "the factory holds a reference of its own on the module";
}

class ElementFactoryFailureTest : public vxtest::TracingFixture {};

TEST_F(ElementFactoryFailureTest, FailuresGiveNoElementAndLeaveTheModuleUnloaded) {
  struct Trusting : ISignatureVerifier {
    bool Verify(std::u16string_view) override { return true; }
  };
  Win32ElementFactory trusting(std::make_shared<Trusting>());
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  const struct {
    Win32ElementFactory& factory;
    const wchar_t* module;
    GUID clsid;
    HRESULT expected;
  } cases[] = {
      {factory, L"vx_test_plugin_unsigned", kClsidGroup, NTE_BAD_SIGNATURE},  // never loaded
      {trusting, L"vx_no_such_plugin", kClsidGroup, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)},
      {factory, L"vx_test_plugin_no_entry", kClsidGroup, HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND)},
      {factory, L"vx_test_plugin_failing", GUID{}, CLASS_E_CLASSNOTAVAILABLE},
      {factory, L"vx_test_plugin_failing", kClsidRefusing, CLASS_E_NOTLICENSED},  // loaded anew
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Utf16ToUtf8(AsU16(c.module)));
    ElementPtr element;
    EXPECT_EQ(c.factory.CreateInstance(PluginPath(c.module), c.clsid, element), c.expected);
    EXPECT_FALSE(element);
    EXPECT_FALSE(IsLoaded(PluginPath(c.module)));
  }
  // The check of the first module traces WinVerifyTrust's answer; then the operation traces its own.
  const std::vector<std::string> results = Written('E');
  ASSERT_GE(results.size(), 2u);
  EXPECT_EQ(std::vector<std::string>(results.begin(), results.begin() + 2),
            (std::vector<std::string>{std::to_string(TRUST_E_NOSIGNATURE) + " WinVerifyTrust",
                                      std::to_string(NTE_BAD_SIGNATURE) + " hr"}));
}

TEST(SignatureTest, SignatureCoversTheWholeFileOfEverySample) {
  for (const wchar_t* name :
       {L"password", L"fingerprint", L"smartcard", L"onetimecode", L"recoverykey", L"biometrics", L"securitykey"}) {
    const std::u16string path = Beside(L"vxsample_" + std::wstring(name) + L".dll");
    EXPECT_EQ(Win32SignatureVerifier::Check(path), ERROR_SUCCESS) << Utf16ToUtf8(path);
  }
  EXPECT_EQ(Win32SignatureVerifier::Check(Beside(L"vxsample_securitykey_unsigned.dll")), TRUST_E_NOSIGNATURE);

  vxtest::ScratchFolder folder;
  const std::wstring copy = folder / L"tampered.dll";
  ASSERT_TRUE(::CopyFileW(AsWide(PluginPath(L"vx_test_plugin")), copy.c_str(), FALSE)) << ::GetLastError();
  EXPECT_TRUE(Win32SignatureVerifier().Verify(AsU16(copy.c_str())));
  {  // One byte of code changed after signing.
    std::fstream file(std::filesystem::path(copy), std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(0x1400);
    const char byte = static_cast<char>(file.get() ^ 0xFF);
    file.seekp(0x1400);
    file.put(byte);
    ASSERT_TRUE(file.good());
  }
  EXPECT_FALSE(Win32SignatureVerifier().Verify(AsU16(copy.c_str())));
}

// A sample module as COM sees it: class object rules and the lock count behind DllCanUnloadNow.
TEST(SampleModuleTest, ClassObjectAndUnloadRules) {
  const platform::UniqueLibrary module(::LoadLibraryW(vxtest::BesideProgram(L"vxsample_biometrics.dll").c_str()));
  ASSERT_NE(module, nullptr);
  const auto getClassObject = platform::ProcAddress<LPFNGETCLASSOBJECT>(module.get(), "DllGetClassObject");
  const auto canUnloadNow = platform::ProcAddress<LPFNCANUNLOADNOW>(module.get(), "DllCanUnloadNow");
  ASSERT_TRUE(getClassObject && canUnloadNow);
  CLSID biometrics{};
  ASSERT_EQ(::CLSIDFromString(VX_SAMPLE_CLSID_BIOMETRICS, &biometrics), S_OK);

  IClassFactory* factory = reinterpret_cast<IClassFactory*>(0x1);
  void** const asked = reinterpret_cast<void**>(&factory);
  EXPECT_EQ(getClassObject(kClsidGroup, IID_IClassFactory, asked), CLASS_E_CLASSNOTAVAILABLE) << "another module's";
  EXPECT_EQ(factory, nullptr);
  ASSERT_EQ(getClassObject(biometrics, IID_IClassFactory, asked), S_OK);
  IUnknown* object = reinterpret_cast<IUnknown*>(0x1);
  EXPECT_EQ(factory->CreateInstance(factory, IID_IUnknown, reinterpret_cast<void**>(&object)), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(canUnloadNow(), S_OK);

  IKELTElementUI* created = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IKELTElementUI, reinterpret_cast<void**>(&created)), S_OK);
  {
    const ElementPtr group = WrapElement(created);
    created->Release();
    EXPECT_EQ(canUnloadNow(), S_FALSE);
    ElementValue members;  // alive until the end of the block
    ASSERT_EQ(group->GetProperty(eKELT_LST_SUBELEMENTS, members), S_OK);
    EXPECT_EQ(members.members.size(), 2u);
  }
  EXPECT_EQ(canUnloadNow(), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(canUnloadNow(), S_OK);
  factory->Release();
}

}  // namespace
}  // namespace vx::plugins

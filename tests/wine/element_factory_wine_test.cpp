// Plug-in modules loaded for real: the signature check, the loader, the module's class object, and the
// core's view of the COM elements, over the test plug-in modules built into plugins/.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"
#include "plugins/test_plugin.h"
#include "plugins/win32/element_factory_win32.h"
#include "plugins/win32/signature_win32.h"
#include "unit/trace_test_support.h"
#include "wine_support.h"

namespace vx::plugins {
namespace {

using namespace testplugin;

constexpr HRESULT kBadSignature = static_cast<HRESULT>(0x80090006);
constexpr HRESULT kNoSignature = static_cast<HRESULT>(0x800B0100);
constexpr std::uint16_t kVtVariant = 12;

std::u16string PluginPath(const wchar_t* name) {
  return AsU16(vxtest::BesideProgram(std::wstring(L"plugins\\") + name + L".dll").c_str());
}

bool IsLoaded(const std::u16string& path) { return ::GetModuleHandleW(AsWide(path)) != nullptr; }

template <class Function>
Function Export(const std::u16string& path, const char* name) {
  const HMODULE module = ::GetModuleHandleW(AsWide(path));
  return module ? platform::ProcAddress<Function>(module, name) : nullptr;
}

// Answers as told and counts the questions.
class ScriptedVerifier final : public ISignatureVerifier {
 public:
  explicit ScriptedVerifier(bool answer) : m_answer(answer) {}
  bool Verify(std::u16string_view) override {
    ++calls;
    return m_answer;
  }
  int calls = 0;

 private:
  bool m_answer;
};

Variant Property(IUIElement& element, long id) {
  ElementValue value;
  EXPECT_EQ(element.GetProperty(id, value), S_OK) << id;
  return value.value;
}

Variant Credential(IUIElement& element, long id) {
  Variant value;
  if (ICredential* credential = element.Credential()) {
    EXPECT_EQ(credential->GetCredProperty(id, value), S_OK) << id;
  } else {
    ADD_FAILURE() << "no credential";
  }
  return value;
}

void ExpectValue(const Variant& value, std::uint16_t vt, std::int64_t integer) {
  EXPECT_EQ(value.vt, vt);
  EXPECT_EQ(value.integer, integer);
}

// What the adapters make of the group's COM elements: properties as typed values, members found at
// the array's own bounds, credentials, sites; every reference given back, the module kept loaded.
TEST(ElementFactoryTest, SignedModuleLoadsAndItsElementsComeThrough) {
  const std::u16string path = PluginPath(L"vx_test_plugin");
  ASSERT_FALSE(IsLoaded(path));
  ASSERT_TRUE(Win32SignatureVerifier().Verify(path)) << std::hex << Win32SignatureVerifier::Check(path);
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  {
    ElementPtr group;
    ASSERT_EQ(factory.CreateInstance(path, kClsidGroup, group), S_OK);
    ASSERT_TRUE(group);
    EXPECT_TRUE(IsLoaded(path));
    EXPECT_EQ(Property(*group, eKELT_LST_NAME).text, u"TestGroup");
    EXPECT_EQ(Property(*group, eKELT_LST_DISPLAYSTRING).text, u"Test group");
    ExpectValue(Property(*group, eKELT_LST_ORDERHINT), kVtI4, -5);
    ElementValue unknown;
    unknown.value = Variant::I4(1);
    EXPECT_EQ(group->GetProperty(55, unknown), E_INVALIDARG);
    EXPECT_EQ(unknown.value.vt, kVtEmpty);
    EXPECT_EQ(group->Credential(), nullptr) << "a group is no credential";
    EXPECT_FALSE(group->HasSite());
    EXPECT_EQ(group->SetSite(nullptr), E_NOINTERFACE);

    // Bounds 3 to 7: Password, null, Fingerprint, an object that is no element, a string.
    ElementValue members;
    ASSERT_EQ(group->GetProperty(eKELT_LST_SUBELEMENTS, members), S_OK);
    EXPECT_EQ(members.value.vt, kVtArray | kVtVariant);
    ASSERT_EQ(members.members.size(), 5u);
    EXPECT_TRUE(members.members[0] && !members.members[1] && members.members[2] && !members.members[3] &&
                !members.members[4]);
    IUIElement& password = *members.members[0];
    EXPECT_EQ(Property(password, eKELT_LST_NAME).text, u"Password");
    ExpectValue(Credential(password, eKELT_CRED_MASK), kVtUi4, 0x80000000ll);  // zero-extended
    ExpectValue(Credential(password, eKELT_CRED_TYPE), kVtUi4, 1);
    ExpectValue(Credential(password, eKELT_CRED_RELIABLE), kVtBool, -1);
    Variant none = Variant::I4(9);
    EXPECT_EQ(password.Credential()->GetCredProperty(77, none), E_INVALIDARG);
    EXPECT_EQ(none.vt, kVtEmpty);
    EXPECT_FALSE(password.HasSite());

    IUIElement& fingerprint = *members.members[2];
    EXPECT_EQ(Property(fingerprint, eKELT_LST_NAME).text, u"Fingerprint");
    ExpectValue(Credential(fingerprint, eKELT_CRED_MASK), kVtUi8, 0x100000002ll);
    const auto siteState = Export<SiteStateFunction>(path, "VxTestSiteState");
    ASSERT_NE(siteState, nullptr);
    EXPECT_TRUE(fingerprint.HasSite());
    struct : ISiteCallback {
    } callback;
    EXPECT_EQ(fingerprint.SetSite(&callback), S_OK);
    EXPECT_EQ(siteState(), 1) << "an object of ours that answers for IUnknown";
    EXPECT_EQ(fingerprint.SetSite(nullptr), S_OK);
    EXPECT_EQ(siteState(), 0);
  }
  const auto liveObjects = Export<LiveObjectsFunction>(path, "VxTestLiveObjects");
  ASSERT_NE(liveObjects, nullptr) << "the module was unloaded";
  EXPECT_EQ(liveObjects(), 0);
}

class UnsignedModuleTest : public vxtest::TracingFixture {};

TEST_F(UnsignedModuleTest, IsRejectedNeverLoadedAndTheCheckTraced) {
  const std::u16string path = PluginPath(L"vx_test_plugin_unsigned");
  EXPECT_EQ(Win32SignatureVerifier::Check(path), kNoSignature);
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  ElementPtr element = WrapElement(nullptr);
  EXPECT_EQ(factory.CreateInstance(path, kClsidGroup, element), kBadSignature);
  EXPECT_FALSE(element);
  EXPECT_FALSE(IsLoaded(path));
  // The result records: WinVerifyTrust's answer, then the operation's.
  EXPECT_EQ(Written('E'), (std::vector<std::string>{std::to_string(kNoSignature) + " WinVerifyTrust",
                                                    std::to_string(kBadSignature) + " hr"}));
}

TEST(SignatureTest, SignatureMustCoverTheWholeFile) {
  const std::u16string signedPath = PluginPath(L"vx_test_plugin");
  EXPECT_TRUE(Win32SignatureVerifier().Verify(signedPath));
  EXPECT_FALSE(Win32SignatureVerifier().Verify(PluginPath(L"vx_no_such_plugin")));

  vxtest::ScratchFolder folder;
  const std::wstring copy = folder / L"tampered.dll";
  ASSERT_TRUE(::CopyFileW(AsWide(signedPath), copy.c_str(), FALSE)) << ::GetLastError();
  EXPECT_TRUE(Win32SignatureVerifier().Verify(AsU16(copy.c_str())));
  {  // One byte of code changed after signing.
    const platform::UniqueHandle file(
        ::CreateFileW(copy.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_NE(file.get(), INVALID_HANDLE_VALUE);
    BYTE byte = 0;
    DWORD done = 0;
    ::SetFilePointer(file.get(), 0x1400, nullptr, FILE_BEGIN);
    EXPECT_TRUE(::ReadFile(file.get(), &byte, 1, &done, nullptr) && done == 1);
    byte ^= 0xFF;
    ::SetFilePointer(file.get(), 0x1400, nullptr, FILE_BEGIN);
    EXPECT_TRUE(::WriteFile(file.get(), &byte, 1, &done, nullptr) && done == 1);
  }
  EXPECT_FALSE(Win32SignatureVerifier().Verify(AsU16(copy.c_str())));
}

TEST(ElementFactoryTest, AlreadyLoadedModuleSkipsTheSignatureCheck) {
  const std::u16string path = PluginPath(L"vx_test_plugin_preloaded");  // unsigned
  const HMODULE ours = ::LoadLibraryW(AsWide(path));
  ASSERT_NE(ours, nullptr);
  auto verifier = std::make_shared<ScriptedVerifier>(false);
  Win32ElementFactory factory(verifier);
  ElementPtr element;
  EXPECT_EQ(factory.CreateInstance(path, kClsidPassword, element), S_OK);
  EXPECT_EQ(verifier->calls, 0);
  ASSERT_TRUE(element);
  ExpectValue(Property(*element, eKELT_LST_ORDERHINT), kVtI4, 42);
  ::FreeLibrary(ours);
  EXPECT_TRUE(IsLoaded(path)) << "the factory holds a reference of its own on the module";

  // A module that is not in the process is still asked about.
  const std::u16string other = PluginPath(L"vx_test_plugin_unsigned");
  EXPECT_EQ(factory.CreateInstance(other, kClsidPassword, element), kBadSignature);
  EXPECT_EQ(verifier->calls, 1);
  EXPECT_FALSE(element);
  EXPECT_FALSE(IsLoaded(other));
}

TEST(ElementFactoryTest, FailuresAfterLoadingFreeTheModule) {
  Win32ElementFactory trusting(std::make_shared<ScriptedVerifier>(true));
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  const struct {
    Win32ElementFactory& factory;
    const wchar_t* module;
    GUID clsid;
    HRESULT expected;
  } cases[] = {
      {factory, L"vx_no_such_plugin", kClsidGroup, kBadSignature},
      {trusting, L"vx_no_such_plugin", kClsidGroup, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)},
      {factory, L"vx_test_plugin_no_entry", kClsidGroup, HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND)},
      {factory, L"vx_test_plugin_failing", kClsidUnknown, CLASS_E_CLASSNOTAVAILABLE},
      {factory, L"vx_test_plugin_failing", kClsidRefusing, kFactoryFailure},  // loaded anew
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Utf16ToUtf8(AsU16(c.module)));
    ElementPtr element;
    EXPECT_EQ(c.factory.CreateInstance(PluginPath(c.module), c.clsid, element), c.expected);
    EXPECT_FALSE(element);
    EXPECT_FALSE(IsLoaded(PluginPath(c.module)));
  }
}

}  // namespace
}  // namespace vx::plugins

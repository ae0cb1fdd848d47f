// Plug-in modules loaded for real: the signature check, the loader, the module's class object, and
// the core's view of the elements, over the test plug-in modules built into plugins/.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"
#include "plugins/test_plugin.h"
#include "plugins/win32/element_factory_win32.h"
#include "plugins/win32/signature_win32.h"
#include "unit/trace_test_support.h"

namespace vx::plugins {
namespace {

using namespace testplugin;

constexpr HRESULT kBadSignature = static_cast<HRESULT>(0x80090006);
constexpr HRESULT kNoSignature = static_cast<HRESULT>(0x800B0100);
constexpr std::uint16_t kVtVariant = 12;

std::u16string PluginPath(std::u16string_view name) {
  wchar_t program[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  const std::u16string path = AsU16(program);
  return path.substr(0, path.size() - FileNamePart(path).size()) + u"plugins\\" + std::u16string(name) + u".dll";
}

bool IsLoaded(const std::u16string& path) { return ::GetModuleHandleW(AsWide(path)) != nullptr; }

std::string ClsidText(const GUID& clsid) {
  wchar_t text[64] = {};
  ::StringFromGUID2(clsid, text, 64);
  return Utf16ToUtf8(AsU16(text));
}

std::string Loading(const GUID& clsid, const std::u16string& path) {
  return "Loading " + ClsidText(clsid) + " [" + Utf16ToUtf8(path) + "]";
}

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

class SiteCallback final : public ISiteCallback {};

class ElementFactoryTest : public vxtest::TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
  }
  vxtest::DecodedFile Trace() {
    Stop();
    return File();
  }
  static std::vector<std::string> Results(const vxtest::DecodedFile& trace, std::string_view label) {
    std::vector<std::string> results;
    for (const std::string& text : trace.Texts('E'))
      if (text.size() > label.size() && text.ends_with(label) && text[text.size() - label.size() - 1] == ' ')
        results.push_back(text.substr(0, text.size() - label.size() - 1));
    return results;
  }
  static std::u16string Text(IUIElement& element, long id) {
    ElementValue value;
    EXPECT_EQ(element.GetProperty(id, value), S_OK) << id;
    EXPECT_EQ(value.value.vt, kVtBstr) << id;
    return value.value.text;
  }
  static Variant Credential(IUIElement& element, long id) {
    Variant value;
    ICredential* credential = element.Credential();
    if (credential == nullptr) {
      ADD_FAILURE() << "no credential";
      return value;
    }
    EXPECT_EQ(credential->GetCredProperty(id, value), S_OK) << id;
    return value;
  }
};

TEST_F(ElementFactoryTest, SignedModuleLoadsAndItsElementsComeThrough) {
  const std::u16string path = PluginPath(u"vx_test_plugin");
  ASSERT_FALSE(IsLoaded(path));
  ASSERT_TRUE(Win32SignatureVerifier().Verify(path)) << std::hex << Win32SignatureVerifier::Check(path);
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  {
    ElementPtr group;
    ASSERT_EQ(factory.CreateInstance(path, kClsidGroup, group), S_OK);
    ASSERT_TRUE(group);
    EXPECT_TRUE(IsLoaded(path));

    EXPECT_EQ(Text(*group, eKELT_LST_NAME), u"TestGroup");
    EXPECT_EQ(Text(*group, eKELT_LST_DISPLAYSTRING), u"Test group");
    ElementValue hint;
    EXPECT_EQ(group->GetProperty(eKELT_LST_ORDERHINT, hint), S_OK);
    EXPECT_EQ(hint.value.vt, kVtI4);
    EXPECT_EQ(hint.value.integer, -5);
    ElementValue unknown = hint;
    EXPECT_EQ(group->GetProperty(55, unknown), E_INVALIDARG);
    EXPECT_EQ(unknown.value.vt, kVtEmpty);
    // A group is no credential and has no site.
    EXPECT_EQ(group->Credential(), nullptr);
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
    IUIElement& fingerprint = *members.members[2];

    EXPECT_EQ(Text(password, eKELT_LST_NAME), u"Password");
    const Variant mask32 = Credential(password, eKELT_CRED_MASK);
    EXPECT_EQ(mask32.vt, kVtUi4);
    EXPECT_EQ(mask32.integer, 0x80000000ll);  // zero-extended
    const Variant type = Credential(password, eKELT_CRED_TYPE);
    EXPECT_EQ(type.vt, kVtUi4);
    EXPECT_EQ(type.integer, 1);
    const Variant reliable = Credential(password, eKELT_CRED_RELIABLE);
    EXPECT_EQ(reliable.vt, kVtBool);
    EXPECT_EQ(reliable.integer, -1);
    Variant none = Variant::I4(9);
    EXPECT_EQ(password.Credential()->GetCredProperty(77, none), E_INVALIDARG);
    EXPECT_EQ(none.vt, kVtEmpty);
    EXPECT_FALSE(password.HasSite());

    EXPECT_EQ(Text(fingerprint, eKELT_LST_NAME), u"Fingerprint");
    const Variant mask64 = Credential(fingerprint, eKELT_CRED_MASK);
    EXPECT_EQ(mask64.vt, kVtUi8);
    EXPECT_EQ(static_cast<std::uint64_t>(mask64.integer), 0x100000002ull);
    const auto siteState = Export<SiteStateFunction>(path, "VxTestSiteState");
    ASSERT_NE(siteState, nullptr);
    EXPECT_TRUE(fingerprint.HasSite());
    SiteCallback callback;
    EXPECT_EQ(fingerprint.SetSite(&callback), S_OK);
    EXPECT_EQ(siteState(), 1);  // an object of ours that answers for IUnknown
    EXPECT_EQ(fingerprint.SetSite(nullptr), S_OK);
    EXPECT_EQ(siteState(), 0);
  }
  // Every reference the adapters took is given back; the module stays.
  const auto liveObjects = Export<LiveObjectsFunction>(path, "VxTestLiveObjects");
  ASSERT_NE(liveObjects, nullptr) << "the module was unloaded";
  EXPECT_EQ(liveObjects(), 0);

  const auto trace = Trace();
  EXPECT_EQ(trace.Texts('U'), (std::vector<std::string>{Loading(kClsidGroup, path), "LoadLibraryEx succeeded.",
                                                        "GetProcAddress succeeded.", "DllGetClassObject succeeded.",
                                                        "IClassFactory::CreateInstance succeeded."}));
  // The test's own question, then the factory's, asked inside its scope.
  EXPECT_EQ(trace.Texts('>'), (std::vector<std::string>{"Win32SignatureVerifier::Verify",
                                                        "IKELTElementUIWrapper::CreateInstance(GUID)",
                                                        "Win32SignatureVerifier::Verify"}));
  EXPECT_TRUE(Results(trace, "hr").empty());
}

TEST_F(ElementFactoryTest, UnsignedModuleIsRejectedAndNeverLoaded) {
  const std::u16string path = PluginPath(u"vx_test_plugin_unsigned");
  EXPECT_EQ(Win32SignatureVerifier::Check(path), kNoSignature);
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  ElementPtr element = WrapElement(nullptr);
  EXPECT_EQ(factory.CreateInstance(path, kClsidGroup, element), kBadSignature);
  EXPECT_FALSE(element);
  EXPECT_FALSE(IsLoaded(path));

  const auto trace = Trace();
  EXPECT_EQ(trace.Texts('U'), (std::vector<std::string>{Loading(kClsidGroup, path)}));
  EXPECT_EQ(Results(trace, "hr"), (std::vector<std::string>{std::to_string(kBadSignature)}));
  EXPECT_EQ(Results(trace, "WinVerifyTrust"), (std::vector<std::string>{std::to_string(kNoSignature)}));
}

TEST(SignatureTest, SignatureMustCoverTheWholeFile) {
  const std::u16string signedPath = PluginPath(u"vx_test_plugin");
  EXPECT_TRUE(Win32SignatureVerifier().Verify(signedPath));
  EXPECT_FALSE(Win32SignatureVerifier().Verify(PluginPath(u"vx_no_such_plugin")));

  wchar_t temp[MAX_PATH + 1] = {};
  ASSERT_GT(::GetTempPathW(MAX_PATH + 1, temp), 0u);
  const std::u16string copy =
      AsU16(temp) + Utf8ToUtf16("vx-tampered-" + std::to_string(::GetCurrentProcessId()) + ".dll");
  ASSERT_TRUE(::CopyFileW(AsWide(signedPath), AsWide(copy), FALSE)) << ::GetLastError();
  EXPECT_TRUE(Win32SignatureVerifier().Verify(copy));
  // One byte of code changed after signing.
  const HANDLE file = ::CreateFileW(AsWide(copy), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(file, INVALID_HANDLE_VALUE);
  BYTE byte = 0;
  DWORD done = 0;
  ::SetFilePointer(file, 0x1400, nullptr, FILE_BEGIN);
  EXPECT_TRUE(::ReadFile(file, &byte, 1, &done, nullptr) && done == 1);
  byte ^= 0xFF;
  ::SetFilePointer(file, 0x1400, nullptr, FILE_BEGIN);
  EXPECT_TRUE(::WriteFile(file, &byte, 1, &done, nullptr) && done == 1);
  ::CloseHandle(file);
  EXPECT_FALSE(Win32SignatureVerifier().Verify(copy));
  ::DeleteFileW(AsWide(copy));
}

TEST_F(ElementFactoryTest, AlreadyLoadedModuleSkipsTheSignatureCheck) {
  const std::u16string path = PluginPath(u"vx_test_plugin_preloaded");  // unsigned
  const HMODULE ours = ::LoadLibraryW(AsWide(path));
  ASSERT_NE(ours, nullptr);
  auto verifier = std::make_shared<ScriptedVerifier>(false);
  Win32ElementFactory factory(verifier);
  ElementPtr element;
  EXPECT_EQ(factory.CreateInstance(path, kClsidPassword, element), S_OK);
  EXPECT_EQ(verifier->calls, 0);
  ASSERT_TRUE(element);
  EXPECT_EQ(Text(*element, eKELT_LST_NAME), u"Password");
  ElementValue hint;
  EXPECT_EQ(element->GetProperty(eKELT_LST_ORDERHINT, hint), S_OK);
  EXPECT_EQ(hint.value.integer, 42);
  // The factory holds a reference of its own on the module.
  ::FreeLibrary(ours);
  EXPECT_TRUE(IsLoaded(path));

  // A module that is not in the process is still asked about.
  const std::u16string other = PluginPath(u"vx_test_plugin_unsigned");
  EXPECT_EQ(factory.CreateInstance(other, kClsidPassword, element), kBadSignature);
  EXPECT_EQ(verifier->calls, 1);
  EXPECT_FALSE(element);
  EXPECT_FALSE(IsLoaded(other));

  const auto messages = Trace().Texts('U');
  ASSERT_EQ(messages.size(), 7u);
  EXPECT_EQ(messages[0], Loading(kClsidPassword, path));
  EXPECT_EQ(messages[1], "The module has already been loaded, skip signature check.");
  EXPECT_EQ(messages[2], "LoadLibraryEx succeeded.");
  EXPECT_EQ(messages[6], Loading(kClsidPassword, other));
}

TEST_F(ElementFactoryTest, FailuresAfterLoadingFreeTheModule) {
  const std::u16string missing = PluginPath(u"vx_no_such_plugin");
  const std::u16string noEntry = PluginPath(u"vx_test_plugin_no_entry");
  const std::u16string failing = PluginPath(u"vx_test_plugin_failing");
  Win32ElementFactory trusting(std::make_shared<ScriptedVerifier>(true));
  Win32ElementFactory factory(std::make_shared<Win32SignatureVerifier>());
  ElementPtr element;

  EXPECT_EQ(factory.CreateInstance(missing, kClsidGroup, element), kBadSignature);
  EXPECT_EQ(trusting.CreateInstance(missing, kClsidGroup, element), HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(factory.CreateInstance(noEntry, kClsidGroup, element), HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND));
  EXPECT_FALSE(IsLoaded(noEntry));
  EXPECT_EQ(factory.CreateInstance(failing, kClsidUnknown, element), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_FALSE(IsLoaded(failing));
  EXPECT_EQ(factory.CreateInstance(failing, kClsidRefusing, element), kFactoryFailure);
  EXPECT_FALSE(IsLoaded(failing));
  EXPECT_FALSE(element);

  const auto trace = Trace();
  // The second load of the failing module is checked and loaded anew: the first one freed it.
  EXPECT_EQ(trace.Texts('U'),
            (std::vector<std::string>{Loading(kClsidGroup, missing), Loading(kClsidGroup, missing),
                                      Loading(kClsidGroup, noEntry), "LoadLibraryEx succeeded.",
                                      Loading(kClsidUnknown, failing), "LoadLibraryEx succeeded.",
                                      "GetProcAddress succeeded.", Loading(kClsidRefusing, failing),
                                      "LoadLibraryEx succeeded.", "GetProcAddress succeeded.",
                                      "DllGetClassObject succeeded."}));
  EXPECT_EQ(Results(trace, "hr"),
            (std::vector<std::string>{std::to_string(kBadSignature),
                                      std::to_string(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)),
                                      std::to_string(HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND)),
                                      std::to_string(CLASS_E_CLASSNOTAVAILABLE), std::to_string(kFactoryFailure)}));
}

}  // namespace
}  // namespace vx::plugins

// The sample credential plug-ins, signed at build time, loaded by the real catalogues (Wine): each test
// registers the samples that the build copied beside this program under HKLM
// "SOFTWARE\Vantorix\KELT\Plugins" (deleted first and again afterwards, nothing else is touched) and
// builds catalogues through the Win32 element factory and signature check.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_registry.h"
#include "plugins/ui_tokens.h"
#include "plugins/win32/element_factory_win32.h"
#include "plugins/win32/signature_win32.h"
#include "sample_clsids.h"
#include "unit/trace_test_support.h"
#include "vxkelt/kelt_plugin.h"

using namespace vx::plugins;

namespace {

constexpr wchar_t kPluginsKey[] = L"SOFTWARE\\Vantorix\\KELT\\Plugins";
constexpr HRESULT kBadSignature = static_cast<HRESULT>(0x80090006);  // NTE_BAD_SIGNATURE
constexpr LONG kNoSignature = static_cast<LONG>(0x800B0100);         // TRUST_E_NOSIGNATURE

struct Sample {
  const wchar_t* clsid;
  const wchar_t* file;
};

constexpr std::array<Sample, 7> kSamples{{
    {VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll"},
    {VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll"},
    {VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll"},
    {VX_SAMPLE_CLSID_ONETIMECODE, L"vxsample_onetimecode.dll"},
    {VX_SAMPLE_CLSID_RECOVERYKEY, L"vxsample_recoverykey.dll"},
    {VX_SAMPLE_CLSID_BIOMETRICS, L"vxsample_biometrics.dll"},
    {VX_SAMPLE_CLSID_SECURITYKEY, L"vxsample_securitykey.dll"},
}};
constexpr wchar_t kUnsignedCopy[] = L"vxsample_securitykey_unsigned.dll";

std::wstring ProgramDirectory() {
  wchar_t path[MAX_PATH];
  const DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring directory(path, n);
  return directory.substr(0, directory.find_last_of(L'\\') + 1);
}

std::wstring BesideProgram(const wchar_t* file) { return ProgramDirectory() + file; }

void DeletePluginsKey() {
  const LONG rc = ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, kPluginsKey);
  ASSERT_TRUE(rc == ERROR_SUCCESS || rc == ERROR_FILE_NOT_FOUND) << rc;
}

void Register(const wchar_t* list, const std::wstring& subkey, const std::wstring& modulePath) {
  const std::wstring key = std::wstring(kPluginsKey) + L"\\UIElements\\" + list + L"\\" + subkey;
  const LONG rc = ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, modulePath.c_str(),
                                    static_cast<DWORD>((modulePath.size() + 1) * sizeof(wchar_t)));
  ASSERT_EQ(rc, ERROR_SUCCESS) << vx::Utf16ToUtf8(vx::AsU16(key.c_str()));
}

std::string Narrow(const std::u16string& text) { return vx::Utf16ToUtf8(text); }

std::vector<std::string> Names(const UIElements& catalogue) {
  std::vector<std::string> names;
  for (int i = 0; i < catalogue.GetSize(); ++i) names.push_back(Narrow(catalogue.GetKeyAt(i)));
  return names;
}

using NameList = std::vector<std::string>;

class SamplePlugins : public vxtest::TraceFixture {
 protected:
  // Every sample in both lists, except that the security key's class points at its unsigned copy.
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
    DeletePluginsKey();
    RegisterSamples(BesideProgram(kUnsignedCopy));
  }
  void TearDown() override { DeletePluginsKey(); }

  void RegisterSamples(const std::wstring& securityKeyModule) {
    for (const wchar_t* list : {L"GPOEditorTokens", L"Tokens"}) {
      for (const Sample& sample : kSamples) {
        const bool securityKey = std::wstring(sample.clsid) == VX_SAMPLE_CLSID_SECURITYKEY;
        Register(list, sample.clsid, securityKey ? securityKeyModule : BesideProgram(sample.file));
      }
    }
  }

  std::unique_ptr<UITokens> Tokens(std::u16string_view subkey, DWORD filter, bool expand) {
    auto tokens = std::make_unique<UITokens>(registry, factory, subkey, filter);
    EXPECT_EQ(tokens->LoadElements(expand), S_OK);
    return tokens;
  }

  bool Traced(HRESULT hr) {
    const std::string prefix = std::to_string(static_cast<long>(hr)) + " ";
    const auto results = File().Texts('E');
    return std::any_of(results.begin(), results.end(),
                       [&](const std::string& text) { return text.rfind(prefix, 0) == 0; });
  }

  vx::platform::Win32Registry registry;
  Win32ElementFactory factory{std::make_shared<Win32SignatureVerifier>()};
};

TEST(SampleSignatures, SignedSamplesVerifyAndTheUnsignedCopyDoesNot) {
  for (const Sample& sample : kSamples) {
    const std::wstring path = BesideProgram(sample.file);
    EXPECT_EQ(Win32SignatureVerifier::Check(vx::AsU16(path.c_str())), ERROR_SUCCESS) << Narrow(vx::AsU16(path.c_str()));
  }
  EXPECT_EQ(Win32SignatureVerifier::Check(vx::AsU16(BesideProgram(kUnsignedCopy).c_str())), kNoSignature);
}

TEST_F(SamplePlugins, PrimaryCatalogueHoldsPrimaryTokensInHintOrder) {
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenPrimary, true);
  // Smart card shares Fingerprint's hint 20 and moves to 21; Face comes from the group.
  EXPECT_EQ(Names(*tokens), (NameList{"Password", "Fingerprint", "SmartCard", "Face"}));
  EXPECT_EQ(tokens->AllMasks(), 0x27u);
}

TEST_F(SamplePlugins, SecondaryCatalogueAddsSecondaryOnlyTokensAfterTheHintedOnes) {
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenSecondary, true);
  // Voice's hint -1 sorts last among the hinted; One-time code finds 20 and 21 taken and goes after all.
  EXPECT_EQ(Names(*tokens), (NameList{"Password", "Fingerprint", "SmartCard", "Face", "Voice", "OneTimeCode"}));
  EXPECT_EQ(tokens->AllMasks(), 0x77u);
  const int oneTimeCode = tokens->FindKey(u"OneTimeCode");
  ASSERT_GE(oneTimeCode, 0);
  EXPECT_EQ(UITokens::GetCredType(*tokens->GetValueAt(oneTimeCode).get()), kCredTypeSecondaryOnly);
}

TEST_F(SamplePlugins, FullCatalogueAlsoHoldsTheBit3Token) {
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenAll, true);
  EXPECT_EQ(Names(*tokens),
            (NameList{"RecoveryKey", "Password", "Fingerprint", "SmartCard", "Face", "Voice", "OneTimeCode"}));
  EXPECT_EQ(tokens->AllMasks(), 0x7Fu);
}

TEST_F(SamplePlugins, GroupContributesItsMembersOnlyWhenExpanded) {
  const auto expanded = Tokens(kTokensSubkey, kTokenAll, true);
  EXPECT_GE(expanded->FindKey(u"Face"), 0);
  EXPECT_GE(expanded->FindKey(u"Voice"), 0);
  EXPECT_EQ(expanded->FindKey(u"Biometrics"), -1);

  // The group is no credential: without expansion nothing of it is a token.
  const auto collapsed = Tokens(kTokensSubkey, kTokenAll, false);
  EXPECT_EQ(Names(*collapsed), (NameList{"RecoveryKey", "Password", "Fingerprint", "SmartCard", "OneTimeCode"}));

  // A catalogue that keeps every element has the group itself at its hint 30.
  UIElements elements(registry, factory, kTokensSubkey);
  ASSERT_EQ(elements.LoadElements(false), S_OK);
  EXPECT_EQ(Names(elements),
            (NameList{"RecoveryKey", "Password", "Fingerprint", "SmartCard", "Biometrics", "OneTimeCode"}));
}

TEST_F(SamplePlugins, UnsignedModuleIsRefusedAndNeverLoaded) {
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenAll, true);
  EXPECT_EQ(tokens->FindKey(u"SecurityKey"), -1);
  EXPECT_EQ(::GetModuleHandleW(BesideProgram(kUnsignedCopy).c_str()), nullptr);
  EXPECT_TRUE(Traced(kBadSignature));
}

TEST_F(SamplePlugins, SignedBuildOfTheSameModuleLoads) {
  DeletePluginsKey();
  RegisterSamples(BesideProgram(L"vxsample_securitykey.dll"));
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenAll, true);
  EXPECT_EQ(Names(*tokens), (NameList{"RecoveryKey", "Password", "Fingerprint", "SmartCard", "Face", "SecurityKey",
                                      "Voice", "OneTimeCode"}));
  EXPECT_FALSE(Traced(kBadSignature));
}

TEST_F(SamplePlugins, NonGuidSubkeyIsSkippedWhileTheRestLoad) {
  Register(L"GPOEditorTokens", L"NotAClass", BesideProgram(L"vxsample_password.dll"));
  Register(L"GPOEditorTokens", L"{1D7C9E25-807A-4675-8742}", BesideProgram(L"vxsample_password.dll"));
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenPrimary, true);
  EXPECT_EQ(Names(*tokens), (NameList{"Password", "Fingerprint", "SmartCard", "Face"}));
  EXPECT_TRUE(Traced(kInvalidClassString));
}

TEST_F(SamplePlugins, CredentialPropertiesComeThroughWithTheirTypes) {
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenAll, true);
  struct Expected {
    const char16_t* name;
    ULONGLONG mask;
    DWORD type;
    bool reliable;
  };
  for (const Expected& e : {Expected{u"Password", 0x1, kCredTypeAny, true},
                            Expected{u"Fingerprint", 0x2, kCredTypeAny, true},
                            Expected{u"SmartCard", 0x4, kCredTypeAny, true},    // mask as VT_UI8
                            Expected{u"RecoveryKey", 0x8, kCredTypeAny, true},
                            Expected{u"OneTimeCode", 0x10, kCredTypeSecondaryOnly, false},
                            Expected{u"Voice", 0x40, kCredTypeSecondaryOnly, false}}) {
    SCOPED_TRACE(Narrow(e.name));
    const int index = tokens->FindKey(e.name);
    ASSERT_GE(index, 0);
    IUIElement& element = *tokens->GetValueAt(index).get();
    EXPECT_EQ(GetTokenMask(element), e.mask);
    EXPECT_EQ(UITokens::GetCredType(element), e.type);
    vx::Variant reliable;
    ASSERT_NE(element.Credential(), nullptr);
    ASSERT_EQ(element.Credential()->GetCredProperty(vx::plugins::eKELT_CRED_RELIABLE, reliable), S_OK);
    EXPECT_EQ(reliable.vt, vx::kVtBool);
    EXPECT_EQ(reliable.integer != 0, e.reliable);
    EXPECT_TRUE(element.HasSite());
  }
}

TEST_F(SamplePlugins, MasksReadAsTheSamplesDisplayNames) {
  const auto tokens = Tokens(kGpoEditorTokensSubkey, kTokenAll, true);
  const DisplayNameMap names(*tokens);
  ASSERT_EQ(names.GetSize(), 7);
  EXPECT_EQ(names.GetKeyAt(0), 0x8u);
  EXPECT_EQ(Narrow(names.GetValueAt(0)), "Recovery key");
  EXPECT_EQ(Narrow(names.MaskToText(0x13)), "Password+Fingerprint+One-time code");
  EXPECT_EQ(Narrow(names.MaskToText(0x28)), "Recovery key+Face");
  EXPECT_EQ(Narrow(names.MaskToText(0x104)), "Smart card+0x100");
  const std::array<ULONGLONG, 2> policy{0x1, 0x6};
  EXPECT_EQ(Narrow(names.PolicyToText(policy)), "Password\r\nFingerprint+Smart card");
}

// The module itself, as COM sees it: class object rules and the lock count behind DllCanUnloadNow.
TEST(SampleModule, ClassObjectAndUnloadRules) {
  const HMODULE module = ::LoadLibraryW(BesideProgram(L"vxsample_biometrics.dll").c_str());
  ASSERT_NE(module, nullptr);
  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
  // Through the generic function pointer type: GetProcAddress's own type does not match either export.
  using Export = void (*)();
  const auto getClassObject =
      reinterpret_cast<GetClassObject>(reinterpret_cast<Export>(::GetProcAddress(module, "DllGetClassObject")));
  const auto canUnloadNow =
      reinterpret_cast<CanUnloadNow>(reinterpret_cast<Export>(::GetProcAddress(module, "DllCanUnloadNow")));
  ASSERT_NE(getClassObject, nullptr);
  ASSERT_NE(canUnloadNow, nullptr);

  CLSID biometrics{};
  CLSID password{};
  ASSERT_EQ(::CLSIDFromString(VX_SAMPLE_CLSID_BIOMETRICS, &biometrics), S_OK);
  ASSERT_EQ(::CLSIDFromString(VX_SAMPLE_CLSID_PASSWORD, &password), S_OK);

  IClassFactory* factory = reinterpret_cast<IClassFactory*>(0x1);
  EXPECT_EQ(getClassObject(password, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
            CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(factory, nullptr);
  ASSERT_EQ(getClassObject(biometrics, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);

  IUnknown* object = reinterpret_cast<IUnknown*>(0x1);
  EXPECT_EQ(factory->CreateInstance(factory, IID_IUnknown, reinterpret_cast<void**>(&object)), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(canUnloadNow(), S_OK);

  IKELTElementUI* group = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IKELTElementUI, reinterpret_cast<void**>(&group)), S_OK);
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  IKELTCredential* credential = reinterpret_cast<IKELTCredential*>(0x1);
  EXPECT_EQ(group->QueryInterface(IID_IKELTCredential, reinterpret_cast<void**>(&credential)), E_NOINTERFACE);
  EXPECT_EQ(credential, nullptr);

  // The members: a one-dimensional array of VARIANTs holding IUnknown, each a credential.
  VARIANT members;
  ASSERT_EQ(group->GetProperty(::eKELT_LST_SUBELEMENTS, &members), S_OK);
  ASSERT_EQ(members.vt, VT_ARRAY | VT_VARIANT);
  ASSERT_EQ(::SafeArrayGetDim(members.parray), 1u);
  LONG lower = -1;
  LONG upper = -1;
  ::SafeArrayGetLBound(members.parray, 1, &lower);
  ::SafeArrayGetUBound(members.parray, 1, &upper);
  EXPECT_EQ(lower, 0);
  EXPECT_EQ(upper, 1);
  for (LONG i = lower; i <= upper; ++i) {
    VARIANT entry;
    ::VariantInit(&entry);
    ASSERT_EQ(::SafeArrayGetElement(members.parray, &i, &entry), S_OK);
    ASSERT_EQ(entry.vt, VT_UNKNOWN);
    IKELTCredential* memberCredential = nullptr;
    EXPECT_EQ(entry.punkVal->QueryInterface(IID_IKELTCredential, reinterpret_cast<void**>(&memberCredential)), S_OK);
    if (memberCredential != nullptr) memberCredential->Release();
    ::VariantClear(&entry);
  }
  ::VariantClear(&members);
  VARIANT name;
  ASSERT_EQ(group->GetProperty(::eKELT_LST_NAME, &name), S_OK);
  EXPECT_EQ(name.vt, VT_BSTR);
  EXPECT_STREQ(name.bstrVal, L"Biometrics");
  ::VariantClear(&name);
  group->Release();
  EXPECT_EQ(canUnloadNow(), S_OK);

  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(canUnloadNow(), S_OK);
  factory->Release();
  ::FreeLibrary(module);
}

}  // namespace

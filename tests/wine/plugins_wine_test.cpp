// The sample credential plug-ins as the build leaves them beside this program: signed (but for the
// unsigned copy of one), and answering COM as a plug-in module must. The catalogues over them are shown
// through the snap-in by the console test; what the element adapters make of plug-in modules, by the
// element factory test.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <string>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"
#include "plugins/win32/signature_win32.h"
#include "sample_tokens.h"
#include "vxkelt/kelt_plugin.h"

using namespace vx::plugins;

namespace {

using vxtest::BesideProgram;

constexpr LONG kNoSignature = static_cast<LONG>(0x800B0100);  // TRUST_E_NOSIGNATURE

constexpr std::array<std::pair<const wchar_t*, const wchar_t*>, 7> kSamples{{
    {VX_SAMPLE_CLSID_PASSWORD, L"vxsample_password.dll"},
    {VX_SAMPLE_CLSID_FINGERPRINT, L"vxsample_fingerprint.dll"},
    {VX_SAMPLE_CLSID_SMARTCARD, L"vxsample_smartcard.dll"},
    {VX_SAMPLE_CLSID_ONETIMECODE, L"vxsample_onetimecode.dll"},
    {VX_SAMPLE_CLSID_RECOVERYKEY, L"vxsample_recoverykey.dll"},
    {VX_SAMPLE_CLSID_BIOMETRICS, L"vxsample_biometrics.dll"},
    {VX_SAMPLE_CLSID_SECURITYKEY, L"vxsample_securitykey.dll"},
}};
constexpr wchar_t kUnsignedCopy[] = L"vxsample_securitykey_unsigned.dll";

std::u16string Beside(const wchar_t* file) { return vx::AsU16(BesideProgram(file).c_str()); }

TEST(SampleSignatures, SignedSamplesVerifyAndTheUnsignedCopyDoesNot) {
  for (const auto& [clsid, file] : kSamples) {
    EXPECT_EQ(Win32SignatureVerifier::Check(Beside(file)), ERROR_SUCCESS) << vx::Utf16ToUtf8(Beside(file));
  }
  EXPECT_EQ(Win32SignatureVerifier::Check(Beside(kUnsignedCopy)), kNoSignature);
}

// The module itself, as COM sees it: class object rules and the lock count behind DllCanUnloadNow.
TEST(SampleModule, ClassObjectAndUnloadRules) {
  const vx::platform::UniqueLibrary module(::LoadLibraryW(BesideProgram(L"vxsample_biometrics.dll").c_str()));
  ASSERT_NE(module, nullptr);
  const auto getClassObject =
      vx::platform::ProcAddress<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(module.get(), "DllGetClassObject");
  const auto canUnloadNow = vx::platform::ProcAddress<HRESULT(STDAPICALLTYPE*)()>(module.get(), "DllCanUnloadNow");
  ASSERT_TRUE(getClassObject && canUnloadNow);
  CLSID biometrics{}, password{};
  ASSERT_EQ(::CLSIDFromString(VX_SAMPLE_CLSID_BIOMETRICS, &biometrics), S_OK);
  ASSERT_EQ(::CLSIDFromString(VX_SAMPLE_CLSID_PASSWORD, &password), S_OK);

  IClassFactory* factory = reinterpret_cast<IClassFactory*>(0x1);
  EXPECT_EQ(getClassObject(password, IID_IClassFactory, reinterpret_cast<void**>(&factory)), CLASS_E_CLASSNOTAVAILABLE);
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

  // The members: a one-dimensional array of VARIANTs from 0 holding IUnknown, each a credential.
  VARIANT members;
  ASSERT_EQ(group->GetProperty(::eKELT_LST_SUBELEMENTS, &members), S_OK);
  ASSERT_EQ(members.vt, VT_ARRAY | VT_VARIANT);
  ASSERT_EQ(::SafeArrayGetDim(members.parray), 1u);
  LONG lower = -1, upper = -1;
  ::SafeArrayGetLBound(members.parray, 1, &lower);
  ::SafeArrayGetUBound(members.parray, 1, &upper);
  EXPECT_EQ(lower, 0);
  EXPECT_EQ(upper, 1);
  for (LONG i = lower; i <= upper; ++i) {
    VARIANT entry;
    ::VariantInit(&entry);
    ASSERT_EQ(::SafeArrayGetElement(members.parray, &i, &entry), S_OK);
    ASSERT_EQ(entry.vt, VT_UNKNOWN);
    EXPECT_EQ(entry.punkVal->QueryInterface(IID_IKELTCredential, reinterpret_cast<void**>(&credential)), S_OK);
    if (credential != nullptr) credential->Release();
    ::VariantClear(&entry);
  }
  ::VariantClear(&members);
  group->Release();
  EXPECT_EQ(canUnloadNow(), S_OK);

  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(canUnloadNow(), S_FALSE);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(canUnloadNow(), S_OK);
  factory->Release();
}

}  // namespace

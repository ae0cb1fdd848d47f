// The RSoP ports on the real platform: VARIANT conversion, the clipboard, the console's RSoP information,
// the directory, the WMI adapters over a logging fixture locator, and the console host's RSoP fixture.
// The RSoP data over all of them, a second instance using the clipboard included, is the console test's.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "platform/text.h"
#include "platform/win32/variant_win32.h"
#include "rsop/win32/clipboard_win32.h"
#include "rsop/win32/directory_win32.h"
#include "rsop/win32/rsop_information_win32.h"
#include "rsop/win32/wmi_rsop.h"
#include "rsop_root.h"
#include "wine_support.h"
#include "wmi_fixture.h"

namespace vx::rsop {
namespace {

auto Fields(const Variant& v) { return std::tuple(v.vt, v.integer, v.text, v.nullString, v.bytes); }

Variant OfType(std::uint16_t vt) {
  Variant value;
  value.vt = vt;
  return value;
}

SAFEARRAY* ByteArray(VARTYPE type, std::vector<BYTE> bytes, LONG lowerBound) {
  SAFEARRAY* array = ::SafeArrayCreateVector(type, lowerBound, static_cast<ULONG>(bytes.size()));
  void* data = nullptr;
  if (SUCCEEDED(::SafeArrayAccessData(array, &data))) {
    std::copy(bytes.begin(), bytes.end(), static_cast<BYTE*>(data));
    ::SafeArrayUnaccessData(array);
  }
  return array;
}

// What the core reads keeps type and value; anything else keeps only its type.
TEST(VariantWin32Test, ConvertsWhatTheCoreReads) {
  const std::vector<BYTE> bytes = {'0', 0, '3', 0, 0, 0, 0, 0};
  const struct {
    const char* what;
    std::function<void(VARIANT&)> make;
    Variant expected;
  } cases[] = {
      {"empty", [](VARIANT&) {}, Variant::Empty()},
      {"null", [](VARIANT& v) { V_VT(&v) = VT_NULL; }, OfType(kVtNull)},
      {"I4 is sign-extended", [](VARIANT& v) { V_VT(&v) = VT_I4, V_I4(&v) = -7; }, Variant::I4(-7)},
      {"UI4 is not", [](VARIANT& v) { V_VT(&v) = VT_UI4, V_UI4(&v) = 0xFFFFFFFEu; }, Variant::Ui4(0xFFFFFFFEu)},
      {"UI8", [](VARIANT& v) { V_VT(&v) = VT_UI8, V_UI8(&v) = 1ULL << 63; }, Variant::Ui8(1ULL << 63)},
      {"true", [](VARIANT& v) { V_VT(&v) = VT_BOOL, V_BOOL(&v) = VARIANT_TRUE; }, Variant::Bool(true)},
      {"false", [](VARIANT& v) { V_VT(&v) = VT_BOOL, V_BOOL(&v) = VARIANT_FALSE; }, Variant::Bool(false)},
      {"BSTR with a NUL", [](VARIANT& v) { V_VT(&v) = VT_BSTR, V_BSTR(&v) = ::SysAllocStringLen(L"ab\0cd", 5); },
       Variant::Bstr(std::u16string(u"ab\0cd", 5))},
      {"null BSTR", [](VARIANT& v) { V_VT(&v) = VT_BSTR, V_BSTR(&v) = nullptr; }, Variant::NullBstr()},
      {"bytes from 7", [&](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_UI1, V_ARRAY(&v) = ByteArray(VT_UI1, bytes, 7); },
       Variant::Bytes(bytes)},
      {"no bytes", [](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_UI1, V_ARRAY(&v) = ByteArray(VT_UI1, {}, 1); },
       Variant::Bytes({})},
      {"I4 array", [](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_I4, V_ARRAY(&v) = ByteArray(VT_I4, {}, 0); },
       OfType(VT_ARRAY | VT_I4)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    platform::UniqueVariant raw;
    c.make(*raw.Put());
    Variant value = Variant::Bstr(u"anything the conversion must overwrite");
    value.integer = 12345;
    ASSERT_EQ(platform::VariantToCore(*raw.Get(), value), S_OK);
    EXPECT_EQ(Fields(value), Fields(c.expected));
  }
}

// A clipboard format of this process.
std::u16string Format(const char* name) {
  return Utf8ToUtf16(std::string("VX_TEST_") + name + "_" + std::to_string(::GetCurrentProcessId()));
}

// Get leaves the clipboard open, as the established transfer does: the steps close it (closing fails
// when it was not open). The round trip between two instances is the console test's RSoP view.
TEST(ClipboardWin32Test, TheTextTravelsAsTextAndOneNulInItsOwnFormat) {
  Win32RsopClipboard clipboard;
  const std::u16string ns = u"\\\\.\\Root\\Rsop\\NS1A2B\\User_S_1_5_21";
  // A second Put of a format replaces its item; other formats are kept (nothing is emptied).
  ASSERT_EQ(clipboard.Put(Format("OTHER"), u"kept"), S_OK);
  ASSERT_EQ(clipboard.Put(Format("NS"), u"replaced"), S_OK);
  ASSERT_EQ(clipboard.Put(Format("NS"), ns), S_OK);
  EXPECT_FALSE(::CloseClipboard()) << "Put closes the clipboard";
  std::u16string text = u"stale";
  ASSERT_EQ(clipboard.Get(Format("NS"), text), S_OK);
  EXPECT_EQ(text, ns);
  const HANDLE block = ::GetClipboardData(::RegisterClipboardFormatW(AsWide(Format("NS"))));
  ASSERT_NE(block, nullptr) << "Get leaves the clipboard open";
  ASSERT_GE(::GlobalSize(block), (ns.size() + 1) * sizeof(char16_t));
  EXPECT_EQ(std::u16string(static_cast<const char16_t*>(::GlobalLock(block)), ns.size() + 1), ns + u'\0');
  ::GlobalUnlock(block);
  EXPECT_TRUE(::CloseClipboard());
  EXPECT_EQ(clipboard.Get(Format("OTHER"), text), S_OK);
  EXPECT_EQ(text, u"kept");
  ::CloseClipboard();

  // The text ends at its first NUL; no text, or none at all, is no interface.
  EXPECT_EQ(clipboard.Get(Format("NEVER_PUT"), text), E_NOINTERFACE);
  EXPECT_TRUE(text.empty()) << "the output is cleared first";
  EXPECT_TRUE(::CloseClipboard()) << "a missing item leaves the clipboard open too";
  ASSERT_EQ(clipboard.Put(Format("EMPTY"), u""), S_OK);
  EXPECT_EQ(clipboard.Get(Format("EMPTY"), text), E_NOINTERFACE);
  ::CloseClipboard();
  ASSERT_EQ(clipboard.Put(Format("NUL"), std::u16string_view(u"ab\0cd", 5)), S_OK);
  EXPECT_EQ(clipboard.Get(Format("NUL"), text), S_OK);
  EXPECT_EQ(text, u"ab");
  ::CloseClipboard();
}

TEST(ClipboardWin32Test, AClipboardHeldByAWindowElsewhereGivesTheLastError) {
  const HANDLE opened = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const HANDLE release = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  bool held = false;
  std::thread holder([&] {
    const HWND window =
        ::CreateWindowExW(0, L"STATIC", L"holder", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    held = window != nullptr && ::OpenClipboard(window);
    ::SetEvent(opened);
    ::WaitForSingleObject(release, 10000);
    if (held) ::CloseClipboard();
    if (window != nullptr) ::DestroyWindow(window);
  });
  ::WaitForSingleObject(opened, 10000);
  Win32RsopClipboard clipboard;
  std::u16string text;
  const HRESULT put = held ? clipboard.Put(Format("BUSY"), u"x") : S_OK;
  const HRESULT get = held ? clipboard.Get(Format("BUSY"), text) : S_OK;
  ::SetEvent(release);
  holder.join();
  ::CloseHandle(opened);
  ::CloseHandle(release);
  ASSERT_TRUE(held) << "no window could hold the clipboard";
  EXPECT_EQ(HRESULT_FACILITY(put), FACILITY_WIN32) << std::hex << put;
  EXPECT_TRUE(FAILED(get)) << std::hex << get;
  EXPECT_NE(get, E_NOINTERFACE) << "a failed OpenClipboard is not a missing item";
}

// The namespaces of both sections show in the console test's RSoP views, and its second view has no
// console object; here, failures and references.
TEST(RsopInformationWin32Test, AsksTheConsoleObjectForTheNamespaceOfTheSection) {
  console::RsopFixture fixture;
  IRSOPInformation* console = fixture.Information();
  console->AddRef();
  const ULONG before = console->Release();
  {
    Win32RsopInformationSource source(console);
    std::u16string ns = u"stale";
    EXPECT_EQ(source.GetNamespace(GPO_SECTION_USER, ns, 10), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER))
        << "the console object's failure is passed on";
    EXPECT_TRUE(ns.empty());
  }
  console->AddRef();
  EXPECT_EQ(console->Release(), before) << "every reference is given back";

  Microsoft::WRL::ComPtr<IStream> plain;  // a console object without IRSOPInformation
  ASSERT_EQ(::CreateStreamOnHGlobal(nullptr, TRUE, &plain), S_OK);
  Win32RsopInformationSource source(plain.Get());
  EXPECT_FALSE(source.HasRsopInformation());
  std::u16string ns = u"stale";
  EXPECT_EQ(source.GetNamespace(1, ns, 260), E_NOINTERFACE);
  EXPECT_TRUE(ns.empty());
}

// Only failures can be seen here. The path names a server: Wine's directory client faults on a
// server-less LDAP path ("LDAP://CN=...") instead of failing, which no adapter could catch.
TEST(DirectoryWin32Test, UnreachableDirectoryFailsWithoutAValue) {
  Variant value = Variant::Bstr(u"stale");
  const HRESULT hr = Win32Directory().GetAttribute(
      u"LDAP://vx.invalid/CN={31B2F340-016D-11D2-945F-00C04FB984F9},CN=Policies,CN=System,DC=vx,DC=invalid",
      u"displayName", value);
  EXPECT_TRUE(FAILED(hr)) << std::hex << hr;
  EXPECT_EQ(value.vt, kVtEmpty);
}

constexpr CLSID kTestLocator = {0x5808847f, 0x1a6c, 0x4d6f, {0xb9, 0xa9, 0xd2, 0xb5, 0x3f, 0x5e, 0x03, 0xda}};
constexpr wchar_t kSettingsNamespace[] = L"\\\\.\\root\\rsop\\vxtest\\settings";
// One object, then Next fails.
constexpr wchar_t kBrokenNamespace[] = L"\\\\.\\root\\rsop\\vxtest\\broken";
constexpr HRESULT kBrokenNext = static_cast<HRESULT>(WBEM_E_FAILED);

// One object without properties in either namespace, and a log of the calls the objects receive.
class LoggingSource final : public wmifixture::IFixtureSource {
 public:
  bool Objects(const std::wstring& ns, std::vector<wmifixture::FixtureObject>& out) override {
    out.assign(1, {});
    return ::_wcsicmp(ns.c_str(), kBrokenNamespace) == 0 || ::_wcsicmp(ns.c_str(), kSettingsNamespace) == 0;
  }
  HRESULT EndOfEnumeration(const std::wstring& ns) override {
    return ::_wcsicmp(ns.c_str(), kBrokenNamespace) == 0 ? kBrokenNext : S_FALSE;
  }
  void Log(const std::wstring& line) override { log += Utf16ToUtf8(AsU16(line.c_str())) + "\n"; }
  std::string log;
};

// The adapters over the test locator's class object, registered in this apartment: every call passes
// on with its arguments, the properties arrive converted, and every failure of the server comes back.
TEST(WmiRsopTest, TheAdaptersPassCallsOnAndResultsBack) {
  ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  const auto source = std::make_shared<LoggingSource>();
  DWORD cookie = 0;
  {
    Microsoft::WRL::ComPtr<IUnknown> factory;
    ASSERT_EQ(wmifixture::CreateLocatorFactory(source, IID_IUnknown, reinterpret_cast<void**>(factory.GetAddressOf())),
              S_OK);
    ASSERT_EQ(::CoRegisterClassObject(kTestLocator, factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie),
              S_OK);
    WmiRsopLocator locator(kTestLocator);
    std::unique_ptr<IRsopServices> services;
    std::unique_ptr<IRsopObjectEnum> objects;
    std::unique_ptr<IRsopObject> object;
    const std::u16string_view query = u"SELECT * FROM RSOP_RegistryPolicySetting";
    ASSERT_EQ(locator.ConnectServer(AsU16(kSettingsNamespace), services), S_OK);
    ASSERT_EQ(services->ExecQuery(u"WQL", query, 0x30, objects), S_OK);
    ASSERT_EQ(objects->Next(object), S_OK);
    // A property read is the console test's RSoP view, its conversion VariantWin32Test's.
    Variant value;
    EXPECT_EQ(object->Get(u"noSuchProperty", value), static_cast<HRESULT>(WBEM_E_NOT_FOUND));
    EXPECT_EQ(objects->Next(object), S_FALSE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(source->log,
              "ConnectServer(\\\\.\\root\\rsop\\vxtest\\settings, user=null, password=null, locale=null, flags=0x0, "
              "authority=null, context=null)\n"
              "ExecQuery(WQL, SELECT * FROM RSOP_RegistryPolicySetting, 0x30, context=null)\n"
              "Next(-1, 1)\nNext(-1, 1)\n");

    EXPECT_EQ(services->ExecQuery(u"WQL", u"SELECT * FROM Win32_Process", 0, objects),
              static_cast<HRESULT>(WBEM_E_INVALID_QUERY));
    EXPECT_EQ(objects, nullptr);
    ASSERT_EQ(locator.ConnectServer(AsU16(kBrokenNamespace), services), S_OK);
    ASSERT_EQ(services->ExecQuery(u"WQL", query, 0x30, objects), S_OK);
    EXPECT_EQ(objects->Next(object), S_OK);
    EXPECT_EQ(objects->Next(object), kBrokenNext);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(locator.ConnectServer(u"\\\\.\\root\\rsop\\nowhere", services),
              static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
    EXPECT_EQ(services, nullptr);
    // A class nobody registered: CoCreateInstance's own failure.
    const CLSID unregistered = {0x5808847f, 0x1a6c, 0x4d6f, {0xb9, 0xa9, 0xd2, 0xb5, 0x3f, 0x5e, 0x03, 0xdb}};
    ASSERT_EQ(locator.ConnectServer(AsU16(kSettingsNamespace), services), S_OK);
    EXPECT_EQ(WmiRsopLocator(unregistered).ConnectServer(AsU16(kSettingsNamespace), services), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(services, nullptr);
  }
  ::CoRevokeClassObject(cookie);
  EXPECT_EQ(wmifixture::LiveObjects(), 0) << "every object of the locator is released";
  ::CoUninitialize();
}

// The console host's fixture file is only read; what cannot be used is reported and changes nothing.
TEST(RsopFixtureTest, AFileThatCannotBeUsedIsReportedAndChangesNothing) {
  ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  {
    vxtest::ScratchFolder folder;
    console::RsopFixture fixture;
    std::wstring error;
    std::ofstream(std::filesystem::path(folder / L"good.txt"), std::ios::binary)
        << "machine | 1 | GPO | LogonPolicy | 3\nuser | 1 | GPO | RuntimePolicy |\n";
    std::ofstream(std::filesystem::path(folder / L"bad.txt"), std::ios::binary)
        << "computer | 1 | GPO | LogonPolicy | 1\n";
    ASSERT_EQ(fixture.Load(folder / L"good.txt", error), S_OK);
    EXPECT_EQ(fixture.Load(folder / L"missing.txt", error), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(error, folder / L"missing.txt" + L": cannot read the file (error 2)");
    EXPECT_EQ(fixture.Load(folder / L"bad.txt", error), HRESULT_FROM_WIN32(ERROR_INVALID_DATA));
    EXPECT_NE(error.find(L"bad.txt: line 1: unknown section 'computer'"), std::wstring::npos);
    EXPECT_EQ(fixture.SettingCount(), 2u) << "the settings loaded before stay";
    ASSERT_EQ(fixture.Register(), S_OK);
    EXPECT_EQ(fixture.Register(), S_FALSE) << "registered once";
    EXPECT_EQ(fixture.Load(folder / L"good.txt", error), E_UNEXPECTED) << "not while it is served";
    fixture.Revoke();
    EXPECT_FALSE(fixture.Registered());
  }
  EXPECT_EQ(wmifixture::LiveObjects(), 0) << "every locator object is released";
  ::CoUninitialize();
}

}  // namespace
}  // namespace vx::rsop

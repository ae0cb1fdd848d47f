// The RSoP ports on the real platform: VARIANT conversion, the clipboard, the console's RSoP information,
// the directory, and the WMI adapters over a fixture locator served in this apartment that logs what it
// is asked. The RSoP data over all of them, as the snap-in reads it, is the console test's RSoP view.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/text.h"
#include "platform/win32/variant_win32.h"
#include "rsop/rsop_data.h"
#include "rsop/win32/clipboard_win32.h"
#include "rsop/win32/directory_win32.h"
#include "rsop/win32/rsop_information_win32.h"
#include "rsop/win32/wmi_rsop.h"
#include "rsop_root.h"
#include "wine_support.h"
#include "wmi_fixture.h"

namespace vx::rsop {
namespace {

using platform::UniqueVariant;
using platform::VariantToCore;
using wmifixture::FixtureObject;
using wmifixture::FixtureValue;

constexpr char16_t kQuery[] = u"SELECT * FROM RSOP_RegistryPolicySetting";
constexpr LONG kQueryFlags = kWbemFlagReturnImmediately | kWbemFlagForwardOnly;

std::string Narrow(std::u16string_view text) { return Utf16ToUtf8(text); }
std::string Narrow(const wchar_t* text) { return Utf16ToUtf8(AsU16(text)); }

SAFEARRAY* ByteArray(VARTYPE type, std::vector<BYTE> bytes, LONG lowerBound) {
  SAFEARRAYBOUND bound{static_cast<ULONG>(bytes.size()), lowerBound};
  SAFEARRAY* array = ::SafeArrayCreate(type, 1, &bound);
  void* data = nullptr;
  if (!bytes.empty() && SUCCEEDED(::SafeArrayAccessData(array, &data))) {
    std::copy(bytes.begin(), bytes.end(), static_cast<BYTE*>(data));
    ::SafeArrayUnaccessData(array);
  }
  return array;
}

// ---------------------------------------------------------------- VARIANT conversion

Variant OfType(std::uint16_t vt) {
  Variant value;
  value.vt = vt;
  return value;
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
      {"UI8", [](VARIANT& v) { V_VT(&v) = VT_UI8, V_UI8(&v) = 0x8000000000000005ULL; },
       Variant::Ui8(0x8000000000000005ULL)},
      {"true", [](VARIANT& v) { V_VT(&v) = VT_BOOL, V_BOOL(&v) = VARIANT_TRUE; }, Variant::Bool(true)},
      {"false", [](VARIANT& v) { V_VT(&v) = VT_BOOL, V_BOOL(&v) = VARIANT_FALSE; }, Variant::Bool(false)},
      {"BSTR with a NUL", [](VARIANT& v) { V_VT(&v) = VT_BSTR, V_BSTR(&v) = ::SysAllocStringLen(L"ab\0cd", 5); },
       Variant::Bstr(std::u16string(u"ab\0cd", 5))},
      {"null BSTR", [](VARIANT& v) { V_VT(&v) = VT_BSTR, V_BSTR(&v) = nullptr; }, Variant::NullBstr()},
      {"empty BSTR", [](VARIANT& v) { V_VT(&v) = VT_BSTR, V_BSTR(&v) = ::SysAllocString(L""); }, Variant::Bstr(u"")},
      {"bytes from 0", [&](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_UI1, V_ARRAY(&v) = ByteArray(VT_UI1, bytes, 0); },
       Variant::Bytes(bytes)},
      {"bytes from 7", [&](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_UI1, V_ARRAY(&v) = ByteArray(VT_UI1, bytes, 7); },
       Variant::Bytes(bytes)},
      {"bytes from -3", [&](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_UI1, V_ARRAY(&v) = ByteArray(VT_UI1, bytes, -3); },
       Variant::Bytes(bytes)},
      {"no bytes", [](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_UI1, V_ARRAY(&v) = ByteArray(VT_UI1, {}, 1); },
       Variant::Bytes({})},
      {"date", [](VARIANT& v) { V_VT(&v) = VT_DATE, V_DATE(&v) = 45000.5; }, OfType(VT_DATE)},
      {"I2", [](VARIANT& v) { V_VT(&v) = VT_I2, V_I2(&v) = 9; }, OfType(VT_I2)},
      {"I4 array", [](VARIANT& v) { V_VT(&v) = VT_ARRAY | VT_I4, V_ARRAY(&v) = ByteArray(VT_I4, {}, 0); },
       OfType(VT_ARRAY | VT_I4)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    UniqueVariant raw;
    c.make(*raw.Put());
    Variant value = Variant::Bstr(u"anything the conversion must overwrite");
    value.integer = 12345;
    ASSERT_EQ(VariantToCore(*raw.Get(), value), S_OK);
    EXPECT_EQ(value.vt, c.expected.vt);
    EXPECT_EQ(value.integer, c.expected.integer);
    EXPECT_EQ(value.text, c.expected.text);
    EXPECT_EQ(value.nullString, c.expected.nullString);
    EXPECT_EQ(value.bytes, c.expected.bytes);
  }
}

// ---------------------------------------------------------------- clipboard

class ClipboardTest : public ::testing::Test {
 protected:
  // Get leaves the clipboard open; each test step closes it so that the next one starts clean.
  void TearDown() override { ::CloseClipboard(); }
  // Whether this thread had the clipboard open (closing fails when it had not).
  static bool CloseWasNeeded() { return ::CloseClipboard() != FALSE; }
  static std::u16string Format(const char* name) {
    return Utf8ToUtf16(std::string("VX_TEST_") + name + "_" + std::to_string(::GetCurrentProcessId()));
  }

  Win32RsopClipboard m_clipboard;
};

TEST_F(ClipboardTest, PutThenGetGivesTheTextAndTheBlockHasTheTransferLayout) {
  const std::u16string format = Format("NS");
  const std::u16string ns = u"\\\\.\\Root\\Rsop\\NS1A2B\\User_S_1_5_21";
  ASSERT_EQ(m_clipboard.Put(format, ns), S_OK);
  EXPECT_FALSE(CloseWasNeeded()) << "Put closes the clipboard";
  std::u16string text = u"stale";
  ASSERT_EQ(m_clipboard.Get(format, text), S_OK);
  EXPECT_EQ(Narrow(text), Narrow(ns));

  // Still open from Get: the raw item is the text and one NUL, no header.
  const HANDLE block = ::GetClipboardData(::RegisterClipboardFormatW(AsWide(format)));
  ASSERT_NE(block, nullptr) << "Get leaves the clipboard open";
  ASSERT_GE(::GlobalSize(block), (ns.size() + 1) * sizeof(char16_t));
  const auto* raw = static_cast<const char16_t*>(::GlobalLock(block));
  ASSERT_NE(raw, nullptr);
  EXPECT_EQ(std::u16string(raw, ns.size() + 1), ns + u'\0');
  ::GlobalUnlock(block);
  EXPECT_TRUE(CloseWasNeeded());

  // A second Put of the same format replaces the item; other formats are kept (nothing is emptied).
  ASSERT_EQ(m_clipboard.Put(Format("OTHER"), u"kept"), S_OK);
  ASSERT_EQ(m_clipboard.Put(format, u"second"), S_OK);
  EXPECT_EQ(m_clipboard.Get(format, text), S_OK);
  EXPECT_EQ(Narrow(text), "second");
  EXPECT_EQ(m_clipboard.Get(Format("OTHER"), text), S_OK);
  EXPECT_EQ(Narrow(text), "kept");
}

TEST_F(ClipboardTest, TheTextEndsAtItsFirstNulAndNoTextIsNoInterface) {
  std::u16string text = u"stale";
  EXPECT_EQ(m_clipboard.Get(Format("NEVER_PUT"), text), E_NOINTERFACE);
  EXPECT_TRUE(text.empty()) << "the output is cleared first";
  EXPECT_TRUE(CloseWasNeeded()) << "a missing item leaves the clipboard open too";

  // A null text is stored as empty.
  const struct {
    std::u16string_view put;
    HRESULT expected;
    const char* text;
  } cases[] = {{std::u16string_view(), E_NOINTERFACE, ""},
               {std::u16string_view(u"ab\0cd", 5), S_OK, "ab"},
               {std::u16string_view(u"\0x", 2), E_NOINTERFACE, ""}};
  for (const auto& c : cases) {
    ASSERT_EQ(m_clipboard.Put(Format("EMPTY"), c.put), S_OK);
    EXPECT_EQ(m_clipboard.Get(Format("EMPTY"), text), c.expected) << c.put.size();
    EXPECT_EQ(Narrow(text), c.text);
    ::CloseClipboard();
  }
}

TEST_F(ClipboardTest, AClipboardHeldByAWindowElsewhereGivesTheLastError) {
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
  std::u16string text;
  const HRESULT put = held ? m_clipboard.Put(Format("BUSY"), u"x") : S_OK;
  const HRESULT get = held ? m_clipboard.Get(Format("BUSY"), text) : S_OK;
  ::SetEvent(release);
  holder.join();
  ::CloseHandle(opened);
  ::CloseHandle(release);
  ASSERT_TRUE(held) << "no window could hold the clipboard";
  EXPECT_TRUE(FAILED(put)) << std::hex << put;
  EXPECT_EQ(HRESULT_FACILITY(put), FACILITY_WIN32) << std::hex << put;
  EXPECT_TRUE(FAILED(get)) << std::hex << get;
  EXPECT_NE(get, E_NOINTERFACE) << "a failed OpenClipboard is not a missing item";
}

// ---------------------------------------------------------------- console information, directory

// A console object without IRSOPInformation.
class PlainUnknown final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = iid == IID_IUnknown ? this : nullptr;
    return *out ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

// References held on an object, seen through a pair of AddRef and Release.
ULONG References(IUnknown* object) {
  object->AddRef();
  return object->Release();
}

TEST(RsopInformationWin32Test, AsksTheConsoleObjectForTheNamespaceOfTheSection) {
  console::RsopFixture fixture;
  IRSOPInformation* console = fixture.Information();
  const ULONG before = References(console);
  {
    Win32RsopInformationSource source(console);
    EXPECT_TRUE(source.HasRsopInformation());
    std::u16string ns;
    EXPECT_EQ(source.GetNamespace(GPO_SECTION_MACHINE, ns, 260), S_OK);
    EXPECT_EQ(Narrow(ns), Narrow(console::kRsopMachineNamespace));
    EXPECT_EQ(source.GetNamespace(GPO_SECTION_USER, ns, 260), S_OK);
    EXPECT_EQ(Narrow(ns), Narrow(console::kRsopUserNamespace));
    EXPECT_EQ(source.GetNamespace(GPO_SECTION_USER, ns, 10), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER))
        << "the console object's failure is passed on";
    EXPECT_TRUE(ns.empty());
  }
  EXPECT_EQ(References(console), before) << "every reference is given back";

  PlainUnknown plain;
  for (IUnknown* object : {static_cast<IUnknown*>(&plain), static_cast<IUnknown*>(nullptr)}) {
    Win32RsopInformationSource source(object);
    EXPECT_FALSE(source.HasRsopInformation());
    std::u16string ns = u"stale";
    EXPECT_EQ(source.GetNamespace(1, ns, 260), E_NOINTERFACE);
    EXPECT_TRUE(ns.empty());
  }
}

// Only failures can be seen here. The paths name a server: Wine's directory client faults on a
// server-less LDAP path ("LDAP://CN=...") instead of failing, which no adapter could catch.
TEST(DirectoryWin32Test, UnreachableDirectoryFailsWithoutAValue) {
  Win32Directory directory;
  for (const char16_t* path : {u"LDAP://vx.invalid/CN={31B2F340-016D-11D2-945F-00C04FB984F9},CN=Policies,"
                               u"CN=System,DC=vx,DC=invalid",
                               u"VXNOPROVIDER://nowhere"}) {
    Variant value = Variant::Bstr(u"stale");
    const HRESULT hr = directory.GetAttribute(path, u"displayName", value);
    EXPECT_TRUE(FAILED(hr)) << Narrow(path) << ": " << std::hex << hr;
    EXPECT_EQ(value.vt, kVtEmpty);
  }
}

// ---------------------------------------------------------------- WMI adapters

constexpr CLSID kTestLocator = {0x5808847f, 0x1a6c, 0x4d6f, {0xb9, 0xa9, 0xd2, 0xb5, 0x3f, 0x5e, 0x03, 0xda}};
constexpr wchar_t kSettingsNamespace[] = L"\\\\.\\root\\rsop\\vxtest\\settings";
// One object, then Next fails.
constexpr wchar_t kBrokenNamespace[] = L"\\\\.\\root\\rsop\\vxtest\\broken";
constexpr HRESULT kBrokenNext = static_cast<HRESULT>(0x80041001);  // WBEM_E_FAILED

// Two objects with a property of each kind, and a log of the calls the objects receive.
class LoggingSource final : public wmifixture::IFixtureSource {
 public:
  bool Objects(const std::wstring& ns, std::vector<FixtureObject>& out) override {
    const FixtureObject object = {{L"registryKey", FixtureValue::Text(L"Software\\Policies\\Vantorix")},
                                  {L"valueType", FixtureValue::Int(7)},
                                  {L"value", FixtureValue::Bytes({1, 2, 3}, 1)},
                                  {L"deleted", FixtureValue::Bool(true)},
                                  {L"precedence", FixtureValue::Null()}};
    if (::_wcsicmp(ns.c_str(), kBrokenNamespace) == 0) out = {object};
    if (::_wcsicmp(ns.c_str(), kSettingsNamespace) == 0) out = {object, object};
    return !out.empty();
  }
  HRESULT EndOfEnumeration(const std::wstring& ns) override {
    return ::_wcsicmp(ns.c_str(), kBrokenNamespace) == 0 ? kBrokenNext : S_FALSE;
  }
  void Log(const std::wstring& line) override { log += Narrow(line.c_str()) + "\n"; }
  std::string log;
};

// The test locator's class object registered in this apartment for the test.
class WmiRsopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    Microsoft::WRL::ComPtr<IUnknown> factory;
    ASSERT_EQ(
        wmifixture::CreateLocatorFactory(m_source, IID_IUnknown, reinterpret_cast<void**>(factory.GetAddressOf())),
        S_OK);
    ASSERT_EQ(::CoRegisterClassObject(kTestLocator, factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie),
              S_OK);
  }
  void TearDown() override {
    m_services.reset();
    ::CoRevokeClassObject(m_cookie);
    EXPECT_EQ(wmifixture::LiveObjects(), 0) << "every object of the locator is released";
    ::CoUninitialize();
  }

  HRESULT Connect(const wchar_t* ns) { return WmiRsopLocator(kTestLocator).ConnectServer(AsU16(ns), m_services); }
  std::vector<std::unique_ptr<IRsopObject>> All(const wchar_t* ns, HRESULT end = S_FALSE) {
    std::vector<std::unique_ptr<IRsopObject>> all;
    std::unique_ptr<IRsopObjectEnum> objects;
    EXPECT_EQ(Connect(ns), S_OK);
    if (!m_services) return all;
    EXPECT_EQ(m_services->ExecQuery(u"WQL", kQuery, kQueryFlags, objects), S_OK);
    for (std::unique_ptr<IRsopObject> object; objects;) {
      const HRESULT hr = objects->Next(object);
      if (hr != S_OK) {
        EXPECT_EQ(hr, end);
        EXPECT_EQ(object, nullptr);
        break;
      }
      all.push_back(std::move(object));
    }
    return all;
  }

  std::shared_ptr<LoggingSource> m_source = std::make_shared<LoggingSource>();
  DWORD m_cookie = 0;
  std::unique_ptr<IRsopServices> m_services;
};

TEST_F(WmiRsopTest, TheQueryRunsAsGivenAndPropertiesArriveAsTypedValues) {
  const auto all = All(kSettingsNamespace);
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(m_source->log,
            "ConnectServer(\\\\.\\root\\rsop\\vxtest\\settings, user=null, password=null, locale=null, flags=0x0, "
            "authority=null, context=null)\n"
            "ExecQuery(WQL, SELECT * FROM RSOP_RegistryPolicySetting, 0x30, context=null)\n"
            "Next(-1, 1)\nNext(-1, 1)\nNext(-1, 1)\n");

  Variant value;
  ASSERT_EQ(all[1]->Get(u"registryKey", value), S_OK);
  EXPECT_EQ(Narrow(value.text), "Software\\Policies\\Vantorix");
  ASSERT_EQ(all[1]->Get(u"valueType", value), S_OK);
  EXPECT_EQ(value.vt, kVtI4);
  EXPECT_EQ(value.integer, 7);
  ASSERT_EQ(all[1]->Get(u"value", value), S_OK);
  EXPECT_EQ(value.bytes, (std::vector<BYTE>{1, 2, 3})) << "an array with lower bound 1";
  ASSERT_EQ(all[1]->Get(u"deleted", value), S_OK);
  EXPECT_EQ(value.vt, kVtBool);
  EXPECT_EQ(value.integer, -1);
  ASSERT_EQ(all[1]->Get(u"precedence", value), S_OK);
  EXPECT_EQ(value.vt, kVtNull) << "a property without a value";
  value = Variant::Bstr(u"stale");
  EXPECT_EQ(all[1]->Get(u"noSuchProperty", value), static_cast<HRESULT>(WBEM_E_NOT_FOUND));
}

TEST_F(WmiRsopTest, FailuresOfTheServerArePassedOn) {
  EXPECT_EQ(Connect(L"\\\\.\\root\\rsop\\nowhere"), static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
  EXPECT_EQ(m_services, nullptr);
  ASSERT_EQ(Connect(kSettingsNamespace), S_OK);
  std::unique_ptr<IRsopObjectEnum> objects;
  EXPECT_EQ(m_services->ExecQuery(u"WQL", u"SELECT * FROM Win32_Process", 0, objects),
            static_cast<HRESULT>(WBEM_E_INVALID_QUERY));
  EXPECT_EQ(objects, nullptr);
  EXPECT_EQ(All(kBrokenNamespace, kBrokenNext).size(), 1u);

  // A class nobody registered: CoCreateInstance's own failure.
  const CLSID unregistered = {0x5808847f, 0x1a6c, 0x4d6f, {0xb9, 0xa9, 0xd2, 0xb5, 0x3f, 0x5e, 0x03, 0xdb}};
  std::unique_ptr<IRsopServices> services;
  EXPECT_EQ(WmiRsopLocator(unregistered).ConnectServer(AsU16(kSettingsNamespace), services), REGDB_E_CLASSNOTREG);
  EXPECT_EQ(services, nullptr);
}

// ---------------------------------------------------------------- the console host's RSoP fixture

class RsopFixtureTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))); }
  void TearDown() override {
    m_fixture.reset();
    EXPECT_EQ(wmifixture::LiveObjects(), 0) << "every locator object is released";
    ::CoUninitialize();
  }
  HRESULT Load(const wchar_t* name, const char* text) {
    if (text != nullptr) std::ofstream(std::filesystem::path(m_folder / name), std::ios::binary) << text;
    return m_fixture->Load(m_folder / name, m_error);
  }

  vxtest::ScratchFolder m_folder;
  std::wstring m_error;
  std::unique_ptr<console::RsopFixture> m_fixture = std::make_unique<console::RsopFixture>();
};

// A second instance whose console object has no RSoP information (a property page) takes the namespace
// the first one left on the clipboard.
TEST_F(RsopFixtureTest, ASecondInstanceTakesTheNamespaceFromTheClipboard) {
  ASSERT_EQ(m_fixture->Register(), S_OK);
  WmiRsopLocator locator;  // CLSID_WbemLocator, as the snap-in creates it
  Win32Directory directory;
  Win32RsopClipboard clipboard;
  const RsopPorts ports{&locator, &directory, &clipboard};
  CRsopData first(ports), second(ports);
  first.SetMachineSection(true);
  second.SetMachineSection(true);
  Win32RsopInformationSource console(m_fixture->Information());
  ASSERT_EQ(first.InitRsop(&console), S_OK);
  PlainUnknown page;
  Win32RsopInformationSource pageSource(&page);
  ASSERT_EQ(second.InitRsop(&pageSource), S_OK);
  ::CloseClipboard();  // the read left it open
  EXPECT_EQ(Narrow(second.Namespace()), Narrow(console::kRsopMachineNamespace));
}

// The fixture file is only read; what cannot be used is reported and changes nothing.
TEST_F(RsopFixtureTest, AFileThatCannotBeUsedIsReportedAndChangesNothing) {
  ASSERT_EQ(Load(L"good.txt", "machine | 1 | GPO | LogonPolicy | 3\nuser | 1 | GPO | RuntimePolicy |\n"), S_OK);
  EXPECT_EQ(Load(L"missing.txt", nullptr), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(Narrow(m_error.c_str()), Narrow((m_folder / L"missing.txt").c_str()) + ": cannot read the file (error 2)");
  EXPECT_EQ(::GetFileAttributesW((m_folder / L"missing.txt").c_str()), INVALID_FILE_ATTRIBUTES) << "nor created";
  EXPECT_EQ(Load(L"bad.txt", "computer | 1 | GPO | LogonPolicy | 1\n"), HRESULT_FROM_WIN32(ERROR_INVALID_DATA));
  EXPECT_NE(m_error.find(L"bad.txt: line 1: unknown section 'computer'"), std::wstring::npos)
      << Narrow(m_error.c_str());
  EXPECT_EQ(m_fixture->SettingCount(), 2u) << "the settings loaded before stay";
  ASSERT_EQ(m_fixture->Register(), S_OK);
  EXPECT_EQ(m_fixture->Register(), S_FALSE) << "registered once";
  EXPECT_EQ(Load(L"good.txt", nullptr), E_UNEXPECTED) << "not while it is served";
  m_fixture->Revoke();
  EXPECT_FALSE(m_fixture->Registered());
}

}  // namespace
}  // namespace vx::rsop

// The RSoP ports on the real platform: VARIANT conversion, the clipboard transfer, the console's RSoP
// information, the directory, and the WMI adapters against a test locator (rsop/) registered
// in the test prefix, with the RSoP data querying, filtering and merging through them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/text.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/variant_win32.h"
#include "rsop/rsop_data.h"
#include "rsop/rsop_test_server.h"
#include "rsop/win32/clipboard_win32.h"
#include "rsop/win32/directory_win32.h"
#include "rsop/win32/rsop_information_win32.h"
#include "rsop/win32/wmi_rsop.h"
#include "support/check.h"

namespace vx::rsop {
namespace {

namespace server = testserver;
using platform::UniqueVariant;
using platform::VariantToCore;

constexpr char16_t kQuery[] = u"SELECT * FROM RSOP_RegistryPolicySetting";
constexpr LONG kQueryFlags = kWbemFlagReturnImmediately | kWbemFlagForwardOnly;

std::u16string Ns(const wchar_t* text) { return AsU16(text); }
std::string Narrow(std::u16string_view text) { return Utf16ToUtf8(text); }

// The bytes of a REG_MULTI_SZ image of the elements.
std::vector<BYTE> MultiSz(std::initializer_list<std::u16string_view> elements) {
  std::u16string image;
  for (std::u16string_view element : elements) {
    image.append(element);
    image.push_back(u'\0');
  }
  image.push_back(u'\0');
  std::vector<BYTE> bytes(image.size() * sizeof(char16_t));
  std::memcpy(bytes.data(), image.data(), bytes.size());
  return bytes;
}

SAFEARRAY* ByteArray(std::vector<BYTE> bytes, LONG lowerBound) {
  SAFEARRAYBOUND bound{static_cast<ULONG>(bytes.size()), lowerBound};
  SAFEARRAY* array = ::SafeArrayCreate(VT_UI1, 1, &bound);
  for (LONG i = 0; i < static_cast<LONG>(bytes.size()); ++i) {
    LONG index = lowerBound + i;
    ::SafeArrayPutElement(array, &index, &bytes[static_cast<size_t>(i)]);
  }
  return array;
}

// ---------------------------------------------------------------- VARIANT conversion

Variant Convert(VARIANT& raw) {
  Variant value = Variant::I4(12345);  // anything the conversion must overwrite
  EXPECT_EQ(VariantToCore(raw, value), S_OK);
  return value;
}

TEST(VariantWin32Test, ScalarsKeepTypeAndValue) {
  UniqueVariant raw;
  EXPECT_EQ(Convert(*raw.Get()).vt, kVtEmpty);
  V_VT(raw.Put()) = VT_NULL;
  EXPECT_EQ(Convert(*raw.Get()).vt, kVtNull);

  V_VT(raw.Put()) = VT_I4;
  V_I4(raw.Get()) = -7;
  Variant value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, kVtI4);
  EXPECT_EQ(value.integer, -7) << "VT_I4 is sign-extended";

  V_VT(raw.Put()) = VT_UI4;
  V_UI4(raw.Get()) = 0xFFFFFFFEu;
  value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, kVtUi4);
  EXPECT_EQ(value.integer, 0xFFFFFFFELL) << "VT_UI4 is not";

  V_VT(raw.Put()) = VT_UI8;
  V_UI8(raw.Get()) = 0x8000000000000005ULL;
  value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, kVtUi8);
  EXPECT_EQ(static_cast<std::uint64_t>(value.integer), 0x8000000000000005ULL);

  V_VT(raw.Put()) = VT_BOOL;
  V_BOOL(raw.Get()) = VARIANT_TRUE;
  EXPECT_EQ(Convert(*raw.Get()).integer, -1);
  V_BOOL(raw.Get()) = VARIANT_FALSE;
  value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, kVtBool);
  EXPECT_EQ(value.integer, 0);
}

TEST(VariantWin32Test, StringsKeepEmbeddedNulsAndANullBstrIsMarked) {
  UniqueVariant raw;
  V_VT(raw.Put()) = VT_BSTR;
  V_BSTR(raw.Get()) = ::SysAllocStringLen(L"ab\0cd", 5);
  Variant value = Convert(*raw.Get());
  EXPECT_TRUE(value.IsString());
  EXPECT_EQ(value.text, std::u16string(u"ab\0cd", 5));

  V_VT(raw.Put()) = VT_BSTR;
  V_BSTR(raw.Get()) = nullptr;
  value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, kVtBstr);
  EXPECT_TRUE(value.nullString);
  EXPECT_FALSE(value.IsString());
  EXPECT_TRUE(value.text.empty());

  V_VT(raw.Put()) = VT_BSTR;
  V_BSTR(raw.Get()) = ::SysAllocString(L"");
  value = Convert(*raw.Get());
  EXPECT_TRUE(value.IsString()) << "an empty BSTR is a string, not a null one";
  EXPECT_FALSE(value.nullString);
}

TEST(VariantWin32Test, ByteArraysOfAnyLowerBoundBecomeBytes) {
  const std::vector<BYTE> bytes = MultiSz({u"0000000000000003"});
  for (LONG lowerBound : {0L, 1L, 7L, -3L}) {
    UniqueVariant raw;
    V_VT(raw.Put()) = VT_ARRAY | VT_UI1;
    V_ARRAY(raw.Get()) = ByteArray(bytes, lowerBound);
    const Variant value = Convert(*raw.Get());
    EXPECT_TRUE(value.IsByteArray()) << "lower bound " << lowerBound;
    EXPECT_EQ(value.bytes, bytes) << "lower bound " << lowerBound;
  }

  UniqueVariant empty;
  V_VT(empty.Put()) = VT_ARRAY | VT_UI1;
  V_ARRAY(empty.Get()) = ByteArray({}, 1);
  const Variant value = Convert(*empty.Get());
  EXPECT_TRUE(value.IsByteArray());
  EXPECT_TRUE(value.bytes.empty());
}

TEST(VariantWin32Test, OtherTypesKeepOnlyTheirType) {
  UniqueVariant raw;
  V_VT(raw.Put()) = VT_DATE;
  V_DATE(raw.Get()) = 45000.5;
  Variant value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, VT_DATE);
  EXPECT_EQ(value.integer, 0);

  SAFEARRAYBOUND bound{2, 0};
  V_VT(raw.Put()) = VT_ARRAY | VT_I4;
  V_ARRAY(raw.Get()) = ::SafeArrayCreate(VT_I4, 1, &bound);
  value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, VT_ARRAY | VT_I4);
  EXPECT_FALSE(value.IsByteArray());
  EXPECT_TRUE(value.bytes.empty()) << "only byte arrays carry bytes";

  V_VT(raw.Put()) = VT_I2;
  V_I2(raw.Get()) = 9;
  value = Convert(*raw.Get());
  EXPECT_EQ(value.vt, VT_I2);
  EXPECT_EQ(value.integer, 0);
}

// ---------------------------------------------------------------- clipboard

class ClipboardTest : public ::testing::Test {
 protected:
  // Get leaves the clipboard open; the test closes it so that the next step starts clean.
  void TearDown() override { ::CloseClipboard(); }

  // Whether this thread had the clipboard open (closing fails when it had not).
  static bool CloseWasNeeded() { return ::CloseClipboard() != FALSE; }

  std::u16string Format(const char* name) const {
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
  const UINT id = ::RegisterClipboardFormatW(AsWide(format));
  const HANDLE block = ::GetClipboardData(id);
  ASSERT_NE(block, nullptr) << "Get leaves the clipboard open";
  ASSERT_GE(::GlobalSize(block), (ns.size() + 1) * sizeof(char16_t));
  const auto* raw = static_cast<const char16_t*>(::GlobalLock(block));
  ASSERT_NE(raw, nullptr);
  EXPECT_EQ(std::u16string(raw, ns.size()), ns);
  EXPECT_EQ(raw[ns.size()], u'\0');
  ::GlobalUnlock(block);
  EXPECT_TRUE(CloseWasNeeded()) << "Get leaves the clipboard open";

  // A second Put of the same format replaces the item; other formats are kept (nothing is emptied).
  const std::u16string other = Format("OTHER");
  ASSERT_EQ(m_clipboard.Put(other, u"kept"), S_OK);
  ASSERT_EQ(m_clipboard.Put(format, u"second"), S_OK);
  EXPECT_EQ(m_clipboard.Get(format, text), S_OK);
  EXPECT_EQ(Narrow(text), "second");
  EXPECT_EQ(m_clipboard.Get(other, text), S_OK);
  EXPECT_EQ(Narrow(text), "kept");
}

TEST_F(ClipboardTest, MissingItemOrEmptyTextIsNoInterface) {
  std::u16string text = u"stale";
  EXPECT_EQ(m_clipboard.Get(Format("NEVER_PUT"), text), E_NOINTERFACE);
  EXPECT_TRUE(text.empty()) << "the output is cleared first";
  EXPECT_TRUE(CloseWasNeeded()) << "a missing item leaves the clipboard open too";

  const std::u16string format = Format("EMPTY");
  ASSERT_EQ(m_clipboard.Put(format, std::u16string_view()), S_OK) << "a null text is stored as empty";
  EXPECT_EQ(m_clipboard.Get(format, text), E_NOINTERFACE);
  ::CloseClipboard();

  // The text ends at its first NUL.
  ASSERT_EQ(m_clipboard.Put(format, std::u16string(u"ab\0cd", 5)), S_OK);
  EXPECT_EQ(m_clipboard.Get(format, text), S_OK);
  EXPECT_EQ(Narrow(text), "ab");
  ::CloseClipboard();
  ASSERT_EQ(m_clipboard.Put(format, std::u16string(u"\0x", 2)), S_OK);
  EXPECT_EQ(m_clipboard.Get(format, text), E_NOINTERFACE);
}

TEST_F(ClipboardTest, AClipboardHeldByAWindowElsewhereGivesTheLastError) {
  const std::u16string format = Format("BUSY");
  const HANDLE opened = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const HANDLE release = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  bool held = false;
  std::thread holder([&] {
    const HWND window = ::CreateWindowExW(0, L"STATIC", L"holder", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                                          nullptr);
    held = window != nullptr && ::OpenClipboard(window);
    ::SetEvent(opened);
    ::WaitForSingleObject(release, 10000);
    if (held) ::CloseClipboard();
    if (window != nullptr) ::DestroyWindow(window);
  });
  ::WaitForSingleObject(opened, 10000);
  std::u16string text;
  const HRESULT put = held ? m_clipboard.Put(format, u"x") : S_OK;
  const HRESULT get = held ? m_clipboard.Get(format, text) : S_OK;
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

// ---------------------------------------------------------------- console RSoP information

// A console object offering IRSOPInformation.
class FakeRsopInformation final : public IRSOPInformation {
 public:
  explicit FakeRsopInformation(std::wstring ns) : m_ns(std::move(ns)) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    static constexpr GUID kIid = {0x9a5a81b5, 0xd9c7, 0x49ef, {0x9d, 0x11, 0xdd, 0xf5, 0x09, 0x68, 0xc4, 0x8d}};
    if (iid != IID_IUnknown && iid != kIid) return E_NOINTERFACE;
    *out = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++m_refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --m_refs; }  // lives on the test's stack
  HRESULT STDMETHODCALLTYPE GetNamespace(DWORD section, LPOLESTR buffer, int maxChars) override {
    m_sections.push_back(section);
    m_maxChars = maxChars;
    if (static_cast<int>(m_ns.size()) >= maxChars) return E_OUTOFMEMORY;
    std::wmemcpy(buffer, m_ns.c_str(), m_ns.size() + 1);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetFlags(DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetEventLogEntryText(LPOLESTR, LPOLESTR, LPOLESTR, DWORD, LPOLESTR*) override {
    return E_NOTIMPL;
  }

  ULONG m_refs = 1;
  std::vector<DWORD> m_sections;
  int m_maxChars = 0;

 private:
  std::wstring m_ns;
};

// A console object without it.
class PlainUnknown final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid != IID_IUnknown) return E_NOINTERFACE;
    *out = this;
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

TEST(RsopInformationWin32Test, AsksTheObjectForItsNamespace) {
  FakeRsopInformation console(L"\\\\.\\root\\rsop\\computer");
  {
    Win32RsopInformationSource source(&console);
    EXPECT_TRUE(source.HasRsopInformation());
    std::u16string ns;
    EXPECT_EQ(source.GetNamespace(2, ns, 260), S_OK);
    EXPECT_EQ(Narrow(ns), "\\\\.\\root\\rsop\\computer");
    EXPECT_EQ(source.GetNamespace(1, ns, 10), E_OUTOFMEMORY) << "the object's failure is passed on";
    EXPECT_TRUE(ns.empty());
  }
  EXPECT_EQ(console.m_sections, (std::vector<DWORD>{2, 1}));
  EXPECT_EQ(console.m_maxChars, 10);
  EXPECT_EQ(console.m_refs, 1u) << "every reference is given back";
}

TEST(RsopInformationWin32Test, WithoutTheInterfaceThereIsNoNamespace) {
  PlainUnknown plain;
  Win32RsopInformationSource source(&plain);
  EXPECT_FALSE(source.HasRsopInformation());
  std::u16string ns = u"stale";
  EXPECT_EQ(source.GetNamespace(1, ns, 260), E_NOINTERFACE);
  EXPECT_TRUE(ns.empty());

  Win32RsopInformationSource nothing(nullptr);
  EXPECT_FALSE(nothing.HasRsopInformation());
  EXPECT_EQ(nothing.GetNamespace(1, ns, 260), E_NOINTERFACE);
}

// ---------------------------------------------------------------- directory

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


// ---------------------------------------------------------------- WMI through the test locator

// COM on the test thread, and the test locator registered in the prefix for the whole run. Wine's COM
// reads classes from the machine's class key only (no per-user classes), so it is registered there.
class RsopEnvironment final : public ::testing::Environment {
 public:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    wchar_t program[MAX_PATH] = {};
    ASSERT_GT(::GetModuleFileNameW(nullptr, program, MAX_PATH), 0u);
    std::wstring module = program;
    module.erase(module.find_last_of(L'\\') + 1);
    module += L"rsop\\";
    module += server::kModuleName;
    ASSERT_NE(::GetFileAttributesW(module.c_str()), INVALID_FILE_ATTRIBUTES) << Narrow(AsU16(module.c_str()));

    const std::wstring key = ClassKey() + L"\\InProcServer32";
    HKEY handle = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &handle,
                                nullptr),
              ERROR_SUCCESS);
    const std::wstring threading = L"Both";
    EXPECT_EQ(::RegSetValueExW(handle, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(module.c_str()),
                               static_cast<DWORD>((module.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
    EXPECT_EQ(::RegSetValueExW(handle, L"ThreadingModel", 0, REG_SZ, reinterpret_cast<const BYTE*>(threading.c_str()),
                               static_cast<DWORD>((threading.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
    ::RegCloseKey(handle);
  }

  void TearDown() override {
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey().c_str());
    ::CoUninitialize();
  }

 private:
  static std::wstring ClassKey() { return std::wstring(L"Software\\Classes\\CLSID\\") + server::kLocatorClsidText; }
};

const ::testing::Environment* const g_environment = ::testing::AddGlobalTestEnvironment(new RsopEnvironment);

class WmiRsopTest : public ::testing::Test {
 protected:
  // The server's exports; the module is loaded by the first locator created.
  void SetUp() override {
    ASSERT_EQ(Connect(server::kSettingsNamespace), S_OK);
    const HMODULE module = ::GetModuleHandleW(server::kModuleName);
    ASSERT_NE(module, nullptr) << "the test locator was not loaded";
    m_takeCalls = platform::ProcAddress<server::TakeCallsFunction>(module, server::kTakeCallsExport);
    m_liveObjects = platform::ProcAddress<server::LiveObjectsFunction>(module, server::kLiveObjectsExport);
    ASSERT_NE(m_takeCalls, nullptr);
    ASSERT_NE(m_liveObjects, nullptr);
    m_services.reset();
    TakeCalls();
    ASSERT_EQ(m_liveObjects(), 0) << "objects left from an earlier test";
  }

  void TearDown() override {
    m_services.reset();
    if (m_liveObjects != nullptr) {
      EXPECT_EQ(m_liveObjects(), 0) << "every object of the server is released";
    }
  }

  HRESULT Connect(const wchar_t* ns) { return WmiRsopLocator(server::kLocatorClsid).ConnectServer(Ns(ns), m_services); }

  std::string TakeCalls() {
    std::vector<wchar_t> buffer(1 << 16);
    EXPECT_EQ(m_takeCalls(buffer.data(), static_cast<int>(buffer.size())), S_OK);
    return Narrow(AsU16(buffer.data()));
  }

  std::vector<std::unique_ptr<IRsopObject>> All(IRsopObjectEnum& objects) {
    std::vector<std::unique_ptr<IRsopObject>> all;
    for (;;) {
      std::unique_ptr<IRsopObject> object;
      const HRESULT hr = objects.Next(object);
      if (hr != S_OK) {
        EXPECT_EQ(hr, S_FALSE);
        EXPECT_EQ(object, nullptr);
        return all;
      }
      EXPECT_NE(object, nullptr);
      all.push_back(std::move(object));
    }
  }

  std::unique_ptr<IRsopServices> m_services;
  server::TakeCallsFunction m_takeCalls = nullptr;
  server::LiveObjectsFunction m_liveObjects = nullptr;
};

TEST_F(WmiRsopTest, ConnectsWithOnlyTheNamespaceAndRunsTheQueryAsGiven) {
  ASSERT_EQ(Connect(server::kSettingsNamespace), S_OK);
  ASSERT_NE(m_services, nullptr);
  std::unique_ptr<IRsopObjectEnum> objects;
  ASSERT_EQ(m_services->ExecQuery(u"WQL", kQuery, kQueryFlags, objects), S_OK);
  ASSERT_NE(objects, nullptr);
  std::unique_ptr<IRsopObject> first;
  ASSERT_EQ(objects->Next(first), S_OK);
  EXPECT_EQ(TakeCalls(),
            "ConnectServer(\\\\.\\root\\rsop\\vxtest\\settings, user=null, password=null, locale=null, flags=0x0, "
            "authority=null, context=null)\n"
            "ExecQuery(WQL, SELECT * FROM RSOP_RegistryPolicySetting, 0x30, context=null)\n"
            "Next(-1, 1)\n");
  EXPECT_EQ(All(*objects).size(), 12u) << "thirteen objects in all";
}

TEST_F(WmiRsopTest, FailuresOfTheServerArePassedOn) {
  EXPECT_EQ(Connect(L"\\\\.\\root\\rsop\\nowhere"), static_cast<HRESULT>(WBEM_E_INVALID_NAMESPACE));
  EXPECT_EQ(m_services, nullptr);

  std::unique_ptr<IRsopServices> services;
  EXPECT_EQ(WmiRsopLocator(server::kLocatorClsid).ConnectServer(Ns(server::kSettingsNamespace), services), S_OK);
  std::unique_ptr<IRsopObjectEnum> objects;
  EXPECT_EQ(services->ExecQuery(u"WQL", u"SELECT * FROM Win32_Process", 0, objects),
            static_cast<HRESULT>(WBEM_E_INVALID_QUERY));
  EXPECT_EQ(objects, nullptr);

  std::unique_ptr<IRsopServices> broken;
  ASSERT_EQ(WmiRsopLocator(server::kLocatorClsid).ConnectServer(Ns(server::kBrokenNamespace), broken), S_OK);
  ASSERT_EQ(broken->ExecQuery(u"WQL", kQuery, kQueryFlags, objects), S_OK);
  std::unique_ptr<IRsopObject> object;
  EXPECT_EQ(objects->Next(object), S_OK);
  EXPECT_NE(object, nullptr);
  EXPECT_EQ(objects->Next(object), server::kBrokenNextResult);
  EXPECT_EQ(object, nullptr);

  // A class nobody registered: CoCreateInstance's own failure.
  const CLSID unregistered = {0x5808847f, 0x1a6c, 0x4d6f, {0xb9, 0xa9, 0xd2, 0xb5, 0x3f, 0x5e, 0x03, 0xdb}};
  EXPECT_EQ(WmiRsopLocator(unregistered).ConnectServer(Ns(server::kSettingsNamespace), services),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(services, nullptr);
}

TEST_F(WmiRsopTest, ObjectPropertiesArriveAsTypedValues) {
  ASSERT_EQ(Connect(server::kSettingsNamespace), S_OK);
  std::unique_ptr<IRsopObjectEnum> objects;
  ASSERT_EQ(m_services->ExecQuery(u"WQL", kQuery, kQueryFlags, objects), S_OK);
  const auto all = All(*objects);
  ASSERT_EQ(all.size(), 13u);

  Variant value;
  ASSERT_EQ(all[0]->Get(u"registryKey", value), S_OK);
  EXPECT_EQ(Narrow(value.text),
            "Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}");
  ASSERT_EQ(all[0]->Get(u"valueType", value), S_OK);
  EXPECT_EQ(value.vt, kVtI4);
  EXPECT_EQ(value.integer, 7);
  ASSERT_EQ(all[0]->Get(u"value", value), S_OK);
  EXPECT_EQ(value.bytes, MultiSz({u"0000000000000003"}));
  ASSERT_EQ(all[0]->Get(u"deleted", value), S_OK);
  EXPECT_EQ(value.vt, kVtBool);
  ASSERT_EQ(all[5]->Get(u"precedence", value), S_OK);
  EXPECT_EQ(value.vt, kVtNull) << "a property without a value";
  ASSERT_EQ(all[10]->Get(u"value", value), S_OK);
  EXPECT_EQ(value.bytes, MultiSz({u"0000000000000008"})) << "an array with lower bound 1";
  ASSERT_EQ(all[10]->Get(u"GPOID", value), S_OK);
  EXPECT_EQ(value.vt, kVtI4);

  value = Variant::Bstr(u"stale");
  EXPECT_EQ(all[0]->Get(u"noSuchProperty", value), static_cast<HRESULT>(WBEM_E_NOT_FOUND));
}

// ---------------------------------------------------------------- the RSoP data over the real adapters

struct ExpectedItem {
  std::string gpoName;
  std::int32_t precedence;
};

void ExpectItems(const std::vector<RsopPrecedenceItem>& items, const std::vector<ExpectedItem>& expected,
                 const std::string& what) {
  ASSERT_EQ(items.size(), expected.size()) << what;
  for (size_t i = 0; i < items.size(); ++i) {
    EXPECT_EQ(Narrow(items[i].gpoName), expected[i].gpoName) << what << " [" << i << "]";
    EXPECT_EQ(items[i].precedence, expected[i].precedence) << what << " [" << i << "]";
  }
}

class RsopDataWin32Test : public WmiRsopTest {
 protected:
  WmiRsopLocator m_locator{server::kLocatorClsid};
  Win32Directory m_directory;
  Win32RsopClipboard m_clipboard;
  RsopPorts m_ports{&m_locator, &m_directory, &m_clipboard};
};

TEST_F(RsopDataWin32Test, QueriesFiltersAndMergesTheSettingsOfTheNamespace) {
  FakeRsopInformation console(server::kSettingsNamespace);
  Win32RsopInformationSource source(&console);
  CRsopData data(m_ports);
  ASSERT_EQ(data.InitRsop(&source), S_OK);
  EXPECT_EQ(Narrow(data.Namespace()), Narrow(Ns(server::kSettingsNamespace)));
  EXPECT_EQ(console.m_sections, std::vector<DWORD>{1}) << "the user section";
  ASSERT_EQ(data.LoadRsop(), S_OK);
  ASSERT_EQ(data.LoadRsop(), S_OK);
  const std::string calls = TakeCalls();
  EXPECT_EQ(calls.find("ExecQuery("), calls.rfind("ExecQuery(")) << "one query for two loads:\n" << calls;

  const auto& entries = data.Entries();
  ASSERT_EQ(entries.size(), 4u);

  const RsopPolicyEntry& logon = entries[0];
  EXPECT_EQ(Narrow(logon.valueName), "LogonPolicy");
  EXPECT_EQ(logon.data, MultiSz({u"0000000000000005", u"0000000000000001"})) << "precedence 1 gives the data";
  EXPECT_EQ(Narrow(logon.gpoId), "GPO-Site") << "the first setting's GPO id stays";
  EXPECT_EQ(logon.deleted, 0);
  ExpectItems({logon.winner}, {{"GPO-Domain", 1}}, "LogonPolicy winner");
  ExpectItems(logon.precedenceList, {{"GPO-Site", 2}, {"GPO-Domain", 1}}, "LogonPolicy list");
  EXPECT_EQ(data.FindEntry(u"LOGONPOLICY"), &logon);

  const RsopPolicyEntry& runtime = entries[1];
  EXPECT_EQ(Narrow(runtime.valueName), "RuntimePolicy");
  EXPECT_EQ(runtime.data, MultiSz({u"0000000000000002"})) << "precedence 2 after 1 keeps the data";
  EXPECT_EQ(runtime.deleted, 1);
  ExpectItems({runtime.winner}, {{"LocalGPO", 1}}, "RuntimePolicy winner (no precedence counts as 1)");
  ExpectItems(runtime.precedenceList, {{"LocalGPO", 1}, {"GPO-Domain", 2}}, "RuntimePolicy list");

  const RsopPolicyEntry& disable = entries[2];
  EXPECT_EQ(Narrow(disable.valueName), "DisableCredentials");
  EXPECT_EQ(disable.data, MultiSz({u"0000000000000008"}));
  EXPECT_TRUE(disable.gpoId.empty()) << "a GPO id that is no string is not taken";
  EXPECT_EQ(disable.deleted, 0) << "a 'deleted' that is no boolean is not true";
  ExpectItems(disable.precedenceList, {{"", 1}}, "DisableCredentials list (text precedence counts as 1)");

  const RsopPolicyEntry& kiosk = entries[3];
  EXPECT_EQ(Narrow(kiosk.valueName), "KioskRuntimePolicy");
  EXPECT_EQ(kiosk.data, MultiSz({u"0000000000000006"})) << "precedences 3 then 2: the first data stays";
  // The directory cannot be reached: the GPO id stands for the display name.
  const std::string ouGpo = "vx.invalid/CN={6AC1786C-016F-11D2-945F-00C04FB984F9},CN=Policies,CN=System,DC=vx";
  ExpectItems({kiosk.winner}, {{ouGpo, 3}}, "KioskRuntimePolicy winner");
  ExpectItems(kiosk.precedenceList, {{ouGpo, 3}, {"GPO-Domain", 2}}, "KioskRuntimePolicy list");
}

TEST_F(RsopDataWin32Test, ASecondInstanceTakesTheNamespaceFromTheClipboard) {
  FakeRsopInformation console(server::kSettingsNamespace);
  Win32RsopInformationSource source(&console);
  CRsopData first(m_ports);
  first.SetMachineSection(true);
  ASSERT_EQ(first.InitRsop(&source), S_OK);
  EXPECT_EQ(console.m_sections, std::vector<DWORD>{2}) << "the machine section";

  PlainUnknown page;
  Win32RsopInformationSource pageSource(&page);
  CRsopData second(m_ports);
  second.SetMachineSection(true);
  ASSERT_EQ(second.InitRsop(&pageSource), S_OK);
  ::CloseClipboard();  // the read left it open
  EXPECT_EQ(Narrow(second.Namespace()), Narrow(Ns(server::kSettingsNamespace)));
  ASSERT_EQ(second.LoadRsop(), S_OK);
  EXPECT_EQ(second.Entries().size(), 4u);

  std::u16string raw;
  EXPECT_EQ(m_clipboard.Get(u"CCF_VX_RSOP_MACHINE_NAMESPACE", raw), S_OK);
  ::CloseClipboard();
  EXPECT_EQ(Narrow(raw), Narrow(Ns(server::kSettingsNamespace)));
}

TEST_F(RsopDataWin32Test, AFailingEnumerationReachesTheCallerAndKeepsWhatWasMerged) {
  FakeRsopInformation console(server::kBrokenNamespace);
  Win32RsopInformationSource source(&console);
  CRsopData data(m_ports);
  ASSERT_EQ(data.InitRsop(&source), S_OK);
  try {
    data.LoadRsop();
    ADD_FAILURE() << "LoadRsop lets the failure pass";
  } catch (const CHResultError& error) {
    EXPECT_EQ(error.Code(), server::kBrokenNextResult);
  }
  ASSERT_EQ(data.Entries().size(), 1u);
  EXPECT_EQ(Narrow(data.Entries()[0].valueName), "LogonPolicy");
}

}  // namespace
}  // namespace vx::rsop

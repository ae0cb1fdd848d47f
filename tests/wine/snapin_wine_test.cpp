// The snap-in's COM layer driven by a small console of this test: a name space and a result pane
// that record what the snap-in inserts (names resolved through GetDisplayInfo as a console does),
// and an editor whose Software Settings data objects hand out a test IGPEInformation over a scratch
// key below HKCU\Software\VXGPOSnapinTests. The sample plug-ins beside the program are registered
// under HKLM\SOFTWARE\Vantorix\KELT\Plugins for the tests that need policy items.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <mmc.h>
#include <prsht.h>
#include <gpedit.h>
#include <wrl/client.h>

#include "module/win32/com_object.h"
#include "module/win32/rsop_factory.h"
#include "platform/text.h"
#include "policy/auth_policy.h"
#include "policy/policy_settings.h"
#include "policy/win32/gpe_information.h"
#include "sample_tokens.h"
#include "snapin/node_tree.h"
#include "snapin/win32/clipboard_formats.h"
#include "snapin/win32/computer_snapin.h"
#include "support/error_text.h"

using Microsoft::WRL::ComPtr;
using namespace vx::snapin;

namespace {

using vxtest::BesideProgram;

constexpr char16_t kTestsKey[] = u"Software\\VXGPOSnapinTests";
constexpr HSCOPEITEM kEditorItem = 1000;
const LPOLESTR kCallback = reinterpret_cast<LPOLESTR>(static_cast<INT_PTR>(-1));

std::string Narrow(const wchar_t* text) { return text ? vx::Utf16ToUtf8(vx::AsU16(text)) : std::string(); }

// A COM object that lives in the fixture: counts references but is never deleted through them.
#define VX_TEST_UNKNOWN_BODY                                            \
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }          \
  STDMETHODIMP_(ULONG) Release() override { return --m_refs; }         \
  std::atomic<ULONG> m_refs{1};

// Resolves texts like a console: "#<id>" for every language string, so tests see which one it was.
class TestStrings final : public vx::platform::IStringTable {
 public:
  std::u16string LoadText(UINT id) override { return vx::Widen("#" + std::to_string(id)); }
};

class RecordingMessageBox final : public vx::platform::IMessageBox {
 public:
  struct Shown {
    std::string text, caption;
    UINT type;
  };
  int Show(HWND, std::u16string_view text, std::u16string_view caption, UINT type) override {
    shown.push_back({vx::Utf16ToUtf8(std::u16string(text)), vx::Utf16ToUtf8(std::u16string(caption)), type});
    return IDOK;
  }
  std::vector<Shown> shown;
};

// The editor's GPO: a section key per section below a scratch key.
class TestGpeInformation final : public IGPEInformation {
 public:
  explicit TestGpeInformation(std::u16string scratch) : root(std::move(scratch)) {}
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IGPEInformation) return E_NOINTERFACE;
    *out = static_cast<IGPEInformation*>(this);
    AddRef();
    return S_OK;
  }
  VX_TEST_UNKNOWN_BODY
  STDMETHODIMP GetName(LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetDisplayName(LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetRegistryKey(DWORD section, HKEY* key) override {
    const std::u16string path = root + (section == 2 ? u"\\Machine" : u"\\User");
    return HRESULT_FROM_WIN32(::RegCreateKeyExW(HKEY_CURRENT_USER, vx::AsWide(path), 0, nullptr, 0, KEY_ALL_ACCESS,
                                                nullptr, key, nullptr));
  }
  STDMETHODIMP GetDSPath(DWORD, LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetFileSysPath(DWORD, LPOLESTR, int) override { return E_NOTIMPL; }
  STDMETHODIMP GetOptions(DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP GetType(GROUP_POLICY_OBJECT_TYPE* type) override {
    *type = GPOTypeLocal;
    return S_OK;
  }
  STDMETHODIMP GetHint(GROUP_POLICY_HINT_TYPE*) override { return E_NOTIMPL; }
  STDMETHODIMP PolicyChanged(BOOL, BOOL, GUID*, GUID*) override { return S_OK; }
  std::u16string root;
};

// The editor's Software Settings node: its node type, and the editor's GPO information on request.
class EditorNode final : public IDataObject {
 public:
  EditorNode(GUID type, IGPEInformation* information) : nodeType(type), gpe(information) {}
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid == IID_IGPEInformation && gpe) return gpe->QueryInterface(iid, out);
    if (iid != IID_IUnknown && iid != IID_IDataObject) return E_NOINTERFACE;
    *out = static_cast<IDataObject*>(this);
    AddRef();
    return S_OK;
  }
  VX_TEST_UNKNOWN_BODY
  STDMETHODIMP GetData(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
  STDMETHODIMP GetDataHere(FORMATETC* format, STGMEDIUM* medium) override {
    if (format->cfFormat != Formats().nodeType) return DV_E_FORMATETC;
    void* data = ::GlobalLock(medium->hGlobal);
    std::memcpy(data, &nodeType, sizeof(GUID));
    ::GlobalUnlock(medium->hGlobal);
    return S_OK;
  }
  STDMETHODIMP QueryGetData(FORMATETC*) override { return E_NOTIMPL; }
  STDMETHODIMP GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
  STDMETHODIMP SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFormatEtc(DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
  STDMETHODIMP DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP DUnadvise(DWORD) override { return E_NOTIMPL; }
  STDMETHODIMP EnumDAdvise(IEnumSTATDATA**) override { return E_NOTIMPL; }
  GUID nodeType;
  IGPEInformation* gpe;
};

struct ScopeRecord {
  HSCOPEITEM id, parent;
  MMC_COOKIE cookie;
  std::string name;
};

class TestNameSpace final : public IConsoleNameSpace2 {
 public:
  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }  // reached through the console
  VX_TEST_UNKNOWN_BODY
  STDMETHODIMP InsertItem(LPSCOPEDATAITEM item) override {
    item->ID = static_cast<HSCOPEITEM>(2000 + inserted.size());
    SCOPEDATAITEM asked = *item;
    std::string name;
    if (item->displayname == kCallback && data && SUCCEEDED(data->GetDisplayInfo(&asked))) name = Narrow(asked.displayname);
    inserted.push_back({item->ID, item->relativeID, static_cast<MMC_COOKIE>(item->lParam), name});
    return S_OK;
  }
  STDMETHODIMP DeleteItem(HSCOPEITEM, LONG) override { return E_NOTIMPL; }
  STDMETHODIMP SetItem(LPSCOPEDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetItem(LPSCOPEDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetChildItem(HSCOPEITEM, HSCOPEITEM*, MMC_COOKIE*) override { return E_NOTIMPL; }
  STDMETHODIMP GetNextItem(HSCOPEITEM, HSCOPEITEM*, MMC_COOKIE*) override { return E_NOTIMPL; }
  STDMETHODIMP GetParentItem(HSCOPEITEM, HSCOPEITEM*, MMC_COOKIE*) override { return E_NOTIMPL; }
  STDMETHODIMP Expand(HSCOPEITEM) override { return E_NOTIMPL; }
  STDMETHODIMP AddExtension(HSCOPEITEM item, LPCLSID clsid) override {
    extensions.push_back({item, *clsid});
    return S_OK;
  }
  IComponentData* data = nullptr;
  std::vector<ScopeRecord> inserted;
  std::vector<std::pair<HSCOPEITEM, CLSID>> extensions;
};

struct ResultRecord {
  std::string name, state;
};

class TestResultData final : public IResultData {
 public:
  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  VX_TEST_UNKNOWN_BODY
  STDMETHODIMP InsertItem(LPRESULTDATAITEM item) override {
    EXPECT_EQ(item->nIndex, static_cast<int>(cookies.size()));
    cookies.push_back(item->lParam);
    return S_OK;
  }
  STDMETHODIMP DeleteItem(HRESULTITEM, int) override { return E_NOTIMPL; }
  STDMETHODIMP FindItemByLParam(LPARAM, HRESULTITEM*) override { return E_NOTIMPL; }
  STDMETHODIMP DeleteAllRsltItems() override {
    cookies.clear();
    return S_OK;
  }
  STDMETHODIMP SetItem(LPRESULTDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetItem(LPRESULTDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetNextItem(LPRESULTDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP ModifyItemState(int, HRESULTITEM, UINT, UINT) override { return E_NOTIMPL; }
  STDMETHODIMP ModifyViewStyle(MMC_RESULT_VIEW_STYLE, MMC_RESULT_VIEW_STYLE) override { return E_NOTIMPL; }
  STDMETHODIMP SetViewMode(LONG) override { return E_NOTIMPL; }
  STDMETHODIMP GetViewMode(LONG*) override { return E_NOTIMPL; }
  STDMETHODIMP UpdateItem(HRESULTITEM) override { return E_NOTIMPL; }
  STDMETHODIMP Sort(int, DWORD, LPARAM) override { return E_NOTIMPL; }
  STDMETHODIMP SetDescBarText(LPOLESTR) override { return E_NOTIMPL; }
  STDMETHODIMP SetItemCount(int, DWORD) override { return E_NOTIMPL; }
  std::vector<LPARAM> cookies;
};

class TestConsole final : public IConsole2 {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IConsole || iid == IID_IConsole2) {
      *out = static_cast<IConsole2*>(this);
    } else if ((iid == IID_IConsoleNameSpace || iid == IID_IConsoleNameSpace2) && offerNameSpace) {
      *out = static_cast<IConsoleNameSpace2*>(&nameSpace);
    } else if (iid == IID_IResultData) {
      *out = static_cast<IResultData*>(&results);
    } else {
      return E_NOINTERFACE;
    }
    static_cast<IUnknown*>(*out)->AddRef();
    return S_OK;
  }
  VX_TEST_UNKNOWN_BODY
  STDMETHODIMP SetHeader(LPHEADERCTRL) override { return E_NOTIMPL; }
  STDMETHODIMP SetToolbar(LPTOOLBAR) override { return E_NOTIMPL; }
  STDMETHODIMP QueryResultView(LPUNKNOWN*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryScopeImageList(LPIMAGELIST*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryResultImageList(LPIMAGELIST*) override { return E_NOTIMPL; }
  STDMETHODIMP UpdateAllViews(LPDATAOBJECT, LPARAM, LONG_PTR) override {
    ++updates;
    return S_OK;
  }
  STDMETHODIMP MessageBox(LPCWSTR, LPCWSTR, UINT, int*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryConsoleVerb(LPCONSOLEVERB*) override { return E_NOTIMPL; }
  STDMETHODIMP SelectScopeItem(HSCOPEITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetMainWindow(HWND* window) override {
    *window = nullptr;
    return S_OK;
  }
  STDMETHODIMP NewWindow(HSCOPEITEM, ULONG) override { return E_NOTIMPL; }
  STDMETHODIMP Expand(HSCOPEITEM, BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP IsTaskpadViewPreferred() override { return E_NOTIMPL; }
  STDMETHODIMP SetStatusText(LPOLESTR) override { return E_NOTIMPL; }
  TestNameSpace nameSpace;
  TestResultData results;
  bool offerNameSpace = true;
  int updates = 0;
};

// Reads one format of a data object the way the console does: into a global block of its own.
std::vector<BYTE> DataOf(IDataObject* object, UINT format, HRESULT* result = nullptr) {
  FORMATETC etc = {static_cast<CLIPFORMAT>(format), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
  STGMEDIUM medium = {};
  medium.tymed = TYMED_HGLOBAL;
  medium.hGlobal = ::GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 4);
  const HRESULT hr = object->GetDataHere(&etc, &medium);
  if (result) *result = hr;
  std::vector<BYTE> bytes;
  if (SUCCEEDED(hr)) {
    const BYTE* data = static_cast<const BYTE*>(::GlobalLock(medium.hGlobal));
    bytes.assign(data, data + ::GlobalSize(medium.hGlobal));
    ::GlobalUnlock(medium.hGlobal);
  }
  ::GlobalFree(medium.hGlobal);
  return bytes;
}

class SnapinWine : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    vx::InstallReporting({&boxes, &strings, nullptr, nullptr});
    vxtest::RemovePlugins();
    ASSERT_EQ(vx::module::CreateComInstance<CComputerSnapin>(IID_IComponentData,
                                                              reinterpret_cast<void**>(data.GetAddressOf())),
              S_OK);
    snapin = static_cast<CComputerSnapin*>(data.Get());
    console.nameSpace.data = data.Get();
    ASSERT_EQ(data->Initialize(static_cast<IConsole2*>(&console)), S_OK);
  }
  void TearDown() override {
    if (component) component->Destroy(0);
    component.Reset();
    data->Destroy();
    data.Reset();
    vxtest::RemovePlugins();
    ::RegDeleteTreeW(HKEY_CURRENT_USER, vx::AsWide(kTestsKey));
    vx::InstallReporting({});
    ::CoUninitialize();
  }

  void RegisterSamples() { ASSERT_TRUE(vxtest::RegisterSampleTokens()); }
  void SavePolicy(DWORD section, const char16_t* name, bool disabled) {
    vx::policy::CGpeInformation information{ComPtr<IGPEInformation>(&gpe)};
    vx::policy::CGPOAuthPolicy policy;
    if (!disabled) policy.Add(1);  // a disabled policy is one without masks
    policy.SetDisabled(disabled);
    ASSERT_EQ(policy.Save(&information, section, name), S_OK);
  }

  const ScopeRecord* Inserted(const std::string& name) const {
    for (const ScopeRecord& record : console.nameSpace.inserted)
      if (record.name == name) return &record;
    return nullptr;
  }
  ComPtr<IDataObject> ScopeObject(const ScopeRecord& record) {
    ComPtr<IDataObject> object;
    EXPECT_EQ(data->QueryDataObject(record.cookie, CCT_SCOPE, object.GetAddressOf()), S_OK);
    return object;
  }
  // Expands the editor's node of the section, the product node and Security.
  void ExpandDown(DWORD section) {
    EditorNode root(section == 2 ? NODETYPE_ComputerSoftwareSettings : NODETYPE_UserSoftwareSettings, &gpe);
    ASSERT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_OK);
    for (const char* name : {"[DNL]Vantorix Keystone Client", "[DNL]Security"}) {
      const ScopeRecord* record = Inserted(name);
      ASSERT_NE(record, nullptr) << name;
      ASSERT_EQ(data->Notify(ScopeObject(*record).Get(), MMCN_EXPAND, TRUE, record->id), S_OK) << name;
    }
  }
  // Shows a node in a view; the items it lists with their two column texts.
  HRESULT Show(const std::string& node, std::vector<ResultRecord>& items) {
    if (!component) {
      EXPECT_EQ(data->CreateComponent(component.GetAddressOf()), S_OK);
      EXPECT_EQ(component->Initialize(&console), S_OK);
    }
    const ScopeRecord* record = Inserted(node);
    EXPECT_NE(record, nullptr) << node;
    if (!record) return E_FAIL;
    const HRESULT hr = component->Notify(ScopeObject(*record).Get(), MMCN_SHOW, TRUE, record->id);
    for (LPARAM cookie : console.results.cookies) {
      ResultRecord item;
      for (int column : {0, 1}) {
        RESULTDATAITEM asked{};
        asked.mask = RDI_STR;
        asked.lParam = cookie;
        asked.nCol = column;
        EXPECT_EQ(component->GetDisplayInfo(&asked), S_OK);
        (column == 0 ? item.name : item.state) = Narrow(asked.str);
      }
      items.push_back(item);
    }
    return hr;
  }

  RecordingMessageBox boxes;
  TestStrings strings;
  TestGpeInformation gpe{std::u16string(kTestsKey) + u"\\" + vx::Widen(std::to_string(::GetCurrentProcessId()))};
  TestConsole console;
  ComPtr<IComponentData> data;
  ComPtr<IComponent> component;
  CComputerSnapin* snapin = nullptr;
};

TEST_F(SnapinWine, ExpandingTheEditorRootsBuildsTheBranch) {
  ASSERT_NO_FATAL_FAILURE(ExpandDown(2));
  const auto& inserted = console.nameSpace.inserted;
  ASSERT_EQ(inserted.size(), 4u);
  EXPECT_EQ(inserted[0].name, "[DNL]Vantorix Keystone Client");
  EXPECT_EQ(inserted[0].parent, kEditorItem);
  EXPECT_EQ(inserted[1].name, "[DNL]Security");
  EXPECT_EQ(inserted[1].parent, inserted[0].id);
  EXPECT_EQ(inserted[2].name, "[DNL]Authentication");
  EXPECT_EQ(inserted[3].name, "[DNL]Enrollment");
  EXPECT_EQ(inserted[3].parent, inserted[1].id);
  // The machine section's product node gets the Kiosk extension (editing CLSID).
  ASSERT_EQ(console.nameSpace.extensions.size(), 1u);
  EXPECT_EQ(console.nameSpace.extensions[0].first, inserted[0].id);
  wchar_t clsid[40];
  ::StringFromGUID2(console.nameSpace.extensions[0].second, clsid, 40);
  EXPECT_EQ(Narrow(clsid), "{54C7735F-A199-B177-9E9C-9A9EEA0C9150}");

  // Expanding the same node again inserts nothing.
  EditorNode root(NODETYPE_ComputerSoftwareSettings, &gpe);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  EXPECT_EQ(inserted.size(), 4u);
}

TEST_F(SnapinWine, UserRootHasNoKioskAndForeignNodeTypesAreIgnored) {
  EditorNode foreign({0x6A76273E, 0xEB8E, 0x45DB, {0x94, 0xC5, 0x25, 0x66, 0x3A, 0x5F, 0x2C, 0x1A}}, &gpe);
  EXPECT_EQ(data->Notify(&foreign, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  EXPECT_TRUE(console.nameSpace.inserted.empty());
  ASSERT_NO_FATAL_FAILURE(ExpandDown(1));
  EXPECT_EQ(console.nameSpace.inserted.size(), 4u);
  EXPECT_TRUE(console.nameSpace.extensions.empty());
}

TEST_F(SnapinWine, DataObjectsAnswerTheConsoleFormats) {
  ASSERT_NO_FATAL_FAILURE(ExpandDown(2));
  const ScopeRecord* product = Inserted("[DNL]Vantorix Keystone Client");
  const ScopeRecord* security = Inserted("[DNL]Security");
  ComPtr<IDataObject> object = ScopeObject(*security);
  const ClipboardFormats& f = Formats();

  std::vector<BYTE> bytes = DataOf(object.Get(), f.nodeType);
  ASSERT_GE(bytes.size(), sizeof(GUID));
  GUID type;
  std::memcpy(&type, bytes.data(), sizeof(GUID));
  EXPECT_EQ(type, NODETYPE_Security);
  bytes = DataOf(object.Get(), f.szNodeType);
  EXPECT_EQ(Narrow(reinterpret_cast<const wchar_t*>(bytes.data())), "{9B0A2E8D-A9A3-4720-94FF-C18824EACC22}");
  bytes = DataOf(object.Get(), f.displayName);
  EXPECT_EQ(Narrow(reinterpret_cast<const wchar_t*>(bytes.data())), "[DNL]Security");
  bytes = DataOf(object.Get(), f.snapinClassId);
  ASSERT_GE(bytes.size(), sizeof(CLSID));
  std::memcpy(&type, bytes.data(), sizeof(CLSID));
  EXPECT_EQ(type, CLSID_ComputerSnapin);
  // The editor's GPO information held by the product node, as one pointer.
  bytes = DataOf(object.Get(), f.gpeInfo);
  ASSERT_GE(bytes.size(), sizeof(void*));
  void* pointer = nullptr;
  std::memcpy(&pointer, bytes.data(), sizeof(void*));
  EXPECT_EQ(pointer, static_cast<IGPEInformation*>(&gpe));
  HRESULT hr = S_OK;
  DataOf(object.Get(), f.rsopMachineNamespace, &hr);
  EXPECT_EQ(hr, DV_E_FORMATETC);  // not in RSoP mode

  EXPECT_EQ(data->CompareObjects(object.Get(), ScopeObject(*security).Get()), S_OK);
  EXPECT_EQ(data->CompareObjects(object.Get(), ScopeObject(*product).Get()), S_FALSE);
  ComPtr<IDataObject> none;
  EXPECT_TRUE(FAILED(data->QueryDataObject(12345, CCT_SCOPE, none.GetAddressOf())));
}

TEST_F(SnapinWine, PropertyChangeGoesToTheNodeNamedByParam) {
  ASSERT_NO_FATAL_FAILURE(ExpandDown(2));
  const ScopeRecord* authentication = Inserted("[DNL]Authentication");
  EXPECT_EQ(data->Notify(nullptr, MMCN_PROPERTY_CHANGE, 0, static_cast<LPARAM>(authentication->cookie)), S_OK);
  EXPECT_EQ(console.updates, 1);
  // Not one of our nodes, or another event without a data object: nothing happens.
  EXPECT_EQ(data->Notify(nullptr, MMCN_PROPERTY_CHANGE, 0, 12345), S_FALSE);
  EXPECT_EQ(data->Notify(nullptr, MMCN_EXPAND, TRUE, static_cast<LPARAM>(authentication->cookie)), S_FALSE);
  EXPECT_EQ(console.updates, 1);
}

TEST_F(SnapinWine, AuthenticationListsThePoliciesOfTheSection) {
  RegisterSamples();
  SavePolicy(2, vx::policy::kLogonPolicy, false);
  SavePolicy(1, vx::policy::kRuntimePolicy, true);
  ASSERT_NO_FATAL_FAILURE(ExpandDown(2));
  std::vector<ResultRecord> items;
  ASSERT_EQ(Show("[DNL]Authentication", items), S_OK);
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0].state, "#159");  // the enabled logon policy
  EXPECT_EQ(items[1].state, "#144");
  EXPECT_EQ(items[2].state, "#144");
  EXPECT_NE(items[0].name, items[1].name);
  EXPECT_TRUE(boxes.shown.empty());

  // Hiding removes the items from the pane.
  const ScopeRecord* authentication = Inserted("[DNL]Authentication");
  EXPECT_EQ(component->Notify(ScopeObject(*authentication).Get(), MMCN_SHOW, FALSE, authentication->id), S_OK);
  EXPECT_TRUE(console.results.cookies.empty());
}

// The user section, the missing plug-ins box and the column texts in real windows: console_wine_test.

TEST_F(SnapinWine, RsopExpansionInsertsTheProductNodeOnce) {
  ComPtr<IVXRsopSnapinMode> mode;
  ASSERT_EQ(data.As(&mode), S_OK);
  ASSERT_EQ(mode->put_Rsop(VARIANT_TRUE), S_OK);
  ASSERT_EQ(mode->put_MachineSection(VARIANT_FALSE), S_OK);
  snapin->RsopData()->SetNamespace(u"\\\\.\\root\\rsop\\test\\User");
  EditorNode root({0xE52C5CE3, 0xFD27, 0x4402, {0x84, 0xDE, 0xD9, 0xA5, 0xF2, 0x85, 0x89, 0x10}}, nullptr);
  EXPECT_EQ(data->Notify(&root, MMCN_REMOVE_CHILDREN, 0, kEditorItem), S_FALSE);
  ASSERT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_OK);
  ASSERT_EQ(console.nameSpace.inserted.size(), 1u);
  EXPECT_EQ(console.nameSpace.inserted[0].name, "[DNL]Vantorix Keystone Client");
  EXPECT_EQ(console.nameSpace.inserted[0].parent, kEditorItem);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  EXPECT_EQ(console.nameSpace.inserted.size(), 1u);

  // Its data object carries the namespace in the user format only.
  ComPtr<IDataObject> object = ScopeObject(console.nameSpace.inserted[0]);
  // The snap-in's own nodes below it expand as in the editor.
  ASSERT_EQ(data->Notify(object.Get(), MMCN_EXPAND, TRUE, console.nameSpace.inserted[0].id), S_OK);
  ASSERT_EQ(console.nameSpace.inserted.size(), 2u);
  EXPECT_EQ(console.nameSpace.inserted[1].name, "[DNL]Security");
  const std::vector<BYTE> bytes = DataOf(object.Get(), Formats().rsopUserNamespace);
  EXPECT_EQ(Narrow(reinterpret_cast<const wchar_t*>(bytes.data())), "\\\\.\\root\\rsop\\test\\User");
  HRESULT hr = S_OK;
  DataOf(object.Get(), Formats().rsopMachineNamespace, &hr);
  EXPECT_EQ(hr, DV_E_FORMATETC);
}

TEST_F(SnapinWine, RsopWithoutNamespaceInsertsNothing) {
  ComPtr<IVXRsopSnapinMode> mode;
  ASSERT_EQ(data.As(&mode), S_OK);
  ASSERT_EQ(mode->put_Rsop(VARIANT_TRUE), S_OK);
  ::OpenClipboard(nullptr);
  ::EmptyClipboard();  // no namespace left there by anyone
  ::CloseClipboard();
  EditorNode root({0x6A76273E, 0xEB8E, 0x45DB, {0x94, 0xC5, 0x25, 0x66, 0x3A, 0x5F, 0x2C, 0x1A}}, nullptr);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  EXPECT_TRUE(console.nameSpace.inserted.empty());
}

TEST(SnapinFactories, RsopFactoriesSetTheMode) {
  ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
  struct Case {
    IClassFactory* factory;
    VARIANT_BOOL machine;
  };
  auto* machine = new vx::module::CComObject<vx::module::CRsopFactory>();
  auto* user = new vx::module::CComObject<vx::module::CUserRsopFactory>();
  for (const Case& c : {Case{machine, VARIANT_TRUE}, Case{user, VARIANT_FALSE}}) {
    ComPtr<IComponentData> data;
    ASSERT_EQ(c.factory->CreateInstance(nullptr, IID_IComponentData, reinterpret_cast<void**>(data.GetAddressOf())), S_OK);
    ComPtr<IVXRsopSnapinMode> mode;
    ASSERT_EQ(data.As(&mode), S_OK);
    VARIANT_BOOL value = VARIANT_FALSE;
    EXPECT_EQ(mode->get_Rsop(&value), S_OK);
    EXPECT_EQ(value, VARIANT_TRUE);
    EXPECT_EQ(mode->get_MachineSection(&value), S_OK);
    EXPECT_EQ(value, c.machine);
    ComPtr<IUnknown> outer;
    EXPECT_EQ(c.factory->CreateInstance(data.Get(), IID_IComponentData, reinterpret_cast<void**>(outer.GetAddressOf())),
              CLASS_E_NOAGGREGATION);
  }
  machine->Release();
  user->Release();
  ::CoUninitialize();
}

}  // namespace

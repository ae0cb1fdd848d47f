// The snap-in's COM layer driven by a console of this test, for what the console host does not show:
// the dynamic Kiosk extension, expansion once only, and the formats its data objects hand the console.
// The editor's Software Settings node (the host's) offers a test GPO.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include <mmc.h>
#include <prsht.h>
#include <gpedit.h>
#include <wrl/client.h>

#include "editor_node.h"
#include "module/win32/com_object.h"
#include "platform/text.h"
#include "rsop_root.h"
#include "snapin/node_tree.h"
#include "snapin/win32/clipboard_formats.h"
#include "snapin/win32/computer_snapin.h"
#include "wine_support.h"

using Microsoft::WRL::ComPtr;
using namespace vx::snapin;

namespace {

constexpr HSCOPEITEM kEditorItem = 1000;
using vx::console::EditorNode;

constexpr HSCOPEITEM kFirstItem = 2000;  // the id the console gives the first node inserted, then one more each

// Records the cookies of the nodes the snap-in inserts (the console host shows their names).
class TestConsole final : public IConsole, public IConsoleNameSpace2 {
 public:
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    *out = nullptr;
    if (iid == IID_IUnknown || iid == IID_IConsole) {
      *out = static_cast<IConsole*>(this);
    } else if (iid == IID_IConsoleNameSpace || iid == IID_IConsoleNameSpace2) {
      *out = static_cast<IConsoleNameSpace2*>(this);
    } else {
      return E_NOINTERFACE;
    }
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return 2; }  // lives in the test
  STDMETHODIMP_(ULONG) Release() override { return 1; }
  // IConsole
  STDMETHODIMP SetHeader(LPHEADERCTRL) override { return E_NOTIMPL; }
  STDMETHODIMP SetToolbar(LPTOOLBAR) override { return E_NOTIMPL; }
  STDMETHODIMP QueryResultView(LPUNKNOWN*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryScopeImageList(LPIMAGELIST*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryResultImageList(LPIMAGELIST*) override { return E_NOTIMPL; }
  STDMETHODIMP UpdateAllViews(LPDATAOBJECT, LPARAM, LONG_PTR) override { return S_OK; }
  STDMETHODIMP MessageBox(LPCWSTR, LPCWSTR, UINT, int*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryConsoleVerb(LPCONSOLEVERB*) override { return E_NOTIMPL; }
  STDMETHODIMP SelectScopeItem(HSCOPEITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetMainWindow(HWND*) override { return E_NOTIMPL; }
  STDMETHODIMP NewWindow(HSCOPEITEM, ULONG) override { return E_NOTIMPL; }
  // IConsoleNameSpace2
  STDMETHODIMP InsertItem(LPSCOPEDATAITEM item) override {
    item->ID = static_cast<HSCOPEITEM>(kFirstItem + inserted.size());
    inserted.push_back(static_cast<MMC_COOKIE>(item->lParam));
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

  std::vector<MMC_COOKIE> inserted;
  std::vector<std::pair<HSCOPEITEM, CLSID>> extensions;
};

// One format of a data object as the console reads it: into a small global block of its own.
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
std::string TextOf(IDataObject* object, UINT format) {
  const std::vector<BYTE> bytes = DataOf(object, format);
  return bytes.empty() ? "<none>" : vx::Utf16ToUtf8(vx::AsU16(reinterpret_cast<const wchar_t*>(bytes.data())));
}
// A format that holds one value (a GUID, a pointer) at its start.
template <class T>
T ValueOf(IDataObject* object, UINT format) {
  const std::vector<BYTE> bytes = DataOf(object, format);
  T value{};
  EXPECT_GE(bytes.size(), sizeof(T));
  if (bytes.size() >= sizeof(T)) std::memcpy(&value, bytes.data(), sizeof(T));
  return value;
}

class SnapinWine : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(SUCCEEDED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    ASSERT_EQ(vx::module::CreateComInstance<CComputerSnapin>(IID_IComponentData,
                                                             reinterpret_cast<void**>(data.GetAddressOf())),
              S_OK);
    ASSERT_EQ(data->Initialize(static_cast<IConsole*>(&console)), S_OK);
  }
  void TearDown() override {
    data->Destroy();
    data.Reset();
    ::CoUninitialize();
  }

  ComPtr<IDataObject> ScopeObject(MMC_COOKIE cookie) {
    ComPtr<IDataObject> object;
    EXPECT_EQ(data->QueryDataObject(cookie, CCT_SCOPE, object.GetAddressOf()), S_OK);
    return object;
  }
  // Expands the editor's node of the section, then each new node below it.
  void ExpandAll(const GUID& editorNode) {
    EditorNode root(editorNode, IID_IGPEInformation, &gpe);
    const size_t first = console.inserted.size();
    ASSERT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_OK);
    for (size_t i = first; i < console.inserted.size(); ++i)
      EXPECT_EQ(data->Notify(ScopeObject(console.inserted[i]).Get(), MMCN_EXPAND, TRUE, kFirstItem + i), S_OK) << i;
  }
  ComPtr<IVXRsopSnapinMode> Mode() {
    ComPtr<IVXRsopSnapinMode> mode;
    EXPECT_EQ(data.As(&mode), S_OK);
    return mode;
  }

  vxtest::TestGpeInformation gpe;
  TestConsole console;
  ComPtr<IComponentData> data;
};

// The console host shows the names of the nodes; here what it does not: the dynamic Kiosk
// extension of the machine's product node, and each section expanded once.
TEST_F(SnapinWine, EditorSectionsGetTheBranchOnceAndTheMachineOneTheKioskExtension) {
  EditorNode foreign(vx::console::kRsopMachineNodeType, IID_IGPEInformation, &gpe);
  EXPECT_EQ(data->Notify(&foreign, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE) << "not a node of the editor";
  ASSERT_NO_FATAL_FAILURE(ExpandAll(NODETYPE_UserSoftwareSettings));
  EXPECT_EQ(console.inserted.size(), 4u);

  ASSERT_NO_FATAL_FAILURE(ExpandAll(NODETYPE_ComputerSoftwareSettings));
  ASSERT_EQ(console.inserted.size(), 8u);
  ASSERT_EQ(console.extensions.size(), 1u) << "none in the user section";
  EXPECT_EQ(console.extensions[0].first, kFirstItem + 4) << "on the product node";
  EXPECT_EQ(console.extensions[0].second,
            CVantorixNode(vx::policy::VX_GPO_SECTION_MACHINE, {}).KioskExtension(true).value());

  EditorNode root(NODETYPE_ComputerSoftwareSettings, IID_IGPEInformation, &gpe);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE) << "expanded once";
  EXPECT_EQ(console.inserted.size(), 8u);
}

TEST_F(SnapinWine, DataObjectsAnswerTheConsoleFormats) {
  ASSERT_NO_FATAL_FAILURE(ExpandAll(NODETYPE_ComputerSoftwareSettings));
  ComPtr<IDataObject> security = ScopeObject(console.inserted[1]);
  const ClipboardFormats& f = Formats();

  EXPECT_EQ(ValueOf<GUID>(security.Get(), f.nodeType), NODETYPE_Security);
  EXPECT_EQ(TextOf(security.Get(), f.szNodeType), "{9B0A2E8D-A9A3-4720-94FF-C18824EACC22}");
  EXPECT_EQ(TextOf(security.Get(), f.displayName), "[DNL]Security");
  EXPECT_EQ(ValueOf<CLSID>(security.Get(), f.snapinClassId), CLSID_ComputerSnapin);
  // The editor's GPO information that came with the expansion, as one pointer.
  EXPECT_EQ(ValueOf<void*>(security.Get(), f.gpeInfo), static_cast<IGPEInformation*>(&gpe));
  HRESULT hr = S_OK;
  DataOf(security.Get(), f.rsopMachineNamespace, &hr);
  EXPECT_EQ(hr, DV_E_FORMATETC) << "not in RSoP mode";

  EXPECT_EQ(data->CompareObjects(security.Get(), ScopeObject(console.inserted[1]).Get()), S_OK);
  EXPECT_EQ(data->CompareObjects(security.Get(), ScopeObject(console.inserted[0]).Get()), S_FALSE);
  ComPtr<IDataObject> none;
  EXPECT_TRUE(FAILED(data->QueryDataObject(12345, CCT_SCOPE, none.GetAddressOf())));
}

// In RSoP mode the console's node is expanded once, into the product node, whose data object carries
// the namespace in the format of its section only; without a namespace nothing is inserted.
TEST_F(SnapinWine, RsopExpansionInsertsTheProductNodeOnceWithItsNamespace) {
  ASSERT_EQ(Mode()->put_Rsop(VARIANT_TRUE), S_OK);
  ASSERT_EQ(Mode()->put_MachineSection(VARIANT_FALSE), S_OK);
  static_cast<CComputerSnapin*>(data.Get())->RsopData()->SetNamespace(u"\\\\.\\root\\rsop\\test\\User");
  EditorNode root(vx::console::kRsopUserNodeType, IID_IUnknown, nullptr);
  EXPECT_EQ(data->Notify(&root, MMCN_REMOVE_CHILDREN, 0, kEditorItem), S_FALSE);
  ASSERT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_OK);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  ASSERT_EQ(console.inserted.size(), 1u);

  ComPtr<IDataObject> product = ScopeObject(console.inserted[0]);
  ASSERT_EQ(data->Notify(product.Get(), MMCN_EXPAND, TRUE, kFirstItem), S_OK);
  EXPECT_EQ(console.inserted.size(), 2u) << "the nodes below expand as in the editor";
  EXPECT_EQ(TextOf(product.Get(), Formats().rsopUserNamespace), "\\\\.\\root\\rsop\\test\\User");
  EXPECT_EQ(TextOf(product.Get(), Formats().rsopMachineNamespace), "<none>");
}

TEST_F(SnapinWine, RsopWithoutNamespaceInsertsNothing) {
  ASSERT_EQ(Mode()->put_Rsop(VARIANT_TRUE), S_OK);
  ::OpenClipboard(nullptr);
  ::EmptyClipboard();  // no namespace left there by anyone
  ::CloseClipboard();
  EditorNode root(vx::console::kRsopMachineNodeType, IID_IUnknown, nullptr);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  EXPECT_EQ(data->Notify(&root, MMCN_EXPAND, TRUE, kEditorItem), S_FALSE);
  EXPECT_TRUE(console.inserted.empty());
}

}  // namespace

#include "snapin/win32/computer_snapin.h"

#include "module/win32/com_object.h"
#include "plugins/win32/signature_win32.h"
#include "rsop/win32/clipboard_win32.h"
#include "rsop/win32/directory_win32.h"
#include "rsop/win32/rsop_information_win32.h"
#include "rsop/win32/wmi_rsop.h"
#include "snapin/win32/computer_component.h"
#include "snapin/win32/data_object.h"
#include "support/check.h"
#include "support/trace.h"

namespace vx::snapin {

namespace {

// The Win32 ports of the RSoP data live as long as the data: one allocation, shared by aliasing.
struct RsopDataWithPorts {
  vx::rsop::WmiRsopLocator locator;
  vx::rsop::Win32Directory directory;
  vx::rsop::Win32RsopClipboard clipboard;
  vx::rsop::CRsopData data{vx::rsop::RsopPorts{&locator, &directory, &clipboard}};
};

vx::rsop::CRsopDataPtr MakeRsopData() {
  auto holder = std::make_shared<RsopDataWithPorts>();
  return vx::rsop::CRsopDataPtr(std::shared_ptr<vx::rsop::CRsopData>(holder, &holder->data));
}

// Text the console asks for back through GetDisplayInfo.
LPOLESTR const kCallbackText = reinterpret_cast<LPOLESTR>(static_cast<INT_PTR>(-1));

}  // namespace

CComputerSnapin::CComputerSnapin()
    : m_rsop(MakeRsopData()),
      m_factory(std::make_shared<vx::plugins::Win32SignatureVerifier>()),
      m_ports{m_registry, m_factory, {}} {
  m_rsop->SetMachineSection(m_bMachineSection != VARIANT_FALSE);
  // Message boxes are owned by the console's main window once we have the console.
  m_ports.activeWindow = [this]() -> HWND {
    HWND window = nullptr;
    if (m_console) m_console->GetMainWindow(&window);
    return window;
  };
}

bool CComputerSnapin::FindInterface(REFIID iid, void** out) {
  if (iid == IID_IUnknown || iid == vx::rsop::IID_IVXRsopSnapinMode) {
    *out = static_cast<IVXRsopSnapinMode*>(this);
  } else if (iid == IID_IComponentData) {
    *out = static_cast<IComponentData*>(this);
  } else if (iid == IID_IExtendPropertySheet || iid == IID_IExtendPropertySheet2) {
    *out = static_cast<IExtendPropertySheet2*>(this);
  } else {
    return false;
  }
  return true;
}

HRESULT CComputerSnapin::get_Rsop(VARIANT_BOOL* rsop) {
  if (rsop == nullptr) return E_POINTER;
  *rsop = m_bRsop;
  return S_OK;
}

HRESULT CComputerSnapin::put_Rsop(VARIANT_BOOL rsop) {
  m_bRsop = rsop;
  return S_OK;
}

HRESULT CComputerSnapin::get_MachineSection(VARIANT_BOOL* machine) {
  if (machine == nullptr) return E_POINTER;
  *machine = m_bMachineSection;
  return S_OK;
}

HRESULT CComputerSnapin::put_MachineSection(VARIANT_BOOL machine) {
  m_bMachineSection = machine;
  m_rsop->SetMachineSection(machine != VARIANT_FALSE);
  return S_OK;
}

// ---- IComponentData

HRESULT CComputerSnapin::Initialize(LPUNKNOWN console) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::Initialize()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(console);
    VX_CHECK(console->QueryInterface(IID_IConsole, reinterpret_cast<void**>(m_console.ReleaseAndGetAddressOf())));
    // Without the second name-space interface there are no dynamic extensions; insertion needs it too.
    console->QueryInterface(IID_IConsoleNameSpace2, reinterpret_cast<void**>(m_namespace.ReleaseAndGetAddressOf()));
    return S_OK;
  });
}

HRESULT CComputerSnapin::CreateComponent(LPCOMPONENT* component) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::CreateComponent()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(component);
    *component = nullptr;
    auto* created = new module::CComObject<CComputerComponent>(*this, Identity());
    *component = created;
    return S_OK;
  });
}

CScopeItem* CComputerSnapin::ItemFromCookie(MMC_COOKIE cookie) const {
  for (const auto& item : m_items) {
    if (reinterpret_cast<MMC_COOKIE>(item.get()) == cookie) return item.get();
  }
  return nullptr;
}

CScopeItem* CComputerSnapin::FindItem(IDataObject* object) {
  GUID nodeType{};
  if (FAILED(NodeTypeOf(object, nodeType))) return nullptr;
  // The RSoP consoles' node types are not ours to map: Notify inserts the product node there.
  if (nodeType == NODETYPE_ComputerSoftwareSettings) return &m_computerRoot;
  if (nodeType == NODETYPE_UserSoftwareSettings) return &m_userRoot;
  const DataObjectContent* content = CDataObject::ContentOf(object);
  return content ? ItemFromCookie(content->cookie) : nullptr;
}

HRESULT CComputerSnapin::InsertChild(CScopeItem& parent, ScopeKind kind, DWORD section, HSCOPEITEM consoleParent) {
  HPTR(m_namespace.Get());
  auto child = std::make_unique<CScopeItem>(kind, section, &parent);
  SCOPEDATAITEM data{};
  data.mask = SDI_STR | SDI_PARAM | SDI_PARENT | SDI_CHILDREN;
  data.displayname = kCallbackText;
  data.lParam = reinterpret_cast<LPARAM>(child.get());
  data.relativeID = consoleParent;
  data.cChildren = child->Children().empty() ? 0 : 1;
  // Known before insertion: the console may ask for the item's name while inserting it.
  CScopeItem* inserted = child.get();
  m_items.push_back(std::move(child));
  const HRESULT hr = m_namespace->InsertItem(&data);
  if (FAILED(hr)) m_items.pop_back();
  VX_CHECK(hr);
  inserted->SetConsoleItem(data.ID);
  return S_OK;
}

HRESULT CComputerSnapin::Expand(CScopeItem& item, IDataObject* object, HSCOPEITEM consoleItem) {
  if (item.Expanded()) return S_FALSE;
  item.SetConsoleItem(consoleItem);
  if (item.Kind() == ScopeKind::ComputerRoot || item.Kind() == ScopeKind::UserRoot) {
    // The editor hands its GPO information through its Software Settings node's data object.
    Microsoft::WRL::ComPtr<IGPEInformation> gpe;
    object->QueryInterface(IID_IGPEInformation, reinterpret_cast<void**>(gpe.GetAddressOf()));
    InsertChild(item, ScopeKind::Vantorix, item.Section(), consoleItem);
    m_items.back()->SetGpeInformation(gpe);
  } else {
    if (item.Kind() == ScopeKind::Vantorix) {
      CVantorixNode product(item.Section(), m_rsop);
      if (const auto clsid = product.KioskExtension(m_namespace != nullptr)) {
        CLSID extension = *clsid;
        CVantorixNode::TraceKioskAdded(m_namespace->AddExtension(consoleItem, &extension));
      }
    }
    for (ScopeKind kind : item.Children()) InsertChild(item, kind, item.Section(), consoleItem);
  }
  item.SetExpanded(true);
  return S_OK;
}

HRESULT CComputerSnapin::PropertyChange(CScopeItem& item) {
  // The result panes reload their items when shown again; the console is told the view changed.
  if (m_console) {
    Microsoft::WRL::ComPtr<IDataObject> object;
    VX_CHECK(ScopeDataObject(item, CCT_SCOPE, object.GetAddressOf()));
    m_console->UpdateAllViews(object.Get(), 0, 0);
  }
  return S_OK;
}

HRESULT CComputerSnapin::Notify(LPDATAOBJECT object, MMC_NOTIFY_TYPE event, LPARAM arg, LPARAM param) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::Notify()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    if (object == nullptr) {
      if (event != MMCN_PROPERTY_CHANGE) return S_FALSE;
      CScopeItem* item = ItemFromCookie(static_cast<MMC_COOKIE>(param));
      return item ? PropertyChange(*item) : S_FALSE;
    }
    // In RSoP mode the console's own node is expanded once, into the product node; the nodes below
    // it are the snap-in's own and expand as in the editor, or the branch could not be browsed.
    if (m_bRsop != VARIANT_FALSE && CDataObject::ContentOf(object) == nullptr) {
      if (event == MMCN_EXPAND) {
        if (m_fExpanded != 0) return S_FALSE;
        if (m_rsop->Namespace().empty()) {
          vx::rsop::Win32RsopInformationSource source(object);
          m_rsop->InitRsop(&source);  // no namespace is answered below
        }
        m_fExpanded = 1;
        if (m_rsop->Namespace().empty()) return S_FALSE;
        CScopeItem& root = m_bMachineSection != VARIANT_FALSE ? m_computerRoot : m_userRoot;
        root.SetConsoleItem(static_cast<HSCOPEITEM>(param));
        root.SetExpanded(true);
        return InsertChild(root, ScopeKind::Vantorix, root.Section(), static_cast<HSCOPEITEM>(param));
      }
      if (event == MMCN_REMOVE_CHILDREN) return S_FALSE;
    }
    CScopeItem* item = FindItem(object);
    if (item == nullptr) return S_FALSE;
    if (event == MMCN_EXPAND && arg != 0) return Expand(*item, object, static_cast<HSCOPEITEM>(param));
    return S_FALSE;
  });
}

HRESULT CComputerSnapin::Destroy() {
  VXTraceNS::CTraceScope scope("CComputerSnapin::Destroy()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    m_items.clear();
    m_namespace.Reset();
    m_console.Reset();
    return S_OK;
  });
}

HRESULT CComputerSnapin::ScopeDataObject(CScopeItem& item, DATA_OBJECT_TYPES type, LPDATAOBJECT* object) {
  const NodeIdentity identity = item.Identity();
  DataObjectContent content;
  content.nodeType = identity.nodeType;
  content.displayName = identity.displayName;
  content.snapinClassId = CLSID_ComputerSnapin;
  content.context = type;
  content.cookie = reinterpret_cast<MMC_COOKIE>(&item);
  content.gpoInformation = item.GpeInformation();
  content.rsopNamespace = m_rsop->Namespace();
  content.machineSection = item.Section() == 2;
  return CDataObject::Create(std::move(content), object);
}

HRESULT CComputerSnapin::QueryDataObject(MMC_COOKIE cookie, DATA_OBJECT_TYPES type, LPDATAOBJECT* object) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::QueryDataObject()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(object);
    *object = nullptr;
    CScopeItem* item = ItemFromCookie(cookie);
    if (item == nullptr) return E_UNEXPECTED;
    return ScopeDataObject(*item, type, object);
  });
}

HRESULT CComputerSnapin::GetDisplayInfo(SCOPEDATAITEM* data) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::GetDisplayInfo()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(data);
    CScopeItem* item = ItemFromCookie(static_cast<MMC_COOKIE>(data->lParam));
    if (item == nullptr) return E_UNEXPECTED;
    // The names are static texts: the console may keep the pointer.
    if (data->mask & SDI_STR) data->displayname = const_cast<LPOLESTR>(reinterpret_cast<LPCOLESTR>(item->Identity().displayName));
    return S_OK;
  });
}

HRESULT CComputerSnapin::CompareObjects(LPDATAOBJECT a, LPDATAOBJECT b) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::CompareObjects()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    const DataObjectContent* first = CDataObject::ContentOf(a);
    const DataObjectContent* second = CDataObject::ContentOf(b);
    if (first == nullptr || second == nullptr) return E_UNEXPECTED;
    return first->cookie == second->cookie && first->nodeType == second->nodeType ? S_OK : S_FALSE;
  });
}

// ---- IExtendPropertySheet2

HRESULT CComputerSnapin::CreatePropertyPages(LPPROPERTYSHEETCALLBACK provider, LONG_PTR, LPDATAOBJECT) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::CreatePropertyPages()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(provider);
    // The scope nodes have no pages of their own; the policy pages are added by the result items.
    return S_OK;
  });
}

HRESULT CComputerSnapin::QueryPagesFor(LPDATAOBJECT) {
  VXTraceNS::CTraceScope scope("CComputerSnapin::QueryPagesFor()");
  return HResultBoundary(scope, [&]() -> HRESULT { return S_OK; });
}

}  // namespace vx::snapin

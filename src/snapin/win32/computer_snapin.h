// CComputerSnapin: the snap-in object that all three registered classes create. The RSoP class
// factories put it into its mode through IVXRsopSnapinMode. To the console it is IComponentData (the
// scope pane) and IExtendPropertySheet2; each console view gets a CComputerComponent. The nodes
// themselves decide (node_tree); this object only translates between them and the console.
#pragma once

#include <memory>
#include <vector>

#include "platform/wintypes.h"

#include <objbase.h>
#include <mmc.h>
#include <wrl/client.h>

#include "platform/win32/win32_registry.h"
#include "plugins/win32/element_factory_win32.h"
#include "rsop/rsop_data.h"
#include "rsop/win32/rsop_snapin_mode.h"
#include "snapin/node_tree.h"
#include "snapin/win32/scope_item.h"

namespace vx::snapin {

// {0471D727-58C9-47C4-8350-7D99EB9B60EB}: the Group Policy editor extension.
inline constexpr CLSID CLSID_ComputerSnapin = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xeb}};
// {0471D727-58C9-47C4-8350-7D99EB9B60EC}: the machine RSoP extension.
inline constexpr CLSID CLSID_RsopSnapin = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xec}};
// {0471D727-58C9-47C4-8350-7D99EB9B60ED}: the user RSoP extension.
inline constexpr CLSID CLSID_UserRsopSnapin = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xed}};

class CComputerSnapin : public IVXRsopSnapinMode, public IComponentData, public IExtendPropertySheet2 {
 public:
  CComputerSnapin();
  virtual ~CComputerSnapin() = default;
  CComputerSnapin(const CComputerSnapin&) = delete;
  CComputerSnapin& operator=(const CComputerSnapin&) = delete;

  // The interfaces this object answers (without AddRef); used by the COM object template.
  bool FindInterface(REFIID iid, void** out);

  // IVXRsopSnapinMode
  HRESULT STDMETHODCALLTYPE get_Rsop(VARIANT_BOOL* rsop) override;
  HRESULT STDMETHODCALLTYPE put_Rsop(VARIANT_BOOL rsop) override;
  HRESULT STDMETHODCALLTYPE get_MachineSection(VARIANT_BOOL* machine) override;
  HRESULT STDMETHODCALLTYPE put_MachineSection(VARIANT_BOOL machine) override;

  // IComponentData
  HRESULT STDMETHODCALLTYPE Initialize(LPUNKNOWN console) override;
  HRESULT STDMETHODCALLTYPE CreateComponent(LPCOMPONENT* component) override;
  HRESULT STDMETHODCALLTYPE Notify(LPDATAOBJECT object, MMC_NOTIFY_TYPE event, LPARAM arg, LPARAM param) override;
  HRESULT STDMETHODCALLTYPE Destroy() override;
  HRESULT STDMETHODCALLTYPE QueryDataObject(MMC_COOKIE cookie, DATA_OBJECT_TYPES type, LPDATAOBJECT* object) override;
  HRESULT STDMETHODCALLTYPE GetDisplayInfo(SCOPEDATAITEM* item) override;
  HRESULT STDMETHODCALLTYPE CompareObjects(LPDATAOBJECT a, LPDATAOBJECT b) override;

  // IExtendPropertySheet2
  HRESULT STDMETHODCALLTYPE CreatePropertyPages(LPPROPERTYSHEETCALLBACK provider, LONG_PTR handle,
                                                LPDATAOBJECT object) override;
  HRESULT STDMETHODCALLTYPE QueryPagesFor(LPDATAOBJECT object) override;
  HRESULT STDMETHODCALLTYPE GetWatermarks(LPDATAOBJECT, HBITMAP*, HBITMAP*, HPALETTE*, BOOL*) override {
    return E_NOTIMPL;
  }

  // The RSoP data shared by every node of this snap-in.
  const vx::rsop::CRsopDataPtr& RsopData() const { return m_rsop; }
  NodePorts& Ports() { return m_ports; }
  // The scope node a cookie names; null for a cookie that is not one of ours.
  CScopeItem* ItemFromCookie(MMC_COOKIE cookie) const;
  // The scope node a console data object names: the two editor roots by node type, else our own
  // data object's node; null when none.
  CScopeItem* FindItem(IDataObject* object);
  // A data object for a scope node (our cookie) in *object.
  HRESULT ScopeDataObject(CScopeItem& item, DATA_OBJECT_TYPES type, LPDATAOBJECT* object);

 private:
  IUnknown* Identity() { return static_cast<IVXRsopSnapinMode*>(this); }
  HRESULT Expand(CScopeItem& item, IDataObject* object, HSCOPEITEM consoleItem);
  HRESULT InsertChild(CScopeItem& parent, ScopeKind kind, DWORD section, HSCOPEITEM consoleParent);
  HRESULT PropertyChange(CScopeItem& item);

  VARIANT_BOOL m_bRsop = VARIANT_FALSE;
  VARIANT_BOOL m_bMachineSection = VARIANT_TRUE;
  vx::rsop::CRsopDataPtr m_rsop;
  LONG m_fExpanded = 0;  // set at the first RSoP expansion

  vx::platform::Win32Registry m_registry;
  vx::plugins::Win32ElementFactory m_factory;
  NodePorts m_ports;

  Microsoft::WRL::ComPtr<IConsole> m_console;
  Microsoft::WRL::ComPtr<IConsoleNameSpace2> m_namespace;
  CScopeItem m_computerRoot{ScopeKind::ComputerRoot, 2, nullptr};
  CScopeItem m_userRoot{ScopeKind::UserRoot, 1, nullptr};
  std::vector<std::unique_ptr<CScopeItem>> m_items;  // every node inserted below a root
};

}  // namespace vx::snapin

// CComputerComponent: one console view of the snap-in (IComponent). It fills the result pane of the
// Authentication and Enrollment nodes with the items node_tree builds for them, and answers their
// column texts; the items live while their node is shown.
#pragma once

#include <memory>
#include <string>

#include "platform/wintypes.h"

#include <objbase.h>
#include <mmc.h>
#include <wrl/client.h>

#include "snapin/node_tree.h"
#include "snapin/win32/scope_item.h"

namespace vx::snapin {

class CComputerSnapin;

class CComputerComponent : public IComponent, public IExtendPropertySheet2 {
 public:
  // snapinIdentity keeps the snap-in alive as long as this view.
  CComputerComponent(CComputerSnapin& snapin, IUnknown* snapinIdentity);
  virtual ~CComputerComponent() = default;
  CComputerComponent(const CComputerComponent&) = delete;
  CComputerComponent& operator=(const CComputerComponent&) = delete;

  bool FindInterface(REFIID iid, void** out);

  // IComponent
  HRESULT STDMETHODCALLTYPE Initialize(LPCONSOLE console) override;
  HRESULT STDMETHODCALLTYPE Notify(LPDATAOBJECT object, MMC_NOTIFY_TYPE event, LPARAM arg, LPARAM param) override;
  HRESULT STDMETHODCALLTYPE Destroy(MMC_COOKIE cookie) override;
  HRESULT STDMETHODCALLTYPE QueryDataObject(MMC_COOKIE cookie, DATA_OBJECT_TYPES type, LPDATAOBJECT* object) override;
  HRESULT STDMETHODCALLTYPE GetResultViewType(MMC_COOKIE cookie, LPOLESTR* viewType, long* options) override;
  HRESULT STDMETHODCALLTYPE GetDisplayInfo(RESULTDATAITEM* item) override;
  HRESULT STDMETHODCALLTYPE CompareObjects(LPDATAOBJECT a, LPDATAOBJECT b) override;

  // IExtendPropertySheet2
  HRESULT STDMETHODCALLTYPE CreatePropertyPages(LPPROPERTYSHEETCALLBACK provider, LONG_PTR handle,
                                                LPDATAOBJECT object) override;
  HRESULT STDMETHODCALLTYPE QueryPagesFor(LPDATAOBJECT object) override;
  HRESULT STDMETHODCALLTYPE GetWatermarks(LPDATAOBJECT, HBITMAP*, HBITMAP*, HPALETTE*, BOOL*) override {
    return E_NOTIMPL;
  }

 private:
  HRESULT Show(CScopeItem& item);
  HRESULT Hide();
  // The policy item or enrollment item a result cookie names in the node shown; null otherwise.
  CPolicyNode* PolicyItem(MMC_COOKIE cookie) const;
  std::shared_ptr<CPolicyNode> SharedPolicyItem(MMC_COOKIE cookie) const;
  HRESULT PropertyChange(LPARAM param);
  HRESULT ShowHelp();
  CEnrollmentPolicyNode* EnrollmentItem(MMC_COOKIE cookie) const;

  CComputerSnapin& m_snapin;
  Microsoft::WRL::ComPtr<IUnknown> m_snapinIdentity;
  Microsoft::WRL::ComPtr<IConsole> m_console;
  Microsoft::WRL::ComPtr<IResultData> m_results;
  CScopeItem* m_shown = nullptr;
  std::unique_ptr<CAuthenticationNode> m_authentication;
  std::unique_ptr<CEnrollmentNode> m_enrollment;
  std::u16string m_columnText;  // the last column text handed out (valid until the next call)
};

}  // namespace vx::snapin

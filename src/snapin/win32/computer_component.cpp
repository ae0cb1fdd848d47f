#include "snapin/win32/computer_component.h"

#include <cstring>

#include "pages/auth_policy_page.h"
#include "pages/win32/auth_policy_page_win32.h"
#include "pages/win32/enrollment_page_win32.h"
#include "pages/win32/explanation_page_win32.h"
#include "pages/win32/precedence_page_win32.h"
#include "pages/win32/page_modules.h"
#include "policy/win32/gpe_information.h"
#include "snapin/win32/computer_snapin.h"
#include "snapin/win32/data_object.h"
#include "platform/win32/win32_files.h"
#include "platform/win32/win32_process.h"
#include "support/check.h"
#include "support/html_help.h"
#include "support/win32/language_win32.h"
#include "support/trace.h"

namespace vx::snapin {

namespace {

LPOLESTR const kCallbackText = reinterpret_cast<LPOLESTR>(static_cast<INT_PTR>(-1));

HRESULT InsertResult(IResultData& results, int index, const void* cookie) {
  RESULTDATAITEM data{};
  data.mask = RDI_STR | RDI_PARAM | RDI_INDEX;
  data.str = kCallbackText;
  data.nIndex = index;
  data.lParam = reinterpret_cast<LPARAM>(cookie);
  return results.InsertItem(&data);
}

// The editor's GPO information as the pages get it: held by the page, so that it outlives the view.
class HeldGpeInformation final : public IGpoInformationSource {
 public:
  explicit HeldGpeInformation(Microsoft::WRL::ComPtr<IGPEInformation> gpe) : m_gpe(std::move(gpe)) {}
  HRESULT GetGPEInformation(std::shared_ptr<policy::IGpoInformation>& information) override {
    if (!m_gpe) return E_NOINTERFACE;
    information = std::make_shared<policy::CGpeInformation>(m_gpe);
    return S_OK;
  }

 private:
  Microsoft::WRL::ComPtr<IGPEInformation> m_gpe;
};

}  // namespace

CComputerComponent::CComputerComponent(CComputerSnapin& snapin, IUnknown* snapinIdentity)
    : m_snapin(snapin), m_snapinIdentity(snapinIdentity) {}

bool CComputerComponent::FindInterface(REFIID iid, void** out) {
  if (iid == IID_IUnknown || iid == IID_IComponent) {
    *out = static_cast<IComponent*>(this);
  } else if (iid == IID_IExtendPropertySheet || iid == IID_IExtendPropertySheet2) {
    *out = static_cast<IExtendPropertySheet2*>(this);
  } else {
    return false;
  }
  return true;
}

HRESULT CComputerComponent::Initialize(LPCONSOLE console) {
  VXTraceNS::CTraceScope scope("CComputerComponent::Initialize()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(console);
    m_console = console;
    VX_CHECK(console->QueryInterface(IID_IResultData, reinterpret_cast<void**>(m_results.ReleaseAndGetAddressOf())));
    return S_OK;
  });
}

HRESULT CComputerComponent::Show(CScopeItem& item) {
  Hide();
  m_shown = &item;
  const rsop::CRsopDataPtr& rsop = m_snapin.RsopData();
  if (item.Kind() == ScopeKind::Authentication) {
    m_authentication = std::make_unique<CAuthenticationNode>(m_snapin.Ports(), item.Section(), rsop);
    VX_CHECK(m_authentication->Load(&item));
    // InsertPolicyItems: item i at index i.
    const auto& items = m_authentication->Items();
    for (size_t i = 0; i < items.size(); ++i)
      VX_CHECK(InsertResult(*m_results.Get(), static_cast<int>(i), items[i].get()));
  } else if (item.Kind() == ScopeKind::Enrollment) {
    m_enrollment = std::make_unique<CEnrollmentNode>(m_snapin.Ports(), item.Section(), rsop);
    VX_CHECK(m_enrollment->Load(&item));
    if (m_enrollment->Item()) VX_CHECK(InsertResult(*m_results.Get(), 0, m_enrollment->Item().get()));
  }
  return S_OK;
}

HRESULT CComputerComponent::Hide() {
  if (m_shown == nullptr) return S_FALSE;
  // RemovePolicyItems: the console's items go before the objects they point at.
  if (m_results) m_results->DeleteAllRsltItems();
  if (m_authentication) m_authentication->RemoveItems();
  if (m_enrollment) m_enrollment->RemoveItems();
  m_authentication.reset();
  m_enrollment.reset();
  m_shown = nullptr;
  return S_OK;
}

HRESULT CComputerComponent::PropertyChange(LPARAM param) {
  // A page applied: the item reloads its policy and the console shows its new state.
  if (m_shown == nullptr) return S_FALSE;
  if (CPolicyNode* policy = PolicyItem(static_cast<MMC_COOKIE>(param))) {
    VX_CHECK(policy->Load(m_shown));
  } else if (CEnrollmentPolicyNode* enrollment = EnrollmentItem(static_cast<MMC_COOKIE>(param))) {
    VX_CHECK(enrollment->Load(m_shown));
  } else {
    return S_FALSE;
  }
  HRESULTITEM item = 0;
  if (m_results && SUCCEEDED(m_results->FindItemByLParam(param, &item))) VX_CHECK(m_results->UpdateItem(item));
  return S_OK;
}

// F1 or the console's help verb on one of the snap-in's items: the product's introduction topic in
// the console's help viewer. Without a viewer, a registered help id or its file, nothing is shown.
HRESULT CComputerComponent::ShowHelp() {
  Microsoft::WRL::ComPtr<IDisplayHelp> display;
  if (!m_console ||
      FAILED(m_console->QueryInterface(IID_IDisplayHelp, reinterpret_cast<void**>(display.GetAddressOf()))))
    return S_FALSE;
  platform::Win32FileSystem files;
  platform::Win32ProcessInfo process;
  Win32ResourceModules modules;
  CHTMLHelp help(m_snapin.Ports().registry, files, process, modules);
  const std::u16string topic = PolicyHelpTopic(m_snapin.Ports().registry, help);
  if (topic.empty()) return S_FALSE;
  // The console frees the topic it is given.
  const size_t bytes = (topic.size() + 1) * sizeof(char16_t);
  auto* copy = static_cast<LPOLESTR>(::CoTaskMemAlloc(bytes));
  HPTR(copy);
  std::memcpy(copy, topic.c_str(), bytes);
  return display->ShowTopic(copy);
}

HRESULT CComputerComponent::Notify(LPDATAOBJECT object, MMC_NOTIFY_TYPE event, LPARAM arg, LPARAM param) {
  VXTraceNS::CTraceScope scope("CComputerComponent::Notify()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    if (object == nullptr && event == MMCN_PROPERTY_CHANGE) return PropertyChange(param);
    if (event == MMCN_CONTEXTHELP) return ShowHelp();
    if (event != MMCN_SHOW) return S_FALSE;
    HPTR(m_results.Get());
    CScopeItem* item = m_snapin.FindItem(object);
    if (item == nullptr) return S_FALSE;
    if (arg == 0) return item == m_shown ? Hide() : S_FALSE;
    try {
      return Show(*item);
    } catch (...) {
      Hide();  // a failed load shows no items
      throw;
    }
  });
}

HRESULT CComputerComponent::Destroy(MMC_COOKIE) {
  VXTraceNS::CTraceScope scope("CComputerComponent::Destroy()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    Hide();
    m_results.Reset();
    m_console.Reset();
    return S_OK;
  });
}

std::shared_ptr<CPolicyNode> CComputerComponent::SharedPolicyItem(MMC_COOKIE cookie) const {
  if (!m_authentication) return nullptr;
  for (const auto& item : m_authentication->Items()) {
    if (reinterpret_cast<MMC_COOKIE>(item.get()) == cookie) return item;
  }
  return nullptr;
}

CPolicyNode* CComputerComponent::PolicyItem(MMC_COOKIE cookie) const { return SharedPolicyItem(cookie).get(); }

CEnrollmentPolicyNode* CComputerComponent::EnrollmentItem(MMC_COOKIE cookie) const {
  if (!m_enrollment || !m_enrollment->Item()) return nullptr;
  CEnrollmentPolicyNode* item = m_enrollment->Item().get();
  return reinterpret_cast<MMC_COOKIE>(item) == cookie ? item : nullptr;
}

HRESULT CComputerComponent::QueryDataObject(MMC_COOKIE cookie, DATA_OBJECT_TYPES type, LPDATAOBJECT* object) {
  VXTraceNS::CTraceScope scope("CComputerComponent::QueryDataObject()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(object);
    *object = nullptr;
    if (type != CCT_RESULT) {
      CScopeItem* item = m_snapin.ItemFromCookie(cookie);
      if (item == nullptr) return E_UNEXPECTED;
      return m_snapin.ScopeDataObject(*item, type, object);
    }
    DataObjectContent content;
    if (CPolicyNode* policy = PolicyItem(cookie)) {
      content.nodeType = CPolicyNode::NodeType();
      content.displayName = policy->DisplayName();
    } else if (EnrollmentItem(cookie) != nullptr) {
      content.nodeType = CEnrollmentPolicyNode::Identity().nodeType;
      content.displayName = CEnrollmentPolicyNode::Identity().displayName;
    } else {
      return E_UNEXPECTED;
    }
    content.snapinClassId = CLSID_ComputerSnapin;
    content.context = type;
    content.cookie = cookie;
    content.gpoInformation = m_shown ? m_shown->GpeInformation() : nullptr;
    content.rsopNamespace = m_snapin.RsopData()->Namespace();
    content.machineSection = m_shown ? m_shown->Section() == 2 : true;
    return CDataObject::Create(std::move(content), object);
  });
}

HRESULT CComputerComponent::GetResultViewType(MMC_COOKIE, LPOLESTR* viewType, long* options) {
  VXTraceNS::CTraceScope scope("CComputerComponent::GetResultViewType()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(viewType);
    HPTR(options);
    *viewType = nullptr;
    *options = MMC_VIEW_OPTIONS_NONE;
    return S_FALSE;  // the console's standard list view
  });
}

HRESULT CComputerComponent::GetDisplayInfo(RESULTDATAITEM* data) {
  VXTraceNS::CTraceScope scope("CComputerComponent::GetDisplayInfo()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(data);
    if (!(data->mask & RDI_STR)) return S_OK;
    if (data->bScopeItem) {
      CScopeItem* item = m_snapin.ItemFromCookie(static_cast<MMC_COOKIE>(data->lParam));
      if (item == nullptr) return E_UNEXPECTED;
      m_columnText = data->nCol == 0 ? std::u16string(item->Identity().displayName) : std::u16string();
    } else if (CPolicyNode* policy = PolicyItem(static_cast<MMC_COOKIE>(data->lParam))) {
      m_columnText = policy->GetResultPaneColInfo(data->nCol);
    } else if (CEnrollmentPolicyNode* enrollment = EnrollmentItem(static_cast<MMC_COOKIE>(data->lParam))) {
      m_columnText = enrollment->GetResultPaneColInfo(data->nCol);
    } else {
      return E_UNEXPECTED;
    }
    data->str = reinterpret_cast<LPOLESTR>(m_columnText.data());
    return S_OK;
  });
}

HRESULT CComputerComponent::CompareObjects(LPDATAOBJECT a, LPDATAOBJECT b) {
  VXTraceNS::CTraceScope scope("CComputerComponent::CompareObjects()");
  return HResultBoundary(scope, [&]() -> HRESULT { return m_snapin.CompareObjects(a, b); });
}

HRESULT CComputerComponent::CreatePropertyPages(LPPROPERTYSHEETCALLBACK provider, LONG_PTR handle,
                                                LPDATAOBJECT object) {
  VXTraceNS::CTraceScope scope("CComputerComponent::CreatePropertyPages()");
  return HResultBoundary(scope, [&]() -> HRESULT {
    HPTR(provider);
    const DataObjectContent* content = CDataObject::ContentOf(object);
    const MMC_COOKIE cookie = content ? content->cookie : 0;
    std::shared_ptr<CPolicyNode> policy = content ? SharedPolicyItem(cookie) : nullptr;
    std::shared_ptr<CEnrollmentPolicyNode> enrollment =
        content && !policy && EnrollmentItem(cookie) ? m_enrollment->Item() : nullptr;
    if (!policy && !enrollment) {
      pages::FreeNotifyHandle(handle);  // no page of this item will notify
      return S_OK;
    }
    const auto add = [&](HPROPSHEETPAGE page) {
      if (page == nullptr) return HRESULT_FROM_WIN32(::GetLastError());
      const HRESULT added = provider->AddPage(page);
      if (FAILED(added)) ::DestroyPropertySheetPage(page);
      return added;
    };
    const bool rsopMode = m_snapin.RsopData().IsRsopMode();
    IGPEInformation* gpe = m_shown && !rsopMode ? m_shown->GpeInformation() : nullptr;
    auto source = std::make_shared<HeldGpeInformation>(Microsoft::WRL::ComPtr<IGPEInformation>(gpe));
    // The explanation's heading: the item's name without the marker of texts left unlocalised.
    std::u16string displayName = policy ? policy->DisplayName() : CEnrollmentPolicyNode::Identity().displayName;
    if (displayName.starts_with(u"[DNL]")) displayName.erase(0, 5);
    const std::u16string settingName =
        policy ? (policy->SettingName() ? policy->SettingName() : u"") : vx::policy::GPO_DisableCredentials;
    const rsop::RsopPolicyEntry& entry = policy ? policy->RsopEntry() : enrollment->Policy().RsopEntry();
    for (PropertyPageKind kind : policy ? policy->PropertyPages() : CEnrollmentPolicyNode::PropertyPages()) {
      // The setting's own page owns the notification handle; it names this item when it notifies.
      if (kind == PropertyPageKind::Explanation) {
        VX_CHECK(add(pages::CExplanationPageWindow::Create(
            std::make_unique<pages::CExplanationPage>(displayName, settingName))));
      } else if (kind == PropertyPageKind::Precedence) {
        VX_CHECK(add(pages::CPrecedencePageWindow::Create(std::make_unique<pages::CPrecedencePolicyPage>(entry))));
      } else if (kind == PropertyPageKind::AuthPolicy) {
        auto presenter = std::make_unique<pages::CAuthPolicyPage>(policy, source, pages::PagesClock());
        VX_CHECK(add(pages::CAuthPolicyPageWindow::Create(std::move(presenter), handle, static_cast<LPARAM>(cookie))));
      } else if (kind == PropertyPageKind::EnrollmentPolicy) {
        auto presenter = std::make_unique<pages::CEnrollmentPolicyPage>(enrollment, source);
        VX_CHECK(add(pages::CEnrollmentPageWindow::Create(std::move(presenter), handle, static_cast<LPARAM>(cookie))));
      }
    }
    return S_OK;
  });
}

HRESULT CComputerComponent::QueryPagesFor(LPDATAOBJECT) {
  VXTraceNS::CTraceScope scope("CComputerComponent::QueryPagesFor()");
  return HResultBoundary(scope, [&]() -> HRESULT { return CPolicyNode::QueryPagesFor(); });
}

}  // namespace vx::snapin

#include "snapin/win32/scope_item.h"

#include "policy/win32/gpe_information.h"
#include "support/trace.h"

namespace vx::snapin {

ScopeKind ScopeKindOf(ScopeNodeKind kind) {
  switch (kind) {
    case ScopeNodeKind::Vantorix:
      return ScopeKind::Vantorix;
    case ScopeNodeKind::Security:
      return ScopeKind::Security;
    case ScopeNodeKind::Authentication:
      return ScopeKind::Authentication;
    case ScopeNodeKind::Enrollment:
      break;
  }
  return ScopeKind::Enrollment;
}

NodeIdentity CScopeItem::Identity() const {
  switch (m_kind) {
    case ScopeKind::ComputerRoot:
      return {u"[DNL]", NODETYPE_ComputerSoftwareSettings};
    case ScopeKind::UserRoot:
      return {u"[DNL]", NODETYPE_UserSoftwareSettings};
    case ScopeKind::Vantorix:
      return CVantorixNode::Identity();
    case ScopeKind::Security:
      return CSecurityNode::Identity();
    case ScopeKind::Authentication:
      return CAuthenticationNode::Identity();
    case ScopeKind::Enrollment:
      break;
  }
  return CEnrollmentNode::Identity();
}

std::vector<ScopeKind> CScopeItem::Children() const {
  std::vector<ScopeNodeKind> kinds;
  switch (m_kind) {
    case ScopeKind::ComputerRoot:
    case ScopeKind::UserRoot:
      return {ScopeKind::Vantorix};
    case ScopeKind::Vantorix:
      kinds = CVantorixNode(m_section, {}).Children();
      break;
    case ScopeKind::Security:
      kinds = CSecurityNode().Children();
      break;
    default:
      break;
  }
  std::vector<ScopeKind> children;
  for (ScopeNodeKind kind : kinds) children.push_back(ScopeKindOf(kind));
  return children;
}

const CScopeItem* CScopeItem::ProductNode() const {
  const CScopeItem* item = this;
  while (item != nullptr && item->m_kind != ScopeKind::Vantorix) item = item->m_parent;
  return item;
}

IGPEInformation* CScopeItem::GpeInformation() const {
  const CScopeItem* product = ProductNode();
  return product ? product->m_gpe.Get() : nullptr;
}

HRESULT CScopeItem::GetGPEInformation(std::shared_ptr<policy::IGpoInformation>& information) {
  VXTraceNS::CTraceScope scope("CScopeItem::GetGPEInformation");
  IGPEInformation* gpe = GpeInformation();
  if (gpe == nullptr) return scope.Result(E_NOINTERFACE);
  information = std::make_shared<policy::CGpeInformation>(Microsoft::WRL::ComPtr<IGPEInformation>(gpe));
  return S_OK;
}

}  // namespace vx::snapin

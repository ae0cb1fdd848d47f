#include "snapin/win32/computer_snapin.h"

#include "rsop/win32/clipboard_win32.h"
#include "rsop/win32/directory_win32.h"
#include "rsop/win32/wmi_rsop.h"

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

}  // namespace

CComputerSnapin::CComputerSnapin() : m_rsop(MakeRsopData()) {
  m_rsop->SetMachineSection(m_bMachineSection != VARIANT_FALSE);
}

bool CComputerSnapin::FindInterface(REFIID iid, void** out) {
  if (iid == IID_IUnknown || iid == vx::rsop::IID_IVXRsopSnapinMode) {
    *out = static_cast<IVXRsopSnapinMode*>(this);
    return true;
  }
  return false;
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

}  // namespace vx::snapin

// CComputerSnapin: the snap-in object that all three registered classes create. The RSoP class
// factories put it into its mode through IVXRsopSnapinMode. The console's snap-in interfaces join the
// interface list in FindInterface as they are added; the mode and the RSoP data stay as they are.
#pragma once

#include <memory>

#include "platform/wintypes.h"
#include "rsop/rsop_data.h"
#include "rsop/win32/rsop_snapin_mode.h"

namespace vx::snapin {

// {0471D727-58C9-47C4-8350-7D99EB9B60EB}: the Group Policy editor extension.
inline constexpr CLSID CLSID_ComputerSnapin = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xeb}};
// {0471D727-58C9-47C4-8350-7D99EB9B60EC}: the machine RSoP extension.
inline constexpr CLSID CLSID_RsopSnapin = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xec}};
// {0471D727-58C9-47C4-8350-7D99EB9B60ED}: the user RSoP extension.
inline constexpr CLSID CLSID_UserRsopSnapin = {0x0471d727, 0x58c9, 0x47c4, {0x83, 0x50, 0x7d, 0x99, 0xeb, 0x9b, 0x60, 0xed}};

class CComputerSnapin : public IVXRsopSnapinMode {
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

  // The RSoP data shared by every node of this snap-in.
  const vx::rsop::CRsopDataPtr& RsopData() const { return m_rsop; }

 private:
  VARIANT_BOOL m_bRsop = VARIANT_FALSE;
  VARIANT_BOOL m_bMachineSection = VARIANT_TRUE;
  vx::rsop::CRsopDataPtr m_rsop;
  LONG m_fExpanded = 0;  // set at the first RSoP expansion
};

}  // namespace vx::snapin

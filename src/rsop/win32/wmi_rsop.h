// The WMI ports of the RSoP data over the platform's WMI: locator, services, result enumeration and
// result objects. Every interface pointer is held in a ComPtr.
#pragma once

#include <memory>
#include <string_view>

#include "platform/wintypes.h"

#include <wbemcli.h>
#include <wrl/client.h>

#include "rsop/rsop_ports.h"

namespace vx::rsop {

// IWbemClassObject::Get(name, 0, &value, null, null), converted to the core's value.
class WmiRsopObject final : public IRsopObject {
 public:
  explicit WmiRsopObject(Microsoft::WRL::ComPtr<IWbemClassObject> object) : m_object(std::move(object)) {}
  HRESULT Get(std::u16string_view property, Variant& value) override;

 private:
  Microsoft::WRL::ComPtr<IWbemClassObject> m_object;
};

// IEnumWbemClassObject::Next(WBEM_INFINITE, 1).
class WmiRsopObjectEnum final : public IRsopObjectEnum {
 public:
  explicit WmiRsopObjectEnum(Microsoft::WRL::ComPtr<IEnumWbemClassObject> objects) : m_objects(std::move(objects)) {}
  HRESULT Next(std::unique_ptr<IRsopObject>& object) override;

 private:
  Microsoft::WRL::ComPtr<IEnumWbemClassObject> m_objects;
};

// IWbemServices::ExecQuery with no context.
class WmiRsopServices final : public IRsopServices {
 public:
  explicit WmiRsopServices(Microsoft::WRL::ComPtr<IWbemServices> services) : m_services(std::move(services)) {}
  HRESULT ExecQuery(std::u16string_view language, std::u16string_view query, LONG flags,
                    std::unique_ptr<IRsopObjectEnum>& result) override;

 private:
  Microsoft::WRL::ComPtr<IWbemServices> m_services;
};

// Creates the locator class (the platform's WMI locator unless another class is named) for
// IID_IWbemLocator in any context, then ConnectServer(namespace) with no user, password, locale,
// authority or context and flags 0. The caller has initialised COM on its thread.
class WmiRsopLocator final : public IRsopLocator {
 public:
  explicit WmiRsopLocator(const CLSID& locatorClass = CLSID_WbemLocator) : m_class(locatorClass) {}
  HRESULT ConnectServer(std::u16string_view ns, std::unique_ptr<IRsopServices>& services) override;

 private:
  CLSID m_class;
};

}  // namespace vx::rsop

// Ports of the RSoP data: the console's RSoP information, the WMI connection and query, the directory
// lookup of GPO display names, and the clipboard that hands the namespace between extension instances.
// Win32 adapters live in rsop/win32/; in-memory ones in rsop/memory_rsop_ports.h.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/variant.h"
#include "platform/wintypes.h"

namespace vx::rsop {

// What the console passed to the extension; it may offer IRSOPInformation.
class IRsopInformationSource {
 public:
  virtual ~IRsopInformationSource() = default;
  // QueryInterface for IRSOPInformation: false when the object does not offer it.
  virtual bool HasRsopInformation() = 0;
  // IRSOPInformation::GetNamespace(section, buffer of maxChars characters).
  virtual HRESULT GetNamespace(DWORD section, std::u16string& ns, DWORD maxChars) = 0;
};

// One object of a WMI query result.
class IRsopObject {
 public:
  virtual ~IRsopObject() = default;
  // IWbemClassObject::Get(name): the property as a typed value (a missing property fails).
  virtual HRESULT Get(std::u16string_view property, Variant& value) = 0;
};

// IEnumWbemClassObject, one object at a time.
class IRsopObjectEnum {
 public:
  virtual ~IRsopObjectEnum() = default;
  // Next(WBEM_INFINITE, 1): S_OK with an object, S_FALSE (object null) at the end, or a failure.
  virtual HRESULT Next(std::unique_ptr<IRsopObject>& object) = 0;
};

// IWbemServices of the connected namespace.
class IRsopServices {
 public:
  virtual ~IRsopServices() = default;
  // ExecQuery(language, query, flags).
  virtual HRESULT ExecQuery(std::u16string_view language, std::u16string_view query, LONG flags,
                            std::unique_ptr<IRsopObjectEnum>& result) = 0;
};

// The WMI locator (created with CoCreateInstance of CLSID_WbemLocator) and ConnectServer.
class IRsopLocator {
 public:
  virtual ~IRsopLocator() = default;
  virtual HRESULT ConnectServer(std::u16string_view ns, std::unique_ptr<IRsopServices>& services) = 0;
};

// ADsGetObject(path, IID_IADs) and IADs::Get(attribute) as a typed value.
class IDirectory {
 public:
  virtual ~IDirectory() = default;
  virtual HRESULT GetAttribute(std::u16string_view path, std::u16string_view attribute, Variant& value) = 0;
};

// The clipboard as the namespace transfer uses it (a registered format by name; the text is stored as
// UTF-16 with one NUL in a movable global block).
class IRsopClipboard {
 public:
  virtual ~IRsopClipboard() = default;
  virtual HRESULT Put(std::u16string_view format, std::u16string_view text) = 0;
  // E_NOINTERFACE when there is no item of the format or its text is empty.
  virtual HRESULT Get(std::u16string_view format, std::u16string& text) = 0;
};

struct RsopPorts {
  IRsopLocator* locator = nullptr;
  IDirectory* directory = nullptr;
  IRsopClipboard* clipboard = nullptr;
};

// WMI flags used by the query.
inline constexpr LONG kWbemFlagReturnImmediately = 0x10;
inline constexpr LONG kWbemFlagForwardOnly = 0x20;

}  // namespace vx::rsop

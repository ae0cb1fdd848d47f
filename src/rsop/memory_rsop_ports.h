// In-memory RSoP ports for tests and Linux tools: the console's RSoP information, a WMI locator that
// serves a fixed list of objects, a directory of GPO display names and a clipboard. Each records what
// it was asked and can be told to fail where the real platform can.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "rsop/rsop_ports.h"

namespace vx::rsop {

// Codes the real platform gives for the failures these ports imitate.
inline constexpr HRESULT kWbemNotFound = static_cast<HRESULT>(0x80041002u);       // WBEM_E_NOT_FOUND
inline constexpr HRESULT kWbemFailed = static_cast<HRESULT>(0x80041001u);         // WBEM_E_FAILED
inline constexpr HRESULT kWbemInvalidNamespace = static_cast<HRESULT>(0x8004100Eu);
inline constexpr HRESULT kDirectoryNoSuchObject = static_cast<HRESULT>(0x80072030u);
inline constexpr HRESULT kAdsPropertyNotFound = static_cast<HRESULT>(0x8000500Du);

// The registry key whose settings the RSoP data keeps.
inline constexpr char16_t kRsopPolicyKey[] =
    u"Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";

// One WMI object: property name -> value. Names are looked up ignoring case, as WMI's are; a name not
// in the map is a property the class does not have, and reading it fails with kWbemNotFound.
using RsopObjectData = std::map<std::u16string, Variant, std::less<>>;

// The properties of one RSOP_RegistryPolicySetting. An unset optional is a null property (VT_NULL).
struct RegistryPolicySetting {
  std::optional<std::u16string> registryKey = std::u16string(kRsopPolicyKey);
  std::optional<std::u16string> valueName;
  std::optional<std::int32_t> valueType = 7;  // REG_MULTI_SZ
  std::optional<std::vector<BYTE>> value;
  std::optional<bool> deleted;
  std::optional<std::u16string> gpoId;
  std::optional<std::int32_t> precedence;
};
RsopObjectData MakeRegistryPolicySetting(const RegistryPolicySetting& setting);

// Little-endian UTF-16 bytes of text as the registry stores it; include the NULs of a multi-string
// in the text (std::u16string_view(u"A\0B\0\0", 5)).
std::vector<BYTE> Utf16Bytes(std::u16string_view text);

class MemoryRsopInformation : public IRsopInformationSource {
 public:
  bool HasRsopInformation() override { return present; }
  // Section 2 gives the machine namespace, 1 the user one; a namespace that does not fit in maxChars
  // (with its NUL) fails as the real interface does.
  HRESULT GetNamespace(DWORD section, std::u16string& ns, DWORD maxChars) override;

  bool present = true;
  std::u16string machineNamespace;
  std::u16string userNamespace;
  HRESULT failure = S_OK;
  std::vector<DWORD> sections;  // the section of every GetNamespace call
};

class MemoryRsopLocator : public IRsopLocator {
 public:
  struct Query {
    std::u16string language;
    std::u16string text;
    LONG flags;
  };

  HRESULT ConnectServer(std::u16string_view ns, std::unique_ptr<IRsopServices>& services) override;

  std::vector<RsopObjectData> objects;  // what every query returns, in this order
  HRESULT connectFailure = S_OK;
  HRESULT queryFailure = S_OK;
  std::optional<size_t> failAtObject;  // Next fails with objectFailure when it reaches this object
  HRESULT objectFailure = kWbemFailed;

  std::vector<std::u16string> namespaces;  // every ConnectServer
  std::vector<Query> queries;              // every ExecQuery of the services handed out
};

class MemoryDirectory : public IDirectory {
 public:
  HRESULT GetAttribute(std::u16string_view path, std::u16string_view attribute, Variant& value) override;

  std::map<std::u16string, std::u16string> displayNames;  // "LDAP://..." path -> displayName
  HRESULT failure = S_OK;
  std::vector<std::u16string> paths;  // every lookup
};

class MemoryRsopClipboard : public IRsopClipboard {
 public:
  // Stored as the clipboard holds it: the text up to its first NUL.
  HRESULT Put(std::u16string_view format, std::u16string_view text) override;
  HRESULT Get(std::u16string_view format, std::u16string& text) override;

  std::map<std::u16string, std::u16string> items;  // format name -> text
  HRESULT putFailure = S_OK;
};

class CRsopData;

// An RSoP session of the machine section over the in-memory ports: what Add puts in is what the
// namespace reports, and Open gives RSoP data initialised from it, as the snap-in's would be.
struct MemoryRsopSession {
  MemoryRsopInformation info;
  MemoryRsopLocator locator;
  MemoryDirectory directory;
  MemoryRsopClipboard clipboard;

  // The setting name and its REG_MULTI_SZ elements with their NULs, from the GPO "LocalGPO".
  void Add(std::u16string_view name, std::u16string_view elements, int precedence = 1);
  // Null when the RSoP data cannot be initialised.
  std::shared_ptr<CRsopData> Open();
};

}  // namespace vx::rsop

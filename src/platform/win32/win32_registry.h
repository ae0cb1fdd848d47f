// Registry port over advapi32. Access rights, including KEY_WOW64_32KEY, are passed on as given.
#pragma once

#include <memory>
#include <string_view>

#include "platform/registry.h"

namespace vx::platform {

class Win32Registry final : public IRegistry {
 public:
  LONG OpenKey(RegistryRoot root, std::u16string_view path, REGSAM access,
               std::unique_ptr<IRegistryKey>& key) override;
  LONG CreateKey(RegistryRoot root, std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key,
                 DWORD* disposition = nullptr) override;
  LONG DeleteKey(RegistryRoot root, std::u16string_view path, REGSAM view = 0) override;
};

// A key handle from elsewhere (such as the GPO section key the Group Policy editor hands out) as a
// port key; with takeOwnership the handle is closed with it. A null handle gives no key.
std::unique_ptr<IRegistryKey> WrapRegistryKey(HKEY key, bool takeOwnership);

}  // namespace vx::platform

// In-memory registry with the manners of the real one (see registry.h), for tests and Linux tools.
// Like 64-bit Windows it starts with HKLM\SOFTWARE, SOFTWARE\Classes and SOFTWARE\WOW6432Node, which
// cannot be deleted; ClassesRoot is HKLM\SOFTWARE\Classes (the per-user classes are not merged in).
// Thread-safe; key handles stay usable after the registry object itself is gone.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace vx::platform {

struct MemoryRegistryTree;

class MemoryRegistry final : public IRegistry {
 public:
  MemoryRegistry();
  ~MemoryRegistry() override;
  MemoryRegistry(const MemoryRegistry&) = delete;
  MemoryRegistry& operator=(const MemoryRegistry&) = delete;

  LONG OpenKey(RegistryRoot root, std::u16string_view path, REGSAM access,
               std::unique_ptr<IRegistryKey>& key) override;
  LONG CreateKey(RegistryRoot root, std::u16string_view path, REGSAM access, std::unique_ptr<IRegistryKey>& key,
                 DWORD* disposition = nullptr) override;
  LONG DeleteKey(RegistryRoot root, std::u16string_view path, REGSAM view = 0) override;

  // For assertions in tests: the subtree at root\path (64-bit view) as UTF-8 text, one line per key
  // and value, indented by two spaces per level, values before subkeys, e.g.
  //   Tracing
  //     Level = REG_DWORD 0x00000003
  //     FileName = REG_SZ "C:\trace.bin"
  //     Flags = REG_BINARY 01 ff
  //     List = REG_MULTI_SZ ["a", "b"]
  //     Sub
  // The default value shows as @; strings that are not NUL-terminated, and other types, show as hex
  // bytes. Empty if there is no such key.
  std::string Dump(RegistryRoot root, std::u16string_view path = {}) const;

 private:
  std::shared_ptr<MemoryRegistryTree> tree_;
};

}  // namespace vx::platform

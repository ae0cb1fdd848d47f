// The registry contract over the real registry, plus what only the Win32 adapter has. Each test works
// below scratch keys of its own, removed again after the test in both views.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "contract/registry_contract.h"
#include "platform/win32/win32_handles.h"
#include "platform/win32/win32_registry.h"
#include "wine_support.h"

namespace vx::contract {

using namespace vx::platform;

std::unique_ptr<RegistryEnvironment> MakeRegistryEnvironment() {
  class Win32Environment final : public RegistryEnvironment {
   public:
    ~Win32Environment() override {
      for (const auto& [root, path] : made_) {
        for (REGSAM view : {REGSAM{0}, REGSAM{KEY_WOW64_32KEY}}) {
          DeleteTree(root, path, view);
          // The common parent goes with the last scratch key in it.
          const size_t slash = path.rfind(u'\\');
          if (slash != std::u16string::npos) registry_.DeleteKey(root, path.substr(0, slash), view);
        }
      }
    }
    IRegistry& Registry() override { return registry_; }

   private:
    // Removes path with everything below it, in one view.
    void DeleteTree(RegistryRoot root, const std::u16string& path, REGSAM view) {
      std::unique_ptr<IRegistryKey> key;
      if (registry_.OpenKey(root, path, KEY_ALL_ACCESS | view, key) != ERROR_SUCCESS) return;
      for (const std::u16string& name : Subkeys(*key)) DeleteTree(root, path + u"\\" + name, view);
      registry_.DeleteKey(root, path, view);
    }

    Win32Registry registry_;
  };
  return std::make_unique<Win32Environment>();
}

namespace {

// A handle from elsewhere is closed with its port key only when handed over; names and text written
// around the adapter read back unchanged, beyond ASCII and the BMP too (the other way round the policy
// store's Wine test reads what the adapter wrote).
TEST(Win32RegistryTest, WrappedHandleKeepsItsOwnerAndItsText) {
  vxtest::ScratchKey scratch;
  HKEY raw = nullptr, copy = nullptr;
  ASSERT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, scratch.Path().c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &raw,
                              nullptr),
            ERROR_SUCCESS);
  const UniqueKey owner(raw);
  ASSERT_EQ(::RegOpenKeyExW(raw, L"", 0, KEY_ALL_ACCESS, &copy), ERROR_SUCCESS);
  const BYTE one[4] = {1, 0, 0, 0};
  WrapRegistryKey(copy, true).reset();
  EXPECT_EQ(::RegSetValueExW(copy, L"Closed", 0, REG_DWORD, one, 4), ERROR_INVALID_HANDLE);
  EXPECT_EQ(WrapRegistryKey(nullptr, true), nullptr);
  auto key = WrapRegistryKey(raw, false);
  WrapRegistryKey(raw, false).reset();
  EXPECT_EQ(::RegSetValueExW(raw, L"Open", 0, REG_DWORD, one, 4), ERROR_SUCCESS);

  const wchar_t written[] = L"C:\\Program Files\\\u00c5 \u65e5\u672c \U0001F600";
  ASSERT_EQ(
      ::RegSetValueExW(raw, L"\u00c9t\u00e9", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(written), sizeof written),
      ERROR_SUCCESS);
  std::u16string read;
  DWORD type = 0;
  EXPECT_EQ(ReadString(*key, u"\u00e9T\u00c9", read, &type), ERROR_SUCCESS);
  EXPECT_EQ(std::pair(read, type),
            std::pair(std::u16string(u"C:\\Program Files\\\u00c5 \u65e5\u672c \U0001F600"), DWORD{REG_EXPAND_SZ}));
}

}  // namespace
}  // namespace vx::contract

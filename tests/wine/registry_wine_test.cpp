// The registry contract over the real registry, plus what only the Win32 adapter has. Each test works
// below its own HKCU\Software\VXGPOSnapinTests\<pid>-<n> (for the view cases also HKLM\SOFTWARE\...
// in both views), removed again after the test.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "contract/registry_contract.h"
#include "platform/text.h"
#include "platform/win32/win32_registry.h"

namespace vx::platform {
namespace {

using contract::RegistryContract;
using contract::RegistryEnvironment;
using contract::RegistryTarget;

HKEY RootHandle(RegistryRoot root) {
  switch (root) {
    case RegistryRoot::ClassesRoot: return HKEY_CLASSES_ROOT;
    case RegistryRoot::LocalMachine: return HKEY_LOCAL_MACHINE;
    case RegistryRoot::CurrentUser: return HKEY_CURRENT_USER;
    case RegistryRoot::Users: break;
  }
  return HKEY_USERS;
}

// Removes root\path with everything below it, in one view; ERROR_FILE_NOT_FOUND once it is gone.
LONG DeleteTree(HKEY root, const std::u16string& path, REGSAM view) {
  HKEY key = nullptr;
  if (::RegOpenKeyExW(root, AsWide(path), 0, KEY_ALL_ACCESS | view, &key) == ERROR_SUCCESS) {
    ::RegDeleteTreeW(key, nullptr);
    ::RegCloseKey(key);
    ::RegDeleteKeyExW(root, AsWide(path), view, 0);
  }
  const LONG rc = ::RegOpenKeyExW(root, AsWide(path), 0, KEY_READ | view, &key);
  if (rc == ERROR_SUCCESS) ::RegCloseKey(key);
  return rc;
}

class Win32Environment final : public RegistryEnvironment {
 public:
  ~Win32Environment() override {
    for (const auto& [root, path] : made_) {
      for (REGSAM view : {REGSAM{0}, REGSAM{KEY_WOW64_32KEY}}) {
        EXPECT_EQ(DeleteTree(root, path, view), ERROR_FILE_NOT_FOUND) << "left behind: " << Utf16ToUtf8(path);
        // The common parent goes with the last scratch key in it.
        const size_t slash = path.rfind(u'\\');
        if (slash != std::u16string::npos) ::RegDeleteKeyExW(root, AsWide(path.substr(0, slash)), view, 0);
      }
    }
  }

  std::unique_ptr<IRegistryKey> NewScratchKey() override { return WrapRegistryKey(NewRawKey(), true); }

  IRegistry& Registry() override { return registry_; }

  std::u16string NewScratchPath(RegistryRoot root) override {
    static std::atomic<unsigned> counter{0};
    const std::string id = std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++counter);
    std::u16string path = contract::ScratchPathFor(root, Widen(id));
    made_.emplace_back(RootHandle(root), path);
    return path;
  }

  // A scratch key of the current user as a plain handle; null when it cannot be made.
  HKEY NewRawKey() {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_CURRENT_USER, AsWide(NewScratchPath(RegistryRoot::CurrentUser)), 0, nullptr, 0,
                      KEY_ALL_ACCESS, nullptr, &key, nullptr);
    return key;
  }

 private:
  Win32Registry registry_;
  std::vector<std::pair<HKEY, std::u16string>> made_;
};

std::unique_ptr<RegistryEnvironment> MakeWin32Environment() { return std::make_unique<Win32Environment>(); }

INSTANTIATE_TEST_SUITE_P(Win32, RegistryContract, ::testing::Values(RegistryTarget{"Win32", &MakeWin32Environment}),
                         contract::RegistryTargetName);

class Win32RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(raw_, nullptr); }
  void TearDown() override { ::RegCloseKey(raw_); }

  Win32Environment env_;
  HKEY raw_ = env_.NewRawKey();
};

TEST_F(Win32RegistryTest, WrappedHandleIsClosedOnlyWhenOwned) {
  const BYTE one[4] = {1, 0, 0, 0};
  HKEY copy = nullptr;
  ASSERT_EQ(::RegOpenKeyExW(raw_, L"", 0, KEY_ALL_ACCESS, &copy), ERROR_SUCCESS);
  WrapRegistryKey(raw_, false).reset();
  EXPECT_EQ(::RegSetValueExW(raw_, L"Open", 0, REG_DWORD, one, 4), ERROR_SUCCESS);
  WrapRegistryKey(copy, true).reset();
  EXPECT_EQ(::RegSetValueExW(copy, L"Closed", 0, REG_DWORD, one, 4), ERROR_INVALID_HANDLE);
  EXPECT_EQ(WrapRegistryKey(nullptr, true), nullptr);
}

// Names and text cross the boundary unchanged, both ways, beyond ASCII and the BMP too.
TEST_F(Win32RegistryTest, TextIsTheApisTextBothWays) {
  auto key = WrapRegistryKey(raw_, false);
  std::unique_ptr<IRegistryKey> sub;
  ASSERT_EQ(key->CreateKey(u"\u0414\u043e\u043c {94B2C874}", KEY_ALL_ACCESS, sub), ERROR_SUCCESS);
  ASSERT_EQ(WriteString(*sub, u"\u00c9t\u00e9", u"\u65e5\u672c \U0001F600"), ERROR_SUCCESS);

  wchar_t text[16] = {};
  DWORD size = sizeof text, type = 0;
  EXPECT_EQ(::RegGetValueW(raw_, L"\u0434\u043e\u043c {94b2c874}", L"\u00e9t\u00e9", RRF_RT_ANY, &type, text, &size),
            ERROR_SUCCESS);
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(size, 12u) << "five UTF-16 units and the NUL";
  EXPECT_EQ(std::wstring(text), L"\u65e5\u672c \U0001F600");

  const wchar_t written[] = L"C:\\Program Files\\\u00c5";
  ASSERT_EQ(::RegSetValueExW(raw_, L"Path", 0, REG_EXPAND_SZ, reinterpret_cast<const BYTE*>(written), sizeof written),
            ERROR_SUCCESS);
  std::u16string read;
  EXPECT_EQ(ReadString(*key, u"path", read, &type), ERROR_SUCCESS);
  EXPECT_EQ(read, u"C:\\Program Files\\\u00c5");
  EXPECT_EQ(type, static_cast<DWORD>(REG_EXPAND_SZ));
}

}  // namespace
}  // namespace vx::platform

// The policy store through the Win32 adapter of the editor's IGPEInformation and the real registry: the
// editor of the test keeps each section of its GPO below a scratch key of its own.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/text.h"
#include "policy/auth_policy.h"
#include "policy/policy_settings.h"
#include "policy/win32/gpe_information.h"
#include "wine_support.h"

using Microsoft::WRL::ComPtr;
using namespace vx::policy;

namespace {

class PolicyStoreWine : public ::testing::Test {
 protected:
  ~PolicyStoreWine() override {
    gpe.reset();
    EXPECT_EQ(editor.refs, 1u) << "the adapter released the editor";
  }

  // The value's type and bytes as the platform reads them.
  std::vector<BYTE> Raw(DWORD section, const char16_t* name, DWORD& type) const {
    const std::wstring key = editor.SectionPath(section) + L"\\" + vx::AsWide(kApplicationKey);
    DWORD size = 0;
    ::RegGetValueW(HKEY_CURRENT_USER, key.c_str(), vx::AsWide(name), RRF_RT_ANY | RRF_NOEXPAND, &type, nullptr, &size);
    std::vector<BYTE> bytes(size);
    EXPECT_EQ(::RegGetValueW(HKEY_CURRENT_USER, key.c_str(), vx::AsWide(name), RRF_RT_ANY | RRF_NOEXPAND, &type,
                             bytes.data(), &size),
              ERROR_SUCCESS);
    return bytes;
  }

  vxtest::TestGpeInformation editor;
  std::unique_ptr<CGpeInformation> gpe = std::make_unique<CGpeInformation>(ComPtr<IGPEInformation>(&editor));
};

TEST_F(PolicyStoreWine, SavedPoliciesAreTheMultiStringImageOfTheirSectionAndLoadBack) {
  CGPOAuthPolicy logon;
  logon.Add(1);
  logon.Add(6);
  ASSERT_EQ(logon.Save(gpe.get(), GPO_SECTION_MACHINE, kLogonPolicy), S_OK);
  CGPOAuthPolicy runtime;
  runtime.SetDisabled(true);
  ASSERT_EQ(runtime.Save(gpe.get(), GPO_SECTION_USER, kRuntimePolicy), S_OK);

  DWORD type = REG_NONE;
  const std::u16string image(
      u"0000000000000001\0"
      u"0000000000000006\0\0",
      35);
  const auto* imageBytes = reinterpret_cast<const BYTE*>(image.data());
  EXPECT_EQ(Raw(GPO_SECTION_MACHINE, kLogonPolicy, type), std::vector<BYTE>(imageBytes, imageBytes + 70));
  EXPECT_EQ(type, static_cast<DWORD>(REG_MULTI_SZ));
  EXPECT_EQ(Raw(GPO_SECTION_USER, kRuntimePolicy, type), (std::vector<BYTE>{0, 0})) << "the disabled marker";

  CGPOAuthPolicy loaded;
  ASSERT_EQ(loaded.Load(gpe.get(), GPO_SECTION_MACHINE, kLogonPolicy), S_OK);
  EXPECT_EQ(std::vector<ULONGLONG>(loaded.Masks().begin(), loaded.Masks().end()), (std::vector<ULONGLONG>{1, 6}));
  EXPECT_EQ(loaded.State(), SettingState::Enabled);
  CGPOAuthPolicy disabled;
  ASSERT_EQ(disabled.Load(gpe.get(), GPO_SECTION_USER, kRuntimePolicy), S_OK);
  EXPECT_EQ(disabled.State(), SettingState::Disabled);

  ASSERT_EQ(editor.notices.size(), 2u);
  EXPECT_EQ(editor.notices[0].machine, TRUE);
  EXPECT_EQ(editor.notices[0].add, TRUE);
  EXPECT_TRUE(IsEqualGUID(editor.notices[0].extension, GUID_RegistryExtension));
  EXPECT_TRUE(IsEqualGUID(editor.notices[0].snapin, GUID_ComputerSnapin));
  EXPECT_EQ(editor.notices[1].machine, FALSE);
}

TEST_F(PolicyStoreWine, AnEditorWithoutASectionKeyIsUnexpected) {
  editor.handOutNullKey = true;
  CGPOAuthPolicy policy;
  EXPECT_EQ(policy.Load(gpe.get(), GPO_SECTION_MACHINE, kLogonPolicy), E_UNEXPECTED);
}

}  // namespace

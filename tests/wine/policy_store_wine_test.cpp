// The policy store through the Win32 adapter of the editor's IGPEInformation: each section's settings
// land below the key the editor hands out for it, and the editor hears of each save. What the bytes are
// and how they read back is proven natively; that the real registry keeps them, by the registry contract.
#include <gtest/gtest.h>

#include "platform/text.h"
#include "policy/auth_policy.h"
#include "policy/multi_sz.h"
#include "policy/win32/gpe_information.h"
#include "wine_support.h"

using Microsoft::WRL::ComPtr;
using namespace vx::policy;

TEST(PolicyStoreWine, EachSectionIsStoredBelowTheEditorsKeyAndTheEditorIsTold) {
  vxtest::TestGpeInformation editor;
  auto gpe = std::make_unique<CGpeInformation>(ComPtr<IGPEInformation>(&editor));
  const auto raw = [&](DWORD section, const char16_t* name) {  // read around the adapter
    const std::wstring key = editor.SectionPath(section) + L"\\" + vx::AsWide(kApplicationKey);
    std::vector<BYTE> bytes(256);
    DWORD size = 256;
    EXPECT_EQ(
        ::RegGetValueW(HKEY_CURRENT_USER, key.c_str(), vx::AsWide(name), RRF_RT_ANY, nullptr, bytes.data(), &size),
        ERROR_SUCCESS);
    bytes.resize(size);
    return bytes;
  };
  CGPOAuthPolicy logon;
  logon.Add(6);
  ASSERT_EQ(logon.Save(gpe.get(), GPO_SECTION_MACHINE, kLogonPolicy), S_OK);
  CGPOAuthPolicy runtime;
  runtime.SetDisabled(true);
  ASSERT_EQ(runtime.Save(gpe.get(), GPO_SECTION_USER, kRuntimePolicy), S_OK);
  EXPECT_EQ(raw(GPO_SECTION_MACHINE, kLogonPolicy), SerializeMultiSz(std::vector<ULONGLONG>{6}));
  EXPECT_EQ(raw(GPO_SECTION_USER, kRuntimePolicy), (std::vector<BYTE>{0, 0}));
  CGPOAuthPolicy loaded;
  ASSERT_EQ(loaded.Load(gpe.get(), GPO_SECTION_USER, kRuntimePolicy), S_OK);
  EXPECT_EQ(loaded.State(), SettingState::Disabled);

  ASSERT_EQ(editor.notices.size(), 2u);
  EXPECT_EQ(editor.notices[0].machine, TRUE);
  EXPECT_EQ(editor.notices[0].add, TRUE);
  EXPECT_TRUE(IsEqualGUID(editor.notices[0].extension, GUID_RegistryExtension));
  EXPECT_TRUE(IsEqualGUID(editor.notices[0].snapin, GUID_ComputerSnapin));
  EXPECT_EQ(editor.notices[1].machine, FALSE);
  gpe.reset();
  EXPECT_EQ(editor.refs, 1u) << "the adapter released the editor";
}

// Credential token catalogues: which tokens each filter keeps, the credential type and mask reads,
// the display-name map, and masks and policies turned into names.
#include "plugins/ui_tokens.h"

#include "platform/text.h"
#include "plugins/memory_plugins.h"
#include "support/check.h"
#include "trace_test_support.h"

using namespace vx::plugins;
using vx::Variant;

namespace {

using Strings = std::vector<std::string>;

bool Has(const std::vector<std::string>& texts, std::string_view part) {
  for (const auto& t : texts)
    if (t.find(part) != std::string::npos) return true;
  return false;
}

class UITokensTest : public vxtest::TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
  }

  // Registered as the next subkey of the editor's token list, in the order of the calls.
  std::shared_ptr<FakeElement> Register(std::shared_ptr<FakeElement> element) {
    const int n = ++m_registered;
    const GUID clsid{static_cast<std::uint32_t>(0xB0000000u + n), 0x3333, 0x4444, {0x90, 0, 0, 0, 0, 0, 0, 1}};
    const std::u16string module = u"C:\\Plugins\\token" + vx::Widen(std::to_string(n)) + u".dll";
    EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, kGpoEditorTokensSubkey, GuidToString(clsid), module));
    factory.Register(module, clsid, element);
    return element;
  }

  // One token of every kind the filters tell apart.
  void RegisterTokenKinds() {
    Register(MakeFakeToken(u"Password", u"Password", 0x1, 1));
    Register(MakeFakeToken(u"Fingerprint", u"Fingerprint", 0x2, 2));
    Register(MakeFakeToken(u"Code", u"One-time code", 0x10, 3));
    Register(MakeFakeToken(u"Odd", u"Odd type", 0x20, 4));
    Register(MakeFakeToken(u"Bit3", u"Bit three", 0x8, 1));
    Register(MakeFakeToken(u"Zero", u"No mask", 0x0, 1));
    Register(std::make_shared<FakeElement>(u"NoCredential"));
  }

  static Strings Names(const UIElements& elements) {
    Strings names;
    for (int i = 0; i < elements.GetSize(); ++i) names.push_back(vx::Utf16ToUtf8(elements.GetKeyAt(i)));
    return names;
  }

  static DisplayNameMap PasswordAndFingerprint() {
    DisplayNameMap map;
    map.Add(0x1, u"Password");
    map.Add(0x2, u"Fingerprint");
    return map;
  }

  FakeElementFactory factory;

 private:
  int m_registered = 0;
};

TEST_F(UITokensTest, FiltersKeepTheirKindsOfToken) {
  RegisterTokenKinds();
  struct Case {
    DWORD filter;
    Strings names;
    ULONGLONG allMasks;
  };
  const Case cases[] = {
      {kTokenPrimary, {"Password", "Fingerprint"}, 0x3},
      {kTokenSecondary, {"Password", "Fingerprint", "Code"}, 0x13},
      {kTokenPrimary | kTokenSecondary, {"Password", "Fingerprint", "Code", "Odd"}, 0x33},
      {kTokenPrimary | kTokenWithBit3, {"Password", "Fingerprint", "Bit3"}, 0xB},
      {kTokenWithBit3, {}, 0x0},
      {kTokenAll, {"Password", "Fingerprint", "Code", "Odd", "Bit3"}, 0x3B},
  };
  for (const Case& c : cases) {
    UITokens tokens{registry, factory, kGpoEditorTokensSubkey, c.filter};
    ASSERT_EQ(S_OK, tokens.LoadElements(true));
    EXPECT_EQ(c.names, Names(tokens)) << "filter " << c.filter;
    EXPECT_EQ(c.allMasks, tokens.AllMasks()) << "filter " << c.filter;
  }
  const auto messages = File().Texts('U');
  EXPECT_TRUE(Has(messages, "ul64CredMask = 0x8"));
  EXPECT_TRUE(Has(File().Texts('>'), "UITokens::IsAddElement"));
}

TEST_F(UITokensTest, GroupMembersAreFilteredOneByOne) {
  auto group = std::make_shared<FakeElement>(u"Group");
  group->SetSubElements(
      {MakeFakeToken(u"Inner primary", u"A", 0x100, 1), MakeFakeToken(u"Inner secondary", u"B", 0x200, 3)});
  Register(group);
  UITokens primary{registry, factory, kGpoEditorTokensSubkey, kTokenPrimary};
  ASSERT_EQ(S_OK, primary.LoadElements(true));
  EXPECT_EQ((Strings{"Inner primary"}), Names(primary));
  ASSERT_EQ(S_OK, primary.LoadElements(false));  // the group itself is no credential
  EXPECT_EQ(Strings{}, Names(primary));
}

TEST_F(UITokensTest, CredentialTypesFoldAndUnknownOnesAreTraced) {
  auto typed = [](Variant raw) {
    auto token = MakeFakeToken(u"T", u"T", 0x20, 1);
    token->SetCredProperty(eKELT_CRED_TYPE, std::move(raw));
    return UITokens::GetCredType(*token);
  };
  EXPECT_EQ(kCredTypeAny, typed(Variant::Ui4(1)));
  EXPECT_EQ(kCredTypeAny, typed(Variant::Ui4(2)));
  EXPECT_EQ(kCredTypeSecondaryOnly, typed(Variant::Ui4(3)));
  EXPECT_EQ(kCredTypeUnknown, typed(Variant::Ui4(0)));
  EXPECT_EQ(kCredTypeUnknown, typed(Variant::Ui4(4)));
  EXPECT_EQ(kCredTypeUnknown, typed(Variant::I4(1)));

  auto failing = MakeFakeToken(u"F", u"F", 0x40, 1);
  failing->FailCredProperty(eKELT_CRED_TYPE, E_NOTIMPL);
  EXPECT_EQ(kCredTypeUnknown, UITokens::GetCredType(*failing));
  FakeElement plain(u"Plain");
  EXPECT_EQ(kCredTypeUnknown, UITokens::GetCredType(plain));

  const auto messages = File().Texts('U');
  EXPECT_TRUE(Has(messages, "Unknown credential type for token 0x20"));
  EXPECT_TRUE(Has(messages, "Unknown credential type for token 0x40"));
  EXPECT_TRUE(Has(messages, "0x3"));
  const auto results = File().Texts('E');
  EXPECT_TRUE(Has(results, "cpcredential->GetCredProperty(eKELT_CRED_TYPE, &cvCredType)"));
  EXPECT_TRUE(Has(results, "-2147418113 "));  // E_UNEXPECTED
}

TEST_F(UITokensTest, CredentialMaskIsWidenedWithoutSign) {
  FakeElement token(u"T");
  ULONGLONG mask = 1;
  token.SetCredProperty(eKELT_CRED_MASK, Variant::Ui4(0x80000000u));
  EXPECT_EQ(S_OK, CredentialWrapper(&token).GetCredMask(&mask));
  EXPECT_EQ(0x0000000080000000ull, mask);

  token.SetCredProperty(eKELT_CRED_MASK, Variant::Ui8(0x8000000100000002ull));
  EXPECT_EQ(S_OK, CredentialWrapper(&token).GetCredMask(&mask));
  EXPECT_EQ(0x8000000100000002ull, mask);
  EXPECT_EQ(0x8000000100000002ull, GetTokenMask(token));

  token.SetCredProperty(eKELT_CRED_MASK, Variant::I4(1));
  EXPECT_EQ(E_UNEXPECTED, CredentialWrapper(&token).GetCredMask(&mask));
  EXPECT_EQ(0u, mask);
  EXPECT_EQ(0u, GetTokenMask(token));
  EXPECT_TRUE(Has(File().Texts('E'), "-2147418113 cvCredMask"));
  EXPECT_TRUE(Has(File().Texts('>'), "IKELTCredentialWrapper::GetCredMask"));

  token.FailCredProperty(eKELT_CRED_MASK, E_ACCESSDENIED);
  mask = 1;
  EXPECT_EQ(E_ACCESSDENIED, CredentialWrapper(&token).GetCredMask(&mask));
  EXPECT_EQ(0u, mask);
  FakeElement plain(u"Plain");
  EXPECT_EQ(0u, GetTokenMask(plain));
}

TEST_F(UITokensTest, DisplayNameMapKeepsTheFirstTextOfEachMask) {
  Register(MakeFakeToken(u"Password", u"Password", 0x1, 1));
  Register(MakeFakeToken(u"Other", u"Other password", 0x1, 2));
  auto bad = MakeFakeToken(u"Bad", u"", 0x4, 1);
  bad->SetProperty(eKELT_LST_DISPLAYSTRING, Variant::I4(4));
  Register(bad);
  Register(MakeFakeToken(u"NullText", u"", 0x40, 1))->SetProperty(eKELT_LST_DISPLAYSTRING, Variant::NullBstr());
  Register(MakeFakeToken(u"Fingerprint", u"Fingerprint", 0x2, 1));
  Register(std::make_shared<FakeElement>(u"NoCredential"));

  UIElements everything{registry, factory, kGpoEditorTokensSubkey};
  ASSERT_EQ(S_OK, everything.LoadElements(true));
  ASSERT_EQ(6, everything.GetSize());
  const DisplayNameMap map(everything);
  ASSERT_EQ(2, map.GetSize());
  EXPECT_EQ(0x1u, map.GetKeyAt(0));
  EXPECT_EQ(u"Password", map.GetValueAt(0));
  EXPECT_EQ(0x2u, map.GetKeyAt(1));
  EXPECT_EQ(u"Fingerprint", map.GetValueAt(1));
  EXPECT_TRUE(Has(File().Texts('E'), "-2147024809 ["));  // E_INVALIDARG, checked
  EXPECT_TRUE(Has(File().Texts('E'), "token.GetPropertyBSTR(eKELT_LST_DISPLAYSTRING, &cbsDisplayName)"));

  try {
    (void)map.GetValueAt(2);
    ADD_FAILURE() << "no exception";
  } catch (const vx::CHResultError& e) {
    EXPECT_EQ(kArrayBoundsExceeded, e.Code());
  }
}

TEST_F(UITokensTest, MaskToTextNamesTokensThenTheLow32BitsOfTheRest) {
  const DisplayNameMap map = PasswordAndFingerprint();
  EXPECT_EQ(u"Password+Fingerprint+0x10", map.MaskToText(0x13));
  EXPECT_EQ(u"Fingerprint", map.MaskToText(0x2));
  EXPECT_EQ(u"0x0", map.MaskToText(0x100000000ull));
  EXPECT_EQ(u"Password+0x0", map.MaskToText(0x200000001ull));
  EXPECT_EQ(u"", map.MaskToText(0));

  // A token whose mask spans several bits claims all of them at once, in map order.
  DisplayNameMap wide;
  wide.Add(0x3, u"Pair");
  wide.Add(0x1, u"Password");
  EXPECT_FALSE(wide.Add(0x3, u"Again"));
  EXPECT_EQ(u"Pair", wide.MaskToText(0x1));
  EXPECT_EQ(u"Pair+0x4", wide.MaskToText(0x6));
}

TEST_F(UITokensTest, PolicyToTextSeparatesNonEmptyLines) {
  const DisplayNameMap map = PasswordAndFingerprint();
  const ULONGLONG masks[] = {0x1, 0x0, 0x3, 0x10};
  EXPECT_EQ(u"Password\r\nPassword+Fingerprint\r\n0x10", map.PolicyToText(masks));
  EXPECT_EQ(u"", map.PolicyToText({}));
}

}  // namespace

// Credential token catalogues: filters, credential type and mask reads, the display-name map and texts.
#include "plugins/ui_tokens.h"

#include "shared_fixtures.h"

using namespace vx::plugins;
using vx::Variant;
using vxtest::Has;
using vxtest::Thrown;
using Strings = std::vector<std::string>;

namespace {

using UITokensTest = vxtest::WithPlugins;

TEST_F(UITokensTest, FiltersKeepTheirKindsOfToken) {
  RegisterSampleTokens();
  Register(MakeFakeToken(u"Odd", u"Odd type", 0x20, 4));
  Register(MakeFakeToken(u"Bit3", u"Bit three", 0x8, 1));
  Register(MakeFakeToken(u"Zero", u"No mask", 0x0, 1));
  auto group = Register(std::make_shared<FakeElement>(u"Group"));  // members are filtered one by one
  group->SetSubElements({MakeFakeToken(u"InnerPrimary", u"A", 0x100, 1), MakeFakeToken(u"InnerCode", u"B", 0x200, 3)});
  const struct {
    DWORD filter;
    Strings names;
    ULONGLONG allMasks;
  } cases[] = {
      {kTokenPrimary, {"Password", "InnerPrimary"}, 0x101},
      {kTokenSecondary, {"Password", "Code", "InnerPrimary", "InnerCode"}, 0x311},
      {kTokenPrimary | kTokenSecondary, {"Password", "Code", "Odd", "InnerPrimary", "InnerCode"}, 0x331},
      {kTokenPrimary | kTokenWithBit3, {"Password", "Bit3", "InnerPrimary"}, 0x109},
      {kTokenWithBit3, {}, 0x0},
      {kTokenAll, {"Password", "Code", "Odd", "Bit3", "InnerPrimary", "InnerCode"}, 0x339},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.filter);
    UITokens tokens{registry, factory, kGpoEditorTokensSubkey, c.filter};
    ASSERT_EQ(S_OK, tokens.LoadElements(true));
    EXPECT_EQ(c.names, Names(tokens));
    EXPECT_EQ(c.allMasks, tokens.AllMasks());
  }
}

TEST_F(UITokensTest, CredentialTypesFoldAndUnknownOnesAreTraced) {
  const struct {
    Variant raw;
    DWORD type;
  } cases[] = {{Variant::Ui4(1), kCredTypeAny},           {Variant::Ui4(2), kCredTypeAny},
               {Variant::Ui4(3), kCredTypeSecondaryOnly}, {Variant::Ui4(0), kCredTypeUnknown},
               {Variant::Ui4(4), kCredTypeUnknown},       {Variant::I4(1), kCredTypeUnknown}};
  for (const auto& c : cases) {
    auto token = MakeFakeToken(u"T", u"T", 0x20, 1);
    token->SetCredProperty(eKELT_CRED_TYPE, c.raw);
    EXPECT_EQ(c.type, UITokens::GetCredType(*token)) << c.raw.vt << " " << c.raw.integer;
  }
  FakeElement plain(u"Plain");
  EXPECT_EQ(kCredTypeUnknown, UITokens::GetCredType(plain));
  EXPECT_TRUE(Has(Written('U'), "Unknown credential type for token 0x20"));
}

TEST_F(UITokensTest, CredentialMaskIsWidenedWithoutSignAndZeroWhenUnreadable) {
  FakeElement token(u"T");
  token.SetCredProperty(eKELT_CRED_MASK, Variant::Ui4(0x80000000u));
  EXPECT_EQ(0x0000000080000000ull, GetTokenMask(token));
  token.SetCredProperty(eKELT_CRED_MASK, Variant::Ui8(0x8000000100000002ull));
  EXPECT_EQ(0x8000000100000002ull, GetTokenMask(token));
  ULONGLONG mask = 1;
  token.SetCredProperty(eKELT_CRED_MASK, Variant::I4(1));
  EXPECT_EQ(E_UNEXPECTED, CredentialWrapper(&token).GetCredMask(&mask));
  EXPECT_EQ(0u, mask);
  token.FailCredProperty(eKELT_CRED_MASK, E_ACCESSDENIED);
  EXPECT_EQ(E_ACCESSDENIED, CredentialWrapper(&token).GetCredMask(&mask));
  EXPECT_EQ(0u, GetTokenMask(token));
}

// From a catalogue: the first display string of each mask; then masks and policies as text.
TEST_F(UITokensTest, DisplayNameMapKeepsTheFirstTextOfEachMaskAndSpellsMasks) {
  Register(MakeFakeToken(u"Password", u"Password", 0x1, 1));
  Register(MakeFakeToken(u"Other", u"Other password", 0x1, 2));
  Register(MakeFakeToken(u"NullText", u"", 0x40, 1))->SetProperty(eKELT_LST_DISPLAYSTRING, Variant::NullBstr());
  Register(MakeFakeToken(u"Fingerprint", u"Fingerprint", 0x2, 1));
  Register(std::make_shared<FakeElement>(u"NoCredential"));
  UIElements everything{registry, factory, kGpoEditorTokensSubkey};
  ASSERT_EQ(S_OK, everything.LoadElements(true));
  DisplayNameMap map(everything);
  ASSERT_EQ(2, map.GetSize());
  EXPECT_EQ(kArrayBoundsExceeded, Thrown([&] { (void)map.GetKeyAt(2); }));
  EXPECT_FALSE(map.Add(0x2, u"Again"));
  EXPECT_TRUE(map.Add(0x300, u"Pair"));

  // The names of the tokens in map order, a mask of several bits claiming all of them at once, then the low
  // 32 bits of what no token names.
  EXPECT_EQ(u"Password+Fingerprint+Pair+0x10", map.MaskToText(0x313));
  EXPECT_EQ(u"0x0", map.MaskToText(0x100000000ull));
  const ULONGLONG masks[] = {0x1, 0x0, 0x3, 0x10};
  EXPECT_EQ(u"Password\r\nPassword+Fingerprint\r\n0x10", map.PolicyToText(masks));
}

}  // namespace

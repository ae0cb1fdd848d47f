// The plug-in element catalogue: registrations, order hints, sub-elements, the table, skipped elements.
#include "plugins/ui_elements.h"

#include <cstring>
#include <optional>

#include "shared_fixtures.h"

using namespace vx::plugins;
using vx::Variant;
using vxtest::Has;
using vxtest::Thrown;
using Strings = std::vector<std::string>;

namespace {

// Keeps every element except those whose name starts with "No".
class PickyElements : public UIElements {
 public:
  using UIElements::UIElements;
  bool IsAddElement(IUIElement& element) override {
    ElementValue name;
    return FAILED(element.GetProperty(eKELT_LST_NAME, name)) || name.value.text.rfind(u"No", 0) != 0;
  }
};

class UIElementsTest : public vxtest::WithPlugins {
 protected:
  // Registered as the next element under subkey, with an order hint when given.
  std::shared_ptr<FakeElement> Element(std::u16string name, std::optional<Variant> hint = {},
                                       std::u16string_view subkey = kTokensSubkey) {
    auto element = std::make_shared<FakeElement>(std::move(name));
    if (hint) element->SetProperty(eKELT_LST_ORDERHINT, *hint);
    return Register(element, subkey);
  }

  UIElements catalogue{registry, factory, kTokensSubkey};
  OrderedElements ordered;
  UnorderedElements unordered;
};

TEST(GuidText, ParsesTheRegistryFormStrictly) {
  GUID guid{};
  ASSERT_EQ(S_OK, GuidFromString(u"{94B2C874-B9DB-4149-b100-3675207b3723}", guid));
  const GUID expected{0x94B2C874u, 0xB9DB, 0x4149, {0xB1, 0x00, 0x36, 0x75, 0x20, 0x7B, 0x37, 0x23}};
  EXPECT_EQ(0, std::memcmp(&expected, &guid, sizeof guid));
  EXPECT_EQ(u"{94B2C874-B9DB-4149-B100-3675207B3723}", GuidToString(guid));

  for (const char16_t* bad : {u"94B2C874-B9DB-4149-B100-3675207B3723", u"{94B2C874-B9DB-4149-B100-3675207B3723}x",
                              u"{94B2C874-B9DB-4149-B100-3675207B372G}", u"{94B2C874B-9DB-4149-B100-3675207B3723}",
                              u"{94B2C874-B9DB-4149-B1003-675207B3723}", u"{ 4B2C874-B9DB-4149-B100-3675207B3723}",
                              u"PasswordProvider", u""}) {
    guid.Data1 = 1;
    EXPECT_EQ(kInvalidClassString, GuidFromString(bad, guid)) << vx::Utf16ToUtf8(bad);
    EXPECT_EQ(0u, guid.Data1);
  }
}

TEST_F(UIElementsTest, OrderHintsWithOneStepOfDisplacement) {
  const auto I4 = [](int hint) { return std::optional<Variant>(Variant::I4(hint)); };
  const struct {
    const char16_t* subkey;
    std::vector<std::pair<const char16_t*, std::optional<Variant>>> elements;  // in enumeration order
    Strings order;
  } cases[] = {
      // Three on 5: the hint, its successor, then the end after every hinted element.
      {u"UIElements\\Three",
       {{u"A", I4(5)}, {u"B", I4(5)}, {u"Plain", {}}, {u"C", I4(5)}, {u"Late", I4(3)}},
       {"Late", "A", "B", "Plain", "C"}},
      // 5 and 6, then 5 displaced to the taken 6; -1 read unsigned sorts after 100.
      {u"UIElements\\Taken",
       {{u"A", I4(5)}, {u"B", I4(6)}, {u"C", I4(5)}, {u"Low", I4(-1)}, {u"High", I4(100)}},
       {"A", "B", "High", "Low", "C"}},
      {u"UIElements\\Unsigned", {{u"Unsigned", Variant::Ui4(1)}, {u"Hinted", I4(50)}}, {"Hinted", "Unsigned"}},
  };
  for (const auto& c : cases) {
    for (const auto& [name, hint] : c.elements) Element(name, hint, c.subkey);
    UIElements elements{registry, factory, c.subkey};
    ASSERT_EQ(S_OK, elements.LoadElements(true));
    EXPECT_EQ(c.order, Names(elements)) << vx::Utf16ToUtf8(c.subkey);
  }
}

TEST_F(UIElementsTest, SubElementsAreExpandedOnlyWhenAsked) {
  PickyElements picky{registry, factory, kTokensSubkey};
  auto group = Element(u"Group", Variant::I4(1));
  auto first = std::make_shared<FakeElement>(u"First");
  first->SetProperty(eKELT_LST_ORDERHINT, Variant::I4(2));
  group->SetSubElements(
      {first, nullptr, std::make_shared<FakeElement>(u"NoThanks"), std::make_shared<FakeElement>(u"Second")});
  Element(u"NoSingle");
  Element(u"Single");

  ASSERT_EQ(S_OK, picky.LoadElements(true));
  EXPECT_EQ((Strings{"First", "Second", "Single"}), Names(picky));
  ASSERT_EQ(S_OK, picky.LoadElements(false));
  EXPECT_EQ((Strings{"Group", "Single"}), Names(picky));
  // Expansion asked, but the group answers no array: the element itself.
  group->SetProperty(eKELT_LST_SUBELEMENTS, Variant::I4(3));
  ASSERT_EQ(S_OK, picky.LoadElements(true));
  EXPECT_EQ((Strings{"Group", "Single"}), Names(picky));
}

TEST_F(UIElementsTest, SiteCallbackIsHandedToMembersThatHaveASite) {
  struct Callback : ISiteCallback {
  } callback;
  auto withSite = Element(u"WithSite");
  withSite->EnableSite();
  Element(u"WithoutSite");
  Element(u"Refusing")->EnableSite(E_ACCESSDENIED);
  ASSERT_EQ(S_OK, catalogue.AddElement(ordered, unordered, Clsid(1), Module(1), true, &callback));
  ASSERT_EQ(S_OK, catalogue.AddElement(ordered, unordered, Clsid(2), Module(2), true, &callback));
  EXPECT_EQ(E_ACCESSDENIED, catalogue.AddElement(ordered, unordered, Clsid(3), Module(3), true, &callback));
  ASSERT_EQ(2u, unordered.size());
  EXPECT_EQ((std::vector<ISiteCallback*>{&callback}), withSite->Sites());
}

TEST_F(UIElementsTest, ElementWithoutStringNameIsRefused) {
  Element(u"")->SetProperty(eKELT_LST_NAME, Variant::I4(7));
  Element(u"")->SetProperty(eKELT_LST_NAME, Variant::NullBstr());
  Element(u"")->FailProperty(eKELT_LST_NAME, E_FAIL);
  EXPECT_EQ(E_UNEXPECTED, catalogue.AddElement(ordered, unordered, Clsid(1), Module(1), true));
  EXPECT_EQ(E_UNEXPECTED, catalogue.AddElement(ordered, unordered, Clsid(2), Module(2), true));
  EXPECT_EQ(E_FAIL, catalogue.AddElement(ordered, unordered, Clsid(3), Module(3), true));
  EXPECT_TRUE(ordered.empty());
  EXPECT_TRUE(unordered.empty());
}

TEST_F(UIElementsTest, NameIsReadAgainWhenTheTableIsFilled) {
  const PropertyAnswer before{S_OK, {Variant::Bstr(u"Before"), {}}};
  auto renamed = Element(u"");
  renamed->SetPropertySequence(eKELT_LST_NAME, {before, {S_OK, {Variant::Bstr(u"After"), {}}}});
  Element(u"")->SetPropertySequence(eKELT_LST_NAME, {before, {E_FAIL, {}}});
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"After"}), Names(catalogue));
  EXPECT_EQ(2, renamed->Reads(eKELT_LST_NAME));
}

TEST_F(UIElementsTest, TableKeepsDuplicateNamesAndChecksItsIndexes) {
  auto one = Element(u"Same", Variant::I4(1));
  auto two = Element(u"Same", Variant::I4(2));
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  ASSERT_EQ(2, catalogue.GetSize());
  EXPECT_EQ(one.get(), catalogue.GetValueAt(0).get());
  EXPECT_EQ(two.get(), catalogue.GetValueAt(1).get());
  EXPECT_EQ(0, catalogue.FindKey(u"Same"));
  EXPECT_EQ(-1, catalogue.FindKey(u"same"));
  EXPECT_EQ(kArrayBoundsExceeded, Thrown([&] { (void)catalogue.GetKeyAt(2); }));
  EXPECT_EQ(kArrayBoundsExceeded, Thrown([&] { (void)catalogue.GetValueAt(-1); }));
}

TEST_F(UIElementsTest, EachBadRegistrationOrFailedCreationSkipsOneElement) {
  const auto registration = [&](int n, DWORD type, const std::vector<BYTE>& bytes) {
    EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, kTokensSubkey, GuidToString(Clsid(n)), type, bytes));
  };
  Element(u"Good");
  // The module path is used as stored, up to 1024 characters with its NUL.
  const std::u16string expandable = u"%ProgramFiles%\\Vantorix\\token.dll";
  const std::u16string longest(1023, u'p');
  registration(2, REG_EXPAND_SZ, RegistrationBytes(expandable));
  factory.Register(expandable, Clsid(2), std::make_shared<FakeElement>(u"Expandable"));
  registration(3, REG_SZ, RegistrationBytes(longest));
  factory.Register(longest, Clsid(3), std::make_shared<FakeElement>(u"Longest"));

  EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, kTokensSubkey, u"NotAGuid", u"C:\\x.dll"));
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistrationKey(registry, kTokensSubkey, GuidToString(Clsid(4))));  // no module
  registration(5, REG_BINARY, RegistrationBytes(Module(5)));
  registration(6, REG_SZ, RegistrationBytes(Module(6), false));  // no NUL
  registration(7, REG_SZ, RegistrationBytes(std::u16string(1024, u'a')));
  auto odd = RegistrationBytes(Module(8));
  odd.push_back(0);
  registration(8, REG_SZ, odd);
  for (int n = 4; n <= 8; ++n) factory.Register(Module(n), Clsid(n), std::make_shared<FakeElement>(u"Bad"));
  registration(9, REG_SZ, RegistrationBytes(Module(9)));
  factory.RegisterFailure(Module(9), Clsid(9), NTE_BAD_SIGNATURE);
  registration(10, REG_SZ, RegistrationBytes(Module(10)));
  factory.Register(Module(10), Clsid(10), nullptr);

  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Good", "Expandable", "Longest"}), Names(catalogue));
  ASSERT_EQ(5u, factory.Calls().size());
  EXPECT_EQ(expandable, factory.Calls()[1].modulePath);
  const auto results = Written('E');  // each skipped element's failure is traced
  for (const char* code : {"-2147221005 hr2", "-2146893818 hr2", "-2147467261 hr2"}) EXPECT_TRUE(Has(results, code));
}

TEST_F(UIElementsTest, MissingPluginKeyFailsAndLeavesTheTableEmpty) {
  Element(u"Only", {}, kGpoEditorTokensSubkey);
  UIElements editor{registry, factory, kGpoEditorTokensSubkey};
  ASSERT_EQ(S_OK, editor.LoadElements(true));
  ASSERT_EQ(S_OK, editor.LoadElements(true));
  EXPECT_EQ((Strings{"Only"}), Names(editor)) << "loading again starts from an empty table";

  ASSERT_EQ(ERROR_SUCCESS, registry.DeleteKey(vx::platform::RegistryRoot::LocalMachine,
                                              editor.KeyPath() + u"\\" + GuidToString(Clsid(1))));
  ASSERT_EQ(ERROR_SUCCESS, registry.DeleteKey(vx::platform::RegistryRoot::LocalMachine, editor.KeyPath()));
  EXPECT_EQ(vx::HResultFromWin32(ERROR_FILE_NOT_FOUND), editor.LoadElements(true));
  EXPECT_EQ(0, editor.GetSize());
}

}  // namespace

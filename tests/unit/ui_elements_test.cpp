// The plug-in element catalogue: registrations, order hints, sub-elements, the table, skipped elements.
#include "plugins/ui_elements.h"

#include <optional>

#include "shared_fixtures.h"

using namespace vx::plugins;
using vx::Variant;
using vxtest::Thrown;
using Strings = std::vector<std::string>;

namespace {

class UIElementsTest : public vxtest::WithPlugins {
 protected:
  // Registered as the next element, with an order hint when given.
  std::shared_ptr<FakeElement> Element(std::u16string name, std::optional<Variant> hint = {}) {
    auto element = std::make_shared<FakeElement>(std::move(name));
    if (hint) element->SetProperty(eKELT_LST_ORDERHINT, *hint);
    return Register(element, kTokensSubkey);
  }

  UIElements catalogue{registry, factory, kTokensSubkey};
};

TEST(GuidText, ParsesTheRegistryFormStrictly) {
  GUID guid{};
  ASSERT_EQ(S_OK, GuidFromString(u"{94B2C874-B9DB-4149-b100-3675207b3723}", guid));
  EXPECT_EQ(u"{94B2C874-B9DB-4149-B100-3675207B3723}", GuidToString(guid));

  for (const char16_t* bad : {u"94B2C874-B9DB-4149-B100-3675207B3723", u"{94B2C874-B9DB-4149-B100-3675207B3723}x",
                              u"{94B2C874-B9DB-4149-B100-3675207B372G}", u"{94B2C874B-9DB-4149-B100-3675207B3723}",
                              u"{94B2C874-B9DB-4149-B1003-675207B3723}", u"{ 4B2C874-B9DB-4149-B100-3675207B3723}"}) {
    guid.Data1 = 1;
    EXPECT_EQ(kInvalidClassString, GuidFromString(bad, guid)) << vx::Utf16ToUtf8(bad);
    EXPECT_EQ(0u, guid.Data1);
  }
}

// Three on 5: the hint, its successor, then the end after every hinted element; -1 read unsigned sorts
// after 100; a hint that is no VT_I4 counts as none. Names may repeat; look-ups find the first.
TEST_F(UIElementsTest, TableFollowsOrderHintsWithOneStepOfDisplacementAndKeepsDuplicates) {
  const std::pair<const char16_t*, std::optional<Variant>> elements[] = {
      {u"A", Variant::I4(5)},      {u"B", Variant::I4(5)},    {u"Plain", {}},
      {u"A", Variant::I4(5)},      {u"Late", Variant::I4(3)}, {u"Low", Variant::I4(-1)},
      {u"High", Variant::I4(100)}, {u"Ui4", Variant::Ui4(1)}};
  std::vector<std::shared_ptr<FakeElement>> registered;
  for (const auto& [name, hint] : elements) registered.push_back(Element(name, hint));
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Late", "A", "B", "High", "Low", "Plain", "A", "Ui4"}), Names(catalogue));
  EXPECT_EQ(registered[3].get(), catalogue.GetValueAt(6).get());
  EXPECT_EQ(1, catalogue.FindKey(u"A"));
  EXPECT_EQ(-1, catalogue.FindKey(u"a"));
  EXPECT_EQ(kArrayBoundsExceeded, Thrown([&] { (void)catalogue.GetKeyAt(8); }));
  EXPECT_EQ(kArrayBoundsExceeded, Thrown([&] { (void)catalogue.GetValueAt(-1); }));
}

// Each load starts from an empty table, also one that fails.
TEST_F(UIElementsTest, SubElementsAreExpandedOnlyWhenAsked) {
  auto group = Element(u"Group", Variant::I4(1));
  auto first = std::make_shared<FakeElement>(u"First");
  first->SetProperty(eKELT_LST_ORDERHINT, Variant::I4(2));
  group->SetSubElements({first, nullptr, std::make_shared<FakeElement>(u"Second")});
  Element(u"Single");

  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"First", "Second", "Single"}), Names(catalogue));
  ASSERT_EQ(S_OK, catalogue.LoadElements(false));
  EXPECT_EQ((Strings{"Group", "Single"}), Names(catalogue));
  // Expansion asked, but the group answers no array: the element itself.
  group->SetProperty(eKELT_LST_SUBELEMENTS, Variant::I4(3));
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Group", "Single"}), Names(catalogue));
  // Only a missing plug-in key fails the load.
  for (const std::u16string& key : {catalogue.KeyPath() + u"\\" + GuidToString(Clsid(1)),
                                    catalogue.KeyPath() + u"\\" + GuidToString(Clsid(2)), catalogue.KeyPath()})
    ASSERT_EQ(ERROR_SUCCESS, registry.DeleteKey(vx::platform::RegistryRoot::LocalMachine, key));
  EXPECT_EQ(vx::HResultFromWin32(ERROR_FILE_NOT_FOUND), catalogue.LoadElements(true));
  EXPECT_EQ(0, catalogue.GetSize());
}

TEST_F(UIElementsTest, SiteCallbackIsHandedToMembersThatHaveASite) {
  struct Callback : ISiteCallback {
  } callback;
  OrderedElements ordered;
  UnorderedElements unordered;
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

// A bad registration is skipped unread; a failed creation or a name that is no string, and a name that
// cannot be read again when the table is filled, skip their element; each failure is traced.
TEST_F(UIElementsTest, EachBadRegistrationOrElementSkipsOnlyItself) {
  Element(u"Good");
  const PropertyAnswer before{S_OK, {Variant::Bstr(u"Before"), {}}};
  auto renamed = Element(u"");
  renamed->SetPropertySequence(eKELT_LST_NAME, {before, {S_OK, {Variant::Bstr(u"After"), {}}}});
  Element(u"")->SetPropertySequence(eKELT_LST_NAME, {before, {E_FAIL, {}}});
  Element(u"")->SetProperty(eKELT_LST_NAME, Variant::I4(7));
  Element(u"")->FailProperty(eKELT_LST_NAME, E_FAIL);
  Register(nullptr, kTokensSubkey);  // created as no element

  // The first three registrations reach the factory, the module path used as stored (up to 1024
  // characters with its NUL); the others never do.
  const std::u16string expandable = u"%ProgramFiles%\\Vantorix\\token.dll", longest(1023, u'p');
  auto odd = RegistrationBytes(Module(0));
  odd.push_back(0);
  int n = 0x10;
  const auto registration = [&](DWORD type, const std::vector<BYTE>& bytes) {
    EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, kTokensSubkey, GuidToString(Clsid(n++)), type, bytes));
  };
  registration(REG_SZ, RegistrationBytes(Module(0x10)));
  registration(REG_EXPAND_SZ, RegistrationBytes(expandable));
  registration(REG_SZ, RegistrationBytes(longest));
  registration(REG_BINARY, RegistrationBytes(Module(0)));
  registration(REG_SZ, RegistrationBytes(Module(0), false));  // no NUL
  registration(REG_SZ, RegistrationBytes(std::u16string(1024, u'a')));
  registration(REG_SZ, odd);
  factory.RegisterFailure(Module(0x10), Clsid(0x10), NTE_BAD_SIGNATURE);
  factory.Register(expandable, Clsid(0x11), std::make_shared<FakeElement>(u"Expandable"));
  factory.Register(longest, Clsid(0x12), std::make_shared<FakeElement>(u"Longest"));
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistrationKey(registry, kTokensSubkey, GuidToString(Clsid(n))));  // no module
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, kTokensSubkey, u"NotAGuid", u"C:\\x.dll"));

  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Good", "After", "Expandable", "Longest"}), Names(catalogue));
  EXPECT_EQ(2, renamed->Reads(eKELT_LST_NAME));  // once when added, once when the table is filled
  ASSERT_EQ(9u, factory.Calls().size());
  EXPECT_EQ(expandable, factory.Calls()[7].modulePath);
  Strings failures;
  for (const std::string& result : Written('E'))
    if (result.ends_with(" hr2")) failures.push_back(result);
  // In enumeration order: CO_E_CLASSSTRING, E_UNEXPECTED, E_FAIL, E_POINTER, NTE_BAD_SIGNATURE.
  EXPECT_EQ((Strings{"-2147221005 hr2", "-2147418113 hr2", "-2147467259 hr2", "-2147467261 hr2", "-2146893818 hr2"}),
            failures);
}

}  // namespace

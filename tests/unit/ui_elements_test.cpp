// The plug-in element catalogue: registrations read from the registry, order hints and their single
// displacement step, sub-element expansion, the name-keyed table, and failures that skip one element.
#include "plugins/ui_elements.h"

#include <cstring>
#include <optional>
#include <tuple>

#include "platform/text.h"
#include "plugins/memory_plugins.h"
#include "support/check.h"
#include "trace_test_support.h"

using namespace vx::plugins;
using vx::Variant;

namespace {

bool Has(const std::vector<std::string>& texts, std::string_view part) {
  for (const auto& t : texts)
    if (t.find(part) != std::string::npos) return true;
  return false;
}

template <class Body>
HRESULT Thrown(Body&& body) {
  try {
    body();
  } catch (const vx::CHResultError& e) {
    return e.Code();
  }
  return S_OK;
}

// Keeps every element except those whose name starts with "No".
class PickyElements : public UIElements {
 public:
  using UIElements::UIElements;
  bool IsAddElement(IUIElement& element) override {
    ElementValue name;
    return FAILED(element.GetProperty(eKELT_LST_NAME, name)) || name.value.text.rfind(u"No", 0) != 0;
  }
};

class UIElementsTest : public vxtest::TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
  }

  // Class identifiers whose registry form sorts in n's order, as the registry enumerates them.
  static GUID Clsid(int n) {
    return GUID{static_cast<std::uint32_t>(0xA0000000u + n), 0x1111, 0x2222, {0x80, 0, 1, 2, 3, 4, 5, 6}};
  }
  static std::u16string Module(int n) { return u"C:\\Plugins\\element" + vx::Widen(std::to_string(n)) + u".dll"; }

  // An element registered as the n-th subkey, with an optional VT_I4 order hint.
  std::shared_ptr<FakeElement> Register(int n, std::u16string name, std::optional<std::int32_t> hint = {},
                                        std::u16string_view subkey = kTokensSubkey) {
    auto element = std::make_shared<FakeElement>(std::move(name));
    if (hint) element->SetProperty(eKELT_LST_ORDERHINT, Variant::I4(*hint));
    EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, subkey, GuidToString(Clsid(n)), Module(n)));
    factory.Register(Module(n), Clsid(n), element);
    return element;
  }

  static std::vector<std::string> Names(const UIElements& elements) {
    std::vector<std::string> names;
    for (int i = 0; i < elements.GetSize(); ++i) names.push_back(vx::Utf16ToUtf8(elements.GetKeyAt(i)));
    return names;
  }

  FakeElementFactory factory;
  UIElements catalogue{registry, factory, kTokensSubkey};
};

using Strings = std::vector<std::string>;

TEST(GuidText, ParsesTheRegistryFormStrictly) {
  GUID guid{};
  ASSERT_EQ(S_OK, GuidFromString(u"{94B2C874-B9DB-4149-b100-3675207b3723}", guid));
  EXPECT_EQ(0x94B2C874u, guid.Data1);
  EXPECT_EQ(0xB9DB, guid.Data2);
  EXPECT_EQ(0x4149, guid.Data3);
  const std::uint8_t data4[8] = {0xB1, 0x00, 0x36, 0x75, 0x20, 0x7B, 0x37, 0x23};
  EXPECT_EQ(0, std::memcmp(data4, guid.Data4, 8));
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

TEST_F(UIElementsTest, ThreeEqualHintsTakeTheHintItsSuccessorAndTheEnd) {
  Register(1, u"A", 5);
  Register(2, u"B", 5);
  Register(3, u"Plain");
  Register(4, u"C", 5);
  Register(5, u"Late", 3);
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Late", "A", "B", "Plain", "C"}), Names(catalogue));
  const auto messages = File().Texts('U');
  EXPECT_TRUE(Has(messages, "Order hint already exists!!!"));
  EXPECT_TRUE(Has(messages, "Order hint + 1 already exists, either!!!"));
  EXPECT_TRUE(Has(messages, "vOrderHint = 5"));
  EXPECT_TRUE(Has(File().Texts('>'), "UIElements :: LoadElements"));
}

TEST_F(UIElementsTest, DisplacementIsOneStepAndNegativeHintsSortLast) {
  OrderedElements ordered;
  UnorderedElements unordered;
  for (auto [n, name, hint] : {std::tuple{1, u"A", 5}, {2, u"B", 6}, {3, u"C", 5}, {4, u"Low", -1}, {5, u"High", 100}})
    Register(n, name, hint);
  for (int n = 1; n <= 5; ++n) ASSERT_EQ(S_OK, catalogue.AddElement(ordered, unordered, Clsid(n), Module(n), false));
  std::vector<std::uint32_t> keys;
  for (const auto& entry : ordered) keys.push_back(entry.first);
  EXPECT_EQ((std::vector<std::uint32_t>{5, 6, 100, 0xFFFFFFFFu}), keys);
  ASSERT_EQ(1u, unordered.size());
  ElementValue name;
  ASSERT_EQ(S_OK, unordered[0]->GetProperty(eKELT_LST_NAME, name));
  EXPECT_EQ(u"C", name.value.text);

  ASSERT_EQ(S_OK, catalogue.LoadElements(false));
  EXPECT_EQ((Strings{"A", "B", "High", "Low", "C"}), Names(catalogue));
}

TEST_F(UIElementsTest, HintThatIsNoI4OrFailsGoesToTheEndInArrivalOrder) {
  Register(1, u"Unsigned")->SetProperty(eKELT_LST_ORDERHINT, Variant::Ui4(1));
  Register(2, u"Failing")->FailProperty(eKELT_LST_ORDERHINT, E_NOTIMPL);
  Register(3, u"Hinted", 50);
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Hinted", "Unsigned", "Failing"}), Names(catalogue));
  EXPECT_TRUE(Has(File().Texts('U'), "Add"));
}

TEST_F(UIElementsTest, SubElementsAreExpandedOnlyWhenAsked) {
  PickyElements picky{registry, factory, kTokensSubkey};
  auto group = Register(1, u"Group", 1);
  auto first = std::make_shared<FakeElement>(u"First");
  first->SetProperty(eKELT_LST_ORDERHINT, Variant::I4(2));
  group->SetSubElements(
      {first, nullptr, std::make_shared<FakeElement>(u"NoThanks"), std::make_shared<FakeElement>(u"Second")});
  Register(2, u"NoSingle");
  Register(3, u"Single");

  ASSERT_EQ(S_OK, picky.LoadElements(true));
  EXPECT_EQ((Strings{"First", "Second", "Single"}), Names(picky));
  EXPECT_TRUE(Has(File().Texts('U'), "#sub elements: 4"));

  ASSERT_EQ(S_OK, picky.LoadElements(false));
  EXPECT_EQ((Strings{"Group", "Single"}), Names(picky));
  EXPECT_TRUE(Has(File().Texts('U'), "#elements: 1"));

  // Expansion asked, but the group answers no array: the element itself.
  group->SetProperty(eKELT_LST_SUBELEMENTS, Variant::I4(3));
  ASSERT_EQ(S_OK, picky.LoadElements(true));
  EXPECT_EQ((Strings{"Group", "Single"}), Names(picky));
}

TEST_F(UIElementsTest, SiteCallbackIsHandedToMembersThatHaveASite) {
  struct Callback : ISiteCallback {
  } callback;
  OrderedElements ordered;
  UnorderedElements unordered;
  auto withSite = Register(1, u"WithSite");
  withSite->EnableSite();
  Register(2, u"WithoutSite");
  ASSERT_EQ(S_OK, catalogue.AddElement(ordered, unordered, Clsid(1), Module(1), true, &callback));
  ASSERT_EQ(S_OK, catalogue.AddElement(ordered, unordered, Clsid(2), Module(2), true, &callback));
  EXPECT_EQ(2u, unordered.size());
  EXPECT_EQ((std::vector<ISiteCallback*>{&callback}), withSite->Sites());
  EXPECT_TRUE(Has(File().Texts('E'), "HPTR(cpsite)"));

  auto refusing = Register(3, u"Refusing");
  refusing->EnableSite(E_ACCESSDENIED);
  EXPECT_EQ(E_ACCESSDENIED, catalogue.AddElement(ordered, unordered, Clsid(3), Module(3), true, &callback));
  EXPECT_EQ(2u, unordered.size());
  EXPECT_TRUE(Has(File().Texts('E'), "cpsite->SetSite(pconfigUICallback)"));
}

TEST_F(UIElementsTest, ElementWithoutStringNameIsRefused) {
  OrderedElements ordered;
  UnorderedElements unordered;
  Register(1, u"")->SetProperty(eKELT_LST_NAME, Variant::I4(7));
  Register(2, u"")->SetProperty(eKELT_LST_NAME, Variant::NullBstr());
  Register(3, u"")->FailProperty(eKELT_LST_NAME, E_FAIL);
  EXPECT_EQ(E_UNEXPECTED, catalogue.AddElement(ordered, unordered, Clsid(1), Module(1), true));
  EXPECT_EQ(E_UNEXPECTED, catalogue.AddElement(ordered, unordered, Clsid(2), Module(2), true));
  EXPECT_EQ(E_FAIL, catalogue.AddElement(ordered, unordered, Clsid(3), Module(3), true));
  EXPECT_TRUE(ordered.empty());
  EXPECT_TRUE(unordered.empty());
  const auto results = File().Texts('E');
  EXPECT_TRUE(Has(results, "] E_UNEXPECTED"));
  EXPECT_TRUE(Has(results, "cpelementUI->GetProperty(eKELT_LST_NAME, &cvName)"));
  EXPECT_TRUE(Has(File().Texts('>'), "UIElements :: AddElement"));
}

TEST_F(UIElementsTest, NameIsReadAgainWhenTheTableIsFilled) {
  PropertyAnswer first{S_OK, {Variant::Bstr(u"Before"), {}}};
  PropertyAnswer renamed{S_OK, {Variant::Bstr(u"After"), {}}};
  PropertyAnswer gone{E_FAIL, {}};
  auto element = Register(1, u"");
  element->SetPropertySequence(eKELT_LST_NAME, {first, renamed});
  Register(2, u"")->SetPropertySequence(eKELT_LST_NAME, {first, gone});
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"After"}), Names(catalogue));
  EXPECT_EQ(2, element->Reads(eKELT_LST_NAME));
}

TEST_F(UIElementsTest, DuplicateNamesAreBothKept) {
  auto one = Register(1, u"Same", 1);
  auto two = Register(2, u"Same", 2);
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  ASSERT_EQ(2, catalogue.GetSize());
  EXPECT_EQ(one.get(), catalogue.GetValueAt(0).get());
  EXPECT_EQ(two.get(), catalogue.GetValueAt(1).get());
  EXPECT_EQ(0, catalogue.FindKey(u"Same"));
  EXPECT_EQ(-1, catalogue.FindKey(u"same"));
}

TEST_F(UIElementsTest, BadRegistrationsAreSkippedAndTheRestLoad) {
  Register(1, u"Good");
  const std::u16string sub = kTokensSubkey;
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, sub, u"NotAGuid", u"C:\\x.dll"));
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistrationKey(registry, sub, GuidToString(Clsid(2))));
  EXPECT_EQ(ERROR_SUCCESS,
            WriteRegistration(registry, sub, GuidToString(Clsid(3)), REG_BINARY, RegistrationBytes(Module(3))));
  EXPECT_EQ(ERROR_SUCCESS,
            WriteRegistration(registry, sub, GuidToString(Clsid(4)), REG_SZ, RegistrationBytes(Module(4), false)));
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, sub, GuidToString(Clsid(5)), REG_SZ,
                                             RegistrationBytes(std::u16string(1024, u'a'))));
  auto bytes = RegistrationBytes(Module(6));
  bytes.push_back(0);
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, sub, GuidToString(Clsid(6)), REG_SZ, bytes));
  for (int n = 2; n <= 6; ++n) factory.Register(Module(n), Clsid(n), std::make_shared<FakeElement>(u"Bad"));

  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Good"}), Names(catalogue));
  EXPECT_EQ(1u, factory.Calls().size());
  EXPECT_TRUE(Has(File().Texts('E'), "-2147221005 hr2"));  // 0x800401F3
}

TEST_F(UIElementsTest, ModulePathIsUsedAsStoredUpToItsLimit) {
  const std::u16string sub = kTokensSubkey;
  const std::u16string expandable = u"%ProgramFiles%\\Vantorix\\token.dll";
  const std::u16string longest(1023, u'p');  // 1024 characters with its NUL
  EXPECT_EQ(ERROR_SUCCESS,
            WriteRegistration(registry, sub, GuidToString(Clsid(1)), REG_EXPAND_SZ, RegistrationBytes(expandable)));
  EXPECT_EQ(ERROR_SUCCESS,
            WriteRegistration(registry, sub, GuidToString(Clsid(2)), REG_SZ, RegistrationBytes(longest)));
  factory.Register(expandable, Clsid(1), std::make_shared<FakeElement>(u"Expandable"));
  factory.Register(longest, Clsid(2), std::make_shared<FakeElement>(u"Longest"));
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"Expandable", "Longest"}), Names(catalogue));
  ASSERT_EQ(2u, factory.Calls().size());
  EXPECT_EQ(expandable, factory.Calls()[0].modulePath);
  EXPECT_TRUE(factory.Calls()[1].clsid == Clsid(2));
}

TEST_F(UIElementsTest, FactoryFailuresSkipOneElement) {
  Register(1, u"First");
  const std::u16string sub = kTokensSubkey;
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, sub, GuidToString(Clsid(2)), Module(2)));
  factory.RegisterFailure(Module(2), Clsid(2), NTE_BAD_SIGNATURE);
  EXPECT_EQ(ERROR_SUCCESS, WriteRegistration(registry, sub, GuidToString(Clsid(3)), Module(3)));
  factory.Register(Module(3), Clsid(3), nullptr);
  Register(4, u"Last");
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ((Strings{"First", "Last"}), Names(catalogue));
  const auto results = File().Texts('E');
  EXPECT_TRUE(Has(results, "-2146893818 hr2"));  // NTE_BAD_SIGNATURE
  EXPECT_TRUE(Has(results, "_COM_TEST_BOOL((0 != cpelementRegisteredUI))"));
  EXPECT_TRUE(Has(results, "-2147467261 hr2"));  // E_POINTER
}

TEST_F(UIElementsTest, MissingPluginKeyFailsAndLeavesTheTableEmpty) {
  Register(1, u"Only", {}, kGpoEditorTokensSubkey);
  UIElements editor{registry, factory, kGpoEditorTokensSubkey};
  ASSERT_EQ(S_OK, editor.LoadElements(true));
  ASSERT_EQ(S_OK, editor.LoadElements(true));
  EXPECT_EQ((Strings{"Only"}), Names(editor));
  EXPECT_EQ(u"SOFTWARE\\Vantorix\\KELT\\Plugins\\UIElements\\GPOEditorTokens", editor.KeyPath());

  ASSERT_EQ(ERROR_SUCCESS, registry.DeleteKey(vx::platform::RegistryRoot::LocalMachine,
                                              editor.KeyPath() + u"\\" + GuidToString(Clsid(1))));
  ASSERT_EQ(ERROR_SUCCESS, registry.DeleteKey(vx::platform::RegistryRoot::LocalMachine, editor.KeyPath()));
  EXPECT_EQ(vx::HResultFromWin32(ERROR_FILE_NOT_FOUND), editor.LoadElements(true));
  EXPECT_EQ(0, editor.GetSize());
  EXPECT_TRUE(Has(File().Texts('E'), "-2147024894 hr"));
  EXPECT_TRUE(Has(File().Texts('U'), "SOFTWARE\\Vantorix\\KELT\\Plugins\\UIElements\\GPOEditorTokens"));
}

TEST_F(UIElementsTest, IndexOutsideTheTableRaisesArrayBounds) {
  Register(1, u"Only");
  ASSERT_EQ(S_OK, catalogue.LoadElements(true));
  EXPECT_EQ(S_OK, Thrown([&] { (void)catalogue.GetKeyAt(0); }));
  EXPECT_EQ(kArrayBoundsExceeded, Thrown([&] { (void)catalogue.GetKeyAt(1); }));
  EXPECT_EQ(kArrayBoundsExceeded, Thrown([&] { (void)catalogue.GetValueAt(-1); }));
  EXPECT_EQ(static_cast<HRESULT>(0xC000008Cu), kArrayBoundsExceeded);
}

}  // namespace

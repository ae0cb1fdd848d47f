// The checking conventions, the boundary rule and the failure texts.
#include <stdexcept>
#include <tuple>

#include "support/check.h"
#include "support/error_text.h"
#include "shared_fixtures.h"

using namespace VXTraceNS;
using vxtest::Thrown;

namespace {

class Checks : public vxtest::TracingFixture {
 protected:
  void SetUp() override {
    TracingFixture::SetUp();
    vx::InstallReporting({&messageBox, &strings, &errorText, &systemMessages});
    strings.texts[vx::IDS_ERROR_CAPTION] = u"Keystone Client";
    strings.texts[vx::IDS_ERROR_FORMAT] = u"%ls (0x%08X)";
  }
  void TearDown() override { vx::InstallReporting({}); }
  vx::platform::RecordingMessageBox messageBox;
  vx::platform::FakeStringTable strings;
  vx::platform::FakeErrorTextLibrary errorText;
  vx::platform::FakeSystemMessages systemMessages;
};

HRESULT Fails() { return E_ACCESSDENIED; }

}  // namespace

TEST_F(Checks, ChecksThrowTheirCodeAndTraceLineFileAndExpression) {
  EXPECT_EQ(vx::CheckResult(S_FALSE, "quiet()", "a.cpp", 1), S_FALSE);
  int* cpsite = nullptr;
  int cpelementRegisteredUI = 0;
  const int line = __LINE__;
  EXPECT_EQ(Thrown([] { VX_CHECK(Fails()); }), E_ACCESSDENIED);
  EXPECT_EQ(Thrown([&] { HPTR(cpsite); }), E_POINTER);
  EXPECT_EQ(Thrown([&] { _COM_TEST_BOOL((0 != cpelementRegisteredUI)); }), E_POINTER);
  EXPECT_EQ(Thrown([] { _W32_TEST_ERROR(5); }), static_cast<HRESULT>(0x80070005u));
  const auto at = [&](int offset) { return " [" + std::to_string(line + offset) + " : check_test.cpp] "; };
  EXPECT_EQ(Written('E'),
            (std::vector<std::string>{"-2147024891" + at(1) + "Fails()", "-2147467261" + at(2) + "HPTR(cpsite)",
                                      "-2147467261" + at(3) + "_COM_TEST_BOOL((0 != cpelementRegisteredUI))",
                                      "-2147024891" + at(4) + "_W32_TEST_ERROR"}));
  EXPECT_EQ(Written('>'), std::vector<std::string>(4, " ")) << "each in a scope of its own";
}

TEST_F(Checks, BoundaryTurnsExceptionsIntoCodesAndWritesTheResult) {
  auto run = [](auto body) {
    CTraceScope scope("CTest::Operation");
    return vx::HResultBoundary(scope, body);
  };
  EXPECT_EQ(run([]() -> HRESULT {
              VX_CHECK(Fails());
              return S_OK;
            }),
            E_ACCESSDENIED);
  EXPECT_EQ(run([]() -> HRESULT { throw std::runtime_error("boom"); }), E_UNEXPECTED);
  EXPECT_EQ(run([]() -> HRESULT { throw std::bad_alloc(); }), E_OUTOFMEMORY);
  const auto results = Written('E');
  // The checked failure once where seen and once as the result; unknown exceptions likewise.
  ASSERT_EQ(results.size(), 6u);
  EXPECT_EQ(results[1], "-2147024891 ");
  EXPECT_TRUE(results[2].ends_with("] E_UNEXPECTED")) << results[2];
  EXPECT_EQ(results[3], "-2147418113 ");
  EXPECT_TRUE(results[4].ends_with("] E_OUTOFMEMORY")) << results[4];
  EXPECT_EQ(results[5], "-2147024882 ");
}

TEST_F(Checks, MessageBoxResultShowsFailuresOnly) {
  EXPECT_EQ(vx::MessageBoxResult(nullptr, u"Saving failed.", S_OK), S_OK);
  EXPECT_TRUE(messageBox.shown.empty());

  errorText.texts[E_ACCESSDENIED] = u"Access is denied.";
  const auto owner = reinterpret_cast<HWND>(0x1234);
  EXPECT_EQ(vx::MessageBoxResult(owner, u"The policies could not be saved. ", E_ACCESSDENIED), E_ACCESSDENIED);
  ASSERT_EQ(messageBox.shown.size(), 1u);
  const auto& box = messageBox.shown[0];
  EXPECT_EQ(std::tuple(box.owner, box.text, box.caption, box.type),
            std::tuple(owner, u"The policies could not be saved. Access is denied. (0x80070005)", u"Keystone Client",
                       UINT{MB_OK | MB_ICONERROR}));
  EXPECT_EQ(errorText.outstanding, 0) << "the library's buffer is freed";
}

TEST_F(Checks, ErrorTextsAreEmptyOrAGeneratedTextWhenTheSystemHasNone) {
  errorText.texts[E_POINTER] = u"";
  EXPECT_EQ(vx::GetHresultText(E_POINTER), u"");
  EXPECT_EQ(vx::GetHresultText(E_FAIL), u"") << "no text for the code";
  errorText.present = false;
  EXPECT_EQ(vx::GetHresultText(E_FAIL), u"");
  EXPECT_EQ(errorText.outstanding, 0);

  systemMessages.texts[E_ACCESSDENIED] = u"Access is denied.\r\n";
  EXPECT_EQ(vx::GetSystemErrorText(E_ACCESSDENIED), u"Access is denied.");
  EXPECT_EQ(vx::GetSystemErrorText(E_UNEXPECTED), u"HRESULT 0x8000ffff");

  vx::InstallReporting({});
  EXPECT_EQ(vx::GetHresultText(E_FAIL), u"");
  EXPECT_EQ(vx::GetSystemErrorText(E_UNEXPECTED), u"HRESULT 0x8000ffff");
}

TEST(CodesAndNames, Win32CodesBecomeHresultsAndEnumValuesNames) {
  EXPECT_EQ(vx::HResultFromWin32(0x12345), static_cast<HRESULT>(0x80072345u));
  EXPECT_EQ(vx::HResultFromWin32(0), 0);
  EXPECT_EQ(vx::HResultFromWin32(-5), -5);
  EXPECT_EQ(vx::GetEnumValueName(2), u"VX_ENFORCEPOLICY_SPECIFICDATE");
  EXPECT_EQ(vx::GetEnumValueName(0xFFFFFFFF), u"UNEXPECTED_0xFFFFFFFF");
}

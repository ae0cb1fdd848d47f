// A failed save shown to the user through the real message box, on a display of its own (Xvfb):
// the box must carry the caller's text, the UI library's text of the code and the code itself.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "platform/memory/fakes.h"
#include "platform/text.h"
#include "platform/win32/win32_ui.h"
#include "support/error_text.h"

namespace {

constexpr wchar_t kCaption[] = L"Keystone Client";

// Waits for the box, reads its text and presses OK, as a user would.
struct Dismisser {
  std::wstring text;
  std::atomic<bool> found{false};
  std::thread thread{[this] {
    for (int tries = 0; tries < 300 && !found; ++tries) {
      if (HWND box = ::FindWindowW(L"#32770", kCaption)) {
        wchar_t buffer[1024] = {};
        ::GetDlgItemTextW(box, 0xFFFF, buffer, 1024);  // the static control of a message box
        text = buffer;
        found = true;
        ::PostMessageW(box, WM_COMMAND, IDOK, 0);
        return;
      }
      ::Sleep(50);
    }
  }};
  void Join() {
    if (thread.joinable()) thread.join();
  }
  ~Dismisser() { Join(); }
};

}  // namespace

TEST(MessageBoxResultWine, ShowsTheJoinedTextAndTheCode) {
  ASSERT_NE(::GetDesktopWindow(), nullptr);
  vx::platform::Win32MessageBox messageBox;
  vx::platform::FakeStringTable strings;
  vx::platform::FakeErrorTextLibrary errorText;
  strings.texts[vx::IDS_ERROR_CAPTION] = vx::AsU16(kCaption);
  strings.texts[vx::IDS_ERROR_FORMAT] = u"%ls\n\nError code: 0x%08X";
  errorText.texts[E_ACCESSDENIED] = u"You are not allowed to change this policy.";
  vx::InstallReporting({&messageBox, &strings, &errorText, nullptr});

  Dismisser user;
  const HRESULT shown = vx::MessageBoxResult(nullptr, u"The policies could not be saved. ", E_ACCESSDENIED);
  user.Join();
  vx::InstallReporting({});

  EXPECT_EQ(shown, E_ACCESSDENIED);
  ASSERT_TRUE(user.found) << "no message box appeared";
  EXPECT_EQ(vx::Utf16ToUtf8(vx::AsU16(user.text.c_str())),
            "The policies could not be saved. You are not allowed to change this policy.\n\n"
            "Error code: 0x80070005");
  EXPECT_EQ(errorText.outstanding, 0);
}

TEST(MessageBoxResultWine, SuccessShowsNoBox) {
  vx::platform::Win32MessageBox messageBox;
  vx::InstallReporting({&messageBox, nullptr, nullptr, nullptr});
  EXPECT_EQ(vx::MessageBoxResult(nullptr, u"unused", S_FALSE), S_FALSE);  // would block if a box came up
  vx::InstallReporting({});
  EXPECT_EQ(::FindWindowW(L"#32770", nullptr), nullptr);
}

#include "headless.h"

namespace vx::vxpolicy {

namespace {

struct StringEntry {
  UINT id;
  const char16_t* text;
};

// Generated from the en-US string table at build time: the one source of the texts.
constexpr StringEntry kStrings[] = {
#include "en_us_strings.inc"
};

}  // namespace

int CHeadlessMessages::Show(HWND, std::u16string_view text, std::u16string_view, UINT type) {
  shown.push_back({std::u16string(text), type});
  return (type & 0xF) == MB_YESNO ? IDYES : IDOK;
}

std::u16string CToolStrings::LoadText(UINT id) {
  for (const StringEntry& entry : kStrings)
    if (entry.id == id) return entry.text;
  return {};
}

int CHeadlessPageView::RunAddDialog(pages::CAuthPolicyAdd& dialog) {
  CHeadlessAddView view;
  dialog.OnInitDialog(view);
  return composer ? composer(dialog, view) : IDCANCEL;
}

}  // namespace vx::vxpolicy

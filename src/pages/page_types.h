// What the page and dialog presenters and their views share: the list's keys, hit-test and state flags
// as the platform numbers them, points and rectangles. Command, control, string and icon identifiers
// are those of the language resources (resource_ids.h).
#pragma once

#include <string>

#include "platform/wintypes.h"
#include "../../resources/resource_ids.h"

namespace vx::pages {

// Virtual keys the list reacts to.
inline constexpr UINT kVkSpace = 0x20;
inline constexpr UINT kVkDelete = 0x2E;
inline constexpr UINT kVkApps = 0x5D;

// List-view hit-test flags and item states.
inline constexpr UINT kHitOnItemIcon = 0x2;
inline constexpr UINT kHitOnItemLabel = 0x4;
inline constexpr UINT kHitOnItemStateIcon = 0x8;
inline constexpr UINT kHitOnItem = kHitOnItemIcon | kHitOnItemLabel | kHitOnItemStateIcon;
inline constexpr UINT kStateFocused = 0x1;
inline constexpr UINT kStateSelected = 0x2;

struct Point {
  long x = 0;
  long y = 0;
};

struct Rect {
  long left = 0, top = 0, right = 0, bottom = 0;
  bool Contains(Point p) const { return p.x >= left && p.x < right && p.y >= top && p.y < bottom; }
};

// A list-view (sub-item) hit test: the row (-1 for none), the column and the flags.
struct ListHit {
  int row = -1;
  int subItem = 0;
  UINT flags = 0;
};

// One item of a combo box: its text, its image (-1 none) and its data.
struct ComboItem {
  std::u16string text;
  int image = -1;
  ULONGLONG data = 0;
};

}  // namespace vx::pages

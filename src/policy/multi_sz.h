// The stored form of a policy setting: a REG_MULTI_SZ of credential masks, one element per mask in
// 16 upper-case hexadecimal digits, closed by an empty element. Writing is exact; reading is lenient
// (each element converts as _wcstoui64 with base 16 does) and works on raw value bytes of any size:
// an odd trailing byte is ignored, a missing final NUL is tolerated, nothing is read past the span.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "platform/wintypes.h"

namespace vx::policy {

inline constexpr size_t kMaskDigits = 16;
// Characters of one stored element: the digits and their NUL.
inline constexpr size_t kMaskElementChars = kMaskDigits + 1;
// The largest mask count whose value size still fits the registry's DWORD byte count.
inline constexpr size_t kMaxStoredMasks = (0xFFFFFFFFu / 2 - 1) / kMaskElementChars;

// Characters of the stored value for count masks: 17 x count + 1 (the closing empty element).
constexpr size_t MultiSzChars(size_t count) { return kMaskElementChars * count + 1; }
constexpr size_t MultiSzBytes(size_t count) { return MultiSzChars(count) * sizeof(char16_t); }

// "%016I64X" of mask into out[0..15], and a NUL into out[16].
void FormatMaskText(ULONGLONG mask, char16_t (&out)[kMaskElementChars]);

// Length in characters of a multi-string up to and including its closing empty element, walking the
// elements; text.size() when the text ends first.
size_t MultiSzLength(std::span<const char16_t> text);

// The stored bytes of masks in their order (little-endian UTF-16), MultiSzBytes(masks.size()) long.
std::vector<BYTE> SerializeMultiSz(std::span<const ULONGLONG> masks);

// One element converted as _wcstoui64(text, nullptr, 16): leading white space, an optional sign ("-"
// negates), an optional 0x or 0X, then hexadecimal digits up to the first other character; no digits
// gives 0; a value past 64 bits gives 0xFFFFFFFFFFFFFFFF. Only ASCII digits and letters count.
ULONGLONG ParseMaskText(std::u16string_view text);

// Reads the elements of stored value bytes one at a time, up to the first empty element or the end.
class MultiSzReader {
 public:
  explicit MultiSzReader(std::span<const BYTE> bytes) : m_bytes(bytes), m_chars(bytes.size() / 2) {}
  // The next element's mask; false at the first empty element or when the data ends.
  bool Next(ULONGLONG& mask);

 private:
  std::span<const BYTE> m_bytes;
  size_t m_chars;
  size_t m_at = 0;  // in characters
  bool m_done = false;
};

// Every mask of stored value bytes, first occurrences only, in their order.
std::vector<ULONGLONG> ParseMultiSz(std::span<const BYTE> bytes);

}  // namespace vx::policy

#include "policy/multi_sz.h"

#include <array>
#include <limits>
#include <unordered_set>

namespace vx::policy {
namespace {

constexpr char16_t kHexDigits[] = u"0123456789ABCDEF";

bool IsConversionSpace(char16_t c) { return c == u' ' || (c >= u'\t' && c <= u'\r'); }

// Digit values of ASCII letters and digits in any base up to 36; 36 for every other character.
// A table, not comparisons: mixed digits and letters would otherwise be a branch per character.
constexpr auto kDigitValues = [] {
  std::array<unsigned char, 128> table{};
  for (auto& v : table) v = 36;
  for (int c = '0'; c <= '9'; ++c) table[static_cast<size_t>(c)] = static_cast<unsigned char>(c - '0');
  for (int c = 'a'; c <= 'z'; ++c) table[static_cast<size_t>(c)] = static_cast<unsigned char>(c - 'a' + 10);
  for (int c = 'A'; c <= 'Z'; ++c) table[static_cast<size_t>(c)] = static_cast<unsigned char>(c - 'A' + 10);
  return table;
}();

unsigned DigitValue(char16_t c) { return c < kDigitValues.size() ? kDigitValues[c] : 36u; }

// The conversion over characters at(0) .. at(count - 1).
template <class CharAt>
ULONGLONG ConvertHex(size_t count, CharAt at) {
  size_t i = 0;
  while (i < count && IsConversionSpace(at(i))) ++i;
  bool negative = false;
  if (i < count && (at(i) == u'-' || at(i) == u'+')) negative = at(i++) == u'-';
  if (i + 1 < count && at(i) == u'0' && (at(i + 1) == u'x' || at(i + 1) == u'X')) i += 2;

  constexpr ULONGLONG kMax = std::numeric_limits<ULONGLONG>::max();
  ULONGLONG value = 0;
  bool overflow = false;
  for (; i < count; ++i) {
    const unsigned digit = DigitValue(at(i));
    if (digit >= 16) break;
    if (value >> 60) overflow = true;  // one more digit would not fit
    value = value * 16 + digit;
  }
  if (overflow) return kMax;
  return negative ? ULONGLONG{0} - value : value;
}

}  // namespace

void FormatMaskText(ULONGLONG mask, char16_t (&out)[kMaskElementChars]) {
  for (size_t i = kMaskDigits; i-- > 0; mask >>= 4) out[i] = kHexDigits[mask & 0xF];
  out[kMaskDigits] = u'\0';
}

size_t MultiSzLength(std::span<const char16_t> text) {
  size_t at = 0;
  while (at < text.size()) {
    if (text[at] == u'\0') return at + 1;  // the closing empty element
    while (at < text.size() && text[at] != u'\0') ++at;
    if (at < text.size()) ++at;  // past the element's NUL
  }
  return text.size();
}

std::vector<BYTE> SerializeMultiSz(std::span<const ULONGLONG> masks) {
  std::vector<BYTE> bytes(MultiSzBytes(masks.size()), 0);
  BYTE* out = bytes.data();
  for (const ULONGLONG mask : masks) {
    char16_t text[kMaskElementChars];
    FormatMaskText(mask, text);
    for (const char16_t c : text) {
      *out++ = static_cast<BYTE>(c & 0xFF);
      *out++ = static_cast<BYTE>(c >> 8);
    }
  }
  return bytes;
}

ULONGLONG ParseMaskText(std::u16string_view text) {
  return ConvertHex(text.size(), [text](size_t i) { return text[i]; });
}

bool MultiSzReader::Next(ULONGLONG& mask) {
  if (m_done) return false;
  const auto charAt = [this](size_t i) {
    return static_cast<char16_t>(m_bytes[2 * i] | (m_bytes[2 * i + 1] << 8));
  };
  size_t end = m_at;
  while (end < m_chars && charAt(end) != u'\0') ++end;
  if (end == m_at) {  // an empty element, or no data left
    m_done = true;
    return false;
  }
  const size_t start = m_at;
  mask = ConvertHex(end - start, [&](size_t i) { return charAt(start + i); });
  m_at = end < m_chars ? end + 1 : end;
  return true;
}

std::vector<ULONGLONG> ParseMultiSz(std::span<const BYTE> bytes) {
  std::vector<ULONGLONG> masks;
  std::unordered_set<ULONGLONG> seen;
  seen.reserve(bytes.size() / (2 * kMaskElementChars) + 1);  // as many as stored elements would give
  MultiSzReader reader(bytes);
  for (ULONGLONG mask = 0; reader.Next(mask);) {
    if (seen.insert(mask).second) masks.push_back(mask);
  }
  return masks;
}

}  // namespace vx::policy

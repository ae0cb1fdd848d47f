#include "platform/text.h"

namespace vx {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsSurrogate(char32_t cp) { return cp >= 0xD800 && cp <= 0xDFFF; }

bool IsContinuation(unsigned char c) { return (c & 0xC0) == 0x80; }

}  // namespace

size_t Utf8SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

size_t EncodeUtf8(char32_t cp, char out[4]) {
  if (IsSurrogate(cp) || cp > 0x10FFFF) cp = kReplacement;
  if (cp < 0x80) {
    out[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp < 0x800) {
    out[0] = static_cast<char>(0xC0 | (cp >> 6));
    out[1] = static_cast<char>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (cp >> 12));
    out[1] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (cp >> 18));
  out[1] = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (cp & 0x3F));
  return 4;
}

size_t EncodeUtf16(char32_t cp, char16_t out[2]) {
  if (IsSurrogate(cp) || cp > 0x10FFFF) cp = kReplacement;
  if (cp < 0x10000) {
    out[0] = static_cast<char16_t>(cp);
    return 1;
  }
  cp -= 0x10000;
  out[0] = static_cast<char16_t>(0xD800 + (cp >> 10));
  out[1] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
  return 2;
}

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const size_t len = Utf8SequenceLength(lead);
    if (len == 1) {
      out += static_cast<char16_t>(lead);
      ++i;
      continue;
    }
    bool valid = len != 0 && i + len <= text.size();
    char32_t cp = 0;
    if (valid) {
      cp = lead & (0xFF >> (len + 1));
      for (size_t k = 1; k < len && valid; ++k) {
        const auto c = static_cast<unsigned char>(text[i + k]);
        valid = IsContinuation(c);
        cp = (cp << 6) | (c & 0x3F);
      }
      // Overlong forms, surrogates and values past U+10FFFF are invalid.
      if (valid) {
        valid = !((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
                  (cp >= 0xD800 && cp <= 0xDFFF));
      }
    }
    if (!valid) {
      out += static_cast<char16_t>(kReplacement);
      ++i;
      while (i < text.size() && IsContinuation(static_cast<unsigned char>(text[i]))) ++i;
      continue;
    }
    char16_t units[2];
    out.append(units, EncodeUtf16(cp, units));
    i += len;
  }
  return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t cp = text[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = kReplacement;
    }
    char bytes[4];
    out.append(bytes, EncodeUtf8(cp, bytes));
  }
  return out;
}

std::string_view TruncateUtf8(std::string_view text, size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  size_t end = maxBytes;
  // Step back over continuation bytes to the lead byte of the cut character, and drop it.
  while (end > 0 && IsContinuation(static_cast<unsigned char>(text[end]))) --end;
  return text.substr(0, end);
}

char16_t ToUpperInvariant(char16_t c) {
  if (c < 0x80) return (c >= u'a' && c <= u'z') ? static_cast<char16_t>(c - 0x20) : c;
  if ((c >= 0xE0 && c <= 0xFE && c != 0xF7)) return static_cast<char16_t>(c - 0x20);
  if (c == 0xFF) return 0x178;
  if (c >= 0x100 && c <= 0x17F) {  // Latin Extended-A: pairs, upper case even (with a few odd runs)
    if ((c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E)) return (c & 1) ? c : static_cast<char16_t>(c - 1);
    if (c != 0x131 && c != 0x138 && c != 0x149 && c != 0x17F) return (c & 1) ? static_cast<char16_t>(c - 1) : c;
    return c;
  }
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return static_cast<char16_t>(c - 0x20);  // Greek
  if (c >= 0x430 && c <= 0x44F) return static_cast<char16_t>(c - 0x20);                // Cyrillic
  if (c >= 0x450 && c <= 0x45F) return static_cast<char16_t>(c - 0x50);
  return c;
}

int CompareIgnoreCase(std::u16string_view a, std::u16string_view b) {
  const size_t n = a.size() < b.size() ? a.size() : b.size();
  for (size_t i = 0; i < n; ++i) {
    const char16_t ca = ToUpperInvariant(a[i]), cb = ToUpperInvariant(b[i]);
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

bool EqualsIgnoreCase(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() && CompareIgnoreCase(a, b) == 0;
}

bool EqualsIgnoreCaseAscii(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  for (size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

std::string_view TrimBlanks(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

PathParts SplitPath(std::u16string_view path) {
  PathParts parts;
  if (path.size() >= 2 && path[1] == u':') {
    parts.drive = path.substr(0, 2);
    path.remove_prefix(2);
  }
  const size_t slash = path.find_last_of(u"\\/");
  if (slash != std::u16string_view::npos) {
    parts.dir = path.substr(0, slash + 1);
    path.remove_prefix(slash + 1);
  }
  const size_t dot = path.find_last_of(u'.');
  if (dot != std::u16string_view::npos) {
    parts.name = path.substr(0, dot);
    parts.ext = path.substr(dot);
  } else {
    parts.name = path;
  }
  return parts;
}

std::u16string_view FileNamePart(std::u16string_view path) {
  const size_t slash = path.find_last_of(u"\\/");
  return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

std::string_view FileNamePart(std::string_view path) {
  const size_t slash = path.find_last_of("\\/");
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::u16string Widen(std::string_view ascii) {
  std::u16string out(ascii.size(), u'\0');
  for (size_t i = 0; i < ascii.size(); ++i) out[i] = static_cast<unsigned char>(ascii[i]);
  return out;
}

}  // namespace vx

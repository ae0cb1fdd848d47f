// One engine for both output widths. Integers and strings are converted here, never by the C library,
// so the result is the same on every platform; only the digits of a double come from snprintf.
#include "platform/format.h"

#include "platform/text.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace vx {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

using Directive = detail::Directive;
using Step = detail::FormatStep;

// The output, cut at a capacity. A character that does not fit whole closes the output, so the
// cut never falls inside a UTF-8 sequence or a surrogate pair and nothing shorter slips in after it.
template <class C>
class Sink {
 public:
  explicit Sink(size_t cap) : cap_(cap) {}  // grows a string
  // Fills the caller's buffer, whose first len units are already written.
  Sink(C* buffer, size_t cap, size_t len = 0) : buf_(buffer), len_(len), cap_(cap) {}
  size_t size() const { return buf_ ? len_ : out_.size(); }
  bool done() const { return closed_ || size() >= cap_; }
  size_t room() const { return closed_ ? 0 : cap_ - size(); }

  void Put(const C* p, size_t n) {
    if (closed_) return;
    if (n > cap_ - size()) {
      closed_ = true;
      return;
    }
    if (buf_) {
      std::copy(p, p + n, buf_ + len_);
      len_ += n;
    } else {
      out_.append(p, n);
    }
  }
  // c is one whole character (ASCII), so a partial run is fine.
  void Repeat(C c, size_t n) {
    if (closed_) return;
    const size_t room = cap_ - size();
    if (n > room) {
      n = room;
      closed_ = true;
    }
    if (buf_) {
      std::fill_n(buf_ + len_, n, c);
      len_ += n;
    } else {
      out_.append(n, c);
    }
  }
  // ASCII text: every byte is a whole character, so a partial run is fine.
  void Ascii(std::string_view s) {
    if (closed_) return;
    size_t n = s.size();
    if (n > cap_ - size()) {
      n = cap_ - size();
      closed_ = true;
    }
    if (n == 0) return;  // an empty view may have no data pointer at all
    if constexpr (sizeof(C) == 1) {
      if (buf_) {
        std::memcpy(buf_ + len_, s.data(), n);
        len_ += n;
      } else {
        out_.append(s.data(), n);
      }
    } else {
      for (size_t i = 0; i < n; ++i) {
        const C unit = static_cast<C>(s[i]);
        if (buf_) buf_[len_++] = unit;
        else out_ += unit;
      }
    }
  }
  std::basic_string<C> Take() { return std::move(out_); }

 private:
  std::basic_string<C> out_;
  C* buf_ = nullptr;
  size_t len_ = 0;
  size_t cap_;
  bool closed_ = false;
};

// ---- characters -------------------------------------------------------------------------------

template <class C>
struct Piece {
  C u[4];
  size_t n = 0;
};

bool IsContinuation(unsigned char c) { return (c & 0xC0) == 0x80; }
bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

void Encode(char32_t cp, Piece<char16_t>& p) { p.n = EncodeUtf16(cp, p.u); }
void Encode(char32_t cp, Piece<char>& p) { p.n = EncodeUtf8(cp, p.u); }

// Units of the character at p in its own encoding, without decoding (bytes that form no valid
// sequence count one by one). avail >= 1; a NUL ends the look-ahead.
size_t RawLength(const char* p, size_t avail) {
  const size_t len = Utf8SequenceLength(static_cast<unsigned char>(p[0]));
  if (len <= 1) return 1;
  size_t k = 1;
  while (k < len && k < avail && IsContinuation(static_cast<unsigned char>(p[k]))) ++k;
  return k;
}

template <class U>
size_t RawLength(const U* p, size_t avail) {
  const auto c = static_cast<char16_t>(p[0]);
  return IsHighSurrogate(c) && avail > 1 && IsLowSurrogate(static_cast<char16_t>(p[1])) ? 2 : 1;
}

// Decoders of NUL-terminated arguments: *s is not NUL; s moves past the character.
// Invalid UTF-8 becomes U+FFFD exactly as Utf8ToUtf16 does it.
char32_t DecodeUtf8(const char*& s) {
  const auto lead = static_cast<unsigned char>(*s);
  const size_t len = Utf8SequenceLength(lead);
  if (len == 1) {
    ++s;
    return lead;
  }
  bool valid = len != 0;
  char32_t cp = lead & (0xFF >> (len + 1));
  for (size_t k = 1; k < len && valid; ++k) {
    const auto c = static_cast<unsigned char>(s[k]);
    valid = IsContinuation(c);
    cp = (cp << 6) | (c & 0x3F);
  }
  if (valid) {
    valid = !((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
              IsHighSurrogate(cp) || IsLowSurrogate(cp));
  }
  if (valid) {
    s += len;
    return cp;
  }
  ++s;
  while (IsContinuation(static_cast<unsigned char>(*s))) ++s;
  return kReplacement;
}

template <class U>
char32_t DecodeUtf16(const U*& s) {
  const auto c = static_cast<char16_t>(*s++);
  if (IsHighSurrogate(c) && IsLowSurrogate(static_cast<char16_t>(*s))) {
    return 0x10000 + ((c - 0xD800) << 10) + (static_cast<char16_t>(*s++) - 0xDC00);
  }
  return IsHighSurrogate(c) || IsLowSurrogate(c) ? kReplacement : c;
}

// Next character of a string argument in the output encoding; false at its end.
// Same encoding: copied as it stands, grouped by character. Other encodings: converted.
template <class C, class U>
bool NextPiece(const U*& s, Piece<C>& p) {
  if (*s == 0) return false;
  constexpr bool kUtf8In = sizeof(U) == 1;
  constexpr bool kUtf16In = sizeof(U) == 2;
  if constexpr ((kUtf8In && sizeof(C) == 1) || (kUtf16In && sizeof(C) == 2)) {
    p.n = RawLength(s, SIZE_MAX);
    for (size_t k = 0; k < p.n; ++k) p.u[k] = static_cast<C>(*s++);
  } else if constexpr (kUtf8In) {
    Encode(DecodeUtf8(s), p);
  } else if constexpr (kUtf16In) {
    Encode(DecodeUtf16(s), p);
  } else {  // UTF-32 (wchar_t off Windows)
    const auto cp = static_cast<char32_t>(*s++);
    Encode(cp > 0x10FFFF || IsHighSurrogate(cp) || IsLowSurrogate(cp) ? kReplacement : cp, p);
  }
  return true;
}

// ---- fields -----------------------------------------------------------------------------------

// A number laid out in its width: [spaces][prefix][zeros][body][inner zeros][tail][spaces].
// The width fills with zeros after the prefix when zeroFill holds.
struct NumberText {
  std::string_view prefix;
  size_t zeros = 0;
  std::string_view body;
  size_t innerZeros = 0;
  std::string_view tail;
};

template <class C>
void PutNumber(Sink<C>& out, const Directive& s, const NumberText& t, bool zeroFill) {
  const size_t len = t.prefix.size() + t.zeros + t.body.size() + t.innerZeros + t.tail.size();
  const size_t pad = s.width > len ? s.width - len : 0;
  if (!s.left && !zeroFill) out.Repeat(C(' '), pad);
  out.Ascii(t.prefix);
  out.Repeat(C('0'), t.zeros + (!s.left && zeroFill ? pad : 0));
  out.Ascii(t.body);
  out.Repeat(C('0'), t.innerZeros);
  out.Ascii(t.tail);
  if (s.left) out.Repeat(C(' '), pad);
}

template <class C>
void PutInteger(Sink<C>& out, const Directive& s, std::uint64_t raw) {
  const std::uint64_t mask = s.bits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << s.bits) - 1;
  std::uint64_t value = raw & mask;
  const bool isSigned = s.conv == 'd' || s.conv == 'i';
  bool negative = false;
  if (isSigned && s.bits < 64 && (value >> (s.bits - 1)) != 0) value |= ~mask;  // sign-extend
  if (isSigned && static_cast<std::int64_t>(value) < 0) {
    negative = true;
    value = 0 - value;
  }

  const unsigned base = s.conv == 'o' ? 8 : (s.conv == 'x' || s.conv == 'X') ? 16 : 10;
  const char* digitSet = s.conv == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
  char buf[24];
  char* end = buf + sizeof(buf);
  char* begin = end;
  // Constant divisors: a division by a run-time base costs tens of cycles per digit.
  if (base == 16) {
    for (std::uint64_t v = value; v != 0; v >>= 4) *--begin = digitSet[v & 15];
  } else if (base == 8) {
    for (std::uint64_t v = value; v != 0; v >>= 3) *--begin = digitSet[v & 7];
  } else {
    for (std::uint64_t v = value; v != 0; v /= 10) *--begin = digitSet[v % 10];
  }
  if (value == 0 && s.precision != 0) *--begin = '0';  // "%.0d" of 0 prints no digit
  const size_t digits = static_cast<size_t>(end - begin);

  NumberText t;
  const size_t precision = s.precision > 0 ? static_cast<size_t>(s.precision) : 0;
  t.zeros = precision > digits ? precision - digits : 0;
  t.body = std::string_view(begin, digits);
  if (negative) {
    t.prefix = "-";
  } else if (isSigned && s.plus) {
    t.prefix = "+";
  } else if (isSigned && s.space) {
    t.prefix = " ";
  } else if (s.alt && base == 16 && value != 0) {
    t.prefix = s.conv == 'X' ? "0X" : "0x";
  } else if (s.alt && base == 8 && t.zeros == 0 && (digits == 0 || *begin != '0')) {
    t.prefix = "0";
  }
  PutNumber(out, s, t, s.zero && s.precision < 0);
}

// Digits of a double beyond this precision are zeros for every double (the smallest subnormal has
// 1074 decimal places), so they are added as padding rather than asked of snprintf.
constexpr int kMaxDoublePrecision = 1100;

template <class C>
void PutDouble(Sink<C>& out, const Directive& s, double d) {
  const bool upper = s.conv == 'E' || s.conv == 'F' || s.conv == 'G';
  NumberText t;
  t.prefix = std::signbit(d) && !std::isnan(d) ? "-" : s.plus ? "+" : s.space ? " " : "";
  if (!std::isfinite(d)) {
    t.body = std::isnan(d) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
    PutNumber(out, s, t, false);
    return;
  }

  const int precision = s.precision < 0 ? 6 : s.precision;
  const int asked = precision < kMaxDoublePrecision ? precision : kMaxDoublePrecision;
  const char letter = s.conv == 'e' || s.conv == 'E' ? 'e' : s.conv == 'g' || s.conv == 'G' ? 'g' : 'f';
  const std::string format = std::string(s.alt ? "%#.*" : "%.*") + letter;
  char buf[1600];  // 309 integer digits, the point, kMaxDoublePrecision decimals, the exponent
  const int n = std::snprintf(buf, sizeof(buf), format.c_str(), asked, std::fabs(d));
  std::string_view text(buf, n > 0 && static_cast<size_t>(n) < sizeof(buf) ? static_cast<size_t>(n) : 0);

  // The exponent has at least two digits (C libraries differ on three).
  std::string exponent;
  const size_t e = text.find('e');
  if (e != std::string_view::npos) {
    std::string_view digits = text.substr(e + 2);
    while (digits.size() > 2 && digits.front() == '0') digits.remove_prefix(1);
    exponent.assign(1, upper ? 'E' : 'e').append(1, text[e + 1]).append(digits);
    text = text.substr(0, e);
  }
  t.body = text;
  if (letter != 'g' || s.alt) t.innerZeros = static_cast<size_t>(precision - asked);
  t.tail = exponent;
  PutNumber(out, s, t, s.zero);
}

template <class C, class U>
void PutString(Sink<C>& out, const Directive& s, const U* str) {
  if (str == nullptr) {
    PutString(out, s, "(null)");
    return;
  }
  if constexpr (sizeof(C) == sizeof(U) && sizeof(U) <= 2) {
    // The usual case, a plain "%s" in its own encoding that fits: one copy.
    if (s.width == 0 && s.precision < 0) {
      const size_t room = out.room();
      size_t n = 0;
      if constexpr (sizeof(U) == 1) {
        n = room == SIZE_MAX ? std::strlen(str) : strnlen(str, room + 1);
      } else {
        while (n <= room && str[n]) ++n;
      }
      if (n <= room) {
        out.Put(reinterpret_cast<const C*>(str), n);
        return;
      }
    }
  }
  const size_t limit = s.precision < 0 ? SIZE_MAX : static_cast<size_t>(s.precision);
  Piece<C> p;
  // Measure only as far as the padding needs to know.
  size_t len = 0;
  const size_t measure = s.width < limit ? s.width : limit;
  for (const U* q = str; len < measure && NextPiece(q, p) && len + p.n <= limit;) len += p.n;
  const size_t pad = s.width > len ? s.width - len : 0;
  if (!s.left) out.Repeat(C(s.zero ? '0' : ' '), pad);
  size_t taken = 0;
  for (const U* q = str; !out.done() && NextPiece(q, p) && taken + p.n <= limit; taken += p.n) out.Put(p.u, p.n);
  if (s.left) out.Repeat(C(' '), pad);
}

template <class C>
void PutChar(Sink<C>& out, const Directive& s, const FormatArg& a) {
  std::int64_t v = a.asSigned();
  // A plain char is signed: a negative value of it is still the byte's code unit.
  if (v < 0) v &= v >= -128 ? 0xFF : 0xFFFF;
  if (v > 0x10FFFF) v &= 0xFFFF;
  Piece<C> p;
  Encode(static_cast<char32_t>(v), p);
  const size_t pad = s.width > p.n ? s.width - p.n : 0;
  if (!s.left) out.Repeat(C(s.zero ? '0' : ' '), pad);
  out.Put(p.u, p.n);
  if (s.left) out.Repeat(C(' '), pad);
}

// An integer argument as a double, a double as an integer (cut toward zero, saturated).
std::uint64_t IntegerOf(const FormatArg& a) {
  if (a.kind() != FormatArg::Kind::Double) return a.asUnsigned();
  const double d = a.asDouble();
  if (std::isnan(d)) return 0;
  if (d < 0) return d <= -0x1p63 ? static_cast<std::uint64_t>(INT64_MIN) : static_cast<std::uint64_t>(static_cast<std::int64_t>(d));
  return d >= 0x1p64 ? UINT64_MAX : static_cast<std::uint64_t>(d);
}

double DoubleOf(const FormatArg& a) {
  switch (a.kind()) {
    case FormatArg::Kind::Signed: return static_cast<double>(a.asSigned());
    case FormatArg::Kind::Unsigned: return static_cast<double>(a.asUnsigned());
    default: return a.asDouble();
  }
}

bool IsString(const FormatArg& a) {
  const auto k = a.kind();
  return k == FormatArg::Kind::Narrow || k == FormatArg::Kind::Utf16 || k == FormatArg::Kind::Wide;
}

template <class C>
void PutAnyString(Sink<C>& out, const Directive& s, const FormatArg& a) {
  switch (a.kind()) {
    case FormatArg::Kind::Narrow: PutString(out, s, a.narrow()); return;
    case FormatArg::Kind::Utf16: PutString(out, s, a.utf16()); return;
    case FormatArg::Kind::Wide: PutString(out, s, a.wide()); return;
    default: break;
  }
  // Not a string: its own default conversion, laid out as a string.
  Sink<char> text(SIZE_MAX);
  Directive plain;
  if (a.kind() == FormatArg::Kind::Pointer && a.asUnsigned() == 0) {
    PutString(out, s, "(null)");
    return;
  }
  if (a.kind() == FormatArg::Kind::Double) {
    plain.conv = 'g';
    PutDouble(text, plain, a.asDouble());
  } else {
    plain.bits = 64;
    plain.conv = a.kind() == FormatArg::Kind::Signed ? 'd' : a.kind() == FormatArg::Kind::Unsigned ? 'u' : 'X';
    if (a.kind() == FormatArg::Kind::Pointer) plain.precision = 16;
    PutInteger(text, plain, a.asUnsigned());
  }
  const std::string converted = text.Take();
  PutString(out, s, converted.c_str());
}

// ---- the format string ------------------------------------------------------------------------

// Whether a conversion letter is one this formatter knows (others are copied as text).
bool IsKnownConversion(char conv) {
  switch (conv) {
    case 'd': case 'i': case 'u': case 'o': case 'x': case 'X': case 'c': case 'C':
    case 's': case 'S': case 'p': case 'e': case 'E': case 'f': case 'F': case 'g': case 'G':
      return true;
    default:
      return false;
  }
}

template <class C>
class Formatter {
 public:
  Formatter(std::basic_string_view<C> format, std::span<const FormatArg> args, Sink<C> sink)
      : f_(format), args_(args), out_(std::move(sink)) {}

  Sink<C>& Run() {
    while (i_ < f_.size() && !out_.done()) {
      // Formats are short: a plain loop beats a library search call here.
      const size_t pct = LiteralEnd();
      if (pct > i_) {
        Literal(i_, pct);
        i_ = pct;
      } else {
        Conversion();
      }
    }
    return out_;
  }

  // The steps of the format, each as Run would take it; false when a width or precision comes from
  // an argument ('*'), which only a run can know.
  bool Compile(std::vector<Step>& steps) {
    compiling_ = true;
    while (i_ < f_.size()) {
      Step step;
      step.from = static_cast<std::uint32_t>(i_);
      const size_t pct = LiteralEnd();
      if (pct > i_) {
        i_ = pct;
        step.kind = Step::Kind::Literal;
      } else {
        Directive s;
        step.kind = ParseConversion(s);
        step.directive = s;
        if (step.kind == Step::Kind::Conversion) ++i_;
      }
      step.to = static_cast<std::uint32_t>(i_);
      steps.push_back(step);
    }
    return !usesStar_;
  }

  // Runs compiled steps: the same calls Run makes, without parsing again. nextArg: the arguments
  // before it were taken by earlier steps.
  Sink<C>& Run(std::span<const Step> steps, size_t nextArg) {
    next_ = nextArg;
    for (const Step& step : steps) {
      if (out_.done()) break;
      switch (step.kind) {
        case Step::Kind::Literal:
        case Step::Kind::Unknown: Literal(step.from, step.to); break;
        case Step::Kind::Percent: out_.Ascii("%"); break;
        case Step::Kind::Conversion: Convert(step.directive); break;
      }
    }
    return out_;
  }

 private:
  // Format text [from, to) as it stands, character by character only when near the cap.
  void Literal(size_t from, size_t to) {
    if (to - from <= out_.room()) {
      out_.Put(f_.data() + from, to - from);
      return;
    }
    while (from < to && !out_.done()) {
      const size_t n = RawLength(f_.data() + from, to - from);
      out_.Put(f_.data() + from, n);
      from += n;
    }
  }

  size_t LiteralEnd() const {
    size_t pct = i_;
    while (pct < f_.size() && f_[pct] != C('%')) ++pct;
    return pct;
  }

  bool At(char c) const { return i_ < f_.size() && f_[i_] == static_cast<C>(c); }
  bool IsDigit() const { return i_ < f_.size() && f_[i_] >= C('0') && f_[i_] <= C('9'); }

  const FormatArg* NextArg() { return next_ < args_.size() ? &args_[next_++] : nullptr; }

  // Width or precision: digits (saturating) or '*', an int from the next argument (0 when that
  // argument is missing or no integer).
  long long Number() {
    if (At('*')) {
      ++i_;
      usesStar_ = true;
      if (compiling_) return 0;
      const FormatArg* a = NextArg();
      if (a == nullptr || a->kind() == FormatArg::Kind::Double || IsString(*a)) return 0;
      return static_cast<std::int32_t>(static_cast<std::uint32_t>(a->asUnsigned()));  // read as an int
    }
    long long v = 0;
    for (; IsDigit(); ++i_) v = std::min<long long>(v * 10 + (f_[i_] - C('0')), INT_MAX);
    return v;
  }

  void SizePrefix(Directive& s) {
    if (At('h')) {
      ++i_;
      s.bits = 16;
      if (At('h')) {
        ++i_;
        s.bits = 8;
      }
    } else if (At('l')) {
      ++i_;
      if (At('l')) ++i_, s.bits = 64;
    } else if (At('L') || At('z') || At('j') || At('t')) {
      ++i_;
      s.bits = 64;
    } else if (At('w')) {
      ++i_;
    } else if (At('I')) {
      ++i_;
      s.bits = 64;
      if (i_ + 1 < f_.size() && f_[i_] == C('6') && f_[i_ + 1] == C('4')) {
        i_ += 2;
      } else if (i_ + 1 < f_.size() && f_[i_] == C('3') && f_[i_ + 1] == C('2')) {
        i_ += 2;
        s.bits = 32;
      }
    }
  }

  void Conversion() {
    const size_t start = i_;
    const size_t firstArg = next_;
    Directive s;
    switch (ParseConversion(s)) {
      case Step::Kind::Percent:
        out_.Ascii("%");
        return;
      case Step::Kind::Unknown:
        // Unknown or unfinished: the text is copied and no argument is used.
        next_ = firstArg;
        Literal(start, i_);
        return;
      default:
        Convert(s);
        ++i_;
    }
  }

  // Parses the conversion at i_ (a '%'). Percent and Unknown leave i_ after their text; Conversion
  // leaves it on the letter.
  Step::Kind ParseConversion(Directive& s) {
    ++i_;
    if (At('%')) {
      ++i_;
      return Step::Kind::Percent;
    }
    for (;; ++i_) {
      if (At('-')) s.left = true;
      else if (At('+')) s.plus = true;
      else if (At(' ')) s.space = true;
      else if (At('#')) s.alt = true;
      else if (At('0')) s.zero = true;
      else break;
    }
    const long long width = Number();
    if (width < 0) s.left = true;
    s.width = static_cast<size_t>(width < 0 ? -width : width);
    if (At('.')) {
      ++i_;
      const long long precision = Number();
      s.precision = precision < 0 ? -1 : static_cast<int>(precision);
    }
    SizePrefix(s);
    if (i_ < f_.size() && f_[i_] < 0x80) s.conv = static_cast<char>(f_[i_]);
    if (!IsKnownConversion(s.conv)) {
      if (i_ < f_.size()) i_ += RawLength(f_.data() + i_, f_.size() - i_);
      return Step::Kind::Unknown;
    }
    return Step::Kind::Conversion;
  }

  // A known conversion with the next argument.
  void Convert(const Directive& s) {
    const FormatArg* a = NextArg();
    if (a == nullptr) return;  // a missing argument prints nothing
    const bool number = !IsString(*a) && a->kind() != FormatArg::Kind::Pointer;
    switch (s.conv) {
      case 'c': case 'C':
        if (number && a->kind() != FormatArg::Kind::Double) PutChar(out_, s, *a);
        break;
      case 's': case 'S':
        PutAnyString(out_, s, *a);
        break;
      case 'p': {
        if (a->kind() == FormatArg::Kind::Double) break;
        Directive p;
        p.left = s.left;
        p.width = s.width;
        p.precision = 16;
        p.bits = 64;
        p.conv = 'X';
        std::uint64_t address = a->asUnsigned();
        if (a->kind() == FormatArg::Kind::Narrow) address = reinterpret_cast<std::uintptr_t>(a->narrow());
        if (a->kind() == FormatArg::Kind::Utf16) address = reinterpret_cast<std::uintptr_t>(a->utf16());
        if (a->kind() == FormatArg::Kind::Wide) address = reinterpret_cast<std::uintptr_t>(a->wide());
        PutInteger(out_, p, address);
        break;
      }
      case 'e': case 'E': case 'f': case 'F': case 'g': case 'G':
        if (number) PutDouble(out_, s, DoubleOf(*a));
        break;
      default:  // integers
        if (!IsString(*a)) PutInteger(out_, s, IntegerOf(*a));
        break;
    }
  }

  std::basic_string_view<C> f_;
  std::span<const FormatArg> args_;
  Sink<C> out_;
  size_t i_ = 0;
  size_t next_ = 0;
  bool compiling_ = false;
  bool usesStar_ = false;
};

}  // namespace

std::u16string FormatV(std::u16string_view format, std::span<const FormatArg> args, size_t maxChars) {
  return Formatter<char16_t>(format, args, Sink<char16_t>(maxChars)).Run().Take();
}

std::string FormatNarrowV(std::string_view format, std::span<const FormatArg> args, size_t maxChars) {
  return Formatter<char>(format, args, Sink<char>(maxChars)).Run().Take();
}

size_t FormatNarrowToV(char* buffer, size_t capacity, std::string_view format, std::span<const FormatArg> args) {
  return Formatter<char>(format, args, Sink<char>(buffer, capacity)).Run().size();
}

ParsedFormat::ParsedFormat(std::string_view format) : m_format(format) {
  Sink<char> unused(0);
  m_compiled = Formatter<char>(m_format, {}, std::move(unused)).Compile(m_steps);
  if (!m_compiled) m_steps.clear();
}

namespace {

// Copies and fills of the few bytes a message step writes, without a library call: two overlapping
// moves of a fixed size cover every length up to twice that size.
template <size_t N>
[[gnu::always_inline]] inline void Move(char* to, const char* from) {
  char block[N];
  std::memcpy(block, from, N);
  std::memcpy(to, block, N);
}

[[gnu::always_inline]] inline void SmallCopy(char* to, const char* from, size_t n) {
  if (n >= 16) {
    std::memcpy(to, from, n);
  } else if (n >= 8) {
    Move<8>(to, from);
    Move<8>(to + n - 8, from + n - 8);
  } else if (n >= 4) {
    Move<4>(to, from);
    Move<4>(to + n - 4, from + n - 4);
  } else if (n >= 2) {
    Move<2>(to, from);
    Move<2>(to + n - 2, from + n - 2);
  } else if (n == 1) {
    *to = *from;
  }
}

// The fill pattern stays in a register: reading it back from memory at an odd offset would stall.
[[gnu::always_inline]] inline char* SmallFill(char* to, char c, size_t n) {
  const std::uint64_t pattern = 0x0101010101010101ull * static_cast<unsigned char>(c);
  if (n > 16) {
    return std::fill_n(to, n, c);
  } else if (n >= 8) {
    std::memcpy(to, &pattern, 8);
    std::memcpy(to + n - 8, &pattern, 8);
  } else if (n >= 4) {
    std::memcpy(to, &pattern, 4);
    std::memcpy(to + n - 4, &pattern, 4);
  } else {
    for (size_t i = 0; i < n; ++i) to[i] = c;
  }
  return to + n;
}

// The usual steps of a trace message, written straight into the buffer when their whole text fits;
// false leaves the step (and the rest) to the general run. Each case writes what that run would.
bool FastStep(const detail::FormatStep& step, std::string_view format, std::span<const FormatArg> args,
              size_t& next, char* out, size_t& len, size_t capacity) {
  const size_t room = capacity - len;
  switch (step.kind) {
    case Step::Kind::Literal:
    case Step::Kind::Unknown: {
      const size_t n = step.to - step.from;
      if (n > room) return false;
      SmallCopy(out + len, format.data() + step.from, n);
      len += n;
      return true;
    }
    case Step::Kind::Percent:
      if (room == 0) return false;
      out[len++] = '%';
      return true;
    case Step::Kind::Conversion:
      break;
  }
  if (next >= args.size()) return true;  // a missing argument prints nothing
  const FormatArg& a = args[next];
  const Directive& s = step.directive;
  if ((s.conv == 's' || s.conv == 'S') && a.kind() == FormatArg::Kind::Narrow && a.narrow() != nullptr &&
      s.width == 0 && s.precision < 0) {
    const size_t n = strnlen(a.narrow(), room + 1);
    if (n > room) return false;
    SmallCopy(out + len, a.narrow(), n);
    len += n;
    ++next;
    return true;
  }
  const bool integer = a.kind() == FormatArg::Kind::Signed || a.kind() == FormatArg::Kind::Unsigned;
  const bool plain = !s.left && !s.plus && !s.space && !s.alt && s.precision < 0;
  if (!integer || !plain) return false;
  const bool isSigned = s.conv == 'd' || s.conv == 'i';
  if (!isSigned && s.conv != 'u' && s.conv != 'x' && s.conv != 'X') return false;
  // As PutInteger reads it: cut to the conversion's size, sign-extended for %d and %i.
  const std::uint64_t mask = s.bits >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << s.bits) - 1;
  std::uint64_t value = a.asUnsigned() & mask;
  if (isSigned && s.bits < 64 && (value >> (s.bits - 1)) != 0) value |= ~mask;
  const bool negative = isSigned && static_cast<std::int64_t>(value) < 0;
  if (negative) value = 0 - value;
  // The digits are counted first and then written in place, last to first.
  const bool hex = s.conv == 'x' || s.conv == 'X';
  size_t digits = 1;
  if (hex) {
    digits = value == 0 ? 1 : (static_cast<size_t>(std::bit_width(value)) + 3) / 4;
  } else {
    for (std::uint64_t v = value; v >= 10; v /= 10) ++digits;
  }
  const size_t body = digits + (negative ? 1 : 0);
  const size_t pad = s.width > body ? s.width - body : 0;
  if (pad + body > room) return false;
  char* at = out + len;
  if (!s.zero) at = SmallFill(at, ' ', pad);
  if (negative) *at++ = '-';
  if (s.zero) at = SmallFill(at, '0', pad);
  char* digit = at + digits;
  if (hex) {
    const char* set = s.conv == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    do *--digit = set[value & 15]; while ((value >>= 4) != 0);
  } else {
    do *--digit = static_cast<char>('0' + value % 10); while ((value /= 10) != 0);
  }
  len = static_cast<size_t>(at - out) + digits;
  ++next;
  return true;
}

}  // namespace

size_t ParsedFormat::FormatTo(char* buffer, size_t capacity, std::span<const FormatArg> args) const {
  if (!m_compiled) return FormatNarrowToV(buffer, capacity, m_format, args);
  size_t len = 0, next = 0, step = 0;
  while (step < m_steps.size() && FastStep(m_steps[step], m_format, args, next, buffer, len, capacity)) ++step;
  if (step == m_steps.size()) return len;
  const std::span<const Step> rest(m_steps.data() + step, m_steps.size() - step);
  return Formatter<char>(m_format, args, Sink<char>(buffer, capacity, len)).Run(rest, next).size();
}

}  // namespace vx

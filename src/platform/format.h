// printf-style formatting with the Windows (LLP64) conventions of the trace vocabulary, identical on
// every platform: "%d", "%u", "%lu", "%x", "%X", "%08X", "%8.8x", "%02d", "%c", "%s", "%hs", "%ls",
// "%S", "%p", "%I64X", "%016I64X", "%llu", "%%" ...
//
// Arguments are typed (no C varargs), so a string argument is printed whatever its width, but an
// integer is cut to the size its conversion names, exactly as the C runtime would read it:
// no size prefix, "l" and "I32" read 32 bits; "h" 16; "hh" 8; "ll", "I64", "I", "z", "j", "t" 64.
// "%d"/"%i" sign-extend what they read; "%u", "%x", "%X", "%o" do not.
// A missing argument formats as nothing; an unknown conversion is copied as it stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vx {

namespace detail {
template <class T, bool = std::is_enum_v<T>>
struct IntegerOf {
  using type = T;
};
template <class T>
struct IntegerOf<T, true> {
  using type = std::underlying_type_t<T>;
};

// One parsed conversion: "%[flags][width][.precision][size]letter".
struct Directive {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alt = false;
  bool zero = false;
  size_t width = 0;
  int precision = -1;  // -1: none given
  int bits = 32;       // how much of an integer argument is read
  char conv = 0;
};

// A piece of a parsed format: literal text, "%%", a conversion, or text that only looks like one.
struct FormatStep {
  enum class Kind : std::uint8_t { Literal, Percent, Conversion, Unknown };
  Kind kind = Kind::Literal;
  std::uint32_t from = 0, to = 0;  // its text in the format
  Directive directive;
};
}  // namespace detail

class FormatArg {
 public:
  enum class Kind { Signed, Unsigned, Narrow, Utf16, Wide, Pointer, Double };

  template <class T>
    requires(std::is_integral_v<T> || std::is_enum_v<T>)
  FormatArg(T value) {  // NOLINT(google-explicit-constructor)
    using U = typename detail::IntegerOf<T>::type;
    if constexpr (std::is_signed_v<U>) {
      kind_ = Kind::Signed;
      i_ = static_cast<std::int64_t>(static_cast<U>(value));
    } else {
      kind_ = Kind::Unsigned;
      u_ = static_cast<std::uint64_t>(static_cast<U>(value));
    }
  }
  FormatArg(double value) : kind_(Kind::Double), d_(value) {}                     // NOLINT
  FormatArg(const char* s) : kind_(Kind::Narrow), s_(s) {}                        // NOLINT
  FormatArg(char* s) : kind_(Kind::Narrow), s_(s) {}                              // NOLINT
  FormatArg(const char16_t* s) : kind_(Kind::Utf16), s16_(s) {}                   // NOLINT
  FormatArg(char16_t* s) : kind_(Kind::Utf16), s16_(s) {}                         // NOLINT
  FormatArg(const wchar_t* s) : kind_(Kind::Wide), ws_(s) {}                      // NOLINT
  FormatArg(wchar_t* s) : kind_(Kind::Wide), ws_(s) {}                            // NOLINT
  FormatArg(const std::string& s) : FormatArg(s.c_str()) {}                      // NOLINT
  FormatArg(const std::u16string& s) : FormatArg(s.c_str()) {}                   // NOLINT
  FormatArg(std::nullptr_t) : kind_(Kind::Pointer), u_(0) {}                      // NOLINT
  FormatArg(const void* p) : kind_(Kind::Pointer), u_(reinterpret_cast<std::uintptr_t>(p)) {}  // NOLINT

  Kind kind() const { return kind_; }
  std::int64_t asSigned() const { return kind_ == Kind::Signed ? i_ : static_cast<std::int64_t>(u_); }
  std::uint64_t asUnsigned() const { return kind_ == Kind::Signed ? static_cast<std::uint64_t>(i_) : u_; }
  double asDouble() const { return d_; }
  const char* narrow() const { return s_; }
  const char16_t* utf16() const { return s16_; }
  const wchar_t* wide() const { return ws_; }

 private:
  Kind kind_;
  union {
    std::int64_t i_;
    std::uint64_t u_;
    double d_;
    const char* s_;
    const char16_t* s16_;
    const wchar_t* ws_;
  };
};

// Formats into at most maxChars code units (the output is cut there, as _vsnwprintf would cut it).
// Narrow output is UTF-8 (string arguments in UTF-16 are converted).
std::u16string FormatV(std::u16string_view format, std::span<const FormatArg> args, size_t maxChars = SIZE_MAX);
std::string FormatNarrowV(std::string_view format, std::span<const FormatArg> args, size_t maxChars = SIZE_MAX);

// Formats into the caller's buffer (no allocation for the usual conversions); returns the length
// written, at most capacity. No terminating NUL is added.
size_t FormatNarrowToV(char* buffer, size_t capacity, std::string_view format, std::span<const FormatArg> args);

// A narrow format parsed once, for formats used again and again (trace messages). FormatTo gives
// exactly what FormatNarrowToV gives with the same format; a format with a width or precision taken
// from an argument ('*') is parsed at every call, as there.
class ParsedFormat {
 public:
  explicit ParsedFormat(std::string_view format);
  std::string_view Text() const { return m_format; }
  size_t FormatTo(char* buffer, size_t capacity, std::span<const FormatArg> args) const;

 private:
  std::string m_format;
  std::vector<detail::FormatStep> m_steps;
  bool m_compiled = false;
};

template <class... A>
std::u16string Format(std::u16string_view format, const A&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg(0)};
  return FormatV(format, std::span<const FormatArg>(list, sizeof...(A)));
}

template <class... A>
std::string FormatNarrow(std::string_view format, const A&... args) {
  const FormatArg list[] = {FormatArg(args)..., FormatArg(0)};
  return FormatNarrowV(format, std::span<const FormatArg>(list, sizeof...(A)));
}

}  // namespace vx

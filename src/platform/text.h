// UTF-16 text helpers for the core. Text is std::u16string everywhere it crosses a boundary;
// on Windows it is handed to the API by reinterpreting (same size and encoding), never by copying.
#pragma once

#include <string>
#include <string_view>

#include "platform/wintypes.h"

namespace vx {

// UTF-8 <-> UTF-16. Invalid sequences become U+FFFD; nothing throws but std::bad_alloc.
std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

// One character at a time. A surrogate or a value past U+10FFFF is written as U+FFFD.
size_t EncodeUtf8(char32_t cp, char out[4]);      // returns the bytes written
size_t EncodeUtf16(char32_t cp, char16_t out[2]);  // returns the units written
// Length of the UTF-8 sequence a lead byte announces; 0 for a byte that cannot start one.
size_t Utf8SequenceLength(unsigned char lead);

// Cuts UTF-8 text to at most maxBytes without splitting a character.
std::string_view TruncateUtf8(std::string_view text, size_t maxBytes);

// Upper-case mapping used for case-insensitive names (registry names, module names):
// ASCII, Latin-1, Greek and Cyrillic letters, which is what the names of this system use.
char16_t ToUpperInvariant(char16_t c);
bool EqualsIgnoreCase(std::u16string_view a, std::u16string_view b);
int CompareIgnoreCase(std::u16string_view a, std::u16string_view b);

// For the plain-text files the system reads (gpt.ini, fixtures): ASCII letters only, and the text
// without the spaces and tabs around it.
bool EqualsIgnoreCaseAscii(std::string_view a, std::string_view b);
std::string_view TrimBlanks(std::string_view text);

// Parts of a path in the manner of _wsplitpath: drive ("C:"), directory (with its trailing
// separator), file name without extension, extension (with its dot). Both "\" and "/" separate.
struct PathParts {
  std::u16string drive;
  std::u16string dir;
  std::u16string name;
  std::u16string ext;
};
PathParts SplitPath(std::u16string_view path);

// The part after the last "\" or "/" (the whole text when there is none).
std::u16string_view FileNamePart(std::u16string_view path);
std::string_view FileNamePart(std::string_view path);

// ASCII-only literal to UTF-16 (for fixed texts such as registry names).
std::u16string Widen(std::string_view ascii);

#if defined(_WIN32)
inline const wchar_t* AsWide(const char16_t* s) { return reinterpret_cast<const wchar_t*>(s); }
inline wchar_t* AsWide(char16_t* s) { return reinterpret_cast<wchar_t*>(s); }
inline const char16_t* AsU16(const wchar_t* s) { return reinterpret_cast<const char16_t*>(s); }
inline char16_t* AsU16(wchar_t* s) { return reinterpret_cast<char16_t*>(s); }
inline const wchar_t* AsWide(const std::u16string& s) { return AsWide(s.c_str()); }
#endif

}  // namespace vx

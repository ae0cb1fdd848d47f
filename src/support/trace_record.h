// The trace file's record layout, shared by the writer and the reader.
// After the plain-text header, a file is a sequence of records, little-endian and packed:
//   offset 0  4 bytes  thread id of the writer
//   offset 4  1 byte   kind (one ASCII letter, below)
//   offset 5  2 bytes  length n of the text in bytes
//   offset 7  n bytes  the text, no terminating NUL, enciphered (trace_cipher.h)
#pragma once

#include <cstddef>
#include <cstdint>

namespace VXTraceNS {

inline constexpr std::size_t kRecordHeadSize = 7;

enum class RecordKind : char {
  Enter = '>',    // the scope's function name
  Exit = '<',     // no text
  Message = 'U',  // formatted message, UTF-8
  Result = 'E',   // "%d %s": HRESULT as signed decimal, a blank, the text
  Date = 't',     // "%02d/%02d/%02d": month, day, year modulo 100
  Time = 'T',     // "%02d:%02d:%02d.%03d"
  NewRun = 'N',   // "%02d-%02d-%02d": month, day, four-digit year; opening a file that has content
};

inline constexpr std::size_t kMaxNameChars = 99;       // scope names are cut to this
inline constexpr std::size_t kMaxMessageBytes = 399;   // 'U' texts
inline constexpr std::size_t kMaxResultBytes = 260;    // 'E' texts
inline constexpr std::size_t kMaxMessageChars = 400;   // formatting buffer of a message, UTF-16 units

inline constexpr const char* kHeaderMagic = "trace3";  // first header line
inline constexpr const char* kHeaderEnd = ".";         // last header line

inline bool IsKnownRecordKind(char kind) {
  switch (static_cast<RecordKind>(kind)) {
    case RecordKind::Enter:
    case RecordKind::Exit:
    case RecordKind::Message:
    case RecordKind::Result:
    case RecordKind::Date:
    case RecordKind::Time:
    case RecordKind::NewRun:
      return true;
  }
  return false;
}

}  // namespace VXTraceNS

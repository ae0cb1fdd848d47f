// Reading trace files: a parser over bytes and a printer of what it read.
// The parser never reads past the end of its input, never loops without consuming bytes, and on a
// fault stops with the byte offset and a message, keeping everything it read before the fault.
// The file format is described in docs/trace-format.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vxtrace {

// Explicit limits of the header: the facility writes a dozen short lines.
inline constexpr std::size_t kMaxHeaderLines = 1024;
inline constexpr std::size_t kMaxHeaderLineBytes = 4096;  // without CR LF

struct TraceRecord {
  std::size_t offset = 0;  // byte offset of the record head in the file
  std::uint32_t threadId = 0;
  char kind = 0;
  std::string text;  // deciphered, as it stands (normally UTF-8)
};

struct TraceFault {
  std::size_t offset = 0;  // start of the header line or record at fault
  std::string message;     // names the byte offset and what was expected
};

struct TraceFile {
  std::vector<std::string> header;  // from "trace3" to "." inclusive, without CR LF
  std::size_t recordsOffset = 0;    // byte offset of the first record
  std::vector<TraceRecord> records;
  std::optional<TraceFault> fault;  // empty when the file was read completely
};

// A cursor over the bytes of one file, for readers that print as they go.
class TraceReader {
 public:
  explicit TraceReader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  // Reads the header lines; false on a fault. Must be called once, before Next.
  bool ReadHeader(std::vector<std::string>& lines);
  // Reads the next record; false at the end of the file or on a fault.
  bool Next(TraceRecord& record);

  const std::optional<TraceFault>& fault() const { return m_fault; }
  std::size_t offset() const { return m_at; }

 private:
  bool Fail(std::size_t offset, std::string message);

  std::span<const std::uint8_t> m_bytes;
  std::size_t m_at = 0;
  bool m_headerRead = false;
  std::optional<TraceFault> m_fault;
};

// Reads a whole file held in memory.
TraceFile ParseTraceFile(std::span<const std::uint8_t> bytes);

// One line per record:
//   DATE     TIME         THREAD   K TEXT
//   03/14/25 10:22:01.123 00001A2C > CGPOAuthPolicy::Save
// Date and time are those in force (latest 't' and 'T' records, "--" until the first); the thread
// id is 8 hexadecimal digits; the text is indented two blanks per scope depth of its thread.
// 't' and 'T' records print no line; an 'N' record prints a separator line with its date.
class TracePrinter {
 public:
  static constexpr std::size_t kMaxIndentLevels = 40;  // deeper scopes also show their depth
  // Threads with open scopes that are followed; a '>' of any further thread prints unindented.
  static constexpr std::size_t kMaxTrackedThreads = 65536;

  void PrintHeaderLine(std::string_view line, std::string& out) const;
  void PrintRecord(const TraceRecord& record, std::string& out);  // appends at most one line
  std::uint64_t Depth(std::uint32_t threadId) const;

 private:
  std::string m_date;
  std::string m_time;
  std::unordered_map<std::uint32_t, std::uint64_t> m_depth;
};

struct PrintOptions {
  bool header = true;   // print the header lines first
  bool records = true;  // print the records
};

std::string PrintTraceFile(const TraceFile& file, const PrintOptions& options = {});

// Appends text with control characters and bytes that are not UTF-8 escaped, so it stays one line:
// "\t", "\r", "\n", "\xNN" for other C0 controls, DEL and stray bytes, "\uNNNN" for C1 controls
// and the Unicode line and paragraph separators. A backslash stays as it is: Windows paths are common
// in traces and read better unchanged.
void AppendEscaped(std::string_view text, std::string& out);

}  // namespace vxtrace

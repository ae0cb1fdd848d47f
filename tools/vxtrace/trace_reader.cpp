#include "trace_reader.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "support/trace_cipher.h"
#include "support/trace_record.h"

namespace vxtrace {

namespace {

using VXTraceNS::kRecordHeadSize;
using VXTraceNS::RecordKind;

std::string At(std::size_t offset) { return " at byte offset " + std::to_string(offset); }

std::string Hex2(std::uint8_t b) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "0x%02X", b);
  return buffer;
}

bool IsHeaderText(std::uint8_t b) { return b >= 0x20 ? b != 0x7F : b == '\t'; }

std::uint32_t ReadU32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

std::uint16_t ReadU16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); }

}  // namespace

bool TraceReader::Fail(std::size_t offset, std::string message) {
  m_fault = TraceFault{offset, std::move(message)};
  return false;
}

bool TraceReader::ReadHeader(std::vector<std::string>& lines) {
  if (m_fault || m_headerRead) return false;
  m_headerRead = true;
  const std::string_view magic = VXTraceNS::kHeaderMagic;
  const std::size_t size = m_bytes.size();
  if (size < magic.size() || !std::equal(magic.begin(), magic.end(), m_bytes.begin()))
    return Fail(0, "file does not start with \"" + std::string(magic) + "\"" + At(0) +
                       (size == 0 ? ": the file is empty" : ""));

  // Each pass takes one line; every pass consumes at least its CR LF, and the line count is bounded.
  for (std::size_t count = 0;; ++count) {
    const std::size_t start = m_at;
    if (count == kMaxHeaderLines)
      return Fail(start, "header has no \".\" line within " + std::to_string(kMaxHeaderLines) + " lines" +
                             At(start));
    if (start == size) return Fail(start, "header has no \".\" line: the file ends" + At(start));

    // Room for the longest line and its CR.
    const std::size_t limit = start + std::min(size - start, kMaxHeaderLineBytes + 1);
    std::size_t end = start;
    while (end < limit && IsHeaderText(m_bytes[end])) ++end;

    if (end - start > kMaxHeaderLineBytes)
      return Fail(start, "header line not terminated by CR LF within " + std::to_string(kMaxHeaderLineBytes) +
                             " bytes" + At(start));
    if (end == size)
      return Fail(start, "header line not terminated by CR LF" + At(start) + ": the file ends after " +
                             std::to_string(end - start) + " bytes of it");
    const std::uint8_t stop = m_bytes[end];
    if (stop == '\r' && end + 1 < size && m_bytes[end + 1] == '\n') {
      if (count == 0 && end != start + magic.size())
        return Fail(start, "header line not terminated by CR LF" + At(start) + ": \"" + std::string(magic) +
                               "\" must be followed by CR LF");
      lines.emplace_back(reinterpret_cast<const char*>(m_bytes.data() + start), end - start);
      m_at = end + 2;
      if (lines.back() == VXTraceNS::kHeaderEnd) return true;
      continue;
    }
    if (stop == '\r' || stop == '\n')
      return Fail(start, "header line not terminated by CR LF" + At(start) + ": " +
                             (stop == '\n' ? "LF without CR" : "CR not followed by LF") + " at byte offset " +
                             std::to_string(end));
    return Fail(start, "header has no \".\" line: binary data in the line" + At(start) + " (byte " +
                           Hex2(stop) + " at byte offset " + std::to_string(end) + ")");
  }
}

bool TraceReader::Next(TraceRecord& record) {
  if (m_fault || !m_headerRead) return false;
  const std::size_t size = m_bytes.size();
  const std::size_t start = m_at;
  if (start == size) return false;

  const std::size_t left = size - start;
  if (left < kRecordHeadSize)
    return Fail(start, "truncated record head" + At(start) + ": " + std::to_string(left) + " of " +
                           std::to_string(kRecordHeadSize) + " bytes");
  const std::uint8_t* head = m_bytes.data() + start;
  const char kind = static_cast<char>(head[4]);
  if (!VXTraceNS::IsKnownRecordKind(kind))
    return Fail(start, "unknown record kind " + Hex2(head[4]) + At(start));
  const std::size_t length = ReadU16(head + 5);
  if (length > left - kRecordHeadSize)
    return Fail(start, "record text runs past the end of the file" + At(start) + ": " + std::to_string(length) +
                           " bytes announced, " + std::to_string(left - kRecordHeadSize) + " present");

  record.offset = start;
  record.threadId = ReadU32(head);
  record.kind = kind;
  record.text.assign(reinterpret_cast<const char*>(head + kRecordHeadSize), length);
  VXTraceNS::TraceCipher().Apply(reinterpret_cast<std::uint8_t*>(record.text.data()), length);
  m_at = start + kRecordHeadSize + length;
  return true;
}

TraceFile ParseTraceFile(std::span<const std::uint8_t> bytes) {
  TraceFile file;
  TraceReader reader(bytes);
  if (reader.ReadHeader(file.header)) {
    file.recordsOffset = reader.offset();
    TraceRecord record;
    while (reader.Next(record)) file.records.push_back(std::move(record));
  }
  file.fault = reader.fault();
  return file;
}

void AppendEscaped(std::string_view text, std::string& out) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const auto escapeByte = [&](std::uint8_t b) {
    out += "\\x";
    out += kHex[b >> 4];
    out += kHex[b & 0xF];
  };
  const auto* p = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::size_t size = text.size();
  std::size_t i = 0;
  while (i < size) {
    const std::uint8_t b = p[i];
    if (b < 0x80) {
      switch (b) {
        case '\t': out += "\\t"; break;
        case '\r': out += "\\r"; break;
        case '\n': out += "\\n"; break;
        default:
          if (b < 0x20 || b == 0x7F)
            escapeByte(b);
          else
            out += static_cast<char>(b);
      }
      ++i;
      continue;
    }
    // A well-formed UTF-8 sequence: its length and the range of its second byte (no overlong forms,
    // no surrogates, nothing above U+10FFFF).
    std::size_t length = 0;
    std::uint8_t low = 0x80, high = 0xBF;
    if (b >= 0xC2 && b <= 0xDF) {
      length = 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
      length = 3;
      if (b == 0xE0) low = 0xA0;
      if (b == 0xED) high = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
      length = 4;
      if (b == 0xF0) low = 0x90;
      if (b == 0xF4) high = 0x8F;
    }
    bool valid = length != 0 && size - i >= length && p[i + 1] >= low && p[i + 1] <= high;
    for (std::size_t k = 2; valid && k < length; ++k) valid = p[i + k] >= 0x80 && p[i + k] <= 0xBF;
    if (!valid) {
      escapeByte(b);
      ++i;
      continue;
    }
    std::uint32_t code = b & (0x7F >> length);
    for (std::size_t k = 1; k < length; ++k) code = code << 6 | (p[i + k] & 0x3F);
    if (code <= 0x9F || code == 0x2028 || code == 0x2029) {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\u%04X", static_cast<unsigned>(code));
      out += buffer;
    } else {
      out.append(text.substr(i, length));
    }
    i += length;
  }
}

void TracePrinter::PrintHeaderLine(std::string_view line, std::string& out) const {
  AppendEscaped(line, out);
  out += '\n';
}

std::uint64_t TracePrinter::Depth(std::uint32_t threadId) const {
  const auto found = m_depth.find(threadId);
  return found == m_depth.end() ? 0 : found->second;
}

void TracePrinter::PrintRecord(const TraceRecord& record, std::string& out) {
  switch (static_cast<RecordKind>(record.kind)) {
    case RecordKind::Date:
      m_date = record.text;
      return;
    case RecordKind::Time:
      m_time = record.text;
      return;
    case RecordKind::NewRun:
      // A new process appended to the file: nothing of the previous run is in force any more.
      m_date.clear();
      m_time.clear();
      m_depth.clear();
      out += "======== new run ";
      AppendEscaped(record.text, out);
      out += " ========\n";
      return;
    default:
      break;
  }

  std::uint64_t shown = Depth(record.threadId);
  if (record.kind == static_cast<char>(RecordKind::Exit) && shown > 0) {
    shown -= 1;
    if (shown == 0)
      m_depth.erase(record.threadId);
    else
      m_depth[record.threadId] = shown;
  } else if (record.kind == static_cast<char>(RecordKind::Enter) &&
             (shown > 0 || m_depth.size() < kMaxTrackedThreads)) {
    m_depth[record.threadId] = shown + 1;
  }

  const auto column = [&out](std::string_view text, std::string_view unknown, std::size_t width) {
    const std::size_t before = out.size();
    AppendEscaped(text.empty() ? unknown : text, out);
    const std::size_t used = out.size() - before;
    if (used < width) out.append(width - used, ' ');
    out += ' ';
  };
  column(m_date, "--/--/--", 8);
  column(m_time, "--:--:--.---", 12);
  char thread[16];
  std::snprintf(thread, sizeof thread, "%08X ", static_cast<unsigned>(record.threadId));
  out += thread;
  AppendEscaped(std::string_view(&record.kind, 1), out);
  if (!record.text.empty()) {
    out += ' ';
    out.append(2 * static_cast<std::size_t>(std::min<std::uint64_t>(shown, kMaxIndentLevels)), ' ');
    if (shown > kMaxIndentLevels) out += "[" + std::to_string(shown) + "] ";
    AppendEscaped(record.text, out);
  }
  out += '\n';
}

std::string PrintTraceFile(const TraceFile& file, const PrintOptions& options) {
  std::string out;
  TracePrinter printer;
  if (options.header)
    for (const std::string& line : file.header) printer.PrintHeaderLine(line, out);
  if (options.records)
    for (const TraceRecord& record : file.records) printer.PrintRecord(record, out);
  return out;
}

}  // namespace vxtrace

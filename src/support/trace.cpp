// The trace facility's records: enter, exit, message, result, and the date and time in front of them.
#include "support/trace.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "platform/text.h"
#include "support/trace_writer.h"

namespace VXTraceNS {

std::atomic<CTraceFacility*> g_pFacility{nullptr};
std::atomic<DWORD> g_currentSettings{0};

void Install(CTraceFacility* facility) {
  if (facility) {
    facility->MakeCurrent();
    return;
  }
  g_pFacility.store(nullptr, std::memory_order_release);
  g_currentSettings.store(0);
}

// Under the trace lock, as a reload publishes its word, so that the copy cannot fall behind.
void CTraceFacility::MakeCurrent() {
  std::lock_guard lock(m_lock);
  g_pFacility.store(this, std::memory_order_release);
  g_currentSettings.store(m_settings.load());
}

namespace {

// The message format, ready for the formatter: at most 400 UTF-16 units (else nothing is written), and
// each "%s" made "%hs" (then, when no "%s" is left, each "%c" made "%hc") while it stays in bounds, so
// that narrow string and character arguments stay narrow. Works on the UTF-8 text directly: the units
// are counted as the widened format would have them. A format that needs no change is used in place.
constexpr size_t kMaxFormatBytes = 4 * kMaxMessageChars;
constexpr std::string_view kDropped{};

size_t Utf16Units(const char* text, size_t bytes) {
  size_t units = 0;
  for (size_t i = 0; i < bytes; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if ((c & 0xC0) != 0x80) units += c >= 0xF0 ? 2 : 1;
  }
  return units;
}

std::string_view PrepareFormat(const char* format, char* out) {
  const size_t bytes = std::strlen(format);
  if (bytes > kMaxFormatBytes) return kDropped;
  const size_t units = bytes <= kMaxMessageChars ? bytes : Utf16Units(format, bytes);  // units <= bytes
  if (units > kMaxMessageChars) return kDropped;
  // Positions of the letters that get the prefix: every "%s" first, then every "%c", while in bounds.
  // Each "%s" or "%c" is two units of at most 400, so 200 of each fit; positions are below 1600.
  std::uint16_t strings[kMaxMessageChars / 2], characters[kMaxMessageChars / 2];
  size_t stringCount = 0, characterCount = 0;
  for (size_t i = 0; i + 1 < bytes; ++i) {
    if (format[i] != '%') continue;
    if (format[i + 1] == 's') strings[stringCount++] = static_cast<std::uint16_t>(i + 1);
    else if (format[i + 1] == 'c') characters[characterCount++] = static_cast<std::uint16_t>(i + 1);
  }
  if (stringCount + characterCount == 0) return {format, bytes};
  const size_t room = kMaxMessageChars - units;
  stringCount = std::min(stringCount, room);
  characterCount = std::min(characterCount, room - stringCount);
  std::uint16_t insert[kMaxMessageChars];
  const size_t count = static_cast<size_t>(
      std::merge(strings, strings + stringCount, characters, characters + characterCount, insert) - insert);
  // Formats are short and the runs between insertions shorter: a plain copy loop is cheapest.
  size_t to = 0;
  for (size_t from = 0, next = 0; from < bytes; ++from) {
    if (next < count && insert[next] == from) {
      out[to++] = 'h';
      ++next;
    }
    out[to++] = format[from];
  }
  return {out, to};
}

}  // namespace

// The message formats seen so far, each prepared and parsed once. Keyed by the format's address, as
// formats are nearly always literals; the text is compared as well, so a buffer that is reused with
// other text is never mistaken for the format it held before. Guarded by the trace lock.
class CMessageFormats {
 public:
  // The ready format; null when the format does not fit and its message is dropped.
  const vx::ParsedFormat* Find(const char* format) {
    const auto address = reinterpret_cast<std::uintptr_t>(format);
    Entry& entry = m_entries[(address ^ (address >> 7) ^ (address >> 13)) % kSlots];
    if (entry.key != format || std::strcmp(format, entry.text.c_str()) != 0) {
      char prepared[kMaxFormatBytes + kMaxMessageChars];
      const std::string_view ready = PrepareFormat(format, prepared);
      entry.key = nullptr;  // stays unused if what follows throws
      entry.text = format;
      entry.ready.reset();
      if (ready.data() != nullptr) entry.ready.emplace(ready);
      entry.key = format;
    }
    return entry.ready ? &*entry.ready : nullptr;
  }

 private:
  static constexpr size_t kSlots = 64;
  struct Entry {
    const char* key = nullptr;
    std::string text;
    std::optional<vx::ParsedFormat> ready;
  };
  std::array<Entry, kSlots> m_entries;
};

namespace {

bool SameDate(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  return a.wYear == b.wYear && a.wMonth == b.wMonth && a.wDay == b.wDay;
}

bool SameTime(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  return a.wHour == b.wHour && a.wMinute == b.wMinute && a.wSecond == b.wSecond &&
         a.wMilliseconds == b.wMilliseconds;
}

}  // namespace

CTraceFacility::CTraceFacility(const TracePorts& ports) : m_ports(ports), m_tick(ports.clock.TickSource()) {
  try {
    m_moduleName = vx::SplitPath(m_ports.process.ModulePath()).name;
    m_processMutex = m_ports.process.CreateNamedMutex(vx::Format(u"%u", m_ports.process.ProcessId()));
  } catch (...) {
    // Without a module name the component filter simply matches nothing.
  }
}

CTraceFacility::~CTraceFacility() {
  if (CurrentFacility() == this) Install(nullptr);
}

DWORD CTraceFacility::SessionId() {
  if (!m_haveSessionId) {
    m_sessionId = m_ports.process.SessionId();
    m_haveSessionId = true;
  }
  return m_sessionId;
}

LONG CTraceFacility::Verbosity() {
  std::lock_guard lock(m_lock);
  return m_verbosity;
}

bool CTraceFacility::ComponentEnabled() {
  std::lock_guard lock(m_lock);
  return m_componentEnabled;
}

COutput& CTraceFacility::Output() {
  std::lock_guard lock(m_lock);
  if (!m_output) m_output = MakeOutput();
  return *m_output;
}

void CTraceFacility::WriteRecord(CTraceScope& scope, RecordKind kind, const void* text, size_t size) {
  if (!m_output) m_output = MakeOutput();
  BYTE record[kRecordHeadSize + kMaxRecordText];
  const DWORD recordSize = ComposeRecord(record, m_ports.process.CurrentThreadId(), kind, text, size);
  m_output->Write(record, recordSize, scope);
}

void CTraceFacility::WriteDateTime(CTraceScope& scope) {
  const SYSTEMTIME now = m_ports.clock.GetLocalTime();
  char text[32];
  const bool newDate = !SameDate(now, m_lastDate);
  if (newDate) {
    const int n = std::snprintf(text, sizeof text, "%02d/%02d/%02d", now.wMonth, now.wDay, now.wYear % 100);
    WriteRecord(scope, RecordKind::Date, text, static_cast<size_t>(n));
  }
  if (newDate || !SameTime(now, m_lastTime)) {
    const int n = std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", now.wHour, now.wMinute, now.wSecond,
                                now.wMilliseconds);
    WriteRecord(scope, RecordKind::Time, text, static_cast<size_t>(n));
  }
  m_lastDate = now;
  m_lastTime = now;
}

void CTraceFacility::EnterRecord(CTraceScope& scope, const char* name) {
  try {
    std::lock_guard lock(m_lock);
    if (!name) name = "????";
    const size_t length = strnlen(name, kMaxNameChars);
    std::memcpy(scope.m_name, name, length);
    scope.m_name[length] = '\0';
    scope.m_level = 0;
    if (!m_componentEnabled || m_verbosity < 0) return;
    WriteDateTime(scope);
    WriteRecord(scope, RecordKind::Enter, scope.m_name, length);
  } catch (...) {
  }
}

void CTraceFacility::ExitRecord(CTraceScope& scope) {
  try {
    std::lock_guard lock(m_lock);
    if (!m_componentEnabled || m_verbosity < std::abs(scope.m_level)) return;
    WriteDateTime(scope);
    WriteRecord(scope, RecordKind::Exit, nullptr, 0);
  } catch (...) {
  }
}

void CTraceFacility::Message(CTraceScope& scope, const char* format, std::span<const vx::FormatArg> args) {
  try {
    std::lock_guard lock(m_lock);
    if (!m_componentEnabled || m_verbosity < std::abs(scope.m_level)) return;
    // Formatted on the stack, straight into the record: no allocation, no copy on the way to the file.
    BYTE record[kRecordHeadSize + kMaxRecordText];
    char* text = reinterpret_cast<char*>(record + kRecordHeadSize);
    size_t length = 0;
    if (format && *format) {
      if (!m_formats) m_formats = std::make_unique<CMessageFormats>();
      const vx::ParsedFormat* ready = m_formats->Find(format);
      if (ready == nullptr) return;  // the format does not fit: nothing is written
      length = ready->FormatTo(text, kMaxMessageBytes, args);
    }
    WriteDateTime(scope);
    if (!m_output) m_output = MakeOutput();
    const DWORD size = ComposeRecord(record, m_ports.process.CurrentThreadId(), RecordKind::Message, text, length);
    m_output->Write(record, size, scope);
  } catch (...) {
  }
}

void CTraceFacility::Result(CTraceScope& scope, const char* text, HRESULT hr) {
  if (!(m_settings.load(std::memory_order_relaxed) & kTracingOn) || !IsRecordedResult(hr)) return;
  try {
    std::lock_guard lock(m_lock);
    WriteDateTime(scope);
    char record[kMaxResultBytes];
    const vx::FormatArg args[] = {hr, text ? text : ""};
    const size_t length = vx::FormatNarrowToV(record, sizeof record, "%d %s", args);
    WriteRecord(scope, RecordKind::Result, record, length);
  } catch (...) {
  }
}

COutput& GetTraceOutput() {
  static CNoOutput none;
  CTraceFacility* facility = CurrentFacility();
  return facility ? facility->Output() : none;
}

}  // namespace VXTraceNS

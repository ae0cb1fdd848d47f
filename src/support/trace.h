// The trace facility: a per-process, per-session binary trace file of this module.
// Every public operation opens a CTraceScope named "Class::Operation", writes messages and its final
// HRESULT; the scope writes its exit record when it ends, also during unwinding. Tracing is configured
// by machine-wide registry values re-read at most every 30 seconds; nothing that goes wrong in here
// ever reaches the caller.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "platform/clock.h"
#include "platform/files.h"
#include "platform/format.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/wintypes.h"
#include "support/trace_record.h"

namespace VXTraceNS {

// Bits of the settings word.
inline constexpr DWORD kWriteToFile = 0x04;
inline constexpr DWORD kNewFileAlways = 0x08;
inline constexpr DWORD kTracingOn = 0x20;
inline constexpr DWORD kProfiling = 0x40;
inline constexpr DWORD kLogging = 0x80;
// Tracing on plus the top bit, which no computed word has: the first configuration read is a change.
inline constexpr DWORD kInitialSettings = 0x80000020;
inline constexpr DWORD kRefreshIntervalMs = 30000;

inline constexpr char16_t kConfigKey[] = u"SOFTWARE\\Vantorix\\Tracing";

class CTraceScope;
class CMessageFormats;

// Where records go. The first operation writes one record, the second is the (deleting) destructor.
class COutput {
 public:
  virtual void Write(BYTE* record, DWORD size, CTraceScope& scope) = 0;
  virtual ~COutput() = default;
};

class CNoOutput final : public COutput {
 public:
  void Write(BYTE*, DWORD, CTraceScope&) override {}
};

class CFileOutput final : public COutput {
 public:
  // Opens the file (truncating or appending) and writes the header or the 'N' record. A file that
  // cannot be opened leaves the output closed: every record is then dropped.
  CFileOutput(vx::platform::IFileSystem& files, std::u16string path, bool truncate,
              std::span<const std::string> headerLines, const SYSTEMTIME& now, DWORD threadId);
  void Write(BYTE* record, DWORD size, CTraceScope& scope) override;
  bool IsOpen() const { return m_file != nullptr; }
  const std::u16string& Path() const { return m_path; }

 private:
  std::unique_ptr<vx::platform::IFile> m_file;
  std::u16string m_path;
};

struct TracePorts {
  vx::platform::IRegistry& registry;
  vx::platform::IClock& clock;
  vx::platform::IFileSystem& files;
  vx::platform::IProcessInfo& process;
};

// The process-wide state of the facility. One instance lives from module load to unload and is made
// current with Install(); tests make their own over in-memory ports.
class CTraceFacility {
 public:
  explicit CTraceFacility(const TracePorts& ports);
  ~CTraceFacility();
  CTraceFacility(const CTraceFacility&) = delete;
  CTraceFacility& operator=(const CTraceFacility&) = delete;

  // The cheap part of every entry: one tick-count read and one bit test when tracing is off. The
  // system clock is read through a plain function, not the port's virtual call.
  void Enter(CTraceScope& scope, const char* name) {
    const DWORD tick = m_tick ? m_tick() : m_ports.clock.GetTickCount();
    if (tick > m_nextCheck.load(std::memory_order_relaxed)) [[unlikely]]
      RefreshConfiguration(tick);
    if (m_settings.load(std::memory_order_relaxed) & kTracingOn) [[unlikely]]
      EnterRecord(scope, name);
  }
  void Exit(CTraceScope& scope) {
    if (m_settings.load(std::memory_order_relaxed) & kTracingOn) ExitRecord(scope);
  }
  bool MessagesOn() const {
    return (m_settings.load(std::memory_order_relaxed) & (kTracingOn | kProfiling)) == kTracingOn;
  }
  void Message(CTraceScope& scope, const char* format, std::span<const vx::FormatArg> args);
  void Result(CTraceScope& scope, const char* text, HRESULT hr);
  COutput& Output();  // created on first use, kept for the life of the facility

  // Configuration refresh step of Enter (public for tests and for the first call at module load).
  [[gnu::noinline]] void RefreshConfiguration(DWORD tick);
  DWORD Settings() const { return m_settings.load(); }
  LONG Verbosity();
  bool ComponentEnabled();

 private:
  friend void Install(CTraceFacility* facility);
  void MakeCurrent();
  void EnterRecord(CTraceScope& scope, const char* name);
  void ExitRecord(CTraceScope& scope);
  void Reload(DWORD settings, vx::platform::IRegistryKey* config);
  void WriteDateTime(CTraceScope& scope);
  void WriteRecord(CTraceScope& scope, RecordKind kind, const void* text, size_t size);
  std::unique_ptr<COutput> MakeOutput();
  std::unique_ptr<vx::platform::IRegistryKey> OpenConfigKey();
  DWORD SessionId();

  TracePorts m_ports;
  vx::platform::IClock::TickFunction m_tick;
  std::atomic<DWORD> m_settings{kInitialSettings};
  std::atomic<DWORD> m_nextCheck{0};
  std::mutex m_lock;  // the trace lock: records, reload and output creation
  LONG m_verbosity = 0;
  bool m_componentEnabled = true;
  SYSTEMTIME m_lastDate{};
  SYSTEMTIME m_lastTime{};
  std::unique_ptr<COutput> m_output;
  DWORD m_sessionId = 0;
  bool m_haveSessionId = false;
  std::u16string m_moduleName;  // file name without directory and extension, for the component filter
  std::unique_ptr<vx::platform::IHandle> m_processMutex;
  std::unique_ptr<CMessageFormats> m_formats;  // made with the first message
};

// The current facility (null: nothing is traced).
extern std::atomic<CTraceFacility*> g_pFacility;
inline CTraceFacility* CurrentFacility() { return g_pFacility.load(std::memory_order_acquire); }
void Install(CTraceFacility* facility);
// A copy of the current facility's settings word (0 when there is none), kept with every change, so that
// the calls after a scope's entry decide with one load that they have nothing to do. The facility's own
// word stays what decides: a set bit here only leads to it.
extern std::atomic<DWORD> g_currentSettings;
inline bool MaybeOn(DWORD mask, DWORD want) {
  return (g_currentSettings.load(std::memory_order_relaxed) & mask) == want;
}

// Makes a facility current for its lifetime (module load to unload; a test's body).
class CInstalledFacility {
 public:
  explicit CInstalledFacility(const TracePorts& ports) : m_facility(ports) { Install(&m_facility); }
  ~CInstalledFacility() { Install(nullptr); }
  CTraceFacility& Facility() { return m_facility; }

 private:
  CTraceFacility m_facility;
};

class CTraceScope {
 public:
  explicit CTraceScope(const char* name);
  ~CTraceScope();
  CTraceScope(const CTraceScope&) = delete;
  CTraceScope& operator=(const CTraceScope&) = delete;

  template <class... A>
  void Message(const char* format, const A&... args);
  // The result record of the operation; returns hr so that "return scope.Result(hr);" reads well.
  HRESULT Result(HRESULT hr, const char* text = "");

  const char* Name() const { return m_name; }
  int32_t Level() const { return m_level; }

 private:
  friend class CTraceFacility;
  char m_name[kMaxNameChars + 1];
  int32_t m_level;
};

// The trace operations.
inline CTraceScope& TraceEnter(CTraceScope& scope, const char* name) {
  if (CTraceFacility* facility = CurrentFacility()) facility->Enter(scope, name);
  return scope;
}
inline void TraceExit(CTraceScope& scope) {
  if (!MaybeOn(kTracingOn, kTracingOn)) [[likely]]
    return;
  if (CTraceFacility* facility = CurrentFacility()) facility->Exit(scope);
}
template <class... A>
inline void TraceMessage(CTraceScope& scope, const char* format, const A&... args) {
  if (!MaybeOn(kTracingOn | kProfiling, kTracingOn)) [[likely]]
    return;
  CTraceFacility* facility = CurrentFacility();
  if (!facility || !facility->MessagesOn()) return;
  const vx::FormatArg list[] = {vx::FormatArg(args)..., vx::FormatArg(0)};
  facility->Message(scope, format, std::span<const vx::FormatArg>(list, sizeof...(A)));
}
// Failures, and successes of the security facility, are recorded.
inline bool IsRecordedResult(HRESULT hr) {
  return hr < 0 || (static_cast<DWORD>(hr) & 0x1FFF0000u) == 0x00090000u;
}
inline void TraceResult(CTraceScope& scope, const char* text, HRESULT hr) {
  if (!IsRecordedResult(hr)) return;  // first: a success costs no load of the facility
  CTraceFacility* facility = CurrentFacility();
  if (facility) facility->Result(scope, text, hr);
}
COutput& GetTraceOutput();

inline CTraceScope::CTraceScope(const char* name) : m_level(0) {
  m_name[0] = '\0';
  TraceEnter(*this, name);
}
inline CTraceScope::~CTraceScope() { TraceExit(*this); }
template <class... A>
inline void CTraceScope::Message(const char* format, const A&... args) {
  TraceMessage(*this, format, args...);
}
inline HRESULT CTraceScope::Result(HRESULT hr, const char* text) {
  TraceResult(*this, text, hr);
  return hr;
}

}  // namespace VXTraceNS

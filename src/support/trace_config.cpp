// Configuration of the trace facility: the settings word, reload, the component filter, the choice of
// the output object and the trace file's name.
#include "platform/format.h"
#include "platform/text.h"
#include "support/trace.h"
#include "support/trace_internal.h"

namespace VXTraceNS {

using vx::platform::IRegistryKey;

namespace {

constexpr size_t kMaxComponentName = 260;

// Enumerates the value names of a subkey of the configuration; stops at the first name for which
// visit returns true. Names longer than the enumeration buffer are skipped, as an insufficient-buffer
// answer is; any other error ends the enumeration.
template <class Visit>
void ForEachValueName(IRegistryKey* config, std::u16string_view subkey, Visit visit) {
  if (!config) return;
  std::unique_ptr<IRegistryKey> key;
  if (config->OpenKey(subkey, KEY_READ, key) != ERROR_SUCCESS) return;
  std::u16string name;
  for (DWORD index = 0;; ++index) {
    const LONG error = key->EnumValue(index, name);
    if (error == ERROR_MORE_DATA) continue;
    if (error != ERROR_SUCCESS) return;
    if (name.size() > kMaxComponentName) continue;
    if (visit(name)) return;
  }
}

}  // namespace

std::optional<DWORD> ReadConfigDword(IRegistryKey* key, std::u16string_view name) {
  DWORD value = 0;
  if (!key || vx::platform::ReadDword(*key, name, value) != ERROR_SUCCESS) return std::nullopt;
  return value;
}

std::optional<std::u16string> ReadConfigString(IRegistryKey* key, std::u16string_view name, size_t maxChars,
                                               vx::platform::IProcessInfo& process) {
  std::u16string value;
  DWORD type = REG_NONE;
  if (!key || vx::platform::ReadString(*key, name, value, &type) != ERROR_SUCCESS) return std::nullopt;
  if (type == REG_EXPAND_SZ) value = process.ExpandEnvironment(value);
  if (value.size() > maxChars) return std::nullopt;
  return value;
}

DWORD ComputeSettings(IRegistryKey* key) {
  if (!key) return 0;
  DWORD word = 0;
  const auto toFile = ReadConfigDword(key, u"TraceToFile");
  if (!toFile || *toFile == 1) word |= kWriteToFile;
  const auto newFile = ReadConfigDword(key, u"NewFileAlways");
  if (!newFile || *newFile != 0) word |= kNewFileAlways;
  if (ReadConfigDword(key, u"DoTrace").value_or(0) != 0) word |= kTracingOn;
  if (ReadConfigDword(key, u"DoLog").value_or(0) != 0) word |= kLogging;
  if (ReadConfigDword(key, u"DoProfiling").value_or(0) != 0) word |= kProfiling;
  return word;
}

bool WantsFileOutput(IRegistryKey* key) {
  const auto toFile = ReadConfigDword(key, u"TraceToFile");
  return ReadConfigDword(key, u"DoTrace").value_or(0) != 0 && (!toFile || *toFile == 1);
}

bool WantsTruncate(IRegistryKey* key) {
  const auto newFile = ReadConfigDword(key, u"NewFileAlways");
  return !newFile || *newFile != 0;
}

std::unique_ptr<IRegistryKey> CTraceFacility::OpenConfigKey() {
  using vx::platform::RegistryRoot;
  std::unique_ptr<IRegistryKey> key;
  if (m_ports.registry.OpenKey(RegistryRoot::LocalMachine, kConfigKey, KEY_READ, key) == ERROR_SUCCESS) return key;
  if (m_ports.registry.OpenKey(RegistryRoot::LocalMachine, kConfigKey, KEY_READ | KEY_WOW64_32KEY, key) ==
      ERROR_SUCCESS)
    return key;
  return nullptr;
}

void CTraceFacility::RefreshConfiguration(DWORD tick) {
  try {
    auto config = OpenConfigKey();
    const DWORD word = ComputeSettings(config.get());
    if (word != m_settings.load()) {
      std::lock_guard lock(m_lock);
      m_nextCheck.store(0);
      Reload(word, config.get());
    }
  } catch (...) {
    // Tracing never fails its caller; the next refresh tries again.
  }
  m_nextCheck.exchange(tick + kRefreshIntervalMs);
}

void CTraceFacility::Reload(DWORD settings, IRegistryKey* config) {
  m_settings.store(settings);
  if (CurrentFacility() == this) g_currentSettings.store(settings);
  m_verbosity = static_cast<LONG>(ReadConfigDword(config, u"Verbosity").value_or(0));
  m_componentEnabled = true;
  ForEachValueName(config, u"ComponentsNOT", [&](const std::u16string& name) {
    if (!vx::EqualsIgnoreCase(name, m_moduleName)) return false;
    m_componentEnabled = false;
    return true;
  });
  ForEachValueName(config, u"Components", [&](const std::u16string& name) {
    m_componentEnabled = vx::EqualsIgnoreCase(name, m_moduleName);
    return m_componentEnabled;
  });
}

std::unique_ptr<COutput> CTraceFacility::MakeOutput() {
  auto config = OpenConfigKey();
  if (!WantsFileOutput(config.get())) return std::make_unique<CNoOutput>();
  const std::u16string path = TraceFilePath(config.get(), m_ports.process, m_ports.files, SessionId());
  const SYSTEMTIME now = m_ports.clock.GetLocalTime();
  const bool truncate = WantsTruncate(config.get());
  // The header is only needed for an empty file; it is cheap next to opening one.
  const auto header = HeaderLines(m_ports.registry, m_ports.process, now);
  return std::make_unique<CFileOutput>(m_ports.files, path, truncate, header, now,
                                       m_ports.process.CurrentThreadId());
}

HRESULT CreateDirectoryPath(vx::platform::IFileSystem& files, std::u16string_view path) {
  if (path.empty()) return E_INVALIDARG;
  for (size_t start = 0; start <= path.size();) {
    size_t end = path.find(u'\\', start);
    if (end == std::u16string_view::npos) end = path.size();
    const bool emptyComponent = end == start;
    const std::u16string_view prefix = path.substr(0, end);
    start = end + 1;
    if (emptyComponent) continue;  // a leading, doubled or trailing separator
    std::u16string pattern(prefix);
    pattern += u"\\*";
    if (files.AnyMatch(pattern)) continue;
    const LONG error = files.CreateDirectory(prefix);
    if (error != ERROR_SUCCESS && error != ERROR_ALREADY_EXISTS) return vx::HResultFromWin32(error);
  }
  return S_OK;
}

std::u16string TraceFilePath(IRegistryKey* config, vx::platform::IProcessInfo& process,
                             vx::platform::IFileSystem& files, DWORD sessionId) {
  if (auto fileName = ReadConfigString(config, u"FileName", MAX_PATH, process)) return *fileName;

  const vx::PathParts exe = vx::SplitPath(process.ExecutablePath());
  const vx::PathParts module = vx::SplitPath(process.ModulePath());
  std::u16string directory;
  if (auto tracePath = ReadConfigString(config, u"TracePath", MAX_PATH, process)) {
    directory = *tracePath;
    CreateDirectoryPath(files, directory);
    if (directory.empty() || directory.back() != u'\\') directory += u'\\';
  } else {
    directory = vx::Format(u"%s%s", module.drive, module.dir);
  }
  return vx::Format(u"%s%s.%s%s%s.%d%s.trc3", directory, exe.name, module.name, module.ext, u".x64",
                    sessionId, u"");
}

}  // namespace VXTraceNS

#include "session.h"

#include <algorithm>
#include <cctype>

#include "platform/format.h"
#include "platform/text.h"
#include "policy/auth_policy.h"
#include "support/error_text.h"

namespace vx::vxpolicy {

namespace {

std::string Trim(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return std::string(text);
}

bool ParseHex(const std::string& text, ULONGLONG& value) {
  if (text.size() < 3 || text.size() > 18 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X')) return false;
  value = 0;
  for (size_t i = 2; i < text.size(); ++i) {
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    const int digit = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    if (digit < 0) return false;
    value = value << 4 | static_cast<ULONGLONG>(digit);
  }
  return true;
}

std::string ReadTextFile(platform::IFileSystem& files, const std::string& path) {
  std::vector<BYTE> bytes;
  if (files.ReadAll(Utf8ToUtf16(path), bytes) != ERROR_SUCCESS) throw BadInput(path + ": cannot be read");
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

const std::vector<SettingInfo>& Settings() {
  static const std::vector<SettingInfo> settings = {
      {"logon", policy::kLogonPolicy, 1, true, "Logon policy"},
      {"runtime", policy::kRuntimePolicy, 2, false, "Runtime policy"},
      {"kiosk", policy::kKioskRuntimePolicy, 1, true, "Kiosk runtime policy"},
      {"enrollment", policy::GPO_DisableCredentials, 0, false, "Enrollment policy"},
  };
  return settings;
}

const SettingInfo& SettingByOption(const std::string& option) {
  for (const SettingInfo& setting : Settings())
    if (option == setting.option) return setting;
  throw BadInput("unknown policy \"" + option + "\" (logon, runtime, kiosk or enrollment)");
}

DWORD SectionByName(const std::string& name) {
  if (name == "machine") return policy::VX_GPO_SECTION_MACHINE;
  if (name == "user") return policy::VX_GPO_SECTION_USER;
  throw BadInput("unknown section \"" + name + "\" (machine or user)");
}

const char* SectionName(DWORD section) { return section == policy::VX_GPO_SECTION_MACHINE ? "machine" : "user"; }

const char* StateName(policy::SettingState state) {
  switch (state) {
    case policy::SettingState::Enabled:
      return "enabled";
    case policy::SettingState::Disabled:
      return "disabled";
    case policy::SettingState::NotConfigured:
      break;
  }
  return "not configured";
}

namespace {
bool UsesPlugins(const ToolPorts& ports, const std::string& tokensFile) {
  return tokensFile.empty() && ports.pluginRegistry && ports.pluginFactory;
}
}  // namespace

CSession::CSession(ToolPorts& ports, const std::string& tokensFile)
    : m_ports(ports),
      m_nodePorts{UsesPlugins(ports, tokensFile) ? *ports.pluginRegistry
                                                 : static_cast<platform::IRegistry&>(m_catalogueRegistry),
                  UsesPlugins(ports, tokensFile) ? *ports.pluginFactory
                                                 : static_cast<plugins::IElementFactory&>(m_catalogueFactory),
                  {}} {
  if (!tokensFile.empty()) {
    std::string error;
    if (!ParseCatalogue(ReadTextFile(ports.files, tokensFile), m_catalogue, error))
      throw BadInput(tokensFile + ": " + error);
    RegisterCatalogue(m_catalogue, m_catalogueRegistry, m_catalogueFactory);
  } else if (UsesPlugins(ports, tokensFile)) {
    m_catalogue = ReadCatalogue(*ports.pluginRegistry, *ports.pluginFactory);
  }
  InstallReporting({&m_messages, &m_strings, nullptr, nullptr});
}

CSession::~CSession() { InstallReporting({}); }

std::vector<std::string> CSession::MaskNames(ULONGLONG mask) const {
  std::vector<std::string> names;
  ULONGLONG remaining = mask;
  for (const CatalogueEntry& entry : m_catalogue) {
    if ((entry.mask & remaining) != entry.mask) continue;
    names.push_back(Utf16ToUtf8(entry.name));
    remaining &= ~entry.mask;
  }
  if (remaining != 0 || mask == 0) names.push_back(FormatNarrow("0x%I64X", remaining));
  return names;
}

std::string CSession::MaskText(ULONGLONG mask) const {
  std::string text;
  for (const std::string& name : MaskNames(mask)) text += (text.empty() ? "" : " + ") + name;
  return text;
}

std::vector<std::string> CSession::CoveredNames(ULONGLONG mask) const {
  std::vector<std::string> names;
  for (const CatalogueEntry& entry : m_catalogue)
    if ((entry.mask & mask) == entry.mask) names.push_back(Utf16ToUtf8(entry.name));
  return names;
}

ULONGLONG CSession::KnownBits() const {
  ULONGLONG bits = 0;
  for (const CatalogueEntry& entry : m_catalogue) bits |= entry.mask;
  return bits;
}

ULONGLONG CSession::ParseCombination(const std::string& text) const {
  ULONGLONG mask = 0;
  if (ParseHex(Trim(text), mask)) return mask;
  size_t start = 0;
  while (start <= text.size()) {
    const size_t plus = std::min(text.find('+', start), text.size());
    const std::string part = Trim(std::string_view(text).substr(start, plus - start));
    ULONGLONG bits = 0;
    if (!ParseHex(part, bits)) {
      const std::u16string wanted = Utf8ToUtf16(part);
      const auto found = std::find_if(m_catalogue.begin(), m_catalogue.end(), [&](const CatalogueEntry& entry) {
        return EqualsIgnoreCase(entry.name, wanted);
      });
      if (part.empty() || found == m_catalogue.end())
        throw BadInput("unknown credential \"" + part + "\" in \"" + text + "\"" +
                       (HasCatalogue() ? " (vxpolicy tokens lists the known ones)"
                                       : " (no credential catalogue: give --tokens FILE, or hex masks)"));
      bits = found->mask;
    }
    mask |= bits;
    start = plus + 1;
  }
  return mask;
}

std::unique_ptr<CGpoFolder> CSession::OpenFolder(const std::string& folder, bool dryRun) {
  auto gpo = std::make_unique<CGpoFolder>(m_ports.files, Utf8ToUtf16(folder), dryRun);
  std::u16string error;
  if (FAILED(gpo->Load(error))) {
    std::string text = Utf16ToUtf8(error);
    // The core joins paths with "\"; a folder named the POSIX way is reported that way.
    if (folder.find('/') != std::string::npos && folder.find('\\') == std::string::npos)
      std::replace(text.begin(), text.end(), '\\', '/');
    throw BadInput(text + "; nothing was changed");
  }
  return gpo;
}

StoredSetting ReadSetting(policy::IGpoInformation& gpo, DWORD section, const SettingInfo& setting) {
  StoredSetting stored;
  policy::CGPOAuthPolicy policy;
  const HRESULT hr = policy.Load(&gpo, section, setting.name);
  if (hr == HResultFromWin32(ERROR_FILE_NOT_FOUND)) return stored;  // no application key: not configured
  stored.loaded = hr;
  if (FAILED(hr)) return stored;
  stored.state = policy.State();
  stored.masks.assign(policy.Masks().begin(), policy.Masks().end());
  return stored;
}

std::string SettingLine(CSession& session, const SettingInfo& setting, const StoredSetting& stored) {
  if (FAILED(stored.loaded)) return FormatNarrow("unreadable (0x%08X)", static_cast<unsigned>(stored.loaded));
  std::string line = stored.state == policy::SettingState::Enabled    ? "Enabled"
                     : stored.state == policy::SettingState::Disabled ? "Disabled"
                                                                      : "Not configured";
  if (stored.state != policy::SettingState::Enabled) return line;
  if (setting.apt == 0) {
    const ULONGLONG disabled = stored.masks.front();
    std::string names;
    for (const std::string& name : session.CoveredNames(disabled)) names += (names.empty() ? "" : ", ") + name;
    return line + ": disabled for enrollment: " + (names.empty() ? "(no known credential)" : names) +
           FormatNarrow(" [0x%016I64X]", disabled);
  }
  std::string combinations;
  for (ULONGLONG mask : stored.masks) combinations += (combinations.empty() ? "" : "; ") + session.MaskText(mask);
  return line + ": " + combinations;
}

// ---- the command line

int RunVxPolicy(const std::vector<std::string>& args, ToolPorts& ports, std::ostream& out, std::ostream& err) {
  static constexpr char kUsage[] =
      "usage: vxpolicy show GPO_FOLDER [--json] [--tokens FILE]\n"
      "       vxpolicy set GPO_FOLDER --section machine|user --policy logon|runtime|kiosk|enrollment\n"
      "                (--enable COMBINATION... | --disable | --not-configured) [--dry-run] [--tokens FILE]\n"
      "       vxpolicy check GPO_FOLDER [--tokens FILE]\n"
      "       vxpolicy tokens [--export FILE] [--tokens FILE]\n"
      "A combination is credential names joined by \"+\" (\"Password+Fingerprint\") or a hex mask (0x3).\n";
  try {
    if (args.empty() || args[0] == "--help" || args[0] == "-h") {
      (args.empty() ? err : out) << kUsage;
      return args.empty() ? kExitBadInput : kExitDone;
    }
    const std::string command = args[0];
    std::vector<std::string> rest(args.begin() + 1, args.end());
    // --tokens FILE is taken by every command.
    std::string tokensFile;
    for (auto it = rest.begin(); it != rest.end(); ++it) {
      if (*it != "--tokens") continue;
      if (it + 1 == rest.end()) throw BadInput("--tokens needs a file");
      tokensFile = *(it + 1);
      rest.erase(it, it + 2);
      break;
    }
    CSession session(ports, tokensFile);
    if (command == "show") {
      bool json = false;
      std::string folder;
      for (const std::string& arg : rest) {
        if (arg == "--json") {
          json = true;
        } else if (folder.empty() && arg.rfind("--", 0) != 0) {
          folder = arg;
        } else {
          throw BadInput("show: unexpected \"" + arg + "\"");
        }
      }
      if (folder.empty()) throw BadInput("show: which GPO folder?");
      return Show(session, folder, json, out);
    }
    if (command == "set") return Set(session, rest, out, err);
    if (command == "check") {
      if (rest.size() != 1 || rest[0].rfind("--", 0) == 0) throw BadInput("check: give one GPO folder");
      return Check(session, rest[0], out, err);
    }
    if (command == "tokens") {
      std::string exportFile;
      if (rest.size() == 2 && rest[0] == "--export") {
        exportFile = rest[1];
      } else if (!rest.empty()) {
        throw BadInput("tokens: unexpected \"" + rest[0] + "\"");
      }
      return Tokens(session, exportFile, out, err);
    }
    throw BadInput("unknown command \"" + command + "\"");
  } catch (const BadInput& bad) {
    err << "vxpolicy: " << bad.what() << "\n";
    return kExitBadInput;
  }
}

}  // namespace vx::vxpolicy

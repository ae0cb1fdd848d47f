// vxpolicy show: every setting of both sections, for people or as JSON.
//
// JSON: {"gpo": FOLDER, "sections": [{"section": "machine"|"user", "policies": [POLICY...]}...]}
// POLICY: {"policy": "logon"|"runtime"|"kiosk"|"enrollment", "setting": the stored value's name,
//          "state": "enabled"|"disabled"|"not configured"|"unreadable", "stored": ["0x..."...],
//          authentication policies: "combinations": [{"mask": "0x...", "credentials": [NAME...]}...],
//          enrollment: "disabled": [NAME...] (the credentials disabled for enrollment)}
// A credential bit that no credential of the catalogue names appears as "0x..." among the names.
#include <sstream>

#include "platform/format.h"
#include "platform/text.h"
#include "session.h"

namespace vx::vxpolicy {

namespace {

std::string Quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : text) {
    const char* escape = c == '"'    ? "\\\""
                         : c == '\\' ? "\\\\"
                         : c == '\n' ? "\\n"
                         : c == '\r' ? "\\r"
                         : c == '\t' ? "\\t"
                                     : nullptr;
    if (escape) {
      out += escape;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      out += FormatNarrow("\\u%04X", static_cast<unsigned>(c));
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string List(const std::vector<std::string>& items) {
  std::string out = "[";
  for (size_t i = 0; i < items.size(); ++i) out += (i ? ", " : "") + Quoted(items[i]);
  return out + "]";
}

std::string Hex(ULONGLONG mask) { return FormatNarrow("0x%016I64X", mask); }

std::string PolicyJson(CSession& session, const SettingInfo& setting, const StoredSetting& stored) {
  std::vector<std::string> raw;
  for (ULONGLONG mask : stored.masks) raw.push_back(Hex(mask));
  std::string json = "{\"policy\": " + Quoted(setting.option) + ", \"setting\": " + Quoted(Utf16ToUtf8(setting.name)) +
                     ", \"state\": " + Quoted(FAILED(stored.loaded) ? "unreadable" : StateName(stored.state)) +
                     ", \"stored\": " + List(raw);
  const bool enabled = SUCCEEDED(stored.loaded) && stored.state == policy::SettingState::Enabled;
  if (setting.apt == 0) {
    json +=
        ", \"disabled\": " + List(enabled ? session.CoveredNames(stored.masks.front()) : std::vector<std::string>());
  } else {
    json += ", \"combinations\": [";
    for (size_t i = 0; enabled && i < stored.masks.size(); ++i)
      json += (i ? ", " : "") + std::string("{\"mask\": ") + Quoted(Hex(stored.masks[i])) +
              ", \"credentials\": " + List(session.MaskNames(stored.masks[i])) + "}";
    json += "]";
  }
  return json + "}";
}

}  // namespace

int Show(CSession& session, const std::string& folder, bool json, std::ostream& out) {
  std::unique_ptr<CGpoFolder> gpo = session.OpenFolder(folder, true);
  std::ostringstream text;
  if (json) text << "{\"gpo\": " << Quoted(folder) << ", \"sections\": [";
  bool firstSection = true;
  for (const DWORD section : {policy::VX_GPO_SECTION_MACHINE, policy::VX_GPO_SECTION_USER}) {
    if (json) {
      text << (firstSection ? "" : ", ") << "{\"section\": " << Quoted(SectionName(section)) << ", \"policies\": [";
    } else {
      text << (section == policy::VX_GPO_SECTION_MACHINE ? "Computer (machine)\n" : "User (user)\n");
    }
    firstSection = false;
    bool firstPolicy = true;
    for (const SettingInfo& setting : Settings()) {
      if (setting.machineOnly && section != policy::VX_GPO_SECTION_MACHINE) continue;
      const StoredSetting stored = ReadSetting(*gpo, section, setting);
      if (json) {
        text << (firstPolicy ? "" : ", ") << PolicyJson(session, setting, stored);
      } else {
        text << "  " << setting.label << ": " << SettingLine(session, setting, stored) << "\n";
      }
      firstPolicy = false;
    }
    if (json) text << "]}";
  }
  if (json) text << "]}\n";
  out << text.str();
  return kExitDone;
}

}  // namespace vx::vxpolicy

#include "support/html_help.h"

#include <vector>

#include "platform/format.h"
#include "platform/text.h"
#include "support/trace.h"

namespace vx {

namespace {

constexpr char16_t kLanguageToken[] = u"%LANG%";

std::vector<std::u16string> HelpLanguages(const std::u16string& current) {
  std::vector<std::u16string> languages;
  for (const std::u16string& language : {current, std::u16string(u"en-US"), std::u16string(u"en")}) {
    bool known = language.empty();
    for (const auto& have : languages) known = known || EqualsIgnoreCase(have, language);
    if (!known) languages.push_back(language);
  }
  return languages;
}

bool ReadValue(platform::IRegistry& registry, std::u16string_view path, std::u16string_view name,
               platform::IProcessInfo& process, std::u16string& value) {
  std::unique_ptr<platform::IRegistryKey> key;
  if (registry.OpenKey(platform::RegistryRoot::LocalMachine, path, KEY_READ | KEY_WOW64_32KEY, key) != ERROR_SUCCESS)
    return false;
  DWORD type = 0;
  if (platform::ReadString(*key, name, value, &type) != ERROR_SUCCESS) return false;
  if (type == REG_EXPAND_SZ) value = process.ExpandEnvironment(value);
  return true;
}

}  // namespace

std::u16string BracedGuid(const GUID& g) {
  return Format(u"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", static_cast<DWORD>(g.Data1),
                static_cast<DWORD>(g.Data2), static_cast<DWORD>(g.Data3), static_cast<DWORD>(g.Data4[0]),
                static_cast<DWORD>(g.Data4[1]), static_cast<DWORD>(g.Data4[2]), static_cast<DWORD>(g.Data4[3]),
                static_cast<DWORD>(g.Data4[4]), static_cast<DWORD>(g.Data4[5]), static_cast<DWORD>(g.Data4[6]),
                static_cast<DWORD>(g.Data4[7]));
}

CHTMLHelp::CHTMLHelp(platform::IRegistry& registry, platform::IFileSystem& files, platform::IProcessInfo& process,
                     IResourceModules& modules)
    : m_registry(registry), m_files(files), m_process(process), m_modules(modules) {}

std::u16string CHTMLHelp::GetHelpFileName(const CLSID& clsid) {
  VXTraceNS::CTraceScope scope("CHTMLHelp::GetHelpFileName");
  const std::u16string name = BracedGuid(clsid);
  const std::vector<std::u16string> languages = HelpLanguages(GetCurrentUserMUILanguage(m_modules));

  std::u16string ret;
  std::u16string value;
  if (!ReadValue(m_registry, kHelpKey, name, m_process, value) || value.empty() ||
      value.size() > kMaxHelpValueChars) {
    scope.Message("szRet: %ls", ret.c_str());
    return ret;
  }

  std::vector<std::u16string> candidates;
  if (value.find(u'\\') == std::u16string::npos) {
    std::u16string binDir;
    if (ReadValue(m_registry, kApplicationsKey, u"BinDir", m_process, binDir) && !binDir.empty()) {
      if (binDir.back() != u'\\') binDir += u'\\';
      for (const auto& language : languages) candidates.push_back(binDir + language + u'\\' + value);
    }
  } else if (const size_t at = value.find(kLanguageToken); at != std::u16string::npos) {
    for (const auto& language : languages) {
      std::u16string path = value;
      path.replace(at, std::size(kLanguageToken) - 1, language);
      candidates.push_back(std::move(path));
    }
  } else {
    candidates.push_back(value);
  }
  for (const auto& candidate : candidates) {
    if (m_files.AnyMatch(candidate)) {
      ret = candidate;
      break;
    }
  }
  scope.Message("szRet: %ls", ret.c_str());
  return ret;
}

}  // namespace vx

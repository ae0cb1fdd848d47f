// Where the help file of a component is: a file name registered under its CLSID, looked for per
// interface language in the product's binary directory.
//
// Per-language pattern of the registered value V (see docs/language-resources.md):
// - V without "\" (a bare file name): "<BinDir>\<language>\V" for each language of the list;
// - V holding "%LANG%": V with "%LANG%" replaced by each language of the list;
// - any other V (a full path with no language in it): V itself.
// The list is the current interface language, then "en-US", then "en"; the first file that exists wins.
#pragma once

#include <string>

#include "platform/files.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "support/language.h"

namespace vx {

inline constexpr char16_t kApplicationsKey[] = u"SOFTWARE\\Vantorix\\Applications";
inline constexpr char16_t kHelpKey[] = u"SOFTWARE\\Vantorix\\Applications\\Help";
inline constexpr size_t kMaxHelpValueChars = 260;

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case.
std::u16string BracedGuid(const GUID& guid);

class CHTMLHelp {
 public:
  CHTMLHelp(platform::IRegistry& registry, platform::IFileSystem& files, platform::IProcessInfo& process,
            IResourceModules& modules);
  // The help file of the component; empty when none is registered or none of its files exists.
  std::u16string GetHelpFileName(const CLSID& clsid);

 private:
  platform::IRegistry& m_registry;
  platform::IFileSystem& m_files;
  platform::IProcessInfo& m_process;
  IResourceModules& m_modules;
};

}  // namespace vx

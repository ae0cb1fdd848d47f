// The module-loading port of language and branding resources over kernel32 and user32.
#pragma once

#include <vector>

#include "support/language.h"

namespace vx {

// The platform's MUI loader is not in every tool chain, so the ".mui" search is done here: for a
// language identifier its locale name N (neutral names allowed), the file "<module file name>.mui"
// in "<module dir>\N\"; for 0, N runs over the thread's preferred interface languages and then the
// file beside the module is tried. Files load as image resources (data only, no code runs).
class Win32ResourceModules final : public IResourceModules {
 public:
  Win32ResourceModules() = default;
  ~Win32ResourceModules() override;  // frees every module it loaded
  Win32ResourceModules(const Win32ResourceModules&) = delete;
  Win32ResourceModules& operator=(const Win32ResourceModules&) = delete;

  HMODULE LoadLanguageModule(std::u16string_view modulePath, LANGID language) override;
  HMODULE LoadResourceModule(std::u16string_view path) override;
  DWORD LastError() override { return m_lastError; }
  std::u16string LoadString(HMODULE module, UINT id) override;
  LANGID UserDefaultUILanguage() override;
  bool ThreadPreferredUILanguages(std::vector<std::u16string>& languages) override;

 private:
  HMODULE LoadData(const std::u16string& path);

  std::vector<HMODULE> m_loaded;
  DWORD m_lastError = 0;
};

// The full long path of a loaded module (GetModuleFileNameW then GetLongPathNameW).
std::u16string ModuleLongPath(HMODULE module);

}  // namespace vx

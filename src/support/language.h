// The language resource module: which ".mui" file of the module serves the user's interface language,
// and loading display texts from it with the product's branding placed into them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ui.h"
#include "platform/wintypes.h"

namespace vx {

class CBranding;

// Module-loading port: what language and branding resources need of the platform's loader.
class IResourceModules {
 public:
  virtual ~IResourceModules() = default;
  // The ".mui" resource module of the module at modulePath for one language identifier
  // (0: the neutral search over the preferred interface languages); null when there is none.
  virtual HMODULE LoadLanguageModule(std::u16string_view modulePath, LANGID language) = 0;
  // A resource module by path, as a data file; null (and LastError set) when it cannot be loaded.
  virtual HMODULE LoadResourceModule(std::u16string_view path) = 0;
  virtual DWORD LastError() = 0;
  // String identifier id of module (block id / 16 + 1, language-neutral); empty when missing.
  virtual std::u16string LoadString(HMODULE module, UINT id) = 0;
  // GetUserDefaultUILanguage.
  virtual LANGID UserDefaultUILanguage() = 0;
  // GetThreadPreferredUILanguages (MUI_LANGUAGE_NAME); false when the function is missing.
  virtual bool ThreadPreferredUILanguages(std::vector<std::u16string>& languages) = 0;
};

// In-memory loader for tests and Linux tools: modules are numbered handles holding string tables;
// every call of LoadLanguageModule is recorded.
class MemoryResourceModules final : public IResourceModules {
 public:
  // A new module handle (never null, never equal to an earlier one).
  HMODULE AddModule();
  void AddLanguageModule(std::u16string_view modulePath, LANGID language, HMODULE module);
  void AddResourceModule(std::u16string_view path, HMODULE module);
  void SetString(HMODULE module, UINT id, std::u16string text);

  HMODULE LoadLanguageModule(std::u16string_view modulePath, LANGID language) override;
  HMODULE LoadResourceModule(std::u16string_view path) override;
  DWORD LastError() override { return lastError; }
  std::u16string LoadString(HMODULE module, UINT id) override;
  LANGID UserDefaultUILanguage() override { return userLanguage; }
  bool ThreadPreferredUILanguages(std::vector<std::u16string>& languages) override;

  LANGID userLanguage = 0x0409;
  bool hasPreferredLanguages = true;
  std::vector<std::u16string> preferredLanguages;
  std::vector<LANGID> tries;               // the languages asked of LoadLanguageModule, in order
  std::vector<std::u16string> loadedPaths;  // the paths asked of LoadResourceModule, in order
  std::map<UINT, int> stringLoads;          // LoadString calls per identifier
  DWORD lastError = 0;

 private:
  std::uintptr_t m_nextHandle = 0x10000;
  std::map<std::pair<std::u16string, LANGID>, HMODULE> m_languageModules;
  std::map<std::u16string, HMODULE> m_resourceModules;
  std::map<std::pair<HMODULE, UINT>, std::u16string> m_strings;
};

// The neutral form of a language identifier (0x7C04 for the Chinese Traditional variants).
LANGID NeutralLanguage(LANGID language);

// One try of the loader; the identifier 1 is never passed on.
HMODULE SafeLoadMUILibrary(IResourceModules& modules, std::u16string_view modulePath, LANGID language);

// The language fallback chain for the module at modulePath whose own handle is mainModule.
HMODULE LoadDefaultMUILibrary(IResourceModules& modules, std::u16string_view modulePath, HMODULE mainModule);

// The first of the thread's preferred interface languages, "en-US" when there is none.
std::u16string GetCurrentUserMUILanguage(IResourceModules& modules);

// Display texts of the language resource module, loaded on first use and branded.
class CLanguageResources final : public platform::IStringTable {
 public:
  CLanguageResources(IResourceModules& modules, std::u16string modulePath, HMODULE mainModule,
                     CBranding* branding);
  std::u16string LoadText(UINT id) override;
  // The language resource module (loads it when not loaded yet); null when none was found.
  HMODULE Module();

 private:
  IResourceModules& m_modules;
  std::u16string m_modulePath;
  HMODULE m_mainModule;
  CBranding* m_branding;
  HMODULE m_module = nullptr;
  bool m_loaded = false;
};

}  // namespace vx

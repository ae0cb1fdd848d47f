#include "support/language.h"

#include <cstdint>

#include "support/branding.h"
#include "support/trace.h"

namespace vx {

namespace {

constexpr LANGID kEnglishUS = 0x0409;
constexpr LANGID kChineseTraditionalNeutral = 0x7C04;

DWORD HandleText(HMODULE module) {
  return static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(module));
}

// Neither a neutral-only default nor one of the regional languages that are their own default.
bool HasSeparateDefault(LANGID language) {
  if (language == 0x0804 || language == 0x0816 || language == 0x1004) return false;
  return (language & 0xFC00) != 0x0400;
}

}  // namespace

HMODULE MemoryResourceModules::AddModule() {
  m_nextHandle += 0x10000;
  return reinterpret_cast<HMODULE>(m_nextHandle);
}

void MemoryResourceModules::AddLanguageModule(std::u16string_view modulePath, LANGID language, HMODULE module) {
  m_languageModules[{std::u16string(modulePath), language}] = module;
}

void MemoryResourceModules::AddResourceModule(std::u16string_view path, HMODULE module) {
  m_resourceModules[std::u16string(path)] = module;
}

void MemoryResourceModules::SetString(HMODULE module, UINT id, std::u16string text) {
  m_strings[{module, id}] = std::move(text);
}

HMODULE MemoryResourceModules::LoadLanguageModule(std::u16string_view modulePath, LANGID language) {
  tries.push_back(language);
  const auto it = m_languageModules.find({std::u16string(modulePath), language});
  return it == m_languageModules.end() ? nullptr : it->second;
}

HMODULE MemoryResourceModules::LoadResourceModule(std::u16string_view path) {
  loadedPaths.emplace_back(path);
  const auto it = m_resourceModules.find(std::u16string(path));
  if (it != m_resourceModules.end()) return it->second;
  lastError = static_cast<DWORD>(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

std::u16string MemoryResourceModules::LoadString(HMODULE module, UINT id) {
  ++stringLoads[id];
  const auto it = m_strings.find({module, id});
  return it == m_strings.end() ? std::u16string() : it->second;
}

bool MemoryResourceModules::ThreadPreferredUILanguages(std::vector<std::u16string>& languages) {
  if (!hasPreferredLanguages) return false;
  languages = preferredLanguages;
  return true;
}

LANGID NeutralLanguage(LANGID language) {
  switch (language) {
    case 0x0404:
    case 0x0C04:
    case 0x1404:
    case kChineseTraditionalNeutral:
      return kChineseTraditionalNeutral;
    default:
      return static_cast<LANGID>(language & 0x3FF);
  }
}

HMODULE SafeLoadMUILibrary(IResourceModules& modules, std::u16string_view modulePath, LANGID language) {
  VXTraceNS::CTraceScope scope("::SafeLoadMUILibrary");
  const std::u16string path(modulePath);
  scope.Message("Module: %ls", path.c_str());
  scope.Message("LangID: %04X", static_cast<DWORD>(language));
  if (language == 1) {
    // The loader faults for this identifier on Arabic systems.
    scope.Message("Avoiding access violation on Arabic Windows...");
    return nullptr;
  }
  HMODULE library = modules.LoadLanguageModule(modulePath, language);
  scope.Message("hLibrary = 0x%08X", HandleText(library));
  return library;
}

HMODULE LoadDefaultMUILibrary(IResourceModules& modules, std::u16string_view modulePath, HMODULE mainModule) {
  VXTraceNS::CTraceScope scope("::LoadDefaultMUILibrary");
  scope.Message("hMainModule = 0x%08X", HandleText(mainModule));
  const auto tryLanguage = [&](LANGID language) {
    HMODULE library = SafeLoadMUILibrary(modules, modulePath, language);
    return library && library != mainModule ? library : nullptr;
  };
  const LANGID languages[] = {modules.UserDefaultUILanguage(), kEnglishUS};
  for (const LANGID language : languages) {
    scope.Message("Trying the language (0x%04X)...", static_cast<DWORD>(language));
    if (HMODULE library = tryLanguage(language)) return library;
    const LANGID neutral = NeutralLanguage(language);
    if (neutral != language) {
      scope.Message("Trying the corresponding neutral language...");
      if (HMODULE library = tryLanguage(neutral)) return library;
    }
    if (HasSeparateDefault(language)) {
      scope.Message("Trying the corresponding default language...");
      if (HMODULE library = tryLanguage(static_cast<LANGID>((language & 0x3FF) | 0x0400))) return library;
    }
    scope.Message("Trying the standard fallback...");
    if (HMODULE library = tryLanguage(0)) return library;
  }
  return SafeLoadMUILibrary(modules, modulePath, 0);
}

std::u16string GetCurrentUserMUILanguage(IResourceModules& modules) {
  VXTraceNS::CTraceScope scope("::GetCurrentUserMUILanguage");
  std::vector<std::u16string> languages;
  if (modules.ThreadPreferredUILanguages(languages)) {
    scope.Message("uNumLanguages = %lu", static_cast<DWORD>(languages.size()));
    if (!languages.empty() && !languages.front().empty()) {
      scope.Message("Lang: %ls", languages.front().c_str());
      return languages.front();
    }
  }
  return u"en-US";
}

CLanguageResources::CLanguageResources(IResourceModules& modules, std::u16string modulePath, HMODULE mainModule,
                                       CBranding* branding)
    : m_modules(modules), m_modulePath(std::move(modulePath)), m_mainModule(mainModule), m_branding(branding) {}

HMODULE CLanguageResources::Module() {
  if (!m_loaded) {
    m_loaded = true;
    m_module = LoadDefaultMUILibrary(m_modules, m_modulePath, m_mainModule);
  }
  return m_module;
}

std::u16string CLanguageResources::LoadText(UINT id) {
  HMODULE module = Module();
  if (!module) return {};
  std::u16string text = m_modules.LoadString(module, id);
  if (m_branding && !text.empty()) text = m_branding->Apply(std::move(text));
  return text;
}

}  // namespace vx

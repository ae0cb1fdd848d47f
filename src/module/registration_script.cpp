#include "module/registration_script.h"

#include <memory>
#include <optional>

#include "platform/format.h"
#include "platform/text.h"
#include "support/check.h"
#include "support/trace.h"

namespace vx::module {

using platform::IRegistry;
using platform::IRegistryKey;
using platform::RegistryRoot;

std::u16string ScriptError::Text() const {
  return vx::Format(u"line %u, column %u: expected %ls", static_cast<unsigned>(line), static_cast<unsigned>(column),
                    expected.c_str());
}

namespace {

// ---- Parser ----

enum class TokenKind { End, Open, Close, Equals, Word, Quoted };

struct Token {
  TokenKind kind = TokenKind::End;
  std::u16string text;
  size_t line = 1;
  size_t column = 1;
};

struct SyntaxError {
  size_t line, column;
  std::u16string expected;
};

bool IsSpace(char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }
bool EndsWord(char16_t c) { return IsSpace(c) || c == u'=' || c == u'\''; }

class Lexer {
 public:
  Lexer(std::u16string_view text, const Replacements& replacements, const ScriptLimits& limits)
      : text_(text), replacements_(replacements), limits_(limits) {}

  Token Next() {
    while (pos_ < text_.size() && IsSpace(text_[pos_])) Advance();
    Token token;
    token.line = line_;
    token.column = column_;
    if (pos_ >= text_.size()) return token;
    const char16_t c = text_[pos_];
    // Braces stand alone; inside a word they are text, as in a {CLSID} key name.
    const bool alone = pos_ + 1 >= text_.size() || IsSpace(text_[pos_ + 1]) || text_[pos_ + 1] == u'{' ||
                       text_[pos_ + 1] == u'}';
    if (((c == u'{' || c == u'}') && alone) || c == u'=') {
      token.kind = c == u'{' ? TokenKind::Open : c == u'}' ? TokenKind::Close : TokenKind::Equals;
      Advance();
      return token;
    }
    if (c == u'\'') {
      token.kind = TokenKind::Quoted;
      Advance();
      for (;;) {
        if (pos_ >= text_.size()) Fail(u"a closing quote");
        if (text_[pos_] == u'\'') {
          Advance();
          if (pos_ >= text_.size() || text_[pos_] != u'\'') break;  // '' is a quote
        }
        Append(token.text);
      }
      return token;
    }
    token.kind = TokenKind::Word;
    while (pos_ < text_.size() && !EndsWord(text_[pos_])) Append(token.text);
    return token;
  }

  [[noreturn]] void Fail(std::u16string expected) const { throw SyntaxError{line_, column_, std::move(expected)}; }

 private:
  void Advance() {
    if (text_[pos_] == u'\n') {
      ++line_;
      column_ = 1;
    } else {
      ++column_;
    }
    ++pos_;
  }

  // Adds the character at the cursor (or the replacement it starts) to out.
  void Append(std::u16string& out) {
    if (text_[pos_] != u'%') {
      out += text_[pos_];
      Advance();
    } else {
      const size_t line = line_, column = column_;  // errors point at the opening %
      Advance();
      std::u16string name;
      while (pos_ < text_.size() && text_[pos_] != u'%') {
        if (IsSpace(text_[pos_]) || name.size() >= limits_.maxToken) break;
        name += text_[pos_];
        Advance();
      }
      if (pos_ >= text_.size() || text_[pos_] != u'%') throw SyntaxError{line, column, u"a closing %"};
      if (name.empty()) {
        out += u'%';
      } else {
        const std::u16string* value = Lookup(name);
        if (value == nullptr) throw SyntaxError{line, column, u"a known replacement instead of %" + name + u"%"};
        out += *value;
      }
      Advance();
    }
    if (out.size() > limits_.maxToken) Fail(vx::Format(u"a name or text of at most %u characters",
                                                       static_cast<unsigned>(limits_.maxToken)));
  }

  const std::u16string* Lookup(const std::u16string& name) const {
    for (const auto& [key, value] : replacements_) {
      if (EqualsIgnoreCase(key, name)) return &value;
    }
    return nullptr;
  }

  std::u16string_view text_;
  const Replacements& replacements_;
  const ScriptLimits& limits_;
  size_t pos_ = 0;
  size_t line_ = 1;
  size_t column_ = 1;
};

class Parser {
 public:
  Parser(std::u16string_view text, const Replacements& replacements, const ScriptLimits& limits)
      : lexer_(text, replacements, limits), limits_(limits) {
    Shift();
  }

  void Script(RegistrationScript& out) {
    while (token_.kind != TokenKind::End) {
      ScriptRoot root;
      root.root = RootName();
      Expect(TokenKind::Open, u"'{'");
      while (token_.kind != TokenKind::Close) {
        if (token_.kind == TokenKind::End) Fail(u"'}'");
        root.keys.push_back(Key(1));
      }
      Shift();
      out.roots.push_back(std::move(root));
    }
  }

 private:
  [[noreturn]] void Fail(std::u16string expected) const {
    throw SyntaxError{token_.line, token_.column, std::move(expected)};
  }
  void Shift() { token_ = lexer_.Next(); }
  void Expect(TokenKind kind, std::u16string_view what) {
    if (token_.kind != kind) Fail(std::u16string(what));
    Shift();
  }
  bool IsWord(std::u16string_view word) const {
    return token_.kind == TokenKind::Word && EqualsIgnoreCase(token_.text, word);
  }

  RegistryRoot RootName() {
    static const struct {
      std::u16string_view name;
      RegistryRoot root;
    } kRoots[] = {{u"HKCR", RegistryRoot::ClassesRoot},  {u"HKEY_CLASSES_ROOT", RegistryRoot::ClassesRoot},
                  {u"HKLM", RegistryRoot::LocalMachine}, {u"HKEY_LOCAL_MACHINE", RegistryRoot::LocalMachine},
                  {u"HKCU", RegistryRoot::CurrentUser},  {u"HKEY_CURRENT_USER", RegistryRoot::CurrentUser}};
    for (const auto& r : kRoots) {
      if (IsWord(r.name)) {
        Shift();
        return r.root;
      }
    }
    Fail(u"a root key (HKLM, HKCR or HKCU)");
  }

  std::u16string Name(std::u16string_view what) {
    if (token_.kind != TokenKind::Word && token_.kind != TokenKind::Quoted) Fail(std::u16string(what));
    if (token_.text.empty() || token_.text.find(u'\\') != std::u16string::npos) {
      Fail(u"a non-empty key name without '\\'");
    }
    std::u16string name = std::move(token_.text);
    Shift();
    return name;
  }

  // `= s 'text'`, `= e 'text'` or `= d 'number'`, the cursor on '='.
  void ValueData(ScriptValue& value) {
    Expect(TokenKind::Equals, u"'='");
    if (IsWord(u"s") || IsWord(u"e")) {
      value.type = IsWord(u"s") ? REG_SZ : REG_EXPAND_SZ;
      Shift();
      if (token_.kind != TokenKind::Quoted) Fail(u"a quoted text");
      value.text = std::move(token_.text);
    } else if (IsWord(u"d")) {
      value.type = REG_DWORD;
      Shift();
      if (token_.kind != TokenKind::Quoted || !ParseNumber(token_.text, value.number)) Fail(u"a quoted number");
    } else {
      Fail(u"a value type (s, e or d)");
    }
    Shift();
  }

  static bool ParseNumber(std::u16string_view text, DWORD& number) {
    unsigned base = 10;
    if (text.size() > 2 && text[0] == u'0' && (text[1] == u'x' || text[1] == u'X')) {
      base = 16;
      text.remove_prefix(2);
    }
    if (text.empty()) return false;
    unsigned long long n = 0;
    for (char16_t c : text) {
      unsigned digit;
      if (c >= u'0' && c <= u'9') digit = c - u'0';
      else if (base == 16 && c >= u'a' && c <= u'f') digit = c - u'a' + 10;
      else if (base == 16 && c >= u'A' && c <= u'F') digit = c - u'A' + 10;
      else return false;
      n = n * base + digit;
      if (n > 0xFFFFFFFFull) return false;
    }
    number = static_cast<DWORD>(n);
    return true;
  }

  ScriptKey Key(size_t depth) {
    if (depth > limits_.maxDepth) Fail(u"no deeper nesting");
    if (++keys_ > limits_.maxKeys) Fail(u"fewer keys");
    ScriptKey key;
    if (IsWord(u"ForceRemove")) key.removal = KeyRemoval::ForceRemove;
    else if (IsWord(u"NoRemove")) key.removal = KeyRemoval::NoRemove;
    else if (IsWord(u"Delete")) key.removal = KeyRemoval::Delete;
    if (key.removal != KeyRemoval::Plain) Shift();
    key.name = Name(u"a key name");
    if (key.removal == KeyRemoval::Delete) return key;  // a deleted key declares nothing more
    if (token_.kind == TokenKind::Equals) {
      key.hasDefault = true;
      ValueData(key.values.emplace_back());
    }
    if (token_.kind != TokenKind::Open) return key;
    Shift();
    while (token_.kind != TokenKind::Close) {
      if (token_.kind == TokenKind::End) Fail(u"'}'");
      if (IsWord(u"val")) {
        Shift();
        ScriptValue value;
        if (token_.kind != TokenKind::Word && token_.kind != TokenKind::Quoted) Fail(u"a value name");
        value.name = std::move(token_.text);
        Shift();
        ValueData(value);
        key.values.push_back(std::move(value));
      } else {
        key.subkeys.push_back(Key(depth + 1));
      }
    }
    Shift();
    return key;
  }

  Lexer lexer_;
  const ScriptLimits& limits_;
  Token token_;
  size_t keys_ = 0;
};

// ---- Engine ----

struct Location {
  RegistryRoot root;
  std::u16string path;
  Location Child(std::u16string_view name) const {
    return {root, path.empty() ? std::u16string(name) : path + u"\\" + std::u16string(name)};
  }
};

constexpr REGSAM kReadWrite = KEY_READ | KEY_WRITE;

// The place of a root block: per-user registration moves HKCR to HKCU\Software\Classes.
Location RootLocation(const ScriptRoot& root, bool perUser) {
  if (root.root == RegistryRoot::ClassesRoot && perUser) return {RegistryRoot::CurrentUser, u"Software\\Classes"};
  return {root.root, {}};
}

struct StoredValue {
  std::u16string name;
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
};

struct Snapshot {
  std::u16string name;  // of a subkey; the top of a snapshot is named by its Location
  std::vector<StoredValue> values;
  std::vector<Snapshot> subkeys;
};

Snapshot Capture(IRegistryKey& key) {
  Snapshot shot;
  std::u16string name;
  for (DWORD i = 0; key.EnumValue(i, name) == ERROR_SUCCESS; ++i) {
    StoredValue& value = shot.values.emplace_back();
    value.name = name;
    _W32_TEST_ERROR(platform::ReadBytes(key, name, value.data, &value.type));
  }
  for (DWORD i = 0; key.EnumKey(i, name) == ERROR_SUCCESS; ++i) {
    std::unique_ptr<IRegistryKey> sub;
    _W32_TEST_ERROR(key.OpenKey(name, KEY_READ, sub));
    shot.subkeys.push_back(Capture(*sub));
    shot.subkeys.back().name = name;
  }
  return shot;
}

LONG Restore(IRegistryKey& key, const Snapshot& shot) {
  LONG first = ERROR_SUCCESS;
  for (const StoredValue& v : shot.values) {
    const LONG rc = key.SetValue(v.name, v.type, v.data.data(), static_cast<DWORD>(v.data.size()));
    if (first == ERROR_SUCCESS) first = rc;
  }
  for (const Snapshot& sub : shot.subkeys) {
    std::unique_ptr<IRegistryKey> child;
    LONG rc = key.CreateKey(sub.name, kReadWrite, child);
    if (rc == ERROR_SUCCESS) rc = Restore(*child, sub);
    if (first == ERROR_SUCCESS) first = rc;
  }
  return first;
}

LONG WriteValue(IRegistryKey& key, const ScriptValue& value) {
  return value.type == REG_DWORD ? platform::WriteDword(key, value.name, value.number)
                                 : platform::WriteString(key, value.name, value.text, value.type);
}

// What registration changed, to put back when it fails part-way.
struct Change {
  enum Kind { KeyCreated, ValueWritten, TreeDeleted } kind;
  Location where;
  std::optional<StoredValue> previous;  // ValueWritten: the value before, or none
  std::u16string valueName;
  Snapshot tree;  // TreeDeleted
};

class Registrar {
 public:
  Registrar(IRegistry& registry, VXTraceNS::CTraceScope& scope) : registry_(registry), scope_(scope) {}

  void Register(const RegistrationScript& script, bool perUser) {
    try {
      for (const ScriptRoot& root : script.roots) {
        const Location base = RootLocation(root, perUser);
        if (!base.path.empty()) {  // HKCU\Software\Classes, one level at a time
          Create({base.root, u"Software"});
          Create(base);
        }
        for (const ScriptKey& key : root.keys) RegisterKey(base, key);
      }
    } catch (...) {
      Undo();
      throw;
    }
  }

  void Unregister(const RegistrationScript& script, bool perUser) {
    for (const ScriptRoot& root : script.roots) {
      const Location base = RootLocation(root, perUser);
      for (const ScriptKey& key : root.keys) UnregisterKey(base, key);
    }
  }

 private:
  void RegisterKey(const Location& parent, const ScriptKey& script) {
    const Location here = parent.Child(script.name);
    if (script.removal == KeyRemoval::Delete || script.removal == KeyRemoval::ForceRemove) DeleteTree(here);
    if (script.removal == KeyRemoval::Delete) return;
    std::unique_ptr<IRegistryKey> key = Create(here);
    for (const ScriptValue& value : script.values) {
      Change change{Change::ValueWritten, here, std::nullopt, value.name, {}};
      StoredValue old{value.name, REG_NONE, {}};
      const LONG rc = platform::ReadBytes(*key, value.name, old.data, &old.type);
      if (rc != ERROR_FILE_NOT_FOUND) _W32_TEST_ERROR(rc);
      if (rc == ERROR_SUCCESS) change.previous = std::move(old);
      changes_.push_back(std::move(change));
      _W32_TEST_ERROR(WriteValue(*key, value));
    }
    key.reset();
    for (const ScriptKey& sub : script.subkeys) RegisterKey(here, sub);
  }

  std::unique_ptr<IRegistryKey> Create(const Location& where) {
    std::unique_ptr<IRegistryKey> key;
    DWORD disposition = 0;
    _W32_TEST_ERROR(registry_.CreateKey(where.root, where.path, kReadWrite, key, &disposition));
    if (disposition == REG_CREATED_NEW_KEY) changes_.push_back({Change::KeyCreated, where, std::nullopt, {}, {}});
    return key;
  }

  // The subtree is recorded before anything of it goes, so a deletion that stops half-way is undone too.
  void DeleteTree(const Location& where) {
    std::unique_ptr<IRegistryKey> key;
    const LONG rc = registry_.OpenKey(where.root, where.path, KEY_READ, key);
    if (rc == ERROR_FILE_NOT_FOUND) return;
    _W32_TEST_ERROR(rc);
    changes_.push_back({Change::TreeDeleted, where, std::nullopt, {}, Capture(*key)});
    key.reset();
    _W32_TEST_ERROR(DeleteKeyTree(registry_, where.root, where.path));
  }

  void Undo() noexcept {
    for (auto it = changes_.rbegin(); it != changes_.rend(); ++it) {
      LONG rc = ERROR_SUCCESS;
      try {
        rc = UndoOne(*it);
      } catch (...) {
        rc = ERROR_NOT_ENOUGH_MEMORY;
      }
      if (rc != ERROR_SUCCESS) {
        scope_.Message("undo of %ls left error %d", it->where.path.c_str(), static_cast<int>(rc));
      }
    }
    changes_.clear();
  }

  LONG UndoOne(const Change& change) {
    std::unique_ptr<IRegistryKey> key;
    switch (change.kind) {
      case Change::KeyCreated:
        return DeleteKeyTree(registry_, change.where.root, change.where.path);
      case Change::TreeDeleted: {
        LONG rc = registry_.CreateKey(change.where.root, change.where.path, kReadWrite, key);
        return rc == ERROR_SUCCESS ? Restore(*key, change.tree) : rc;
      }
      case Change::ValueWritten: {
        LONG rc = registry_.OpenKey(change.where.root, change.where.path, kReadWrite, key);
        if (rc != ERROR_SUCCESS) return rc;
        if (!change.previous) return key->DeleteValue(change.valueName);
        const StoredValue& v = *change.previous;
        return key->SetValue(v.name, v.type, v.data.data(), static_cast<DWORD>(v.data.size()));
      }
    }
    return ERROR_SUCCESS;
  }

  void UnregisterKey(const Location& parent, const ScriptKey& script) {
    const Location here = parent.Child(script.name);
    if (script.removal == KeyRemoval::Delete) return;
    if (script.removal == KeyRemoval::ForceRemove) {
      const LONG rc = DeleteKeyTree(registry_, here.root, here.path);
      if (rc != ERROR_FILE_NOT_FOUND) _W32_TEST_ERROR(rc);
      return;
    }
    for (const ScriptKey& sub : script.subkeys) UnregisterKey(here, sub);
    std::unique_ptr<IRegistryKey> key;
    const LONG rc = registry_.OpenKey(here.root, here.path, kReadWrite, key);
    if (rc == ERROR_FILE_NOT_FOUND) return;
    _W32_TEST_ERROR(rc);
    // A shared key keeps its default value; only the values the script names with `val` go.
    const bool shared = script.removal == KeyRemoval::NoRemove;
    for (size_t i = shared && script.hasDefault ? 1 : 0; i < script.values.size(); ++i) {
      const LONG deleted = key->DeleteValue(script.values[i].name);
      if (deleted != ERROR_FILE_NOT_FOUND) _W32_TEST_ERROR(deleted);
    }
    if (shared) return;
    DWORD subkeys = 0, values = 0;
    _W32_TEST_ERROR(key->QueryInfo(&subkeys, &values));
    key.reset();
    if (subkeys == 0 && values == 0) _W32_TEST_ERROR(registry_.DeleteKey(here.root, here.path));
  }

  IRegistry& registry_;
  VXTraceNS::CTraceScope& scope_;
  std::vector<Change> changes_;
};

}  // namespace

bool ParseRegistrationScript(std::u16string_view script, const Replacements& replacements, RegistrationScript& out,
                             ScriptError& error, const ScriptLimits& limits) {
  out = {};
  try {
    if (script.size() > limits.maxScript) {
      const auto most = static_cast<unsigned>(limits.maxScript);
      throw SyntaxError{1, 1, vx::Format(u"a script of at most %u characters", most)};
    }
    Parser(script, replacements, limits).Script(out);
    return true;
  } catch (SyntaxError& e) {
    error = {e.line, e.column, std::move(e.expected)};
    out = {};
    return false;
  }
}

LONG DeleteKeyTree(IRegistry& registry, RegistryRoot root, std::u16string_view path) {
  std::unique_ptr<IRegistryKey> key;
  if (LONG rc = registry.OpenKey(root, path, KEY_READ, key); rc != ERROR_SUCCESS) return rc;
  std::vector<std::u16string> names;
  std::u16string name;
  for (DWORD i = 0; key->EnumKey(i, name) == ERROR_SUCCESS; ++i) names.push_back(name);
  key.reset();
  for (const std::u16string& sub : names) {
    const LONG rc = DeleteKeyTree(registry, root, std::u16string(path) + u"\\" + sub);
    if (rc != ERROR_SUCCESS && rc != ERROR_FILE_NOT_FOUND) return rc;
  }
  return registry.DeleteKey(root, path);
}

HRESULT RegisterScript(IRegistry& registry, const RegistrationScript& script, bool perUser) {
  VXTraceNS::CTraceScope scope("CRegistrationScript::Register");
  return HResultBoundary(scope, [&] {
    Registrar(registry, scope).Register(script, perUser);
    return S_OK;
  });
}

HRESULT UnregisterScript(IRegistry& registry, const RegistrationScript& script, bool perUser) {
  VXTraceNS::CTraceScope scope("CRegistrationScript::Unregister");
  return HResultBoundary(scope, [&] {
    Registrar(registry, scope).Unregister(script, perUser);
    return S_OK;
  });
}

HRESULT RunRegistrationScript(IRegistry& registry, std::u16string_view script, const Replacements& replacements,
                              bool registering, bool perUser, std::u16string* error) {
  VXTraceNS::CTraceScope scope("CRegistrationScript::Run");
  return HResultBoundary(scope, [&] {
    RegistrationScript parsed;
    ScriptError syntax;
    if (!ParseRegistrationScript(script, replacements, parsed, syntax)) {
      const std::u16string text = syntax.Text();
      scope.Message("script error: %ls", text.c_str());
      if (error != nullptr) *error = text;
      VX_CHECK(E_INVALIDARG);
    }
    return registering ? RegisterScript(registry, parsed, perUser) : UnregisterScript(registry, parsed, perUser);
  });
}

}  // namespace vx::module

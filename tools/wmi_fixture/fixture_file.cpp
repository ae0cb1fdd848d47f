#include "fixture_file.h"

#include "platform/text.h"

namespace vx::wmifixture {

namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";
constexpr size_t kMaxQuotedBytes = 40;  // of a wrong field, in messages

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t at = text.find(separator);
    parts.push_back(TrimBlanks(text.substr(0, at)));
    if (at == std::string_view::npos) return parts;
    text.remove_prefix(at + 1);
  }
}

std::string Quoted(std::string_view field) {
  const std::string_view cut = TruncateUtf8(field, kMaxQuotedBytes);
  return "'" + std::string(cut) + (cut.size() < field.size() ? "...'" : "'");
}

bool ParsePrecedence(std::string_view text, std::int32_t& precedence) {
  if (text.empty()) return false;
  std::int64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
    if (value > INT32_MAX) return false;
  }
  if (value < 1) return false;
  precedence = static_cast<std::int32_t>(value);
  return true;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool ParseMask(std::string_view text, std::uint64_t& mask) {
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) text.remove_prefix(2);
  if (text.empty() || text.size() > 16) return false;
  mask = 0;
  for (const char c : text) {
    const int digit = HexDigit(c);
    if (digit < 0) return false;
    mask = (mask << 4) | static_cast<std::uint64_t>(digit);
  }
  return true;
}

// One setting line; false with the reason in message.
bool ParseLine(std::string_view line, FixtureSetting& setting, std::string& message) {
  const std::vector<std::string_view> fields = Split(line, '|');
  if (fields.size() != 5 && fields.size() != 6) {
    message = "expected 5 or 6 fields separated by '|', found " + std::to_string(fields.size());
    return false;
  }
  if (EqualsIgnoreCaseAscii(fields[0], "machine")) {
    setting.section = FixtureSection::Machine;
  } else if (EqualsIgnoreCaseAscii(fields[0], "user")) {
    setting.section = FixtureSection::User;
  } else {
    message = "unknown section " + Quoted(fields[0]) + " (machine or user)";
    return false;
  }
  if (!ParsePrecedence(fields[1], setting.precedence)) {
    message = "bad precedence " + Quoted(fields[1]) + " (a whole number from 1 to 2147483647)";
    return false;
  }
  if (fields[2].empty()) {
    message = "empty GPO";
    return false;
  }
  setting.gpo = Utf8ToUtf16(fields[2]);
  if (fields[3].empty()) {
    message = "empty setting name";
    return false;
  }
  setting.setting = Utf8ToUtf16(fields[3]);
  setting.masks.clear();
  if (!fields[4].empty()) {
    for (const std::string_view text : Split(fields[4], ',')) {
      std::uint64_t mask = 0;
      if (!ParseMask(text, mask)) {
        message = "bad mask " + Quoted(text) + " (1 to 16 hexadecimal digits)";
        return false;
      }
      setting.masks.push_back(mask);
    }
  }
  setting.deleted = false;
  if (fields.size() == 6 && !fields[5].empty()) {
    if (!EqualsIgnoreCaseAscii(fields[5], "deleted")) {
      message = "bad deleted field " + Quoted(fields[5]) + " (deleted or nothing)";
      return false;
    }
    setting.deleted = true;
  }
  return true;
}

}  // namespace

std::string FixtureFileError::Describe() const {
  return line == 0 ? message : "line " + std::to_string(line) + ": " + message;
}

bool ParseFixtureFile(std::string_view text, std::vector<FixtureSetting>& settings, FixtureFileError& error) {
  settings.clear();
  error = {};
  if (text.size() > kMaxFixtureFileBytes) {
    error.message = "file larger than " + std::to_string(kMaxFixtureFileBytes) + " bytes";
    return false;
  }
  if (text.substr(0, kBom.size()) == kBom) text.remove_prefix(kBom.size());
  for (size_t number = 1; !text.empty(); ++number) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    line = TrimBlanks(line);
    if (line.empty() || line.front() == '#') continue;
    FixtureSetting setting;
    setting.line = number;
    if (!ParseLine(line, setting, error.message)) {
      error.line = number;
      settings.clear();
      return false;
    }
    settings.push_back(std::move(setting));
  }
  return true;
}

}  // namespace vx::wmifixture

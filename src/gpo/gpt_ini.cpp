#include "gpo/gpt_ini.h"

#include <cstddef>
#include <optional>

#include "platform/text.h"

namespace vx::gpo {
namespace {

bool IsSection(std::string_view line) {
  const std::string_view text = TrimBlanks(line);
  return text.size() >= 2 && text.front() == '[' && text.back() == ']';
}

bool IsGeneral(std::string_view line) { return IsSection(line) && EqualsIgnoreCaseAscii(TrimBlanks(line), "[General]"); }

// The value text of a "Version=" line, if line is one.
std::optional<std::string_view> VersionValue(std::string_view line) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos || !EqualsIgnoreCaseAscii(TrimBlanks(line.substr(0, equals)), "Version"))
    return std::nullopt;
  return TrimBlanks(line.substr(equals + 1));
}

// Index of the Version line in [General]; general receives the section header's index.
std::optional<size_t> FindVersion(const std::vector<std::string>& lines, std::optional<size_t>& general) {
  general.reset();
  bool inGeneral = false;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (IsSection(lines[i])) {
      inGeneral = IsGeneral(lines[i]);
      if (inGeneral && !general) general = i;
    } else if (inGeneral && VersionValue(lines[i])) {
      return i;
    }
  }
  return std::nullopt;
}

}  // namespace

GptIni GptIni::Parse(std::string_view text) {
  GptIni ini;
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find_first_of("\r\n", start);
    if (end == std::string_view::npos) {
      ini.m_lines.emplace_back(text.substr(start));
      break;
    }
    ini.m_lines.emplace_back(text.substr(start, end - start));
    start = end + (text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1);
  }
  return ini;
}

DWORD GptIni::Version() const {
  std::optional<size_t> general;
  const std::optional<size_t> line = FindVersion(m_lines, general);
  if (!line) return 0;
  unsigned long long value = 0;
  const std::string_view text = *VersionValue(m_lines[*line]);
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    value = value * 10 + static_cast<unsigned>(c - '0');
    if (value > 0xFFFFFFFFull) return 0;
  }
  return static_cast<DWORD>(value);
}

void GptIni::SetVersion(DWORD version) {
  const std::string text = "Version=" + std::to_string(version);
  std::optional<size_t> general;
  if (const std::optional<size_t> line = FindVersion(m_lines, general)) {
    m_lines[*line] = text;
  } else if (general) {
    m_lines.insert(m_lines.begin() + static_cast<std::ptrdiff_t>(*general + 1), text);
  } else {
    m_lines.emplace_back("[General]");
    m_lines.push_back(text);
  }
}

std::string GptIni::Text() const {
  std::string text;
  for (const std::string& line : m_lines) {
    text += line;
    text += "\r\n";
  }
  return text;
}

DWORD BumpVersion(DWORD version, bool machine) {
  const unsigned shift = machine ? 0 : 16;
  DWORD half = static_cast<DWORD>((version >> shift) & 0xFFFF);
  half = (half + 1) & 0xFFFF;
  if (half == 0) half = 1;
  return (version & ~(static_cast<DWORD>(0xFFFF) << shift)) | (half << shift);
}

}  // namespace vx::gpo

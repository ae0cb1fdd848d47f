// An RSoP fixture file: the registry policy settings an RSoP session would report, one per line, for
// hosts that have no RSoP provider (the console host, tests). Plain UTF-8 text:
//
//   # section | precedence | GPO | setting | masks [| deleted]
//   machine | 1 | Default Domain Policy | LogonPolicy   | 3, 1
//   machine | 2 | Branch Office Policy  | LogonPolicy   | 2
//   user    | 1 | Default Domain Policy | RuntimePolicy |
//
// - Blank lines and lines whose first visible character is "#" are skipped; a UTF-8 byte order mark
//   and CR before LF are allowed. Spaces and tabs around every field are ignored.
// - section: "machine" or "user" (any case).
// - precedence: decimal, 1 to 2147483647 (1 is the GPO that wins).
// - GPO: the GPOID the setting reports, as it stands (a non-directory id is shown as the GPO's name).
// - setting: the registry value name, e.g. LogonPolicy.
// - masks: hexadecimal credential masks separated by commas, each 1 to 16 digits with an optional
//   "0x"; none at all is a disabled policy (a value with no elements).
// - deleted (optional sixth field): "deleted" marks the setting as deleted; empty means not deleted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vx::wmifixture {

// Larger files are refused before parsing.
inline constexpr size_t kMaxFixtureFileBytes = 1u << 20;

enum class FixtureSection { Machine, User };

struct FixtureSetting {
  FixtureSection section = FixtureSection::Machine;
  std::int32_t precedence = 1;
  std::u16string gpo;
  std::u16string setting;
  std::vector<std::uint64_t> masks;  // in their order; empty: disabled
  bool deleted = false;
  size_t line = 0;  // where it was written
};

struct FixtureFileError {
  size_t line = 0;  // 1-based; 0 for the file as a whole
  std::string message;
  // "line 3: unknown section 'computer' ..." (or the message alone for line 0).
  std::string Describe() const;
};

// Parses the whole text; false with the first error (and no settings) when a line is wrong.
bool ParseFixtureFile(std::string_view text, std::vector<FixtureSetting>& settings, FixtureFileError& error);

}  // namespace vx::wmifixture

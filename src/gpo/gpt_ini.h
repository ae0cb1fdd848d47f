// gpt.ini, the file at the top of a GPO folder that carries the GPO's version: the "[General]" section's
// "Version=<decimal>". The user half of the version is the upper 16 bits, the machine half the lower;
// the editor bumps the half it changed each time it writes the settings back. Every other line of the
// file is kept as it stands; lines are written with CRLF.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/wintypes.h"

namespace vx::gpo {

class GptIni {
 public:
  // Any text parses: lines end at CRLF, LF or CR; a final line terminator adds no empty line.
  static GptIni Parse(std::string_view text);

  // The Version of the [General] section (names compare case-insensitively, white space around them
  // is ignored): its leading decimal digits, 0 when there are none, there is no such line, or the
  // number does not fit 32 bits.
  DWORD Version() const;
  // Rewrites the Version line as "Version=<decimal>"; adds the line at the top of [General], and the
  // section at the end of the file, when they are missing.
  void SetVersion(DWORD version);

  std::string Text() const;  // every line followed by CRLF
  const std::vector<std::string>& Lines() const { return m_lines; }

 private:
  std::vector<std::string> m_lines;
};

// The version after a change to one half: that half plus one, where a half that wraps to 0 gives 1;
// the other half unchanged.
DWORD BumpVersion(DWORD version, bool machine);

}  // namespace vx::gpo

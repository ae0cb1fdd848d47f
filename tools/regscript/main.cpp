// vxregscript: turns a registration script into the WiX RegistryValue elements of the package, so
// the package registers exactly what the module's DllRegisterServer does.
//   vxregscript [--file NAME=FILE_ID]... [--directory NAME=DIRECTORY_ID]... SCRIPT OUTPUT
// Exit codes: 0 written; 1 usage error, unreadable script or unwritable output; 2 the script is
// refused (syntax error, a Delete key, an unknown %NAME%).
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text.h"
#include "wix_registry.h"

namespace {

constexpr const char* kUsage =
    "usage: vxregscript [--file NAME=FILE_ID]... [--directory NAME=DIRECTORY_ID]... SCRIPT OUTPUT\n"
    "Writes a WiX include of RegistryValue elements for the registration script SCRIPT.\n"
    "  --file NAME=FILE_ID            %NAME% is the installed path of the package's file FILE_ID\n"
    "  --directory NAME=DIRECTORY_ID  %NAME% is the installed path of the package's directory\n";

int Fail(int code, const std::string& message) {
  std::fprintf(stderr, "vxregscript: %s\n%s", message.c_str(), code == 1 ? kUsage : "");
  return code;
}

// The script as DllRegisterServer reads its resource: UTF-16 after a byte-order mark, else UTF-8.
std::u16string DecodeScript(const std::string& bytes) {
  if (bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0xFF && static_cast<unsigned char>(bytes[1]) == 0xFE) {
    std::u16string text;
    for (size_t i = 2; i + 1 < bytes.size(); i += 2)
      text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
    return text;
  }
  std::string_view text(bytes);
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return vx::Utf8ToUtf16(text);
}

}  // namespace

int main(int argc, char** argv) {
  vx::regscript::FormattedReplacements replacements;
  std::vector<std::string> paths;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--file" || arg == "--directory") {
      const std::string_view assignment = ++i < argc ? argv[i] : "";
      const size_t equals = assignment.find('=');
      if (equals == 0 || equals == std::string_view::npos || equals + 1 == assignment.size())
        return Fail(1, std::string(arg) + " needs NAME=ID");
      // [#File] and [Directory] are the installer's formatted text for the installed paths.
      const std::string id = std::string(assignment.substr(equals + 1));
      replacements[vx::Utf8ToUtf16(assignment.substr(0, equals))] =
          vx::Utf8ToUtf16(arg == "--file" ? "[#" + id + "]" : "[" + id + "]");
    } else if (arg.starts_with("--")) {
      return Fail(1, "unknown option " + std::string(arg));
    } else {
      paths.emplace_back(arg);
    }
  }
  if (paths.size() != 2) return Fail(1, "expected SCRIPT and OUTPUT");

  std::ifstream in(paths[0], std::ios::binary);
  if (!in) return Fail(1, paths[0] + ": cannot open");
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};

  std::vector<vx::regscript::RegistryRow> rows;
  std::string error;
  if (!vx::regscript::RegistryRows(DecodeScript(bytes), replacements, rows, error))
    return Fail(2, paths[0] + ": " + error);

  const std::string name = std::string(vx::FileNamePart(std::string_view(paths[0])));
  std::ofstream out(paths[1], std::ios::binary | std::ios::trunc);
  out << vx::regscript::WixInclude(rows, name);
  out.close();
  if (!out) return Fail(1, paths[1] + ": cannot write");
  return 0;
}

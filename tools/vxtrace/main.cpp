// vxtrace: prints a trace file in readable form.
//   vxtrace [--no-header] [--header-only] FILE
// Exit codes: 0 the file was read completely; 1 usage error, or the file cannot be opened or read;
// 2 the file is corrupt or truncated (everything before the fault is printed first).
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "trace_reader.h"

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>

#include "platform/text.h"
#endif

namespace {

// Trace files are tens of megabytes; anything this large is not one.
constexpr std::uint64_t kMaxFileBytes = std::uint64_t{1} << 30;
constexpr std::size_t kFlushBytes = 1 << 16;

#if defined(_WIN32)
using Arg = std::wstring;
std::string Display(const Arg& arg) { return vx::Utf16ToUtf8(vx::AsU16(arg.c_str())); }
std::FILE* OpenForReading(const Arg& path) { return _wfopen(path.c_str(), L"rb"); }
#else
using Arg = std::string;
std::string Display(const Arg& arg) { return arg; }
std::FILE* OpenForReading(const Arg& path) { return std::fopen(path.c_str(), "rb"); }
#endif

constexpr const char* kUsage =
    "usage: vxtrace [--no-header] [--header-only] FILE\n"
    "Prints a trace file: its header lines, then one line per record:\n"
    "  date, time, thread id (hexadecimal), kind and text, indented by scope depth.\n"
    "  --no-header    print the records only\n"
    "  --header-only  print the header lines only\n"
    "Exit codes: 0 read completely, 1 usage or file error, 2 corrupt or truncated file.\n";

int UsageError(const std::string& message) {
  std::fprintf(stderr, "vxtrace: %s\n%s", message.c_str(), kUsage);
  return 1;
}

// Reads the whole file, refusing one over the size limit; on failure returns the reason.
bool ReadFile(const Arg& path, std::vector<std::uint8_t>& bytes, std::string& reason) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(std::filesystem::path(path), error);
  if (!error && size > kMaxFileBytes) {
    reason = "the file is larger than 1 GiB (" + std::to_string(size) + " bytes), which no trace file is";
    return false;
  }
  if (!error) bytes.reserve(static_cast<std::size_t>(size));
  errno = 0;
  std::FILE* file = OpenForReading(path);
  if (!file) {
    reason = std::string("cannot open: ") + std::strerror(errno);
    return false;
  }
  std::uint8_t chunk[1 << 16];
  bool ok = true;
  for (;;) {
    const std::size_t got = std::fread(chunk, 1, sizeof chunk, file);
    if (bytes.size() + got > kMaxFileBytes) {
      reason = "the file is larger than 1 GiB, which no trace file is";
      ok = false;
      break;
    }
    bytes.insert(bytes.end(), chunk, chunk + got);
    if (got < sizeof chunk) {
      if (std::ferror(file)) {
        reason = std::string("cannot read: ") + std::strerror(errno);
        ok = false;
      }
      break;
    }
  }
  std::fclose(file);
  return ok;
}

void Flush(std::string& out) {
  std::fwrite(out.data(), 1, out.size(), stdout);
  out.clear();
}

int Run(const std::vector<Arg>& args) {
  bool header = true, records = true;
  const Arg* path = nullptr;
  for (const Arg& arg : args) {
    const std::string text = Display(arg);
    if (text == "-h" || text == "--help") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (text == "--no-header") {
      header = false;
    } else if (text == "--header-only") {
      records = false;
    } else if (text.size() > 1 && text[0] == '-') {
      return UsageError("unknown option " + text);
    } else if (path) {
      return UsageError("more than one file given");
    } else {
      path = &arg;
    }
  }
  if (!path) return UsageError("no file given");
  if (!header && !records) return UsageError("--no-header and --header-only exclude each other");

  const std::string name = Display(*path);
  std::vector<std::uint8_t> bytes;
  std::string reason;
  if (!ReadFile(*path, bytes, reason)) {
    std::fprintf(stderr, "vxtrace: %s: %s\n", name.c_str(), reason.c_str());
    return 1;
  }

  // Print as the records are read, so a large file needs no second copy in memory.
  vxtrace::TraceReader reader(bytes);
  vxtrace::TracePrinter printer;
  std::string out;
  std::vector<std::string> lines;
  const bool headerRead = reader.ReadHeader(lines);
  if (header)
    for (const std::string& line : lines) printer.PrintHeaderLine(line, out);
  if (records && headerRead) {
    vxtrace::TraceRecord record;
    while (reader.Next(record)) {
      printer.PrintRecord(record, out);
      if (out.size() >= kFlushBytes) Flush(out);
    }
  }
  Flush(out);
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    std::fprintf(stderr, "vxtrace: %s: cannot write the output\n", name.c_str());
    return 1;
  }
  if (const auto& fault = reader.fault()) {
    std::fprintf(stderr, "vxtrace: %s: %s\n", name.c_str(), fault->message.c_str());
    return 2;
  }
  return 0;
}

}  // namespace

#if defined(_WIN32)
// The wide entry point, so that any path opens whatever the code page.
int wmain(int argc, wchar_t** argv) {
  _setmode(_fileno(stdout), _O_BINARY);  // the output is UTF-8 with LF line ends, as on every platform
  return Run(std::vector<Arg>(argv + 1, argv + argc));
}
#else
int main(int argc, char** argv) { return Run(std::vector<Arg>(argv + 1, argv + argc)); }
#endif

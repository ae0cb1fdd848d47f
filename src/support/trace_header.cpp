// The plain-text header at the start of a new trace file.
#include "platform/format.h"
#include "support/trace_record.h"
#include "platform/text.h"
#include "support/trace_internal.h"

namespace VXTraceNS {

using vx::FormatNarrow;
using vx::Utf16ToUtf8;
using vx::platform::IRegistryKey;
using vx::platform::RegistryRoot;

namespace {

constexpr const char* kTraceVersion = "3.0.1";
constexpr size_t kMaxProductName = 260;

}  // namespace

std::string OsLine(const vx::platform::OsVersionInfo& os) {
  const bool workstation = os.productType == VER_NT_WORKSTATION;
  if (os.platformId == VER_PLATFORM_WIN32_NT) {
    if (os.major == 6 && os.minor == 2) return workstation ? "OS: Windows8" : "OS: Server2012";
    if (os.major == 6 && os.minor == 1) return "OS: Windows7";
    if (os.major == 6 && os.minor == 0) return workstation ? "OS: WindowsVista" : "OS: Server2008";
    if (os.major == 5 && os.minor == 1) return "OS: WindowsXP";
    if (os.major == 5 && os.minor == 2) return "OS: Server2003";
    if (os.major == 5) return "OS: Windows2000";
  }
  return FormatNarrow("OS: UNKNOWN OS(Major:%d Minor:%d)", os.major, os.minor);
}

std::string FileVersionLine(vx::platform::IProcessInfo& process, std::u16string_view modulePath) {
  vx::platform::VersionResource version;
  if (!process.ReadVersionResource(modulePath, version)) return "FileVersion: UNKNOWN";
  // The file version's most significant half, then the product version's least significant half.
  return FormatNarrow("FileVersion: %d.%d.%d.%d", HIWORD(version.fileVersionMS), LOWORD(version.fileVersionMS),
                      HIWORD(version.productVersionLS), LOWORD(version.productVersionLS));
}

std::vector<std::string> ProductLines(vx::platform::IRegistry& registry) {
  std::vector<std::string> lines;
  std::unique_ptr<IRegistryKey> products;
  if (registry.OpenKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Vantorix\\Products", KEY_READ, products) ==
      ERROR_SUCCESS) {
    std::u16string name;
    for (DWORD index = 0; products->EnumKey(index, name) == ERROR_SUCCESS; ++index) {
      if (name.size() > kMaxProductName) continue;
      const std::string product = Utf16ToUtf8(name);
      std::unique_ptr<IRegistryKey> key;
      const LONG openError = products->OpenKey(name, KEY_READ, key);
      if (openError != ERROR_SUCCESS) {
        lines.push_back(FormatNarrow("Product: %s ERROR(0x%X)", product, openError));
        continue;
      }
      std::u16string version;
      const LONG readError = vx::platform::ReadString(*key, u"Version", version);
      lines.push_back(readError == ERROR_SUCCESS
                          ? FormatNarrow("Product: %s; Version: %s", product, Utf16ToUtf8(version))
                          : FormatNarrow("Product: %s; Version: ERROR(0x%X)", product, readError));
    }
  }
  if (lines.empty()) lines.emplace_back("No Corvane products found");
  return lines;
}

std::string InstallationLine(vx::platform::IRegistry& registry) {
  std::unique_ptr<IRegistryKey> key;
  registry.OpenKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Policies\\Vantorix", KEY_READ, key);
  const auto network = ReadConfigDword(key.get(), u"NetworkSupport");
  return network && *network == 0 ? "installation: LOCAL" : "installation: NETWORK";
}

std::vector<std::string> HeaderLines(vx::platform::IRegistry& registry, vx::platform::IProcessInfo& process,
                                     const SYSTEMTIME& now) {
  const std::u16string modulePath = process.ModulePath();
  const auto os = process.OsVersion();
  std::vector<std::string> lines;
  lines.emplace_back(kHeaderMagic);
  lines.push_back(FormatNarrow("Compiled: %s %s", __DATE__, __TIME__));
  lines.push_back(FormatNarrow("File location: %s", Utf16ToUtf8(modulePath)));
  lines.push_back(OsLine(os));
  lines.push_back(FormatNarrow("ServicePack: %s", Utf16ToUtf8(os.servicePack)));
  lines.push_back(FormatNarrow("Machine name: %s", Utf16ToUtf8(process.ComputerName())));
  lines.push_back(FormatNarrow("Trace Ver: %s", kTraceVersion));
  lines.push_back(FileVersionLine(process, modulePath));
  for (auto& line : ProductLines(registry)) lines.push_back(std::move(line));
  lines.push_back(InstallationLine(registry));
  lines.push_back(FormatNarrow("%02d/%02d/%04d %02d:%02d:%02d.%03d", now.wMonth, now.wDay, now.wYear, now.wHour,
                               now.wMinute, now.wSecond, now.wMilliseconds));
  lines.emplace_back(kHeaderEnd);
  return lines;
}

}  // namespace VXTraceNS

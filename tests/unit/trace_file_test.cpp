// The plain-text header of a new trace file, line by line.
#include "support/trace_internal.h"
#include "trace_test_support.h"

using namespace VXTraceNS;
using vx::platform::OsVersionInfo;

namespace {

class TraceHeader : public vxtest::TraceFixture {
 protected:
  std::vector<std::string> Header() { return HeaderLines(registry, process, clock.time); }
  void Product(std::u16string_view name, const char16_t* version) {
    auto key = Key(u"SOFTWARE\\Vantorix\\Products\\" + std::u16string(name));
    if (version) vx::platform::WriteString(*key, u"Version", version);
  }
};

}  // namespace

TEST_F(TraceHeader, EveryLineInOrder) {
  Product(u"Keystone Client", u"5.1.2");
  auto lines = Header();
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(lines[1].rfind("Compiled: ", 0), 0u);
  EXPECT_EQ(lines[1].size(), std::string("Compiled: Feb 24 2014 12:34:56").size());
  lines[1] = "Compiled";
  EXPECT_EQ(lines,
            (std::vector<std::string>{
                "trace3", "Compiled", "File location: C:\\Program Files\\Vantorix\\VXGPOSnapin.dll", "OS: Windows7",
                "ServicePack: Service Pack 1", "Machine name: ADMIN-PC", "Trace Ver: 3.0.1", "FileVersion: 3.2.7.6",
                "Product: Keystone Client; Version: 5.1.2", "installation: NETWORK", "11/22/2026 20:47:05.123", "."}));
  process.hasVersion = false;
  EXPECT_EQ(Header()[7], "FileVersion: UNKNOWN");
}

TEST(TraceHeaderOs, Table) {
  constexpr BYTE ws = VER_NT_WORKSTATION, server = VER_NT_SERVER;
  const struct {
    OsVersionInfo os;
    const char* line;
  } cases[] = {
      {{VER_PLATFORM_WIN32_NT, 6, 2, server, u""}, "OS: Server2012"},
      {{VER_PLATFORM_WIN32_NT, 6, 2, ws, u""}, "OS: Windows8"},
      {{VER_PLATFORM_WIN32_NT, 6, 1, server, u""}, "OS: Windows7"},
      {{VER_PLATFORM_WIN32_NT, 6, 0, ws, u""}, "OS: WindowsVista"},
      {{VER_PLATFORM_WIN32_NT, 6, 0, VER_NT_DOMAIN_CONTROLLER, u""}, "OS: Server2008"},
      {{VER_PLATFORM_WIN32_NT, 5, 1, ws, u""}, "OS: WindowsXP"},
      {{VER_PLATFORM_WIN32_NT, 5, 2, server, u""}, "OS: Server2003"},
      {{VER_PLATFORM_WIN32_NT, 5, 0, ws, u""}, "OS: Windows2000"},
      {{VER_PLATFORM_WIN32_NT, 5, 9, ws, u""}, "OS: Windows2000"},
      {{VER_PLATFORM_WIN32_NT, 10, 0, ws, u""}, "OS: UNKNOWN OS(Major:10 Minor:0)"},
      {{1, 6, 1, ws, u""}, "OS: UNKNOWN OS(Major:6 Minor:1)"},
  };
  for (const auto& c : cases) EXPECT_EQ(OsLine(c.os), c.line) << c.os.major << "." << c.os.minor;
}

TEST_F(TraceHeader, ProductLines) {
  EXPECT_EQ(ProductLines(registry), std::vector<std::string>{"No Corvane products found"});
  Key(u"SOFTWARE\\Vantorix\\Products");
  EXPECT_EQ(ProductLines(registry), std::vector<std::string>{"No Corvane products found"}) << "no subkey";
  Product(u"Alpha", u"1.0");
  Product(u"Beta", nullptr);
  EXPECT_EQ(ProductLines(registry),
            (std::vector<std::string>{"Product: Alpha; Version: 1.0", "Product: Beta; Version: ERROR(0x2)"}));
}

TEST_F(TraceHeader, InstallationIsLocalOnlyForADwordZero) {
  EXPECT_EQ(InstallationLine(registry), "installation: NETWORK");
  auto key = Key(u"SOFTWARE\\Policies\\Vantorix");
  vx::platform::WriteString(*key, u"NetworkSupport", u"0");
  EXPECT_EQ(InstallationLine(registry), "installation: NETWORK");
  vx::platform::WriteDword(*key, u"NetworkSupport", 1);
  EXPECT_EQ(InstallationLine(registry), "installation: NETWORK");
  vx::platform::WriteDword(*key, u"NetworkSupport", 0);
  EXPECT_EQ(InstallationLine(registry), "installation: LOCAL");
}

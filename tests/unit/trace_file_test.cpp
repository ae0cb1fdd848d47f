// The plain-text header of a new trace file, line by line.
#include "support/trace_internal.h"
#include "trace_test_support.h"

using namespace VXTraceNS;
using vx::platform::OsVersionInfo;
using vx::platform::RegistryRoot;

namespace {

class TraceHeader : public vxtest::TraceFixture {
 protected:
  std::vector<std::string> Header() { return HeaderLines(registry, process, clock.time); }
  void Product(std::u16string_view name, const char16_t* version) {
    std::unique_ptr<vx::platform::IRegistryKey> key;
    registry.CreateKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Vantorix\\Products\\" + std::u16string(name),
                       KEY_ALL_ACCESS, key);
    if (version) vx::platform::WriteString(*key, u"Version", version);
  }
  void NetworkSupport(std::optional<DWORD> value) {
    std::unique_ptr<vx::platform::IRegistryKey> key;
    registry.CreateKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Policies\\Vantorix", KEY_ALL_ACCESS, key);
    if (value) vx::platform::WriteDword(*key, u"NetworkSupport", *value);
    else vx::platform::WriteString(*key, u"NetworkSupport", u"0");
  }
};

}  // namespace

TEST_F(TraceHeader, EveryLineInOrder) {
  Product(u"Keystone Client", u"5.1.2");
  const auto lines = Header();
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(lines[0], "trace3");
  EXPECT_EQ(lines[1].rfind("Compiled: ", 0), 0u);
  EXPECT_EQ(lines[1].size(), std::string("Compiled: Feb 24 2014 12:34:56").size());
  EXPECT_EQ(lines[2], "File location: C:\\Program Files\\Vantorix\\VXGPOSnapin.dll");
  EXPECT_EQ(lines[3], "OS: Windows7");
  EXPECT_EQ(lines[4], "ServicePack: Service Pack 1");
  EXPECT_EQ(lines[5], "Machine name: ADMIN-PC");
  EXPECT_EQ(lines[6], "Trace Ver: 3.0.1");
  EXPECT_EQ(lines[7], "FileVersion: 3.2.7.6");
  EXPECT_EQ(lines[8], "Product: Keystone Client; Version: 5.1.2");
  EXPECT_EQ(lines[9], "installation: NETWORK");
  EXPECT_EQ(lines[10], "11/22/2026 20:47:05.123");
  EXPECT_EQ(lines[11], ".");
}

TEST_F(TraceHeader, WrittenAtTheStartOfANewFile) {
  Config(u"DoTrace", 1);
  Start();
  { VXTraceNS::CTraceScope scope("x"); }
  Stop();
  EXPECT_EQ(File().header, Header());
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

TEST_F(TraceHeader, FileVersionUnknownWithoutAResource) {
  process.hasVersion = false;
  EXPECT_EQ(Header()[7], "FileVersion: UNKNOWN");
}

TEST_F(TraceHeader, ProductLines) {
  EXPECT_EQ(ProductLines(registry), std::vector<std::string>{"No Corvane products found"});
  std::unique_ptr<vx::platform::IRegistryKey> key;
  registry.CreateKey(RegistryRoot::LocalMachine, u"SOFTWARE\\Vantorix\\Products", KEY_ALL_ACCESS, key);
  EXPECT_EQ(ProductLines(registry), std::vector<std::string>{"No Corvane products found"}) << "no subkey";
  Product(u"Alpha", u"1.0");
  Product(u"Beta", nullptr);
  EXPECT_EQ(ProductLines(registry),
            (std::vector<std::string>{"Product: Alpha; Version: 1.0", "Product: Beta; Version: ERROR(0x2)"}));
}

TEST_F(TraceHeader, InstallationIsLocalOnlyForADwordZero) {
  EXPECT_EQ(InstallationLine(registry), "installation: NETWORK");
  NetworkSupport(std::nullopt);  // REG_SZ "0"
  EXPECT_EQ(InstallationLine(registry), "installation: NETWORK");
  NetworkSupport(1);
  EXPECT_EQ(InstallationLine(registry), "installation: NETWORK");
  NetworkSupport(0);
  EXPECT_EQ(InstallationLine(registry), "installation: LOCAL");
}

// What a traced run writes: the plain-text header line by line, then the records of each operation in
// order, their texts and size caps, the date and time only on change.
#include <cstdio>
#include <stdexcept>

#include "support/trace_internal.h"
#include "trace_test_support.h"

using namespace VXTraceNS;
using vx::platform::OsVersionInfo;
using vxtest::Kinds;
using vxtest::Texts;

using TraceRecords = vxtest::TracingFixture;

TEST_F(TraceRecords, HeaderEveryLineInOrder) {
  vx::platform::WriteString(*Key(u"SOFTWARE\\Vantorix\\Products\\Keystone Client"), u"Version", u"5.1.2");
  Key(u"SOFTWARE\\Vantorix\\Products\\Other");  // no version
  auto lines = HeaderLines(registry, process, clock.time);
  ASSERT_EQ(lines.size(), 13u);
  EXPECT_EQ(lines[1].rfind("Compiled: ", 0), 0u);
  EXPECT_EQ(lines[1].size(), std::string("Compiled: Feb 24 2014 12:34:56").size());
  lines[1] = "Compiled";
  EXPECT_EQ(lines,
            (std::vector<std::string>{
                "trace3", "Compiled", "File location: C:\\Program Files\\Vantorix\\VXGPOSnapin.dll", "OS: Windows7",
                "ServicePack: Service Pack 1", "Machine name: ADMIN-PC", "Trace Ver: 3.0.1", "FileVersion: 3.2.7.6",
                "Product: Keystone Client; Version: 5.1.2", "Product: Other; Version: ERROR(0x2)",
                "installation: NETWORK", "11/22/2026 20:47:05.123", "."}));
  process.hasVersion = false;
  EXPECT_EQ(FileVersionLine(process, u"C:\\x.dll"), "FileVersion: UNKNOWN");
}

TEST(TraceHeader, OsLineTable) {
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
      {{VER_PLATFORM_WIN32_NT, 10, 0, ws, u""}, "OS: UNKNOWN OS(Major:10 Minor:0)"},
      {{1, 6, 1, ws, u""}, "OS: UNKNOWN OS(Major:6 Minor:1)"},
  };
  for (const auto& c : cases) EXPECT_EQ(OsLine(c.os), c.line) << c.os.major << "." << c.os.minor;
}

TEST_F(TraceRecords, HeaderProductAndInstallationLines) {
  EXPECT_EQ(ProductLines(registry), std::vector<std::string>{"No Corvane products found"});
  Key(u"SOFTWARE\\Vantorix\\Products");
  EXPECT_EQ(ProductLines(registry), std::vector<std::string>{"No Corvane products found"}) << "no subkey";
  // LOCAL only for a DWORD zero; no key at all is in the whole header's test.
  auto key = Key(u"SOFTWARE\\Policies\\Vantorix");
  vx::platform::WriteDword(*key, u"NetworkSupport", 1);
  EXPECT_EQ(InstallationLine(registry), "installation: NETWORK");
  vx::platform::WriteDword(*key, u"NetworkSupport", 0);
  EXPECT_EQ(InstallationLine(registry), "installation: LOCAL");
}

TEST_F(TraceRecords, ScopeWritesEnterMessageResultExitEachInOneWriteAndDateAndTimeOnlyOnChange) {
  {
    CTraceScope scope("CRsopData::LoadRsop()");
    scope.Message("count = %d, name = %s", 3, "machine");
    scope.Result(E_FAIL);
    clock.SetTime({2026, 11, 0, 22, 20, 47, 5, 124});
    scope.Message("later");
    scope.Message("same millisecond");
    clock.SetTime({2026, 11, 1, 23, 20, 47, 5, 124});  // a new day at the same time of day
    scope.Message("next day");
  }
  EXPECT_EQ(files.WriteCalls(), 13u) << "the header, then one write per record";
  Stop();
  const auto file = File();
  EXPECT_EQ(Kinds(file), "tT>UETUUtTU<");
  std::vector<std::string> texts;
  for (const auto& record : file.records) texts.push_back(record.text);
  EXPECT_EQ(texts, (std::vector<std::string>{"11/22/26", "20:47:05.123", "CRsopData::LoadRsop()",
                                             "count = 3, name = machine", "-2147467259 ", "20:47:05.124", "later",
                                             "same millisecond", "11/23/26", "20:47:05.124", "next day", ""}));
}

TEST_F(TraceRecords, NamesAreCutAMissingNameIsMarkedAndEachRecordCarriesItsThread) {
  { CTraceScope scope(std::string(150, 'n').c_str()); }
  process.threadId = 99;
  { CTraceScope scope(nullptr); }
  const auto throwing = [] {
    CTraceScope scope("CTest::Throwing");
    throw std::runtime_error("unwinding");
  };
  EXPECT_THROW(throwing(), std::runtime_error);
  Stop();
  const auto file = File();
  ASSERT_EQ(Kinds(file), "tT><><><") << "the exit is written during unwinding too";
  EXPECT_EQ(Texts(file, '>'), (std::vector<std::string>{std::string(99, 'n'), "????", "CTest::Throwing"}));
  EXPECT_EQ(file.records[4].threadId, 99u);
}

// Formats are made ready once per address, but an address says nothing about the text it holds now.
TEST_F(TraceRecords, MessageFormatsAreCutToFitAndAlwaysTheTextAtTheirAddressNow) {
  char format[64] = "first %d";
  std::vector<std::string> many;
  for (int i = 0; i < 300; ++i) many.push_back("format " + std::to_string(i) + " = %d");
  std::string reused(401, '%');
  {
    CTraceScope scope("Messages");
    scope.Message("");
    scope.Message("%s and %c stay narrow", "text", 'x');
    scope.Message("%s", std::string(500, 'a').c_str());           // longer than 399 bytes: cut
    scope.Message((std::string(398, 'b') + "\xc3\xa9").c_str());  // a character is not split
    scope.Message("100%%s done");  // the narrowing prefix goes after every "%s", even a literal one
    scope.Message(format, 1);
    std::snprintf(format, sizeof format, "second %%s");
    scope.Message(format, "text");
    std::snprintf(format, sizeof format, "second %%s!");
    scope.Message(format, "text");
    for (int round = 0; round < 2; ++round)
      for (int i = 0; i < 300; ++i) scope.Message(many[static_cast<size_t>(i)].c_str(), i);
    // A format that does not fit is dropped, remembered as dropped, and its address used again is a new format.
    scope.Message(reused.c_str());
    scope.Message(reused.c_str());
    reused.assign(400, '-');
    scope.Message(reused.c_str());
  }
  const auto texts = Written('U');
  ASSERT_EQ(texts.size(), 8u + 600u + 1u);
  EXPECT_EQ(std::vector<std::string>(texts.begin(), texts.begin() + 8),
            (std::vector<std::string>{"", "text and x stay narrow", std::string(399, 'a'), std::string(398, 'b'),
                                      "100%hs done", "first 1", "second text", "second text!"}));
  for (size_t i = 0; i < 600; ++i)
    EXPECT_EQ(texts[8 + i], "format " + std::to_string(i % 300) + " = " + std::to_string(i % 300));
  EXPECT_EQ(texts.back(), std::string(399, '-'));
}

TEST_F(TraceRecords, ResultRecordsFailuresAndSecuritySuccessesOnly) {
  {
    CTraceScope scope("Results");
    scope.Result(S_OK);
    scope.Result(S_FALSE);
    scope.Result(static_cast<HRESULT>(0x00090312), "continue needed");
    scope.Result(E_POINTER, "[12 : store.cpp] HPTR(p)");
    scope.Result(E_FAIL, std::string(300, 'x').c_str());
  }
  EXPECT_EQ(Written('E'), (std::vector<std::string>{"590610 continue needed", "-2147467261 [12 : store.cpp] HPTR(p)",
                                                    "-2147467259 " + std::string(248, 'x')}))
      << "cut at 260 bytes";
}

TEST(TraceOff, NoFacilityMeansNoTracingAndNoCrash) {
  ASSERT_EQ(CurrentFacility(), nullptr);
  CTraceScope scope("Nothing");
  scope.Message("%d", 1);
  EXPECT_EQ(scope.Result(E_FAIL), E_FAIL);
  EXPECT_NE(dynamic_cast<CNoOutput*>(&GetTraceOutput()), nullptr);
}

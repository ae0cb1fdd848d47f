// Configuration rules of the trace facility: what is traced, where, and when a change takes effect.
#include "support/trace_internal.h"
#include "trace_test_support.h"

using namespace VXTraceNS;
using vxtest::Kinds;
using vxtest::Texts;

namespace {

void TracedOperation() {
  CTraceScope scope("CTest::Operation");
  scope.Message("value %d", 42);
  scope.Result(E_FAIL);
}

using TraceConfig = vxtest::TraceFixture;

// A clock that offers its tick count as a plain function too, as the system clocks do; its virtual
// tick never moves, so only the plain function can bring a refresh.
std::atomic<DWORD> g_plainTick{5000};
struct PlainTickClock : vx::platform::FakeClock {
  TickFunction TickSource() override {
    return [] { return g_plainTick.load(); };
  }
};

struct ConfigCase {
  const char* name;
  std::vector<std::pair<const char16_t*, DWORD>> values;  // none: no configuration key at all
  std::vector<const char16_t*> only, never;               // value names under Components and ComponentsNOT
  bool filtered;                                          // by the component filter
  const char* kinds;                                      // what a failing operation writes; "": no file
};

const std::pair<const char16_t*, DWORD> kOn{u"DoTrace", 1};

const ConfigCase kConfigCases[] = {
    {"NoKey", {}, {}, {}, false, ""},
    {"DoTraceAlone", {kOn}, {}, {}, false, "tT>UE<"},
    {"TraceToFileZero", {kOn, {u"TraceToFile", 0}}, {}, {}, false, ""},
    {"NegativeVerbosityKeepsFailedResults", {kOn, {u"Verbosity", 0xFFFFFFFF}}, {}, {}, false, "tTE"},
    {"ProfilingSuppressesMessages", {kOn, {u"DoProfiling", 1}}, {}, {}, false, "tT>E<"},
    {"OnlyOthersKeepsResults", {kOn}, {u"Other"}, {}, true, "tTE"},
    {"OnlyAmongOthersIgnoringCase", {kOn}, {u"Other", u"vxgposnapin", u"Third"}, {}, false, "tT>UE<"},
    {"NeverThisModule", {kOn}, {}, {u"VXGPOSnapin"}, true, "tTE"},
    {"NeverOthers", {kOn}, {}, {u"Other"}, false, "tT>UE<"},
    {"NamedInBothTraces", {kOn}, {u"VXGPOSnapin"}, {u"VXGPOSnapin"}, false, "tT>UE<"},
    {"NameHasNoExtension", {kOn}, {u"VXGPOSnapin.dll"}, {}, true, "tTE"},
};

class TraceConfigCases : public vxtest::TraceFixture, public ::testing::WithParamInterface<ConfigCase> {};

}  // namespace

TEST_P(TraceConfigCases, WhatAFailingOperationWrites) {
  const ConfigCase& c = GetParam();
  for (const auto& [name, value] : c.values) Config(name, value);
  for (const char16_t* name : c.only) vx::platform::WriteDword(*ConfigKey(u"Components"), name, 0);
  for (const char16_t* name : c.never) vx::platform::WriteDword(*ConfigKey(u"ComponentsNOT"), name, 0);
  auto& facility = Start();
  TracedOperation();
  EXPECT_EQ(facility.ComponentEnabled(), !c.filtered);
  const bool noFile = !*c.kinds;
  EXPECT_EQ(dynamic_cast<CNoOutput*>(&GetTraceOutput()) != nullptr, noFile);
  Stop();
  EXPECT_EQ(files.FilePaths().empty() ? "" : Kinds(File()), c.kinds);
}

INSTANTIATE_TEST_SUITE_P(Rules, TraceConfigCases, ::testing::ValuesIn(kConfigCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(TraceConfig, SettingsWordFollowsTheValuesAndTheThirtyTwoBitViewIsTheFallback) {
  auto& facility = Start();
  const auto settings = [&] {
    clock.Advance(kRefreshIntervalMs + 1);
    CTraceScope scope("Refresh");  // with no plain tick function, the port's tick brings the refresh
    return facility.Settings();
  };
  EXPECT_EQ(settings(), 0u) << "no key";
  vx::platform::WriteDword(*Key(kConfigKey, KEY_WOW64_32KEY), u"DoTrace", 1);
  EXPECT_EQ(settings(), kWriteToFile | kNewFileAlways | kTracingOn);
  Config(u"DoTrace", 1);  // the 64-bit key, once made, is the one read
  Config(u"TraceToFile", 2);
  Config(u"NewFileAlways", 0);
  Config(u"DoLog", 7);
  Config(u"DoProfiling", 1);
  EXPECT_EQ(settings(), kTracingOn | kLogging | kProfiling);
  // Values that are not DWORDs count as missing.
  vx::platform::WriteString(*ConfigKey(), u"NewFileAlways", u"0");
  vx::platform::WriteString(*ConfigKey(), u"DoTrace", u"1");
  EXPECT_EQ(settings(), kNewFileAlways | kLogging | kProfiling);
}

TEST_F(TraceConfig, EachRunTruncatesTheFileUnlessNewFileAlwaysIsZeroThenAppendsANewRunRecord) {
  files.SetFileBytes(kDefaultFile, {'o', 'l', 'd'});
  Config(u"DoTrace", 1);
  Start();
  EXPECT_EQ(process.openMutexes, std::vector<std::u16string>{u"4242"}) << "named by the process id";
  TracedOperation();
  Stop();
  EXPECT_TRUE(process.openMutexes.empty());
  EXPECT_EQ(File().header, HeaderLines(registry, process, clock.time));

  Config(u"NewFileAlways", 0);
  clock.SetTime({2027, 1, 5, 3, 9, 8, 7, 6});
  Start();
  TracedOperation();
  Stop();
  const auto file = File();  // a second header would not read as records
  EXPECT_EQ(Kinds(file), "tT>UE<NtT>UE<");
  EXPECT_EQ(Texts(file, 'N'), std::vector<std::string>{"01-03-2027"});
}

// A change is seen at the first entry after the refresh interval, by every later call of the scopes
// already open; the output object made at the first record stays whatever changes after.
TEST_F(TraceConfig, ChangesTakeEffectAtTheNextRefreshButTheOutputStays) {
  PlainTickClock plainClock;
  Config(u"DoTrace", 0);
  Start(&plainClock);
  {
    CTraceScope outer("Outer");  // off: nothing
    Config(u"DoTrace", 1);
    g_plainTick += kRefreshIntervalMs;  // not yet past the next check time
    { CTraceScope early("Early"); }
    g_plainTick += 1;
    { CTraceScope inner("Inner"); }
    outer.Message("after the switch");
  }
  Config(u"TraceToFile", 0);
  g_plainTick += kRefreshIntervalMs + 1;
  {
    CTraceScope second("Second");
    Config(u"DoTrace", 0);
    g_plainTick += kRefreshIntervalMs + 1;
    { CTraceScope inner("Off again"); }
    second.Message("not written");
  }
  EXPECT_EQ(Written('>'), (std::vector<std::string>{"Inner", "Second"}));
  EXPECT_EQ(Kinds(File()), "tT><U<>");
}

TEST_F(TraceConfig, OnlyTheCurrentFacilityTracesAndItsLatestSettingsAreMadeCurrentWithIt) {
  Config(u"DoTrace", 1);
  auto& facility = Start();
  { CTraceScope scope("Current"); }
  Install(nullptr);
  { CTraceScope scope("Not current"); }
  Config(u"DoLog", 1);
  facility.RefreshConfiguration(clock.tick);  // a change while not current
  Install(&facility);
  EXPECT_EQ(g_currentSettings.load(), kWriteToFile | kNewFileAlways | kTracingOn | kLogging);
  {
    CTraceScope scope("Current again");  // no refresh is due: the calls after the entry go by the copy
    scope.Message("written");
  }
  EXPECT_EQ(Written('>'), (std::vector<std::string>{"Current", "Current again"}));
  EXPECT_EQ(Kinds(File()), "tT><>U<");
}

TEST_F(TraceConfig, FilePathRules) {
  process.executablePath = u"D:\\Tools\\console.exe";
  process.environment = {{u"TEMP", u"C:\\Tmp"}, {u"LONG", std::u16string(300, u'x')}};
  files.AddDirectory(u"C:\\Logs");
  const std::u16string name = u"console.VXGPOSnapin.dll.x64.3.trc3";
  const struct {
    const char16_t *fileName, *tracePath;  // each written when not null, both of one type
    DWORD type;
    std::u16string path;
  } cases[] = {
      {nullptr, nullptr, REG_SZ, u"C:\\Program Files\\Vantorix\\" + name},
      {u"C:\\Logs\\snapin.trc3", u"C:\\Temp", REG_SZ, u"C:\\Logs\\snapin.trc3"},
      {nullptr, u"%TEMP%\\Trace", REG_EXPAND_SZ, u"C:\\Tmp\\Trace\\" + name},
      {nullptr, u"C:\\%TEMP%", REG_SZ, u"C:\\%TEMP%\\" + name},  // a plain string is taken as it stands
      // Longer than MAX_PATH once expanded: no name, the generated one stands.
      {u"C:\\%LONG%.trc3", u"C:\\Logs", REG_EXPAND_SZ, u"C:\\Logs\\" + name},
  };
  int row = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(row);
    auto key = ConfigKey(vx::Format(u"case %d", ++row));
    if (c.fileName) vx::platform::WriteString(*key, u"FileName", c.fileName, c.type);
    if (c.tracePath) vx::platform::WriteString(*key, u"TracePath", c.tracePath, c.type);
    const std::u16string path = TraceFilePath(key.get(), process, files, 3);
    EXPECT_EQ(path, c.path);
    EXPECT_TRUE(files.DirectoryExists(path.substr(0, path.rfind(u'\\')))) << "made with its parents";
  }
}

TEST_F(TraceConfig, DirectoriesAreMadeComponentByComponentAndAFileThatCannotBeCreatedDropsEveryRecord) {
  EXPECT_EQ(CreateDirectoryPath(files, u""), E_INVALIDARG);
  EXPECT_EQ(CreateDirectoryPath(files, u"C:\\a\\b\\c\\"), S_OK) << "C: exists; a trailing separator is no component";
  EXPECT_TRUE(files.DirectoryExists(u"C:\\a\\b\\c"));

  files.FailCreateDirectory(ERROR_ACCESS_DENIED);
  EXPECT_EQ(CreateDirectoryPath(files, u"C:\\x\\y"), static_cast<HRESULT>(0x80070005u));
  EXPECT_FALSE(files.DirectoryExists(u"C:\\x\\y"));
  Config(u"DoTrace", 1);
  vx::platform::WriteString(*ConfigKey(), u"TracePath", u"C:\\Denied\\Trace\\");
  Start();
  TracedOperation();
  TracedOperation();
  EXPECT_TRUE(files.FilePaths().empty());
  auto* output = dynamic_cast<CFileOutput*>(&GetTraceOutput());
  ASSERT_NE(output, nullptr);
  EXPECT_FALSE(output->IsOpen());
  EXPECT_EQ(output->Path(), u"C:\\Denied\\Trace\\mmc.VXGPOSnapin.dll.x64.1.trc3");
}

// Configuration rules of the trace facility: what is traced, where, and when a change takes effect.
#include "support/trace_internal.h"
#include "trace_test_support.h"

using namespace VXTraceNS;
using vxtest::Kinds;
using vxtest::Texts;

namespace {

void TracedOperation(HRESULT hr = E_FAIL) {
  CTraceScope scope("CTest::Operation");
  scope.Message("value %d", 42);
  scope.Result(hr);
}

class TraceConfig : public vxtest::TraceFixture {};

struct ConfigCase {
  const char* name;
  std::vector<std::pair<const char16_t*, DWORD>> values;  // none: no configuration key at all
  std::vector<const char16_t*> only, never;               // value names under Components and ComponentsNOT
  bool filtered;                                          // by the component filter
  const char* kinds;                                      // what a failing operation writes; "": no file
};

void PrintTo(const ConfigCase& c, std::ostream* os) { *os << c.name; }

const std::pair<const char16_t*, DWORD> kOn{u"DoTrace", 1};

const ConfigCase kConfigCases[] = {
    {"NoKey", {}, {}, {}, false, ""},
    {"DoTraceAlone", {kOn}, {}, {}, false, "tT>UE<"},
    {"TraceToFileZero", {kOn, {u"TraceToFile", 0}}, {}, {}, false, ""},
    {"NegativeVerbosityKeepsFailedResults", {kOn, {u"Verbosity", 0xFFFFFFFF}}, {}, {}, false, "tTE"},
    {"ProfilingSuppressesMessages", {kOn, {u"DoProfiling", 1}}, {}, {}, false, "tT>E<"},
    {"OnlyThisModuleIgnoringCase", {kOn}, {u"vxgposnapin"}, {}, false, "tT>UE<"},
    {"OnlyOthersKeepsResults", {kOn}, {u"Other"}, {}, true, "tTE"},
    {"OnlyAmongOthers", {kOn}, {u"Other", u"VXGPOSNAPIN", u"Third"}, {}, false, "tT>UE<"},
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
  EXPECT_EQ(files.FilePaths().empty(), noFile);
  if (!noFile) {
    EXPECT_EQ(Kinds(File()), c.kinds);
  }
}

INSTANTIATE_TEST_SUITE_P(Rules, TraceConfigCases, ::testing::ValuesIn(kConfigCases),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(TraceConfig, SettingsWordFollowsTheValues) {
  auto& facility = Start();
  const auto settings = [&] {
    facility.RefreshConfiguration(clock.tick);
    return facility.Settings();
  };
  EXPECT_EQ(settings(), 0u) << "no key";
  Config(u"DoTrace", 1);
  EXPECT_EQ(settings(), kWriteToFile | kNewFileAlways | kTracingOn);
  Config(u"TraceToFile", 2);
  Config(u"NewFileAlways", 0);
  Config(u"DoLog", 7);
  Config(u"DoProfiling", 1);
  EXPECT_EQ(settings(), kTracingOn | kLogging | kProfiling);
  // Values that are not DWORDs count as missing.
  ConfigString(u"TraceToFile", u"0");
  ConfigString(u"NewFileAlways", u"0");
  ConfigString(u"DoTrace", u"1");
  EXPECT_EQ(settings(), kWriteToFile | kNewFileAlways | kLogging | kProfiling);
}

TEST_F(TraceConfig, ThirtyTwoBitViewIsTheFallback) {
  vx::platform::WriteDword(*Key(kConfigKey, KEY_WOW64_32KEY), u"DoTrace", 1);
  Start();
  TracedOperation();
  EXPECT_TRUE(files.FileExists(kDefaultFile));
}

TEST_F(TraceConfig, EachRunTruncatesTheFileUnlessNewFileAlwaysIsZeroThenAppendsANewRunRecord) {
  files.SetFileBytes(kDefaultFile, {'o', 'l', 'd'});
  Config(u"DoTrace", 1);
  Start();
  EXPECT_EQ(process.openMutexes, std::vector<std::u16string>{u"4242"}) << "named by the process id";
  TracedOperation();
  Stop();
  EXPECT_TRUE(process.openMutexes.empty());
  EXPECT_EQ(files.FilePaths(), std::vector<std::u16string>{kDefaultFile});
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

namespace {

// A clock that offers its tick count as a plain function too, as the system clocks do; its virtual
// tick never moves, so only the plain function can bring a refresh.
std::atomic<DWORD> g_plainTick{5000};

class PlainTickClock : public vx::platform::FakeClock {
 public:
  TickFunction TickSource() override {
    return [] { return g_plainTick.load(); };
  }
};

}  // namespace

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
    EXPECT_TRUE(files.FilePaths().empty());
    g_plainTick += 1;
    { CTraceScope inner("Inner"); }
    EXPECT_TRUE(files.FileExists(kDefaultFile)) << "the output is made at the first record";
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
  Stop();
  EXPECT_EQ(Kinds(File()), "tT><U<>");
  EXPECT_EQ(Texts(File(), '>'), (std::vector<std::string>{"Inner", "Second"}));
}

TEST_F(TraceConfig, OnlyTheCurrentFacilityTracesWithItsLatestSettings) {
  Config(u"DoTrace", 1);
  auto& facility = Start();
  { CTraceScope scope("Current"); }
  Install(nullptr);
  {
    CTraceScope scope("Not current");
    scope.Message("dropped");
  }
  Config(u"DoTrace", 0);
  facility.RefreshConfiguration(clock.tick);
  Install(&facility);  // made current while off
  Config(u"DoTrace", 1);
  clock.Advance(kRefreshIntervalMs + 1);
  {
    CTraceScope scope("Current again");
    scope.Message("written");
  }
  Stop();
  EXPECT_EQ(Texts(File(), '>'), (std::vector<std::string>{"Current", "Current again"}));
  EXPECT_EQ(Kinds(File()), "tT><>U<");
}

TEST_F(TraceConfig, FilePathRules) {
  process.executablePath = u"D:\\Tools\\console.exe";
  process.environment = {{u"TEMP", u"C:\\Tmp"}, {u"LONG", std::u16string(300, u'x')}};
  files.AddDirectory(u"C:\\Logs");
  struct Value {
    const char16_t* name;
    const char16_t* text;
    DWORD type;
  };
  const struct {
    std::vector<Value> values;
    const char16_t* path;
  } cases[] = {
      {{}, u"C:\\Program Files\\Vantorix\\console.VXGPOSnapin.dll.x64.3.trc3"},
      {{{u"FileName", u"C:\\Logs\\snapin.trc3", REG_SZ}, {u"TracePath", u"C:\\Temp", REG_SZ}},
       u"C:\\Logs\\snapin.trc3"},
      {{{u"TracePath", u"C:\\Temp\\Trace\\Deep", REG_SZ}},
       u"C:\\Temp\\Trace\\Deep\\console.VXGPOSnapin.dll.x64.3.trc3"},
      {{{u"TracePath", u"%TEMP%\\Trace", REG_EXPAND_SZ}}, u"C:\\Tmp\\Trace\\console.VXGPOSnapin.dll.x64.3.trc3"},
      // A plain string is taken as it stands.
      {{{u"TracePath", u"C:\\%TEMP%", REG_SZ}}, u"C:\\%TEMP%\\console.VXGPOSnapin.dll.x64.3.trc3"},
      // Longer than MAX_PATH once expanded: no name, the generated one stands.
      {{{u"FileName", u"C:\\%LONG%.trc3", REG_EXPAND_SZ}, {u"TracePath", u"C:\\Logs", REG_SZ}},
       u"C:\\Logs\\console.VXGPOSnapin.dll.x64.3.trc3"},
  };
  int row = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(vx::Utf16ToUtf8(c.path));
    auto key = ConfigKey(vx::Format(u"case %d", ++row));
    for (const auto& value : c.values) vx::platform::WriteString(*key, value.name, value.text, value.type);
    const std::u16string path = TraceFilePath(key.get(), process, files, 3);
    EXPECT_EQ(path, c.path);
    EXPECT_TRUE(files.DirectoryExists(path.substr(0, path.rfind(u'\\')))) << "made with its parents";
  }
}

TEST_F(TraceConfig, AFileThatCannotBeCreatedDropsEveryRecordQuietly) {
  Config(u"DoTrace", 1);
  ConfigString(u"TracePath", u"C:\\Denied\\Trace\\");
  files.FailCreateDirectory(ERROR_ACCESS_DENIED);
  Start();
  TracedOperation();
  TracedOperation();
  EXPECT_TRUE(files.FilePaths().empty());
  auto* output = dynamic_cast<CFileOutput*>(&GetTraceOutput());
  ASSERT_NE(output, nullptr);
  EXPECT_FALSE(output->IsOpen());
  EXPECT_EQ(output->Path(), u"C:\\Denied\\Trace\\mmc.VXGPOSnapin.dll.x64.1.trc3");
}

TEST(TraceDirectories, CreationRules) {
  vx::platform::MemoryFileSystem files;
  EXPECT_EQ(CreateDirectoryPath(files, u""), E_INVALIDARG);
  EXPECT_EQ(CreateDirectoryPath(files, u"C:\\a\\b\\c\\"), S_OK) << "a trailing separator is no component";
  EXPECT_TRUE(files.DirectoryExists(u"C:\\a\\b\\c"));
  EXPECT_EQ(CreateDirectoryPath(files, u"C:\\a\\b"), S_OK) << "existing directories are fine";
  files.FailCreateDirectory(ERROR_ACCESS_DENIED);
  EXPECT_EQ(CreateDirectoryPath(files, u"C:\\x\\y"), static_cast<HRESULT>(0x80070005u));
  EXPECT_FALSE(files.DirectoryExists(u"C:\\x\\y"));
}

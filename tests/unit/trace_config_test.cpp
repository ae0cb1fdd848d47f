// Configuration rules of the trace facility: what is traced, where, and when a change takes effect.
#include "support/trace_internal.h"
#include "trace_test_support.h"

using namespace VXTraceNS;
using vxtest::TraceFixture;

namespace {

void TracedOperation(HRESULT hr = E_FAIL) {
  CTraceScope scope("CTest::Operation");
  scope.Message("value %d", 42);
  scope.Result(hr);
}

class TraceConfig : public TraceFixture {};

}  // namespace

TEST_F(TraceConfig, NoConfigurationKeyTracesNothingAndMakesNoFile) {
  Start();
  TracedOperation();
  EXPECT_EQ(installed->Facility().Settings(), 0u);
  EXPECT_TRUE(files.FilePaths().empty());
}

TEST_F(TraceConfig, DoTraceAloneWritesTheGeneratedFileInTheModuleDirectoryTruncatingIt) {
  files.SetFileBytes(kDefaultFile, {'o', 'l', 'd'});
  Config(u"DoTrace", 1);
  Start();
  TracedOperation();
  Stop();
  ASSERT_EQ(files.FilePaths().size(), 1u);
  const auto file = File();
  EXPECT_EQ(file.header.front(), "trace3");
  EXPECT_EQ(file.Kinds(), "tT>UE<");
}

TEST_F(TraceConfig, SettingsWordFollowsTheValues) {
  auto& facility = Start();
  EXPECT_EQ(facility.Settings(), kInitialSettings) << "before the first refresh";
  Config(u"DoTrace", 1);
  facility.RefreshConfiguration(clock.tick);
  EXPECT_EQ(facility.Settings(), kWriteToFile | kNewFileAlways | kTracingOn);
  Config(u"TraceToFile", 2);
  Config(u"NewFileAlways", 0);
  Config(u"DoLog", 7);
  Config(u"DoProfiling", 1);
  facility.RefreshConfiguration(clock.tick);
  EXPECT_EQ(facility.Settings(), kTracingOn | kLogging | kProfiling);
  // Values that are not DWORDs count as missing.
  ConfigString(u"TraceToFile", u"0");
  ConfigString(u"NewFileAlways", u"0");
  ConfigString(u"DoTrace", u"1");
  facility.RefreshConfiguration(clock.tick);
  EXPECT_EQ(facility.Settings(), kWriteToFile | kNewFileAlways | kLogging | kProfiling);
}

TEST_F(TraceConfig, ThirtyTwoBitViewIsTheFallback) {
  std::unique_ptr<vx::platform::IRegistryKey> key;
  ASSERT_EQ(ERROR_SUCCESS, registry.CreateKey(vx::platform::RegistryRoot::LocalMachine, kConfigKey,
                                              KEY_ALL_ACCESS | KEY_WOW64_32KEY, key));
  vx::platform::WriteDword(*key, u"DoTrace", 1);
  Start();
  TracedOperation();
  EXPECT_TRUE(files.FileExists(kDefaultFile));
}

TEST_F(TraceConfig, AppendingToAFileWithContentWritesANewRunRecordAndNoHeader) {
  Config(u"DoTrace", 1);
  Start();
  TracedOperation();
  Stop();
  const size_t firstRun = files.FileBytes(kDefaultFile).size();

  Config(u"NewFileAlways", 0);
  clock.SetTime({2027, 1, 5, 3, 9, 8, 7, 6});
  Start();
  TracedOperation();
  Stop();
  const auto bytes = files.FileBytes(kDefaultFile);
  ASSERT_GT(bytes.size(), firstRun);
  const auto file = File();
  EXPECT_EQ(file.Kinds(), "tT>UE<NtT>UE<");
  EXPECT_EQ(file.Texts('N'), std::vector<std::string>{"01-03-2027"});
  EXPECT_EQ(std::count(file.header.begin(), file.header.end(), "trace3"), 1);
}

TEST_F(TraceConfig, TraceToFileOtherThanOneMeansNoFile) {
  Config(u"DoTrace", 1);
  Config(u"TraceToFile", 0);
  Start();
  TracedOperation();
  EXPECT_TRUE(files.FilePaths().empty());
  EXPECT_NE(dynamic_cast<CNoOutput*>(&GetTraceOutput()), nullptr);
}

TEST_F(TraceConfig, NegativeVerbosityKeepsOnlyFailedResults) {
  Config(u"DoTrace", 1);
  Config(u"Verbosity", 0xFFFFFFFF);
  Start();
  TracedOperation();
  Stop();
  EXPECT_EQ(File().Kinds(), "tTE");
}

TEST_F(TraceConfig, ProfilingSuppressesMessagesOnly) {
  Config(u"DoTrace", 1);
  Config(u"DoProfiling", 1);
  Start();
  TracedOperation();
  Stop();
  EXPECT_EQ(File().Kinds(), "tT>E<");
}

TEST_F(TraceConfig, ComponentFilters) {
  Config(u"DoTrace", 1);
  struct Case {
    std::vector<std::u16string> only, never;
    bool traces;
  };
  const Case cases[] = {
      {{}, {}, true},
      {{u"vxgposnapin"}, {}, true},                 // names ignore case
      {{u"Other"}, {}, false},                      // a list without this module
      {{u"Other", u"VXGPOSNAPIN", u"Third"}, {}, true},
      {{}, {u"VXGPOSnapin"}, false},
      {{}, {u"Other"}, true},
      {{u"VXGPOSnapin"}, {u"VXGPOSnapin"}, true},  // named in both: traces
      {{u"VXGPOSnapin.dll"}, {}, false},           // the name has no extension
  };
  for (const auto& c : cases) {
    registry.DeleteKey(vx::platform::RegistryRoot::LocalMachine, std::u16string(kConfigKey) + u"\\Components");
    registry.DeleteKey(vx::platform::RegistryRoot::LocalMachine, std::u16string(kConfigKey) + u"\\ComponentsNOT");
    for (const auto& name : c.only) vx::platform::WriteDword(*ConfigKey(u"Components"), name, 0);
    for (const auto& name : c.never) vx::platform::WriteString(*ConfigKey(u"ComponentsNOT"), name, u"");
    auto& facility = Start();
    TracedOperation(S_OK);
    EXPECT_EQ(facility.ComponentEnabled(), c.traces) << c.only.size() << " " << c.never.size();
    Stop();
    const auto bytes = files.FileBytes(kDefaultFile);
    if (c.traces) EXPECT_EQ(vxtest::Decode(bytes).Texts('>').size(), 1u);
    else EXPECT_TRUE(bytes.empty()) << "a filtered module writes no record, so makes no file";
    files.SetFileBytes(kDefaultFile, {});
  }
}

TEST_F(TraceConfig, ResultsIgnoreTheComponentFilter) {
  Config(u"DoTrace", 1);
  vx::platform::WriteDword(*ConfigKey(u"ComponentsNOT"), u"VXGPOSnapin", 0);
  Start();
  TracedOperation(E_FAIL);
  Stop();
  EXPECT_EQ(File().Kinds(), "tTE");
}

TEST_F(TraceConfig, ChangesTakeEffectAtTheNextRefreshButTheOutputStays) {
  Config(u"DoTrace", 0);
  Start();
  TracedOperation();
  Config(u"DoTrace", 1);
  clock.Advance(kRefreshIntervalMs);  // not yet past the next check time
  TracedOperation();
  EXPECT_TRUE(files.FilePaths().empty());

  clock.Advance(1);
  TracedOperation();
  EXPECT_TRUE(files.FileExists(kDefaultFile)) << "the output is made at the first record";

  Config(u"TraceToFile", 0);
  clock.Advance(kRefreshIntervalMs + 1);
  TracedOperation();
  Stop();
  EXPECT_EQ(File().Kinds(), "tT>UE<>UE<") << "the file output made first stays";
}

TEST_F(TraceConfig, FileNameOverridesTheGeneratedName) {
  files.AddDirectory(u"C:\\Logs");
  Config(u"DoTrace", 1);
  ConfigString(u"FileName", u"C:\\Logs\\snapin.trc3");
  Start();
  TracedOperation();
  EXPECT_TRUE(files.FileExists(u"C:\\Logs\\snapin.trc3"));
  EXPECT_EQ(files.FilePaths().size(), 1u);
}

TEST_F(TraceConfig, TracePathIsCreatedWithItsParents) {
  Config(u"DoTrace", 1);
  ConfigString(u"TracePath", u"C:\\Temp\\Trace\\Deep");
  process.executablePath = u"D:\\Tools\\console.exe";
  process.sessionId = 3;
  Start();
  TracedOperation();
  EXPECT_TRUE(files.DirectoryExists(u"C:\\Temp\\Trace"));
  EXPECT_TRUE(files.FileExists(u"C:\\Temp\\Trace\\Deep\\console.VXGPOSnapin.dll.x64.3.trc3"));
}

TEST_F(TraceConfig, ExpandableStringsAreExpanded) {
  Config(u"DoTrace", 1);
  vx::platform::WriteString(*ConfigKey(), u"TracePath", u"%TEMP%\\Trace", REG_EXPAND_SZ);
  Start();
  TracedOperation();
  EXPECT_TRUE(files.FileExists(u"C:\\Users\\admin\\AppData\\Local\\Temp\\Trace\\mmc.VXGPOSnapin.dll.x64.1.trc3"));
  Stop();

  // A plain string is taken as it stands, and a path longer than MAX_PATH after expansion is no path.
  files.AddDirectory(u"C:\\%TEMP%");
  ConfigString(u"TracePath", u"C:\\%TEMP%");
  Start();
  TracedOperation();
  EXPECT_TRUE(files.FileExists(u"C:\\%TEMP%\\mmc.VXGPOSnapin.dll.x64.1.trc3"));
  Stop();
  process.environment[u"LONG"] = std::u16string(300, u'x');
  vx::platform::WriteString(*ConfigKey(), u"FileName", u"C:\\%LONG%.trc3", REG_EXPAND_SZ);
  ConfigString(u"TracePath", u"C:\\Logs");
  Start();
  TracedOperation();
  EXPECT_TRUE(files.FileExists(u"C:\\Logs\\mmc.VXGPOSnapin.dll.x64.1.trc3")) << "falls back to the generated name";
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

TEST_F(TraceConfig, NamedMutexLivesWithTheFacility) {
  Start();
  EXPECT_EQ(process.openMutexes, std::vector<std::u16string>{u"4242"});
  Stop();
  EXPECT_TRUE(process.openMutexes.empty());
}

// Each call decides by the settings of that moment, not by those its scope was entered with.
TEST_F(TraceConfig, ASwitchInsideAnOpenScopeTakesEffectAtItsNextCall) {
  Config(u"DoTrace", 0);
  Start();
  {
    CTraceScope outer("Outer");  // off: nothing
    Config(u"DoTrace", 1);
    clock.Advance(kRefreshIntervalMs + 1);
    { CTraceScope inner("Inner"); }  // refreshes: on
    outer.Message("after the switch");
  }
  {
    CTraceScope outer("Second");
    Config(u"DoTrace", 0);
    clock.Advance(kRefreshIntervalMs + 1);
    { CTraceScope inner("Off again"); }
    outer.Message("not written");
  }
  Stop();
  EXPECT_EQ(File().Kinds(), "tT><U<>");
  EXPECT_EQ(File().Texts('>'), (std::vector<std::string>{"Inner", "Second"}));
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
  EXPECT_EQ(File().Texts('>'), (std::vector<std::string>{"Current", "Current again"}));
  EXPECT_EQ(File().Kinds(), "tT><>U<");
}

namespace {

// A clock that offers its tick count as a plain function too, as the system clocks do; its virtual
// tick never moves, so only the plain function can bring the next refresh.
std::atomic<DWORD> g_plainTick{5000};
DWORD PlainTick() { return g_plainTick.load(); }

class PlainTickClock : public vx::platform::FakeClock {
 public:
  TickFunction TickSource() override { return &PlainTick; }
};

}  // namespace

TEST_F(TraceConfig, TheClocksPlainTickFunctionTimesTheRefresh) {
  PlainTickClock plainClock;
  Config(u"DoTrace", 0);
  {
    CInstalledFacility facility(TracePorts{registry, plainClock, files, process});
    { CTraceScope scope("Off"); }
    Config(u"DoTrace", 1);
    g_plainTick += kRefreshIntervalMs;
    { CTraceScope scope("Not yet"); }
    g_plainTick += 1;
    { CTraceScope scope("On"); }
  }
  EXPECT_EQ(File().Texts('>'), std::vector<std::string>{"On"});
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

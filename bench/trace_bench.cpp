// Cost of tracing, each figure a ratio against a baseline measured in the same run:
//   tracing off: a traced scope (enter, message, result, exit) against one coarse tick-count read plus
//                one bit test, the floor the facility allows itself;
//   tracing on:  one message record against a bare seek-to-end plus write() of the same bytes, for a
//                40-byte and a 400-byte text; spdlog writing the same text with a flush per record is a peer.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "platform/memory/memory_registry.h"
#include "ratio_reporter.h"
#include "platform/posix/posix_ports.h"
#include "platform/format.h"
#include "platform/text.h"
#include "support/trace.h"

using namespace VXTraceNS;
namespace platform = vx::platform;

namespace {

std::string g_dir;
std::atomic<DWORD> g_settings{0};

// A facility over the real clock and file system, configured through an in-memory registry.
struct Facility {
  explicit Facility(bool on, const std::string& file) {
    std::unique_ptr<platform::IRegistryKey> key;
    registry.CreateKey(platform::RegistryRoot::LocalMachine, kConfigKey, KEY_ALL_ACCESS, key);
    platform::WriteDword(*key, u"DoTrace", on ? 1 : 0);
    platform::WriteString(*key, u"FileName", vx::Utf8ToUtf16(file));
    installed = std::make_unique<CInstalledFacility>(TracePorts{registry, clock, files, process});
  }
  platform::MemoryRegistry registry;
  platform::PosixClock clock;
  platform::PosixFileSystem files;
  platform::PosixProcessInfo process;
  std::unique_ptr<CInstalledFacility> installed;
};

// "policy Logon saved as 0x...": the text is exactly 40 bytes, so that its record has the baseline's size.
constexpr const char* kMessage40 = "policy %s saved as 0x%016I64X";
const std::string kText40 = "policy Logon saved as 0x0000000000000013";
const std::string kLong(400 - 7, 'x');

void BM_Floor_TickAndBitTest(benchmark::State& state) {
  for (auto _ : state) {
    const DWORD tick = platform::PosixTickCount();
    benchmark::DoNotOptimize(tick);
    benchmark::DoNotOptimize(g_settings.load(std::memory_order_relaxed) & kTracingOn);
  }
}

void BM_TracingOff_Scope(benchmark::State& state) {
  Facility facility(false, g_dir + "/off.trc3");
  for (auto _ : state) {
    CTraceScope scope("CBench::Operation");
    scope.Message(kMessage40, "Logon", 0x13ULL);
    scope.Result(S_OK);
  }
}

void BM_Baseline_SeekWrite(benchmark::State& state) {
  const std::string path = g_dir + "/baseline.bin";
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const std::string bytes(static_cast<size_t>(state.range(0)), 'r');
  for (auto _ : state) {
    lseek(fd, 0, SEEK_END);
    benchmark::DoNotOptimize(write(fd, bytes.data(), bytes.size()));
  }
  close(fd);
}

void BM_TracingOn_Message(benchmark::State& state) {
  const bool longText = state.range(0) > 100;
  Facility facility(true, g_dir + (longText ? "/on400.trc3" : "/on40.trc3"));
  CTraceScope scope("CBench::Operation");
  for (auto _ : state) {
    if (longText) scope.Message("%s", kLong.c_str());
    else scope.Message(kMessage40, "Logon", 0x13ULL);
  }
}

void BM_Peer_SpdlogFlushEach(benchmark::State& state) {
  auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(g_dir + "/spdlog.log", true);
  spdlog::logger logger("bench", sink);
  logger.set_pattern("%v");
  for (auto _ : state) {
    logger.info("policy {} saved, mask 0x{:016X}", "Logon", 0x13ULL);
    logger.flush();
  }
}

// Record size of a 40-byte text: 7-byte head + text.
BENCHMARK(BM_Floor_TickAndBitTest);
BENCHMARK(BM_TracingOff_Scope);
BENCHMARK(BM_Baseline_SeekWrite)->Arg(47)->Arg(407);
BENCHMARK(BM_TracingOn_Message)->Arg(47)->Arg(407);
BENCHMARK(BM_Peer_SpdlogFlushEach);

// Prints the ratios after the usual table.
class TraceRatios : public RatioReporter {
 public:
  void Finalize() override {
    RatioReporter::Finalize();
    std::printf("\nRatios (same run):\n");
    PrintRatio("tracing off: scope / floor", "BM_TracingOff_Scope", "BM_Floor_TickAndBitTest", 1.2);
    PrintRatio("tracing on: 40-byte message / seek+write", "BM_TracingOn_Message/47", "BM_Baseline_SeekWrite/47", 1.25);
    PrintRatio("tracing on: 400-byte message / seek+write", "BM_TracingOn_Message/407", "BM_Baseline_SeekWrite/407",
               1.25);
    PrintRatio("peer: spdlog flush each / seek+write", "BM_Peer_SpdlogFlushEach", "BM_Baseline_SeekWrite/47");
    PrintRatio("tracing on: 40-byte message / spdlog", "BM_TracingOn_Message/47", "BM_Peer_SpdlogFlushEach");
  }
};

}  // namespace

int main(int argc, char** argv) {
  // The 40-byte case compares records with the baseline's writes of the same size.
  if (kText40.size() != 40 || vx::FormatNarrow(kMessage40, "Logon", 0x13ULL) != kText40) {
    std::fprintf(stderr, "the 40-byte message is not 40 bytes\n");
    return 1;
  }
  char dir[] = "/tmp/vxtrace-bench-XXXXXX";
  if (!mkdtemp(dir)) return 1;
  g_dir = dir;
  benchmark::Initialize(&argc, argv);
  TraceRatios reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  std::system(("rm -rf " + g_dir).c_str());
  return 0;
}

// Many threads trace into one real file at once; the reader must find every record whole and in the
// order each thread wrote it.
#include <unistd.h>

#include <cstdio>
#include <map>
#include <thread>

#include "platform/posix/posix_ports.h"
#include "trace_test_support.h"

using namespace VXTraceNS;

using TraceThreads = vxtest::TraceFixture;  // for its registry: the clock, files and process are the real ones

TEST_F(TraceThreads, RecordsNeverInterleave) {
  const std::u16string path = vx::Utf8ToUtf16("/tmp/vxtrace-threads-" + std::to_string(getpid()) + ".trc3");
  Config(u"DoTrace", 1);
  vx::platform::WriteString(*ConfigKey(), u"FileName", path);
  vx::platform::PosixFileSystem realFiles;
  vx::platform::PosixProcessInfo realProcess;
  vx::platform::PosixClock realClock;
  constexpr int kThreads = 8, kRounds = 300;
  {
    CInstalledFacility facility(TracePorts{registry, realClock, realFiles, realProcess});
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
      threads.emplace_back([] {
        for (int round = 0; round < kRounds; ++round) {
          CTraceScope outer("CThreads::Outer");
          CTraceScope inner("CThreads::Inner");
          inner.Message("round %d %s", round, std::string(static_cast<size_t>(round % 97), '.'));
          inner.Result(E_FAIL);
        }
      });
    for (auto& thread : threads) thread.join();
  }
  std::vector<BYTE> bytes;
  ASSERT_EQ(realFiles.ReadAll(path, bytes), ERROR_SUCCESS);
  std::remove(vx::Utf16ToUtf8(path).c_str());
  const auto file = vxtrace::ParseTraceFile(bytes);
  ASSERT_FALSE(file.fault) << file.fault->message;

  std::map<std::uint32_t, std::string> written;  // per thread id: kinds and texts, one record a line
  for (const auto& record : file.records)
    if (record.kind != 't' && record.kind != 'T') written[record.threadId] += record.kind + record.text + "\n";
  std::string expected;
  for (int round = 0; round < kRounds; ++round)
    expected += ">CThreads::Outer\n>CThreads::Inner\nUround " + std::to_string(round) + " " +
                std::string(static_cast<size_t>(round % 97), '.') + "\nE-2147467259 \n<\n<\n";
  EXPECT_EQ(written.size(), static_cast<size_t>(kThreads));
  for (const auto& [thread, records] : written) EXPECT_EQ(records, expected) << "thread " << thread;
}

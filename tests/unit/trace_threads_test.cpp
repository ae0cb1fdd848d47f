// Many threads trace into one real file at once; the reader must find every record whole and in the
// order each thread wrote it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <thread>

#include "platform/memory/memory_registry.h"
#include "platform/posix/posix_ports.h"
#include "platform/text.h"
#include "support/trace.h"
#include "trace_reader.h"

using namespace VXTraceNS;
namespace platform = vx::platform;

TEST(TraceThreads, RecordsNeverInterleave) {
  const std::u16string path = vx::Utf8ToUtf16("/tmp/vxtrace-threads-" + std::to_string(getpid()) + ".trc3");
  platform::MemoryRegistry registry;
  std::unique_ptr<platform::IRegistryKey> key;
  registry.CreateKey(platform::RegistryRoot::LocalMachine, kConfigKey, KEY_ALL_ACCESS, key);
  platform::WriteDword(*key, u"DoTrace", 1);
  platform::WriteString(*key, u"FileName", path);
  platform::PosixClock clock;
  platform::PosixFileSystem files;
  platform::PosixProcessInfo process;
  constexpr int kThreads = 8, kRounds = 300;
  {
    CInstalledFacility installed(TracePorts{registry, clock, files, process});
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
      threads.emplace_back([t] {
        for (int round = 0; round < kRounds; ++round) {
          CTraceScope outer("CThreads::Outer");
          CTraceScope inner("CThreads::Inner");
          inner.Message("thread %d round %d %s", t, round, std::string(static_cast<size_t>(round % 97), '.'));
          inner.Result(E_FAIL);
        }
      });
    for (auto& thread : threads) thread.join();
  }
  std::vector<BYTE> bytes;
  ASSERT_EQ(files.ReadAll(path, bytes), ERROR_SUCCESS);
  std::remove(vx::Utf16ToUtf8(path).c_str());
  const auto file = vxtrace::ParseTraceFile(bytes);
  ASSERT_FALSE(file.fault) << file.fault->message;

  std::map<std::uint32_t, std::string> written;  // per thread id: kinds and texts, one record a line
  for (const auto& record : file.records)
    if (record.kind != 't' && record.kind != 'T') written[record.threadId] += record.kind + record.text + "\n";
  EXPECT_EQ(written.size(), static_cast<size_t>(kThreads));
  for (const auto& [thread, records] : written) {
    int t = -1;
    std::sscanf(records.c_str(), ">CThreads::Outer\n>CThreads::Inner\nUthread %d", &t);
    std::string expected;
    for (int round = 0; round < kRounds; ++round)
      expected += ">CThreads::Outer\n>CThreads::Inner\nUthread " + std::to_string(t) + " round " +
                  std::to_string(round) + " " + std::string(static_cast<size_t>(round % 97), '.') +
                  "\nE-2147467259 \n<\n<\n";
    EXPECT_EQ(records, expected) << "thread " << thread;
  }
}

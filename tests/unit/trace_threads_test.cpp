// Many threads trace into one real file at once; the reader must find every record whole and in the
// order each thread wrote it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
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
  char dir[] = "/tmp/vxtrace-threads-XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const std::string path = std::string(dir) + "/threads.trc3";

  platform::MemoryRegistry registry;
  std::unique_ptr<platform::IRegistryKey> key;
  registry.CreateKey(platform::RegistryRoot::LocalMachine, kConfigKey, KEY_ALL_ACCESS, key);
  platform::WriteDword(*key, u"DoTrace", 1);
  platform::WriteString(*key, u"FileName", vx::Utf8ToUtf16(path));
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

  std::ifstream in(path, std::ios::binary);
  const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::remove(path.c_str());
  rmdir(dir);
  const auto file = vxtrace::ParseTraceFile(bytes);
  ASSERT_FALSE(file.fault) << file.fault->message;
  ASSERT_FALSE(file.header.empty());

  // Per thread: > > U E < < per round, and the rounds' messages in order.
  std::map<std::uint32_t, std::string> kinds;
  std::map<std::uint32_t, int> nextRound;
  std::map<std::uint32_t, int> threadOf;
  for (const auto& record : file.records) {
    if (record.kind == 't' || record.kind == 'T') continue;
    kinds[record.threadId] += record.kind;
    if (record.kind != 'U') continue;
    int t = -1, round = -1;
    ASSERT_EQ(std::sscanf(record.text.c_str(), "thread %d round %d", &t, &round), 2) << record.text;
    if (!threadOf.count(record.threadId)) threadOf[record.threadId] = t;
    EXPECT_EQ(threadOf[record.threadId], t);
    EXPECT_EQ(round, nextRound[record.threadId]++);
    EXPECT_EQ(record.text.size() - record.text.find_last_of(' ') - 1, static_cast<size_t>(round % 97));
  }
  std::string expected;
  for (int round = 0; round < kRounds; ++round) expected += ">>UE<<";
  ASSERT_EQ(kinds.size(), static_cast<size_t>(kThreads));
  for (const auto& [thread, sequence] : kinds) EXPECT_EQ(sequence, expected) << "thread " << thread;
}

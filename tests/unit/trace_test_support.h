// A trace facility over in-memory ports; what it wrote is read back with the trace reader.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/memory/fakes.h"
#include "platform/memory/memory_files.h"
#include "platform/memory/memory_registry.h"
#include "platform/text.h"
#include "support/trace.h"
#include "trace_reader.h"

namespace vxtest {

inline std::string Kinds(const vxtrace::TraceFile& file) {
  std::string kinds;
  for (const auto& r : file.records) kinds += r.kind;
  return kinds;
}

inline std::vector<std::string> Texts(const vxtrace::TraceFile& file, char kind) {
  std::vector<std::string> texts;
  for (const auto& r : file.records)
    if (r.kind == kind) texts.push_back(r.text);
  return texts;
}

class TraceFixture : public ::testing::Test {
 protected:
  static constexpr const char16_t* kDefaultFile = u"C:\\Program Files\\Vantorix\\mmc.VXGPOSnapin.dll.x64.1.trc3";
  TraceFixture() { files.AddDirectory(u"C:\\Program Files\\Vantorix"); }

  // A key under HKEY_LOCAL_MACHINE, made when missing.
  std::unique_ptr<vx::platform::IRegistryKey> Key(std::u16string_view path, REGSAM view = 0) {
    std::unique_ptr<vx::platform::IRegistryKey> key;
    EXPECT_EQ(ERROR_SUCCESS,
              registry.CreateKey(vx::platform::RegistryRoot::LocalMachine, path, KEY_ALL_ACCESS | view, key));
    return key;
  }
  std::unique_ptr<vx::platform::IRegistryKey> ConfigKey(std::u16string_view subkey = u"") {
    return Key(VXTraceNS::kConfigKey + std::u16string(subkey.empty() ? u"" : u"\\") + std::u16string(subkey));
  }
  void Config(std::u16string_view name, DWORD value) { vx::platform::WriteDword(*ConfigKey(), name, value); }

  // A facility made now, as at module load, and made current.
  VXTraceNS::CTraceFacility& Start(vx::platform::IClock* otherClock = nullptr) {
    installed = std::make_unique<VXTraceNS::CInstalledFacility>(
        VXTraceNS::TracePorts{registry, otherClock ? *otherClock : clock, files, process});
    return installed->Facility();
  }
  void Stop() { installed.reset(); }

  vxtrace::TraceFile File(std::u16string_view path = kDefaultFile) {
    EXPECT_TRUE(files.FileExists(path)) << vx::Utf16ToUtf8(path);
    auto file = vxtrace::ParseTraceFile(files.FileBytes(path));
    EXPECT_FALSE(file.fault) << file.fault->message;
    return file;
  }
  // Ends the run and gives the texts of the records of one kind.
  std::vector<std::string> Written(char kind) {
    Stop();
    return Texts(File(), kind);
  }

  vx::platform::MemoryRegistry registry;
  vx::platform::FakeClock clock;
  vx::platform::MemoryFileSystem files;
  vx::platform::FakeProcessInfo process;
  std::unique_ptr<VXTraceNS::CInstalledFacility> installed;
};

// Tracing on from the start: for the tests of what traced code writes.
class TracingFixture : public TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
  }
};

}  // namespace vxtest

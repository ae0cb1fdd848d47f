// A trace facility over in-memory ports, and a small decoder of what it wrote.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/memory/fakes.h"
#include "platform/memory/memory_files.h"
#include "platform/memory/memory_registry.h"
#include "platform/text.h"
#include "support/trace.h"
#include "support/trace_cipher.h"

namespace vxtest {

struct DecodedRecord {
  DWORD thread;
  char kind;
  std::string text;
};

struct DecodedFile {
  std::vector<std::string> header;
  std::vector<DecodedRecord> records;
  std::string Kinds() const {
    std::string kinds;
    for (const auto& r : records) kinds += r.kind;
    return kinds;
  }
  std::vector<std::string> Texts(char kind) const {
    std::vector<std::string> texts;
    for (const auto& r : records)
      if (r.kind == kind) texts.push_back(r.text);
    return texts;
  }
};

inline DecodedFile Decode(const std::vector<BYTE>& bytes, bool hasHeader = true) {
  DecodedFile file;
  size_t at = 0;
  if (hasHeader) {
    for (;;) {
      const size_t end = std::string(bytes.begin(), bytes.end()).find("\r\n", at);
      if (end == std::string::npos) {
        ADD_FAILURE() << "header not terminated";
        return file;
      }
      file.header.emplace_back(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(end));
      at = end + 2;
      if (file.header.back() == ".") break;
    }
  }
  while (at + 7 <= bytes.size()) {
    DecodedRecord r;
    r.thread = bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16) | (static_cast<DWORD>(bytes[at + 3]) << 24);
    r.kind = static_cast<char>(bytes[at + 4]);
    const size_t n = bytes[at + 5] | (bytes[at + 6] << 8);
    at += 7;
    if (at + n > bytes.size()) {
      ADD_FAILURE() << "record runs past the end";
      return file;
    }
    std::vector<std::uint8_t> text(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(at + n));
    VXTraceNS::TraceCipher().Apply(text.data(), text.size());
    r.text.assign(text.begin(), text.end());
    file.records.push_back(r);
    at += n;
  }
  EXPECT_EQ(at, bytes.size()) << "trailing bytes";
  return file;
}

class TraceFixture : public ::testing::Test {
 protected:
  static constexpr const char16_t* kDefaultFile = u"C:\\Program Files\\Vantorix\\mmc.VXGPOSnapin.dll.x64.1.trc3";

  TraceFixture() { files.AddDirectory(u"C:\\Program Files\\Vantorix"); }

  // Writes a DWORD under the trace configuration key.
  void Config(std::u16string_view name, DWORD value) {
    auto key = ConfigKey();
    vx::platform::WriteDword(*key, name, value);
  }
  void ConfigString(std::u16string_view name, std::u16string_view value) {
    auto key = ConfigKey();
    vx::platform::WriteString(*key, name, value);
  }
  std::unique_ptr<vx::platform::IRegistryKey> ConfigKey(std::u16string_view subkey = u"") {
    std::u16string path = VXTraceNS::kConfigKey;
    if (!subkey.empty()) path += u"\\" + std::u16string(subkey);
    std::unique_ptr<vx::platform::IRegistryKey> key;
    EXPECT_EQ(ERROR_SUCCESS,
              registry.CreateKey(vx::platform::RegistryRoot::LocalMachine, path, KEY_ALL_ACCESS, key));
    return key;
  }

  // A facility made now, as at module load, and made current.
  VXTraceNS::CTraceFacility& Start() {
    installed = std::make_unique<VXTraceNS::CInstalledFacility>(
        VXTraceNS::TracePorts{registry, clock, files, process});
    return installed->Facility();
  }
  void Stop() { installed.reset(); }

  DecodedFile File(std::u16string_view path = kDefaultFile, bool hasHeader = true) {
    EXPECT_TRUE(files.FileExists(path)) << vx::Utf16ToUtf8(path);
    return Decode(files.FileBytes(path), hasHeader);
  }

  vx::platform::MemoryRegistry registry;
  vx::platform::FakeClock clock;
  vx::platform::MemoryFileSystem files;
  vx::platform::FakeProcessInfo process;
  std::unique_ptr<VXTraceNS::CInstalledFacility> installed;
};

}  // namespace vxtest

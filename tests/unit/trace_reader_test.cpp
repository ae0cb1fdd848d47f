// The record cipher, and the trace reader against files built byte by byte: header lines, then record
// heads with texts enciphered by the plain (uncached) cipher, so the reader's cached key stream is checked too.
#include "trace_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/trace_cipher.h"

namespace {

using namespace VXTraceNS;
using vxtrace::ParseTraceFile;
using vxtrace::PrintTraceFile;
using vxtrace::TraceFile;
using vxtrace::TracePrinter;

// The key stream of the trace files, which every reader of them must produce too: output feedback from the
// facility's initial block under its key, in memory order, with the arithmetic shifts of the cipher (logical
// shifts would give another stream). Computed by an independent implementation (Python) of the algorithm.
TEST(TraceCipher, TraceKeyStreamIsKnown) {
  std::vector<std::uint8_t> text(16);
  TraceCipher().Apply(text.data(), text.size());
  EXPECT_EQ(text, (std::vector<std::uint8_t>{0x47, 0x96, 0x40, 0x85, 0xc8, 0x8f, 0x87, 0x2f, 0x74, 0x84, 0x82, 0x14,
                                             0x37, 0x0d, 0x11, 0xb6}));
}

// One cipher for every length: a call must leave nothing behind that changes the next.
TEST(TraceCipher, CachedStreamMatchesLiveComputationAtEveryLength) {
  const TeaKey key{{0x2A4F8DB1u, 0xC3196E07u, 0x7E52A0F4u, 0x94D03B68u}};
  const std::uint32_t initial[2] = {0x01234567u, 0x89ABCDEFu};
  const CTraceCipher cipher(key, initial);
  for (std::size_t size : {0u, 1u, 7u, 8u, 9u, 399u, 511u, 512u, 513u, 520u, 1500u}) {
    std::vector<std::uint8_t> cached(size), live(size);
    cipher.Apply(cached.data(), size);
    CipherText(live.data(), size, key, initial);
    EXPECT_EQ(cached, live) << "size " << size;
  }
}

constexpr std::uint32_t kThreadA = 0x1A2C;
constexpr std::uint32_t kThreadB = 0x0F04;

struct FileBuilder {
  FileBuilder& Raw(std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    return *this;
  }
  FileBuilder& Line(std::string_view line) { return Raw(line).Raw("\r\n"); }
  FileBuilder& Header() { return Line("trace3").Line("Compiled: Mar 14 2025 09:58:12").Line("."); }
  // A record head announcing `announced` text bytes (by default the text's), then the enciphered text.
  FileBuilder& Record(std::uint32_t thread, char kind, std::string_view text = {},
                      std::size_t announced = std::string_view::npos) {
    if (announced == std::string_view::npos) announced = text.size();
    for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<std::uint8_t>(thread >> (8 * i)));
    bytes.push_back(static_cast<std::uint8_t>(kind));
    bytes.push_back(static_cast<std::uint8_t>(announced));
    bytes.push_back(static_cast<std::uint8_t>(announced >> 8));
    std::uint32_t initial[2];
    TraceInitialBlock(initial);
    bytes.insert(bytes.end(), text.begin(), text.end());
    CipherText(bytes.data() + bytes.size() - text.size(), text.size(), TraceKey(), initial);
    return *this;
  }
  TraceFile Parse() const { return ParseTraceFile(bytes); }
  std::vector<std::uint8_t> bytes;
};

// Per thread, an enter prints then deepens and an exit undoes then prints, never below zero; a new run
// forgets the dates, times and depths in force; a date or time that reads as none is shown as it stands.
// Record offsets are the fuzz target's to check.
TEST(TraceReaderFile, NestedScopesOnTwoThreadsWithDateChangesAndAnAppendedRun) {
  FileBuilder file;
  file.Header();
  file.Record(kThreadA, '<').Record(kThreadA, 't', "03/14/25").Record(kThreadA, 'T', "10:22:01.123");
  file.Record(kThreadA, '>', "CGPOAuthPolicy::Load").Record(kThreadA, '>', "CGPOAuthPolicy::ReadValue");
  file.Record(kThreadA, 'U', "reading LogonPolicy");
  file.Record(kThreadB, 'T', "10:22:01.124").Record(kThreadB, '>', "CRsopData::LoadRsop()");
  file.Record(kThreadB, 'E', "-2147024891 ").Record(kThreadB, '<');
  file.Record(kThreadA, 'E', "-2147024894 value missing").Record(kThreadA, '<', "x");
  file.Record(kThreadA, 't', "03/15/25").Record(kThreadA, 'T', "00:00:00.000");
  file.Record(kThreadA, 'U', "Gr\u00f6\u00dfe 3\tmasks");
  file.Record(kThreadB, 'N', "03-16-2025").Record(kThreadB, 'U', "before any date");
  file.Record(kThreadB, 't', "03/16/25").Record(kThreadB, 'T', "08:00:00.001");
  file.Record(kThreadA, '>', "CSnapin::Initialize").Record(kThreadA, '<');
  file.Record(kThreadA, 't', "not\x01 a date").Record(kThreadA, 'T').Record(kThreadB, '<', "stray");

  const TraceFile parsed = file.Parse();
  ASSERT_FALSE(parsed.fault) << parsed.fault->message;

  const std::string header = "trace3\nCompiled: Mar 14 2025 09:58:12\n.\n";
  const std::string records =
      "--/--/-- --:--:--.--- 00001A2C <\n"
      "03/14/25 10:22:01.123 00001A2C > CGPOAuthPolicy::Load\n"
      "03/14/25 10:22:01.123 00001A2C >   CGPOAuthPolicy::ReadValue\n"
      "03/14/25 10:22:01.123 00001A2C U     reading LogonPolicy\n"
      "03/14/25 10:22:01.124 00000F04 > CRsopData::LoadRsop()\n"
      "03/14/25 10:22:01.124 00000F04 E   -2147024891 \n"
      "03/14/25 10:22:01.124 00000F04 <\n"
      "03/14/25 10:22:01.124 00001A2C E     -2147024894 value missing\n"
      "03/14/25 10:22:01.124 00001A2C <   x\n"
      "03/15/25 00:00:00.000 00001A2C U   Gr\u00f6\u00dfe 3\\tmasks\n"
      "======== new run 03-16-2025 ========\n"
      "--/--/-- --:--:--.--- 00000F04 U before any date\n"
      "03/16/25 08:00:00.001 00001A2C > CSnapin::Initialize\n"
      "03/16/25 08:00:00.001 00001A2C <\n"
      "not\\x01 a date --:--:--.--- 00000F04 < stray\n";
  EXPECT_EQ(PrintTraceFile(parsed, {.header = false}), records);
  EXPECT_EQ(PrintTraceFile(parsed), header + records);
  EXPECT_EQ(PrintTraceFile(parsed, {.records = false}), header);
}

TEST(TraceReaderFaults, EachFaultNamesItsOffsetAndKeepsWhatCameBefore) {
  FileBuilder base;
  base.Header().Record(kThreadA, '>', "CModule::DllMain(attach)");
  const std::size_t r = base.bytes.size();  // the second record
  const std::string at = " at byte offset " + std::to_string(r);
  // The longest line is no fault, but a line beyond the most lines is.
  FileBuilder many;
  many.Line("trace3").Line(std::string(vxtrace::kMaxHeaderLineBytes, 'x'));
  for (std::size_t i = 2; i < vxtrace::kMaxHeaderLines; ++i) many.Line("Product: P; Version: 1");
  const std::string line = "header line not terminated by CR LF at byte offset ";
  const struct {
    FileBuilder file;
    std::size_t offset;
    std::string message;
    std::size_t headerLines, records;
  } cases[] = {
      {FileBuilder(base).Raw("abc"), r, "truncated record head" + at + ": 3 of 7 bytes", 3, 1},
      {FileBuilder(base).Record(kThreadA, 'U', "short", 0xFFFF), r,
       "record text runs past the end of the file" + at + ": 65535 bytes announced, 5 present", 3, 1},
      {FileBuilder(base).Record(kThreadA, 'A', "text"), r, "unknown record kind 0x41" + at, 3, 1},
      {FileBuilder(), 0, "file does not start with \"trace3\" at byte offset 0: the file is empty", 0, 0},
      {FileBuilder().Line("trace2"), 0, "file does not start with \"trace3\" at byte offset 0", 0, 0},
      {FileBuilder().Line("trace3 x"), 0, line + "0: \"trace3\" must be followed by CR LF", 0, 0},
      {FileBuilder().Line("trace3").Raw("OS: Windows7\nx"), 8, line + "8: LF without CR at byte offset 20", 1, 0},
      {FileBuilder().Line("trace3").Raw("OS\rx"), 8, line + "8: CR not followed by LF at byte offset 10", 1, 0},
      {FileBuilder().Line("trace3").Raw("Compiled"), 8, line + "8: the file ends after 8 bytes of it", 1, 0},
      {FileBuilder().Line("trace3").Raw("OS\r"), 8, line + "8: CR not followed by LF at byte offset 10", 1, 0},
      {FileBuilder().Line("trace3").Line("OS"), 12, "header has no \".\" line: the file ends at byte offset 12", 2, 0},
      {FileBuilder().Line("trace3").Record(kThreadA, '>', "f"), 8,
       "header has no \".\" line: binary data in the line at byte offset 8 (byte 0x1A at byte offset 9)", 1, 0},
      {FileBuilder().Line("trace3").Line(std::string(vxtrace::kMaxHeaderLineBytes + 1, 'x')), 8,
       "header line not terminated by CR LF within 4096 bytes at byte offset 8", 1, 0},
      {FileBuilder(many).Line("."), many.bytes.size(),
       "header has no \".\" line within 1024 lines at byte offset " + std::to_string(many.bytes.size()), 1024, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    const TraceFile parsed = c.file.Parse();
    ASSERT_TRUE(parsed.fault);
    EXPECT_EQ(parsed.fault->offset, c.offset);
    EXPECT_EQ(parsed.fault->message, c.message);
    EXPECT_EQ(parsed.header.size(), c.headerLines);
    EXPECT_EQ(parsed.records.size(), c.records);
  }
}

TEST(TraceReaderPrinter, DeepScopesKeepTheIndentationCappedAndShowTheirDepth) {
  TracePrinter printer;
  std::string out;
  for (std::size_t i = 0; i <= TracePrinter::kMaxIndentLevels; ++i) printer.PrintRecord({0, 1, '>', "f"}, out);
  out.clear();
  printer.PrintRecord({0, 1, 'U', "deep"}, out);
  EXPECT_EQ(out,
            "--/--/-- --:--:--.--- 00000001 U " + std::string(2 * TracePrinter::kMaxIndentLevels, ' ') + "[41] deep\n");
}

TEST(TraceReaderEscaping, ControlCharactersAndStrayBytesAreShownEscaped) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"a\tb\r\nc", "a\\tb\\r\\nc"},
      {std::string_view("\x00\x1B\x7F", 3), "\\x00\\x1B\\x7F"},
      {"C:\\dir\\x41", "C:\\dir\\x41"},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},  // é € emoji
      {"\xC2\x85|\xC2\x9F", "\\u0085|\\u009F"},                                          // C1 controls
      {"\xE2\x80\xA8\xE2\x80\xA9", "\\u2028\\u2029"},
      {"\xC3", "\\xC3"},                             // cut sequence at the end
      {"\xC0\xAF", "\\xC0\\xAF"},                    // overlong
      {"\xED\xA0\x80", "\\xED\\xA0\\x80"},           // surrogate
      {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},  // above U+10FFFF
  };
  for (const auto& [text, shown] : cases) {
    std::string out;
    vxtrace::AppendEscaped(text, out);
    EXPECT_EQ(out, shown);
  }
}

}  // namespace

// The trace reader against files built byte by byte: header lines, then record heads with texts
// enciphered by the plain (uncached) cipher, so the reader's cached key stream is checked too.
#include "trace_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/trace_cipher.h"

namespace {

using vxtrace::ParseTraceFile;
using vxtrace::PrintTraceFile;
using vxtrace::TraceFile;
using vxtrace::TracePrinter;
using vxtrace::TraceRecord;

constexpr std::uint32_t kThreadA = 0x1A2C;
constexpr std::uint32_t kThreadB = 0x0F04;

class FileBuilder {
 public:
  FileBuilder& Line(std::string_view line) { return Raw(line).Raw("\r\n"); }
  FileBuilder& Raw(std::string_view bytes) {
    m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    return *this;
  }
  FileBuilder& Header() {
    for (const char* line : {"trace3", "Compiled: Mar 14 2025 09:58:12", "File location: C:\\VX\\VXGPOSnapin.dll",
                             "OS: Windows7", "ServicePack: Service Pack 1", "Machine name: WS-0042",
                             "Trace Ver: 3.0.1", "FileVersion: 1.0.0.0", "No Corvane products found",
                             "installation: LOCAL", "03/14/2025 10:22:01.120", "."})
      Line(line);
    return *this;
  }
  // A record head announcing `announced` text bytes, followed by the enciphered text.
  FileBuilder& Record(std::uint32_t thread, char kind, std::string_view text, std::size_t announced) {
    for (int i = 0; i < 4; ++i) m_bytes.push_back(static_cast<std::uint8_t>(thread >> (8 * i)));
    m_bytes.push_back(static_cast<std::uint8_t>(kind));
    m_bytes.push_back(static_cast<std::uint8_t>(announced));
    m_bytes.push_back(static_cast<std::uint8_t>(announced >> 8));
    std::vector<std::uint8_t> cipher(text.begin(), text.end());
    std::uint32_t initial[2];
    VXTraceNS::TraceInitialBlock(initial);
    VXTraceNS::CipherText(cipher.data(), cipher.size(), VXTraceNS::TraceKey(), initial);
    m_bytes.insert(m_bytes.end(), cipher.begin(), cipher.end());
    return *this;
  }
  FileBuilder& Record(std::uint32_t thread, char kind, std::string_view text = {}) {
    return Record(thread, kind, text, text.size());
  }
  std::size_t size() const { return m_bytes.size(); }
  const std::vector<std::uint8_t>& bytes() const { return m_bytes; }
  TraceFile Parse() const { return ParseTraceFile(m_bytes); }

 private:
  std::vector<std::uint8_t> m_bytes;
};

TraceRecord Rec(std::uint32_t thread, char kind, std::string text = {}) { return {0, thread, kind, std::move(text)}; }

std::string Print(TracePrinter& printer, const TraceRecord& record) {
  std::string out;
  printer.PrintRecord(record, out);
  return out;
}

TEST(TraceReaderFile, NestedScopesOnTwoThreadsWithDateChangesAndAnAppendedRun) {
  FileBuilder file;
  file.Header();
  const std::size_t firstRecord = file.size();
  file.Record(kThreadA, 't', "03/14/25").Record(kThreadA, 'T', "10:22:01.123");
  file.Record(kThreadA, '>', "CGPOAuthPolicy::Load").Record(kThreadA, '>', "CGPOAuthPolicy::ReadValue");
  file.Record(kThreadA, 'U', "reading LogonPolicy");
  file.Record(kThreadB, 'T', "10:22:01.124").Record(kThreadB, '>', "CRsopData::LoadRsop()");
  file.Record(kThreadB, 'E', "-2147024891 ").Record(kThreadB, '<');
  file.Record(kThreadA, 'E', "-2147024894 value missing").Record(kThreadA, '<').Record(kThreadA, '<');
  file.Record(kThreadA, 't', "03/15/25").Record(kThreadA, 'T', "00:00:00.000");
  file.Record(kThreadA, 'U', "Gr\xC3\xB6\xC3\x9F" "e 3\tmasks");
  file.Record(kThreadB, 'N', "03-16-2025").Record(kThreadB, 'U', "before any date");
  file.Record(kThreadB, 't', "03/16/25").Record(kThreadB, 'T', "08:00:00.001");
  file.Record(kThreadA, '>', "CSnapin::Initialize").Record(kThreadA, '<');

  const TraceFile parsed = file.Parse();
  ASSERT_FALSE(parsed.fault) << parsed.fault->message;
  ASSERT_EQ(parsed.header.size(), 12u);
  EXPECT_EQ(parsed.header.front(), "trace3");
  EXPECT_EQ(parsed.header.back(), ".");
  EXPECT_EQ(parsed.recordsOffset, firstRecord);
  ASSERT_EQ(parsed.records.size(), 21u);
  std::size_t offset = firstRecord;
  for (const TraceRecord& record : parsed.records) {
    EXPECT_EQ(record.offset, offset);
    offset += 7 + record.text.size();
  }
  EXPECT_EQ(offset, file.size());

  EXPECT_EQ(PrintTraceFile(parsed, {.header = false}),
            "03/14/25 10:22:01.123 00001A2C > CGPOAuthPolicy::Load\n"
            "03/14/25 10:22:01.123 00001A2C >   CGPOAuthPolicy::ReadValue\n"
            "03/14/25 10:22:01.123 00001A2C U     reading LogonPolicy\n"
            "03/14/25 10:22:01.124 00000F04 > CRsopData::LoadRsop()\n"
            "03/14/25 10:22:01.124 00000F04 E   -2147024891 \n"
            "03/14/25 10:22:01.124 00000F04 <\n"
            "03/14/25 10:22:01.124 00001A2C E     -2147024894 value missing\n"
            "03/14/25 10:22:01.124 00001A2C <\n"
            "03/14/25 10:22:01.124 00001A2C <\n"
            "03/15/25 00:00:00.000 00001A2C U Gr\xC3\xB6\xC3\x9F" "e 3\\tmasks\n"
            "======== new run 03-16-2025 ========\n"
            "--/--/-- --:--:--.--- 00000F04 U before any date\n"
            "03/16/25 08:00:00.001 00001A2C > CSnapin::Initialize\n"
            "03/16/25 08:00:00.001 00001A2C <\n");

  const std::string withHeader = PrintTraceFile(parsed);
  EXPECT_EQ(withHeader.rfind("trace3\nCompiled: Mar 14 2025 09:58:12\n", 0), 0u);
  EXPECT_NE(withHeader.find("\n.\n03/14/25 10:22:01.123 00001A2C > CGPOAuthPolicy::Load\n"), std::string::npos);
  EXPECT_EQ(PrintTraceFile(parsed, {.records = false}).size(), withHeader.find("03/14/25 10:22:01.123"));
}

TEST(TraceReaderFile, KnownKindWithUnexpectedTextIsKeptAndShownAsItStands) {
  FileBuilder file;
  file.Header().Record(7, 't', "not a\x01" "date").Record(7, '<', "stray").Record(7, 'T').Record(7, 'U', "x");
  const TraceFile parsed = file.Parse();
  ASSERT_FALSE(parsed.fault);
  ASSERT_EQ(parsed.records.size(), 4u);
  EXPECT_EQ(PrintTraceFile(parsed, {.header = false}),
            "not a\\x01date --:--:--.--- 00000007 < stray\n"
            "not a\\x01date --:--:--.--- 00000007 U x\n");
}

struct FaultCase {
  const char* name;
  FileBuilder file;
  std::size_t offset;
  std::string message;
  std::size_t headerLines;
  std::size_t records;
};

std::vector<FaultCase> FaultCases() {
  std::vector<FaultCase> cases;
  const auto add = [&](const char* name, FileBuilder file, std::size_t offset, std::string message,
                       std::size_t headerLines, std::size_t records) {
    cases.push_back({name, std::move(file), offset, std::move(message), headerLines, records});
  };
  FileBuilder header;
  header.Header();
  FileBuilder base = header;
  base.Record(kThreadA, '>', "CModule::DllMain(attach)");
  const std::size_t r = base.size();  // the second record
  const std::string at = " at byte offset " + std::to_string(r);

  add("truncated head", FileBuilder(base).Raw(std::string_view("\x2C\x1A\x00", 3)), r,
      "truncated record head" + at + ": 3 of 7 bytes", 12, 1);
  add("text past end", FileBuilder(base).Record(kThreadA, 'U', "short", 20), r,
      "record text runs past the end of the file" + at + ": 20 bytes announced, 5 present", 12, 1);
  add("unknown kind", FileBuilder(base).Record(kThreadA, 'A', "text"), r, "unknown record kind 0x41" + at, 12, 1);
  add("empty file", FileBuilder(), 0, "file does not start with \"trace3\" at byte offset 0: the file is empty", 0, 0);
  add("other magic", FileBuilder().Line("trace2"), 0, "file does not start with \"trace3\" at byte offset 0", 0, 0);
  add("magic not alone", FileBuilder().Line("trace3 x"), 0,
      "header line not terminated by CR LF at byte offset 0: \"trace3\" must be followed by CR LF", 0, 0);
  add("LF alone", FileBuilder().Line("trace3").Raw("OS: Windows7\nx"), 8,
      "header line not terminated by CR LF at byte offset 8: LF without CR at byte offset 20", 1, 0);
  add("CR alone", FileBuilder().Line("trace3").Raw("OS\rx"), 8,
      "header line not terminated by CR LF at byte offset 8: CR not followed by LF at byte offset 10", 1, 0);
  add("ends in a line", FileBuilder().Line("trace3").Raw("Compiled"), 8,
      "header line not terminated by CR LF at byte offset 8: the file ends after 8 bytes of it", 1, 0);
  add("ends after CR", FileBuilder().Line("trace3").Raw("OS\r"), 8,
      "header line not terminated by CR LF at byte offset 8: CR not followed by LF at byte offset 10", 1, 0);
  add("ends before dot", FileBuilder().Line("trace3").Line("OS: Windows7"), 22,
      "header has no \".\" line: the file ends at byte offset 22", 2, 0);
  add("records without dot", FileBuilder().Line("trace3").Record(kThreadA, '>', "f"), 8,
      "header has no \".\" line: binary data in the line at byte offset 8 (byte 0x1A at byte offset 9)", 1, 0);
  add("line too long", FileBuilder().Line("trace3").Line(std::string(vxtrace::kMaxHeaderLineBytes + 1, 'x')), 8,
      "header line not terminated by CR LF within 4096 bytes at byte offset 8", 1, 0);
  FileBuilder many;
  many.Line("trace3");
  for (std::size_t i = 1; i < vxtrace::kMaxHeaderLines; ++i) many.Line("Product: P; Version: 1");
  add("too many lines", FileBuilder(many).Line("."), many.size(),
      "header has no \".\" line within 1024 lines at byte offset " + std::to_string(many.size()), 1024, 0);
  return cases;
}

TEST(TraceReaderFaults, EachFaultNamesItsOffsetAndKeepsWhatCameBefore) {
  for (const FaultCase& c : FaultCases()) {
    SCOPED_TRACE(c.name);
    const TraceFile parsed = c.file.Parse();
    ASSERT_TRUE(parsed.fault);
    EXPECT_EQ(parsed.fault->offset, c.offset);
    EXPECT_EQ(parsed.fault->message, c.message);
    EXPECT_EQ(parsed.header.size(), c.headerLines);
    EXPECT_EQ(parsed.records.size(), c.records);
  }
}

TEST(TraceReaderFaults, LimitsThemselvesAndAFileOfOnlyAHeaderAreAccepted) {
  FileBuilder file;
  const TraceFile parsed = file.Line("trace3").Line(std::string(vxtrace::kMaxHeaderLineBytes, 'x')).Line(".").Parse();
  EXPECT_FALSE(parsed.fault);
  EXPECT_EQ(parsed.recordsOffset, file.size());
  EXPECT_TRUE(parsed.records.empty());
}

TEST(TraceReaderCipher, TextsOfEveryLengthRoundTrip) {
  for (std::size_t length : {0, 9, 513, 65535}) {
    SCOPED_TRACE(length);
    std::string text(length, '\0');
    for (std::size_t i = 0; i < length; ++i) text[i] = static_cast<char>((i * 131 + length) & 0xFF);
    FileBuilder file;
    file.Header().Record(kThreadA, 'U', text).Record(kThreadB, 'U', text);
    const TraceFile parsed = file.Parse();
    ASSERT_FALSE(parsed.fault);
    ASSERT_EQ(parsed.records.size(), 2u);
    EXPECT_EQ(parsed.records[0].text, text);
    EXPECT_EQ(parsed.records[1].text, text);
  }
}

TEST(TraceReaderPrinter, EnterPrintsThenDeepensExitUndoesThenPrintsNeverBelowZeroAndANewRunResets) {
  TracePrinter printer;
  EXPECT_EQ(Print(printer, Rec(1, '<')), "--/--/-- --:--:--.--- 00000001 <\n");
  EXPECT_EQ(Print(printer, Rec(1, '>', "outer")), "--/--/-- --:--:--.--- 00000001 > outer\n");
  EXPECT_EQ(Print(printer, Rec(1, '>', "inner")), "--/--/-- --:--:--.--- 00000001 >   inner\n");
  EXPECT_EQ(Print(printer, Rec(2, 'U', "other thread")), "--/--/-- --:--:--.--- 00000002 U other thread\n");
  EXPECT_EQ(Print(printer, Rec(1, 'U', "m")), "--/--/-- --:--:--.--- 00000001 U     m\n");
  EXPECT_EQ(Print(printer, Rec(1, '<', "x")), "--/--/-- --:--:--.--- 00000001 <   x\n");
  Print(printer, Rec(1, '<'));
  Print(printer, Rec(1, '<'));
  EXPECT_EQ(printer.Depth(1), 0u);
  EXPECT_EQ(Print(printer, Rec(1, '>', "again")), "--/--/-- --:--:--.--- 00000001 > again\n");

  EXPECT_EQ(Print(printer, Rec(1, 't', "01/02/25")), "");
  EXPECT_EQ(Print(printer, Rec(1, 'T', "03:04:05.006")), "");
  EXPECT_EQ(Print(printer, Rec(1, 'N', "01-03-2025")), "======== new run 01-03-2025 ========\n");
  EXPECT_EQ(printer.Depth(1), 0u);
  EXPECT_EQ(Print(printer, Rec(1, 'U', "m")), "--/--/-- --:--:--.--- 00000001 U m\n");
}

TEST(TraceReaderPrinter, DeepScopesKeepTheIndentationCappedAndShowTheirDepth) {
  TracePrinter printer;
  for (std::size_t i = 0; i < TracePrinter::kMaxIndentLevels + 1; ++i) Print(printer, Rec(1, '>', "f"));
  const std::string line = Print(printer, Rec(1, 'U', "deep"));
  EXPECT_EQ(line, "--/--/-- --:--:--.--- 00000001 U " + std::string(2 * TracePrinter::kMaxIndentLevels, ' ') +
                      "[41] deep\n");
}

TEST(TraceReaderEscaping, ControlCharactersAndStrayBytesAreShownEscaped) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"a\tb\r\nc", "a\\tb\\r\\nc"},
      {std::string_view("\x00\x1B\x7F", 3), "\\x00\\x1B\\x7F"},
      {"C:\\dir\\x41", "C:\\dir\\x41"},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},  // é € emoji
      {"\xC2\x85|\xC2\x9F", "\\u0085|\\u009F"},                                          // C1 controls
      {"\xE2\x80\xA8\xE2\x80\xA9", "\\u2028\\u2029"},
      {"\xC3", "\\xC3"},                        // cut sequence at the end
      {"\xC0\xAF", "\\xC0\\xAF"},               // overlong
      {"\xED\xA0\x80", "\\xED\\xA0\\x80"},      // surrogate
      {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},  // above U+10FFFF
  };
  for (const auto& [text, shown] : cases) {
    std::string out;
    vxtrace::AppendEscaped(text, out);
    EXPECT_EQ(out, shown);
  }
}

}  // namespace

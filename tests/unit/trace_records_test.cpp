// The records a traced operation writes: order, texts, size caps, date and time only on change.
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "trace_test_support.h"

using namespace VXTraceNS;
using vxtest::TraceFixture;

namespace {

class TraceRecords : public TraceFixture {
 protected:
  void SetUp() override {
    Config(u"DoTrace", 1);
    Start();
  }
  vxtest::DecodedFile Written() {
    Stop();
    return File();
  }
};

void Throwing() {
  CTraceScope scope("CTest::Throwing");
  throw std::runtime_error("unwinding");
}

}  // namespace

TEST_F(TraceRecords, ScopeWritesEnterMessageResultExitWithOneDateAndTime) {
  {
    CTraceScope scope("CRsopData::LoadRsop()");
    scope.Message("count = %d, name = %s", 3, "machine");
    scope.Result(E_FAIL);
  }
  const auto file = Written();
  ASSERT_EQ(file.Kinds(), "tT>UE<");
  EXPECT_EQ(file.records[0].text, "11/22/26");
  EXPECT_EQ(file.records[1].text, "20:47:05.123");
  EXPECT_EQ(file.records[2].text, "CRsopData::LoadRsop()");
  EXPECT_EQ(file.records[3].text, "count = 3, name = machine");
  EXPECT_EQ(file.records[4].text, "-2147467259 ");
  EXPECT_EQ(file.records[5].text, "");
  for (const auto& r : file.records) EXPECT_EQ(r.thread, 7u);
}

TEST_F(TraceRecords, TimeRecordsOnlyWhenTheTimeChangesAndDateRecordsOnlyWithANewDay) {
  {
    CTraceScope outer("Outer");
    clock.SetTime({2026, 11, 0, 22, 20, 47, 5, 124});
    outer.Message("later");
    outer.Message("same millisecond");
    clock.SetTime({2026, 11, 1, 23, 20, 47, 5, 124});  // a new day at the same time of day
    outer.Message("next day");
  }
  EXPECT_EQ(Written().Kinds(), "tT>TUUtTU<");
  EXPECT_EQ(File().Texts('t'), (std::vector<std::string>{"11/22/26", "11/23/26"}));
}

TEST_F(TraceRecords, ExitIsWrittenDuringUnwinding) {
  EXPECT_THROW(Throwing(), std::runtime_error);
  EXPECT_EQ(Written().Kinds(), "tT><");
}

TEST_F(TraceRecords, NamesAreCutAndAMissingNameIsMarked) {
  const std::string longName(150, 'n');
  { CTraceScope scope(longName.c_str()); }
  { CTraceScope scope(nullptr); }
  const auto names = Written().Texts('>');
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(names[0], std::string(99, 'n'));
  EXPECT_EQ(names[1], "????");
}

TEST_F(TraceRecords, MessageFormatting) {
  {
    CTraceScope scope("Messages");
    scope.Message("");
    scope.Message("%s and %c stay narrow", "text", 'x');
    scope.Message("wide %ls, hex %08X, big %016I64X", u"\u00e9t\u00e9", 0xBEEFu, 0x8000000000000001ULL);
    scope.Message("%s", std::string(500, 'a').c_str());              // longer than 399 bytes: cut
    scope.Message((std::string(398, 'b') + "\xc3\xa9").c_str());     // a character is not split
    scope.Message(std::string(401, '%').c_str());                    // a format that does not fit: dropped
    scope.Message("100%%s done");  // the narrowing prefix goes after every "%s", even a literal one
  }
  const auto texts = Written().Texts('U');
  ASSERT_EQ(texts.size(), 6u);
  EXPECT_EQ(texts[0], "");
  EXPECT_EQ(texts[1], "text and x stay narrow");
  EXPECT_EQ(texts[2], "wide \xc3\xa9t\xc3\xa9, hex 0000BEEF, big 8000000000000001");
  EXPECT_EQ(texts[3], std::string(399, 'a'));
  EXPECT_EQ(texts[4], std::string(398, 'b'));
  EXPECT_EQ(texts[5], "100%hs done");
}

// Formats are made ready once per address, but an address says nothing about the text it holds now.
TEST_F(TraceRecords, AFormatIsTheTextAtItsAddressNow) {
  char format[64] = "first %d";
  std::vector<std::string> many;
  for (int i = 0; i < 300; ++i) many.push_back("format " + std::to_string(i) + " = %d");
  {
    CTraceScope scope("Formats");
    scope.Message(format, 1);
    std::snprintf(format, sizeof format, "second %%s");
    scope.Message(format, "text");
    std::snprintf(format, sizeof format, "second %%s!");
    scope.Message(format, "text");
    for (int round = 0; round < 2; ++round)
      for (int i = 0; i < 300; ++i) scope.Message(many[static_cast<size_t>(i)].c_str(), i);
    // A dropped format is remembered as dropped, and its address used again is a new format.
    std::string reused(401, '%');
    scope.Message(reused.c_str());
    scope.Message(reused.c_str());
    reused.assign(400, '-');
    scope.Message(reused.c_str());
  }
  const auto texts = Written().Texts('U');
  ASSERT_EQ(texts.size(), 3u + 600u + 1u);
  EXPECT_EQ(texts[0], "first 1");
  EXPECT_EQ(texts[1], "second text");
  EXPECT_EQ(texts[2], "second text!");
  for (size_t i = 0; i < 600; ++i) {
    const std::string number = std::to_string(i % 300);
    EXPECT_EQ(texts[3 + i], "format " + number + " = " + number);
  }
  EXPECT_EQ(texts.back(), std::string(399, '-'));
}

TEST_F(TraceRecords, ResultRecordsFailuresAndSecuritySuccessesOnly) {
  {
    CTraceScope scope("Results");
    scope.Result(S_OK);
    scope.Result(S_FALSE);
    scope.Result(static_cast<HRESULT>(0x00090312), "continue needed");
    scope.Result(E_POINTER, "[12 : store.cpp] HPTR(p)");
    scope.Result(E_FAIL, std::string(300, 'x').c_str());
  }
  const auto texts = Written().Texts('E');
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_EQ(texts[0], "590610 continue needed");
  EXPECT_EQ(texts[1], "-2147467261 [12 : store.cpp] HPTR(p)");
  EXPECT_EQ(texts[2].size(), 260u);
  EXPECT_EQ(texts[2].substr(0, 12), "-2147467259 ");
}

TEST_F(TraceRecords, ThreadIdsAreThoseOfTheWriters) {
  { CTraceScope scope("Main"); }
  process.threadId = 99;
  { CTraceScope scope("Other"); }
  const auto file = Written();
  ASSERT_EQ(file.Kinds(), "tT><><");
  EXPECT_EQ(file.records[2].thread, 7u);
  EXPECT_EQ(file.records[4].thread, 99u);
}

TEST_F(TraceRecords, EachRecordIsOneWrite) {
  const size_t before = files.WriteCalls();
  {
    CTraceScope scope("Writes");
    scope.Message("one");
  }
  // header, then t T > U <
  EXPECT_EQ(files.WriteCalls() - before, 6u);
}

TEST(TraceOff, NoFacilityMeansNoTracingAndNoCrash) {
  ASSERT_EQ(CurrentFacility(), nullptr);
  CTraceScope scope("Nothing");
  scope.Message("%d", 1);
  EXPECT_EQ(scope.Result(E_FAIL), E_FAIL);
  EXPECT_NE(dynamic_cast<CNoOutput*>(&GetTraceOutput()), nullptr);
}

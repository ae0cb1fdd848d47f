// The records a traced operation writes: order, texts, size caps, date and time only on change.
#include <cstdio>
#include <stdexcept>

#include "trace_test_support.h"

using namespace VXTraceNS;
using vxtest::Kinds;
using vxtest::Texts;

namespace {

class TraceRecords : public vxtest::TracingFixture {};

}  // namespace

TEST_F(TraceRecords, ScopeWritesEnterMessageResultExitWithOneDateAndTimeEachInOneWrite) {
  const size_t writesBefore = files.WriteCalls();
  {
    CTraceScope scope("CRsopData::LoadRsop()");
    scope.Message("count = %d, name = %s", 3, "machine");
    scope.Result(E_FAIL);
  }
  EXPECT_EQ(files.WriteCalls() - writesBefore, 7u) << "the header, then one write per record";
  Stop();
  const auto file = File();
  ASSERT_EQ(Kinds(file), "tT>UE<");
  const std::vector<std::string> texts = {
      "11/22/26", "20:47:05.123", "CRsopData::LoadRsop()", "count = 3, name = machine", "-2147467259 ", ""};
  for (size_t i = 0; i < texts.size(); ++i) {
    EXPECT_EQ(file.records[i].text, texts[i]);
    EXPECT_EQ(file.records[i].threadId, 7u);
  }
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
  Stop();
  EXPECT_EQ(Kinds(File()), "tT>TUUtTU<");
  EXPECT_EQ(Texts(File(), 't'), (std::vector<std::string>{"11/22/26", "11/23/26"}));
}

TEST_F(TraceRecords, NamesAreCutAMissingNameIsMarkedAndEachRecordCarriesItsThread) {
  { CTraceScope scope(std::string(150, 'n').c_str()); }
  process.threadId = 99;
  { CTraceScope scope(nullptr); }
  const auto throwing = [] {
    CTraceScope scope("CTest::Throwing");
    throw std::runtime_error("unwinding");
  };
  EXPECT_THROW(throwing(), std::runtime_error);
  Stop();
  const auto file = File();
  ASSERT_EQ(Kinds(file), "tT><><><") << "the exit is written during unwinding too";
  EXPECT_EQ(Texts(file, '>'), (std::vector<std::string>{std::string(99, 'n'), "????", "CTest::Throwing"}));
  EXPECT_EQ(file.records[2].threadId, 7u);
  EXPECT_EQ(file.records[4].threadId, 99u);
}

TEST_F(TraceRecords, MessageFormatting) {
  {
    CTraceScope scope("Messages");
    scope.Message("");
    scope.Message("%s and %c stay narrow", "text", 'x');
    scope.Message("%s", std::string(500, 'a').c_str());           // longer than 399 bytes: cut
    scope.Message((std::string(398, 'b') + "\xc3\xa9").c_str());  // a character is not split
    scope.Message(std::string(401, '%').c_str());                 // a format that does not fit: dropped
    scope.Message("100%%s done");  // the narrowing prefix goes after every "%s", even a literal one
  }
  EXPECT_EQ(Written('U'), (std::vector<std::string>{"", "text and x stay narrow", std::string(399, 'a'),
                                                    std::string(398, 'b'), "100%hs done"}));
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
  const auto texts = Written('U');
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
  const auto texts = Written('E');
  ASSERT_EQ(texts.size(), 3u);
  EXPECT_EQ(texts[0], "590610 continue needed");
  EXPECT_EQ(texts[1], "-2147467261 [12 : store.cpp] HPTR(p)");
  EXPECT_EQ(texts[2], "-2147467259 " + std::string(248, 'x')) << "cut at 260 bytes";
}

TEST(TraceOff, NoFacilityMeansNoTracingAndNoCrash) {
  ASSERT_EQ(CurrentFacility(), nullptr);
  CTraceScope scope("Nothing");
  scope.Message("%d", 1);
  EXPECT_EQ(scope.Result(E_FAIL), E_FAIL);
  EXPECT_NE(dynamic_cast<CNoOutput*>(&GetTraceOutput()), nullptr);
}

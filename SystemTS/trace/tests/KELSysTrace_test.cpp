// Report lines as a channel formats them, and the outputs that write them.
#include "KELSysTrace.h"

#include <syslog.h>

#include <thread>

#include "KELSysTraceObj.h"
#include "KELSysTraceStreamObj.h"
#include "KELSysTraceSystemObj.h"
#include "KELSysTraceTestSupport.h"

// The prefix of a report line for each flag set, time zone and clock failure.
TEST(KELSysTrace, FormatsReportLinePrefixes) {
  using C = std::tuple<unsigned, bool, bool, bool, const char*>;  // flags, local, sub-second, broken down
  for (const auto& [l_Flags, l_Local, l_SubSecond, l_BreakDown, l_Prefix] :
       {C{0, false, true, true, ""}, C{4, false, true, true, "(f.cpp : 12) "},
        C{1, false, true, true, "[2024-05-01T10:20:30.456Z] "},
        C{1, true, true, true, "[2024-05-01@12:20:30.456] "},
        C{1, false, false, true, "[2024-05-01T10:20:30Z] "},
        C{1, true, false, true, "[2024-05-01@12:20:30] "}, C{1, false, true, false, "1714558830 "},
        C{5, false, true, true, "[2024-05-01T10:20:30.456Z](f.cpp : 12) "},
        C{23, false, true, true, "[2024-05-01T10:20:30.456Z] "}}) {
    auto l_Clock = std::make_shared<KELSysTraceFixedClock>();
    l_Clock->m_SubSecond = l_SubSecond;
    l_Clock->m_BreakDown = l_BreakDown;
    auto l_Out = std::make_shared<KELSysTraceMemoryObj>();
    KELSysTrace("CH", l_Out, KELSysTraceLayout{l_Flags, KELSysTraceDebug, 0, l_Local, l_Clock})
        .Report(KELSysTraceWarning, "f.cpp", 12, "x %d\n", 5);
    EXPECT_EQ(l_Out->GetText(), std::string(l_Prefix) + "[W] CH: x 5\n") << l_Flags;
  }
}

// Level tags, codes (0x400 alone is no code) and positions; a level limit drops the levels above it
// and a text limit cuts texts, keeping their line feed; without one a long text stays whole.
TEST(KELSysTrace, WritesLevelTagsAndCodesAndFiltersAndCutsTexts) {
  auto l_Out = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace l_Trace("KELSysJSON", l_Out);
  l_Trace.Print(KELSysTraceError, "e\n");
  l_Trace.Print(KELSysTraceWarning, "w\n");
  l_Trace.Print(KELSysTraceInfo, "i\n");
  l_Trace.Print(KELSysTraceDebug, "%s=%d\n", "d", 4);
  l_Trace.ReportCode(KELSysTraceError, 0x80004005u, "a.cpp", 1, "c\n");
  l_Trace.ReportCode(KELSysTraceError, 0x400u, "a.cpp", 2, "c\n");
  l_Trace.ReportCode(KELSysTraceError, 0x401u, "a.cpp", 3, "c\n");
  l_Trace.Report(KELSysTraceError, nullptr, 4, "no file\n");
  EXPECT_EQ(l_Out->GetText(),
            "[E] KELSysJSON: e\n[W] KELSysJSON: w\n[I] KELSysJSON: i\n[D] KELSysJSON: d=4\n"
            "[80004005](a.cpp : 1) [E] KELSysJSON: c\n(a.cpp : 2) [E] KELSysJSON: c\n"
            "[00000401](a.cpp : 3) [E] KELSysJSON: c\n( : 4) [E] KELSysJSON: no file\n");

  l_Out->Clear();
  KELSysTrace l_Limited("C", l_Out, KELSysTraceLayout{0, KELSysTraceWarning, 4, false, nullptr});
  l_Limited.Print(KELSysTraceInfo, "dropped\n");
  l_Limited.Print(KELSysTraceWarning, "abcdefgh\n");
  l_Limited.Print(KELSysTraceError, "abcdefgh");
  l_Limited.Print(KELSysTraceError, "abc\n");
  const std::string l_Long(3000, 'x');
  KELSysTrace("C", l_Out).Print(KELSysTraceDebug, "%s\n", l_Long.c_str());
  EXPECT_EQ(l_Out->GetText(), "[W] C: abcd\n[E] C: abcd[E] C: abc\n[D] C: " + l_Long + "\n");
}

// A stream is written in order and flushed; a file is opened on the first line and appended to.
TEST_F(KELSysTraceTest, StreamObjWritesStreamsAndFiles) {
  char* l_Text = nullptr;
  size_t l_Size = 0;
  FILE* l_Stream = open_memstream(&l_Text, &l_Size);
  fputs("own ", l_Stream);
  EXPECT_EQ(KELSysTraceStreamObj(l_Stream).Write("trace\n"), 0);
  EXPECT_EQ(std::string(l_Text, l_Size), "own trace\n");
  fclose(l_Stream);
  free(l_Text);

  KELSysTraceStreamObj l_Lazy(At("lazy.trc"));
  const std::string l_Path = Write("t.trc", "old\n");
  EXPECT_EQ(KELSysTraceStreamObj(l_Path).Write("new\n"), 0);
  EXPECT_EQ(Read("t.trc"), "old\nnew\n");
  EXPECT_EQ(Tree(), "/t.trc\n");
  EXPECT_EQ(KELSysTraceStreamObj(std::string()).Write("x"), -1);
  EXPECT_EQ(KELSysTraceStreamObj(At("no/such")).Write("x"), -1);
}

TEST_F(KELSysTraceTest, StreamObjKeepsLinesOfThreadsWhole) {
  KELSysTraceStreamObj l_Obj(At("r.log"), 4096, 3);
  const std::string l_Line = std::string(100, 'z') + "\n";
  std::vector<std::thread> l_Threads;
  for (int l_T = 0; l_T < 4; ++l_T)
    l_Threads.emplace_back([&] {
      for (int l_I = 0; l_I < 200; ++l_I) l_Obj.Write(l_Line);
    });
  for (auto& l_Thread : l_Threads) l_Thread.join();
  for (const char* l_Name : {"r.1.log", "r.2.log", "r.3.log"}) {
    std::string l_Text = Read(l_Name);
    EXPECT_LE(l_Text.size(), 4096u);
    EXPECT_EQ(l_Text.size() % l_Line.size(), 0u) << l_Name;
    EXPECT_EQ(l_Text.find_first_not_of(l_Line), std::string::npos) << l_Name;
  }
}

// The system log gets records: the identity and the line without its line feed, at the priority of
// the line's level (debug for a plain write).
TEST(KELSysTraceSystemObj, WritesRecordsAtTheLevelsPriority) {
  std::vector<std::pair<int, std::string>> l_Records;
  KELSysTraceSystemObj l_Log(
      "app", [&](int iPriority, const std::string& iRecord) { l_Records.emplace_back(iPriority, iRecord); });
  EXPECT_EQ(l_Log.WriteAt(KELSysTraceWarning, "[W] C: w\n") + l_Log.Write("x"), 0);
  EXPECT_EQ(l_Records, (std::vector<std::pair<int, std::string>>{{LOG_USER | LOG_WARNING, "app: [W] C: w"},
                                                                 {LOG_USER | LOG_DEBUG, "app: x"}}));
}

#include "KELSysTrace.h"

#include <gtest/gtest.h>

#include "KELSysTraceObj.h"
#include "KELSysTraceTestSupport.h"

namespace {

// The prefix of a report line for each flag set, time zone and clock failure.
TEST(KELSysTrace, FormatsReportLinePrefixes) {
  struct Case {
    unsigned m_Flags;
    bool m_Local, m_SubSecond, m_BreakDown;
    const char* m_Prefix;
  };
  for (const Case& l_Case :
       {Case{0, false, true, true, ""}, Case{4, false, true, true, "(f.cpp : 12) "},
        Case{1, false, true, true, "[2024-05-01T10:20:30.456Z] "},
        Case{1, true, true, true, "[2024-05-01@12:20:30.456] "},
        Case{1, false, false, true, "[2024-05-01T10:20:30Z] "},
        Case{1, true, false, true, "[2024-05-01@12:20:30] "}, Case{1, false, true, false, "1714558830 "},
        Case{5, false, true, true, "[2024-05-01T10:20:30.456Z](f.cpp : 12) "},
        Case{23, false, true, true, "[2024-05-01T10:20:30.456Z] "}}) {
    auto l_Clock = std::make_shared<KELSysTraceFixedClock>();
    l_Clock->m_SubSecond = l_Case.m_SubSecond;
    l_Clock->m_BreakDown = l_Case.m_BreakDown;
    auto l_Out = std::make_shared<KELSysTraceMemoryObj>();
    KELSysTrace l_Trace("CH", l_Out,
                        KELSysTraceLayout{l_Case.m_Flags, KELSysTraceDebug, 0, l_Case.m_Local, l_Clock});
    l_Trace.Report(KELSysTraceWarning, "f.cpp", 12, "x %d\n", 5);
    EXPECT_EQ(l_Out->GetText(), std::string(l_Case.m_Prefix) + "[W] CH: x 5\n") << l_Case.m_Flags;
  }
}

TEST(KELSysTrace, WritesLevelTagsAndCodes) {
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
}

TEST(KELSysTrace, FiltersLevelsAndCutsLongTexts) {
  auto l_Out = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace l_Trace("C", l_Out, KELSysTraceLayout{0, KELSysTraceWarning, 4, false, nullptr});
  l_Trace.Print(KELSysTraceInfo, "dropped\n");
  l_Trace.Print(KELSysTraceDebug, "dropped\n");
  l_Trace.Print(KELSysTraceWarning, "abcdefgh\n");
  l_Trace.Print(KELSysTraceError, "abcdefgh");
  l_Trace.Print(KELSysTraceError, "abc\n");
  EXPECT_EQ(l_Out->GetText(), "[W] C: abcd\n[E] C: abcd[E] C: abc\n");

  KELSysTrace l_Whole("C", l_Out);
  l_Out->Clear();
  std::string l_Long(3000, 'x');
  l_Whole.Print(KELSysTraceDebug, "%s\n", l_Long.c_str());
  EXPECT_EQ(l_Out->GetText(), "[D] C: " + l_Long + "\n");
}

}  // namespace

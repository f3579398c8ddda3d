#include "KELSysTraceStreamObj.h"

#include <gtest/gtest.h>

#include <syslog.h>

#include <thread>

#include "KELSysTraceSystemObj.h"
#include "KELSysTraceTestSupport.h"

namespace {

TEST(KELSysTraceStreamObj, WritesThroughStdioStreamInOrder) {
  char* l_Text = nullptr;
  size_t l_Size = 0;
  FILE* l_Stream = open_memstream(&l_Text, &l_Size);
  fputs("own ", l_Stream);
  EXPECT_EQ(KELSysTraceStreamObj(l_Stream).Write("trace\n"), 0);
  EXPECT_EQ(std::string(l_Text, l_Size), "own trace\n");  // in order and already flushed
  fclose(l_Stream);
  free(l_Text);
}

TEST(KELSysTraceStreamObj, OpensFileOnFirstLineAndAppends) {
  KELSysTraceTempDir l_Dir;
  KELSysTraceStreamObj l_Lazy(l_Dir.Path() + "/lazy.trc");
  std::string l_Path = l_Dir.Write("t.trc", "old\n");
  EXPECT_EQ(KELSysTraceStreamObj(l_Path).Write("new\n"), 0);
  EXPECT_EQ(KELSysTraceReadFile(l_Path), "old\nnew\n");
  EXPECT_EQ(l_Dir.Tree(), "/t.trc\n");
  EXPECT_EQ(KELSysTraceStreamObj(std::string()).Write("x"), -1);
  EXPECT_EQ(KELSysTraceStreamObj(l_Dir.Path() + "/no/such").Write("x"), -1);
}

TEST(KELSysTraceStreamObj, KeepsLinesOfThreadsWhole) {
  KELSysTraceTempDir l_Dir;
  KELSysTraceStreamObj l_Obj(l_Dir.Path() + "/r.log", 4096, 3);
  const std::string l_Line = std::string(100, 'z') + "\n";
  std::vector<std::thread> l_Threads;
  for (int l_T = 0; l_T < 4; ++l_T)
    l_Threads.emplace_back([&] {
      for (int l_I = 0; l_I < 200; ++l_I) l_Obj.Write(l_Line);
    });
  for (auto& l_Thread : l_Threads) l_Thread.join();
  for (const char* l_Name : {"/r.1.log", "/r.2.log", "/r.3.log"}) {
    std::string l_Text = KELSysTraceReadFile(l_Dir.Path() + l_Name);
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

}  // namespace

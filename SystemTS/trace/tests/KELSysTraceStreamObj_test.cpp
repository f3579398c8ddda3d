#include "KELSysTraceStreamObj.h"

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "KELSysTraceSystemObj.h"
#include "KELSysTraceTestSupport.h"

namespace {

TEST(KELSysTraceStreamObj, WritesToDescriptorAndStdioStream) {
  int l_Pipe[2];
  ASSERT_EQ(pipe(l_Pipe), 0);
  {
    KELSysTraceStreamObj l_Obj(l_Pipe[1]);
    EXPECT_EQ(l_Obj.Write("line\n"), 0);
  }
  char l_Buffer[16] = {};
  EXPECT_EQ(read(l_Pipe[0], l_Buffer, sizeof l_Buffer), 5);  // written at once, descriptor left open
  EXPECT_EQ(write(l_Pipe[1], "", 0), 0);
  close(l_Pipe[0]);
  close(l_Pipe[1]);

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
  std::string l_Path = l_Dir.Write("t.trc", "old\n");
  KELSysTraceStreamObj l_Lazy(l_Dir.Path() + "/lazy.trc");
  EXPECT_NE(access((l_Dir.Path() + "/lazy.trc").c_str(), F_OK), 0);
  KELSysTraceStreamObj l_Obj(l_Path);
  EXPECT_EQ(l_Obj.Write("new\n"), 0);
  EXPECT_EQ(KELSysTraceReadFile(l_Path), "old\nnew\n");
  EXPECT_EQ(KELSysTraceStreamObj(std::string()).Write("x"), -1);
  EXPECT_EQ(KELSysTraceStreamObj(l_Dir.Path() + "/no/such").Write("x"), -1);
}

TEST(KELSysTraceStreamObj, KeepsLinesOfThreadsWhole) {
  KELSysTraceTempDir l_Dir;
  auto l_Obj = std::make_shared<KELSysTraceStreamObj>(l_Dir.Path() + "/r.log", 4096, 3);
  const std::string l_Line = std::string(100, 'z') + "\n";
  std::vector<std::thread> l_Threads;
  for (int l_T = 0; l_T < 4; ++l_T) {
    l_Threads.emplace_back([&] {
      for (int l_I = 0; l_I < 200; ++l_I) l_Obj->Write(l_Line);
    });
  }
  for (auto& l_Thread : l_Threads) l_Thread.join();
  for (const char* l_Name : {"/r.1.log", "/r.2.log", "/r.3.log"}) {
    std::string l_Text = KELSysTraceReadFile(l_Dir.Path() + l_Name);
    EXPECT_LE(l_Text.size(), 4096u);
    EXPECT_EQ(l_Text.size() % l_Line.size(), 0u) << l_Name;
    EXPECT_EQ(l_Text.find_first_not_of(l_Line), std::string::npos) << l_Name;
  }
}

TEST(KELSysTraceSystemObj, LogsRecordsAtLevelPriority) {
  std::string l_Log;
  KELSysTraceSystemObj l_Obj("app", [&](int iPriority, const std::string& iRecord) {
    l_Log += std::to_string(iPriority) + " " + iRecord + "|";
  });
  KELSysTrace l_Trace("C", std::shared_ptr<KELSysTraceObjBase>(&l_Obj, [](KELSysTraceObjBase*) {}));
  l_Trace.Print(KELSysTraceError, "e\n");
  l_Trace.Print(KELSysTraceWarning, "w");
  l_Trace.Print(KELSysTraceInfo, "i\n");
  l_Obj.Write("plain\n");
  EXPECT_EQ(l_Log, std::to_string(LOG_USER | LOG_ERR) + " app: [E] C: e|" +
                       std::to_string(LOG_USER | LOG_WARNING) + " app: [W] C: w|" +
                       std::to_string(LOG_USER | LOG_INFO) + " app: [I] C: i|" +
                       std::to_string(LOG_USER | LOG_DEBUG) + " app: plain|");
}

}  // namespace

#include "KELSysTraceManager.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KELSysTraceTestSupport.h"

namespace {

class KELSysTraceManagerTest : public testing::Test {
 protected:
  std::unique_ptr<KELSysTraceManager> Make(const char* iSpecs) {
    return std::make_unique<KELSysTraceManager>(iSpecs, KELSysTraceMakeEnv({{"MORTraceDir", m_Dir.Path()}}),
                                                m_Clock);
  }
  std::string ProcessFolder() const {
    char l_Name[64];
    snprintf(l_Name, sizeof l_Name, "/KELSysTrace/D20240501_T102030_P%08d_I", static_cast<int>(getpid()));
    return m_Dir.Path() + l_Name;
  }
  // Entries of the temporary folder, recursively, in name order.
  std::string Tree(const std::string& iSub = "") const {
    std::vector<std::string> l_Names;
    if (DIR* l_Dir = opendir((m_Dir.Path() + iSub).c_str())) {
      while (const dirent* l_Entry = readdir(l_Dir)) {
        std::string l_Name = l_Entry->d_name;
        if (l_Name != "." && l_Name != "..") l_Names.push_back(l_Name);
      }
      closedir(l_Dir);
    }
    std::sort(l_Names.begin(), l_Names.end());
    std::string l_Text;
    for (const std::string& l_Name : l_Names) {
      std::string l_Path = iSub + "/" + l_Name;
      struct stat l_St;
      stat((m_Dir.Path() + l_Path).c_str(), &l_St);
      l_Text += l_Path + (S_ISDIR(l_St.st_mode) ? "\n" + Tree(l_Path) : "\n");
    }
    return l_Text;
  }

  KELSysTraceTempDir m_Dir;
  std::shared_ptr<KELSysTraceFixedClock> m_Clock = std::make_shared<KELSysTraceFixedClock>();
};

TEST_F(KELSysTraceManagerTest, UnenabledChannelsWriteNothing) {
  for (const char* l_Specs : {static_cast<const char*>(nullptr), "", "-Q bad", "--name Other --file o.trc"}) {
    auto l_Manager = Make(l_Specs);
    EXPECT_EQ(l_Manager->Find("KELSYSREGKEY"), nullptr) << (l_Specs ? l_Specs : "(unset)");
  }
  EXPECT_EQ(Tree(), "");
}

TEST_F(KELSysTraceManagerTest, BuildsChannelOnceWithLayout) {
  auto l_Manager = Make("-I16 -L2 -M3 -N --local-time A");
  KELSysTrace* l_Trace = l_Manager->Find("A");
  ASSERT_NE(l_Trace, nullptr);
  EXPECT_EQ(l_Manager->Find("A"), l_Trace);
  const KELSysTraceLayout& l_Layout = l_Trace->GetLayout();
  EXPECT_EQ(l_Layout.m_PrefixFlags, unsigned(KELSysTracePrefixThread | KELSysTracePrefixTime));
  EXPECT_EQ(l_Layout.m_MaxLevel, int(KELSysTraceWarning));
  EXPECT_EQ(l_Layout.m_MaxText, 3u);
  EXPECT_TRUE(l_Layout.m_LocalTime);
  EXPECT_EQ(Tree(), "");  // standard error needs no trace folder
}

TEST_F(KELSysTraceManagerTest, ChannelsShareTheirFile) {
  auto l_Manager = Make("--name A --file a.trc,B");
  l_Manager->Find("A")->Print(KELSysTraceDebug, "one\n");
  l_Manager->Find("B")->Print(KELSysTraceInfo, "two\n");
  EXPECT_EQ(KELSysTraceReadFile(ProcessFolder() + "/a.trc"),
            "[2024-05-01T10:20:30.456Z] [D] A: one\n[I] B: two\n");
}

TEST_F(KELSysTraceManagerTest, RotatesFilesInKiB) {
  auto l_Manager = Make("--name R --file r.log --rotate-file-count 2 --rotate-file-size 1");
  KELSysTrace* l_Trace = l_Manager->Find("R");
  std::string l_Text(600, 'x');
  for (int l_I = 0; l_I < 3; ++l_I) l_Trace->Print(KELSysTraceDebug, "%s\n", l_Text.c_str());
  std::string l_Line = "[2024-05-01T10:20:30.456Z] [D] R: " + l_Text + "\n";
  std::string l_Folder = ProcessFolder().substr(m_Dir.Path().size());
  EXPECT_EQ(Tree(), "/KELSysTrace\n" + l_Folder + "\n" + l_Folder + "/r.1.log\n" + l_Folder + "/r.2.log\n");
  EXPECT_EQ(KELSysTraceReadFile(ProcessFolder() + "/r.1.log"), l_Line);  // wrapped around and emptied
  EXPECT_EQ(KELSysTraceReadFile(ProcessFolder() + "/r.2.log"), l_Line);
}

TEST_F(KELSysTraceManagerTest, ReadsOptionFilesOnlyWhenVariableIsSet) {
  mkdir((m_Dir.Path() + "/KELSysTrace").c_str(), 0700);
  m_Dir.Write("KELSysTrace/OPFILE.one", "-o Z\n");
  EXPECT_EQ(Make(nullptr)->Find("Z"), nullptr);
  EXPECT_NE(Make("")->Find("Z"), nullptr);
}

TEST_F(KELSysTraceManagerTest, FileOutputFailsQuietlyWithoutFolder) {
  m_Dir.Write("file", "");
  KELSysTraceManager l_Manager("-Fx.trc A", KELSysTraceMakeEnv({{"MORTraceDir", m_Dir.Path() + "/file"}}),
                               m_Clock);
  KELSysTrace* l_Trace = l_Manager.Find("A");
  ASSERT_NE(l_Trace, nullptr);
  l_Trace->Print(KELSysTraceError, "lost\n");
  EXPECT_EQ(Tree(), "/file\n");
}

}  // namespace

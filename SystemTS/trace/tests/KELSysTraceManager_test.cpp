#include "KELSysTraceManager.h"

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
  std::string Read(const std::string& iName) const {
    return KELSysTraceReadFile(m_Dir.Path() + m_Folder + iName);
  }
  const std::string m_Folder = std::string("/KELSysTrace/D20240501_T102030").append(KELSysTracePidPart());
  KELSysTraceTempDir m_Dir;
  std::shared_ptr<KELSysTraceFixedClock> m_Clock = std::make_shared<KELSysTraceFixedClock>();
};

// A channel is made once, with the layout its settings give, and only when a specification (or,
// once the variable is set, an option file) names it; standard error needs no trace folder.
TEST_F(KELSysTraceManagerTest, BuildsEnabledChannelsOnce) {
  for (const char* l_Specs : {static_cast<const char*>(nullptr), "", "-Q bad", "--name Other --file o.trc"})
    EXPECT_EQ(Make(l_Specs)->Find("KELSYSREGKEY"), nullptr) << (l_Specs ? l_Specs : "(unset)");
  auto l_Manager = Make("-I16 -L2 -M3 -N --local-time A");
  KELSysTrace* l_Trace = l_Manager->Find("A");
  ASSERT_NE(l_Trace, nullptr);
  EXPECT_EQ(l_Manager->Find("A"), l_Trace);
  const KELSysTraceLayout& l_Layout = l_Trace->GetLayout();
  EXPECT_EQ(l_Layout.m_PrefixFlags, unsigned(KELSysTracePrefixThread | KELSysTracePrefixTime));
  EXPECT_EQ(l_Layout.m_MaxLevel, int(KELSysTraceWarning));
  EXPECT_EQ(l_Layout.m_MaxText, 3u);
  EXPECT_TRUE(l_Layout.m_LocalTime);
  EXPECT_EQ(m_Dir.Tree(), "");
  mkdir((m_Dir.Path() + "/KELSysTrace").c_str(), 0700);
  m_Dir.Write("KELSysTrace/OPFILE.one", "-o Z\n");
  EXPECT_EQ(Make(nullptr)->Find("Z"), nullptr);
  EXPECT_NE(Make("")->Find("Z"), nullptr);
}

// Channels naming one file share it; rotation sizes are in KiB: two lines do not fit in 1024 bytes,
// and the third wraps around to the first file, emptied.
TEST_F(KELSysTraceManagerTest, WritesFilesInTheProcessFolder) {
  auto l_Manager =
      Make("--name A --file a.trc,B;--name R --file r.log --rotate-file-count 2 --rotate-file-size 1");
  l_Manager->Find("A")->Print(KELSysTraceDebug, "one\n");
  l_Manager->Find("B")->Print(KELSysTraceInfo, "two\n");
  EXPECT_EQ(Read("/a.trc"), "[2024-05-01T10:20:30.456Z] [D] A: one\n[I] B: two\n");
  std::string l_Text(600, 'x');
  for (int l_I = 0; l_I < 3; ++l_I) l_Manager->Find("R")->Print(KELSysTraceDebug, "%s\n", l_Text.c_str());
  EXPECT_EQ(m_Dir.Tree(), "/KELSysTrace\n" + m_Folder + "\n" + m_Folder + "/a.trc\n" + m_Folder +
                              "/r.1.log\n" + m_Folder + "/r.2.log\n");
  const std::string l_Line = "[2024-05-01T10:20:30.456Z] [D] R: " + l_Text + "\n";
  EXPECT_EQ(Read("/r.1.log") + Read("/r.2.log"), l_Line + l_Line);
}

}  // namespace

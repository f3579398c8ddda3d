#include "KELSysMORTrace.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KELSysTraceTestSupport.h"

namespace {

class KELSysMORTraceTest : public testing::Test {
 protected:
  KELSysMORTraceTest() {
    mkdir(Path("a").c_str(), 0755);
    mkdir(Path("b").c_str(), 0755);
    m_Dir.Write("file", "");
  }
  std::string Path(const std::string& iName) const { return m_Dir.Path() + "/" + iName; }
  std::string Base(std::map<std::string, std::string> iVars) const {
    std::string l_Base = "(none)";
    KELSysMORTrace(KELSysTraceMakeEnv(std::move(iVars)), nullptr).FindTraceBase(l_Base);
    return l_Base;
  }
  static unsigned Mode(const std::string& iPath) {
    struct stat l_St;
    return stat(iPath.c_str(), &l_St) == 0 && S_ISDIR(l_St.st_mode) ? l_St.st_mode & 07777 : 0;
  }

  KELSysTraceTempDir m_Dir;
};

TEST_F(KELSysMORTraceTest, ChoosesTraceBaseInOrder) {
  EXPECT_EQ(Base({{"MORTraceDir", Path("a")}, {"MORTemp", Path("b")}, {"PWD", Path("c")}}), Path("a"));
  EXPECT_EQ(Base({{"MORTraceDir", Path("none")}, {"MORTemp", Path("b")}, {"PWD", Path("c")}}), Path("b"));
  EXPECT_EQ(Base({{"MORTraceDir", ""}, {"MORTemp", Path("none")}, {"PWD", Path("c")}}), Path("c"));
  EXPECT_EQ(Base({{"MORTemp", ""}}), "/tmp");
  EXPECT_EQ(Base({}), "/tmp");
  EXPECT_EQ(Base({{"MORTraceDir", m_Dir.Path() + "//a/./"}}), Path("a"));
}

TEST_F(KELSysMORTraceTest, CreatesPrivateFolders) {
  auto l_Clock = std::make_shared<KELSysTraceFixedClock>();
  KELSysMORTrace l_Places(KELSysTraceMakeEnv({{"MORTraceDir", Path("a") + "/"}}), l_Clock);
  std::string l_Folder, l_Utc, l_Local;
  ASSERT_EQ(l_Places.GetTraceFolder(l_Folder), 0);
  EXPECT_EQ(l_Folder, Path("a/KELSysTrace"));
  EXPECT_EQ(Mode(l_Folder), 0700u);
  ASSERT_EQ(l_Places.GetProcessFolder(false, l_Utc), 0);
  EXPECT_EQ(l_Utc, Path("a/KELSysTrace/D20240501_T102030") + KELSysTracePidPart());
  EXPECT_EQ(Mode(l_Utc), 0700u);
  // The start time is taken once: a later clock does not rename the folder.
  l_Clock->m_Seconds += 3600;
  ASSERT_EQ(l_Places.GetProcessFolder(true, l_Local), 0);
  EXPECT_EQ(l_Local, Path("a/KELSysTrace/D20240501_T122030") + KELSysTracePidPart());
  // An existing folder is taken as it is; a time that cannot be broken down stamps it in seconds.
  l_Clock->m_BreakDown = false;
  KELSysMORTrace l_Again(KELSysTraceMakeEnv({{"MORTraceDir", Path("a")}}), l_Clock);
  ASSERT_EQ(l_Again.GetTraceFolder(l_Folder), 0);
  ASSERT_EQ(l_Again.GetProcessFolder(false, l_Folder), 0);
  EXPECT_EQ(l_Folder, Path("a/KELSysTrace/1714562430") + KELSysTracePidPart());
}

TEST_F(KELSysMORTraceTest, FailsWhereNoFolderCanBeMade) {
  KELSysMORTrace l_Places(KELSysTraceMakeEnv({{"MORTraceDir", Path("file")}}), nullptr);
  std::string l_Folder = "unchanged";
  EXPECT_EQ(l_Places.GetTraceFolder(l_Folder), -1);
  EXPECT_EQ(l_Places.GetProcessFolder(false, l_Folder), -1);
  EXPECT_EQ(l_Folder, "unchanged");
}

TEST_F(KELSysMORTraceTest, NormalizesPaths) {
  const std::pair<const char*, const char*> l_Cases[] = {
      {"/a//b/./c/", "/a/b/c"}, {"/../a", "/a"}, {"a/../../b", "../b"}, {"", "."}, {"/", "/"},
      {"a/b/..", "a"},          {"./", "."}};
  for (auto [l_In, l_Out] : l_Cases) EXPECT_EQ(KELSysMORTrace::Normalize(l_In), l_Out) << l_In;
}

}  // namespace

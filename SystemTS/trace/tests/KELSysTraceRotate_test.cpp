#include "KELSysTraceRotate.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KELSysTraceTestSupport.h"

namespace {

class KELSysTraceRotateTest : public testing::Test {
 protected:
  std::string Base() const { return m_Dir.Path() + "/trace.log"; }
  int Write(KELSysTraceRotate& ioSet, const std::string& iText) {
    return ioSet.Write(iText.data(), iText.size());
  }
  // The contents of files 1 to iCount of a set of iCount files, "-" for a missing file.
  std::string Contents(const KELSysTraceRotate& iSet, unsigned iCount) {
    std::string l_Text;
    for (unsigned l_I = 1; l_I <= iCount; ++l_I) {
      std::string l_Name = iSet.FileName(l_I);
      l_Text.append(l_I > 1 ? "|" : "")
          .append(access(l_Name.c_str(), F_OK) == 0 ? KELSysTraceReadFile(l_Name) : "-");
    }
    return l_Text;
  }
  void Age(const std::string& iPath, time_t iSeconds) {
    struct timespec l_Times[2] = {{iSeconds, 0}, {iSeconds, 0}};
    utimensat(AT_FDCWD, iPath.c_str(), l_Times, 0);
  }

  KELSysTraceTempDir m_Dir;
};

TEST_F(KELSysTraceRotateTest, IndexWidthFollowsCount) {
  const std::pair<unsigned, int> l_Cases[] = {{0, 0}, {1, 0}, {2, 1}, {10, 1}, {11, 2}, {100, 2}, {101, 3}};
  for (auto [l_Count, l_Width] : l_Cases)
    EXPECT_EQ(KELSysTraceRotate::IndexWidth(l_Count), l_Width) << l_Count;
}

TEST_F(KELSysTraceRotateTest, NamesFiles) {
  const std::string l_Dir = m_Dir.Path();
  EXPECT_EQ(KELSysTraceRotate(Base(), 0, 1).FileName(1), l_Dir + "/trace.1.log");
  EXPECT_EQ(KELSysTraceRotate(Base(), 0, 10).FileName(3), l_Dir + "/trace.3.log");
  EXPECT_EQ(KELSysTraceRotate(Base(), 0, 11).FileName(3), l_Dir + "/trace.03.log");
  EXPECT_EQ(KELSysTraceRotate(Base(), 0, 100).FileName(100), l_Dir + "/trace.100.log");
  EXPECT_EQ(KELSysTraceRotate(l_Dir + "/trace", 0, 10).FileName(2), l_Dir + "/trace.2");
  EXPECT_EQ(KELSysTraceRotate("/a.b/trace", 0, 2).FileName(1), "/a.b/trace.1");
  EXPECT_EQ(KELSysTraceRotate("/a/t.x.y", 0, 2).FileName(2), "/a/t.x.2.y");
}

TEST_F(KELSysTraceRotateTest, RotatesBeforeLinesThatDoNotFitAndWrapsAround) {
  KELSysTraceRotate l_Set(Base(), 10, 3);
  EXPECT_EQ(Write(l_Set, "12345"), 0);
  EXPECT_EQ(Write(l_Set, "67890"), 0);  // exactly fills the room left
  EXPECT_EQ(Contents(l_Set, 3), "1234567890|-|-");
  EXPECT_EQ(Write(l_Set, "a"), 0);
  EXPECT_EQ(Write(l_Set, std::string(20, 'b')), 0);  // larger than the room: a file of its own
  EXPECT_EQ(Contents(l_Set, 3), std::string("1234567890|a|").append(20, 'b'));
  EXPECT_EQ(Write(l_Set, "c"), 0);  // the last file is past the maximum: back to 1, emptied
  EXPECT_EQ(Contents(l_Set, 3), std::string("c|a|").append(20, 'b'));
  EXPECT_EQ(l_Set.GetIndex(), 1u);
}

TEST_F(KELSysTraceRotateTest, StartsWithOldestFile) {
  KELSysTraceRotate l_Names(Base(), 10, 3);
  for (unsigned l_I = 1; l_I <= 3; ++l_I)
    m_Dir.Write(std::string("trace.").append(std::to_string(l_I)).append(".log"), "old");
  Age(l_Names.FileName(1), 2000);
  Age(l_Names.FileName(2), 1000);
  Age(l_Names.FileName(3), 3000);
  KELSysTraceRotate l_Set(Base(), 10, 3);
  EXPECT_EQ(l_Set.GetIndex(), 2u);
  EXPECT_EQ(Write(l_Set, "new"), 0);
  EXPECT_EQ(Contents(l_Set, 3), "old|new|old");
}

}  // namespace

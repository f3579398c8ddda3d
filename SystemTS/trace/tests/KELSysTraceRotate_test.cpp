#include "KELSysTraceRotate.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <random>

#include "KELSysTraceTestSupport.h"

// Every access() and stat() of this process is counted: they are how a set could look for its files.
namespace {
long g_Probes = 0;
}
extern "C" int access(const char* iPath, int iMode) {
  ++g_Probes;
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, iPath, iMode, 0));
}
extern "C" int stat(const char* iPath, struct stat* oStat) {
  ++g_Probes;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, iPath, oStat, 0));
}

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

// Once made, a set looks for no file: a rotation probes nothing, with 10 files as with 2000, and
// a set that has wrapped around still steps through its files in order.
TEST_F(KELSysTraceRotateTest, RotationProbesNoFileWhateverTheCount) {
  for (unsigned l_Count : {10u, 2000u}) {
    KELSysTraceTempDir l_Dir;
    const std::string l_Base = l_Dir.Path() + "/trace.log";
    KELSysTraceRotate l_Names(l_Base, 4, l_Count);
    for (unsigned l_I = 1; l_I <= l_Count; ++l_I) std::ofstream(l_Names.FileName(l_I)) << "old";
    KELSysTraceRotate l_Set(l_Base, 4, l_Count);
    const unsigned l_First = l_Set.GetIndex();
    const long l_Before = g_Probes;
    for (unsigned l_Line = 0; l_Line < 50; ++l_Line) ASSERT_EQ(Write(l_Set, "line"), 0);
    EXPECT_EQ(g_Probes - l_Before, 0) << l_Count;
    EXPECT_EQ(l_Set.GetIndex(), (l_First - 1 + 49) % l_Count + 1) << l_Count;
    EXPECT_EQ(KELSysTraceReadFile(l_Set.FileName(l_Set.GetIndex())), "line");
  }
}

// The index a set of iCount files of iMax bytes takes for each of iLines, by the rule the set
// follows: before a line that does not fit, step to the first index above the current one whose
// file does not exist on disk at that moment; when all exist, to the next one, wrapping to 1.
struct Step {
  unsigned m_Index;
  bool m_Fresh;  // the line starts the file (emptied when it existed)
};
std::vector<Step> ExpectedSteps(const KELSysTraceRotate& iNames, unsigned iStart, uint64_t iMax,
                                unsigned iCount, const std::vector<size_t>& iLines) {
  std::vector<Step> l_Steps;
  std::vector<bool> l_Exists(iCount + 1);
  for (unsigned l_I = 1; l_I <= iCount; ++l_I)
    l_Exists[l_I] = access(iNames.FileName(l_I).c_str(), F_OK) == 0;
  unsigned l_Index = iStart;
  uint64_t l_Size = 0;
  bool l_Open = false;
  for (size_t l_Line : iLines) {
    const bool l_Fresh = !l_Open || l_Size > iMax || l_Line > iMax - l_Size;
    if (l_Open ? (l_Size > iMax || l_Line > iMax - l_Size) : l_Line > iMax) {
      unsigned l_Next = 0;
      for (unsigned l_I = l_Index + 1; l_I <= iCount && l_Next == 0; ++l_I)
        if (!l_Exists[l_I]) l_Next = l_I;
      l_Index = l_Next ? l_Next : l_Index >= iCount ? 1 : l_Index + 1;
      l_Size = 0;
    } else if (!l_Open) {
      l_Size = 0;
    }
    l_Open = l_Exists[l_Index] = true;
    l_Size += l_Line;
    l_Steps.push_back({l_Index, l_Fresh});
  }
  return l_Steps;
}

// Sets that start among files left by an earlier run, with gaps anywhere, start with the oldest of
// them (the first of those as old), fill the gaps above it in the order the rule gives, then wrap
// around; each file ends with the lines written last.
TEST_F(KELSysTraceRotateTest, FollowsTheRuleFromAnyStartingSet) {
  std::mt19937 l_Random(17);
  for (int l_Round = 0; l_Round < 40; ++l_Round) {
    KELSysTraceTempDir l_Dir;
    const std::string l_Base = l_Dir.Path() + "/t.log";
    const unsigned l_Count = 1 + l_Random() % 12;
    const uint64_t l_Max = 1 + l_Random() % 8;
    KELSysTraceRotate l_Names(l_Base, l_Max, l_Count);
    unsigned l_Oldest = 1;
    time_t l_OldestAge = 0;
    for (unsigned l_I = 1; l_I <= l_Count; ++l_I)
      if (l_Random() % 2) {
        const time_t l_Age = 1000 + l_Random() % 50;
        std::ofstream(l_Names.FileName(l_I)) << "old";
        Age(l_Names.FileName(l_I), l_Age);
        if (l_OldestAge == 0 || l_Age < l_OldestAge) l_Oldest = l_I, l_OldestAge = l_Age;
      }
    std::vector<size_t> l_Lines(30);
    for (size_t& l_Line : l_Lines) l_Line = 1 + l_Random() % 10;
    KELSysTraceRotate l_Set(l_Base, l_Max, l_Count);
    ASSERT_EQ(l_Set.GetIndex(), l_Oldest) << "round " << l_Round;
    const std::vector<Step> l_Expected = ExpectedSteps(l_Names, l_Oldest, l_Max, l_Count, l_Lines);
    std::vector<std::string> l_Contents(l_Count + 1);
    for (size_t l_Line = 0; l_Line < l_Lines.size(); ++l_Line) {
      const std::string l_Text(l_Lines[l_Line], static_cast<char>('a' + l_Line % 26));
      ASSERT_EQ(Write(l_Set, l_Text), 0);
      ASSERT_EQ(l_Set.GetIndex(), l_Expected[l_Line].m_Index) << "round " << l_Round << " line " << l_Line;
      std::string& l_File = l_Contents[l_Expected[l_Line].m_Index];
      l_File = (l_Expected[l_Line].m_Fresh ? std::string() : l_File) + l_Text;
    }
    for (unsigned l_I = 1; l_I <= l_Count; ++l_I) {
      if (l_Contents[l_I].empty()) continue;
      EXPECT_EQ(KELSysTraceReadFile(l_Names.FileName(l_I)), l_Contents[l_I]) << l_I;
    }
  }
}

}  // namespace

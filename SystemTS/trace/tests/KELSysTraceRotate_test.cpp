#include "KELSysTraceRotate.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <random>

#include "KELSysTraceTestSupport.h"

// Every access() and stat() of this process is counted: they are how a set could look for its files.
static long g_Probes = 0;
extern "C" int access(const char* iPath, int iMode) {
  ++g_Probes;
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, iPath, iMode, 0));
}
extern "C" int stat(const char* iPath, struct stat* oStat) {
  ++g_Probes;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, iPath, oStat, 0));
}

using KELSysTraceRotateTest = KELSysTraceTest;

TEST_F(KELSysTraceRotateTest, NamesFiles) {
  EXPECT_EQ(KELSysTraceRotate(At("trace.log"), 0, 1).FileName(1), At("trace.1.log"));
  EXPECT_EQ(KELSysTraceRotate(At("trace.log"), 0, 10).FileName(3), At("trace.3.log"));
  EXPECT_EQ(KELSysTraceRotate(At("trace.log"), 0, 11).FileName(3), At("trace.03.log"));
  EXPECT_EQ(KELSysTraceRotate(At("trace.log"), 0, 100).FileName(100), At("trace.100.log"));
  EXPECT_EQ(KELSysTraceRotate("/a.b/trace", 0, 2).FileName(1), "/a.b/trace.1");
  EXPECT_EQ(KELSysTraceRotate("/a/t.x.y", 0, 2).FileName(2), "/a/t.x.2.y");
}

// Once made, a set looks for no file: rotations among 2000 files that all exist probe nothing. (Where
// a set steps, wrapping around included, is the rule the test below follows.)
TEST_F(KELSysTraceRotateTest, RotationProbesNoFile) {
  KELSysTraceRotate l_Names(At("t.log"), 4, 2000);
  for (unsigned l_I = 1; l_I <= 2000; ++l_I) std::ofstream(l_Names.FileName(l_I)) << "old";
  KELSysTraceRotate l_Set(At("t.log"), 4, 2000);
  const long l_Before = g_Probes;
  for (unsigned l_Line = 0; l_Line < 50; ++l_Line) ASSERT_EQ(l_Set.Write("line", 4), 0);
  EXPECT_EQ(g_Probes - l_Before, 0);
}

// Sets that start among files left by an earlier run, with gaps anywhere, start with the oldest of
// them (the first of those as old). Before a line that does not fit, a set steps to the first index
// above the current one whose file does not exist yet; when all exist, to the next one, wrapping to
// 1; a file it takes starts empty. Each file ends with the lines written last.
TEST_F(KELSysTraceRotateTest, FollowsTheRuleFromAnyStartingSet) {
  std::mt19937 l_Random(17);
  // Each set closes its file when it goes: the process holds no more descriptors after the rounds.
  const auto l_OpenBefore = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  for (int l_Round = 0; l_Round < 40; ++l_Round) {
    const std::string l_Base = At(std::to_string(l_Round) + "/t.log");
    std::filesystem::create_directory(At(std::to_string(l_Round)));
    const unsigned l_Count = 1 + l_Random() % 12;
    const uint64_t l_Max = 1 + l_Random() % 8;
    KELSysTraceRotate l_Names(l_Base, l_Max, l_Count);
    unsigned l_Index = 1;
    time_t l_OldestAge = 0;
    std::vector<bool> l_Exists(l_Count + 1);
    for (unsigned l_I = 1; l_I <= l_Count; ++l_I)
      if (l_Random() % 2) {
        const time_t l_Age = 1000 + l_Random() % 50;
        std::ofstream(l_Names.FileName(l_I)) << "old";
        const struct timespec l_Times[2] = {{l_Age, 0}, {l_Age, 0}};
        utimensat(AT_FDCWD, l_Names.FileName(l_I).c_str(), l_Times, 0);
        if (l_OldestAge == 0 || l_Age < l_OldestAge) l_Index = l_I, l_OldestAge = l_Age;
        l_Exists[l_I] = true;
      }
    KELSysTraceRotate l_Set(l_Base, l_Max, l_Count);
    ASSERT_EQ(l_Set.GetIndex(), l_Index) << "round " << l_Round;
    std::vector<std::string> l_Contents(l_Count + 1);
    bool l_Open = false;
    for (size_t l_Line = 0; l_Line < 30; ++l_Line) {
      const std::string l_Text(1 + l_Random() % 10, static_cast<char>('a' + l_Line % 26));
      const bool l_Rotate = l_Text.size() + (l_Open ? l_Contents[l_Index].size() : 0) > l_Max;
      if (l_Rotate) {
        unsigned l_Next = l_Index + 1;
        while (l_Next <= l_Count && l_Exists[l_Next]) ++l_Next;
        l_Index = l_Next <= l_Count ? l_Next : l_Index >= l_Count ? 1 : l_Index + 1;
      }
      if (l_Rotate || !l_Open) l_Contents[l_Index].clear();
      l_Open = l_Exists[l_Index] = true;
      l_Contents[l_Index] += l_Text;
      ASSERT_EQ(l_Set.Write(l_Text.data(), l_Text.size()), 0);
      ASSERT_EQ(l_Set.GetIndex(), l_Index) << "round " << l_Round << " line " << l_Line;
    }
    for (unsigned l_I = 1; l_I <= l_Count; ++l_I)
      EXPECT_EQ(l_Contents[l_I].empty() ? "" : KELTestReadFile(l_Names.FileName(l_I)), l_Contents[l_I])
          << l_I;
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}), l_OpenBefore);
}

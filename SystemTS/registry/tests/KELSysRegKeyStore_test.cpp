// Key files that are not what they should be, and a disk that fills up during a write-back.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KELSysRegKey.h"
#include "KELSysRegTestSupport.h"

namespace {

using MakeFile = void (*)(const std::string& iPath);

class KELSysRegStoreTest : public KELSysRegTest, public testing::WithParamInterface<MakeFile> {};

// Each must fail at once: alarm() ends the test binary should the open block or read forever.
TEST_P(KELSysRegStoreTest, RefusesKeyFilesThatAreNotSmallRegularFiles) {
  std::filesystem::create_directories(Path("HKLM/K"));
  GetParam()(Path("HKLM/K.json"));
  alarm(10);
  for (uint32_t l_Access : {KELSysRegAccessRead, KELSysRegAccessReadWrite}) {
    KELSysRegKey l_Key;
    EXPECT_LT(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", l_Access), 0);
    EXPECT_TRUE(l_Key.GetPath().IsEmpty());
  }
  alarm(0);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, KELSysRegStoreTest,
    testing::Values([](const std::string& iPath) { ASSERT_EQ(mkfifo(iPath.c_str(), 0644), 0); },
                    [](const std::string& iPath) { std::filesystem::create_directory(iPath); },
                    [](const std::string& iPath) { ASSERT_EQ(symlink("/dev/zero", iPath.c_str()), 0); },
                    [](const std::string& iPath) {
                      std::ofstream(iPath) << "{}";
                      std::filesystem::resize_file(iPath, (64 << 20) + 1);
                    }));

// The child's steps; its exit status is the first one that failed, 0 when all passed, or
// k_NoNamespace.
constexpr int k_NoNamespace = 77;

bool MakeMountNamespace() {
  if (unshare(CLONE_NEWNS) != 0) {
    uid_t l_Uid = getuid();
    gid_t l_Gid = getgid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << "0 " << l_Uid << " 1";
    std::ofstream("/proc/self/gid_map") << "0 " << l_Gid << " 1";
  }
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

int FillDiskDuringWriteBack(const std::string& iRoot, std::string (*iRead)(const std::string&)) {
  if (!MakeMountNamespace() || mount("tmpfs", iRoot.c_str(), "tmpfs", 0, "size=64k") != 0)
    return k_NoNamespace;
  {
    KELSysRegKey l_Key;
    if (l_Key.CreateKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK) return 1;
    if (l_Key.SetStringValue("A", std::string(1000, 'a').c_str()) != KEL_S_OK) return 2;
    if (l_Key.SetStringValue("B", "b") != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK) return 3;
  }
  const std::string l_Old = iRead(iRoot + "/HKLM/K.json");
  int l_Fd = open((iRoot + "/filler").c_str(), O_WRONLY | O_CREAT, 0644);
  std::string l_Block(4096, 'f');
  while (write(l_Fd, l_Block.data(), l_Block.size()) > 0) {
  }
  if (errno != ENOSPC) return 4;
  close(l_Fd);
  KELSysRegKey l_Key;
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK) return 5;
  if (l_Key.SetStringValue("C", std::string(20000, 'c').c_str()) != KEL_S_OK) return 6;
  if (l_Key.CloseKey() != KELSysResultFromErrno(ENOSPC)) return 7;
  if (iRead(iRoot + "/HKLM/K.json") != l_Old) return 8;
  // Shrinking needs no new room, even on the full disk.
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK) return 9;
  if (l_Key.DeleteValue("A") != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK) return 10;
  if (iRead(iRoot + "/HKLM/K.json") != "{\"Version\":\"1.0\",\"K\":{\"B\":[3,\"b\"]}}") return 11;
  return 0;
}

std::string ReadFile(const std::string& iPath) {
  std::ifstream l_In(iPath, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(l_In), std::istreambuf_iterator<char>());
}

class KELSysRegFullDiskTest : public KELSysRegTest {};

// A tiny file system in a mount namespace of a child process, filled up before the write-back.
TEST_F(KELSysRegFullDiskTest, GrowingWriteBackFailsAndLeavesTheOldFile) {
  const std::string l_Disk = Path("disk");
  std::filesystem::create_directory(l_Disk);
  pid_t l_Child = fork();
  ASSERT_GE(l_Child, 0);
  if (l_Child == 0) {
    KELSysRegSetRootForTest(l_Disk.c_str());
    _exit(FillDiskDuringWriteBack(l_Disk, ReadFile));
  }
  int l_Status = 0;
  ASSERT_EQ(waitpid(l_Child, &l_Status, 0), l_Child);
  ASSERT_TRUE(WIFEXITED(l_Status)) << "child ended by signal " << WTERMSIG(l_Status);
  if (WEXITSTATUS(l_Status) == k_NoNamespace) GTEST_SKIP() << "no private mount namespace can be made here";
  EXPECT_EQ(WEXITSTATUS(l_Status), 0) << "first failed step of the child";
}

}  // namespace

// Keys as files and folders: creating, listing and deleting them, key files that are not what they
// should be, and a disk that fills up during a write-back.
#include <dirent.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KELSysRegTestSupport.h"

namespace {

class KELSysRegKeyTreeTest : public KELSysRegKeyTest {};

TEST_F(KELSysRegKeyTreeTest, CreateMakesEveryParentAndTheHiveFile) {
  KELSysRegKey l_Key, l_Child;
  l_Key.SetTraceForTest(&m_Trace);
  ASSERT_EQ(l_Key.CreateKey(KELSysRegHiveLocalMachine, "A\\B\\C", KELSysRegAccessReadWrite), KEL_S_OK);
  for (const char* l_File : {"HKLM.json", "HKLM/A.json", "HKLM/A/B.json", "HKLM/A/B/C.json"})
    EXPECT_TRUE(Exists(l_File) && Read(l_File).empty()) << l_File;
  EXPECT_TRUE(fs::is_directory(Path("HKLM/A/B/C")));
  std::string l_Walk;
  for (const char* l_File : {"A/B/C.json", "A/B.json", "A.json"})
    l_Walk += "  EnsureParentAreKeys l_Current " + fs::path(l_File).filename().string() +
              ", l_CurrentPath: " + Path("HKLM/") + l_File + "\n";
  EXPECT_EQ(TakeTrace(),
            l_Walk + "  OpenKeyReal m_Path: , l_OpenMode: 2, l_Rc: 80004005\n    l_Stat.grfMode: 2\n");
  ASSERT_EQ(l_Child.CreateKey(l_Key, "D", KELSysRegAccessReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Child.GetPath().ConvertToUTF8(), Path("HKLM/A/B/C/D.json"));
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  // No base path: a closed parent, the hive folder itself.
  EXPECT_EQ(l_Child.CreateKey(l_Key, "E", KELSysRegAccessReadWrite), KEL_E_FAIL);
  EXPECT_EQ(l_Child.CreateKey(KELSysRegHiveLocalMachine, "", KELSysRegAccessReadWrite), KEL_E_FAIL);
}

TEST_F(KELSysRegKeyTreeTest, EnumKeysListsOnlyFilesWithFolders) {
  for (const char* l_Key : {"HKLM/P", "HKLM/P/Good", "HKLM/P/Other", "HKLM/P/ViaLink"}) WriteKey(l_Key);
  for (const char* l_Folder : {"FolderOnly", "Odd.txt", "Dir.json", "Dir", "Dangling"})
    fs::create_directories(Path("HKLM/P/") + l_Folder);
  for (const char* l_File : {"FileOnly.json", "Plain", "...json", "Target"})
    std::ofstream(Path("HKLM/P/") + l_File);
  fs::remove(Path("HKLM/P/ViaLink.json"));
  fs::create_symlink(Path("HKLM/P/Target"), Path("HKLM/P/ViaLink.json"));
  fs::create_symlink(Path("HKLM/P/Nowhere"), Path("HKLM/P/Dangling.json"));
  // The order is the folder's own listing order.
  Names l_Expected{"kept"}, l_Names{"kept"};
  DIR* l_Dir = opendir(Path("HKLM/P").c_str());
  while (dirent* l_Entry = readdir(l_Dir))
    for (const char* l_Name : {"Good", "Other", "ViaLink"})
      if (std::string(l_Entry->d_name) == std::string(l_Name) + ".json") l_Expected.emplace_back(l_Name);
  closedir(l_Dir);
  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "P", KELSysRegAccessRead), KEL_S_OK);
  EXPECT_EQ(l_Key.EnumKeys(l_Names), KEL_S_OK);
  EXPECT_EQ(l_Names, l_Expected);
}

TEST_F(KELSysRegKeyTreeTest, DeletesLeavesAndWholeTrees) {
  for (const char* l_Key :
       {"HKLM/P", "HKLM/P/Leaf", "HKLM/P/Tree", "HKLM/P/Tree/Sub", "HKLM/P/Tree/Sub/Deeper"})
    WriteKey(l_Key);
  WriteKey("HKLM/Outside", "keep");
  fs::create_directory_symlink(Path("HKLM/Outside"), Path("HKLM/P/Tree/Sub/Link"));
  KELSysRegKey l_Key;
  l_Key.SetTraceForTest(&m_Trace);
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "P", KELSysRegAccessReadWrite), KEL_S_OK);
  EXPECT_LT(l_Key.DeleteSubKey("Tree"), 0);
  EXPECT_TRUE(Exists("HKLM/P/Tree.json") && Exists("HKLM/P/Tree/Sub/Deeper.json"));
  EXPECT_EQ(l_Key.DeleteSubKey("Missing"), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.DeleteSubKey("Leaf"), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P/Leaf.json") || Exists("HKLM/P/Leaf"));
  TakeTrace();
  EXPECT_EQ(l_Key.RecurseDeleteKey("Tree"), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P/Tree.json") || Exists("HKLM/P/Tree"));
  EXPECT_TRUE(Read("HKLM/Outside.json") == "keep" && Exists("HKLM/Outside"));
  const std::string l_Tree = Path("HKLM/P/Tree.json");
  EXPECT_EQ(TakeTrace(), "  CheckWriteAccess true (l_Stat.grfMode: 2)\n  RecurseDeleteKey 1 l_Path: " +
                             l_Tree + ", l_Rc: 0\n  RecurseDeleteKey 2 l_Path: " + l_Tree + ", l_Rc: 0\n");
  EXPECT_EQ(l_Key.RecurseDeleteKey("Tree"), KEL_E_FAIL);
  // An empty path deletes the open key itself, closing it first.
  EXPECT_EQ(l_Key.RecurseDeleteKey(""), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P.json") || Exists("HKLM/P"));
  EXPECT_TRUE(l_Key.GetPath().IsEmpty());
}

using MakeFile = void (*)(const std::string& iPath);
constexpr int k_NoNamespace = 77;

class KELSysRegStoreTest : public KELSysRegKeyTest, public testing::WithParamInterface<MakeFile> {};

// Each must fail at once: alarm() ends the test binary should the open block or read forever.
TEST_P(KELSysRegStoreTest, RefusesKeyFilesThatAreNotSmallRegularFiles) {
  fs::create_directories(Path("HKLM/K"));
  GetParam()(Path("HKLM/K.json"));
  alarm(10);
  for (uint32_t l_Access : {KELSysRegAccessRead, KELSysRegAccessReadWrite}) {
    KELSysRegKey l_Key;
    MORUnicodeString l_Value = "kept";
    EXPECT_LT(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", l_Access), 0);
    // A key that failed to open answers queries with success and no output.
    EXPECT_EQ(l_Key.QueryStringValue("V", l_Value), KEL_S_OK);
    EXPECT_TRUE(l_Key.GetPath().IsEmpty() && l_Value == MORUnicodeString("kept"));
  }
  alarm(0);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, KELSysRegStoreTest,
    testing::Values([](const std::string& iPath) { ASSERT_EQ(mkfifo(iPath.c_str(), 0644), 0); },
                    [](const std::string& iPath) { fs::create_directory(iPath); },
                    [](const std::string& iPath) { fs::create_symlink("/dev/zero", iPath); },
                    [](const std::string& iPath) {
                      std::ofstream(iPath) << "{}";
                      fs::resize_file(iPath, (64 << 20) + 1);
                    }));

// What stands where the folder and the key file of P's child C should be. Links lead to a folder or
// file outside P; "C/.." seen through the folder link is the hive folder, where a decoy C.json waits.
enum ChildPart { k_Missing, k_Real, k_Link, k_Fifo };
struct ChildCase {
  ChildPart m_Folder, m_File;
  KELSysResult m_Rc;
  const char* m_Value;  // of "V" after the open
};

class KELSysRegChildTest : public KELSysRegKeyTest, public testing::WithParamInterface<ChildCase> {
 protected:
  void Lay(ChildPart iPart, const std::string& iAt, const std::string& iTarget, bool iFolder) {
    if (iPart == k_Fifo) {
      ASSERT_EQ(mkfifo(iAt.c_str(), 0644), 0);
    }
    if (iPart == k_Missing || iPart == k_Fifo) return;
    const std::string& l_Made = iPart == k_Real ? iAt : iTarget;
    if (iFolder)
      fs::create_directories(l_Made);
    else
      std::ofstream(l_Made) << "{\"C\":{\"V\":[3,\"" << (iPart == k_Real ? "file" : "linked file") << "\"]}}";
    if (iPart == k_Link) fs::create_symlink(iTarget, iAt);
  }
};

// A child opened by its name below its open parent is the key its whole path from the hive gives.
TEST_P(KELSysRegChildTest, OpensAsTheWholePathWould) {
  WriteKey("HKLM/P");
  std::ofstream(Path("HKLM/C.json")) << "{\"C\":{\"V\":[3,\"decoy\"]}}";
  Lay(GetParam().m_Folder, Path("HKLM/P/C"), Path("HKLM/Elsewhere"), true);
  Lay(GetParam().m_File, Path("HKLM/P/C.json"), Path("Target.json"), false);
  alarm(10);
  for (bool l_BelowParent : {true, false}) {
    KELSysRegKey l_Parent, l_Key;
    ASSERT_EQ(l_Parent.OpenKey(KELSysRegHiveLocalMachine, "P", KELSysRegAccessRead), KEL_S_OK);
    EXPECT_EQ(l_BelowParent ? l_Key.OpenKey(l_Parent, "C", KELSysRegAccessRead)
                            : l_Key.OpenKey(KELSysRegHiveLocalMachine, "P\\C", KELSysRegAccessRead),
              GetParam().m_Rc);
    MORUnicodeString l_Value = "none";
    EXPECT_EQ(l_Key.QueryStringValue("V", l_Value), KEL_S_OK);
    EXPECT_EQ(l_Value, MORUnicodeString(GetParam().m_Value)) << (l_BelowParent ? "below P" : "from the hive");
  }
  alarm(0);
}

INSTANTIATE_TEST_SUITE_P(Layouts, KELSysRegChildTest,
                         testing::Values(ChildCase{k_Real, k_Real, KEL_S_OK, "file"},
                                         ChildCase{k_Link, k_Real, KEL_S_OK, "file"},
                                         ChildCase{k_Real, k_Link, KEL_S_OK, "linked file"},
                                         ChildCase{k_Missing, k_Real, KEL_E_FAIL, "none"},
                                         ChildCase{k_Real, k_Missing, KELSysResultFromErrno(ENOENT), "none"},
                                         ChildCase{k_Real, k_Fifo, KEL_E_FAIL, "none"}));

// ".." names P's own folder, so its key file is "...json" there, whichever way it is opened.
TEST_F(KELSysRegKeyTreeTest, ChildNamedDotDotIsAFileInTheParentsFolder) {
  WriteKey("HKLM/P");
  std::ofstream(Path("HKLM/P/...json")) << "{\"..\":{\"V\":[3,\"dots\"]}}";
  std::ofstream(Path("...json")) << "{\"..\":{\"V\":[3,\"decoy\"]}}";
  KELSysRegKey l_Parent, l_Key;
  MORUnicodeString l_Value;
  ASSERT_EQ(l_Parent.OpenKey(KELSysRegHiveLocalMachine, "P", KELSysRegAccessRead), KEL_S_OK);
  ASSERT_EQ(l_Key.OpenKey(l_Parent, "..", KELSysRegAccessRead), KEL_S_OK);
  EXPECT_TRUE(l_Key.QueryStringValue("V", l_Value) == KEL_S_OK && l_Value == MORUnicodeString("dots"));
}

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

// In a child: the first step that failed, 0 when all passed, or k_NoNamespace.
int FillDiskDuringWriteBack(const std::string& iRoot) {
  KELSysRegSetRootForTest(iRoot.c_str());
  if (!MakeMountNamespace() || mount("tmpfs", iRoot.c_str(), "tmpfs", 0, "size=64k") != 0)
    return k_NoNamespace;
  KELSysRegKey l_Key;
  if (l_Key.CreateKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK ||
      l_Key.SetStringValue("A", std::string(1000, 'a').c_str()) != KEL_S_OK ||
      l_Key.SetStringValue("B", "b") != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK)
    return 1;
  const std::string l_Old = KELSysRegReadFile(iRoot + "/HKLM/K.json");
  std::ofstream l_Filler(iRoot + "/filler");
  while (l_Filler << std::string(4096, 'f') << std::flush) {
  }
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK ||
      l_Key.SetStringValue("C", std::string(20000, 'c').c_str()) != KEL_S_OK)
    return 2;
  if (l_Key.CloseKey() != KELSysResultFromErrno(ENOSPC)) return 3;
  if (KELSysRegReadFile(iRoot + "/HKLM/K.json") != l_Old) return 4;
  // Shrinking needs no new room, even on the full disk.
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK ||
      l_Key.DeleteValue("A") != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK)
    return 5;
  return KELSysRegReadFile(iRoot + "/HKLM/K.json") == "{\"Version\":\"1.0\",\"K\":{\"B\":[3,\"b\"]}}" ? 0 : 6;
}

// A tiny file system in a mount namespace of a child process, filled up before the write-back.
TEST_F(KELSysRegKeyTreeTest, GrowingWriteBackFailsAndLeavesTheOldFile) {
  const std::string l_Disk = Path("disk");
  fs::create_directory(l_Disk);
  pid_t l_Child = fork();
  ASSERT_GE(l_Child, 0);
  if (l_Child == 0) _exit(FillDiskDuringWriteBack(l_Disk));
  int l_Status = 0;
  ASSERT_EQ(waitpid(l_Child, &l_Status, 0), l_Child);
  ASSERT_TRUE(WIFEXITED(l_Status)) << "child ended by signal " << WTERMSIG(l_Status);
  if (WEXITSTATUS(l_Status) == k_NoNamespace) GTEST_SKIP() << "no private mount namespace can be made here";
  EXPECT_EQ(WEXITSTATUS(l_Status), 0) << "first failed step of the child";
}

}  // namespace

// Keys as files and folders: creating, listing and deleting them, key files that are not what they
// should be, and a disk that fills up during a write-back.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "../../MORSysTS03.m/tests/KELSysJSONShapes.h"
#include "KELSysRegTestSupport.h"
#include "MORFileLockBytes.h"

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

constexpr int k_NoNamespace = 77;

// A key file that is not read whole: over the size limit (a sparse file just past it, whatever the
// limit is), one whose tree would take more than its size allows (containers of one member each),
// or a file whose reads end before the size it reports (a system attribute file, reached through a
// link). It opens as a key without values, with a trace line saying why; its subkeys are
// listed and opened; every change is refused and nothing is written back over the unread bytes.
struct UnreadCase {
  const char* m_Name;  // also the test's name
  // Puts the file at iPath; false when this system cannot.
  bool (*m_Make)(const std::string& iPath);
  const char* m_Why;  // in the trace line, after the path; %llu is the file's size, then the limit
  uint64_t (*m_Limit)(uint64_t iSize) = [](uint64_t) { return MORFileLockBytesMaxSize; };
};

void PrintTo(const UnreadCase& iCase, std::ostream* oOut) { *oOut << iCase.m_Name; }

class KELSysRegUnreadTest : public KELSysRegKeyTest, public testing::WithParamInterface<UnreadCase> {};

TEST_P(KELSysRegUnreadTest, OpensWithoutValuesAndKeepsTheFile) {
  WriteKey("HKLM/K");
  WriteKey("HKLM/K/Sub", "{\"Sub\":{\"V\":[3,\"below\"]}}");
  const std::string l_File = Path("HKLM/K.json");
  fs::remove(l_File);
  if (!GetParam().m_Make(l_File)) GTEST_SKIP() << GetParam().m_Name << ": no such file can be made here";
  const std::string l_Head = KELTestReadFile(l_File).substr(0, 64);
  const uintmax_t l_Size = fs::file_size(l_File);
  const auto l_Time = fs::last_write_time(l_File);
  char l_Why[256];
  std::snprintf(l_Why, sizeof l_Why, GetParam().m_Why, static_cast<unsigned long long>(l_Size),
                static_cast<unsigned long long>(GetParam().m_Limit(l_Size)));
  for (uint32_t l_Access : {KELSysRegAccessRead, KELSysRegAccessReadWrite}) {
    KELSysRegKey l_Key, l_Child;
    l_Key.SetTraceForTest(&m_Trace);
    KELSysResult l_Rc = l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", l_Access);
    if (l_Access == KELSysRegAccessReadWrite && l_Rc == KELSysResultFromErrno(EACCES))
      continue;  // read-only file
    ASSERT_EQ(l_Rc, KEL_S_OK);
    const std::string l_Mode = l_Access == KELSysRegAccessRead ? "0" : "2";
    EXPECT_EQ(TakeTrace(), "  OpenKeyReal m_Path: , l_OpenMode: " + l_Mode +
                               ", l_Rc: 80004005\n    l_Stat.grfMode: " + l_Mode +
                               "\n[W] KELSYSREGKEY:   ReadValues " + l_File + ": " + l_Why +
                               "; the key opens without values\n");
    Names l_Values, l_SubKeys;
    MORUnicodeString l_Value = "kept";
    EXPECT_EQ(l_Key.EnumValues(l_Values) | l_Key.EnumKeys(l_SubKeys), KEL_S_OK);
    EXPECT_TRUE(l_Values.empty());
    EXPECT_EQ(l_SubKeys, Names{"Sub"});
    EXPECT_EQ(l_Key.QueryStringValue("V", l_Value), KEL_E_FAIL);
    ASSERT_EQ(l_Child.OpenKey(l_Key, "Sub", KELSysRegAccessRead), KEL_S_OK);
    EXPECT_TRUE(l_Child.QueryStringValue("V", l_Value) == KEL_S_OK && l_Value == MORUnicodeString("below"));
    EXPECT_EQ(l_Key.SetStringValue("V", "new"), KEL_E_ACCESSDENIED);
    EXPECT_EQ(l_Key.DeleteValue("V"), KEL_E_ACCESSDENIED);
    EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
    EXPECT_EQ(TakeTrace(), "  QueryValue KO iValueName: V\n");
  }
  EXPECT_EQ(fs::file_size(l_File), l_Size);
  EXPECT_EQ(fs::last_write_time(l_File), l_Time);
  EXPECT_EQ(KELTestReadFile(l_File).substr(0, 64), l_Head);
  // Nor does it keep a lock while open: made readable meanwhile, the file is locked by the next writer.
  if (fs::is_symlink(l_File)) return;
  KELSysRegKey l_Unread, l_Writer;
  ASSERT_EQ(l_Unread.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite), KEL_S_OK);
  KELTestWriteFile(l_File, "{\"K\":{}}");
  ASSERT_EQ(l_Writer.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite), KEL_S_OK);
  const int l_Fd = open(l_File.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_NE(flock(l_Fd, LOCK_EX | LOCK_NB), 0);
  close(l_Fd);
}

INSTANTIATE_TEST_SUITE_P(
    Files, KELSysRegUnreadTest,
    testing::Values(UnreadCase{"OverLimit",
                               [](const std::string& iPath) {
                                 std::ofstream(iPath) << "{\"K\":{\"V\":[3,\"x\"]}}";
                                 return truncate(iPath.c_str(), off_t(MORFileLockBytesMaxSize + 1)) == 0;
                               },
                               "%llu bytes, over the limit of %llu"},
                    UnreadCase{"Costly",
                               [](const std::string& iPath) {
                                 std::string l_Text =
                                     KELSysJSONShapeText(KELSysJSONShape::OneMemberArrays, size_t(256) << 10);
                                 std::ofstream(iPath) << l_Text;
                                 return true;
                               },
                               "%llu bytes that would take more than %llu to read (or memory ran out)",
                               MORFileLockBytesReadBudget},
                    UnreadCase{"ShortRead",
                               [](const std::string& iPath) {
                                 const char* l_Short = "/sys/devices/system/cpu/online";
                                 struct stat l_Stat;
                                 if (stat(l_Short, &l_Stat) != 0 || !S_ISREG(l_Stat.st_mode) ||
                                     uintmax_t(l_Stat.st_size) <= KELTestReadFile(l_Short).size())
                                   return false;
                                 fs::create_symlink(l_Short, iPath);
                                 return true;
                               },
                               "not read whole (E_FAIL)"}),
    [](const testing::TestParamInfo<UnreadCase>& iInfo) { return std::string(iInfo.param.m_Name); });

// What stands where the folder and the key file of P's child C should be. Links lead to a folder or
// file outside P; "C/.." seen through the folder link is the hive folder, where a decoy C.json waits.
// A key file that is no regular file (a FIFO, a folder, a link to a device) fails at once: alarm()
// ends the test binary should the open block or read forever.
enum ChildPart { k_Missing, k_Real, k_Link, k_Fifo, k_Folder, k_Device };
struct ChildCase {
  ChildPart m_Folder, m_File;
  KELSysResult m_Rc;
  const char* m_Value;  // of "V" after the open
  const char* m_Name;
};
void PrintTo(const ChildCase& iCase, std::ostream* oOut) { *oOut << iCase.m_Name; }

class KELSysRegChildTest : public KELSysRegKeyTest, public testing::WithParamInterface<ChildCase> {
 protected:
  void Lay(ChildPart iPart, const std::string& iAt, const std::string& iTarget, bool iFolder) {
    if (iPart == k_Fifo) {
      ASSERT_EQ(mkfifo(iAt.c_str(), 0644), 0);
    }
    if (iPart == k_Folder) fs::create_directory(iAt);
    if (iPart == k_Device) fs::create_symlink("/dev/zero", iAt);
    if (iPart != k_Real && iPart != k_Link) return;
    const std::string& l_Made = iPart == k_Real ? iAt : iTarget;
    if (iFolder)
      fs::create_directories(l_Made);
    else
      std::ofstream(l_Made) << "{\"C\":{\"V\":[3,\"" << (iPart == k_Real ? "file" : "linked file") << "\"]}}";
    if (iPart == k_Link) fs::create_symlink(iTarget, iAt);
  }
};

// A child opened by its name below its open parent is the key its whole path from the hive gives,
// for reading and for writing. A key that failed to open answers queries with success and no output.
TEST_P(KELSysRegChildTest, OpensAsTheWholePathWould) {
  WriteKey("HKLM/P");
  std::ofstream(Path("HKLM/C.json")) << "{\"C\":{\"V\":[3,\"decoy\"]}}";
  Lay(GetParam().m_Folder, Path("HKLM/P/C"), Path("HKLM/Elsewhere"), true);
  Lay(GetParam().m_File, Path("HKLM/P/C.json"), Path("Target.json"), false);
  alarm(10);
  for (uint32_t l_Access : {KELSysRegAccessRead, KELSysRegAccessReadWrite})
    for (bool l_BelowParent : {true, false}) {
      KELSysRegKey l_Parent, l_Key;
      ASSERT_EQ(l_Parent.OpenKey(KELSysRegHiveLocalMachine, "P", KELSysRegAccessRead), KEL_S_OK);
      const KELSysResult l_Rc = l_BelowParent ? l_Key.OpenKey(l_Parent, "C", l_Access)
                                              : l_Key.OpenKey(KELSysRegHiveLocalMachine, "P\\C", l_Access);
      EXPECT_EQ(l_Rc < 0, GetParam().m_Rc < 0);
      if (l_Access == KELSysRegAccessRead) {
        EXPECT_EQ(l_Rc, GetParam().m_Rc);
      }
      MORUnicodeString l_Value = "none";
      EXPECT_EQ(l_Key.QueryStringValue("V", l_Value), KEL_S_OK);
      EXPECT_EQ(l_Value, MORUnicodeString(GetParam().m_Value))
          << (l_BelowParent ? "below P" : "from the hive");
      EXPECT_EQ(l_Key.GetPath().IsEmpty(), l_Rc < 0);
    }
  alarm(0);
}

INSTANTIATE_TEST_SUITE_P(Layouts, KELSysRegChildTest,
                         testing::Values(ChildCase{k_Real, k_Real, KEL_S_OK, "file", "Real"},
                                         ChildCase{k_Link, k_Real, KEL_S_OK, "file", "FolderLink"},
                                         ChildCase{k_Real, k_Link, KEL_S_OK, "linked file", "FileLink"},
                                         ChildCase{k_Missing, k_Real, KEL_E_FAIL, "none", "NoFolder"},
                                         ChildCase{k_Real, k_Missing, KELSysResultFromErrno(ENOENT), "none",
                                                   "NoFile"},
                                         ChildCase{k_Real, k_Fifo, KEL_E_FAIL, "none", "FifoFile"},
                                         ChildCase{k_Real, k_Folder, KEL_E_FAIL, "none", "FolderFile"},
                                         ChildCase{k_Real, k_Device, KEL_E_FAIL, "none", "DeviceFile"}),
                         [](const testing::TestParamInfo<ChildCase>& iInfo) { return iInfo.param.m_Name; });

// A key named from the hive by a path with links or ".." steps in it is the key of that whole path:
// a registry reached through a link, a step out of a folder and back, a step through a missing one.
TEST_F(KELSysRegKeyTreeTest, KeyPathsWithLinksAndDotsOpenAsTheWholePath) {
  WriteKey("Real/HKLM/P/C", "{\"C\":{\"V\":[3,\"file\"]}}");
  fs::create_directory_symlink(Path("Real"), Path("Linked"));
  struct Case {
    const char* m_Root;
    const char* m_KeyPath;
    KELSysResult m_Rc;
  };
  for (const Case& l_Case : {Case{"Real", "P\\C", KEL_S_OK}, Case{"Linked", "P\\C", KEL_S_OK},
                             Case{"Real", "P\\..\\P\\C", KEL_S_OK}, Case{"Real", "Q\\..\\P\\C", KEL_E_FAIL},
                             Case{"Linked", "P\\C\\..\\C", KEL_S_OK}}) {
    KELSysRegSetRootForTest(Path(l_Case.m_Root).c_str());
    for (int l_Round = 0; l_Round < 6; ++l_Round) {
      KELSysRegKey l_Key;
      SCOPED_TRACE(std::string(l_Case.m_Root) + " " + l_Case.m_KeyPath);
      ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, l_Case.m_KeyPath, KELSysRegAccessReadWrite),
                l_Case.m_Rc);
      if (l_Case.m_Rc != KEL_S_OK) continue;
      MORUnicodeString l_Value;
      EXPECT_TRUE(l_Key.QueryStringValue("V", l_Value) == KEL_S_OK && l_Value == MORUnicodeString("file"));
      EXPECT_EQ(l_Key.SetDWORDValue("N", uint32_t(l_Round)), KEL_S_OK);
      EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
      EXPECT_EQ(Read("Real/HKLM/P/C.json"),
                "{\"Version\":\"1.0\",\"C\":{\"V\":[3,\"file\"],\"N\":[1," + std::to_string(l_Round) + "]}}");
    }
  }
}

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

// A write-back cut short, by a file-size limit (RLIMIT_FSIZE of 100 bytes, SIGXFSZ ignored) or by a
// full disk (a small file system in a mount namespace of the child): the key file holds its old
// bytes afterwards and the close reports the failure. On the full disk a shrinking write-back needs
// no new room and succeeds.
enum ShortBy { k_FileSizeLimit, k_FullDisk };
struct ShortCase {
  ShortBy m_By;
  bool m_Grow;
  KELSysResult m_Rc;  // of the close
};

// In a child: the first step that failed, 0 when all passed, or k_NoNamespace.
int WriteBackCutShort(const std::string& iRoot, const ShortCase& iCase) {
  KELSysRegSetRootForTest(iRoot.c_str());
  if (iCase.m_By == k_FullDisk &&
      (!MakeMountNamespace() || mount("tmpfs", iRoot.c_str(), "tmpfs", 0, "size=64k") != 0))
    return k_NoNamespace;
  KELSysRegKey l_Key;
  if (l_Key.CreateKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK) return 1;
  for (char l_Name = 'A'; l_Name < 'K'; ++l_Name)
    if (l_Key.SetStringValue(std::string(1, l_Name).c_str(), std::string(1000, l_Name).c_str()) != KEL_S_OK)
      return 1;
  if (l_Key.CloseKey() != KEL_S_OK) return 1;
  const std::string l_File = iRoot + "/HKLM/K.json", l_Old = KELTestReadFile(l_File);
  if (iCase.m_By == k_FileSizeLimit) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit l_Limit{100, RLIM_INFINITY};
    if (setrlimit(RLIMIT_FSIZE, &l_Limit) != 0) return 2;
  } else {
    std::ofstream l_Filler(iRoot + "/filler");
    while (l_Filler << std::string(4096, 'f') << std::flush) {
    }
  }
  auto l_Trace = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace l_Channel("KELSYSREGKEY", l_Trace);
  l_Key.SetTraceForTest(&l_Channel);
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK) return 3;
  for (char l_Name = 'A'; l_Name < 'J'; ++l_Name)
    if (!iCase.m_Grow && l_Key.DeleteValue(std::string(1, l_Name).c_str()) != KEL_S_OK) return 3;
  if (iCase.m_Grow && l_Key.SetStringValue("Z", std::string(20000, 'z').c_str()) != KEL_S_OK) return 3;
  if (l_Key.CloseKey() != iCase.m_Rc) return 4;
  const std::string l_Now = KELTestReadFile(l_File);
  if (iCase.m_Rc != KEL_S_OK)
    return l_Now == l_Old && l_Trace->GetText().find("[E] KELSYSREGKEY:   CloseKey " + l_File +
                                                     ": write-back failed (" + KELSysResultName(iCase.m_Rc) +
                                                     "), old text put back (S_OK)\n") != std::string::npos
               ? 0
               : 5;
  return l_Now == "{\"Version\":\"1.0\",\"K\":{\"J\":[3,\"" + std::string(1000, 'J') + "\"]}}" ? 0 : 6;
}

std::string NameOf(const ShortCase& iCase) {
  return std::string(iCase.m_By == k_FileSizeLimit ? "FileSizeLimit" : "FullDisk") +
         (iCase.m_Grow ? "Grow" : "Shrink");
}
void PrintTo(const ShortCase& iCase, std::ostream* oOut) { *oOut << NameOf(iCase); }

class KELSysRegShortWriteTest : public KELSysRegKeyTest, public testing::WithParamInterface<ShortCase> {};

TEST_P(KELSysRegShortWriteTest, LeavesTheOldBytesAndReportsTheFailure) {
  const std::string l_Root = Path("disk");
  fs::create_directory(l_Root);
  pid_t l_Child = fork();
  ASSERT_GE(l_Child, 0);
  if (l_Child == 0) _exit(WriteBackCutShort(l_Root, GetParam()));
  int l_Status = 0;
  ASSERT_EQ(waitpid(l_Child, &l_Status, 0), l_Child);
  ASSERT_TRUE(WIFEXITED(l_Status)) << "child ended by signal " << WTERMSIG(l_Status);
  if (WEXITSTATUS(l_Status) == k_NoNamespace) GTEST_SKIP() << "no private mount namespace can be made here";
  EXPECT_EQ(WEXITSTATUS(l_Status), 0) << "first failed step of the child";
}

INSTANTIATE_TEST_SUITE_P(Cuts, KELSysRegShortWriteTest,
                         testing::Values(ShortCase{k_FileSizeLimit, false, KELSysResultFromErrno(EFBIG)},
                                         ShortCase{k_FileSizeLimit, true, KELSysResultFromErrno(EFBIG)},
                                         ShortCase{k_FullDisk, false, KEL_S_OK},
                                         ShortCase{k_FullDisk, true, KELSysResultFromErrno(ENOSPC)}),
                         [](const testing::TestParamInfo<ShortCase>& iInfo) { return NameOf(iInfo.param); });

// A key whose text would grow over the key-file size limit, or would cost a reader more than its size
// allows, is not written back: every later reader would see the key without values. (A file that
// holds containers of one member each with blanks between them is read; written back tight, the same
// tree would take more than the registry's budget for the shorter text.) The close says so; the old
// text stays.
TEST_F(KELSysRegKeyTreeTest, WriteBackTooBigOrCostlyKeepsTheOldText) {
  std::string l_Costly = "{\"Version\":\"1.0\",\"K\":{\"V\":[[1]";
  for (int l_Unit = 0; l_Unit < 20000; ++l_Unit) l_Costly += ",      [1]";
  l_Costly += "]}}";
  const std::string l_Half(MORFileLockBytesMaxSize / 2, 'x');
  const size_t l_Big = 35 + 2 * (l_Half.size() + 11), l_Tight = 22 + 8 + 20000 * 4 + 1 + 2 * 12 + 2;
  for (const auto& [l_Old, l_Set, l_Why] :
       {std::tuple{
            std::string("{\"K\":{\"A\":[3,\"a\"]}}"), l_Half.c_str(),
            std::to_string(l_Big) + " bytes over the limit of " + std::to_string(MORFileLockBytesMaxSize)},
        std::tuple{l_Costly, "a",
                   std::to_string(l_Tight) + " bytes that would take more than " +
                       std::to_string(MORFileLockBytesReadBudget(l_Tight)) + " to read"}}) {
    WriteKey("HKLM/K", l_Old);
    KELSysRegKey l_Key;
    ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite), KEL_S_OK);
    ASSERT_EQ(l_Key.SetStringValue("B", l_Set) | l_Key.SetStringValue("C", l_Set), KEL_S_OK);
    l_Key.SetTraceForTest(&m_Trace);
    EXPECT_EQ(l_Key.CloseKey(), KELSysResultFromErrno(EFBIG));
    EXPECT_NE(TakeTrace().find("[E] KELSYSREGKEY:   CloseKey " + Path("HKLM/K.json") + ": text of " + l_Why +
                               ", not written\n"),
              std::string::npos)
        << l_Why;
    EXPECT_EQ(Read("HKLM/K.json"), l_Old);
  }
}

}  // namespace

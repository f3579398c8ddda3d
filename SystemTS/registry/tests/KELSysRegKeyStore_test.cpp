// Keys as files and folders: creating, listing and deleting them, key files that are not what they
// should be, and a disk that fills up during a write-back.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "../../MORSysTS03.m/tests/KELSysJSONShapes.h"
#include "KELSysRegTestSupport.h"
#include "MORFileLockBytes.h"

namespace {

// Creating a key makes the file and folder of every missing parent, up to the hive's own file.
// Subkeys are the key files with a folder beside them, in the folder's listing order. Deleting takes
// a key without subkeys, or a whole tree with the links in it (never what they lead to), or the open
// key itself.
TEST_F(KELSysRegKeyTest, CreatesListsAndDeletesKeys) {
  KELSysRegKey l_Key, l_Child;
  ASSERT_EQ(l_Key.CreateKey(k_HKLM, "P\\Tree\\Sub", k_ReadWrite), KEL_S_OK);
  for (std::string l_File : {"P/Tree/Sub.json", "P/Tree.json", "P.json"})
    EXPECT_TRUE(Exists("HKLM/" + l_File) && Read("HKLM/" + l_File).empty()) << l_File;
  EXPECT_TRUE(Exists("HKLM.json") && Read("HKLM.json").empty() && fs::is_directory(At("HKLM/P/Tree/Sub")));
  ASSERT_EQ(l_Child.CreateKey(l_Key, "Deeper", k_ReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Child.GetPath().ConvertToUTF8(), At("HKLM/P/Tree/Sub/Deeper.json"));
  EXPECT_EQ(l_Key.CloseKey() | l_Child.CloseKey(), KEL_S_OK);
  // No base path: a closed parent, the hive folder itself.
  EXPECT_EQ(l_Child.CreateKey(l_Key, "E", k_ReadWrite), KEL_E_FAIL);
  EXPECT_EQ(l_Child.CreateKey(k_HKLM, "", k_ReadWrite), KEL_E_FAIL);

  WriteKey("HKLM/P/Leaf");
  WriteKey("HKLM/Outside", "keep");
  fs::create_directory_symlink(At("HKLM/Outside"), At("HKLM/P/Tree/Sub/Link"));
  for (const char* l_Folder : {"FolderOnly", "Odd.txt", "Dir.json", "Dir", "Dangling", "ViaLink"})
    fs::create_directories(At("HKLM/P/") + l_Folder);
  for (const char* l_File : {"FileOnly.json", "Plain", "...json", "Target"})
    KELTestWriteFile(At("HKLM/P/") + l_File, "");
  fs::create_symlink(At("HKLM/P/Target"), At("HKLM/P/ViaLink.json"));
  fs::create_symlink(At("HKLM/P/Nowhere"), At("HKLM/P/Dangling.json"));
  Names l_Expected{"kept"}, l_Names{"kept"};
  for (const auto& l_Entry : fs::directory_iterator(At("HKLM/P")))
    for (const char* l_Name : {"Leaf", "Tree", "ViaLink"})
      if (l_Entry.path().filename() == std::string(l_Name) + ".json") l_Expected.emplace_back(l_Name);
  ASSERT_EQ(l_Key.OpenKey(k_HKLM, "P", k_ReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Key.EnumKeys(l_Names), KEL_S_OK);
  EXPECT_EQ(l_Names, l_Expected);

  EXPECT_LT(l_Key.DeleteSubKey("Tree"), 0);
  EXPECT_TRUE(Exists("HKLM/P/Tree.json") && Exists("HKLM/P/Tree/Sub/Deeper.json"));
  EXPECT_EQ(l_Key.DeleteSubKey("Missing"), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.DeleteSubKey("Leaf"), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P/Leaf.json") || Exists("HKLM/P/Leaf"));
  EXPECT_EQ(l_Key.RecurseDeleteKey("Tree"), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P/Tree.json") || Exists("HKLM/P/Tree"));
  EXPECT_TRUE(Read("HKLM/Outside.json") == "keep" && Exists("HKLM/Outside"));
  EXPECT_EQ(l_Key.RecurseDeleteKey("Tree"), KEL_E_FAIL);
  // An empty path deletes the open key itself, closing it first.
  EXPECT_EQ(l_Key.RecurseDeleteKey(""), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P.json") || Exists("HKLM/P"));
  EXPECT_TRUE(l_Key.GetPath().IsEmpty());
}

// A key file that is not read whole: over the size limit (a sparse file just past it, whatever the
// limit is), one whose tree would take more than its size allows (containers of one member each),
// or a file whose reads end before the size it reports (a system attribute file, reached through a
// link). It opens as a key without values, with a trace line saying why; its subkeys are
// listed and opened; every change is refused and nothing is written back over the unread bytes.
TEST_F(KELSysRegKeyTest, UnreadFileOpensWithoutValuesAndIsKept) {
  WriteKey("HKLM/K");
  WriteKey("HKLM/K/Sub", "{\"Sub\":{\"V\":[3,\"below\"]}}");
  const std::string l_File = At("HKLM/K.json");
  const char* l_Short = "/sys/devices/system/cpu/online";
  for (int l_Case : {0, 1, 2}) {
    SCOPED_TRACE(l_Case == 0 ? "over the limit" : l_Case == 1 ? "costly" : "short read");
    fs::remove(l_File);
    if (l_Case == 0) {
      KELTestWriteFile(l_File, "{\"K\":{\"V\":[3,\"x\"]}}");
      ASSERT_EQ(truncate(l_File.c_str(), off_t(MORFileLockBytesMaxSize + 1)), 0);
    } else if (l_Case == 1) {
      KELTestWriteFile(l_File, KELSysJSONShapeText(KELSysJSONShape::OneMemberArrays, size_t(256) << 10));
    } else if (!fs::is_regular_file(l_Short) || fs::file_size(l_Short) <= KELTestReadFile(l_Short).size()) {
      GTEST_SKIP() << "no file whose reads end short here";
    } else {
      fs::create_symlink(l_Short, l_File);
    }
    const std::string l_Size = std::to_string(fs::file_size(l_File));
    const auto l_Before = KELTestSnapshot(At("HKLM"), true);
    const std::string l_Why[] = {
        l_Size + " bytes, over the limit of " + std::to_string(MORFileLockBytesMaxSize),
        l_Size + " bytes that would take more than " +
            std::to_string(MORFileLockBytesReadBudget(fs::file_size(l_File))) +
            " to read (or memory ran out)",
        "not read whole (E_FAIL)"};
    for (uint32_t l_Access : {k_Read, k_ReadWrite}) {
      KELSysRegKey l_Key, l_Child;
      l_Key.SetTraceForTest(&m_Trace);
      const KELSysResult l_Rc = l_Key.OpenKey(k_HKLM, "K", l_Access);
      if (l_Access == k_ReadWrite && l_Rc == KELSysResultFromErrno(EACCES)) continue;  // read-only file
      ASSERT_EQ(l_Rc, KEL_S_OK);
      EXPECT_NE(TakeTrace().find(l_File + ": " + l_Why[l_Case] + "; the key opens without values\n"),
                std::string::npos);
      Names l_Values, l_SubKeys;
      EXPECT_EQ(l_Key.EnumValues(l_Values) | l_Key.EnumKeys(l_SubKeys), KEL_S_OK);
      EXPECT_TRUE(l_Values.empty());
      EXPECT_EQ(l_SubKeys, Names{"Sub"});
      EXPECT_EQ(KELSysRegValue(l_Key, "V"), "!E_FAIL");
      ASSERT_EQ(l_Child.OpenKey(l_Key, "Sub", k_Read), KEL_S_OK);
      EXPECT_EQ(KELSysRegValue(l_Child, "V"), "below");
      EXPECT_EQ(l_Key.SetStringValue("V", "new"), KEL_E_ACCESSDENIED);
      EXPECT_EQ(l_Key.DeleteValue("V"), KEL_E_ACCESSDENIED);
      EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
    }
    EXPECT_EQ(KELTestSnapshot(At("HKLM"), true), l_Before);
    // Nor does it keep a lock while open: made readable meanwhile, the file is locked by the next writer.
    if (fs::is_symlink(l_File)) continue;
    KELSysRegKey l_Unread, l_Writer;
    ASSERT_EQ(l_Unread.OpenKey(k_HKLM, "K", k_ReadWrite), KEL_S_OK);
    KELTestWriteFile(l_File, "{\"K\":{}}");
    ASSERT_EQ(l_Writer.OpenKey(k_HKLM, "K", k_ReadWrite), KEL_S_OK);
    EXPECT_TRUE(IsLocked("HKLM/K.json"));
  }
}

// What stands where the folder and the key file of P's child C should be. Links lead to a folder or
// file outside P; "C/.." seen through the folder link is the hive folder, where a decoy C.json waits.
// A key file that is no regular file (a FIFO, a folder, a link to a device) fails at once: alarm()
// ends the test binary should the open block or read forever. A child opened by its name below its
// open parent is the key its whole path from the hive gives, for reading and for writing. A key that
// failed to open answers queries with success and no output.
enum ChildPart { k_Missing, k_Real, k_Link, k_Fifo, k_Folder, k_Device };

// Lays the part at iAt: a folder (iFolder) or a key file, or a link to one made at iTarget, or a
// FIFO, a folder or a link to a device where the key file should be.
void Lay(ChildPart iPart, const std::string& iAt, const std::string& iTarget, bool iFolder) {
  const bool l_Made = iPart == k_Real || iPart == k_Link;
  if (iPart == k_Fifo) mkfifo(iAt.c_str(), 0644);
  if (iPart == k_Folder || (l_Made && iFolder)) fs::create_directories(iPart == k_Link ? iTarget : iAt);
  if (l_Made && !iFolder)
    KELTestWriteFile(
        iPart == k_Link ? iTarget : iAt,
        std::string("{\"C\":{\"V\":[3,\"") + (iPart == k_Real ? "file" : "linked file") + "\"]}}");
  if (iPart == k_Link || iPart == k_Device) fs::create_symlink(iPart == k_Link ? iTarget : "/dev/zero", iAt);
}

TEST_F(KELSysRegKeyTest, ChildOpensAsTheWholePathWould) {
  alarm(10);
  // The layout, what stands at P/C and P/C.json, the result of an open for reading (one for writing
  // fails or not alike) and the value of V after the open. A child that its parent listed before the
  // layout was made is opened by its key file alone: what stands there is refused or followed as the
  // whole path would be, but a folder removed since is not looked for.
  for (const auto& [l_Name, l_Folder, l_File, l_Result, l_Value] :
       {std::tuple{"Real", k_Real, k_Real, KEL_S_OK, "file"},
        {"FolderLink", k_Link, k_Real, KEL_S_OK, "file"},
        {"FileLink", k_Real, k_Link, KEL_S_OK, "linked file"},
        {"NoFolder", k_Missing, k_Real, KEL_E_FAIL, "?"},
        {"NoFile", k_Real, k_Missing, KELSysResultFromErrno(ENOENT), "?"},
        {"FifoFile", k_Real, k_Fifo, KEL_E_FAIL, "?"},
        {"FolderFile", k_Real, k_Folder, KEL_E_FAIL, "?"},
        {"DeviceFile", k_Real, k_Device, KEL_E_FAIL, "?"}}) {
    const std::string l_Hive = std::string(l_Name) + "/HKLM/";
    KELSysRegSetRootForTest(At(l_Name).c_str());
    WriteKey(l_Hive + "P");
    WriteKey(l_Hive + "P/C", "{}");
    KELSysRegKey l_Listed, l_Child;
    Names l_Names;
    ASSERT_EQ(l_Listed.OpenKey(k_HKLM, "P", k_Read) | l_Listed.EnumKeys(l_Names), KEL_S_OK);
    ASSERT_EQ(l_Names, Names{"C"});
    fs::remove_all(At(l_Hive + "P/C"));
    fs::remove(At(l_Hive + "P/C.json"));
    KELTestWriteFile(At(l_Hive + "C.json"), "{\"C\":{\"V\":[3,\"decoy\"]}}");
    Lay(l_Folder, At(l_Hive + "P/C"), At(l_Hive + "Elsewhere"), true);
    Lay(l_File, At(l_Hive + "P/C.json"), At(l_Name + std::string("/Target.json")), false);
    for (uint32_t l_Access : {k_Read, k_ReadWrite})
      for (bool l_BelowParent : {true, false}) {
        SCOPED_TRACE(l_Name + (" " + std::to_string(l_Access)) + (l_BelowParent ? " below P" : " by path"));
        KELSysRegKey l_Parent, l_Key;
        ASSERT_EQ(l_Parent.OpenKey(k_HKLM, "P", k_Read), KEL_S_OK);
        const KELSysResult l_Rc =
            l_BelowParent ? l_Key.OpenKey(l_Parent, "C", l_Access) : l_Key.OpenKey(k_HKLM, "P\\C", l_Access);
        EXPECT_EQ(l_Rc < 0, l_Result < 0);
        EXPECT_TRUE(l_Access != k_Read || l_Rc == l_Result) << KELSysResultName(l_Rc);
        EXPECT_EQ(KELSysRegValue(l_Key, "V"), l_Value);
        EXPECT_EQ(l_Key.GetPath().IsEmpty(), l_Rc < 0);
      }
    EXPECT_EQ(l_Child.OpenKey(l_Listed, "C", k_Read), l_Folder == k_Missing ? KEL_S_OK : l_Result) << l_Name;
    EXPECT_EQ(KELSysRegValue(l_Child, "V"), l_Folder == k_Missing ? "file" : l_Value) << l_Name;
  }
  // The end of a listed name is no listed name: B.json without its folder is no key of P.
  KELSysRegSetRootForTest(Path().c_str());
  WriteKey("HKLM/P");
  WriteKey("HKLM/P/AB", "{}");
  KELTestWriteFile(At("HKLM/P/B.json"), "{}");
  KELSysRegKey l_Listed, l_Child;
  Names l_Names;
  ASSERT_EQ(l_Listed.OpenKey(k_HKLM, "P", k_Read) | l_Listed.EnumKeys(l_Names), KEL_S_OK);
  EXPECT_EQ(l_Child.OpenKey(l_Listed, "B", k_Read), KEL_E_FAIL);
  // Descriptor 0 is a descriptor like any other: a key file opened as 0 is read, or
  // written, then let go.
  const int l_Saved = dup(0);
  close(0);
  for (uint32_t l_Access : {k_Read, k_ReadWrite}) {
    EXPECT_EQ(l_Child.OpenKey(l_Listed, "AB", l_Access) | l_Child.CloseKey(), KEL_S_OK);
    EXPECT_EQ(fcntl(0, F_GETFD), -1) << l_Access;
  }
  dup2(l_Saved, 0);
  close(l_Saved);
  alarm(0);
}

// A key named from the hive by a path with links or ".." steps in it is the key of that whole path:
// a registry reached through a link, a step out of a folder and back, a step through a missing one.
// A child named ".." of P is the file "...json" in P's own folder.
TEST_F(KELSysRegKeyTest, KeyPathsWithLinksAndDotsOpenAsTheWholePath) {
  WriteKey("Real/HKLM/P/C", "{\"C\":{\"V\":[3,\"file\"]}}");
  fs::create_directory_symlink(At("Real"), At("Linked"));
  for (const auto& [l_Root, l_KeyPath, l_Result] : {std::tuple{"Real", "P\\C", KEL_S_OK},
                                                    {"Linked", "P\\C", KEL_S_OK},
                                                    {"Real", "P\\..\\P\\C", KEL_S_OK},
                                                    {"Real", "Q\\..\\P\\C", KEL_E_FAIL},
                                                    {"Linked", "P\\C\\..\\C", KEL_S_OK}}) {
    KELSysRegSetRootForTest(At(l_Root).c_str());
    for (int l_Round = 0; l_Round < 6; ++l_Round) {
      KELSysRegKey l_Key;
      SCOPED_TRACE(std::string(l_Root) + " " + l_KeyPath);
      ASSERT_EQ(l_Key.OpenKey(k_HKLM, l_KeyPath, k_ReadWrite), l_Result);
      if (l_Result != KEL_S_OK) continue;
      EXPECT_EQ(KELSysRegValue(l_Key, "V"), "file");
      EXPECT_EQ(l_Key.SetDWORDValue("N", uint32_t(l_Round)), KEL_S_OK);
      EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
      EXPECT_EQ(Read("Real/HKLM/P/C.json"),
                "{\"Version\":\"1.0\",\"C\":{\"V\":[3,\"file\"],\"N\":[1," + std::to_string(l_Round) + "]}}");
    }
  }
  KELSysRegSetRootForTest(At("Real").c_str());
  WriteKey("Real/HKLM/P");
  KELTestWriteFile(At("Real/HKLM/P/...json"), "{\"..\":{\"V\":[3,\"dots\"]}}");
  KELTestWriteFile(At("Real/...json"), "{\"..\":{\"V\":[3,\"decoy\"]}}");
  KELSysRegKey l_Parent, l_Key;
  ASSERT_EQ(l_Parent.OpenKey(k_HKLM, "P", k_Read), KEL_S_OK);
  ASSERT_EQ(l_Key.OpenKey(l_Parent, "..", k_Read), KEL_S_OK);
  EXPECT_EQ(KELSysRegValue(l_Key, "V"), "dots");
}

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

// A write-back cut short, by a file-size limit (RLIMIT_FSIZE of 1 byte, SIGXFSZ ignored) or by a
// full disk (a small file system in a mount namespace of the child): the key file holds its old
// bytes afterwards, even the one byte written before the limit (the old text begins with a blank),
// and the close reports the failure. On the full disk a shrinking write-back needs
// no new room and succeeds. Each case runs in a child, which ends with the first step that failed,
// 0 when all passed, or k_NoNamespace.
TEST_F(KELSysRegKeyTest, WriteBackCutShortLeavesTheOldBytesAndReportsTheFailure) {
  // How the write-back is cut short, whether it grows the file, and the result of the close.
  for (const auto& [l_Name, l_FullDisk, l_Grow, l_Result] :
       {std::tuple{"FileSizeLimitShrink", false, false, KELSysResultFromErrno(EFBIG)},
        {"FileSizeLimitGrow", false, true, KELSysResultFromErrno(EFBIG)},
        {"FullDiskShrink", true, false, KEL_S_OK},
        {"FullDiskGrow", true, true, KELSysResultFromErrno(ENOSPC)}}) {
    const std::string l_Root = At(l_Name), l_File = l_Root + "/HKLM/K.json";
    fs::create_directory(l_Root);
    const int l_Status = KELSysRegReap(KELSysRegFork([&, l_Name = l_Name, l_FullDisk = l_FullDisk,
                                                      l_Grow = l_Grow, l_Result = l_Result] {
      KELSysRegSetRootForTest(l_Root.c_str());
      if (l_FullDisk &&
          (!MakeMountNamespace() || mount("tmpfs", l_Root.c_str(), "tmpfs", 0, "size=64k") != 0))
        return k_NoNamespace;
      KELSysRegKey l_Key;
      KELSysResult l_Rc = l_Key.CreateKey(k_HKLM, "K", k_ReadWrite);
      for (char l_Letter = 'A'; l_Letter < 'K'; ++l_Letter)
        l_Rc |= l_Key.SetStringValue(std::string(1, l_Letter).c_str(), std::string(1000, l_Letter).c_str());
      if ((l_Rc | l_Key.CloseKey()) != KEL_S_OK) return 1;
      const std::string l_Old = " " + KELTestReadFile(l_File);
      KELTestWriteFile(l_File, l_Old);
      rlimit l_Limit{1, RLIM_INFINITY};
      if (l_FullDisk)
        for (std::ofstream l_Filler(l_Root + "/filler"); l_Filler << std::string(4096, 'f') << std::flush;) {
        }
      else if (signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &l_Limit) != 0)
        return 2;
      if (l_Key.OpenKey(k_HKLM, "K", k_ReadWrite) != KEL_S_OK) return 3;
      for (char l_Letter = 'A'; l_Letter < 'J' && !l_Grow; ++l_Letter)
        l_Rc |= l_Key.DeleteValue(std::string(1, l_Letter).c_str());
      if (l_Grow) l_Rc = l_Key.SetStringValue("Z", std::string(20000, 'z').c_str());
      if (l_Rc != KEL_S_OK) return 3;
      if (l_Key.CloseKey() != l_Result) return 4;
      const std::string l_New = "{\"Version\":\"1.0\",\"K\":{\"J\":[3,\"" + std::string(1000, 'J') + "\"]}}";
      return KELTestReadFile(l_File) == (l_Result != KEL_S_OK ? l_Old : l_New) ? 0 : 5;
    }));
    ASSERT_TRUE(WIFEXITED(l_Status)) << l_Name << ": child ended by signal " << WTERMSIG(l_Status);
    if (WEXITSTATUS(l_Status) == k_NoNamespace)
      std::cout << "[ SKIPPED  ] " << l_Name << ": no private mount namespace can be made here\n";
    else
      EXPECT_EQ(WEXITSTATUS(l_Status), 0) << l_Name << ": first failed step of the child";
  }
}

// A key whose text would grow over the key-file size limit, or would cost a reader more than its size
// allows, is not written back: every later reader would see the key without values. (A file that
// holds containers of one member each with blanks between them is read; written back tight, the same
// tree would take more than the registry's budget for the shorter text.) The close says so; the old
// text stays.
TEST_F(KELSysRegKeyTest, WriteBackTooBigOrCostlyKeepsTheOldText) {
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
    ASSERT_EQ(l_Key.OpenKey(k_HKLM, "K", k_ReadWrite), KEL_S_OK);
    ASSERT_EQ(l_Key.SetStringValue("B", l_Set) | l_Key.SetStringValue("C", l_Set), KEL_S_OK);
    l_Key.SetTraceForTest(&m_Trace);
    EXPECT_EQ(l_Key.CloseKey(), KELSysResultFromErrno(EFBIG));
    EXPECT_NE(TakeTrace().find("[E] KELSYSREGKEY:   CloseKey " + At("HKLM/K.json") + ": text of " + l_Why +
                               ", not written\n"),
              std::string::npos)
        << l_Why;
    EXPECT_EQ(Read("HKLM/K.json"), l_Old);
  }
}

}  // namespace

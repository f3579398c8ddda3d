#include "KELInsFileSystem.h"

#include <vector>

#include "KELInsTestDir.h"

using FS = KELInsFileSystem;
using KE = KELInsException;
using KEE = KELInsExceptionErrno;

class KELInsFileSystemTest : public KELInsTestDir {
 protected:
  // Makes entries in order: "name/" a directory, "name=bytes" a file, "name->target" a symbolic link.
  void Make(std::initializer_list<std::string> iEntries) {
    for (const std::string& l_Entry : iEntries) {
      const auto l_Arrow = l_Entry.find("->"), l_Equals = l_Entry.find('=');
      if (l_Arrow != std::string::npos)
        std::filesystem::create_symlink(l_Entry.substr(l_Arrow + 2), At(l_Entry.substr(0, l_Arrow)));
      else if (l_Equals != std::string::npos)
        Write(l_Entry.substr(0, l_Equals), l_Entry.substr(l_Equals + 1));
      else
        std::filesystem::create_directory(At(l_Entry));
    }
  }
  void Populate() { Make({"d/", "d/sub/", "f=12345", "ld->d", "lf->f", "dangling->none"}); }
  // "name:kind" of each entry, in the directory's order.
  std::vector<std::string> List(const std::string& iName, int iFlags) {
    std::vector<std::string> l_Seen;
    for (KELInsDirListing l_List = FS::FindFirstFile(At(iName), iFlags); !l_List.IsEnd(); l_List.Next()) {
      EXPECT_EQ(l_List.GetPath(), At(iName) + "/" + l_List.GetName());
      l_Seen.push_back(l_List.GetName() + ":" + std::to_string(l_List.GetType()));
    }
    return l_Seen;
  }
  // "access/modification" times of iName.
  std::string Times(const std::string& iName) {
    int64_t l_Access = 0, l_Modify = 0, l_Change = 0;
    FS::GetTime(At(iName), l_Access, l_Modify, l_Change);
    return std::to_string(l_Access) + "/" + std::to_string(l_Modify);
  }
};

TEST_F(KELInsFileSystemTest, KindsOfEveryEntryAndListingsSelectByKind) {
  Populate();
  for (auto [l_Name, l_Kind] :
       std::vector<std::pair<std::string, int>>{{"d", 1}, {"f", 2}, {"ld", 5}, {"lf", 6}, {"dangling", 6}}) {
    EXPECT_EQ(FS::GetType(At(l_Name)), l_Kind) << l_Name;
  }
  EXPECT_THAT(List(".", 3), ::testing::UnorderedElementsAre("d:1", "dangling:6", "f:2", "ld:5", "lf:6"));
  EXPECT_THAT(List(".", 1), ::testing::UnorderedElementsAre("d:1", "ld:5"));
  ExpectFailure<KE>([&] { FS::GetType(At("none")); }, WithErrno("lstat - " + At("none"), ENOENT));
  ExpectFailure<KE>([&] { FS::FindFirstFile(At("f"), 3); }, WithErrno("opendir - " + At("f"), ENOTDIR));
}

TEST_F(KELInsFileSystemTest, EmptyArgumentsAreRejectedFirst) {
  ExpectFailure<KE>([] { FS::GetType(""); }, "GetType - empty path\n");
  ExpectFailure<KE>([] { FS::Rename("", ""); }, "Rename - empty source path\n");
  ExpectFailure<KE>([] { FS::Rename("/none", ""); }, "Rename - empty destination path\n");
  ExpectFailure<KE>([] { FS::Delete(""); }, "Delete - empty path\n");
  ExpectFailure<KE>([] { FS::CreateDir("''"); }, "CreateDir - empty path\n");
  ExpectFailure<KE>([] { FS::Copy("", ""); }, "Copy - empty source path\n");
  ExpectFailure<KE>([] { FS::Copy("/none", ""); }, "Copy - empty destination path\n");
  ExpectFailure<KE>([] { FS::FindFirstFile("", 3); }, "FindFirstFile - Path is empty\n");
}

TEST_F(KELInsFileSystemTest, ModesTimesSizesAndTheirFailures) {
  Populate();
  for (auto [l_Digits, l_Mode] : std::vector<std::pair<uint32_t, mode_t>>{
           {755, 0755}, {644, 0644}, {0, 0}, {4711, 04711}, {9, 011}, {18, 020}}) {
    FS::Chmod(At("f"), l_Digits);
    EXPECT_EQ(ModeOf("f"), l_Mode) << l_Digits;
  }
  FS::SetTime(At("lf"), 1000000000, 1234567890);
  EXPECT_EQ(Times("f"), "1000000000/1234567890");
  EXPECT_EQ(FS::GetFileSize(At("lf")), 5u);
  ExpectFailure<KE>([&] { FS::GetFileSize(At("ld")); }, "GetFileSize - " + At("ld") + " is not a file.\n");
  ExpectFailure<KE>([&] { FS::GetFileSize(At("dangling")); },
                    "GetFileSize - " + At("dangling") + " does not exist.\n");
  ExpectFailure<KEE>([&] { FS::Chmod(At("none"), 644); }, WithErrno("Chmod - " + At("none"), ENOENT));
  ExpectFailure<KEE>([&] { FS::SetTime(At("f/x"), 1, 1); }, WithErrno("SetTime - " + At("f/x"), ENOTDIR));
  ExpectFailure<KE>([&] { FS::Rename(At("none"), At("x")); },
                    WithErrno("rename - " + At("none") + " to " + At("x"), ENOENT));
}

TEST_F(KELInsFileSystemTest, DeleteRemovesTreesButNeverFollowsLinks) {
  Populate();
  Make({"d/sub/kept=k", "t/", "t/sub/", "t/sub/back\\slash=b", "t/sub/tod->" + At("d"), "t/dangling->none"});
  FS::Delete(At("ld"));
  FS::Delete(At("t"));
  EXPECT_FALSE(Exists("t") || Exists("ld"));
  EXPECT_EQ(Read("d/sub/kept"), "k");
  ExpectFailure<KE>([&] { FS::Delete(At("t")); }, WithErrno("lstat - " + At("t"), ENOENT));
}

TEST_F(KELInsFileSystemTest, CreateDirMakesAncestorsAndRefusesNonDirectories) {
  Make({"f="});
  FS::CreateDir(At("a//b\\c/"));
  FS::CreateDir(At("a/b"));
  EXPECT_EQ(FS::GetType(At("a/b/c")), 1);
  ExpectFailure<KE>([&] { FS::CreateDir(At("f/sub")); }, "CreateDir - " + At("f") + " is not a directory.\n");
  const std::string l_Long = At(std::string(300, 'n'));
  ExpectFailure<KE>([&] { FS::CreateDir(l_Long); }, WithErrno("mkdir - " + l_Long, ENAMETOOLONG));
}

TEST_F(KELInsFileSystemTest, CopyKeepsBytesModeAndTimesAcrossTrees) {
  std::string l_Bytes;
  for (int l_I = 0; l_I < 200000; ++l_I) l_Bytes += static_cast<char>(l_I * 7 % 251);
  Make({"t/", "t/empty/"});
  Write("t/big", l_Bytes);
  ASSERT_EQ(::chmod(At("t/big").c_str(), 0640), 0);
  FS::SetTime(At("t/big"), 1000000000, 1234567890);
  // Beside t, though its name begins with t's: not inside it.
  FS::Copy(At("t"), At("t-new/copy"));
  EXPECT_EQ(Times("t-new/copy/big"), "1000000000/1234567890");  // before reading it moves the access time
  EXPECT_EQ(ModeOf("t-new/copy/big"), 0640u);
  EXPECT_EQ(Read("t-new/copy/big"), l_Bytes);
  EXPECT_EQ(FS::GetType(At("t-new/copy/empty")), 1);
  ExpectFailure<KE>([&] { FS::Copy(At("t"), At("t/empty/x")); },
                    "Cannot copy " + At("t") + " into itself.\n");
}

TEST_F(KELInsFileSystemTest, CopyFileFailures) {
  Populate();
  ASSERT_EQ(::link(At("f").c_str(), At("hard").c_str()), 0);
  ExpectFailure<KE>([&] { FS::Copy(At("f"), At("hard")); }, "Cannot copy " + At("f") + " to itself.\n");
  ExpectFailure<KEE>([&] { FS::Copy(At("f"), At("d")); }, WithErrno("Cannot write into " + At("d"), EISDIR));
  ExpectFailure<KE>([&] { FS::Copy(At("dangling"), At("x")); },
                    WithErrno("Cannot read " + At("dangling"), ENOENT));
  EXPECT_EQ(Read("f"), "12345");
}

TEST_F(KELInsFileSystemTest, GetFreeSpaceFallsBackToTheNearestAncestor) {
  EXPECT_GT(FS::GetFreeSpace(At("missing/deeper")), 0u);
  EXPECT_EQ(FS::GetFreeSpace("no-such-relative-path"), 0u);
}

#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "KELSysRegKey.h"
#include "KELSysRegTestSupport.h"

namespace {

using Names = std::vector<MORUnicodeString>;

class KELSysRegKeyTreeTest : public KELSysRegTest {};

TEST_F(KELSysRegKeyTreeTest, CreateMakesEveryParentAndTheHiveFile) {
  KELSysRegKey l_Key;
  Traced(l_Key);
  ASSERT_EQ(l_Key.CreateKey(KELSysRegHiveLocalMachine, "A\\B\\C", KELSysRegAccessReadWrite), KEL_S_OK);
  for (const char* l_File : {"HKLM.json", "HKLM/A.json", "HKLM/A/B.json", "HKLM/A/B/C.json"})
    EXPECT_EQ(Read(l_File), "") << l_File;
  EXPECT_TRUE(std::filesystem::is_directory(Path("HKLM/A/B/C")));
  EXPECT_EQ(TakeTrace(),
            "  EnsureParentAreKeys l_Current C.json, l_CurrentPath: " + Path("HKLM/A/B/C.json") +
                "\n  EnsureParentAreKeys l_Current B.json, l_CurrentPath: " + Path("HKLM/A/B.json") +
                "\n  EnsureParentAreKeys l_Current A.json, l_CurrentPath: " + Path("HKLM/A.json") +
                "\n  OpenKeyReal m_Path: , l_OpenMode: 2, l_Rc: 80004005\n    l_Stat.grfMode: 2\n");
  EXPECT_EQ(l_Key.SetStringValue("V", "v"), KEL_S_OK);
  // Below an open key; an existing key keeps its values.
  KELSysRegKey l_Child, l_Again;
  ASSERT_EQ(l_Child.CreateKey(l_Key, "D", KELSysRegAccessReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Child.GetPath(), MORUnicodeString(Path("HKLM/A/B/C/D.json").c_str()));
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  ASSERT_EQ(l_Again.CreateKey(KELSysRegHiveLocalMachine, "A\\B\\C", KELSysRegAccessRead), KEL_S_OK);
  MORUnicodeString l_Value;
  EXPECT_EQ(l_Again.QueryStringValue("V", l_Value), KEL_S_OK);
  EXPECT_EQ(l_Value, MORUnicodeString("v"));
  // No base path: a closed parent, an unknown hive, the hive itself.
  EXPECT_EQ(l_Child.CreateKey(l_Key, "E", KELSysRegAccessReadWrite), KEL_E_FAIL);
  EXPECT_EQ(l_Child.CreateKey(3, "E", KELSysRegAccessReadWrite), KEL_E_FAIL);
  EXPECT_EQ(l_Child.CreateKey(KELSysRegHiveLocalMachine, "", KELSysRegAccessReadWrite), KEL_E_FAIL);
  ASSERT_EQ(l_Child.CreateKey(KELSysRegHiveCurrentUser, "U", KELSysRegAccessReadWrite), KEL_S_OK);
  EXPECT_TRUE(Exists("home/.Quorvane/HKCU.json"));
}

TEST_F(KELSysRegKeyTreeTest, EnumKeysListsOnlyFilesWithFolders) {
  WriteKey("HKLM/P", "");
  WriteKey("HKLM/P/Good", "");
  WriteKey("HKLM/P/Linked", "");
  std::filesystem::create_directories(Path("HKLM/P/FolderOnly"));
  Write("HKLM/P/FileOnly.json", "");
  Write("HKLM/P/Plain", "");
  std::filesystem::create_directories(Path("HKLM/P/Odd.txt"));
  std::filesystem::create_directories(Path("HKLM/P/Dir.json"));
  std::filesystem::create_directories(Path("HKLM/P/Dir"));
  Write("HKLM/P/...json", "");  // "..": not a folder beside it
  Write("HKLM/P/Target", "{}");
  std::filesystem::create_directories(Path("HKLM/P/ViaLink"));
  symlink(Path("HKLM/P/Target").c_str(), Path("HKLM/P/ViaLink.json").c_str());
  std::filesystem::rename(Path("HKLM/P/Linked"), Path("HKLM/P/LinkedDir"));
  symlink(Path("HKLM/P/LinkedDir").c_str(), Path("HKLM/P/Linked").c_str());
  symlink(Path("HKLM/P/Nowhere").c_str(), Path("HKLM/P/Dangling.json").c_str());
  std::filesystem::create_directories(Path("HKLM/P/Dangling"));

  // Listing order is the folder's own: take it from the folder.
  Names l_Expected;
  DIR* l_Dir = opendir(Path("HKLM/P").c_str());
  while (dirent* l_Entry = readdir(l_Dir)) {
    std::string l_Name = l_Entry->d_name;
    if (l_Name == "Good.json" || l_Name == "Linked.json" || l_Name == "ViaLink.json")
      l_Expected.emplace_back(l_Name.substr(0, l_Name.size() - 5).c_str());
  }
  closedir(l_Dir);

  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "P", KELSysRegAccessRead), KEL_S_OK);
  Names l_Names{"kept"};
  EXPECT_EQ(l_Key.EnumKeys(l_Names), KEL_S_OK);
  l_Expected.insert(l_Expected.begin(), "kept");
  EXPECT_EQ(l_Names, l_Expected);
  KELSysRegKey l_Closed;
  EXPECT_EQ(l_Closed.EnumKeys(l_Names), KEL_E_FAIL);
}

TEST_F(KELSysRegKeyTreeTest, DeletesLeavesAndWholeTrees) {
  WriteKey("HKLM/P", "");
  WriteKey("HKLM/P/Leaf", "");
  WriteKey("HKLM/P/Tree", "");
  WriteKey("HKLM/P/Tree/Sub", "");
  WriteKey("HKLM/P/Tree/Sub/Deeper", "x");
  WriteKey("HKLM/Outside", "keep");
  symlink(Path("HKLM/Outside").c_str(), Path("HKLM/P/Tree/Sub/Link").c_str());
  KELSysRegKey l_Key;
  Traced(l_Key);
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "P", KELSysRegAccessReadWrite), KEL_S_OK);
  TakeTrace();
  EXPECT_LT(l_Key.DeleteSubKey("Tree"), 0);
  EXPECT_TRUE(Exists("HKLM/P/Tree.json"));
  EXPECT_TRUE(Exists("HKLM/P/Tree/Sub/Deeper.json"));
  EXPECT_EQ(l_Key.DeleteSubKey("Missing"), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.DeleteSubKey("Leaf"), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P/Leaf.json") || Exists("HKLM/P/Leaf"));
  TakeTrace();
  EXPECT_EQ(l_Key.RecurseDeleteKey("Tree"), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P/Tree.json") || Exists("HKLM/P/Tree"));
  EXPECT_EQ(Read("HKLM/Outside.json"), "keep");
  EXPECT_TRUE(Exists("HKLM/Outside"));
  EXPECT_EQ(TakeTrace(), "  CheckWriteAccess true (l_Stat.grfMode: 2)\n  RecurseDeleteKey 1 l_Path: " +
                             Path("HKLM/P/Tree.json") + ", l_Rc: 0\n  RecurseDeleteKey 2 l_Path: " +
                             Path("HKLM/P/Tree.json") + ", l_Rc: 0\n");
  EXPECT_EQ(l_Key.RecurseDeleteKey("Tree"), KEL_E_FAIL);
  // An empty path deletes the open key itself, closing it first.
  EXPECT_EQ(l_Key.RecurseDeleteKey(""), KEL_S_OK);
  EXPECT_FALSE(Exists("HKLM/P.json") || Exists("HKLM/P"));
  EXPECT_TRUE(l_Key.GetPath().IsEmpty());
}

}  // namespace

// KELReg end to end: the built command on temporary registries (--root).
#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "KELRegTestSupport.h"
#include "KELVersion.h"

namespace {

const std::string k_Q4 = "HKLM\\SOFTWARE\\Quorvane\\Q4";

TEST_F(KELRegTest, AddWritesTheKeyFileOfEachTypeWithItsParentsAndHiveFile) {
  const std::string l_Key = k_Q4 + "\\B500\\Desktop\\N1";
  Regs({{"add", l_Key}});
  // A hidden file that a change cut off left behind is replaced by the next change of its key.
  KELTestWriteFile(m_Root + "/HKLM/SOFTWARE/Quorvane/Q4/B500/Desktop/.N1.json.kelreg", "left");
  Regs({{"add", "hkey_local_machine/SOFTWARE/Quorvane/Q4/B500/Desktop/N1", "-v", "Path", "-d",
         "/opt/\"new\" \\ \x01\xff\t"},
        {"add", l_Key, "-v", "D", "-t", "REG_DWORD", "-d", "0xFFFFFFFF"},
        {"add", l_Key, "-v", "Q", "-t", "reg_qword", "-d", "18446744073709551615"},
        {"add", l_Key, "-v", "M", "-t", "REG_MULTI_SZ", "-d", "a\\0\\0b"},
        {"add", l_Key, "-v", "L", "-t", "4", "-d", "x;y", "-S", ";"},
        {"add", l_Key, "-v", "D", "-t", "REG_DWORD", "-d", "7"},  // replaced, moved last
        {"add", l_Key, "-v", "Q\"\\", "-d", ""}});
  EXPECT_EQ(Key("HKLM/SOFTWARE/Quorvane/Q4/B500/Desktop/N1.json"),
            "{\"Version\":\"1.0\",\"N1\":{\"Path\":[3,\"/opt/\\\"new\\\" \\\\ \\u0001\xff\\t\"],"
            "\"Q\":[2,-1],\"M\":[4,[\"a\",\"\",\"b\"]],\"L\":[4,[\"x\",\"y\"]],\"D\":[1,7],\"Q\\\"\\\\\":[3,"
            "\"\"]}}");
  // Every key on the way has its folder and an empty key file; the hive too.
  std::vector<std::string> l_Tree;
  std::string l_Path;
  for (const char* l_Name : {"HKLM", "SOFTWARE", "Quorvane", "Q4", "B500", "Desktop", "N1"}) {
    l_Path += std::string("/") + l_Name;
    l_Tree.insert(l_Tree.end(), {l_Path + " <dir>", l_Path + ".json "});
  }
  l_Tree.back() += Key("HKLM/SOFTWARE/Quorvane/Q4/B500/Desktop/N1.json");
  EXPECT_EQ(Snapshot(), l_Tree);
  // The other hives live beside it.
  Regs({{"add", "HKCU/A"}, {"add", "hkcr\\B"}});
  EXPECT_TRUE(fs::exists(m_Root + "/HKCU/A.json") && fs::exists(m_Root + "/HKCU.json") &&
              fs::exists(m_Root + "/HKCR/B.json") && fs::exists(m_Root + "/HKCR.json"));
}

TEST_F(KELRegTest, QueryShowsDecodedValuesSubkeysAndSingleValues) {
  Regs({{"add", "HKLM/K/Sub2/Deep", "-v", "N", "-d", "deep"},
        {"add", "HKLM/K/Sub1"},
        {"add", "HKLM/K", "-v", "Text", "-d", "say \"hi\"\\now"},
        {"add", "HKLM/K", "-v", "Ctl\n", "-t", "REG_MULTI_SZ", "-d", "a\tb\x1b\\0c\nd"},
        {"add", "HKLM/K", "-v", "Count", "-t", "REG_DWORD", "-d", "42"},
        {"add", "HKLM/K", "-v", "Big", "-t", "REG_QWORD", "-d", "0x100000000"},
        {"add", "HKLM/K", "-v", "List", "-t", "REG_MULTI_SZ", "-d", "one\\0two"},
        {"add", "HKLM/K", "-v", "Empty", "-t", "REG_MULTI_SZ", "-d", ""}});
  const std::string l_Values =
      "HKLM\\K\n    Text    REG_SZ    say \"hi\"\\now\n    Ctl\\n    REG_MULTI_SZ    a\\tb\\u001b\\0c\\nd\n"
      "    Count    REG_DWORD    42\n"
      "    Big    REG_QWORD    4294967296\n    List    REG_MULTI_SZ    one\\0two\n    Empty    REG_MULTI_SZ  "
      "  \n";
  EXPECT_RUN(Reg({"query", "HKLM/K"}), 0, l_Values + "\nHKLM\\K\\Sub1\nHKLM\\K\\Sub2\n", "");
  EXPECT_RUN(Reg({"query", "HKLM\\K", "-s"}), 0,
             l_Values + "\nHKLM\\K\\Sub1\n\nHKLM\\K\\Sub2\n\nHKLM\\K\\Sub2\\Deep\n    N    REG_SZ    deep\n",
             "");
  EXPECT_RUN(Reg({"query", "HKLM/"}), 0, "HKLM\n\nHKLM\\K\n", "");  // a separator may end the key
  for (const auto& [l_Name, l_Out] :
       std::vector<std::pair<std::string, std::string>>{{"Text", "say \"hi\"\\now\n"},
                                                        {"Count", "42\n"},
                                                        {"Big", "4294967296\n"},
                                                        {"List", "one\ntwo\n"},
                                                        {"Empty", ""},
                                                        {"Ctl\n", "a\\tb\\u001b\nc\\nd\n"}})
    EXPECT_RUN(Reg({"query", "HKLM/K", "-v", l_Name}), 0, l_Out, "");
}

TEST_F(KELRegTest, DeleteTakesValuesKeysAndTreesButSubkeysOnlyWithR) {
  const std::string l_Longest(16383, 'B');  // a value name may be as long as the limit
  Regs({{"add", "HKLM/K/Sub", "-v", "S", "-d", "s"},
        {"add", "HKLM/K", "-v", "A", "-d", "a"},
        {"add", "HKLM/K", "-v", l_Longest, "-d", "b"},
        {"add", "HKLM/K", "-v", "C", "-d", "c"}});
  EXPECT_RUN(Reg({"delete", "HKLM/K", "-v", l_Longest}), 0, "", "");
  EXPECT_EQ(Key("HKLM/K.json"), "{\"Version\":\"1.0\",\"K\":{\"A\":[3,\"a\"],\"C\":[3,\"c\"]}}");
  std::vector<std::string> l_Before = Snapshot();
  EXPECT_RUN(Reg({"delete", "HKLM/K"}), 1, "",
             "KELReg: HKLM\\K: the key has subkeys (-r deletes them too)\n");
  EXPECT_EQ(Snapshot(), l_Before);
  EXPECT_RUN(Reg({"delete", "HKLM/K", "--all-values"}), 0, "", "");
  EXPECT_EQ(Key("HKLM/K.json"), "{\"Version\":\"1.0\",\"K\":{}}");
  EXPECT_RUN(Reg({"delete", "HKLM/K/Sub"}), 0, "", "");
  EXPECT_FALSE(fs::exists(m_Root + "/HKLM/K/Sub") || fs::exists(m_Root + "/HKLM/K/Sub.json"));
  Reg({"add", "HKLM/K/X/Y/Z"});
  EXPECT_RUN(Reg({"delete", "HKLM/K", "-r"}), 0, "", "");
  EXPECT_EQ(Snapshot(), (std::vector<std::string>{"/HKLM <dir>", "/HKLM.json "}));
}

TEST_F(KELRegTest, CopyTakesValuesOrTheWholeTreeAlsoIntoItself) {
  Regs({{"add", "HKLM/S/Child", "-v", "C", "-t", "REG_DWORD", "-d", "1"},
        {"add", "HKLM/S", "-v", "V", "-d", "v"},
        {"add", "HKLM/D", "-v", "Kept", "-d", "k"}});
  EXPECT_RUN(Reg({"copy", "HKLM/S", "HKLM/D"}), 0, "", "");
  EXPECT_EQ(Key("HKLM/D.json"), "{\"Version\":\"1.0\",\"D\":{\"Kept\":[3,\"k\"],\"V\":[3,\"v\"]}}");
  EXPECT_FALSE(fs::exists(m_Root + "/HKLM/D/Child"));
  EXPECT_RUN(Reg({"copy", "HKLM/S", "HKCU/New/Place", "-s"}), 0, "", "");
  EXPECT_EQ(Key("HKCU/New/Place/Child.json"), "{\"Version\":\"1.0\",\"Child\":{\"C\":[1,1]}}");
  // Into its own subtree: the source as it was before the copy, once.
  EXPECT_RUN(Reg({"copy", "HKLM/S", "HKLM/S/Child/Inner", "-s"}), 0, "", "");
  EXPECT_RUN(Reg({"query", "HKLM/S/Child/Inner", "-s"}), 0,
             "HKLM\\S\\Child\\Inner\n    V    REG_SZ    v\n\nHKLM\\S\\Child\\Inner\\Child\n    C    "
             "REG_DWORD    1\n",
             "");
}

TEST_F(KELRegTest, ExportWritesTheDocumentToStandardOutputOrReplacesAFileAtomically) {
  Regs({{"add", "HKLM/E/B", "-v", "b", "-t", "REG_QWORD", "-d", "5"},
        {"add", "HKLM/E/A"},
        {"add", "HKLM/E", "-v", "z", "-d", "last\n"},
        {"add", "HKLM/E", "-v", "a", "-t", "REG_MULTI_SZ", "-d", "x\\0y"}});
  const std::string l_Document =
      "{\n  \"Key\": \"HKLM\\\\E\",\n  \"Values\": {\n    \"z\": [3, \"last\\n\"],\n    \"a\": [4, [\"x\", "
      "\"y\"]]\n"
      "  },\n  \"Subkeys\": {\n    \"A\": {\n      \"Values\": {},\n      \"Subkeys\": {}\n    },\n"
      "    \"B\": {\n      \"Values\": {\n        \"b\": [2, 5]\n      },\n      \"Subkeys\": {}\n    }\n  "
      "}\n}\n";
  EXPECT_RUN(Reg({"export", "hkey_local_machine/E"}), 0, l_Document, "");
  EXPECT_RUN(Reg({"export", "HKLM\\E", "-"}), 0, l_Document, "");
  const std::string l_File = m_Dir + "/out/e.json";
  fs::create_directories(m_Dir + "/out");
  KELTestWriteFile(l_File, "old");
  ::chmod(l_File.c_str(), 0640);
  struct stat l_Stat;
  ::stat(l_File.c_str(), &l_Stat);
  const ino_t l_OldInode = l_Stat.st_ino;
  EXPECT_RUN(Reg({"export", "HKLM/E", l_File}), 0, "", "");
  EXPECT_EQ(KELTestReadFile(l_File), l_Document);
  ::stat(l_File.c_str(), &l_Stat);
  EXPECT_NE(l_Stat.st_ino, l_OldInode);  // a new file renamed over the old one
  EXPECT_EQ(l_Stat.st_mode & 07777, 0640u);
  EXPECT_EQ(std::distance(fs::directory_iterator(m_Dir + "/out"), fs::directory_iterator()), 1);
  // Anything else is written to, never replaced: a link (its target is), a FIFO, a device.
  fs::create_symlink(l_File, m_Dir + "/out/link");
  Reg({"add", "HKLM/A"});
  EXPECT_RUN(Reg({"export", "HKLM/A", m_Dir + "/out/link"}), 0, "", "");
  EXPECT_TRUE(fs::is_symlink(m_Dir + "/out/link"));
  EXPECT_EQ(KELTestReadFile(l_File), Reg({"export", "HKLM/A"}).m_Out);
  ::mkfifo((m_Dir + "/out/fifo").c_str(), 0600);
  pid_t l_Reader = fork();
  if (l_Reader == 0) _exit(KELTestReadFile(m_Dir + "/out/fifo") == l_Document ? 0 : 1);
  EXPECT_RUN(Reg({"export", "HKLM/E", m_Dir + "/out/fifo"}), 0, "", "");
  int l_Wait = 0;
  waitpid(l_Reader, &l_Wait, 0);
  EXPECT_TRUE(WIFEXITED(l_Wait) && WEXITSTATUS(l_Wait) == 0 && fs::is_fifo(m_Dir + "/out/fifo"));
  EXPECT_RUN(Reg({"export", "HKLM/E", "/dev/full"}), 1, "", "KELReg: /dev/full: No space left on device\n");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  // Once renamed in, the file's own folder is synced.
  KELREG_SKIP_WITHOUT_STRACE();
  EXPECT_EQ(
      Strace({"-y", "-o", m_Dir + "/syncs", "-e", "trace=fsync"}, {"export", "HKLM/E", l_File}).m_Status, 0);
  EXPECT_NE(KELTestReadFile(m_Dir + "/syncs").find("<" + m_Dir + "/out>)"), std::string::npos);
}

// A walk holds the folders of one branch only, every descriptor a walk or a change opens in the
// registry (also that of a folder it lists) is closed again, and check shows its progress on a
// terminal only.
TEST_F(KELRegTest, WalksAndChangesCloseTheirDescriptorsAndWriteNoProgressToAFile) {
  KELREG_SKIP_WITHOUT_STRACE();
  std::string l_Wide = "{\"Key\": \"HKLM\\\\W\", \"Subkeys\": {\"K0\": {}";
  for (int l_Key = 1; l_Key < 1100; ++l_Key) l_Wide += ", \"K" + std::to_string(l_Key) + "\": {}";
  ASSERT_EQ(Reg({"import"}, l_Wide + "}}").m_Status, 0);
  const std::string l_Log = m_Dir + "/descriptors";
  for (const std::vector<std::string>& l_Args :
       std::vector<std::vector<std::string>>{{"export", "HKLM/W", "/dev/null"}, {"delete", "HKLM\\W\\K0"}}) {
    ASSERT_EQ(Strace({"-o", l_Log, "-y", "-e", "trace=openat,openat2,close"}, l_Args).m_Status, 0);
    std::istringstream l_Lines(KELTestReadFile(l_Log));
    int l_Open = 0, l_Most = 0;
    for (std::string l_Line; std::getline(l_Lines, l_Line);)
      if (l_Line.find("<" + m_Root) != std::string::npos && l_Line.find(") = -1") == std::string::npos)
        l_Most = std::max(l_Most, l_Open += l_Line.starts_with("close(") ? -1 : 1);
    EXPECT_EQ(l_Open, 0) << l_Args[0];
    EXPECT_LT(l_Most, 16) << l_Args[0];
  }
  // Slowed past the quarter second after which progress would first show.
  EXPECT_RUN(
      Strace({"-o", "/dev/null", "-e", "inject=getdents64:delay_enter=300000:when=1"}, {"check", "HKLM\\W"}),
      0, "", "");
}

TEST_F(KELRegTest, ImportMergesFromAFileOrStandardInput) {
  Regs({{"add", "HKLM/I", "-v", "Old", "-d", "kept"}, {"add", "HKLM/I", "-v", "Same", "-d", "replaced"}});
  const std::string l_Document =
      "{\"Subkeys\": {\"N\": {\"Values\": {\"q\": [2, 18446744073709551615]}}}, \"Key\": \"hklm/I\", "
      "\"Values\": {\"Same\": [1, 4294967295], \"T\\\"\\u00e9\\ud83d\\ude00\\udcff\": [3, \"\\u0000\\/\"]}}";
  KELTestWriteFile(m_Dir + "/doc.json", l_Document);
  EXPECT_RUN(Reg({"import", m_Dir + "/doc.json"}), 0, "", "");
  EXPECT_EQ(Key("HKLM/I.json"),
            "{\"Version\":\"1.0\",\"I\":{\"Old\":[3,\"kept\"],\"Same\":[1,4294967295],"
            "\"T\\\"\xC3\xA9\xF0\x9F\x98\x80\xFF\":[3,\"\\u0000/\"]}}");
  EXPECT_EQ(Key("HKLM/I/N.json"), "{\"Version\":\"1.0\",\"N\":{\"q\":[2,-1]}}");
  EXPECT_RUN(Reg({"import"}, "{\"Key\": \"HKCR\", \"Subkeys\": {\"X\": {}}}"), 0, "", "");
  EXPECT_RUN(Reg({"import", "-"}, "{\"Key\": \"HKCR\\\\Y\"}"), 0, "", "");
  EXPECT_TRUE(fs::exists(m_Root + "/HKCR/X.json") && fs::exists(m_Root + "/HKCR/Y.json"));
}

TEST_F(KELRegTest, DeletePruneTakesTheParentsLeftEmptyInOneChange) {
  Regs({{"add", "HKLM/S/Q4/B419/Desktop/X1", "-v", "Path", "-d", "/x1"},
        {"add", "HKLM/S/Q4/B500/Desktop/N1", "-v", "Path", "-d", "/n1"},
        {"add", "HKLM/S/Q4/B600/Lab/L1"},
        {"add", "HKLM/S/Q4/B600", "-v", "Kept", "-d", "k"}});
  EXPECT_RUN(Reg({"delete", "HKLM/S/Q4/B500/Desktop/N1", "--prune"}), 0, "", "");
  EXPECT_RUN(Reg({"delete", "HKLM/S/Q4/B600/Lab/L1", "--prune"}), 0, "", "");
  EXPECT_RUN(Reg({"query", "HKLM/S/Q4"}), 0, "HKLM\\S\\Q4\n\nHKLM\\S\\Q4\\B419\nHKLM\\S\\Q4\\B600\n", "");
  EXPECT_FALSE(fs::exists(m_Root + "/HKLM/S/Q4/B600/Lab.json"));  // up to the key with a value
  // A stray file stops the pruning where it lies, and a key holding one is refused by name.
  KELTestWriteFile(m_Root + "/HKLM/S/Q4/B419/notes.txt", "");
  KELTestWriteFile(m_Root + "/HKLM/S/Q4/B419/Desktop/X1/.keep", "");
  std::vector<std::string> l_Before = Snapshot();
  EXPECT_RUN(Reg({"delete", "HKLM/S/Q4/B419/Desktop/X1", "--prune"}), 1, "",
             "KELReg: HKLM\\S\\Q4\\B419\\Desktop\\X1: " + m_Root +
                 "/HKLM/S/Q4/B419/Desktop/X1 holds '.keep', which is not a key of it\n");
  EXPECT_EQ(Snapshot(), l_Before);
  EXPECT_RUN(Reg({"delete", "HKLM/S/Q4/B419/Desktop/X1", "--prune", "-r"}), 0, "", "");
  EXPECT_TRUE(fs::exists(m_Root + "/HKLM/S/Q4/B419/notes.txt"));
  EXPECT_FALSE(fs::exists(m_Root + "/HKLM/S/Q4/B419/Desktop.json"));
  EXPECT_RUN(Reg({"delete", "HKLM/S", "-v", "X", "--prune"}), 2, "",
             "KELReg: --prune deletes keys, not values\n");
}

TEST_F(KELRegTest, FindAndImportDryRunReportWithoutChanging) {
  Regs({{"add", "HKLM/F/Desktop/X1", "-v", "Path", "-d", "/opt/x1", "-v", "SPlevel", "-d", "1"},
        {"add", "HKLM/F/Desktop/X2", "-v", "Tags", "-t", "REG_MULTI_SZ", "-d", "lab\\0/opt/t"},
        {"add", "HKLM/F/Server/Desk", "-v", "Port", "-t", "REG_DWORD", "-d", "80"}});
  const std::string l_X1 = "HKLM\\F\\Desktop\\X1", l_X2 = "HKLM\\F\\Desktop\\X2";
  const std::string l_Path = l_X1 + "    Path    REG_SZ    /opt/x1\n";
  const std::string l_Tags = l_X2 + "    Tags    REG_MULTI_SZ    lab\\0/opt/t\n";
  EXPECT_RUN(Reg({"find", "HKLM/F", "Desk*"}), 0, "HKLM\\F\\Desktop\nHKLM\\F\\Server\\Desk\n", "");
  EXPECT_RUN(Reg({"find", "HKLM/F", "/opt/*", "--data"}), 0, l_Path + l_Tags, "");
  EXPECT_RUN(Reg({"find", "HKLM/F", "[PT]*"}), 0,
             l_Path + l_Tags + "HKLM\\F\\Server\\Desk    Port    REG_DWORD    80\n", "");
  EXPECT_RUN(Reg({"find", "HKLM/F", "X?", "--values"}), 0, "", "");
  EXPECT_RUN(Reg({"find", "HKLM/F/Desktop", "X?", "--keys"}), 0, l_X1 + "\n" + l_X2 + "\n", "");
  EXPECT_RUN(Reg({"find", "HKLM/None", "*"}), 1, "", "KELReg: HKLM\\None: no such key\n");
  EXPECT_RUN(Reg({"find", "HKLM/F", "*", "--keys", "--data"}), 2, "",
             "KELReg: --keys, --values and --data cannot be used together\n");
  std::vector<std::string> l_Before = Snapshot();
  EXPECT_RUN(
      Reg({"import", "--dry-run"},
          "{\"Key\": \"HKLM\\\\F\\\\Desktop\", \"Subkeys\": {\"X3\": {\"Values\": {\"Path\": [3, \"/x3\"]}}, "
          "\"X1\": {\"Values\": {\"SPlevel\": [3, \"2\"], \"Path\": [3, \"/opt/x1\"], \"N\": [1, 5]}}}}"),
      0,
      "change value " + l_X1 + "    SPlevel    REG_SZ    2    (was REG_SZ    1)\nadd value " + l_X1 +
          "    N    REG_DWORD    5\nadd key HKLM\\F\\Desktop\\X3\nadd value HKLM\\F\\Desktop\\X3    Path    "
          "REG_SZ    /x3\n",
      "");
  EXPECT_RUN(Reg({"import", "-", "--dry-run"}, "{\"Key\": \"HKCU\\\\A\\\\B\"}"), 0,
             "add key HKCU\\A\nadd key HKCU\\A\\B\n", "");
  EXPECT_RUN(Reg({"import", "--dry-run"}, "{\"Key\": \"HKLM\\\\F\"}"), 0, "", "");
  EXPECT_EQ(Snapshot(), l_Before);
}

TEST_F(KELRegTest, HelpAndVersionGoToStandardOutputWithStatusZero) {
  KELRegOutcome l_Help = Reg({"--help"}, "", false);
  EXPECT_EQ(l_Help.m_Status, 0);
  EXPECT_TRUE(l_Help.m_Out.starts_with("Usage: KELReg [--root DIR] query  KEY [-v NAME] [-s]\n"))
      << l_Help.m_Out;
  EXPECT_EQ(l_Help.m_Err, "");
  EXPECT_RUN(Reg({"query", "bad-key", "-h"}), 0, l_Help.m_Out, "");
  EXPECT_RUN(Reg({"--version"}, "", false), 0, "KELReg " KEL_VERSION "\n", "");
}

// Usage errors (status 2) and failures of the operation (status 1): one line naming the key or file,
// and nothing written. Keys the registry's files cannot hold are refused whole before any write.
TEST_F(KELRegTest, UsageErrorsAndFailuresReportOneLineAndWriteNothing) {
  Reg({"add", "HKLM/K", "-v", "V", "-d", "v"});
  KELTestWriteFile(m_Root + "/HKLM/Bad.json", "{\"Version\":\"1.0\",\"Bad\":{\"W\":[9,1]}}");
  fs::create_directories(m_Root + "/HKLM/Bad");
  std::vector<std::string> l_Before = Snapshot();
  const std::string l_Missing = m_Dir + "/missing.json";
  KELTestWriteFile(m_Dir + "/bad.json", "{\n  \"Key\": \"HKLM/B\",\n  \"Values\": {\"v\": [3, x]}\n}\n");
  // 239-byte names: the key whose file path ("<root>/HKLM/c/c/....json") first passes 4095 bytes.
  const std::string l_Long(239, 'c');
  std::string l_Key = "HKLM", l_Deep = "{}";
  for (size_t l_Path = m_Root.size() + 5; l_Path + 5 <= 4095; l_Path += 240) l_Key += "\\" + l_Long;
  for (int l_Level = 0; l_Level < 20; ++l_Level)
    l_Deep = "{\"" + l_Long + "\": {\"Subkeys\": " + l_Deep + "}}";
  const std::string l_TooLong = l_Key + ": key file path longer than 4095 bytes";
  // Usage errors: status 2.
  for (const auto& [l_Args, l_Err] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {std::vector<std::string>(),
            "no subcommand (query, find, add, delete, copy, export, import, check or recover)"},
           {{"list", "HKLM"}, "unknown subcommand 'list'"},
           {{"query", "HKLM/K", "-x"}, "unknown option '-x'"},
           {{"query"}, "query: missing KEY"},
           {{"copy", "HKLM/K"}, "copy: missing DST"},
           {{"query", "HKLM/K", "extra"}, "query: unexpected argument 'extra'"},
           {{"add", "HKLM/K", "-v"}, "option -v needs an argument"},
           {{"add", "HKLM/K", "-v", "a", "-v", "b", "-d", "x"}, "-v needs -d DATA"},
           {{"add", "HKLM/K", "-v", "a", "-d", "x", "-d", "y"}, "option -d given twice"},
           {{"export", "HKLM/K", "-s"}, "export does not take -s"},
           {{"query", "HKXX/K"}, "bad key 'HKXX/K': unknown hive 'HKXX' (HKLM, HKCU or HKCR)"},
           {{"query", "HKLM/K//"}, "bad key 'HKLM/K//': empty key name"},
           {{"add", "HKLM/K/.."}, "bad key 'HKLM/K/..': key name '..' is not allowed"},
           {{"add", "HKLM/a\"b"}, "bad key 'HKLM/a\"b': a key name cannot hold a double quote"},
           {{"add", "HKLM/a\tb"}, "bad key 'HKLM/a\\tb': a key name cannot hold a control byte"},
           {{"add", "HKLM"}, "HKLM: add needs a key below the hive"},
           {{"add", "HKLM/K", "-d", "x"}, "-t, -d and -S need -v"},
           {{"add", "HKLM/K", "-v", "x", "-t", "REG_BINARY", "-d", "1"},
            "unknown type 'REG_BINARY' (REG_SZ, REG_DWORD, REG_QWORD or REG_MULTI_SZ)"},
           {{"add", "HKLM/K", "-v", "x", "-t", "REG_DWORD", "-d", "4294967296"},
            "REG_DWORD data '4294967296' is out of range (at most 4294967295)"},
           {{"add", "HKLM/K", "-v", "x", "-t", "REG_DWORD", "-d", "-1"}, "REG_DWORD data '-1' is negative"},
           {{"add", "HKLM/K", "-v", "x", "-t", "REG_QWORD", "-d", "18446744073709551616"},
            "REG_QWORD data '18446744073709551616' is out of range (at most 18446744073709551615)"},
           {{"add", "HKLM/K", "-v", "x", "-t", "REG_QWORD", "-d", "12abc"},
            "REG_QWORD data '12abc' is not a number (decimal or 0x hexadecimal)"},
           {{"add", "HKLM/K", "-v", "x", "-t", "REG_DWORD", "-d", "0x"},
            "REG_DWORD data '0x' is not a number (decimal or 0x hexadecimal)"},
           {{"add", "HKLM/K", "-v", "x", "-d", "a", "-S", ","}, "-S is for REG_MULTI_SZ data only"},
           {{"delete", "HKLM"}, "HKLM: a hive root cannot be deleted"},
           {{"delete", "HKLM/K", "-v", "V", "--all-values"}, "-v and --all-values cannot be used together"},
           {{"delete", "HKLM/K", "-v", "V", "-r"}, "-r deletes keys, not values"},
           {{"query", "HKLM/K", "-v", "V", "-s"}, "-v and -s cannot be used together"}})
    EXPECT_RUN(Reg(l_Args), 2, "", "KELReg: " + l_Err + "\n");
  struct Case {
    std::vector<std::string> m_Args;
    std::string m_Err, m_Input = "";
  };
  for (const Case& l_Case :
       {Case{{"query", "HKLM/None"}, "HKLM\\None: no such key"},
        // A refused import names its input and the fault's place (the faults: KELRegDocument_test).
        Case{{"import"},
             "standard input:1:20: unexpected end of the document, expected ',' or '}' in the document",
             "{\"Key\": \"HKLM/Good\""},
        Case{{"import", m_Dir + "/bad.json"}, m_Dir + "/bad.json:3:23: expected a REG_SZ string"},
        Case{{"query", "HKLM/K", "-v", "two\nlines\t"}, "HKLM\\K: no value 'two\\nlines\\t'"},
        Case{{"query", "HKLM/Bad", "-v", "W"}, "HKLM\\Bad: value 'W' is not a valid registry value"},
        Case{{"export", "HKLM/Bad"}, "HKLM\\Bad: value 'W' is not a valid registry value"},
        Case{{"delete", "HKLM/None"}, "HKLM\\None: no such key"},
        Case{{"delete", "HKLM/K", "-v", "None"}, "HKLM\\K: no value 'None'"},
        Case{{"copy", "HKLM/None", "HKLM/X"}, "HKLM\\None: no such key"},
        Case{{"import", l_Missing}, l_Missing + ": " + std::strerror(ENOENT)},
        Case{{"import", m_Dir}, m_Dir + ": " + std::strerror(EISDIR)},
        Case{{"export", "HKLM/K", m_Dir + "/no/such/dir/f.json"},
             m_Dir + "/no/such/dir/f.json: " + std::strerror(ENOENT)},
        Case{{"--root", m_Dir + "/none", "query", "HKLM"}, m_Dir + "/none: " + std::strerror(ENOENT)},
        Case{{"--root=" + m_Root + "/HKLM.json", "query", "HKLM"},
             m_Root + "/HKLM.json: " + std::strerror(ENOTDIR)},
        Case{{"add", "HKLM\\SOFTWARE\\NewTop\\HKCU\\Leaf"},
             "HKLM\\SOFTWARE\\NewTop\\HKCU: a key below a hive cannot be named HKLM, HKCU or HKCR"},
        Case{{"add", "HKLM/K.json", "-v", "W", "-d", "w"},
             "HKLM\\K.json: a key name cannot end in \".json\""},
        Case{{"copy", "HKLM/K", "HKCU/X/K.json"}, "HKCU\\X\\K.json: a key name cannot end in \".json\""},
        Case{{"add", "HKLM/" + std::string(240, 'k')},
             "HKLM\\" + std::string(240, 'k') + ": key name longer than 239 bytes"},
        Case{{"add", l_Key + "\\Leaf"}, l_TooLong},
        Case{{"import"}, l_TooLong, "{\"Key\": \"HKLM\", \"Subkeys\": " + l_Deep + "}"}}) {
    EXPECT_RUN(Reg(l_Case.m_Args, l_Case.m_Input, l_Case.m_Args[0].starts_with("--root") == false), 1, "",
               "KELReg: " + l_Case.m_Err + "\n");
    EXPECT_EQ(Snapshot(), l_Before);
  }
}

// Documents of up to 64 MiB are read, from a file or a pipe; one byte more is refused, nothing written.
TEST_F(KELRegTest, ImportReadsDocumentsOfUpTo64MiB) {
  std::string l_Document = "{\"Key\": \"HKLM\\\\Big\"}";
  const std::string l_File = m_Dir + "/big.json",
                    l_Import = KEL_BINARY_DIR "/KELReg --root " + m_Root + " import";
  const std::string l_Over = ": document larger than 64 MiB\n";
  for (const auto& [l_Command, l_Size, l_Status, l_Err] :
       std::vector<std::tuple<std::string, size_t, int, std::string>>{
           {"cat | " + l_Import, (64 << 20) + 1, 1, "KELReg: standard input" + l_Over},
           {l_Import + " " + l_File, (64 << 20) + 1, 1, "KELReg: " + l_File + l_Over},
           {"cat | " + l_Import, 64 << 20, 0, ""}}) {
    l_Document.resize(l_Size, ' ');
    KELTestWriteFile(l_File, l_Document);
    EXPECT_RUN(Exec({"/bin/sh", "-c", l_Command}, l_Document), l_Status, "", l_Err);
    EXPECT_EQ(Snapshot().size(), l_Status == 0 ? 4u : 0u);  // HKLM/, HKLM.json, Big/, Big.json
  }
}

// Permissions are those of the file system: checked as an unprivileged user.
TEST_F(KELRegTest, UnreadableAndReadOnlyKeysFailWithTheSystemsReason) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run KELReg as the user nobody";
  const passwd* l_Nobody = getpwnam("nobody");
  if (l_Nobody == nullptr) GTEST_SKIP() << "no user 'nobody' on this machine";
  int l_User = int(l_Nobody->pw_uid);
  if (Reg({"--version"}, "", false, l_User).m_Status != 0)
    GTEST_SKIP() << "the user nobody cannot run " KEL_BINARY_DIR
                    "/KELReg (a folder above it is closed to others)";
  Reg({"add", "HKLM/Open", "-v", "V", "-d", "v"});
  Reg({"add", "HKLM/Secret", "-v", "V", "-d", "v"});
  Reg({"add", "HKLM/ReadOnly", "-v", "V", "-d", "v"});
  fs::permissions(m_Root + "/HKLM/Secret.json", fs::perms::owner_read | fs::perms::owner_write);
  fs::permissions(m_Root + "/HKLM/ReadOnly.json",
                  fs::perms::owner_read | fs::perms::others_read | fs::perms::group_read);
  // The change journal open to all, so that the keys' own permissions are what refuses.
  fs::permissions(m_Root + "/.KELReg/journal", fs::perms::all);
  std::vector<std::string> l_Before = Snapshot();
  const std::string l_Denied = std::strerror(EACCES);
  EXPECT_RUN(Reg({"query", "HKLM/Open", "-v", "V"}, "", true, l_User), 0, "v\n", "");
  EXPECT_RUN(Reg({"query", "HKLM/Secret"}, "", true, l_User), 1, "",
             "KELReg: HKLM\\Secret: " + l_Denied + "\n");
  EXPECT_RUN(Reg({"export", "HKLM", "/dev/null"}, "", true, l_User), 1, "",
             "KELReg: HKLM\\Secret: " + l_Denied + "\n");
  const std::string l_ReadOnly =
      "KELReg: HKLM\\ReadOnly: " + m_Root + "/HKLM/ReadOnly.json: " + l_Denied + "\n";
  EXPECT_RUN(Reg({"add", "HKLM/ReadOnly", "-v", "W", "-d", "w"}, "", true, l_User), 1, "", l_ReadOnly);
  EXPECT_RUN(Reg({"delete", "HKLM/ReadOnly", "-v", "V"}, "", true, l_User), 1, "", l_ReadOnly);
  EXPECT_RUN(Reg({"import"}, "{\"Key\": \"HKLM\\\\Open\\\\New\"}", true, l_User), 1, "",
             "KELReg: HKLM\\Open\\New: " + m_Root + "/HKLM/Open/.New.json.kelreg: " + l_Denied + "\n");
  EXPECT_EQ(Snapshot(), l_Before);
}

}  // namespace

// Integrity: every writing command killed before each system call that changes the disk, and failed
// at each write and sync, leaves the old registry or the new one once recovered; damage is found,
// reported and repaired by check.
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <map>
#include <sstream>

#include "KELRegTestSupport.h"

namespace {

// The system calls after which the disk may hold something new. An open that creates a file is left
// out: killing before the call that follows it (a write, a chmod, a sync) sees the same disk.
constexpr const char* k_Mutating =
    "write,pwrite64,ftruncate,fchmod,fchown,fsync,fdatasync,rename,renameat,renameat2,mkdir,mkdirat,"
    "unlink,unlinkat,rmdir,link,linkat";

struct CrashCase {
  std::string m_Name;
  std::vector<std::string> m_Args;
  std::string m_Input = "";
};
void PrintTo(const CrashCase& iCase, std::ostream* oOut) { *oOut << iCase.m_Name; }

class KELRegCrash : public KELRegTest, public ::testing::WithParamInterface<CrashCase> {
 protected:
  // In memory where the machine has it: the states are the same, and a thousand runs sync nothing to a disk.
  void SetUp() override {
    char l_Template[] = "/dev/shm/KELRegCrash.XXXXXX";
    if (::mkdtemp(l_Template) == nullptr) return;
    m_Dir = m_Memory = l_Template;
    m_Root = m_Dir + "/reg";
    fs::create_directories(m_Root);
  }
  void TearDown() override {
    if (!m_Memory.empty()) fs::remove_all(m_Memory);
  }
  std::string m_Memory;

  // The registry every case starts from: the sample, and three more levels of installations.
  void MakeTemplate(const std::string& iWhere) {
    ASSERT_EQ(Reg({"import", KEL_SOURCE_DIR "/examples/registry.json"}).m_Err, "");
    std::string l_Doc = "{\"Key\": \"HKLM\\\\SOFTWARE\\\\Quorvane\\\\Q4\", \"Subkeys\": {";
    for (int l_Level = 0; l_Level < 3; ++l_Level) {
      l_Doc += std::string(l_Level ? ", " : "") + "\"B60" + std::to_string(l_Level) +
               "\": {\"Subkeys\": {\"Desktop\": {\"Subkeys\": {";
      for (int l_Id = 0; l_Id < 3; ++l_Id)
        l_Doc += std::string(l_Id ? ", " : "") + "\"I" + std::to_string(l_Id) +
                 "\": {\"Values\": {\"Path\": [3, \"/opt/q4/I\"], \"SPlevel\": [3, \"600.1\"]}}";
      l_Doc += "}}}}";
    }
    l_Doc += "}}";
    ASSERT_EQ(Reg({"import"}, l_Doc).m_Err, "");
    fs::remove_all(m_Root + "/.KELReg");
    fs::rename(m_Root, iWhere);
  }
  void Fresh(const std::string& iTemplate) {
    fs::remove_all(m_Root);
    fs::copy(iTemplate, m_Root, fs::copy_options::recursive);
  }
  KELRegOutcome Traced(std::vector<std::string> iStrace) {
    iStrace.insert(iStrace.begin(), "-f");
    return Strace(iStrace, GetParam().m_Args, GetParam().m_Input);
  }
};

TEST_P(KELRegCrash, EveryKillAndFaultLeavesTheOldOrTheNewRegistryOnceRecovered) {
  KELREG_SKIP_WITHOUT_STRACE();
  const std::string l_Template = m_Dir + "/template", l_Log = m_Dir + "/calls";
  MakeTemplate(l_Template);
  Fresh(l_Template);
  const std::vector<std::string> l_Old = Snapshot();
  ASSERT_EQ(Traced({"-o", l_Log, "-e", std::string("trace=") + k_Mutating}).m_Status, 0);
  const std::vector<std::string> l_New = Snapshot();
  ASSERT_NE(l_New, l_Old);
  std::map<std::string, int> l_Calls;
  std::istringstream l_Lines(KELTestReadFile(l_Log));
  for (std::string l_Line; std::getline(l_Lines, l_Line);)
    if (size_t l_Open = l_Line.find('('), l_Start = l_Line.rfind(' ', l_Open) + 1;
        l_Open != std::string::npos)
      ++l_Calls[l_Line.substr(l_Start, l_Open - l_Start)];  // after the process id that -f writes first
#if defined(__SANITIZE_ADDRESS__)
  const int l_Every = 4;  // the sanitizers' build takes every fourth point: the states are the release's
  // Its runtime probes memory with write calls of its own and aborts when one fails, so its writes
  // are only killed; the release build fails every one of them.
  auto l_Faults = [](const std::string& iCall) { return iCall != "write"; };
#else
  const int l_Every = 1;
  auto l_Faults = [](const std::string&) { return true; };
#endif
  int l_Points = 0;
  for (const auto& [l_Call, l_Count] : l_Calls)
    for (int l_At = 1; l_At <= l_Count; ++l_At) {
      SCOPED_TRACE(l_Call + " #" + std::to_string(l_At));
      if (l_Points++ % l_Every != 0) continue;
      Fresh(l_Template);
      // Killed before the call: readers still find whole keys, then the next command recovers.
      EXPECT_EQ(Traced({"-o", "/dev/null", "-e", "trace=" + l_Call, "-e",
                        "inject=" + l_Call + ":signal=KILL:when=" + std::to_string(l_At)})
                    .m_Status,
                -1);
      EXPECT_RUN(Reg({"export", "HKLM", m_Dir + "/seen.json"}), 0, "", "");
      EXPECT_EQ(Reg({"recover"}).m_Status, 0);
      std::vector<std::string> l_After = Snapshot();
      EXPECT_TRUE(l_After == l_Old || l_After == l_New);
      if (!l_Faults(l_Call)) continue;
      // Failed at the call, each point with the next of a few errors: status 1 and one line with the
      // system's own reason; the old registry, unless the change had passed its commit point, and
      // then the new one once recovered.
      static const std::pair<int, const char*> k_Errors[] = {
          {ENOSPC, "ENOSPC"}, {EIO, "EIO"}, {EDQUOT, "EDQUOT"}, {EFBIG, "EFBIG"}, {EACCES, "EACCES"}};
      const auto& [l_Errno, l_Name] = k_Errors[size_t(l_Points) % std::size(k_Errors)];
      Fresh(l_Template);
      KELRegOutcome l_Run =
          Traced({"-o", "/dev/null", "-e", "trace=" + l_Call, "-e",
                  "inject=" + l_Call + ":error=" + l_Name + ":when=" + std::to_string(l_At)});
      std::vector<std::string> l_Now = Snapshot();
      EXPECT_EQ(l_Run.m_Status, 1);
      EXPECT_NE(l_Run.m_Err.find(std::strerror(l_Errno)), std::string::npos) << l_Run.m_Err;
      EXPECT_EQ(std::count(l_Run.m_Err.begin(), l_Run.m_Err.end(), '\n'), 1) << l_Run.m_Err;
      const bool l_Committed = l_Run.m_Err.find("committed") != std::string::npos;
      EXPECT_EQ(Reg({"recover"}).m_Status, 0);
      EXPECT_EQ(Snapshot(), l_Committed ? l_New : l_Old) << l_Run.m_Err;
      EXPECT_TRUE(l_Committed || l_Now == l_Old) << l_Run.m_Err;  // untouched before the commit point
    }
  EXPECT_GT(l_Points, 5);
  std::cout << GetParam().m_Name << ": " << l_Points << " kill points, as many faults\n";
}

const std::string k_Q4 = "HKLM\\SOFTWARE\\Quorvane\\Q4";

INSTANTIATE_TEST_SUITE_P(
    Writes, KELRegCrash,
    ::testing::Values(
        CrashCase{"AddLongerValue",
                  {"add", k_Q4 + "\\B419\\Desktop\\X1", "-v", "Path", "-d", std::string(300, 'p')}},
        CrashCase{
            "AddKeyWithParents",
            {"add", k_Q4 + "\\B700\\Lab\\N1", "-v", "Path", "-d", "/n", "-v", "SPlevel", "-d", "700.1"}},
        CrashCase{"DeleteValue", {"delete", k_Q4 + "\\B419\\Desktop\\X1", "-v", "SPlevel"}},
        CrashCase{"DeleteTree", {"delete", k_Q4 + "\\B601", "-r"}},
        CrashCase{"DeletePrune", {"delete", k_Q4 + "\\B420\\DeskLab\\L1", "--prune"}},
        CrashCase{"CopyTree", {"copy", k_Q4 + "\\B600", k_Q4 + "\\B419\\Copy", "-s"}},
        CrashCase{
            "ImportTree",
            {"import"},
            "{\"Key\": \"HKLM\\\\SOFTWARE\\\\Quorvane\\\\Q4\", \"Subkeys\": {\"B602\": {\"Subkeys\": "
            "{\"Desktop\": "
            "{\"Values\": {\"N\": [1, 5]}, \"Subkeys\": {\"I9\": {\"Values\": {\"Path\": [3, \"/i9\"]}}}}}}, "
            "\"B800\": {\"Subkeys\": {\"Server\": {\"Subkeys\": {\"S\": {}}}}}}}"}),
    [](const ::testing::TestParamInfo<CrashCase>& iInfo) { return iInfo.param.m_Name; });

// Damaged and half-made registries: what check reports, what --repair does, and that nothing else
// is touched.
struct Damage {
  std::string m_Name;
  std::function<void(const std::string& iDesktop)> m_Make;
  std::string m_Report;  // the line check writes for it (the root replaced by ROOT)
  std::string m_After;   // what check still reports after --repair
};
void PrintTo(const Damage& iCase, std::ostream* oOut) { *oOut << iCase.m_Name; }
// The damage of writing iBytes to iFile in the folder of the Desktop key.
std::function<void(const std::string&)> Writes(const std::string& iFile, const std::string& iBytes) {
  return [=](const std::string& iDesktop) { KELTestWriteFile(iDesktop + "/" + iFile, iBytes); };
}

class KELRegCheck : public KELRegTest, public ::testing::WithParamInterface<Damage> {
 protected:
  std::string Shown(std::string iText) const {
    for (size_t l_At; (l_At = iText.find(m_Root)) != std::string::npos;)
      iText.replace(l_At, m_Root.size(), "ROOT");
    return iText;
  }
};

const std::string k_X1 = k_Q4 + "\\B419\\Desktop\\X1";

TEST_P(KELRegCheck, ReportsEachProblemAndRepairsWhatItCan) {
  // Installations whose Path is a folder here, so that only the damage made below is reported.
  ASSERT_EQ(Reg({"add", k_X1, "-v", "Path", "-d", m_Dir, "-v", "SPlevel", "-d", "419.1"}).m_Err, "");
  ASSERT_EQ(Reg({"add", k_Q4 + "\\B419\\Desktop\\X2", "-v", "Path", "-d", m_Dir}).m_Err, "");
  EXPECT_RUN(Reg({"check"}), 0, "", "");
  const std::string l_Desktop = m_Root + "/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop";
  GetParam().m_Make(l_Desktop);
  const std::string l_X2 = KELTestReadFile(l_Desktop + "/X2.json");
  KELRegOutcome l_Check = Reg({"check"});
  EXPECT_EQ(l_Check.m_Status, 1);
  EXPECT_EQ(Shown(l_Check.m_Out), GetParam().m_Report);
  KELRegOutcome l_Repair = Reg({"check", k_Q4, "--repair", "--json"});
  EXPECT_EQ(l_Repair.m_Status, 1);
  // Every problem but an orphan is repaired.
  EXPECT_EQ(l_Repair.m_Out.find("\"repair\": \"") != std::string::npos,
            GetParam().m_After != GetParam().m_Report)
      << l_Repair.m_Out;
  EXPECT_EQ(Shown(Reg({"check"}).m_Out), GetParam().m_After);
  EXPECT_EQ(KELTestReadFile(l_Desktop + "/X2.json"), l_X2);
}

const std::string k_Line = k_X1 + ": damaged: ";
const std::string k_File = " (ROOT/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/X1.json)\n";
const std::string k_NoPath =
    k_X1 + ": null-path: installation without a Path (listed with a null path)" + k_File;
// A change of X1 cut off after its commit point, its journal starting with iHeader.
std::function<void(const std::string&)> Cut(const std::string& iHeader) {
  return [=](const std::string& iDesktop) {
    const std::string l_Below = "HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/";
    KELTestWriteFile(iDesktop + "/.X1.json.kelreg", "{\"Version\":\"1.0\",\"X1\":{}}");
    KELTestWriteFile(iDesktop + "/../../../../../../.KELReg/journal",
                     iHeader + "\nF " + std::to_string(l_Below.size() + 15) + ":" + l_Below +
                         ".X1.json.kelreg " + std::to_string(l_Below.size() + 7) + ":" + l_Below +
                         "X1.json\nend\n");
  };
}
const std::string k_Journal = "ROOT/.KELReg/journal: interrupted: a change was cut off ";
const std::string k_Left =
    "\nROOT/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/.X1.json.kelreg: leftover: left by an interrupted "
    "change\n";

INSTANTIATE_TEST_SUITE_P(
    Registries, KELRegCheck,
    ::testing::Values(
        Damage{"CutShort", Writes("X1.json", "{\"Version\":\"1.0\",\"X1\":{\"Path\":[3,\"/opt/x\"],\"SP"),
               k_Line + "not valid JSON at line 1, column 44" + k_File, k_NoPath},
        Damage{"OverTheCap", Writes("X1.json", std::string((1 << 20) + 1, ' ')),
               k_Line + "1048577 bytes, over the limit of 1048576" + k_File, k_NoPath},
        Damage{"TooDeep",
               Writes("X1.json", "{\"X1\":" + std::string(1200, '[') + std::string(1200, ']') + "}"),
               k_Line + "nested deeper than 1000 levels at line 1, column 1006" + k_File, k_NoPath},
        // Beside a folder without its file, listed next, which must be named as its own key.
        Damage{
            "FileWithoutFolder",
            [](const std::string& iDesktop) {
              fs::remove(iDesktop + "/X1");
              fs::create_directory(iDesktop + "/X10");
            },
            k_X1 + ": half-made: key file without its folder (the key is not listed)" + k_File + k_Q4 +
                "\\B419\\Desktop\\X10: half-made: key folder without its key file (the key and its subkeys "
                "are not listed) (ROOT/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/X10)\n",
            k_Q4 + "\\B419\\Desktop\\X10: null-path: installation without a Path (listed with a null path) "
                   "(ROOT/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/X10.json)\n"},
        Damage{
            "FolderWithoutFile",
            [](const std::string& iDesktop) {
              fs::remove(iDesktop + "/X1.json");
              fs::create_directory(iDesktop + "/X1/Sub");
            },
            k_X1 +
                ": half-made: key folder without its key file (the key and its subkeys are not listed) "
                "(ROOT/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/X1)\n" +
                k_X1 +
                "\\Sub: half-made: key folder without its key file (the key and its subkeys are not listed) "
                "(ROOT/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/X1/Sub)\n",
            k_NoPath},
        Damage{"Leftover", Writes(".X1.json.kelreg", "{"), k_Left.substr(1), ""},
        Damage{"Interrupted", Cut("KELSysRegChange C"),
               k_Journal + "after its commit point (it will be finished)" + k_Left, k_NoPath},
        // A journal whose first bytes are not a journal's was never finished: its steps are not done.
        Damage{"JournalWithoutItsHeader", Cut("KELSysRegChangE C"),
               k_Journal + "before its commit point (it will be rolled back)" + k_Left, ""},
        Damage{"Orphan", Writes("X1.json", "{\"Version\":\"1.0\",\"X1\":{\"Path\":[3,\"/no/such\"]}}"),
               k_X1 + ": orphan: installation whose Path /no/such is not a folder here" + k_File,
               k_X1 + ": orphan: installation whose Path /no/such is not a folder here" + k_File}),
    [](const ::testing::TestParamInfo<Damage>& iInfo) { return iInfo.param.m_Name; });

// A key file whose read fails is a failure of the reading commands, with the system's reason.
TEST_F(KELRegTest, AReadThatFailsIsAFailureWithItsReason) {
  KELREG_SKIP_WITHOUT_STRACE();
  ASSERT_EQ(Reg({"add", "HKLM\\A\\B", "-v", "V", "-d", "v"}).m_Err, "");
  const std::string l_Log = m_Dir + "/reads";
  for (const std::vector<std::string>& l_Args : std::vector<std::vector<std::string>>{
           {"query", "HKLM\\A\\B"}, {"query", "HKLM\\A\\B", "-v", "V"}, {"export", "HKLM\\A"}}) {
    SCOPED_TRACE(l_Args[0]);
    ASSERT_EQ(Strace({"-o", l_Log, "-e", "trace=pread64"}, l_Args).m_Status, 0);
    // The last read is that of the key file, after the loader's.
    const std::string l_Reads = KELTestReadFile(l_Log);
    KELRegOutcome l_Outcome = Strace(
        {"-o", "/dev/null", "-e", "trace=pread64", "-e",
         "inject=pread64:error=EIO:when=" + std::to_string(std::count(l_Reads.begin(), l_Reads.end(), '\n'))},
        l_Args);
    EXPECT_EQ(l_Outcome.m_Status, 1);
    EXPECT_EQ(l_Outcome.m_Err,
              "KELReg: HKLM\\A\\B: " + m_Root + "/HKLM/A/B.json: " + std::strerror(EIO) + "\n");
  }
  // A lock the system refuses, not one held elsewhere, fails at once with the system's reason.
  EXPECT_RUN(Strace({"-o", "/dev/null", "-e", "inject=flock:error=ENOLCK:when=1"}, {"query", "HKLM\\A\\B"}),
             1, "", std::string("KELReg: HKLM\\A\\B: ") + std::strerror(ENOLCK) + "\n");
}

// A user's first change makes their registry's folder, and syncs the folder that holds it before
// anything is written in it.
TEST_F(KELRegTest, TheFirstChangeMakesTheRegistryFolderDurably) {
  KELREG_SKIP_WITHOUT_STRACE();
  const std::string l_Home = m_Dir + "/home", l_Log = m_Dir + "/syncs";
  fs::create_directories(l_Home);
  EXPECT_RUN(Exec({"/usr/bin/env", "strace", "-qq", "-y", "-o", l_Log, "-e", "trace=fsync",
                   KEL_BINARY_DIR "/KELReg", "add", "HKCU\\Software\\Tool", "-v", "V", "-d", "v"},
                  "", -1, {k_NoLeakCheck, "HOME=" + l_Home}),
             0, "", "");
  const std::string l_Syncs = KELTestReadFile(l_Log);
  EXPECT_NE(l_Syncs.substr(0, l_Syncs.find('\n')).find("<" + l_Home + ">)"), std::string::npos) << l_Syncs;
  // A change from a process without standard input, whose first descriptor then holds the registry root.
  EXPECT_RUN(Exec({"/bin/sh", "-c", "exec \"$0\" \"$@\" <&-", KEL_BINARY_DIR "/KELReg", "add",
                   "HKCU\\Software\\Tool", "-v", "W", "-d", "w"},
                  "", -1, {"HOME=" + l_Home}),
             0, "", "");
  EXPECT_EQ(Key("../home/.Quorvane/HKCU/Software/Tool.json"),
            "{\"Version\":\"1.0\",\"Tool\":{\"V\":[3,\"v\"],\"W\":[3,\"w\"]}}");
}

TEST_F(KELRegTest, ADamagedKeyIsRefusedByEveryCommandButDeleteAndItsBytesStay) {
  ASSERT_EQ(Reg({"add", "HKLM\\A\\Bad\\Sub", "-v", "V", "-d", "v"}).m_Err, "");
  const std::string l_File = m_Root + "/HKLM/A/Bad.json",
                    l_Text = "{\"Version\":\"1.0\",\"Bad\":{\"V\":[3,\"v";
  KELTestWriteFile(l_File, l_Text);
  const std::string l_Why = "KELReg: HKLM\\A\\Bad: " + l_File + ": not valid JSON at line 1, column 32\n";
  // What export and query -s read before the damaged key is written all the same.
  for (const auto& [l_Args, l_Out] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"query", "HKLM\\A\\Bad"}, ""},
           {{"query", "HKLM\\A\\Bad", "-v", "V"}, ""},
           {{"query", "HKLM\\A", "-s"}, "HKLM\\A\n"},
           {{"export", "HKLM\\A"}, "{\n  \"Key\": \"HKLM\\\\A\",\n  \"Values\": {},\n  \"Subkeys\": {"},
           {{"add", "HKLM\\A\\Bad", "-v", "New", "-d", "v"}, ""},
           {{"delete", "HKLM\\A\\Bad", "-v", "V"}, ""},
           {{"copy", "HKLM\\A\\Bad\\Sub", "HKLM\\A\\Bad"}, ""}}) {
    SCOPED_TRACE(l_Args[0]);
    EXPECT_RUN(Reg(l_Args), 1, l_Out, l_Why);
    EXPECT_EQ(KELTestReadFile(l_File), l_Text);
  }
  // A file that export replaces stays as it was, also when more than a buffer was written before.
  Reg({"add", "HKLM\\A\\Aa", "-v", "V", "-d", std::string(100000, 'x')});
  fs::create_directories(m_Dir + "/out");
  KELTestWriteFile(m_Dir + "/out/old.json", "old");
  EXPECT_RUN(Reg({"export", "HKLM\\A", m_Dir + "/out/old.json"}), 1, "", l_Why);
  EXPECT_EQ(KELTestReadFile(m_Dir + "/out/old.json"), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(m_Dir + "/out"), fs::directory_iterator()), 1);
  EXPECT_RUN(Reg({"import"}, "{\"Key\": \"HKLM\\\\A\\\\Bad\", \"Values\": {\"W\": [3, \"w\"]}}"), 1, "",
             l_Why);
  // The key without values that check puts in its place keeps the file's mode.
  fs::permissions(l_File, fs::perms(0640));
  EXPECT_EQ(Reg({"check", "HKLM\\A", "--repair"}).m_Status, 1);
  EXPECT_EQ(int(fs::status(l_File).permissions()), 0640);
  EXPECT_RUN(Reg({"delete", "HKLM\\A\\Bad", "-r"}), 0, "", "");
  EXPECT_FALSE(fs::exists(l_File));
}

}  // namespace

namespace {

// Hostile trees: links planted in a hive lead no write outside the registry.
struct Hostile {
  std::string m_Name;
  std::string m_Link;    // below the root: what is replaced by a link
  std::string m_Target;  // where it points ("" for itself: a loop)
  std::string m_Read;    // what query -s reads (links followed): the keys below HKLM
};
void PrintTo(const Hostile& iCase, std::ostream* oOut) { *oOut << iCase.m_Name; }

class KELRegHostile : public KELRegTest, public ::testing::WithParamInterface<Hostile> {};

TEST_P(KELRegHostile, NoCommandWritesThroughALink) {
  const std::string l_Outside = m_Dir + "/outside";
  m_Temp.Write("outside/file.json", "{\"Version\":\"1.0\",\"B\":{\"V\":[3,\"precious\"]}}");
  m_Temp.Write("outside/dir/Victim.json", "");
  m_Temp.Write("outside/dir/Victim/data.txt", "precious");
  ASSERT_EQ(Reg({"add", "HKLM\\A\\B\\C", "-v", "V", "-d", "v"}).m_Err, "");
  const std::string l_Link = m_Root + "/" + GetParam().m_Link;
  fs::remove_all(l_Link);
  fs::create_symlink(GetParam().m_Target.empty() ? l_Link : l_Outside + "/" + GetParam().m_Target, l_Link);
  const std::vector<std::string> l_Before = Snapshot(l_Outside);
  EXPECT_RUN(Reg({"query", "HKLM", "-s"}), 0, "HKLM\n" + GetParam().m_Read, "");
  // Writes into the key behind the link, or below it, are refused, naming the link.
  const std::string l_Refused = ": " + l_Link + ": a link, refused\n";
  EXPECT_RUN(Reg({"add", "HKLM\\A\\B", "-v", "Evil", "-d", "pwned"}), 1, "",
             "KELReg: HKLM\\A\\B" + l_Refused);
  EXPECT_RUN(Reg({"import"}, "{\"Key\": \"HKLM\\\\A\\\\B\\\\Victim\", \"Values\": {\"E\": [3, \"x\"]}}"), 1,
             "", "KELReg: HKLM\\A\\B\\Victim" + l_Refused);
  // Whatever else is tried, nothing outside changes.
  for (const std::vector<std::string>& l_Args :
       std::vector<std::vector<std::string>>{{"add", "HKLM\\A\\B\\New\\Deeper"},
                                             {"delete", "HKLM\\A\\B", "-v", "V"},
                                             {"delete", "HKLM\\A\\B\\C", "-r"},
                                             {"copy", "HKLM\\A", "HKLM\\A\\B\\Copy", "-s"},
                                             {"check", "--repair"},
                                             {"delete", "HKLM\\A", "-r"}}) {
    SCOPED_TRACE(l_Args[0] + " " + l_Args[1]);
    Reg(l_Args);
    EXPECT_EQ(Snapshot(l_Outside), l_Before);
  }
  // A link below a key that is deleted went with it; one above it stays.
  EXPECT_EQ(fs::is_symlink(l_Link), !GetParam().m_Link.starts_with("HKLM/A/"));
}

INSTANTIATE_TEST_SUITE_P(Links, KELRegHostile,
                         ::testing::Values(Hostile{"KeyFileToAFile", "HKLM/A/B.json", "file.json",
                                                   "\nHKLM\\A\n\nHKLM\\A\\B\n    V    REG_SZ    precious\n"
                                                   "\nHKLM\\A\\B\\C\n    V    REG_SZ    v\n"},
                                           Hostile{"KeyFolderToAFolder", "HKLM/A/B", "dir",
                                                   "\nHKLM\\A\n\nHKLM\\A\\B\n\nHKLM\\A\\B\\Victim\n"},
                                           Hostile{"ParentFolderToAFolder", "HKLM/A", "dir",
                                                   "\nHKLM\\A\n\nHKLM\\A\\Victim\n"},
                                           Hostile{"HiveFolderToAFolder", "HKLM", "dir", "\nHKLM\\Victim\n"},
                                           Hostile{"KeyFolderLoop", "HKLM/A/B", "", "\nHKLM\\A\n"}),
                         [](const ::testing::TestParamInfo<Hostile>& iInfo) { return iInfo.param.m_Name; });

}  // namespace

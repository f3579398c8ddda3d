// The built executable, run in a private mount namespace in which a temporary registry stands at
// /etc/.Quorvane (scripts/with-registry). Statuses are counts, so every test checks its own.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

#include "ListInstalls.h"
#include "ListerRegistry.h"

extern char** environ;

namespace {

constexpr const char* s_Lister = KEL_BINARY_DIR "/KELListInstalls";
constexpr const char* s_WithRegistry = KEL_SOURCE_DIR "/scripts/with-registry";
constexpr int s_NoNamespace = 125;

struct Outcome {
  int m_Status = -1;  // exit status, or -1 when ended by a signal
  int m_Signal = 0;
  std::string m_Out;
  std::string m_Err;
};

enum class Stdout { File, Closed };

// Runs iArgv with standard output in a file (or closed) and standard error in a file. SIGPIPE is
// reset to its default in the child: this test process ignores it, and the child would inherit that.
Outcome Spawn(const std::vector<std::string>& iArgv, const std::string& iScratch,
              Stdout iStdout = Stdout::File, char* const* iEnv = environ) {
  const std::string l_OutFile = iScratch + "/stdout", l_ErrFile = iScratch + "/stderr";
  posix_spawn_file_actions_t l_Actions;
  posix_spawn_file_actions_init(&l_Actions);
  if (iStdout == Stdout::File)
    posix_spawn_file_actions_addopen(&l_Actions, 1, l_OutFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  else
    posix_spawn_file_actions_addclose(&l_Actions, 1);
  posix_spawn_file_actions_addopen(&l_Actions, 2, l_ErrFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawnattr_t l_Attr;
  posix_spawnattr_init(&l_Attr);
  sigset_t l_Default;
  sigemptyset(&l_Default);
  sigaddset(&l_Default, SIGPIPE);
  posix_spawnattr_setsigdefault(&l_Attr, &l_Default);
  posix_spawnattr_setflags(&l_Attr, POSIX_SPAWN_SETSIGDEF);
  std::vector<char*> l_Argv;
  for (const std::string& l_Arg : iArgv) l_Argv.push_back(const_cast<char*>(l_Arg.c_str()));
  l_Argv.push_back(nullptr);
  pid_t l_Pid = 0;
  Outcome l_Outcome;
  int l_Status = 0;
  if (posix_spawn(&l_Pid, l_Argv[0], &l_Actions, &l_Attr, l_Argv.data(), iEnv) == 0 &&
      waitpid(l_Pid, &l_Status, 0) == l_Pid) {
    if (WIFEXITED(l_Status)) l_Outcome.m_Status = WEXITSTATUS(l_Status);
    if (WIFSIGNALED(l_Status)) l_Outcome.m_Signal = WTERMSIG(l_Status);
  }
  posix_spawn_file_actions_destroy(&l_Actions);
  posix_spawnattr_destroy(&l_Attr);
  l_Outcome.m_Out = ListerRegistry::Read(l_OutFile);
  l_Outcome.m_Err = ListerRegistry::Read(l_ErrFile);
  return l_Outcome;
}

std::string Usage() {
  std::ostringstream l_Usage;
  WriteInstallsUsage(l_Usage);
  return l_Usage.str();
}

bool Have(const std::string& iTool) {
  return std::system(("command -v " + iTool + " >/dev/null 2>&1").c_str()) == 0;
}

class ListInstallsCommand : public ::testing::Test {
 protected:
  void SetUp() override {
    char l_Template[] = "/tmp/KELListerRun.XXXXXX";
    ASSERT_NE(::mkdtemp(l_Template), nullptr);
    m_Scratch = l_Template;
    ASSERT_EQ(::access(s_Lister, X_OK), 0) << s_Lister << " is not built";
  }
  void TearDown() override { std::filesystem::remove_all(m_Scratch); }

  // The command (or iCommand in place of it) on the test registry, in a private mount namespace.
  Outcome Run(std::vector<std::string> iArgs, Stdout iStdout = Stdout::File,
              std::vector<std::string> iCommand = {s_Lister}) {
    std::vector<std::string> l_Argv = {s_WithRegistry, m_Registry.Root()};
    l_Argv.insert(l_Argv.end(), iCommand.begin(), iCommand.end());
    l_Argv.insert(l_Argv.end(), iArgs.begin(), iArgs.end());
    Outcome l_Outcome = Spawn(l_Argv, m_Scratch, iStdout);
    if (l_Outcome.m_Status == s_NoNamespace) m_Skip = l_Outcome.m_Err;
    return l_Outcome;
  }
  std::string At(const std::string& iName) const { return m_Scratch + "/" + iName; }

  ListerRegistry m_Registry;
  std::string m_Scratch;
  std::string m_Skip;  // why no namespace could be made
};

#define SKIP_WITHOUT_NAMESPACE() \
  if (!m_Skip.empty()) GTEST_SKIP() << m_Skip

struct ArgumentCase {
  std::vector<std::string> m_Args;
  std::string m_Err;  // the whole standard error; the usage always follows on standard output
};

class ListInstallsArguments : public ListInstallsCommand,
                              public ::testing::WithParamInterface<ArgumentCase> {};

TEST_P(ListInstallsArguments, ReportShowUsageAndGiveZero) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  Outcome l_Run = Run(GetParam().m_Args);
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Run.m_Status, 0);
  EXPECT_EQ(l_Run.m_Err, GetParam().m_Err);
  EXPECT_EQ(l_Run.m_Out, Usage());
}

const std::string s_Both = "Options -xml and -json cannot be used together.\n";

INSTANTIATE_TEST_SUITE_P(
    Errors, ListInstallsArguments,
    ::testing::Values(
        ArgumentCase{{"-level"}, "Missing value behind -level option\n"},
        ArgumentCase{{"-xml", "-type"}, "Missing value behind -type option\n"},
        ArgumentCase{{"-hfxlevel"}, "Missing value behind -hfxlevel option\n"},
        ArgumentCase{{"-o"}, "Missing value behind -o option\n"},
        ArgumentCase{
            {"-level", "-json"},
            "Option -level must be followed by the level you want to filter. For instance -level B419\n"},
        ArgumentCase{
            {"-level", ""},
            "Option -level must be followed by the level you want to filter. For instance -level B419\n"},
        ArgumentCase{
            {"-type", "-h"},
            "Option -type must be followed by the installation type you want to filter. For instance -type "
            "Desktop\n"},
        ArgumentCase{{"-hfxlevel", "-o"},
                     "Option -hfxlevel must be followed by the Hotfix level you want to filter. For instance "
                     "-hfxlevel 419.2\n"},
        ArgumentCase{{"-o", "-xml"},
                     "Option -o must be followed by the path of the file that will contain the result of the "
                     "search.\n"},
        ArgumentCase{{"-LEVEL", "B419"}, "Option -LEVEL is not a valid option.\n"},
        ArgumentCase{{"--level", "B419"}, "Option --level is not a valid option.\n"},
        ArgumentCase{{"-level=B419"}, "Option -level=B419 is not a valid option.\n"},
        ArgumentCase{{"B419"}, "Option B419 is not a valid option.\n"},
        ArgumentCase{{"-xml", "-json"}, s_Both}, ArgumentCase{{"-json", "-level", "B419", "-xml"}, s_Both},
        ArgumentCase{{"-xml", "-json", "-bogus", "-also-bogus"},
                     "Option -bogus is not a valid option.\n" + s_Both},
        ArgumentCase{{"-xml", "-json", "-h"}, s_Both}, ArgumentCase{{"-h"}, ""},
        ArgumentCase{{"-level", "B419", "-json", "-h", "-bogus", "-level"}, ""},
        ArgumentCase{{"-json", "-h", "-xml"}, ""}));

TEST_F(ListInstallsCommand, WritesBothDocumentsToStandardOutputAndToFiles) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  const std::string l_Xml =
      std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<installs>\n  <install ") +
      "buildLevel=\"B419\" hfxLevel=\"419.1\" ident=\"X1\" path=\"/opt/X1\" type=\"Desktop\"/>" +
      "\n</installs>";
  const std::string l_Json =
      "{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"X1\", "
      "\"hfxLevel\": \"419.1\", \"path\": \"/opt/X1\"}]}\n";
  Outcome l_Out = Run({});
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Out.m_Status, 1);
  EXPECT_EQ(l_Out.m_Out, l_Xml);
  EXPECT_EQ(Run({"-json", "-xml"}).m_Out, Usage());
  EXPECT_EQ(Run({"-json"}).m_Out, "\n" + l_Json);
  Outcome l_ToFile = Run({"-json", "-o", At("list.json")});
  EXPECT_EQ(l_ToFile.m_Status, 1);
  EXPECT_EQ(l_ToFile.m_Out + l_ToFile.m_Err, "");
  EXPECT_EQ(ListerRegistry::Read(At("list.json")), l_Json);
  EXPECT_EQ(Run({"-xml", "-o", At("list.xml")}).m_Status, 1);
  EXPECT_EQ(ListerRegistry::Read(At("list.xml")), l_Xml);
}

TEST_F(ListInstallsCommand, FiltersSelectInstallations) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  m_Registry.AddInstall("B419", "Server", "S1", "/opt/S1");
  m_Registry.AddCommon("Desktop", "B420", "/opt/D");
  Outcome l_All = Run({"-level", "B419"});
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_All.m_Status, 2);
  Outcome l_Type = Run({"-type", "Desk*", "-hfxlevel", "UNKNOWN", "-json"});
  EXPECT_EQ(l_Type.m_Status, 1);
  EXPECT_THAT(l_Type.m_Out,
              ::testing::HasSubstr("\"buildLevel\": \"B420\", \"type\": \"Desktop\", \"ident\": \"NONE\""));
  EXPECT_EQ(Run({"-type", "Desktop", "-level", "B418"}).m_Status, 0);
}

TEST_F(ListInstallsCommand, UnopenableOutputFileGivesZero) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  Outcome l_Run = Run({"-o", m_Scratch});
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Run.m_Status, 0);
  EXPECT_EQ(l_Run.m_Out, "");
  EXPECT_EQ(l_Run.m_Err, "Opening file " + m_Scratch + " failed: Is a directory\n");
}

TEST_F(ListInstallsCommand, StatusIsTheCountModulo256) {
  for (int l_Index = 0; l_Index < 257; ++l_Index)
    m_Registry.AddInstall("B419", "T" + std::to_string(l_Index % 7), "I" + std::to_string(l_Index), "/opt");
  Outcome l_Run = Run({"-json"});
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Run.m_Status, 1);
  std::filesystem::remove_all(m_Registry.Root() + "/HKLM/" + ListerRegistry::s_Product + "B419/T0/I0");
  l_Run = Run({});
  EXPECT_EQ(l_Run.m_Status, 0);
  size_t l_Installs = 0;
  for (size_t l_At = l_Run.m_Out.find("<install "); l_At != std::string::npos;
       l_At = l_Run.m_Out.find("<install ", l_At + 1))
    ++l_Installs;
  EXPECT_EQ(l_Installs, 256u);
}

TEST_F(ListInstallsCommand, ClosedOutputEndsNormally) {
  for (int l_Index = 0; l_Index < 300; ++l_Index)
    m_Registry.AddInstall("B419", "Desktop", "I" + std::to_string(l_Index), std::string(200, 'p'));
  Outcome l_Closed = Run({}, Stdout::Closed);
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Closed.m_Signal, 0);
  EXPECT_EQ(l_Closed.m_Status, 300 % 256);
  // A reader that has gone before the first byte is written: the writes fail with EPIPE. The
  // wrapper gives the reader time to go, and passes the command's own status on.
  Outcome l_Pipe =
      Run({}, Stdout::File,
          {"/bin/bash", "-c", "set -o pipefail; { sleep 0.3; \"$0\" \"$@\"; } | true", s_Lister});
  EXPECT_EQ(l_Pipe.m_Status, 300 % 256) << "141 means the command was ended by SIGPIPE";
  EXPECT_EQ(l_Pipe.m_Err, "");
}

TEST_F(ListInstallsCommand, RegistryIsUnchangedAfterListing) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  m_Registry.AddCommon("Viewer", "B418", "/opt/V", "418.1");
  ListerRegistry::Write(m_Registry.Root() + "/HKLM/SOFTWARE/Quorvane/Q4.json",
                        "{\"Version\" : \"1.0\",\n \"Q4\": {}}");
  const std::vector<std::string> l_Before = m_Registry.Snapshot();
  Run({});
  SKIP_WITHOUT_NAMESPACE();
  Run({"-json", "-o", At("out.json")});
  EXPECT_EQ(m_Registry.Snapshot(), l_Before);
}

TEST_F(ListInstallsCommand, DocumentsValidateWithStandardTools) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/\xC3\xA9t\xC3\xA9 & <\"co'>/\xE6\x97\xA5", "419.1");
  m_Registry.AddInstall("B419", "Desktop", "X2", "C:\\Program Files\\Q4\t(x86)");
  m_Registry.AddCommon("Viewer", "B418", "");
  Outcome l_Xml = Run({"-o", At("list.xml")});
  SKIP_WITHOUT_NAMESPACE();
  ASSERT_EQ(l_Xml.m_Status, 3);
  Run({"-json", "-o", At("list.json")});
  if (Have("xmllint"))
    EXPECT_EQ(std::system(("xmllint --noout " + At("list.xml")).c_str()), 0);
  else
    std::cout << "[  SKIPPED ] xmllint check: xmllint is not installed (apt-get install libxml2-utils)\n";
  if (Have("jq"))
    EXPECT_EQ(std::system(("jq -e '.installs | length == 3' " + At("list.json") + " >/dev/null").c_str()), 0);
  else
    std::cout << "[  SKIPPED ] jq check: jq is not installed (apt-get install jq)\n";
  if (Have("python3"))
    EXPECT_EQ(std::system(("python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); "
                           "sys.exit(d[\"installs\"][2][\"path\"] is not None)' " +
                           At("list.json"))
                              .c_str()),
              0);
  else
    std::cout << "[  SKIPPED ] python3 json check: python3 is not installed\n";
}

TEST_F(ListInstallsCommand, RegistryBytesReachTheDocumentsUnchanged) {
  // Valid UTF-8 and bytes that are not UTF-8 at all, under a UTF-8 locale and with LANG unset.
  const std::string l_Path = "/opt/\xC3\xA9\xE6\x97\xA5/\xFF\xC3(\x80";
  m_Registry.AddInstall("B419", "Desktop", "X1", l_Path, "419.1");
  std::vector<std::string> l_Argv = {s_WithRegistry, m_Registry.Root(), s_Lister, "-json"};
  const std::string l_Expected =
      "\n{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": "
      "\"X1\", \"hfxLevel\": \"419.1\", \"path\": \"" +
      l_Path + "\"}]}\n";
  for (const char* l_Lang : {"LANG=en_US.UTF-8", ""}) {
    std::vector<char*> l_Env = {const_cast<char*>("PATH=/usr/sbin:/usr/bin:/sbin:/bin")};
    if (*l_Lang) l_Env.push_back(const_cast<char*>(l_Lang));
    l_Env.push_back(nullptr);
    Outcome l_Run = Spawn(l_Argv, m_Scratch, Stdout::File, l_Env.data());
    if (l_Run.m_Status == s_NoNamespace) GTEST_SKIP() << l_Run.m_Err;
    EXPECT_EQ(l_Run.m_Out, l_Expected) << (*l_Lang ? l_Lang : "LANG unset");
    EXPECT_EQ(l_Run.m_Err, "");
  }
}

}  // namespace

// The built executable, run in a private mount namespace in which a temporary registry stands at
// /etc/.Quorvane (scripts/with-registry). The status is a count: every test checks its own.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <sstream>

#include "ListInstalls.h"
#include "ListerRegistry.h"

namespace {

const std::string s_Xml =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<installs>\n  <install buildLevel=\"B419\" "
    "hfxLevel=\"419.1\" ident=\"X1\" path=\"/opt/X1\" type=\"Desktop\"/>\n</installs>";
const std::string s_Json =
    "{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"X1\", "
    "\"hfxLevel\": \"419.1\", \"path\": \"/opt/X1\"}]}\n";

std::string Quote(const std::string& iText) {
  std::string l_Quoted = "'";
  for (char l_Char : iText) l_Quoted += l_Char == '\'' ? std::string("'\\''") : std::string(1, l_Char);
  return l_Quoted + "'";
}

struct Outcome {
  int m_Status = -1;  // -1 when the shell did not end normally
  std::string m_Out, m_Err;
};

class ListInstallsCommand : public ::testing::Test {
 protected:
  // This process ignores SIGPIPE (the command's start-up); the commands run here must not inherit it.
  void SetUp() override { std::signal(SIGPIPE, SIG_DFL); }
  void TearDown() override { std::signal(SIGPIPE, SIG_IGN); }

  // Runs "iPrefix with-registry ROOT lister iArgs 2>err iStdout" in bash (standard output to a file
  // by default).
  Outcome Run(const std::vector<std::string>& iArgs, const std::string& iStdout = "",
              const std::string& iPrefix = "") {
    std::string l_Line = iPrefix + Quote(KEL_SOURCE_DIR "/scripts/with-registry") + " " +
                         Quote(m_Registry.Root()) + " " + Quote(KEL_BINARY_DIR "/KELListInstalls");
    for (const std::string& l_Arg : iArgs) l_Line += " " + Quote(l_Arg);
    l_Line += " 2>" + Quote(At("err")) + (iStdout.empty() ? " >" + Quote(At("out")) : iStdout);
    Outcome l_Outcome;
    int l_Wait = std::system(("bash -c " + Quote("set -o pipefail; " + l_Line)).c_str());
    if (WIFEXITED(l_Wait)) l_Outcome.m_Status = WEXITSTATUS(l_Wait);
    l_Outcome.m_Out = ReadFile(At("out"));
    l_Outcome.m_Err = ReadFile(At("err"));
    if (l_Outcome.m_Status == 125) m_Skip = l_Outcome.m_Err;  // no namespace could be made
    return l_Outcome;
  }
  std::string At(const std::string& iName) const { return m_Registry.Root() + "/" + iName; }
  // Runs the check with a standard client, or says which one is missing.
  static void WithClient(const char* iTool, const std::string& iCheck) {
    if (std::system(("command -v " + std::string(iTool) + " >/dev/null").c_str()) != 0)
      std::cout << "[  SKIPPED ] " << iTool << " is not installed; its check did not run\n";
    else
      EXPECT_EQ(std::system(iCheck.c_str()), 0) << iCheck;
  }

  ListerRegistry m_Registry;
  std::string m_Skip;
};

#define SKIP_WITHOUT_NAMESPACE() \
  if (!m_Skip.empty()) GTEST_SKIP() << m_Skip

// Arguments and the whole standard error they give; the usage follows on standard output.
using ArgumentCase = std::pair<std::vector<std::string>, std::string>;
class ListInstallsArguments : public ListInstallsCommand,
                              public ::testing::WithParamInterface<ArgumentCase> {};

TEST_P(ListInstallsArguments, ReportThenShowTheUsageWithStatusZero) {
  m_Registry.AddInstall("B419/Desktop/X1", "/opt/X1", "419.1");
  Outcome l_Run = Run(GetParam().first);
  SKIP_WITHOUT_NAMESPACE();
  std::ostringstream l_Usage;
  WriteInstallsUsage(l_Usage);
  EXPECT_EQ(l_Run.m_Status, 0);
  EXPECT_EQ(l_Run.m_Err, GetParam().second);
  EXPECT_EQ(l_Run.m_Out, l_Usage.str());
}

const std::string s_Both = "Options -xml and -json cannot be used together.\n";

INSTANTIATE_TEST_SUITE_P(
    Errors, ListInstallsArguments,
    ::testing::Values(
        ArgumentCase{{"-xml", "-level"}, "Missing value behind -level option\n"},
        ArgumentCase{{"-o"}, "Missing value behind -o option\n"},
        ArgumentCase{
            {"-level", ""},
            "Option -level must be followed by the level you want to filter. For instance -level B419\n"},
        ArgumentCase{
            {"-type", "-h"},
            "Option -type must be followed by the installation type you want to filter. For instance -type "
            "Desktop\n"},
        ArgumentCase{{"-hfxlevel", "-o"},
                     "Option -hfxlevel must be followed by the Hotfix level you want to filter. For instance "
                     "-hfxlevel "
                     "419.2\n"},
        ArgumentCase{{"-o", "-json"},
                     "Option -o must be followed by the path of the file that will contain the result of the "
                     "search.\n"},
        ArgumentCase{{"--level=B419"}, "Option --level=B419 is not a valid option.\n"},
        ArgumentCase{{"-xml", "-json", "-bogus", "-bogus2"},
                     "Option -bogus is not a valid option.\n" + s_Both},
        ArgumentCase{{"-xml", "-json", "-h"}, s_Both},
        ArgumentCase{{"-level", "B", "-json", "-h", "-bogus", "-o"}, ""}));

TEST_F(ListInstallsCommand, WritesEitherDocumentToStandardOutputOrToAFile) {
  m_Registry.AddInstall("B419/Desktop/X1", "/opt/X1", "419.1");
  m_Registry.AddInstall("B419/Server/S1", "/opt/S1");
  Outcome l_Xml =
      Run({"-level", "A", "-level", "B419", "-type", "Desk*", "-xml", "-xml"});  // the last value wins
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Xml.m_Status, 1);
  EXPECT_EQ(l_Xml.m_Out, s_Xml);
  EXPECT_EQ(Run({"-hfxlevel", "419.1", "-json"}).m_Out, "\n" + s_Json);
  EXPECT_EQ(Run({"-type", "-Desk"}).m_Status, 0);  // a value may begin with "-"
  WriteFile(At("list"), std::string(4096, 'x'));
  EXPECT_EQ(Run({"-json", "-type", "Desktop", "-o", At("list")}).m_Out, "");
  EXPECT_EQ(ReadFile(At("list")), s_Json);
  EXPECT_EQ(Run({"-o", At("list"), "-type", "Desktop"}).m_Status, 1);
  EXPECT_EQ(ReadFile(At("list")), s_Xml);
  for (const auto& [l_Bad, l_Errno] :
       {std::pair(m_Registry.Root(), EISDIR), std::pair(At("no/list"), ENOENT)}) {
    Outcome l_Failed = Run({"-json", "-o", l_Bad});
    EXPECT_EQ(l_Failed.m_Status, 0);
    EXPECT_EQ(l_Failed.m_Out + l_Failed.m_Err,
              "Opening file " + l_Bad + " failed: " + std::strerror(l_Errno) + "\n");
  }
}

TEST_F(ListInstallsCommand, StatusIsTheCountAsItStandsAndAClosedOutputEndsNoProcess) {
  for (int l_Index = 0; l_Index < 257; ++l_Index)
    m_Registry.AddInstall("B419/T" + std::to_string(l_Index % 5) + "/I" + std::to_string(l_Index), "/opt");
  EXPECT_EQ(Run({"-json"}).m_Status, 1);
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(Run({}, " >&-").m_Status, 1);
  // The reader is gone before the first byte: writes fail with EPIPE; 141 would mean SIGPIPE.
  EXPECT_EQ(Run({}, " ) | true", "( sleep 0.3; exec ").m_Status, 1);
  std::filesystem::remove_all(At("HKLM/SOFTWARE/Quorvane/Q4/B419/T0/I0"));
  Outcome l_Xml = Run({});
  EXPECT_EQ(l_Xml.m_Status, 0);
  EXPECT_EQ(std::count(l_Xml.m_Out.begin(), l_Xml.m_Out.end(), '\n'), 256 + 2);
}

// With the registry's or the parser's trace channel on, the walk makes every open, read and parse
// it describes, whatever the filters: each installation key is opened once per value read.
TEST_F(ListInstallsCommand, TracedWalkShowsEveryKeyOpenedOncePerValue) {
  m_Registry.AddInstall("B419/Desktop/X1", "/opt/X1", "419.1");
  m_Registry.AddInstall("B420/Kiosk/X2", "/opt/X2");
  m_Registry.AddCommon("Viewer", "B418", "/opt/V");
  // Q4, Q4_Common, two levels, two types, 2 x 2 identifier reads, 3 common reads after the open.
  const std::pair<std::string, std::string> l_Lines[] = {{"KELSYSREGKEY", "] KELSYSREGKEY:   OpenKeyReal"},
                                                         {"KELSysJSON", "JSON Pair string 'Version'"}};
  const int l_Expected[] = {14, 8};
  for (size_t l_Case = 0; l_Case < 2; ++l_Case) {
    for (const std::vector<std::string>& l_Args :
         {std::vector<std::string>{}, std::vector<std::string>{"-level", "B419", "-type", "Nothing"}}) {
      Outcome l_Run = Run(l_Args, "", "KELSysTrace=" + Quote("-e " + l_Lines[l_Case].first) + " ");
      SKIP_WITHOUT_NAMESPACE();
      EXPECT_EQ(l_Run.m_Status, l_Args.empty() ? 3 : 0);
      int l_Count = 0;
      for (size_t l_At = 0; (l_At = l_Run.m_Err.find(l_Lines[l_Case].second, l_At)) != std::string::npos;
           ++l_At)
        ++l_Count;
      EXPECT_EQ(l_Count, l_Expected[l_Case])
          << l_Lines[l_Case].first << " with " << l_Args.size() << " arguments";
    }
  }
}

TEST_F(ListInstallsCommand, ListingChangesNoFileAndOutputsValidateWithStandardClients) {
  m_Registry.AddInstall("B419/Desktop/X1", "/opt/\xC3\xA9t\xC3\xA9 & <\\\"co'>/\xE6\x97\xA5\t\\\\\xFF",
                        "419.1");
  m_Registry.AddCommon("Viewer", "B418", "");
  const std::vector<std::string> l_Before = m_Registry.Snapshot();
  Outcome l_Json = Run({"-json"}, "", "LANG=en_US.UTF-8 ");
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Json.m_Status, 2);
  EXPECT_NE(
      l_Json.m_Out.find("\"path\": \"/opt/\xC3\xA9t\xC3\xA9 & <\\\\\\\"co'>/\xE6\x97\xA5\\t\\\\\\\\\xFF\""),
      std::string::npos);
  EXPECT_EQ(Run({"-json"}, "", "unset LANG LC_ALL; ").m_Out, l_Json.m_Out);
  EXPECT_EQ(m_Registry.Snapshot(), l_Before);
  // The clients get the documents of a clean fixture: only valid UTF-8.
  m_Registry.AddInstall("B419/Desktop/X1", "/opt/\xC3\xA9t\xC3\xA9 & <\\\"co'>/\xE6\x97\xA5\t\\\\", "419.1");
  WriteFile(At("list.json"), Run({"-json"}).m_Out);
  WriteFile(At("list.xml"), Run({}).m_Out);
  WithClient("xmllint", "xmllint --noout " + At("list.xml"));
  WithClient("jq", "jq -e '.installs[1].path == null' " + At("list.json") + " >/dev/null");
}

}  // namespace

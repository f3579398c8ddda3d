// The built executable, run in a private mount namespace in which a temporary registry stands at
// /etc/.Quorvane (scripts/with-registry): what only a whole process shows. The status is a count:
// every test checks its own.
#include "ListerRegistry.h"

class ListInstallsCommand : public ListerTest {
 protected:
  // Runs "iPrefix with-registry ROOT lister iArgs iStdout" in bash (standard output and error to
  // files unless iStdout says otherwise).
  KELTestOutcome Run(const std::vector<std::string>& iArgs, const std::string& iStdout = "",
                     const std::string& iPrefix = "") {
    std::string l_Line = iPrefix + KELTestQuote(KEL_SOURCE_DIR "/scripts/with-registry") + " " +
                         KELTestQuote(Root()) + " " + KELTestQuote(KEL_BINARY_DIR "/KELListInstalls");
    for (const std::string& l_Arg : iArgs) l_Line += " " + KELTestQuote(l_Arg);
    KELTestOutcome l_Outcome =
        KELTestRun(Root(), {"/bin/bash", "-c", "set -o pipefail; " + l_Line + iStdout});
    if (l_Outcome.m_Status == 125) m_Skip = l_Outcome.m_Err;  // no namespace could be made
    return l_Outcome;
  }
  // Runs the check with a standard client, or says which one is missing.
  static void WithClient(const char* iTool, const std::string& iCheck) {
    if (std::system(("command -v " + std::string(iTool) + " >/dev/null").c_str()) != 0)
      std::cout << "[  SKIPPED ] " << iTool << " is not installed; its check did not run\n";
    else
      EXPECT_EQ(std::system(iCheck.c_str()), 0) << iCheck;
  }

  std::string m_Skip;
};

#define SKIP_WITHOUT_NAMESPACE() \
  if (!m_Skip.empty()) GTEST_SKIP() << m_Skip

TEST_F(ListInstallsCommand, StatusIsTheCountAsItStandsAndAClosedOutputEndsNoProcess) {
  for (int l_Index = 0; l_Index < 257; ++l_Index)
    AddInstall("B419/T" + std::to_string(l_Index % 5) + "/I" + std::to_string(l_Index), "/opt");
  EXPECT_EQ(Run({"-json"}).m_Status, 1);
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(Run({}, " >&-").m_Status, 1);
  // The reader is gone before the first byte: writes fail with EPIPE; 141 would mean SIGPIPE.
  EXPECT_EQ(Run({}, " ) | true", "( sleep 0.3; exec ").m_Status, 1);
  std::filesystem::remove_all(At("HKLM/SOFTWARE/Quorvane/Q4/B419/T0/I0"));
  KELTestOutcome l_Xml = Run({});
  EXPECT_EQ(l_Xml.m_Status, 0);
  EXPECT_EQ(std::count(l_Xml.m_Out.begin(), l_Xml.m_Out.end(), '\n'), 256 + 2);
}

// With the registry's or the parser's trace channel on, the walk makes every open, read and parse
// it describes, whatever the filters: each installation key is opened once per value read.
TEST_F(ListInstallsCommand, TracedWalkShowsEveryKeyOpenedOncePerValue) {
  AddInstall("B419/Desktop/X1", "/opt/X1", "419.1");
  AddInstall("B420/Kiosk/X2", "/opt/X2");
  AddCommon("Viewer", "B418", "/opt/V");
  // Q4, Q4_Common, two levels, two types, 2 x 2 identifier reads, 3 common reads after the open.
  for (const auto& [l_Channel, l_Line, l_Expected] :
       {std::tuple{"KELSYSREGKEY", "] KELSYSREGKEY:   OpenKeyReal", 14},
        std::tuple{"KELSysJSON", "JSON Pair string 'Version'", 8}}) {
    for (const std::vector<std::string>& l_Args :
         {std::vector<std::string>{}, std::vector<std::string>{"-level", "B419", "-type", "Nothing"}}) {
      KELTestOutcome l_Run =
          Run(l_Args, "", "KELSysTrace=" + KELTestQuote(std::string("-e ") + l_Channel) + " ");
      SKIP_WITHOUT_NAMESPACE();
      EXPECT_EQ(l_Run.m_Status, l_Args.empty() ? 3 : 0);
      int l_Count = 0;
      for (size_t l_At = 0; (l_At = l_Run.m_Err.find(l_Line, l_At)) != std::string::npos; ++l_At) ++l_Count;
      EXPECT_EQ(l_Count, l_Expected) << l_Channel << " with " << l_Args.size() << " arguments";
    }
  }
}

TEST_F(ListInstallsCommand, ListingChangesNoFileAndOutputsValidateWithStandardClients) {
  const std::string l_Path = "/opt/\xC3\xA9t\xC3\xA9 & <\\\"co'>/\xE6\x97\xA5\t\\\\";
  AddInstall("B419/Desktop/X1", l_Path + "\xFF", "419.1");
  AddCommon("Viewer", "B418", "");
  const std::vector<std::string> l_Before = KELTestSnapshot(At("HKLM"), true);
  KELTestOutcome l_Json = Run({"-json"}, "", "LANG=en_US.UTF-8 ");
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Json.m_Status, 2);
  EXPECT_NE(
      l_Json.m_Out.find("\"path\": \"/opt/\xC3\xA9t\xC3\xA9 & <\\\\\\\"co'>/\xE6\x97\xA5\\t\\\\\\\\\xFF\""),
      std::string::npos);
  EXPECT_EQ(Run({"-json"}, "", "unset LANG LC_ALL; ").m_Out, l_Json.m_Out);
  EXPECT_EQ(KELTestSnapshot(At("HKLM"), true), l_Before);
  // The clients get the documents of a clean fixture: only valid UTF-8.
  AddInstall("B419/Desktop/X1", l_Path, "419.1");
  Write("list.json", Run({"-json"}).m_Out);
  Write("list.xml", Run({}).m_Out);
  WithClient("xmllint", "xmllint --noout " + At("list.xml"));
  WithClient("jq", "jq -e '.installs[1].path == null' " + At("list.json") + " >/dev/null");
}

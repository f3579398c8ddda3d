#include "KELSysTraceManagerBase.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KELSysTraceTestSupport.h"

namespace {

// "name=output[attribute=value,...]" for every channel, in name order.
std::string Describe(const KELSysTraceManagerBase& iManager) {
  std::string l_Text;
  for (const std::string& l_Name : iManager.GetChannelNames()) {
    const KELSysTraceSettings& l_Set = *iManager.GetSettings(l_Name);
    l_Text.append(l_Text.empty() ? "" : " ").append(l_Name).append("=");
    l_Text.append(l_Set.m_Kind == KELSysTraceOutputKind::System ? "S:" : "").append(l_Set.m_Output);
    char l_Open = '[';
    for (int l_A = 0; l_A < KELSysTraceAttrCount; ++l_A) {
      if (l_Set.Get(l_A) == 0) continue;
      l_Text.append(1, l_Open).append(std::to_string(l_A)).append("=").append(std::to_string(l_Set.Get(l_A)));
      l_Open = ',';
    }
    if (l_Open == ',') l_Text.append("]");
  }
  return l_Text;
}

// Short and long specifications, and the channels with their settings that they give. Every separator
// splits specifications; a later one takes the output chosen last, also that of a long specification
// before it; a bad specification does not spoil its neighbours.
TEST(KELSysTraceManagerBase, ParsesSpecifications) {
  using Case = std::pair<const char*, const char*>;
  for (const auto& [l_Variable, l_Expected] :
       {Case{"KELSysJSON", "KELSysJSON=STDERR"},
        Case{"-o KELSYSREGKEY", "KELSYSREGKEY=STDOUT"},
        Case{"-O A -E B -e C", "A=STDOUT B=STDERR C=STDERR"},
        Case{"-o A,B", "A=STDOUT B=STDOUT"},
        Case{"-o A;-e B", "A=STDOUT B=STDERR"},
        Case{"-o:A", "A=STDOUT"},
        Case{"-o A|B", "A=STDOUT B=STDOUT"},
        Case{"-o\tA B", "A=STDOUT B=STDOUT"},
        Case{"-Ftrace.log A -O B", "A=trace.log B=STDOUT"},
        Case{"-Sapp A", "A=S:app"},
        Case{"-I17 -L2 -M80 -N --local-time A", "A=STDERR[4=1,8=2,9=17,10=80,12=1]"},
        Case{"A -I 5 B", "A=STDERR[9=5] B=STDERR[9=5]"},
        Case{"-I0 -L0 A", "A=STDERR"},
        Case{"-o A,-e A", "A=STDERR"},
        Case{"-o", ""},
        Case{" ,;:| ", ""},
        Case{"-Q A,B", "B=STDERR"},
        Case{"--name A --file x.log --local-time --rotate-file-size 64 --rotate-file-count 11",
             "A=x.log[4=1,12=1,13=11,14=64]"},
        Case{"--name=A -o", "A=STDOUT[4=1]"},
        Case{"--na A --stdo", "A=STDOUT[4=1]"},
        Case{"--name A -oe", "A=STDERR[4=1]"},
        Case{"--name A --name B --stdout", "A=STDOUT[4=1] B=STDOUT[4=1]"},
        Case{"--name A --file t.trc,B", "A=t.trc[4=1] B=t.trc"}}) {
    KELSysTraceManagerBase l_Manager;
    l_Manager.AddSpecifications(l_Variable);
    EXPECT_EQ(Describe(l_Manager), l_Expected) << "KELSysTrace=" << l_Variable;
  }
}

TEST(KELSysTraceManagerBase, IgnoresWhatNeitherSyntaxAccepts) {
  for (const char* l_Spec : {"-X A", "-F A", "-Iabc A", "-L A", "-I99999999999 A", "-Nx A", "- A",
                             "--name A --std", "--name A B", "--name", "--name A --rotate-file-count 0",
                             "--name A --rotate-file-count 10001", "--name A --rotate-file-size 0",
                             "--name A --rotate-file-size=x", "--name A --local-time=1", "--name= -o"}) {
    KELSysTraceManagerBase l_Manager;
    EXPECT_EQ(l_Manager.AddSpecifications(l_Spec), 0) << l_Spec;
    EXPECT_FALSE(l_Manager.HasChannels()) << l_Spec;
  }
}

TEST(KELSysTraceManagerBase, LimitsFileNamesAndSettings) {
  KELSysTraceManagerBase l_Manager;
  l_Manager.AddSpecifications(("-F" + std::string(70, 'n') + " A").c_str());
  EXPECT_EQ(l_Manager.GetSettings("A")->m_Output, std::string(63, 'n'));

  EXPECT_TRUE(l_Manager.AddSpecification(std::string(KELSysTraceManagerBase::kMaxSetting, 'B')));
  EXPECT_FALSE(l_Manager.AddSpecification(std::string(KELSysTraceManagerBase::kMaxSetting + 1, 'C')));
  EXPECT_FALSE(l_Manager.SetAttribute("A", KELSysTraceAttrCount, 1));
  EXPECT_TRUE(l_Manager.SetAttribute("A", KELSysTraceAttrLevel, 2));
  EXPECT_EQ(l_Manager.GetSettings("A")->Get(KELSysTraceAttrLevel), 2u);
}

TEST(KELSysTraceManagerBase, RecognisesOptionFileNames) {
  for (const char* l_Name :
       {"OPFILE.a", "opfile.trace", "x.option", "x.OPTIONS", "x.optionfile", "a.b.Option1"}) {
    EXPECT_TRUE(KELSysTraceManagerBase::IsOptionFileName(l_Name)) << l_Name;
  }
  for (const char* l_Name : {"OPFILE", "xOPFILE.a", "x.optio", "x.opt", "a.option.bak", "option", ""}) {
    EXPECT_FALSE(KELSysTraceManagerBase::IsOptionFileName(l_Name)) << l_Name;
  }
}

TEST(KELSysTraceManagerBase, LoadsOptionFiles) {
  KELSysTraceTempDir l_Dir;
  l_Dir.Write("OPFILE.1", std::string("# comment\n\n  -o A\n-I5 -L20 B\n").append(9000, 'x').append("\nE"));
  l_Dir.Write("b.options", "--name C --file c.trc\n");
  l_Dir.Write("c.txt", "D\n");
  mkdir((l_Dir.Path() + "/sub.option").c_str(), 0700);
  KELSysTraceManagerBase l_Manager;
  // A, B, E from the first file, C from the second; the long line, the text file and the folder are not read.
  EXPECT_EQ(l_Manager.LoadOptionFiles(l_Dir.Path()), 4);
  EXPECT_EQ(Describe(l_Manager), "A=STDOUT B=STDOUT[9=5] C=c.trc[4=1] E=STDOUT");
  EXPECT_EQ(l_Manager.LoadOptionFiles(l_Dir.Path() + "/missing"), 0);
}

}  // namespace

// Where traces go and which channels exist: the trace folders, the settings read from the variable
// and from option files, and the manager that builds channels from them.
#include "KELSysTraceManager.h"

#include <sys/stat.h>

#include "KELSysTraceManagerBase.h"
#include "KELSysTraceTestSupport.h"

class KELSysMORTraceTest : public KELSysTraceTest {
 protected:
  KELSysMORTraceTest() {
    for (const char* l_Name : {"a", "b"}) mkdir(At(l_Name).c_str(), 0755);
    Write("file", "");
  }
  std::string Base(std::map<std::string, std::string> iVars) const {
    std::string l_Base = "(none)";
    KELSysMORTrace(KELSysTraceMakeEnv(std::move(iVars)), nullptr).FindTraceBase(l_Base);
    return l_Base;
  }
  // iFolder and, when it is a folder, its mode in octal.
  static std::string WithMode(const std::string& iFolder) {
    struct stat l_St;
    char l_Mode[16] = "";
    if (stat(iFolder.c_str(), &l_St) == 0 && S_ISDIR(l_St.st_mode))
      snprintf(l_Mode, 16, " %o", l_St.st_mode & 07777);
    return iFolder + l_Mode;
  }
};

TEST_F(KELSysMORTraceTest, ChoosesTraceBaseInOrderAndCreatesPrivateFoldersOrFails) {
  EXPECT_EQ(Base({{"MORTraceDir", At("a")}, {"MORTemp", At("b")}, {"PWD", At("c")}}), At("a"));
  EXPECT_EQ(Base({{"MORTraceDir", At("none")}, {"MORTemp", At("b")}, {"PWD", At("c")}}), At("b"));
  EXPECT_EQ(Base({{"MORTraceDir", ""}, {"MORTemp", At("none")}, {"PWD", At("c")}}), At("c"));
  EXPECT_EQ(Base({{"PWD", ""}}), "/tmp");
  EXPECT_EQ(Base({}), "/tmp");
  EXPECT_EQ(Base({{"MORTraceDir", Path() + "//a/./"}}), At("a"));

  auto l_Clock = std::make_shared<KELSysTraceFixedClock>();
  KELSysMORTrace l_Places(KELSysTraceMakeEnv({{"MORTraceDir", At("a") + "/"}}), l_Clock);
  std::string l_Folder, l_Utc, l_Local;
  ASSERT_EQ(l_Places.GetTraceFolder(l_Folder), 0);
  EXPECT_EQ(WithMode(l_Folder), At("a/KELSysTrace") + " 700");
  ASSERT_EQ(l_Places.GetProcessFolder(false, l_Utc), 0);
  EXPECT_EQ(WithMode(l_Utc), At("a/KELSysTrace/D20240501_T102030") + KELSysTracePidPart() + " 700");
  // The start time is taken once: a later clock does not rename the folder.
  l_Clock->m_Seconds += 3600;
  ASSERT_EQ(l_Places.GetProcessFolder(true, l_Local), 0);
  EXPECT_EQ(l_Local, At("a/KELSysTrace/D20240501_T122030") + KELSysTracePidPart());
  // An existing folder is taken as it is; a time that cannot be broken down stamps it in seconds.
  l_Clock->m_BreakDown = false;
  KELSysMORTrace l_Again(KELSysTraceMakeEnv({{"MORTraceDir", At("a")}}), l_Clock);
  ASSERT_EQ(l_Again.GetProcessFolder(false, l_Folder), 0);
  EXPECT_EQ(l_Folder, At("a/KELSysTrace/1714562430") + KELSysTracePidPart());

  KELSysMORTrace l_Blocked(KELSysTraceMakeEnv({{"MORTraceDir", At("file")}}), nullptr);
  l_Folder = "unchanged";
  EXPECT_EQ(l_Blocked.GetTraceFolder(l_Folder), -1);
  EXPECT_EQ(l_Blocked.GetProcessFolder(false, l_Folder), -1);
  EXPECT_EQ(l_Folder, "unchanged");
}

TEST(KELSysMORTrace, NormalizesPaths) {
  const std::pair<const char*, const char*> l_Cases[] = {
      {"/a//b/./c/", "/a/b/c"}, {"/../a", "/a"}, {"a/../../b", "../b"}, {"", "."}, {"/", "/"},
      {"a/b/..", "a"},          {"./", "."}};
  for (auto [l_In, l_Out] : l_Cases) EXPECT_EQ(KELSysMORTrace::Normalize(l_In), l_Out) << l_In;
}

// " name=output[attribute=value,...]" for every channel, in name order.
static std::string Describe(const KELSysTraceManagerBase& iManager) {
  std::string l_Text;
  for (const std::string& l_Name : iManager.GetChannelNames()) {
    const KELSysTraceSettings& l_Set = *iManager.GetSettings(l_Name);
    std::string l_Attributes;
    for (int l_A = 0; l_A < KELSysTraceAttrCount; ++l_A)
      if (l_Set.Get(l_A) != 0)
        l_Attributes += "," + std::to_string(l_A) + "=" + std::to_string(l_Set.Get(l_A));
    l_Text += " " + l_Name + "=" + (l_Set.m_Kind == KELSysTraceOutputKind::System ? "S:" : "") +
              l_Set.m_Output + (l_Attributes.empty() ? "" : "[" + l_Attributes.substr(1) + "]");
  }
  return l_Text;
}

// The short and the long syntax of the trace variable: "variable => entries accepted, channels with
// their settings". Every separator splits entries; a later entry takes the output chosen last, also
// that of a long entry before it; a bad entry does not spoil its neighbours. Then what neither
// syntax accepts, which gives nothing ("0").
TEST(KELSysTraceManagerBase, ParsesTheVariable) {
  for (const std::string l_Case :
       {"KELSysJSON => 1 KELSysJSON=STDERR", "-o KELSYSREGKEY => 1 KELSYSREGKEY=STDOUT",
        "-O A -E B -e C => 1 A=STDOUT B=STDERR C=STDERR", "-o A,B => 2 A=STDOUT B=STDOUT",
        "-o A;-e B => 2 A=STDOUT B=STDERR", "-o:A => 2 A=STDOUT", "-o A|B => 2 A=STDOUT B=STDOUT",
        "-o\tA B => 1 A=STDOUT B=STDOUT", "-Ftrace.log A -O B => 1 A=trace.log B=STDOUT",
        "-Sapp A => 1 A=S:app", "-I17 -L2 -M80 -N --local-time A => 1 A=STDERR[4=1,8=2,9=17,10=80,12=1]",
        "A -I 5 B => 1 A=STDERR[9=5] B=STDERR[9=5]", "-I0 -L0 A => 1 A=STDERR",
        // Entries that meet one another, and the long syntax.
        "-o A,-e A => 2 A=STDERR", "-o => 1", " ,;:|  => 2", "-Q A,B => 1 B=STDERR",
        "--name A --file x --local-time --rotate-file-size 64 => 1 A=x[4=1,12=1,14=64]",
        "--name A --rotate-file-count 11 => 1 A=STDERR[4=1,13=11]", "--name=A -o => 1 A=STDOUT[4=1]",
        "--na A --stdo => 1 A=STDOUT[4=1]", "--name A -oe => 1 A=STDERR[4=1]",
        "--name A --name B --stdout => 1 A=STDOUT[4=1] B=STDOUT[4=1]",
        "--name A --file t.trc,B => 2 A=t.trc[4=1] B=t.trc",
        // What neither syntax accepts.
        "-X A", "-F A", "-Iabc A", "-L A", "-I99999999999 A", "-Nx A", "- A", "--name A --std", "--name A B",
        "--name", "--name A --rotate-file-count 0", "--name A --rotate-file-count 10001",
        "--name A --rotate-file-size 0", "--name A --rotate-file-size=x", "--name A --local-time=1",
        "--name= -o"}) {
    const size_t l_Arrow = l_Case.find(" => ");
    const std::string l_Variable = l_Case.substr(0, l_Arrow);
    const std::string l_Expected = l_Arrow == std::string::npos ? "0" : l_Case.substr(l_Arrow + 4);
    KELSysTraceManagerBase l_Manager;
    const int l_Accepted = l_Manager.AddSpecifications(l_Variable.c_str());
    EXPECT_EQ(std::to_string(l_Accepted) + Describe(l_Manager), l_Expected) << "KELSysTrace=" << l_Variable;
    EXPECT_EQ(l_Manager.HasChannels(), l_Expected.find('=') != std::string::npos) << l_Variable;
  }
}

TEST(KELSysTraceManagerBase, LimitsFileNamesAndSettingsAndRecognisesOptionFileNames) {
  KELSysTraceManagerBase l_Manager;
  l_Manager.AddSpecifications(("-F" + std::string(70, 'n') + " A").c_str());
  EXPECT_EQ(l_Manager.GetSettings("A")->m_Output, std::string(63, 'n'));
  EXPECT_TRUE(l_Manager.AddSpecification(std::string(KELSysTraceManagerBase::kMaxSetting, 'B')));
  EXPECT_FALSE(l_Manager.AddSpecification(std::string(KELSysTraceManagerBase::kMaxSetting + 1, 'C')));
  EXPECT_FALSE(l_Manager.SetAttribute("A", KELSysTraceAttrCount, 1));
  EXPECT_TRUE(l_Manager.SetAttribute("A", KELSysTraceAttrLevel, 2));
  EXPECT_EQ(l_Manager.GetSettings("A")->Get(KELSysTraceAttrLevel), 2u);

  std::string l_Options;
  for (const char* l_Name : {"OPFILE.a", "opfile.trace", "x.option", "x.OPTIONS", "x.optionfile",
                             "a.b.Option1", "OPFILE", "xOPFILE.a", "x.optio", "a.option.bak", ""})
    if (KELSysTraceManagerBase::IsOptionFileName(l_Name)) l_Options.append(l_Name).append(" ");
  EXPECT_EQ(l_Options, "OPFILE.a opfile.trace x.option x.OPTIONS x.optionfile a.b.Option1 ");
}

TEST_F(KELSysTraceTest, LoadsOptionFiles) {
  Write("OPFILE.1", std::string("# comment\n\n  -o A\n-I5 -L20 B\n").append(9000, 'x').append("\nE"));
  Write("b.options", "--name C --file c.trc\n");
  Write("c.txt", "D\n");
  mkdir(At("sub.option").c_str(), 0700);
  KELSysTraceManagerBase l_Manager;
  // A, B, E from the first file, C from the second; the long line, the text file and the folder are not read.
  EXPECT_EQ(l_Manager.LoadOptionFiles(Path()), 4);
  EXPECT_EQ(Describe(l_Manager), " A=STDOUT B=STDOUT[9=5] C=c.trc[4=1] E=STDOUT");
  EXPECT_EQ(l_Manager.LoadOptionFiles(At("missing")), 0);
}

class KELSysTraceManagerTest : public KELSysTraceTest {
 protected:
  std::unique_ptr<KELSysTraceManager> Make(const char* iVariable) {
    return std::make_unique<KELSysTraceManager>(iVariable, KELSysTraceMakeEnv({{"MORTraceDir", Path()}}),
                                                m_Clock);
  }
  const std::string m_Folder = std::string("/KELSysTrace/D20240501_T102030").append(KELSysTracePidPart());
  std::shared_ptr<KELSysTraceFixedClock> m_Clock = std::make_shared<KELSysTraceFixedClock>();
};

// A channel is made once, with the layout its settings give, and only when the variable (or,
// once the variable is set, an option file) names it; standard error needs no trace folder.
TEST_F(KELSysTraceManagerTest, BuildsEnabledChannelsOnce) {
  for (const char* l_Variable : {static_cast<const char*>(nullptr), "", "--name Other --file o.trc"})
    EXPECT_EQ(Make(l_Variable)->Find("KELSYSREGKEY"), nullptr) << (l_Variable ? l_Variable : "(unset)");
  auto l_Manager = Make("-I16 -L2 -M3 -N --local-time A");
  KELSysTrace* l_Trace = l_Manager->Find("A");
  ASSERT_NE(l_Trace, nullptr);
  EXPECT_EQ(l_Manager->Find("A"), l_Trace);
  const KELSysTraceLayout& l_Layout = l_Trace->GetLayout();
  EXPECT_EQ(l_Layout.m_PrefixFlags, unsigned(KELSysTracePrefixThread | KELSysTracePrefixTime));
  EXPECT_EQ(l_Layout.m_MaxLevel, int(KELSysTraceWarning));
  EXPECT_EQ(l_Layout.m_MaxText, 3u);
  EXPECT_TRUE(l_Layout.m_LocalTime);
  EXPECT_EQ(Tree(), "");
  Write("KELSysTrace/OPFILE.one", "-o Z\n");
  EXPECT_EQ(Make(nullptr)->Find("Z"), nullptr);
  EXPECT_NE(Make("")->Find("Z"), nullptr);
}

// Channels naming one file share it; rotation sizes are in KiB: two lines do not fit in 1024 bytes,
// and the third wraps around to the first file, emptied.
TEST_F(KELSysTraceManagerTest, WritesFilesInTheProcessFolder) {
  auto l_Manager =
      Make("--name A --file a.trc,B;--name R --file r.log --rotate-file-count 2 --rotate-file-size 1");
  l_Manager->Find("A")->Print(KELSysTraceDebug, "one\n");
  l_Manager->Find("B")->Print(KELSysTraceInfo, "two\n");
  EXPECT_EQ(Read(m_Folder + "/a.trc"), "[2024-05-01T10:20:30.456Z] [D] A: one\n[I] B: two\n");
  std::string l_Text(600, 'x');
  for (int l_I = 0; l_I < 3; ++l_I) l_Manager->Find("R")->Print(KELSysTraceDebug, "%s\n", l_Text.c_str());
  EXPECT_EQ(Tree(), "/KELSysTrace\n" + m_Folder + "\n" + m_Folder + "/a.trc\n" + m_Folder + "/r.1.log\n" +
                        m_Folder + "/r.2.log\n");
  const std::string l_Line = "[2024-05-01T10:20:30.456Z] [D] R: " + l_Text + "\n";
  EXPECT_EQ(Read(m_Folder + "/r.1.log") + Read(m_Folder + "/r.2.log"), l_Line + l_Line);
}

// The whole command in-process, against a temporary registry seen through the test root.
#include <cstring>
#include <sstream>

#include "DiscoverInstalls.h"
#include "KELSysRegTestRoot.h"
#include "ListInstalls.h"
#include "ListerRegistry.h"

const std::string s_Xml =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<installs>\n  <install buildLevel=\"B419\" "
    "hfxLevel=\"419.1\" ident=\"X1\" path=\"/opt/X1\" type=\"Desktop\"/>\n</installs>";
const std::string s_Json =
    "{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"X1\", "
    "\"hfxLevel\": \"419.1\", \"path\": \"/opt/X1\"}]}\n";

class ListInstallsTest : public ListerTest {
 protected:
  ListInstallsTest() { KELSysRegSetRootForTest(Root().c_str()); }
  ~ListInstallsTest() override { KELSysRegSetRootForTest(nullptr); }

  // Standard output of the command, whose status must be iStatus and standard error iErr.
  static std::string Run(std::vector<const char*> iArgs, int64_t iStatus, const std::string& iErr = "") {
    iArgs.insert(iArgs.begin(), "KELListInstalls");
    std::ostringstream l_Out, l_Err;
    EXPECT_EQ(ListInstalls(static_cast<int>(iArgs.size()), iArgs.data(), l_Out, l_Err), iStatus);
    EXPECT_EQ(l_Err.str(), iErr);
    return l_Out.str();
  }
  // "level/type/ident/hfx" of what the filters find, sorted: keys come in the file system's order.
  static std::vector<std::string> Found(const char* iLevel, const char* iType, const char* iHfx) {
    std::vector<std::string> l_Found;
    for (const InstallRecord& l_Record : DiscoverInstalls({iLevel, iType, iHfx, ""}))
      l_Found.push_back(std::string(l_Record.BuildLevel()) + "/" + std::string(l_Record.Type()) + "/" +
                        std::string(l_Record.Ident()) + "/" + std::string(l_Record.HfxLevel()));
    std::sort(l_Found.begin(), l_Found.end());
    return l_Found;
  }
};

// A bad argument: one line on standard error (the -xml/-json conflict after any other), then the
// usage, and the status 0; the arguments after -h are not looked at.
TEST_F(ListInstallsTest, BadArgumentsReportThenShowTheUsage) {
  AddInstall("B419/Desktop/X1", "/opt/X1", "419.1");
  std::ostringstream l_Usage;
  WriteInstallsUsage(l_Usage);
  const std::string l_Both = "Options -xml and -json cannot be used together.\n";
  for (const auto& [l_Args, l_Err] : std::vector<std::pair<std::vector<const char*>, std::string>>{
           {{"-xml", "-level"}, "Missing value behind -level option\n"},
           {{"-level", ""},
            "Option -level must be followed by the level you want to filter. For instance -level B419\n"},
           {{"-type", "-h"},
            "Option -type must be followed by the installation type you want to filter. For instance -type "
            "Desktop\n"},
           {{"-o", "-json"},
            "Option -o must be followed by the path of the file that will contain the result of the "
            "search.\n"},
           {{"-xml", "-json", "-bogus", "-bogus2"}, "Option -bogus is not a valid option.\n" + l_Both},
           {{"-xml", "-json", "-h"}, l_Both},
           {{"-level", "B", "-json", "-h", "-bogus", "-o"}, ""}}) {
    SCOPED_TRACE(l_Err);
    EXPECT_EQ(Run(l_Args, 0, l_Err), l_Usage.str());
  }
}

TEST_F(ListInstallsTest, WritesEitherDocumentToStandardOutputOrToAFile) {
  AddInstall("B419/Desktop/X1", "/opt/X1", "419.1");
  AddInstall("B419/Server/S1", "/opt/S1");
  EXPECT_EQ(Run({"-level", "A", "-level", "B419", "-type", "Desk*", "-xml", "-xml"}, 1), s_Xml);  // last wins
  EXPECT_EQ(Run({"-hfxlevel", "419.1", "-json"}, 1), "\n" + s_Json);
  EXPECT_EQ(Run({"-type", "-Desk"}, 0), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<installs/>");
  const std::string l_List = Write("list", std::string(4096, 'x'));
  EXPECT_EQ(Run({"-json", "-type", "Desktop", "-o", l_List.c_str()}, 1), "");
  EXPECT_EQ(Read("list"), s_Json);
  EXPECT_EQ(Run({"-o", l_List.c_str(), "-type", "Desktop"}, 1), "");
  EXPECT_EQ(Read("list"), s_Xml);
  for (const auto& [l_Bad, l_Errno] : {std::pair(Root(), EISDIR), std::pair(At("no/list"), ENOENT)})
    for (const char* l_Form : {"-json", "-xml"})
      EXPECT_EQ(Run({l_Form, "-o", l_Bad.c_str()}, 0,
                    "Opening file " + l_Bad + " failed: " + std::strerror(l_Errno) + "\n"),
                "");
}

TEST_F(ListInstallsTest, ProductTreeFirstThenCommonTreeWithMissingValuesFilledIn) {
  AddCommon("Viewer", "", "");  // neither GAlevel nor Path
  AddInstall("B419/Desktop/X1", "/opt/a\\\"b&c<d>e'f");
  EXPECT_EQ(
      Run({}, 2),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<installs>\n  <install buildLevel=\"B419\" "
      "hfxLevel=\"UNKNOWN\" ident=\"X1\" path=\"/opt/a\\&quot;b&amp;c&lt;d&gt;e&apos;f\" type=\"Desktop\"/>\n"
      "  <install buildLevel=\"\" hfxLevel=\"4.1\" ident=\"NONE\" path=\"\" type=\"Viewer\"/>\n</installs>");
  // The registry keeps the stored escape \" as it stands; the JSON writer escapes both characters.
  EXPECT_EQ(
      Run({"-json"}, 2),
      "\n{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"X1\", \"hfxLevel\": "
      "\"UNKNOWN\", \"path\": \"/opt/a\\\\\\\"b&c<d>e'f\"}, {\"buildLevel\": null, \"type\": \"Viewer\", "
      "\"ident\": \"NONE\", \"hfxLevel\": \"4.1\", \"path\": null}]}\n");
}

TEST_F(ListInstallsTest, FiltersApplyToBothTreesAndBrokenKeysDropOnlyThemselves) {
  for (const char* l_Install : {"B419/Desktop/X1", "B419/Desk/X2", "B419/*top/X3", "b419/D*kX/X4"})
    AddInstall(l_Install, "/p", "419.1");
  AddCommon("Desktop", "B420", "/p");
  // A folder without key file is no key; a key file that is not JSON is a key without values.
  std::filesystem::create_directories(At("HKLM/SOFTWARE/Quorvane/Q4/B500"));
  Write("HKLM/SOFTWARE/Quorvane/Q4/B419/Desk/X2.json", "{\"Version\"");
  using V = std::vector<std::string>;
  EXPECT_EQ(Found("", "Desk*", ""),
            (V{"B419/Desk/X2/UNKNOWN", "B419/Desktop/X1/419.1", "B420/Desktop/NONE/4.1"}));
  EXPECT_EQ(Found("B420", "", ""), (V{"B420/Desktop/NONE/4.1"}));  // by GAlevel, not by a key name
  EXPECT_EQ(Found("B419", "*top", "UNKNOWN"), V{});
  EXPECT_EQ(Found("", "*top", "419.1"), (V{"B419/*top/X3/419.1"}));
  EXPECT_EQ(Found("b419", "D*k*", "419.1"), (V{"b419/D*kX/X4/419.1"}));
  EXPECT_EQ(Found("B41", "desktop", "419"), V{});
}

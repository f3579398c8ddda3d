// The whole command in-process, against a temporary registry seen through the test root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "DiscoverInstalls.h"
#include "KELSysNLS.h"
#include "KELSysRegTestRoot.h"
#include "ListInstalls.h"
#include "ListerRegistry.h"

namespace {

InstallQuery Q(const char* iLevel, const char* iType, const char* iHfx) { return {iLevel, iType, iHfx, ""}; }

constexpr const char* s_Declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

struct Outcome {
  int64_t m_Status;
  std::string m_Out;
  std::string m_Err;
};

class ListInstallsTest : public ::testing::Test {
 protected:
  void SetUp() override { KELSysRegSetRootForTest(m_Registry.Root().c_str()); }
  void TearDown() override { KELSysRegSetRootForTest(nullptr); }

  Outcome Run(std::vector<std::string> iArgs) const {
    iArgs.insert(iArgs.begin(), "KELListInstalls");
    std::vector<const char*> l_Argv;
    for (const std::string& l_Arg : iArgs) l_Argv.push_back(l_Arg.c_str());
    std::ostringstream l_Out, l_Err;
    int64_t l_Status = ListInstalls(static_cast<int>(l_Argv.size()), l_Argv.data(), l_Out, l_Err);
    return {l_Status, l_Out.str(), l_Err.str()};
  }
  // "level/type/ident" of every installation found for the query, sorted: the registry lists keys
  // in the file system's order.
  static std::vector<std::string> Found(const InstallQuery& iQuery) {
    std::vector<std::string> l_Found;
    for (const InstallRecord& l_Record : DiscoverInstalls(iQuery))
      l_Found.push_back(l_Record.buildLevel + "/" + l_Record.type + "/" + l_Record.ident);
    std::sort(l_Found.begin(), l_Found.end());
    return l_Found;
  }

  ListerRegistry m_Registry;
};

TEST_F(ListInstallsTest, EmptyRegistryGivesEmptyDocuments) {
  EXPECT_EQ(Run({}).m_Out, std::string(s_Declaration) + "\n<installs/>");
  Outcome l_Json = Run({"-json"});
  EXPECT_EQ(l_Json.m_Out, "\n{\"installs\": []}\n");
  EXPECT_EQ(l_Json.m_Status, 0);
  EXPECT_EQ(l_Json.m_Err, "");
}

TEST_F(ListInstallsTest, ProductTreeComesBeforeCommonTreeInBothDocuments) {
  m_Registry.AddCommon("Viewer", "B418", "/opt/V", "418.3");
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  Outcome l_Xml = Run({"-xml"});
  EXPECT_EQ(l_Xml.m_Status, 2);
  EXPECT_EQ(l_Xml.m_Out,
            std::string(s_Declaration) +
                "\n<installs>"
                "\n  <install buildLevel=\"B419\" hfxLevel=\"419.1\" ident=\"X1\" path=\"/opt/X1\" "
                "type=\"Desktop\"/>"
                "\n  <install buildLevel=\"B418\" hfxLevel=\"418.3\" ident=\"NONE\" path=\"/opt/V\" "
                "type=\"Viewer\"/>"
                "\n</installs>");
  Outcome l_Json = Run({"-json"});
  EXPECT_EQ(l_Json.m_Status, 2);
  EXPECT_EQ(
      l_Json.m_Out,
      "\n{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"X1\", "
      "\"hfxLevel\": \"419.1\", \"path\": \"/opt/X1\"}, {\"buildLevel\": \"B418\", \"type\": \"Viewer\", "
      "\"ident\": \"NONE\", \"hfxLevel\": \"418.3\", \"path\": \"/opt/V\"}]}\n");
}

TEST_F(ListInstallsTest, MissingValuesGiveUnknownEmptyOrNull) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "", "");  // neither Path nor SPlevel
  m_Registry.AddCommon("Viewer", "", "", "");              // no GAlevel either
  Outcome l_Xml = Run({});
  EXPECT_EQ(l_Xml.m_Out, std::string(s_Declaration) +
                             "\n<installs>"
                             "\n  <install buildLevel=\"B419\" hfxLevel=\"UNKNOWN\" ident=\"X1\" path=\"\" "
                             "type=\"Desktop\"/>"
                             "\n  <install buildLevel=\"\" hfxLevel=\"UNKNOWN\" ident=\"NONE\" path=\"\" "
                             "type=\"Viewer\"/>"
                             "\n</installs>");
  EXPECT_EQ(Run({"-json"}).m_Out,
            "\n{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"X1\", "
            "\"hfxLevel\": \"UNKNOWN\", \"path\": null}, {\"buildLevel\": null, \"type\": \"Viewer\", "
            "\"ident\": \"NONE\", \"hfxLevel\": \"UNKNOWN\", \"path\": null}]}\n");
}

TEST_F(ListInstallsTest, ValuesOfOneRecordDoNotLeakIntoTheNext) {
  // The walk reuses nothing between identifiers: only X1 has values.
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  m_Registry.AddInstall("B419", "Desktop", "X2", "", "");
  for (const InstallRecord& l_Record : DiscoverInstalls({})) {
    if (l_Record.ident != "X2") continue;
    EXPECT_EQ(l_Record.path, "");
    EXPECT_EQ(l_Record.hfxLevel, "UNKNOWN");
  }
}

TEST_F(ListInstallsTest, StoredTextIsTakenAsItStandsAndEscapedByEachWriter) {
  // The key file holds /opt/a\"b&c<d>e'f: the registry keeps the escape as it stands in the file.
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/a\"b&c<d>e'f", "419.1");
  EXPECT_THAT(Run({}).m_Out, ::testing::HasSubstr("path=\"/opt/a\\&quot;b&amp;c&lt;d&gt;e&apos;f\""));
  EXPECT_THAT(Run({"-json"}).m_Out, ::testing::HasSubstr("\"path\": \"/opt/a\\\\\\\"b&c<d>e'f\""));
}

TEST_F(ListInstallsTest, NonAsciiTextIsCopiedWithoutWarnings) {
  if (!KELSysNLS::GetProcess().IsUTF8()) GTEST_SKIP() << "the process code set is not UTF-8 (LANG)";
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/\xC3\xA9t\xC3\xA9/\xE6\x97\xA5", "419.1");
  Outcome l_Xml = Run({});
  EXPECT_THAT(l_Xml.m_Out, ::testing::HasSubstr("path=\"/opt/\xC3\xA9t\xC3\xA9/\xE6\x97\xA5\""));
  EXPECT_THAT(l_Xml.m_Out, ::testing::StartsWith(s_Declaration));
  EXPECT_EQ(l_Xml.m_Err, "");
}

TEST_F(ListInstallsTest, OutputFileIsTruncatedAndGetsNoLeadingLine) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  const std::string l_File = m_Registry.Root() + "/out.json";
  ListerRegistry::Write(l_File, std::string(4096, 'x'));
  Outcome l_Json = Run({"-json", "-o", l_File});
  EXPECT_EQ(l_Json.m_Status, 1);
  EXPECT_EQ(l_Json.m_Out, "");
  EXPECT_EQ(ListerRegistry::Read(l_File),
            "{\"installs\": [{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"X1\", "
            "\"hfxLevel\": \"419.1\", \"path\": \"/opt/X1\"}]}\n");
  const std::string l_Xml = m_Registry.Root() + "/out.xml";
  EXPECT_EQ(Run({"-o", l_Xml}).m_Status, 1);
  EXPECT_EQ(ListerRegistry::Read(l_Xml), Run({}).m_Out);
}

TEST_F(ListInstallsTest, UnopenableOutputFileGivesZeroAndTheSystemText) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  const std::string l_Missing = m_Registry.Root() + "/no/such/folder/out.xml";
  for (const char* l_Format : {"-xml", "-json"}) {
    Outcome l_Dir = Run({l_Format, "-o", m_Registry.Root()});
    EXPECT_EQ(l_Dir.m_Status, 0);
    EXPECT_EQ(l_Dir.m_Out, "");
    EXPECT_EQ(l_Dir.m_Err, "Opening file " + m_Registry.Root() + " failed: " + std::strerror(EISDIR) + "\n");
    Outcome l_Gone = Run({l_Format, "-o", l_Missing});
    EXPECT_EQ(l_Gone.m_Err, "Opening file " + l_Missing + " failed: " + std::strerror(ENOENT) + "\n");
    EXPECT_EQ(l_Gone.m_Status, 0);
  }
}

TEST_F(ListInstallsTest, FiltersApplyToBothTrees) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/p", "419.1");
  m_Registry.AddInstall("B419", "Desk", "X2", "/p");
  m_Registry.AddInstall("b419", "Server", "S1", "/p", "419");
  m_Registry.AddCommon("Desktop", "B420", "/p", "420.1");
  using V = std::vector<std::string>;
  EXPECT_EQ(Found(Q("", "Desk*", "")), (V{"B419/Desk/X2", "B419/Desktop/X1", "B420/Desktop/NONE"}));
  // The common installation is filtered by its GAlevel value, not by a key name.
  EXPECT_EQ(Found(Q("B420", "", "")), (V{"B420/Desktop/NONE"}));
  EXPECT_EQ(Found(Q("B419", "", "UNKNOWN")), (V{"B419/Desk/X2"}));
  EXPECT_EQ(Found(Q("B419", "Desktop", "419.1")), (V{"B419/Desktop/X1"}));
  EXPECT_EQ(Found(Q("", "", "419")), (V{"b419/Server/S1"}));
}

TEST_F(ListInstallsTest, StrayEntriesAndBrokenKeyFilesDropOnlyThemselves) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  // A folder without key file and a key file without folder are no keys; a key file that is not
  // JSON is a key without values.
  std::filesystem::create_directories(m_Registry.Root() + "/HKLM/" + ListerRegistry::s_Product + "B500");
  ListerRegistry::Write(m_Registry.Root() + "/HKLM/" + ListerRegistry::s_Product + "B419/Lonely.json", "");
  m_Registry.AddInstall("B419", "Server", "S1", "/opt/S1");
  ListerRegistry::Write(m_Registry.Root() + "/HKLM/" + ListerRegistry::s_Product + "B419/Server/S1.json",
                        "{not json");
  EXPECT_EQ(Found({}), (std::vector<std::string>{"B419/Desktop/X1", "B419/Server/S1"}));
  EXPECT_EQ(Found(Q("", "", "UNKNOWN")), (std::vector<std::string>{"B419/Server/S1"}));
}

TEST_F(ListInstallsTest, ListingLeavesTheRegistryAsItWas) {
  m_Registry.AddInstall("B419", "Desktop", "X1", "/opt/X1", "419.1");
  m_Registry.AddCommon("Viewer", "B418", "/opt/V");
  const std::vector<std::string> l_Before = m_Registry.Snapshot();
  Run({});
  Run({"-json", "-type", "V*"});
  EXPECT_EQ(m_Registry.Snapshot(), l_Before);
}

}  // namespace

// The registry key wrapper over a registry in a temporary folder (test root).
#include "KELInsRegKey.h"

#include <filesystem>
#include <functional>

#include "KELInsTestDir.h"
#include "KELSysRegTestRoot.h"

using H = KELInsRegKey;

class KELInsRegKeyTest : public KELInsTestDir {
 protected:
  KELInsRegKeyTest() { KELSysRegSetRootForTest(Path().c_str()); }
  ~KELInsRegKeyTest() override { KELSysRegSetRootForTest(nullptr); }
  // Each call throws std::runtime_error with exactly its message.
  static void ExpectFailures(const std::vector<std::pair<std::function<void()>, std::string>>& iCases) {
    for (const auto& [l_Call, l_Message] : iCases)
      EXPECT_THAT(l_Call, ::testing::ThrowsMessage<std::runtime_error>(::testing::StrEq(l_Message)));
  }
};

TEST_F(KELInsRegKeyTest, EmptyHandleThrowsNullPointerWithoutTouchingTheRegistry) {
  H l_Empty;
  std::string l_Text;
  std::vector<std::string> l_Names;
  ExpectFailures({{[&] { H::CreateKey(l_Empty, "X"); }, "Null pointer"},
                  {[&] { H::OpenKey(l_Empty, "X", H::ReadOnly); }, "Null pointer"},
                  {[&] { l_Empty.GetValue("S", "X", l_Text); }, "Null pointer"},
                  {[&] { l_Empty.GetSubkeys(l_Names); }, "Null pointer"},
                  {[&] { l_Empty.DeleteKeyTree(""); }, "Null pointer"}});
  EXPECT_TRUE(std::filesystem::is_empty(Path()));
}

TEST_F(KELInsRegKeyTest, FailuresNameTheOperationAndTheObject) {
  H l_Key = H::CreateKey(H::HiveLocalMachine, "A\\B");
  l_Key.SetValue("Name", "text");
  H::CreateKey(l_Key, "C");
  l_Key = H::OpenKey(H::HiveLocalMachine, "A\\B", 9);  // only exactly 1 opens for writing
  int32_t l_Int = 0;
  std::string l_Text = "kept";
  ExpectFailures({{[] { H::OpenKey(H::HiveLocalMachine, "SOFTWARE\\Missing", H::ReadOnly); },
                   "OpenKey - SOFTWARE\\Missing"},
                  {[&] { H::OpenKey(l_Key, "C\\Deeper", H::ReadOnly); }, "OpenKey - C\\Deeper"},
                  {[&] { l_Key.SetValue("Count", -5); }, "SetValue - Count, -5"},
                  {[&] { l_Key.SetValue("Name", "other"); }, "SetValue - Name, other"},
                  {[&] { l_Key.DeleteValue("Name"); }, "DeleteValue - Name"},
                  {[&] { l_Key.GetValue("Name", l_Int); }, "GetValue - Name"},
                  {[&] { l_Key.GetValue("C", "Name", l_Text); }, "GetValue - Name"},
                  {[&] { H::GetValue(H::HiveLocalMachine, "A\\Nope", "Name", l_Text); }, "OpenKey - A\\Nope"},
                  {[&] { l_Key.DeleteKey("C"); }, "DeleteKey - C"},
                  {[] { H::DeleteKey(H::HiveLocalMachine, "A"); }, "DeleteKey - "}});
  EXPECT_EQ(l_Text, "kept");
  H::GetValue(H::HiveLocalMachine, "A\\B", "Name", l_Text);
  EXPECT_EQ(l_Text, "text");
  // A malformed 32-bit value: what the registry wrote reaches the caller, and the read still fails.
  Write("HKLM/A/B/C.json", R"({"Version":"1.0","C":{"Bad":[1,42,"extra"]}})");
  EXPECT_THROW(H::OpenKey(l_Key, "C", H::ReadOnly).GetValue("Bad", l_Int), std::runtime_error);
  EXPECT_EQ(l_Int, 42);
}

TEST_F(KELInsRegKeyTest, ValueReadsFindEveryNameAndTryFormsFailQuietly) {
  // More names than the wrapper keeps converted, read in turns, and the empty name, never kept.
  const std::vector<std::string> l_Names = {"Path", "SPlevel", "GAlevel", "A", "B", "Pat", ""};
  {
    H l_New = H::CreateKey(H::HiveLocalMachine, "K");
    for (const std::string& l_Name : l_Names) l_New.SetValue(l_Name, "v-" + l_Name);
    l_New.SetValue("Count", 5);
  }
  H l_Key = H::OpenKey(H::HiveLocalMachine, "K", H::ReadOnly);
  for (int l_Round = 0; l_Round < 3; ++l_Round) {
    for (const std::string& l_Name : l_Names) {
      std::string l_Text;
      EXPECT_TRUE(l_Key.TryGetValue(l_Name, l_Text) && l_Text == "v-" + l_Name) << l_Name;
    }
  }
  std::string l_Text = "kept";
  EXPECT_FALSE(l_Key.TryGetValue("Missing", l_Text) || l_Key.TryGetValue("Count", l_Text));
  EXPECT_EQ(l_Text, "kept");
  ExpectFailures({{[&] { H().TryGetValue("Path", l_Text); }, "Null pointer"},
                  {[&] { l_Key.GetValue("Count", l_Text); }, "GetValue - Count"}});
}

TEST_F(KELInsRegKeyTest, HiveFormsDeleteTheKeyItselfAndListingsStartEmpty) {
  H::CreateKey(H::HiveLocalMachine, "A\\B\\C");
  H l_Key = H::OpenKey(H::HiveLocalMachine, "A\\B", H::ReadOnly);
  H::DeleteKeyTree(H::HiveLocalMachine, "A\\B");
  EXPECT_TRUE(Exists("HKLM/A") && !Exists("HKLM/A/B") && !Exists("HKLM/A/B.json"));
  std::vector<std::string> l_Names = {"stale"};
  ExpectFailures({{[&] { l_Key.GetSubkeys(l_Names); }, "GetSubkeys - "}});
  EXPECT_TRUE(l_Names.empty());
  H::DeleteKey(H::HiveLocalMachine, "A");
  EXPECT_FALSE(Exists("HKLM/A") || Exists("HKLM/A.json"));
}

TEST_F(KELInsRegKeyTest, TypedValuesRoundTripAndReportTheirTypes) {
  H l_Key = H::CreateKey(H::HiveLocalMachine, "T");
  l_Key.SetDWORDValue("D", 4294967295u);
  l_Key.SetQWORDValue("Q", 18446744073709551615ull);
  l_Key.SetMultiStringValue("M", {"a", "", "\xFF"});
  l_Key.SetValue("S", std::string("s"));
  l_Key.Close();
  EXPECT_FALSE(l_Key.IsOpen());
  EXPECT_EQ(Read("HKLM/T.json"),
            "{\"Version\":\"1.0\",\"T\":{\"D\":[1,4294967295],\"Q\":[2,-1],\"M\":[4,[\"a\",\"\",\"\xFF\"]],"
            "\"S\":[3,\"s\"]}}");
  l_Key = H::OpenKey(H::HiveLocalMachine, "T", H::ReadOnly);
  EXPECT_EQ(l_Key.GetDWORDValue("D"), 4294967295u);
  EXPECT_EQ(l_Key.GetQWORDValue("Q"), 18446744073709551615ull);
  EXPECT_EQ(l_Key.GetMultiStringValue("M"), (std::vector<std::string>{"a", "", "\xFF"}));
  std::vector<uint32_t> l_Types;
  for (const char* l_Name : {"D", "Q", "S", "M"}) l_Types.push_back(l_Key.GetValueType(l_Name));
  EXPECT_EQ(l_Types, (std::vector<uint32_t>{H::TypeDWORD, H::TypeQWORD, H::TypeString, H::TypeMultiString}));
  const std::vector<std::string> l_XY = {"x", "y"};
  ExpectFailures({{[&] { l_Key.GetValueType("none"); }, "GetValue - none"},
                  {[&] { l_Key.GetDWORDValue("S"); }, "GetValue - S"},
                  {[&] { l_Key.GetQWORDValue("D"); }, "GetValue - D"},
                  {[&] { l_Key.GetMultiStringValue("S"); }, "GetValue - S"},
                  {[&] { l_Key.SetMultiStringValue("M", l_XY); }, "SetValue - M, x,y"},
                  {[&] { l_Key.SetQWORDValue("Q", 7); }, "SetValue - Q, 7"}});
}

TEST_F(KELInsRegKeyTest, ErrorsKeepTheSystemReasonAndRegistryRootMovesTheHives) {
  // A key file that cannot be opened for writing (a folder in its place) gives the system's reason.
  std::filesystem::create_directories(At("HKLM/K"));
  std::filesystem::create_directories(At("HKLM/K.json"));
  auto l_Error = [](const char* iPath, int32_t iWritable) {
    try {
      H::OpenKey(H::HiveLocalMachine, iPath, iWritable);
    } catch (const KELInsRegKeyError& l_Error) {
      return std::string(l_Error.what()) + ": " + l_Error.Reason();
    }
    return std::string("no failure");
  };
  EXPECT_EQ(l_Error("K", H::ReadWrite), "OpenKey - K: " + std::string(std::strerror(EISDIR)));
  EXPECT_EQ(l_Error("Missing", H::ReadOnly), "OpenKey - Missing: ");
  H::SetRegistryRoot(At("image"));
  H::CreateKey(H::HiveCurrentUser, "U").Close();
  std::vector<std::string> l_Names;
  H::GetSubkeys(H::HiveCurrentUser, l_Names);
  EXPECT_EQ(l_Names, std::vector<std::string>{"U"});
  ExpectFailures({{[&] { H::GetSubkeys(H::HiveClassesRoot, l_Names); }, "GetSubkeys - 0"}});
  H::SetRegistryRoot("");
  EXPECT_TRUE(Exists("image/HKCU/U.json") && Exists("image/HKCU.json"));
}

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

// Every failure names the operation and its object; a refused write its data too (a list joined by
// commas). The typed values round-trip through the built KELReg (its add, export and import tests).
TEST_F(KELInsRegKeyTest, FailuresNameTheOperationAndTheObject) {
  H l_Key = H::CreateKey(H::HiveLocalMachine, "A\\B");
  l_Key.SetValue("Name", "text");
  H::CreateKey(l_Key, "C");
  l_Key = H::OpenKey(H::HiveLocalMachine, "A\\B", 9);  // only exactly 1 opens for writing
  int32_t l_Int = 0;
  std::string l_Text = "kept";
  std::vector<std::string> l_Names, l_XY = {"x", "y"};
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
                  {[] { H::DeleteKey(H::HiveLocalMachine, "A"); }, "DeleteKey - "},
                  {[&] { l_Key.GetValueType("none"); }, "GetValue - none"},
                  {[&] { l_Key.GetDWORDValue("Name"); }, "GetValue - Name"},
                  {[&] { l_Key.GetMultiStringValue("Name"); }, "GetValue - Name"},
                  {[&] { l_Key.SetMultiStringValue("M", l_XY); }, "SetValue - M, x,y"},
                  {[&] { l_Key.SetQWORDValue("Q", 7); }, "SetValue - Q, 7"},
                  {[&] { H::GetSubkeys(H::HiveClassesRoot, l_Names); }, "GetSubkeys - 0"}});
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

// A key file that cannot be opened for writing (a folder in its place) gives the system's reason; a
// missing key none. (The registry root and the other hives: KELReg's --root and its HKCU keys.)
TEST_F(KELInsRegKeyTest, ErrorsKeepTheSystemReason) {
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
}

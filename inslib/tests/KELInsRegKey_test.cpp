// The registry key wrapper over a registry in a temporary folder (test root).
#include "KELInsRegKey.h"

#include <filesystem>
#include <functional>

#include "KELInsTestDir.h"
#include "KELSysRegTestRoot.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using H = KELInsRegKey;

class KELInsRegKeyTest : public KELInsTestDir {
 protected:
  void SetUp() override {
    KELInsTestDir::SetUp();
    KELSysRegSetRootForTest(m_Dir.c_str());
  }
  void TearDown() override {
    KELSysRegSetRootForTest(nullptr);
    KELInsTestDir::TearDown();
  }
  // Key A\B with the values Name = "text" and Count = 7, and an empty subkey A\B\C.
  void MakeTree() {
    H l_Key = H::CreateKey(H::HiveLocalMachine, "A\\B");
    l_Key.SetValue("Name", "text");
    l_Key.SetValue("Count", 7);
    H::CreateKey(l_Key, "C");
  }
};

void ExpectMessage(const std::function<void()>& iCall, const std::string& iMessage) {
  EXPECT_THAT(iCall, ::testing::ThrowsMessage<std::runtime_error>(::testing::StrEq(iMessage)));
}

TEST_F(KELInsRegKeyTest, EmptyHandleThrowsNullPointerWithoutTouchingTheRegistry) {
  H l_Empty;
  int32_t l_Int = 0;
  std::string l_Text;
  std::vector<std::string> l_Names;
  const std::vector<std::function<void()>> l_Calls = {[&] { H::CreateKey(l_Empty, "X"); },
                                                      [&] { H::OpenKey(l_Empty, "X", H::ReadOnly); },
                                                      [&] { l_Empty.DeleteKey("X"); },
                                                      [&] { l_Empty.DeleteKeyTree("X"); },
                                                      [&] { l_Empty.DeleteValue("X"); },
                                                      [&] { l_Empty.GetValue("X", l_Int); },
                                                      [&] { l_Empty.GetValue("X", l_Text); },
                                                      [&] { l_Empty.SetValue("X", "v"); },
                                                      [&] { l_Empty.SetValue("X", 1); },
                                                      [&] { l_Empty.GetSubkeys(l_Names); },
                                                      [&] { l_Empty.GetValues(l_Names); },
                                                      [&] { l_Empty.GetValue("S", "X", l_Int); },
                                                      [&] { l_Empty.GetValue("S", "X", l_Text); }};
  for (const auto& l_Call : l_Calls) ExpectMessage(l_Call, "Null pointer");
  EXPECT_TRUE(std::filesystem::is_empty(m_Dir));
}

TEST_F(KELInsRegKeyTest, ValuesRoundTripThroughTheStore) {
  MakeTree();
  H l_Key = H::OpenKey(H::HiveLocalMachine, "A\\B", H::ReadOnly);
  std::string l_Text;
  int32_t l_Count = 0;
  l_Key.GetValue("Name", l_Text);
  l_Key.GetValue("Count", l_Count);
  EXPECT_EQ(l_Text, "text");
  EXPECT_EQ(l_Count, 7);
  std::vector<std::string> l_Names = {"stale"};
  l_Key.GetValues(l_Names);
  EXPECT_THAT(l_Names, ElementsAre("Name", "Count"));
  l_Key.GetSubkeys(l_Names);
  EXPECT_THAT(l_Names, ElementsAre("C"));
  // The convenience forms read the same values through a temporary handle.
  std::string l_Again;
  H::GetValue(H::HiveLocalMachine, "A\\B", "Name", l_Again);
  EXPECT_EQ(l_Again, "text");
  H::OpenKey(H::HiveLocalMachine, "A", H::ReadOnly).GetValue("B", "Count", l_Count);
  EXPECT_EQ(l_Count, 7);
  EXPECT_TRUE(Exists("HKLM/A/B.json") && Exists("HKLM/A/B/C"));
}

TEST_F(KELInsRegKeyTest, FailuresNameTheOperationAndTheObject) {
  MakeTree();
  H l_ReadOnly = H::OpenKey(H::HiveLocalMachine, "A\\B", 0);
  H l_Odd = H::OpenKey(H::HiveLocalMachine, "A\\B", 9);  // only exactly 1 opens for writing
  int32_t l_Int = 0;
  std::string l_Text = "kept";
  ExpectMessage([] { H::OpenKey(H::HiveLocalMachine, "SOFTWARE\\Missing", H::ReadOnly); },
                "OpenKey - SOFTWARE\\Missing");
  ExpectMessage([&] { H::OpenKey(l_ReadOnly, "Missing\\Deeper", H::ReadOnly); }, "OpenKey - Missing\\Deeper");
  ExpectMessage([&] { l_ReadOnly.SetValue("Count", -5); }, "SetValue - Count, -5");
  ExpectMessage([&] { l_Odd.SetValue("Name", "other"); }, "SetValue - Name, other");
  ExpectMessage([&] { l_ReadOnly.DeleteValue("Name"); }, "DeleteValue - Name");
  ExpectMessage([&] { l_ReadOnly.GetValue("Name", l_Int); }, "GetValue - Name");
  ExpectMessage([&] { l_ReadOnly.GetValue("Count", l_Text); }, "GetValue - Count");
  ExpectMessage([&] { l_ReadOnly.GetValue("C", "Nothing", l_Text); }, "GetValue - Nothing");
  ExpectMessage([&] { H::GetValue(H::HiveLocalMachine, "A\\Nope", "Name", l_Text); }, "OpenKey - A\\Nope");
  ExpectMessage([&] { l_ReadOnly.DeleteKey("C"); }, "DeleteKey - C");
  ExpectMessage([&] { l_ReadOnly.DeleteKeyTree("C"); }, "DeleteKeyTree - C");
  EXPECT_EQ(l_Text, "kept");
  EXPECT_TRUE(Exists("HKLM/A/B/C"));
}

TEST_F(KELInsRegKeyTest, IntegerReadHandsOverWhatTheRegistryWroteEvenOnFailure) {
  H::CreateKey(H::HiveLocalMachine, "K");
  Write("HKLM/K.json", R"({"Version":"1.0","K":{"Bad":[1,42,"extra"]}})");
  int32_t l_Value = 0;
  ExpectMessage([&] { H::GetValue(H::HiveLocalMachine, "K", "Bad", l_Value); }, "GetValue - Bad");
  EXPECT_EQ(l_Value, 42);
}

TEST_F(KELInsRegKeyTest, DeletionsRemoveLeavesTreesAndHiveKeys) {
  MakeTree();
  H l_Key = H::OpenKey(H::HiveLocalMachine, "A\\B", H::ReadWrite);
  ExpectMessage([] { H::DeleteKey(H::HiveLocalMachine, "A\\B"); }, "DeleteKey - ");  // B still has C
  l_Key.DeleteKey("C");
  EXPECT_FALSE(Exists("HKLM/A/B/C") || Exists("HKLM/A/B/C.json"));
  H::CreateKey(l_Key, "D\\E");
  l_Key = H();  // closes B before the tree goes
  H::DeleteKeyTree(H::HiveLocalMachine, "A");
  EXPECT_FALSE(Exists("HKLM/A") || Exists("HKLM/A.json"));
  H::CreateKey(H::HiveLocalMachine, "Leaf");
  H::DeleteKey(H::HiveLocalMachine, "Leaf");
  EXPECT_FALSE(Exists("HKLM/Leaf") || Exists("HKLM/Leaf.json"));
}

TEST_F(KELInsRegKeyTest, MovingHandsTheKeyOverAndAssignmentClosesTheOldOne) {
  H l_First = H::CreateKey(H::HiveLocalMachine, "K");
  l_First.SetValue("V", "1");
  H l_Second = std::move(l_First);
  ExpectMessage([&] { l_First.SetValue("V", "2"); }, "Null pointer");
  l_Second.SetValue("V", "3");
  EXPECT_THAT(Read("HKLM/K.json"), ::testing::Not(::testing::HasSubstr("\"3\"")));
  l_Second = H::OpenKey(H::HiveLocalMachine, "K", H::ReadOnly);  // the written-back key is read again
  std::string l_Value;
  l_Second.GetValue("V", l_Value);
  EXPECT_EQ(l_Value, "3");
}

TEST_F(KELInsRegKeyTest, ListingsAreEmptiedFirstAlsoWhenTheyFail) {
  MakeTree();
  H l_Key = H::OpenKey(H::HiveLocalMachine, "A\\B", H::ReadOnly);
  std::filesystem::remove_all(At("HKLM/A/B"));
  std::vector<std::string> l_Names = {"stale"};
  ExpectMessage([&] { l_Key.GetSubkeys(l_Names); }, "GetSubkeys - ");
  EXPECT_THAT(l_Names, IsEmpty());
}

}  // namespace

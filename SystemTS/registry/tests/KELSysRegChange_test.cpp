// Changes made all at once, beside the framework's own keys: what a key says of a file it could not
// read, and writers of both kinds on one key losing nothing.
#include "KELSysRegChange.h"

#include <gtest/gtest.h>

#include "KELSysRegTestSupport.h"

namespace {

class KELSysRegChangeTest : public KELSysRegKeyTest {};

TEST_F(KELSysRegChangeTest, AKeyTellsWhyItsFileWasNotReadAndAnUnchangedOneIsNeverRewritten) {
  struct Case {
    std::string m_Text, m_Damage;
  };
  const Case k_Cases[] = {{"{\"Version\":\"1.0\",\"K\":{\"V\":[3,\"v\"]}}", ""},
                          {"", ""},
                          {"{\"Version\":\"1.0\",\"K\":{\"V\":[3,\"v", "not valid JSON at line 1, column 30"},
                          {"{\"K\":\n" + std::string(1001, '[') + std::string(1001, ']') + "}",
                           "nested deeper than 1000 levels at line 2, column 1000"},
                          {"{\"Version\":\"1.0\",\"Other\":{}}", "holds no values of key K"},
                          {std::string((1 << 20) + 1, ' '), "1048577 bytes, over the limit of 1048576"}};
  for (const Case& l_Case : k_Cases) {
    SCOPED_TRACE(l_Case.m_Damage);
    WriteKey("HKLM/K", l_Case.m_Text);
    KELSysRegKey l_Key;
    ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, MORUnicodeString("K"), KELSysRegAccessReadWrite),
              KEL_S_OK);
    EXPECT_EQ(l_Key.GetDamage(), l_Case.m_Damage);
    EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
    // A sound key is written back, changed or not; a damaged one keeps its bytes.
    const std::string l_Sound = l_Case.m_Text.empty() ? "{\"Version\":\"1.0\",\"K\":{}}" : l_Case.m_Text;
    EXPECT_EQ(Read("HKLM/K.json"), l_Case.m_Damage.empty() ? l_Sound : l_Case.m_Text);
  }
}

// Framework writers add one to a counter in place, under the key file's lock, while changes replace
// the same key file with a renamed copy that holds one more value: every increment and every value
// is there at the end, and every read in between sees whole text.
TEST_F(KELSysRegChangeTest, FrameworkWritersAndChangesOnOneKeyLoseNothing) {
  WriteKey("HKLM/K", "{\"Version\":\"1.0\",\"K\":{\"N\":[1,0]}}");
  KELSysRegChange::SetSyncing(false);  // the order of the writes is at stake here, not the disk
  constexpr int k_Writers = 3, k_Changers = 3, k_Rounds = 40;
  std::string l_Said = KELSysRegInChildren(k_Writers + k_Changers, [&](int iIndex) -> std::string {
    for (int l_Round = 0; l_Round < k_Rounds; ++l_Round) {
      if (iIndex < k_Writers) {
        KELSysRegKey l_Key;
        uint32_t l_Count = 0;
        if (l_Key.OpenKey(KELSysRegHiveLocalMachine, MORUnicodeString("K"), KELSysRegAccessReadWrite) !=
                KEL_S_OK ||
            !l_Key.GetDamage().empty() || l_Key.QueryDWORDValue(MORUnicodeString("N"), l_Count) != KEL_S_OK ||
            l_Key.SetDWORDValue(MORUnicodeString("N"), l_Count + 1) != KEL_S_OK ||
            l_Key.CloseKey() != KEL_S_OK)
          return "a framework write failed";
      } else {
        KELSysRegChange l_Change;
        KELSysRegKey* l_Key = nullptr;
        const std::string l_Name = "C" + std::to_string(iIndex) + "_" + std::to_string(l_Round);
        if (l_Change.Begin(KELSysRegHiveLocalMachine) != KEL_S_OK ||
            l_Change.OpenKey(MORUnicodeString("K"), false, l_Key) != KEL_S_OK ||
            l_Key->SetStringValue(MORUnicodeString(l_Name.c_str()), MORUnicodeString("v")) != KEL_S_OK ||
            l_Change.Commit() != KEL_S_OK)
          return "a change failed: " + l_Change.GetWhy();
      }
    }
    return "";
  });
  KELSysRegChange::SetSyncing(true);
  EXPECT_EQ(l_Said, "");
  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, MORUnicodeString("K"), KELSysRegAccessRead), KEL_S_OK);
  uint32_t l_Count = 0;
  EXPECT_EQ(l_Key.QueryDWORDValue(MORUnicodeString("N"), l_Count), KEL_S_OK);
  EXPECT_EQ(l_Count, uint32_t(k_Writers * k_Rounds));
  std::vector<MORUnicodeString> l_Values;
  l_Key.EnumValues(l_Values);
  EXPECT_EQ(l_Values.size(), size_t(1 + k_Changers * k_Rounds));
}

}  // namespace

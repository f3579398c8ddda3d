#include "KELSysRegKey.h"

#include <gtest/gtest.h>

#include "KELSysRegTestSupport.h"

namespace {

const char* const k_Q4 = "SOFTWARE\\Quorvane\\Q4";
const std::string k_Q4File = "HKLM/SOFTWARE/Quorvane/Q4.json";
const char* const k_OpenRead =
    "  OpenKeyReal m_Path: , l_OpenMode: 0, l_Rc: 80004005\n    l_Stat.grfMode: 0\n";

TEST_F(KELSysRegKeyTest, MapsHivesAndKeyPathsOntoFiles) {
  for (const char* l_Key : {"HKLM/SOFTWARE", "HKLM/SOFTWARE/Quorvane", "HKLM/SOFTWARE/Quorvane/Q4", "HKCR/A",
                            "home/.Quorvane/HKCU/A"})
    WriteKey(l_Key);
  KELSysRegKey l_Key, l_Parent, l_Child;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, k_Q4, KELSysRegAccessRead), KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), Path(k_Q4File));
  // A missing key folder, or no hive, fails and leaves the open key as it was.
  EXPECT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "SOFTWARE\\Nothing", KELSysRegAccessRead), KEL_E_FAIL);
  EXPECT_EQ(l_Key.OpenKey(4, "A", KELSysRegAccessRead) | l_Key.OpenKey(l_Parent, "A", KELSysRegAccessRead),
            KEL_E_FAIL);
  EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), Path(k_Q4File));
  for (int l_Hive : {KELSysRegHiveClassesRoot, KELSysRegHiveCurrentUser}) {
    ASSERT_EQ(l_Key.OpenKey(l_Hive, "A", KELSysRegAccessRead), KEL_S_OK);
    EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(),
              Path(l_Hive == KELSysRegHiveClassesRoot ? "HKCR/A.json" : "home/.Quorvane/HKCU/A.json"));
  }
  // Below open keys, one component (looked up in the parent's folder) or several at a time.
  ASSERT_EQ(l_Parent.OpenKey(KELSysRegHiveLocalMachine, "SOFTWARE", KELSysRegAccessRead), KEL_S_OK);
  ASSERT_EQ(l_Child.OpenKey(l_Parent, "Quorvane", KELSysRegAccessRead), KEL_S_OK);
  for (KELSysRegKey* l_Base : {&l_Parent, &l_Child}) {
    ASSERT_EQ(l_Key.OpenKey(*l_Base, l_Base == &l_Child ? "Q4" : "Quorvane\\Q4", KELSysRegAccessRead),
              KEL_S_OK);
    EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), Path(k_Q4File));
  }
  EXPECT_EQ(l_Key.OpenKey(l_Child, "Q5", KELSysRegAccessRead), KEL_E_FAIL);
}

TEST_F(KELSysRegKeyTest, RoundTripsEveryValueTypeAndWritesExactBytes) {
  const MORUnicodeString l_Text = MORUnicodeString::FromUTF8("caf\xC3\xA9 \xFF raw");
  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.CreateKey(KELSysRegHiveLocalMachine, k_Q4, KELSysRegAccessReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Key.SetDWORDValue("D", 0xFFFFFFFBu) | l_Key.SetQWORDValue("Q", ~0ull) |
                l_Key.SetMultiStringValue("M", {"a", l_Text, ""}),
            KEL_S_OK);
  EXPECT_EQ(l_Key.SetStringValue("S", "old"), KEL_S_OK);
  EXPECT_EQ(l_Key.SetStringValue("S", l_Text), KEL_S_OK);  // replaced, and moved to the end
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  // An existing key is created again with its values.
  ASSERT_EQ(l_Key.CreateKey(KELSysRegHiveLocalMachine, k_Q4, KELSysRegAccessReadWrite), KEL_S_OK);
  uint32_t l_D = 0;
  uint64_t l_Q = 0;
  MORUnicodeString l_S;
  Names l_M, l_Values;
  EXPECT_EQ(l_Key.QueryDWORDValue("D", l_D) | l_Key.QueryQWORDValue("Q", l_Q) |
                l_Key.QueryStringValue("S", l_S) | l_Key.QueryMultiStringValue("M", l_M) |
                l_Key.EnumValues(l_Values),
            KEL_S_OK);
  EXPECT_TRUE(l_D == 0xFFFFFFFBu && l_Q == ~0ull && l_S == l_Text);
  EXPECT_EQ(l_M, (Names{"a", l_Text, ""}));
  EXPECT_EQ(l_Values, (Names{"D", "Q", "M", "S"}));
  // A removed value leaves no tail of the longer text behind.
  EXPECT_EQ(l_Key.DeleteValue("M") | l_Key.DeleteValue("S") | l_Key.DeleteValue("Missing"), KEL_S_OK);
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  EXPECT_EQ(Read(k_Q4File), "{\"Version\":\"1.0\",\"Q4\":{\"D\":[1,4294967291],\"Q\":[2,-1]}}");
}

// A key file's text, and what two queries of its value V make of it: results and outputs (which
// start as 99 and "?"). The last files open as keys without values.
TEST_F(KELSysRegKeyTest, QueriesCheckTypeAndShape) {
  struct QueryCase {
    const char* m_File;
    KELSysResult m_Dword, m_String;
    uint32_t m_DwordOut;
    const char* m_StringOut;
  };
  for (const QueryCase& l_Case :
       {QueryCase{"{\"K\":{\"V\":[1, 42]}}", KEL_S_OK, KEL_E_FAIL, 42, "?"},
        QueryCase{"{ \"K\" : { \"V\" : [3.0, \"x\"] } }", KEL_E_FAIL, KEL_S_OK, 99, "x"},
        QueryCase{"{\"K\":{\"V\":[1,42,0]}}", KEL_E_FAIL, KEL_E_FAIL, 42, "?"},  // written, refused
        QueryCase{"{\"K\":{\"V\":[]}}", KEL_S_OK, KEL_S_OK, 99, "?"},
        QueryCase{"{\"K\":{\"V\":[1,\"42\"]}}", KEL_E_FAIL, KEL_E_FAIL, 99, "?"},
        QueryCase{"{\"K\":{\"V\":\"x\"}}", KEL_E_FAIL, KEL_E_FAIL, 99, "?"},
        QueryCase{"{\"K\":{\"V\":[3,\"a\"],\"V\":[3,\"b\"]}}", KEL_E_FAIL, KEL_S_OK, 99, "a"},
        QueryCase{"", KEL_E_FAIL, KEL_E_FAIL, 99, "?"},
        QueryCase{"not json", KEL_E_FAIL, KEL_E_FAIL, 99, "?"},
        QueryCase{"{\"Other\":{\"V\":[1,1]}}", KEL_E_FAIL, KEL_E_FAIL, 99, "?"},
        QueryCase{"{\"K\":[1]}", KEL_E_FAIL, KEL_E_FAIL, 99, "?"}}) {
    WriteKey("HKLM/K", l_Case.m_File);
    KELSysRegKey l_Key;
    ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead), KEL_S_OK);
    uint32_t l_Dword = 99;
    MORUnicodeString l_String = "?";
    EXPECT_EQ(l_Key.QueryDWORDValue("V", l_Dword), l_Case.m_Dword) << l_Case.m_File;
    EXPECT_EQ(l_Key.QueryStringValue("V", l_String), l_Case.m_String) << l_Case.m_File;
    EXPECT_EQ(l_Dword, l_Case.m_DwordOut) << l_Case.m_File;
    EXPECT_EQ(l_String, MORUnicodeString(l_Case.m_StringOut)) << l_Case.m_File;
  }
}

TEST_F(KELSysRegKeyTest, QueriesListsUpToABadElement) {
  WriteKey("HKLM/K", "{\"K\":{\"M\":[4,[\"a\",\"b\",5,\"c\"]]}}");
  KELSysRegKey l_Key;
  Names l_List{"kept"};
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead), KEL_S_OK);
  EXPECT_EQ(l_Key.QueryMultiStringValue("M", l_List), KEL_E_FAIL);
  EXPECT_EQ(l_List, (Names{"kept", "a", "b"}));
}

// Access flags without both 0x1 and 0x8 open read-only: every change is refused, and the file keeps
// its bytes and its time whether the trace is on (the write-back is tried) or off (it is skipped).
class KELSysRegReadOnlyTest : public KELSysRegKeyTest,
                              public testing::WithParamInterface<std::tuple<uint32_t, bool>> {};

TEST_P(KELSysRegReadOnlyTest, NeverChangesTheFile) {
  const std::string l_Bytes = "{\"K\":{\"Path\":[3,\"/opt\"]},\"Version\":\"1.0\"}   ";
  WriteKey("HKLM/K", l_Bytes);
  WriteKey("HKLM/K/Sub");
  const auto l_Time = fs::last_write_time(Path("HKLM/K.json"));
  KELSysRegKey l_Key;
  if (std::get<1>(GetParam())) l_Key.SetTraceForTest(&m_Trace);
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", std::get<0>(GetParam())), KEL_S_OK);
  MORUnicodeString l_Value;
  EXPECT_TRUE(l_Key.QueryStringValue("Path", l_Value) == KEL_S_OK &&
              l_Key.QueryStringValue("No", l_Value) == KEL_E_FAIL);
  for (KELSysResult l_Rc :
       {l_Key.SetStringValue("Path", "/other"), l_Key.SetDWORDValue("N", 1), l_Key.DeleteValue("Path"),
        l_Key.DeleteSubKey("Sub"), l_Key.RecurseDeleteKey("Sub")})
    EXPECT_EQ(l_Rc, KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  EXPECT_EQ(Read("HKLM/K.json"), l_Bytes);
  EXPECT_EQ(fs::last_write_time(Path("HKLM/K.json")), l_Time);
  EXPECT_TRUE(Exists("HKLM/K/Sub.json"));
  std::string l_Trace =
      std::string(k_OpenRead) + "  QueryValue OK iValueName: Path\n  QueryValue KO iValueName: No\n";
  for (int l_Count = 0; l_Count < 5; ++l_Count) l_Trace += "  CheckWriteAccess false (l_Stat.grfMode: 0)\n";
  l_Trace += "  CloseKey l_JSON: {\"Version\":\"1.0\",\"K\":{\"Path\":[3,\"/opt\"]}}\n";
  EXPECT_EQ(TakeTrace(), std::get<1>(GetParam()) ? l_Trace : "");
}

INSTANTIATE_TEST_SUITE_P(Flags, KELSysRegReadOnlyTest,
                         testing::Combine(testing::Values(0x8u, 0x2u, 0x1u, 0x0u, 0x7u), testing::Bool()),
                         [](const testing::TestParamInfo<std::tuple<uint32_t, bool>>& iInfo) {
                           return "Access" + std::to_string(std::get<0>(iInfo.param)) +
                                  (std::get<1>(iInfo.param) ? "Traced" : "");
                         });

}  // namespace

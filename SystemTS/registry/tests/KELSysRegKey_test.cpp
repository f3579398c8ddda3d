#include "KELSysRegKey.h"

#include <gtest/gtest.h>

#include "KELSysRegTestSupport.h"

namespace {

using Names = std::vector<MORUnicodeString>;
const std::string k_X1 = "HKLM/SOFTWARE/Quorvane/Q4/X1";
const char* const k_X1Path = "SOFTWARE\\Quorvane\\Q4\\X1";

class KELSysRegKeyTest : public KELSysRegTest {};

TEST_F(KELSysRegKeyTest, MapsHivesAndKeyPathsOntoFiles) {
  for (const char* l_Key : {"HKLM/SOFTWARE", "HKLM/SOFTWARE/Quorvane", "HKLM/SOFTWARE/Quorvane/Q4", "HKCR/A"})
    WriteKey(l_Key, "");
  WriteKey("home/.Quorvane/HKCU/B", "");
  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "SOFTWARE\\Quorvane\\Q4", KELSysRegAccessRead),
            KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath(), MORUnicodeString(Path("HKLM/SOFTWARE/Quorvane/Q4.json").c_str()));
  // A missing key folder fails and leaves the open key as it was.
  EXPECT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "SOFTWARE\\Nothing", KELSysRegAccessRead), KEL_E_FAIL);
  EXPECT_EQ(l_Key.GetPath(), MORUnicodeString(Path("HKLM/SOFTWARE/Quorvane/Q4.json").c_str()));
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveClassesRoot, "A", KELSysRegAccessRead), KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath(), MORUnicodeString(Path("HKCR/A.json").c_str()));
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveCurrentUser, "B", KELSysRegAccessRead), KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath(), MORUnicodeString(Path("home/.Quorvane/HKCU/B.json").c_str()));
  EXPECT_EQ(l_Key.OpenKey(4, "B", KELSysRegAccessRead), KEL_E_FAIL);
  // The same key reached below its parents, one component or several at a time.
  KELSysRegKey l_Parent, l_Child, l_Deep;
  ASSERT_EQ(l_Parent.OpenKey(KELSysRegHiveLocalMachine, "SOFTWARE", KELSysRegAccessRead), KEL_S_OK);
  ASSERT_EQ(l_Child.OpenKey(l_Parent, "Quorvane", KELSysRegAccessRead), KEL_S_OK);
  ASSERT_EQ(l_Deep.OpenKey(l_Parent, "Quorvane\\Q4", KELSysRegAccessRead), KEL_S_OK);
  EXPECT_EQ(l_Deep.GetPath(), MORUnicodeString(Path("HKLM/SOFTWARE/Quorvane/Q4.json").c_str()));
  ASSERT_EQ(l_Deep.OpenKey(l_Child, "Q4", KELSysRegAccessRead), KEL_S_OK);
  EXPECT_EQ(l_Deep.GetPath(), MORUnicodeString(Path("HKLM/SOFTWARE/Quorvane/Q4.json").c_str()));
  EXPECT_EQ(l_Deep.OpenKey(l_Child, "Q5", KELSysRegAccessRead), KEL_E_FAIL);
  KELSysRegKey l_Closed;
  EXPECT_EQ(l_Deep.OpenKey(l_Closed, "Q4", KELSysRegAccessRead), KEL_E_FAIL);
}

TEST_F(KELSysRegKeyTest, RoundTripsEveryValueType) {
  const MORUnicodeString l_Text = MORUnicodeString::FromUTF8("caf\xC3\xA9 \xFF raw");
  {
    KELSysRegKey l_Key;
    ASSERT_EQ(l_Key.CreateKey(KELSysRegHiveLocalMachine, k_X1Path, KELSysRegAccessReadWrite), KEL_S_OK);
    EXPECT_EQ(l_Key.SetDWORDValue("D", 0xFFFFFFFBu), KEL_S_OK);
    EXPECT_EQ(l_Key.SetQWORDValue("Q", 0xFFFFFFFFFFFFFFFFull), KEL_S_OK);
    EXPECT_EQ(l_Key.SetStringValue("S", l_Text), KEL_S_OK);
    EXPECT_EQ(l_Key.SetMultiStringValue("M", {"a", l_Text, ""}), KEL_S_OK);
    EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  }
  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, k_X1Path, KELSysRegAccessRead), KEL_S_OK);
  uint32_t l_D = 0;
  uint64_t l_Q = 0;
  MORUnicodeString l_S;
  Names l_M, l_Values;
  EXPECT_EQ(l_Key.QueryDWORDValue("D", l_D), KEL_S_OK);
  EXPECT_EQ(l_Key.QueryQWORDValue("Q", l_Q), KEL_S_OK);
  EXPECT_EQ(l_Key.QueryStringValue("S", l_S), KEL_S_OK);
  EXPECT_EQ(l_Key.QueryMultiStringValue("M", l_M), KEL_S_OK);
  EXPECT_EQ(l_D, 0xFFFFFFFBu);
  EXPECT_EQ(l_Q, 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(l_S, l_Text);
  EXPECT_EQ(l_M, (Names{"a", l_Text, ""}));
  EXPECT_EQ(l_Key.EnumValues(l_Values), KEL_S_OK);
  EXPECT_EQ(l_Values, (Names{"D", "Q", "S", "M"}));
}

TEST_F(KELSysRegKeyTest, WritesBackExactlyTheNewDocument) {
  WriteKey(k_X1,
           "{ \"Version\" : \"2.0\", \"X1\" : { \"Path\" : [3, \"/opt/q\\n4\"], \"SPlevel\" : [3, \"5\"], "
           "\"Old\" : [1, 7] } }");
  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, k_X1Path, KELSysRegAccessReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Key.DeleteValue("Old"), KEL_S_OK);
  EXPECT_EQ(l_Key.DeleteValue("Missing"), KEL_S_OK);
  EXPECT_EQ(l_Key.SetStringValue("Path", "/opt/q4"), KEL_S_OK);  // moves to the end
  EXPECT_EQ(l_Key.SetStringValue("Path", "/opt/q5"), KEL_S_OK);
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  EXPECT_EQ(Read(k_X1 + ".json"),
            "{\"Version\":\"1.0\",\"X1\":{\"SPlevel\":[3,\"5\"],\"Path\":[3,\"/opt/q5\"]}}");
}

// What the queries make of stored values: the result, and the output (which starts as 99 / "?").
struct QueryCase {
  const char* m_Stored;
  KELSysResult m_Dword, m_String;
  uint32_t m_DwordOut;
  const char* m_StringOut;
};

class KELSysRegQueryTest : public KELSysRegTest, public testing::WithParamInterface<QueryCase> {};

TEST_P(KELSysRegQueryTest, ChecksTypeAndShape) {
  WriteKey("HKLM/K", std::string("{\"K\":{\"V\":") + GetParam().m_Stored + "}}");
  KELSysRegKey l_Key;
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead), KEL_S_OK);
  uint32_t l_Dword = 99;
  MORUnicodeString l_String = "?";
  EXPECT_EQ(l_Key.QueryDWORDValue("V", l_Dword), GetParam().m_Dword);
  EXPECT_EQ(l_Key.QueryStringValue("V", l_String), GetParam().m_String);
  EXPECT_EQ(l_Dword, GetParam().m_DwordOut);
  EXPECT_EQ(l_String, MORUnicodeString(GetParam().m_StringOut));
}

INSTANTIATE_TEST_SUITE_P(Stored, KELSysRegQueryTest,
                         testing::Values(QueryCase{"[1, 42]", KEL_S_OK, KEL_E_FAIL, 42, "?"},
                                         QueryCase{"[3, \"x\"]", KEL_E_FAIL, KEL_S_OK, 99, "x"},
                                         QueryCase{"[3.0, \"x\"]", KEL_E_FAIL, KEL_S_OK, 99, "x"},
                                         QueryCase{"[1, 42, 0]", KEL_E_FAIL, KEL_E_FAIL, 42,
                                                   "?"},  // written, then refused
                                         QueryCase{"[]", KEL_S_OK, KEL_S_OK, 99, "?"},
                                         QueryCase{"[1]", KEL_S_OK, KEL_E_FAIL, 99, "?"},
                                         QueryCase{"[1, \"42\"]", KEL_E_FAIL, KEL_E_FAIL, 99, "?"},
                                         QueryCase{"\"x\"", KEL_E_FAIL, KEL_E_FAIL, 99, "?"}));

TEST_F(KELSysRegKeyTest, QueriesListsAndMissingValues) {
  WriteKey("HKLM/K", "{\"K\":{\"M\":[4,[\"a\",\"b\",5,\"c\"]],\"V\":[3,\"first\"],\"V\":[3,\"second\"]}}");
  KELSysRegKey l_Key;
  Traced(l_Key);
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead), KEL_S_OK);
  Names l_List{"kept"};
  EXPECT_EQ(l_Key.QueryMultiStringValue("M", l_List), KEL_E_FAIL);
  EXPECT_EQ(l_List, (Names{"kept", "a", "b"}));
  MORUnicodeString l_Value;
  EXPECT_EQ(l_Key.QueryStringValue("V", l_Value), KEL_S_OK);
  EXPECT_EQ(l_Value, MORUnicodeString("first"));
  EXPECT_EQ(l_Key.QueryStringValue("v", l_Value), KEL_E_FAIL);
  EXPECT_EQ(TakeTrace(),
            "  OpenKeyReal m_Path: , l_OpenMode: 0, l_Rc: 80004005\n    l_Stat.grfMode: 0\n"
            "  QueryValue OK iValueName: M\n  QueryValue OK iValueName: V\n"
            "  QueryValue KO iValueName: v\n");
  // A key that failed to open answers every query with success and no output.
  KELSysRegKey l_Failed;
  EXPECT_EQ(l_Failed.OpenKey(KELSysRegHiveLocalMachine, "Gone", KELSysRegAccessRead), KEL_E_FAIL);
  EXPECT_EQ(l_Failed.QueryStringValue("V", l_Value), KEL_S_OK);
  EXPECT_EQ(l_Value, MORUnicodeString("first"));
  Names l_Names;
  EXPECT_EQ(l_Failed.EnumValues(l_Names), KEL_S_OK);
  EXPECT_TRUE(l_Names.empty());
}

TEST_F(KELSysRegKeyTest, UnreadableFilesOpenWithoutValues) {
  for (const char* l_Bytes :
       {"", "not json", "{\"Other\":{\"V\":[1,1]}}", "{\"K\":[1]}", "[1,2]", "{\"K\":{"}) {
    WriteKey("HKLM/K", l_Bytes);
    KELSysRegKey l_Key;
    ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite), KEL_S_OK) << l_Bytes;
    Names l_Names;
    EXPECT_EQ(l_Key.EnumValues(l_Names), KEL_S_OK);
    EXPECT_TRUE(l_Names.empty()) << l_Bytes;
    EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
    EXPECT_EQ(Read("HKLM/K.json"), "{\"Version\":\"1.0\",\"K\":{}}");
  }
}

// Access flags that do not hold both 0x1 and 0x8 open read-only: every change is refused and the
// file keeps its bytes and its times, whether the trace is on (the write-back is then attempted)
// or off (it is skipped).
class KELSysRegReadOnlyTest : public KELSysRegTest,
                              public testing::WithParamInterface<std::tuple<uint32_t, bool>> {};

TEST_P(KELSysRegReadOnlyTest, NeverChangesTheFile) {
  const std::string l_Bytes = "{\"X1\":{\"Path\":[3,\"/opt\"]},\"Version\":\"1.0\"}   ";
  WriteKey(k_X1, l_Bytes);
  WriteKey(k_X1 + "/Sub", "");
  auto l_Times = Times(k_X1 + ".json");
  KELSysRegKey l_Key;
  if (std::get<1>(GetParam())) Traced(l_Key);
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, k_X1Path, std::get<0>(GetParam())), KEL_S_OK);
  EXPECT_EQ(l_Key.SetStringValue("Path", "/other"), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.SetDWORDValue("N", 1), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.DeleteValue("Path"), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.DeleteSubKey("Sub"), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.RecurseDeleteKey("Sub"), KEL_E_ACCESSDENIED);
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  EXPECT_EQ(Read(k_X1 + ".json"), l_Bytes);
  EXPECT_EQ(Times(k_X1 + ".json"), l_Times);
  EXPECT_TRUE(Exists(k_X1 + "/Sub.json"));
  const char* l_Trace =
      "  OpenKeyReal m_Path: , l_OpenMode: 0, l_Rc: 80004005\n    l_Stat.grfMode: 0\n"
      "  CheckWriteAccess false (l_Stat.grfMode: 0)\n  CheckWriteAccess false (l_Stat.grfMode: 0)\n"
      "  CheckWriteAccess false (l_Stat.grfMode: 0)\n  CheckWriteAccess false (l_Stat.grfMode: 0)\n"
      "  CheckWriteAccess false (l_Stat.grfMode: 0)\n"
      "  CloseKey l_JSON: {\"Version\":\"1.0\",\"X1\":{\"Path\":[3,\"/opt\"]}}\n";
  EXPECT_EQ(TakeTrace(), std::get<1>(GetParam()) ? l_Trace : "");
}

INSTANTIATE_TEST_SUITE_P(Flags, KELSysRegReadOnlyTest,
                         testing::Combine(testing::Values(0x8u, 0x2u, 0x1u, 0x0u, 0x7u), testing::Bool()));

TEST_F(KELSysRegKeyTest, DeepValuesSurviveAWriteBack) {
  const std::string l_Deep = std::string(8000, '[') + std::string(8000, ']');
  WriteKey("HKLM/K", "{\"K\":{\"V\":" + l_Deep + ",\"S\":[3,\"s\"]}}");
  {
    KELSysRegKey l_Key;
    ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite), KEL_S_OK);
    EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  }
  EXPECT_EQ(Read("HKLM/K.json"), "{\"Version\":\"1.0\",\"K\":{\"V\":" + l_Deep + ",\"S\":[3,\"s\"]}}");
}

}  // namespace

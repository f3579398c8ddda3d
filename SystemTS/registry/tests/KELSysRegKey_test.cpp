// Keys and their values: hives and key paths mapped onto files (also below a registry root of the
// program's own), every value type written and read back, what the queries and the open make of
// every shape a key file and a value can take, and keys opened read-only.
#include "KELSysRegTestSupport.h"

namespace {

const char* const k_Q4 = "SOFTWARE\\Quorvane\\Q4";
const std::string k_Q4File = "HKLM/SOFTWARE/Quorvane/Q4.json";

// Every value type is written and read back, and the key file gets exactly its bytes. Hives and key
// paths map onto files: from the hive, below open keys, and below a registry root of the program's
// own.
TEST_F(KELSysRegKeyTest, RoundTripsEveryValueTypeAndMapsKeyPathsOntoFiles) {
  KELSysRegKey l_Key, l_Parent, l_Child;
  const MORUnicodeString l_Text = MORUnicodeString::FromUTF8("caf\xC3\xA9 \xFF raw");
  ASSERT_EQ(l_Key.CreateKey(k_HKLM, k_Q4, k_ReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Key.SetDWORDValue("D", 0xFFFFFFFBu) | l_Key.SetQWORDValue("Q", ~0ull) |
                l_Key.SetMultiStringValue("M", {"a", l_Text, ""}),
            KEL_S_OK);
  EXPECT_EQ(l_Key.SetStringValue("S", "old"), KEL_S_OK);
  EXPECT_EQ(l_Key.SetStringValue("S", l_Text), KEL_S_OK);  // replaced, and moved to the end
  EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
  // An existing key is created again with its values.
  ASSERT_EQ(l_Key.CreateKey(k_HKLM, k_Q4, k_ReadWrite), KEL_S_OK);
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

  ASSERT_EQ(l_Key.OpenKey(k_HKLM, k_Q4, k_Read), KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), At(k_Q4File));
  // A missing key folder, or no hive, fails and leaves the open key as it was.
  EXPECT_EQ(l_Key.OpenKey(k_HKLM, "SOFTWARE\\Nothing", k_Read), KEL_E_FAIL);
  EXPECT_EQ(l_Key.OpenKey(4, "A", k_Read) | l_Key.OpenKey(l_Parent, "A", k_Read), KEL_E_FAIL);
  EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), At(k_Q4File));
  // Below open keys, one component (looked up in the parent's folder) or several at a time.
  ASSERT_EQ(l_Parent.OpenKey(k_HKLM, "SOFTWARE", k_Read), KEL_S_OK);
  ASSERT_EQ(l_Child.OpenKey(l_Parent, "Quorvane", k_Read), KEL_S_OK);
  for (KELSysRegKey* l_Base : {&l_Parent, &l_Child}) {
    ASSERT_EQ(l_Key.OpenKey(*l_Base, l_Base == &l_Child ? "Q4" : "Quorvane\\Q4", k_Read), KEL_S_OK);
    EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), At(k_Q4File));
  }

  // A registry root set by the program (trailing slashes dropped) takes precedence over the test
  // root. (That it moves all three hives, HKCU included: KELReg's tests under --root.)
  EXPECT_EQ(KELSysRegSetRegistryRoot((At("image") + "//").c_str()), KEL_S_OK);
  EXPECT_EQ(KELSysRegGetRegistryRoot(), At("image"));
  ASSERT_EQ(l_Key.CreateKey(k_HKLM, "A\\B", k_ReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), At("image/HKLM/A/B.json"));
  l_Key.CloseKey();
  fs::create_directories(At("image/HKLM/Stray"));  // no key file: not a key
  Names l_Names;
  EXPECT_EQ(KELSysRegListHive(k_HKLM, l_Names), KEL_S_OK);
  EXPECT_EQ(l_Names, Names{"A"});
  EXPECT_EQ(KELSysRegListHive(4, l_Names), KEL_E_FAIL);
  EXPECT_EQ(KELSysRegListHive(KELSysRegHiveClassesRoot, l_Names), KEL_E_NOTFOUND);
  EXPECT_FALSE(Exists("HKLM/A"));
  // Restored: the test root and HOME again.
  EXPECT_TRUE(KELSysRegSetRegistryRoot("") == KEL_S_OK && KELSysRegGetRegistryRoot().empty());
  ASSERT_EQ(l_Key.CreateKey(KELSysRegHiveCurrentUser, "A", k_ReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), At("home/.Quorvane/HKCU/A.json"));
}

// A key file's text, and what a key opened on it for writing makes of it: "damage | queries |
// file". The queries are those of the value V as DWORD, as string, its type and as a list, each
// output (starting as 99, "?", 99 and "kept") marked "!" when the query fails; the file is "kept"
// when the close left its bytes as they were. A sound key is written back, changed or not; a
// damaged one never is.
TEST_F(KELSysRegKeyTest, OpenAndQueriesCheckEveryShapeOfFileAndValue) {
  const std::pair<std::string, const char*> k_Cases[] = {
      {"{\"K\":{\"V\":[1, 42]}}", "|42 ?! 1 kept!|rewritten"},
      {"{\"K\":{\"V\":[2,-1]}}", "|99! ?! 2 kept!|rewritten"},
      {"{ \"K\" : { \"V\" : [3.0, \"x\"] } }", "|99! x 3 kept!|rewritten"},
      {"{\"K\":{\"V\":[4,[\"a\",\"b\"]]}}", "|99! ?! 4 kept,a,b|rewritten"},
      {"{\"K\":{\"V\":[4,[\"a\",\"b\",5,\"c\"]]}}", "|99! ?! 99! kept,a,b!|rewritten"},  // up to the bad one
      {"{\"K\":{\"V\":[1,42,0]}}", "|42! ?! 99! kept!|rewritten"},                       // written, refused
      {"{\"K\":{\"V\":[3,\"x\",1]}}", "|99! x! 99! kept!|rewritten"},
      {"{\"K\":{\"V\":[3]}}", "|99! ? 99! kept!|rewritten"},
      {"{\"K\":{\"V\":[]}}", "|99 ? 99! kept|rewritten"},
      {"{\"K\":{\"V\":[1,\"42\"]}}", "|99! ?! 99! kept!|rewritten"},
      {"{\"K\":{\"V\":[5,1]}}", "|99! ?! 99! kept!|rewritten"},
      {"{\"K\":{\"V\":\"x\"}}", "|99! ?! 99! kept!|rewritten"},
      {"{\"K\":{\"V\":[3,\"a\"],\"V\":[3,\"b\"]}}", "|99! a 3 kept!|rewritten"},
      {"", "|99! ?! 99! kept!|rewritten"},
      {"{\"K\":\n" + std::string(1001, '[') + std::string(1001, ']') + "}",
       "nested deeper than 1000 levels at line 2, column 1000|99! ?! 99! kept!|kept"},
      {"{\"Other\":{\"V\":[1,1]}}", "holds no values of key K|99! ?! 99! kept!|kept"},
      {"{\"K\":[1]}", "holds no values of key K|99! ?! 99! kept!|kept"},
      {std::string((1 << 20) + 1, ' '), "1048577 bytes, over the limit of 1048576|99! ?! 99! kept!|kept"}};
  const auto l_Said = [](KELSysResult iRc, const std::string& iOutput) {
    return iOutput + (iRc == KEL_S_OK ? "" : iRc == KEL_E_FAIL ? "!" : "!" + KELSysResultName(iRc));
  };
  for (const auto& [l_File, l_Expected] : k_Cases) {
    WriteKey("HKLM/K", l_File);
    KELSysRegKey l_Key;
    ASSERT_EQ(l_Key.OpenKey(k_HKLM, "K", k_ReadWrite), KEL_S_OK);
    uint32_t l_Dword = 99, l_Type = 99;
    MORUnicodeString l_String = "?";
    Names l_List{"kept"};
    const KELSysResult l_Rc[] = {l_Key.QueryDWORDValue("V", l_Dword), l_Key.QueryStringValue("V", l_String),
                                 l_Key.QueryValueType("V", l_Type), l_Key.QueryMultiStringValue("V", l_List)};
    std::string l_Items;
    for (const MORUnicodeString& l_Item : l_List)
      l_Items += (l_Items.empty() ? "" : ",") + std::string(l_Item.ConvertToUTF8());
    const std::string l_Got = l_Key.GetDamage() + "|" + l_Said(l_Rc[0], std::to_string(l_Dword)) + " " +
                              l_Said(l_Rc[1], l_String.ConvertToUTF8()) + " " +
                              l_Said(l_Rc[2], std::to_string(l_Type)) + " " + l_Said(l_Rc[3], l_Items);
    EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
    EXPECT_EQ(l_Got + (Read("HKLM/K.json") == l_File ? "|kept" : "|rewritten"), l_Expected)
        << l_File.substr(0, 40);
  }
  uint32_t l_Type = 99;  // nothing open: the output untouched
  EXPECT_TRUE(KELSysRegKey().QueryValueType("V", l_Type) == KEL_S_OK && l_Type == 99u);
}

// Access flags without both 0x1 and 0x8 open read-only: every change is refused, and the file keeps
// its bytes and its time whether the trace is on (the write-back is tried and shows its text) or off
// (it is skipped).
TEST_F(KELSysRegKeyTest, ReadOnlyKeysNeverChangeTheFile) {
  const std::string l_Bytes = "{\"K\":{\"Path\":[3,\"/opt\"]},\"Version\":\"1.0\"}   ";
  const std::string l_Tried = "CloseKey l_JSON: {\"Version\":\"1.0\",\"K\":{\"Path\":[3,\"/opt\"]}}\n";
  for (uint32_t l_Access : {0x8u, 0x2u, 0x1u, 0x0u, 0x7u})
    for (bool l_Traced : {false, true}) {
      SCOPED_TRACE("access " + std::to_string(l_Access) + (l_Traced ? ", traced" : ""));
      WriteKey("HKLM/K", l_Bytes);
      WriteKey("HKLM/K/Sub");
      const auto l_Time = fs::last_write_time(At("HKLM/K.json"));
      KELSysRegKey l_Key;
      if (l_Traced) l_Key.SetTraceForTest(&m_Trace);
      ASSERT_EQ(l_Key.OpenKey(k_HKLM, "K", l_Access), KEL_S_OK);
      EXPECT_EQ(KELSysRegValue(l_Key, "Path"), "/opt");
      for (KELSysResult l_Rc :
           {l_Key.SetStringValue("Path", "/other"), l_Key.SetDWORDValue("N", 1), l_Key.DeleteValue("Path"),
            l_Key.DeleteSubKey("Sub"), l_Key.RecurseDeleteKey("Sub")})
        EXPECT_EQ(l_Rc, KEL_E_ACCESSDENIED);
      EXPECT_EQ(l_Key.CloseKey(), KEL_S_OK);
      EXPECT_EQ(Read("HKLM/K.json"), l_Bytes);
      EXPECT_EQ(fs::last_write_time(At("HKLM/K.json")), l_Time);
      EXPECT_TRUE(Exists("HKLM/K/Sub.json"));
      EXPECT_EQ(TakeTrace().ends_with(l_Tried), l_Traced);  // the text the write-back would have written
    }
}

}  // namespace

// The registry root setting, and the type query.
#include <gtest/gtest.h>

#include "KELSysRegRoot.h"
#include "KELSysRegTestSupport.h"

namespace {

class KELSysRegRootTest : public KELSysRegKeyTest {
 protected:
  ~KELSysRegRootTest() override { KELSysRegSetRegistryRoot(nullptr); }
};

TEST_F(KELSysRegRootTest, MovesAllThreeHivesAndTakesPrecedenceOverTheTestRoot) {
  fs::create_directories(Path("image"));
  EXPECT_EQ(KELSysRegSetRegistryRoot((Path("image") + "//").c_str()), KEL_S_OK);
  EXPECT_EQ(KELSysRegGetRegistryRoot(), Path("image"));
  KELSysRegKey l_Key;
  for (auto [l_Hive, l_Name] : {std::pair{KELSysRegHiveClassesRoot, "HKCR"},
                                {KELSysRegHiveCurrentUser, "HKCU"},
                                {KELSysRegHiveLocalMachine, "HKLM"}}) {
    ASSERT_EQ(l_Key.CreateKey(l_Hive, "A\\B", KELSysRegAccessReadWrite), KEL_S_OK) << l_Name;
    EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), Path("image/") + l_Name + "/A/B.json");
    EXPECT_TRUE(Exists(std::string("image/") + l_Name + ".json")) << l_Name;
  }
  l_Key.CloseKey();
  fs::create_directories(Path("image/HKLM/Stray"));  // no key file: not a key
  Names l_Names;
  EXPECT_EQ(KELSysRegListHive(KELSysRegHiveLocalMachine, l_Names), KEL_S_OK);
  EXPECT_EQ(l_Names, Names{"A"});
  EXPECT_EQ(KELSysRegListHive(4, l_Names), KEL_E_FAIL);
  fs::remove_all(Path("image/HKCR"));
  EXPECT_EQ(KELSysRegListHive(KELSysRegHiveClassesRoot, l_Names), KEL_E_NOTFOUND);
  EXPECT_FALSE(Exists("HKLM") || Exists("HKCR") || Exists("home/.Quorvane"));
  // Restored: the test root and HOME again.
  EXPECT_EQ(KELSysRegSetRegistryRoot(""), KEL_S_OK);
  EXPECT_EQ(KELSysRegGetRegistryRoot(), "");
  ASSERT_EQ(l_Key.CreateKey(KELSysRegHiveCurrentUser, "A", KELSysRegAccessReadWrite), KEL_S_OK);
  EXPECT_EQ(l_Key.GetPath().ConvertToUTF8(), Path("home/.Quorvane/HKCU/A.json"));
}

TEST_F(KELSysRegRootTest, ValueTypeIsTheOneItsQueryReads) {
  WriteKey("HKLM/K",
           "{\"Version\":\"1.0\",\"K\":{\"D\":[1,5],\"Q\":[2,-1],\"S\":[3,\"x\"],\"M\":[4,[\"a\",\"b\"]],"
           "\"E\":[4,[]],\"BadD\":[1,\"5\"],\"BadM\":[4,[\"a\",1]],\"Unknown\":[5,1],\"Three\":[3,\"x\",1],"
           "\"Short\":[3],\"NotPair\":3}}");
  KELSysRegKey l_Key;
  uint32_t l_Type = 99;
  EXPECT_EQ(l_Key.QueryValueType("D", l_Type), KEL_S_OK);  // nothing open: untouched
  EXPECT_EQ(l_Type, 99u);
  ASSERT_EQ(l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead), KEL_S_OK);
  for (auto [l_Name, l_Expected] : {std::pair{"D", 1u}, {"Q", 2u}, {"S", 3u}, {"M", 4u}, {"E", 4u}}) {
    EXPECT_EQ(l_Key.QueryValueType(l_Name, l_Type), KEL_S_OK) << l_Name;
    EXPECT_EQ(l_Type, l_Expected) << l_Name;
  }
  for (const char* l_Name : {"BadD", "BadM", "Unknown", "Three", "Short", "NotPair", "Missing"})
    EXPECT_EQ(l_Key.QueryValueType(l_Name, l_Type), KEL_E_FAIL) << l_Name;
}

}  // namespace

// What opening keys costs at its peak when their files have the costliest shapes: at most 16 times
// the bytes of the files read plus KELSysJSONPeakFixed for each key open at once, up to the file
// size limit, whatever the shape. The shapes that would cost more are refused, and only they.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "../../MORSysTS03.m/tests/KELSysJSONShapes.h"
#include "../../MORSysTS03.m/tests/KELSysMemoryPeak.h"
#include "KELSysJSONPrivate.h"
#include "KELSysRegTestSupport.h"
#include "MORFileLockBytes.h"

namespace {

constexpr int64_t k_PerKey = KELSysJSONPeakFixed;
constexpr int64_t k_PerByte = 16;

// True when the key opens without values: the shape is refused, or nested past the depth bound.
bool Refused(KELSysJSONShape iShape) {
  for (KELSysJSONShape l_Shape : KELSysJSONContainerShapes)
    if (l_Shape == iShape) return true;
  return iShape == KELSysJSONShape::NestedArrays || iShape == KELSysJSONShape::NestedObjects;
}

class KELSysRegKeyMemory : public KELSysRegKeyTest, public testing::WithParamInterface<KELSysJSONShape> {
 protected:
  // Keys K0 ... below the local-machine hive, each with a key file of the shape and iSize bytes;
  // the bytes written in all.
  int64_t WriteKeys(int iCount, size_t iSize) {
    int64_t l_Bytes = 0;
    for (int l_Key = 0; l_Key < iCount; ++l_Key) {
      // Each file holds its own key's name.
      std::string l_Text = KELSysJSONShapeText(GetParam(), iSize - 1);
      l_Text.replace(l_Text.find("\"K\""), 3, "\"K" + std::to_string(l_Key) + "\"");
      WriteKey("HKLM/K" + std::to_string(l_Key), l_Text);
      l_Bytes += static_cast<int64_t>(l_Text.size());
    }
    return l_Bytes;
  }

  // Opens iCount keys together (each holding its values), then closes them; the peak. The keys
  // hold the values of their files unless the shape is one refused.
  static int64_t OpenTogether(int iCount, bool iRefused) {
    for (int l_Key = 0; l_Key < iCount; ++l_Key) {
      KELSysRegKey l_Open;
      std::vector<MORUnicodeString> l_Values;
      EXPECT_EQ(l_Open.OpenKey(KELSysRegHiveLocalMachine, ("K" + std::to_string(l_Key)).c_str(),
                               KELSysRegAccessRead) |
                    l_Open.EnumValues(l_Values),
                KEL_S_OK);
      EXPECT_EQ(l_Values.empty(), iRefused);
    }
    return KELSysMemoryPeak([iCount] {
      std::vector<KELSysRegKey> l_Keys(static_cast<size_t>(iCount));
      for (int l_Key = 0; l_Key < iCount; ++l_Key) {
        const std::string l_Name = "K" + std::to_string(l_Key);
        if (l_Keys[static_cast<size_t>(l_Key)].OpenKey(KELSysRegHiveLocalMachine, l_Name.c_str(),
                                                       KELSysRegAccessRead) != KEL_S_OK)
          abort();
      }
    });
  }
};

// One key file at the size limit; three keys open at once at half the limit, as a walk holds a level,
// a type and an identifier key: what each keeps while open adds up, and the parser's storage kept
// for the thread counts once.
TEST_P(KELSysRegKeyMemory, KeysOpenTogether) {
  for (int l_Keys : {1, 3}) {
    const int64_t l_Bytes = WriteKeys(l_Keys, MORFileLockBytesMaxSize / (l_Keys == 1 ? 1 : 2));
    const int64_t l_Peak = OpenTogether(l_Keys, Refused(GetParam()));
    ASSERT_GT(l_Peak, 0);
    EXPECT_LE(l_Peak, k_PerByte * l_Bytes + l_Keys * k_PerKey)
        << l_Peak / double(l_Bytes) << " bytes a byte, " << l_Keys << " keys";
  }
}

std::string ShapeName(const testing::TestParamInfo<KELSysJSONShape>& iShape) {
  return KELSysJSONShapeName(iShape.param);
}
INSTANTIATE_TEST_SUITE_P(Shapes, KELSysRegKeyMemory, testing::ValuesIn(KELSysJSONAllShapes), ShapeName);
INSTANTIATE_TEST_SUITE_P(MixedShapes, KELSysRegKeyMemory, testing::ValuesIn(KELSysJSONMixedShapes),
                         ShapeName);
INSTANTIATE_TEST_SUITE_P(ContainerShapes, KELSysRegKeyMemory, testing::ValuesIn(KELSysJSONContainerShapes),
                         ShapeName);

}  // namespace

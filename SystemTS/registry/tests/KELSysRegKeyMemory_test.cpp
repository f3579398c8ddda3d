// What opening keys costs at its peak when their files have the costliest shapes: at most 16 times
// the bytes of the files read plus KELSysJSONPeakFixed for each key open at once, up to the file
// size limit, whatever the shape. The shapes that would cost more are refused, and only they.
#include <algorithm>

#include "../../MORSysTS03.m/tests/KELSysJSONShapes.h"
#include "../../MORSysTS03.m/tests/KELSysMemoryPeak.h"
#include "KELSysJSONPrivate.h"
#include "KELSysRegTestSupport.h"
#include "MORFileLockBytes.h"

namespace {

constexpr int64_t k_PerKey = KELSysJSONPeakFixed, k_PerByte = 16;

class KELSysRegKeyMemory : public KELSysRegKeyTest, public testing::WithParamInterface<KELSysJSONShape> {};

// One key file at the size limit; three keys open at once at half the limit, as a walk holds a level,
// a type and an identifier key: what each keeps while open adds up, and the parser's storage kept
// for the thread counts once. Keys K0 ... each have a file of the shape that holds its own name,
// and hold its values unless the shape is refused (or nested past the depth bound).
TEST_P(KELSysRegKeyMemory, KeysOpenTogether) {
  const bool l_Refused = std::ranges::count(KELSysJSONContainerShapes, GetParam()) != 0 ||
                         GetParam() == KELSysJSONShape::NestedArrays ||
                         GetParam() == KELSysJSONShape::NestedObjects;
  for (int l_Keys : {1, 3}) {
    int64_t l_Bytes = 0;
    for (int l_Key = 0; l_Key < l_Keys; ++l_Key) {
      const std::string l_Name = "K" + std::to_string(l_Key);
      std::string l_Text =
          KELSysJSONShapeText(GetParam(), MORFileLockBytesMaxSize / (l_Keys == 1 ? 1 : 2) - 1);
      WriteKey("HKLM/" + l_Name, l_Text.replace(l_Text.find("\"K\""), 3, "\"" + l_Name + "\""));
      l_Bytes += static_cast<int64_t>(l_Text.size());
      KELSysRegKey l_Open;
      Names l_Values;
      EXPECT_EQ(l_Open.OpenKey(k_HKLM, l_Name.c_str(), k_Read), KEL_S_OK);
      l_Open.EnumValues(l_Values);
      EXPECT_EQ(l_Values.empty(), l_Refused);
    }
    const int64_t l_Peak = KELSysMemoryPeak([l_Keys] {
      std::vector<KELSysRegKey> l_Open(static_cast<size_t>(l_Keys));
      for (int l_Key = 0; l_Key < l_Keys; ++l_Key)
        if (l_Open[size_t(l_Key)].OpenKey(k_HKLM, ("K" + std::to_string(l_Key)).c_str(), k_Read) != KEL_S_OK)
          abort();
    });
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

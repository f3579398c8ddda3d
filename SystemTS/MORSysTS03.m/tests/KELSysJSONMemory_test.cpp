// What reading a text into a tree costs at its peak, for the texts that cost the most per byte. The
// registry's file size limit rests on this: a text of n bytes read with KELSysJSON::Read takes at
// most KELSysJSONPeakPerByte n bytes plus KELSysJSONPeakFixed, and at most 16 n plus that for
// every shape but those whose containers hold a member or two each. (A reader that gives Read a
// budget of 14 n is held to 16 n for every shape, the costlier ones refused: the registry does, and
// KELSysRegKeyMemory_test.cpp measures it.)
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONShapes.h"
#include "KELSysMemoryPeak.h"

namespace {

struct MemoryCase {
  KELSysJSONShape m_Shape;
  size_t m_Size;
  int64_t m_PerByte;  // the bound, in bytes a byte of text
};

void PrintTo(const MemoryCase& iCase, std::ostream* oOut) {
  *oOut << KELSysJSONShapeName(iCase.m_Shape) << ", " << (iCase.m_Size >> 10) << " KiB, " << iCase.m_PerByte
        << " bytes a byte";
}

class KELSysJSONMemory : public testing::TestWithParam<MemoryCase> {};

// A fresh document reads the text, whose tree stays until the peak is taken.
TEST_P(KELSysJSONMemory, PeakStaysWithinTheBound) {
  const std::string l_Text = KELSysJSONShapeText(GetParam().m_Shape, GetParam().m_Size);
  const int64_t l_Peak = KELSysMemoryPeak([&] {
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    // Deep texts stop at the depth bound; every other shape reads.
    const KELSysResult l_Rc = l_JSON.Read(l_Text.data(), l_Text.size(), l_Root);
    if (l_Rc != KEL_S_OK && l_Rc != KEL_E_FAIL) abort();
  });
  ASSERT_GT(l_Peak, 0);
  EXPECT_LE(l_Peak, GetParam().m_PerByte * static_cast<int64_t>(l_Text.size()) + int64_t{KELSysJSONPeakFixed})
      << l_Peak / static_cast<double>(l_Text.size()) << " bytes a byte";
}

std::vector<MemoryCase> Cases() {
  std::vector<MemoryCase> l_Cases;
  for (size_t l_Size : {size_t(64) << 10, size_t(1) << 20}) {
    for (KELSysJSONShape l_Shape : KELSysJSONAllShapes) l_Cases.push_back({l_Shape, l_Size, 16});
    for (KELSysJSONShape l_Shape : KELSysJSONMixedShapes) l_Cases.push_back({l_Shape, l_Size, 16});
    for (KELSysJSONShape l_Shape : KELSysJSONContainerShapes)
      l_Cases.push_back({l_Shape, l_Size, KELSysJSONPeakPerByte});
  }
  return l_Cases;
}

INSTANTIATE_TEST_SUITE_P(Shapes, KELSysJSONMemory, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<MemoryCase>& iCase) {
                           return std::string(KELSysJSONShapeName(iCase.param.m_Shape)) + "_" +
                                  std::to_string(iCase.param.m_Size >> 10) + "KiB";
                         });

}  // namespace

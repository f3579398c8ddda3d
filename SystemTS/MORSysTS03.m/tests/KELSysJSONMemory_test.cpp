// What a parse and build costs at its peak, for the texts that cost the most per byte. The
// registry's file size limit rests on this: a text of n bytes takes at most KELSysJSONPeakPerByte n
// bytes, plus KELSysJSONPeakFixed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONShapes.h"
#include "KELSysMemoryPeak.h"

namespace {

constexpr int64_t k_BytesPerByte = KELSysJSONPeakPerByte;
constexpr int64_t k_Fixed = KELSysJSONPeakFixed;

struct MemoryCase {
  KELSysJSONShape m_Shape;
  size_t m_Size;
};

class KELSysJSONMemory : public testing::TestWithParam<MemoryCase> {};

// A fresh document parses the text and builds the tree, which stays until the peak is taken.
TEST_P(KELSysJSONMemory, PeakStaysWithinTheBound) {
  const std::string l_Text = KELSysJSONShapeText(GetParam().m_Shape, GetParam().m_Size);
  const int64_t l_Peak = KELSysMemoryPeak([&] {
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    // Deep texts stop at the depth bound; every other shape parses and builds.
    if (l_JSON.Parse(l_Text.data(), l_Text.size()) == KEL_S_OK && l_JSON.Build(l_Root) != KEL_S_OK) abort();
  });
  ASSERT_GT(l_Peak, 0);
  EXPECT_LE(l_Peak, k_BytesPerByte * static_cast<int64_t>(l_Text.size()) + k_Fixed)
      << l_Peak / static_cast<double>(l_Text.size()) << " bytes a byte";
}

std::vector<MemoryCase> Cases() {
  std::vector<MemoryCase> l_Cases;
  for (size_t l_Size : {size_t(64) << 10, size_t(1) << 20})
    for (KELSysJSONShape l_Shape : KELSysJSONAllShapes) l_Cases.push_back({l_Shape, l_Size});
  return l_Cases;
}

INSTANTIATE_TEST_SUITE_P(Shapes, KELSysJSONMemory, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<MemoryCase>& iCase) {
                           return std::string(KELSysJSONShapeName(iCase.param.m_Shape)) + "_" +
                                  std::to_string(iCase.param.m_Size >> 10) + "KiB";
                         });

}  // namespace

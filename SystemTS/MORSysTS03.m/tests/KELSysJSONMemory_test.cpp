// What reading a text into a tree costs at its peak, for the texts that cost the most per byte. The
// registry's file size limit rests on this: a text of n bytes read with KELSysJSON::Read takes at
// most KELSysJSONPeakPerByte n bytes plus KELSysJSONPeakFixed, and at most 16 n plus that for
// every shape but those whose containers hold a member or two each. (A reader that gives Read a
// budget of 14 n is held to 16 n for every shape, the costlier ones refused: the registry does, and
// KELSysRegKeyMemory_test.cpp measures it.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <tuple>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONShapes.h"
#include "KELSysMemoryPeak.h"

namespace {

// A shape and the size of its text; printed by the shape's PrintTo, named "Shape_64KiB".
using MemoryCase = std::tuple<KELSysJSONShape, size_t>;
class KELSysJSONMemory : public testing::TestWithParam<MemoryCase> {};

// A fresh document reads the text, whose tree stays until the peak is taken.
TEST_P(KELSysJSONMemory, PeakStaysWithinTheBound) {
  const auto [l_Shape, l_Size] = GetParam();
  const std::string l_Text = KELSysJSONShapeText(l_Shape, l_Size);
  const int64_t l_Peak = KELSysMemoryPeak([&] {
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    // Deep texts stop at the depth bound; every other shape reads.
    const KELSysResult l_Rc = l_JSON.Read(l_Text.data(), l_Text.size(), l_Root);
    if (l_Rc != KEL_S_OK && l_Rc != KEL_E_FAIL) abort();
  });
  const bool l_Containers =
      std::ranges::find(KELSysJSONContainerShapes, l_Shape) != std::end(KELSysJSONContainerShapes);
  const int64_t l_PerByte = l_Containers ? int64_t{KELSysJSONPeakPerByte} : 16;  // bytes a byte of text
  ASSERT_GT(l_Peak, 0);
  EXPECT_LE(l_Peak, l_PerByte * static_cast<int64_t>(l_Text.size()) + int64_t{KELSysJSONPeakFixed})
      << l_Peak / static_cast<double>(l_Text.size()) << " bytes a byte";
}

std::string Name(const testing::TestParamInfo<MemoryCase>& iCase) {
  return KELSysJSONShapeName(std::get<0>(iCase.param)) +
         ("_" + std::to_string(std::get<1>(iCase.param) >> 10)) + "KiB";
}
const auto k_Sizes = testing::Values(size_t(64) << 10, size_t(1) << 20);
INSTANTIATE_TEST_SUITE_P(Shapes, KELSysJSONMemory,
                         testing::Combine(testing::ValuesIn(KELSysJSONAllShapes), k_Sizes), Name);
INSTANTIATE_TEST_SUITE_P(MixedShapes, KELSysJSONMemory,
                         testing::Combine(testing::ValuesIn(KELSysJSONMixedShapes), k_Sizes), Name);
INSTANTIATE_TEST_SUITE_P(ContainerShapes, KELSysJSONMemory,
                         testing::Combine(testing::ValuesIn(KELSysJSONContainerShapes), k_Sizes), Name);

}  // namespace

#include "KELInsPath.h"

#include <gtest/gtest.h>

struct PathCase {
  std::string m_Input, m_Text;
  int m_Root;
  std::string m_Parent, m_Name;
};

class KELInsPathTable : public ::testing::TestWithParam<PathCase> {};

TEST_P(KELInsPathTable, NormalisesAndSplits) {
  const KELInsPath l_Path(GetParam().m_Input);
  EXPECT_EQ(l_Path.GetText(), GetParam().m_Text);
  EXPECT_EQ(l_Path.GetRoot(), GetParam().m_Root);
  EXPECT_EQ(l_Path.GetParent().GetText(), GetParam().m_Parent);
  EXPECT_EQ(l_Path.GetName(), GetParam().m_Name);
}

// Only one matching pair of enclosing quotes is stripped.
INSTANTIATE_TEST_SUITE_P(
    Normalise, KELInsPathTable,
    ::testing::Values(PathCase{"'/a//b/'", "/a/b", 0, "/a", "b"}, PathCase{"C:\\x\\", "C:/x", -1, "C:", "x"},
                      PathCase{"", "", -1, "", ""}, PathCase{"////", "/", 0, "", ""},
                      PathCase{"/top", "/top", 0, "/", "top"}, PathCase{"\"x y//\"", "x y", -1, "", "x y"},
                      PathCase{"\"a'", "\"a'", -1, "", "\"a'"}, PathCase{"'", "'", -1, "", "'"}));

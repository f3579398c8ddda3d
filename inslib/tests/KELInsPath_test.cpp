#include "KELInsPath.h"

#include <gtest/gtest.h>

// Paths are normalised (slashes, doubled separators, one matching pair of enclosing quotes stripped)
// and split into root, parent and name.
TEST(KELInsPath, NormalisesAndSplits) {
  struct PathCase {
    std::string m_Input, m_Text;
    int m_Root;
    std::string m_Parent, m_Name;
  };
  for (const PathCase& l_Case :
       {PathCase{"'/a//b/'", "/a/b", 0, "/a", "b"}, PathCase{"C:\\x\\", "C:/x", -1, "C:", "x"},
        PathCase{"", "", -1, "", ""}, PathCase{"////", "/", 0, "", ""},
        PathCase{"/top", "/top", 0, "/", "top"}, PathCase{"\"x y//\"", "x y", -1, "", "x y"},
        PathCase{"\"a'", "\"a'", -1, "", "\"a'"}, PathCase{"'", "'", -1, "", "'"}}) {
    const KELInsPath l_Path(l_Case.m_Input);
    EXPECT_EQ(
        l_Path.GetText() + "|" + std::to_string(l_Path.GetRoot()) + "|" + l_Path.GetParent().GetText() + "|" +
            l_Path.GetName(),
        l_Case.m_Text + "|" + std::to_string(l_Case.m_Root) + "|" + l_Case.m_Parent + "|" + l_Case.m_Name)
        << l_Case.m_Input;
  }
}

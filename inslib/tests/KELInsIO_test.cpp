#include "KELInsIO.h"

#include "KELInsTestDir.h"

using KELInsIOTest = KELInsTestDir;

// Lines are joined again by bare line feeds when something was replaced; a file with no match, or
// none at all, is left byte for byte; the temporary file never stays.
TEST_F(KELInsIOTest, RewritesLinesOnlyWhenSomethingMatches) {
  struct Case {
    const char *m_Before, *m_From;
    int32_t m_Count;
    const char* m_After;
  };
  for (const Case& l_Case :
       {Case{"a=1\nb=1\n", "1", 2, "a=2\nb=2"}, Case{"x=1\r\n\r\ny=0\r\r\n", "1", 1, "x=2\n\ny=0\r"},
        Case{"x=1\r\ny=0\r\n\n", "zz", 0, "x=1\r\ny=0\r\n\n"}}) {
    Write("f", l_Case.m_Before);
    EXPECT_EQ(KELInsIO::ReplaceInLines(At("f"), l_Case.m_From, "2"), l_Case.m_Count) << l_Case.m_Before;
    EXPECT_EQ(Read("f"), l_Case.m_After);
    EXPECT_FALSE(Exists("f_TmpRIL"));
  }
  EXPECT_EQ(KELInsIO::ReplaceInLines(At("none"), "", "2"), 0);
}

TEST_F(KELInsIOTest, ReadOnlyFileIsRewrittenInPlaceAndItsModeRestored) {
  Write("ro", "v=old\n");
  ASSERT_EQ(::link(At("ro").c_str(), At("alias").c_str()), 0);
  ASSERT_EQ(::chmod(At("ro").c_str(), 0444), 0);
  EXPECT_EQ(KELInsIO::ReplaceInLines(m_Dir + "\\ro", "old", "new"), 1);  // a backslash reads as a slash
  EXPECT_EQ(Read("alias"), "v=new");
  EXPECT_EQ(ModeOf("ro"), 0444u);
}

TEST_F(KELInsIOTest, FailuresNameTheCauseAndBothTexts) {
  const std::string l_Texts = "\nReplaced: a\nReplacing: b";
  Write("f", "a");
  ASSERT_EQ(::mkdir(At("f_TmpRIL").c_str(), 0755), 0);
  for (const auto& [l_File, l_Cause] :
       std::vector<std::pair<std::string, std::string>>{{"", "Filename is empty"},
                                                        {At("none"), "Failed to open " + At("none")},
                                                        {At("f"), "Failed to open " + At("f_TmpRIL")},
                                                        {m_Dir, "Failed to read " + m_Dir}})
    ExpectFailure<std::runtime_error>([&] { KELInsIO::ReplaceInLines(l_File, "a", "b"); },
                                      "KELInsIO::ReplaceInLines: " + l_Cause + l_Texts);
}

TEST(KELInsIO, ReplaceAllNeverRescansInsertedText) {
  auto l_Replace = [](std::string iText, const std::string& iFrom, const std::string& iTo, size_t iStart) {
    const int32_t l_Count = KELInsIO::ReplaceAll(iText, iFrom, iTo, iStart);
    return iText + "#" + std::to_string(l_Count);
  };
  EXPECT_EQ(l_Replace("aaa", "a", "aa", 0), "aaaaaa#3");
  EXPECT_EQ(l_Replace("aaa", "aa", "b", 0), "ba#1");
  EXPECT_EQ(l_Replace("abab", "ab", "", 0), "#2");
  EXPECT_EQ(l_Replace("aXaX", "a", "b", 1), "aXbX#1");
  EXPECT_EQ(l_Replace("abc", "", "z", 0), "abc#0");
}

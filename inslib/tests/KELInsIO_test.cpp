#include "KELInsIO.h"

#include "KELInsTestDir.h"

using KELInsIOTest = KELInsTestDir;

TEST_F(KELInsIOTest, RewritesLinesJoinedByBareLineFeeds) {
  Write("lf", "a=1\nb=1\n");
  EXPECT_EQ(KELInsIO::ReplaceInLines(At("lf"), "1", "2"), 2);
  EXPECT_EQ(Read("lf"), "a=2\nb=2");
  Write("crlf", "x=1\r\n\r\ny=0\r\r\n");
  EXPECT_EQ(KELInsIO::ReplaceInLines(At("crlf"), "1", "2"), 1);
  EXPECT_EQ(Read("crlf"), "x=2\n\ny=0\r");
  EXPECT_FALSE(Exists("crlf_TmpRIL"));
}

TEST_F(KELInsIOTest, NoMatchLeavesTheFileByteForByte) {
  Write("f", "x=1\r\ny=0\r\n\n");
  EXPECT_EQ(KELInsIO::ReplaceInLines(At("f"), "zz", "2"), 0);
  EXPECT_EQ(KELInsIO::ReplaceInLines(At("none"), "", "2"), 0);
  EXPECT_EQ(Read("f"), "x=1\r\ny=0\r\n\n");
  EXPECT_FALSE(Exists("f_TmpRIL"));
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
  ExpectFailure<std::runtime_error>([] { KELInsIO::ReplaceInLines("", "a", "b"); },
                                    "KELInsIO::ReplaceInLines: Filename is empty" + l_Texts);
  ExpectFailure<std::runtime_error>([&] { KELInsIO::ReplaceInLines(At("none"), "a", "b"); },
                                    "KELInsIO::ReplaceInLines: Failed to open " + At("none") + l_Texts);
  Write("f", "a");
  ASSERT_EQ(::mkdir(At("f_TmpRIL").c_str(), 0755), 0);
  ExpectFailure<std::runtime_error>([&] { KELInsIO::ReplaceInLines(At("f"), "a", "b"); },
                                    "KELInsIO::ReplaceInLines: Failed to open " + At("f_TmpRIL") + l_Texts);
  ExpectFailure<std::runtime_error>([&] { KELInsIO::ReplaceInLines(m_Dir, "a", "b"); },
                                    "KELInsIO::ReplaceInLines: Failed to read " + m_Dir + l_Texts);
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

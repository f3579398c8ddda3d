#include "KELInsIO.h"
#include "KELInsPath.h"

#include "KELInsTestDir.h"

using KELInsIOTest = KELInsTestDir;

// Lines are joined again by bare line feeds when something was replaced; a file with no match, or
// none at all, is left byte for byte; the temporary file never stays. A read-only file is rewritten
// in place, so that its other names see the change, and keeps its mode.
TEST_F(KELInsIOTest, RewritesLinesOnlyWhenSomethingMatches) {
  for (auto [l_Before, l_From, l_Count, l_After] :
       {std::tuple<const char*, const char*, int32_t, const char*>{"a=1\nb=1\n", "1", 2, "a=2\nb=2"},
        {"x=1\r\n\r\ny=0\r\r\n", "1", 1, "x=2\n\ny=0\r"},
        {"x=1\r\ny=0\r\n\n", "zz", 0, "x=1\r\ny=0\r\n\n"}}) {
    Write("f", l_Before);
    EXPECT_EQ(KELInsIO::ReplaceInLines(At("f"), l_From, "2"), l_Count) << l_Before;
    EXPECT_EQ(Read("f"), l_After);
    EXPECT_FALSE(Exists("f_TmpRIL"));
  }
  EXPECT_EQ(KELInsIO::ReplaceInLines(At("none"), "", "2"), 0);

  Write("ro", "v=old\n");
  ASSERT_EQ(::link(At("ro").c_str(), At("alias").c_str()), 0);
  ASSERT_EQ(::chmod(At("ro").c_str(), 0444), 0);
  EXPECT_EQ(KELInsIO::ReplaceInLines(Path() + "\\ro", "old", "new"), 1);  // a backslash reads as a slash
  EXPECT_EQ(Read("alias"), "v=new");
  EXPECT_EQ(ModeOf("ro"), 0444u);
}

TEST_F(KELInsIOTest, FailuresNameTheCauseAndBothTexts) {
  Write("f", "a");
  ASSERT_EQ(::mkdir(At("f_TmpRIL").c_str(), 0755), 0);
  for (const auto& [l_File, l_Cause] :
       std::vector<std::pair<std::string, std::string>>{{"", "Filename is empty"},
                                                        {At("none"), "Failed to open " + At("none")},
                                                        {At("f"), "Failed to open " + At("f_TmpRIL")},
                                                        {Path(), "Failed to read " + Path()}})
    ExpectFailure<std::runtime_error>([&] { KELInsIO::ReplaceInLines(l_File, "a", "b"); },
                                      "KELInsIO::ReplaceInLines: " + l_Cause + "\nReplaced: a\nReplacing: b");
}

TEST(KELInsIO, ReplaceAllNeverRescansInsertedText) {
  for (auto [l_Text, l_From, l_To, l_Start, l_Expected] :
       {std::tuple<std::string, const char*, const char*, size_t, const char*>{"aaa", "a", "aa", 0,
                                                                               "aaaaaa#3"},
        {"aaa", "aa", "b", 0, "ba#1"},
        {"abab", "ab", "", 0, "#2"},
        {"aXaX", "a", "b", 1, "aXbX#1"},
        {"abc", "", "z", 0, "abc#0"}}) {
    const int32_t l_Count = KELInsIO::ReplaceAll(l_Text, l_From, l_To, l_Start);
    EXPECT_EQ(l_Text + "#" + std::to_string(l_Count), l_Expected);
  }
}

// Paths are normalised (slashes, doubled separators, one matching pair of enclosing quotes stripped)
// and split: "input => text|root|parent|name".
TEST(KELInsPath, NormalisesAndSplits) {
  for (const std::string l_Case :
       {"'/a//b/' => /a/b|0|/a|b", "C:\\x\\ => C:/x|-1|C:|x", " => |-1||", "//// => /|0||",
        "/top => /top|0|/|top", "\"x y//\" => x y|-1||x y", "\"a' => \"a'|-1||\"a'", "' => '|-1||'"}) {
    const KELInsPath l_Path(l_Case.substr(0, l_Case.find(" => ")));
    EXPECT_EQ(l_Path.GetText() + "|" + std::to_string(l_Path.GetRoot()) + "|" + l_Path.GetParent().GetText() +
                  "|" + l_Path.GetName(),
              l_Case.substr(l_Case.find(" => ") + 4));
  }
}

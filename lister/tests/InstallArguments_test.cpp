// The query a command line makes, and the filter a query makes.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "InstallArguments.h"
#include "InstallFilter.h"

namespace {

InstallQuery Q(const char* iLevel, const char* iType, const char* iHfx) { return {iLevel, iType, iHfx, ""}; }

InstallArguments Parse(std::vector<const char*> iArgs, std::string* oErr = nullptr) {
  iArgs.insert(iArgs.begin(), "KELListInstalls");
  std::ostringstream l_Err;
  InstallArguments l_Args = ParseInstallArguments(static_cast<int>(iArgs.size()), iArgs.data(), l_Err);
  if (oErr) *oErr = l_Err.str();
  return l_Args;
}

TEST(InstallArguments, ValuesAreTakenWholeAndTheLastOccurrenceWins) {
  std::string l_Err;
  InstallArguments l_Args = Parse(
      {"-level", "A", "-type", "-Desk*", "-level", "B", "-hfxlevel", "--", "-o", "-h.xml", "-xml", "-xml"},
      &l_Err);
  EXPECT_EQ(l_Err, "");
  EXPECT_EQ(l_Args.query.level, "B");
  EXPECT_EQ(l_Args.query.type, "-Desk*");  // begins with "-" but is no option name
  EXPECT_EQ(l_Args.query.hfxLevel, "--");
  EXPECT_EQ(l_Args.query.outputPath, "-h.xml");
  EXPECT_TRUE(l_Args.wantXml);
  EXPECT_FALSE(l_Args.wantJson || l_Args.showUsage);
}

TEST(InstallArguments, ScanStopsAtHelpAndAtTheFirstError) {
  std::string l_Err;
  InstallArguments l_Help = Parse({"-json", "-h", "-xml", "-bogus"}, &l_Err);
  EXPECT_TRUE(l_Help.showUsage && l_Help.wantJson);
  EXPECT_FALSE(l_Help.wantXml);
  EXPECT_EQ(l_Err, "");
  InstallArguments l_Bad = Parse({"-level", "B419", "-LEVEL", "x", "--level", "y", "-json"}, &l_Err);
  EXPECT_TRUE(l_Bad.showUsage);
  EXPECT_FALSE(l_Bad.wantJson);
  EXPECT_EQ(l_Bad.query.level, "B419");
  EXPECT_EQ(l_Err, "Option -LEVEL is not a valid option.\n");
}

struct FilterCase {
  InstallQuery m_Query;
  const char* m_Level;
  const char* m_Type;
  const char* m_Hfx;
  bool m_Accepted;
};

class InstallFilterTest : public ::testing::TestWithParam<FilterCase> {};

TEST_P(InstallFilterTest, Accepts) {
  const FilterCase& l_Case = GetParam();
  EXPECT_EQ(InstallFilter(l_Case.m_Query).Accepts(l_Case.m_Level, l_Case.m_Type, l_Case.m_Hfx),
            l_Case.m_Accepted)
      << "level '" << l_Case.m_Query.level << "' type '" << l_Case.m_Query.type << "' hfx '"
      << l_Case.m_Query.hfxLevel << "' against " << l_Case.m_Level << " " << l_Case.m_Type << " "
      << l_Case.m_Hfx;
}

INSTANTIATE_TEST_SUITE_P(Table, InstallFilterTest,
                         ::testing::Values(FilterCase{Q("", "", ""), "", "", "", true},
                                           FilterCase{Q("B419", "", ""), "B419", "T", "1", true},
                                           FilterCase{Q("B419", "", ""), "b419", "T", "1", false},
                                           FilterCase{Q("B419", "", ""), "B419 ", "T", "1", false},
                                           FilterCase{Q("B419", "", ""), "B41", "T", "1", false},
                                           FilterCase{Q("", "Desk*", ""), "B", "Desktop", "1", true},
                                           FilterCase{Q("", "Desk*", ""), "B", "Desk", "1", true},
                                           FilterCase{Q("", "Desk*", ""), "B", "Des", "1", false},
                                           FilterCase{Q("", "Desk*", ""), "B", "desktop", "1", false},
                                           FilterCase{Q("", "*", ""), "B", "", "1", true},
                                           FilterCase{Q("", "*top", ""), "B", "Desktop", "1", false},
                                           FilterCase{Q("", "*top", ""), "B", "*top", "1", true},
                                           FilterCase{Q("", "D*k*", ""), "B", "D*kX", "1", true},
                                           FilterCase{Q("", "D*k*", ""), "B", "Dark", "1", false},
                                           FilterCase{Q("", "desktop", ""), "B", "Desktop", "1", false},
                                           FilterCase{Q("", "Desktop", ""), "B", "Desktop2", "1", false},
                                           FilterCase{Q("", "", "419"), "B", "T", "419.1", false},
                                           FilterCase{Q("", "", "UNKNOWN"), "B", "T", "UNKNOWN", true},
                                           FilterCase{Q("B419", "Desk*", "419.1"), "B419", "Desktop", "419.2",
                                                      false}));

}  // namespace

#include "KELSysCodePage.h"

#include <gtest/gtest.h>

#include <string>

#include "KELSysIConvTSWrap.h"
#include "MORSysTS00TestEnv.h"

namespace {

class KELSysCodePageTest : public MORSysTS00Env {
 protected:
  // A diagnostic line as the locale's trace channel writes it; the tests switch diagnostics on.
  static std::string Line(const std::string& iText) { return "[I] KELSysNLSCore: " + PID() + iText + "\n"; }
};

TEST_F(KELSysCodePageTest, NamesPickTheConverter) {
  setenv("KELSysNLSCoreTrace", "1", 1);
  EXPECT_TRUE(KELSysCodePage("utf8").IsUTF8());
  EXPECT_FALSE(KELSysCodePage("UTF-8X").IsUTF8());
  EXPECT_TRUE(KELSysCodePage("Identity").IsIdentity());

  testing::internal::CaptureStderr();
  KELSysCodePage l_Unknown("NO-SUCH-SET");
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      Line("[KELSysIConvTSWrap] failed to initialize converters for conversion NO-SUCH-SET <-> UTF-16LE"));
  std::u16string l_Units = u"kept";
  std::string l_Bytes = "kept";
  EXPECT_FALSE(l_Unknown.IsValid());
  EXPECT_EQ(l_Unknown.ToUTF16("abc", 3, l_Units), KEL_E_FAIL);
  EXPECT_EQ(l_Unknown.FromUTF16(u"abc", 3, l_Bytes), KEL_E_FAIL);
  EXPECT_EQ(l_Units, u"kept");
  EXPECT_EQ(l_Bytes, "kept");

  testing::internal::CaptureStderr();
  EXPECT_EQ(KELSysIConvTSWrap::Get(1000, true), reinterpret_cast<iconv_t>(-1));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            Line("[KELSysIConvTSWrap] The input IConvDesc_t handle is invalid."));
}

TEST_F(KELSysCodePageTest, ProblemsAreReportedAndConversionGoesOn) {
  setenv("KELSysNLSCoreTrace", "1", 1);
  KELSysCodePage l_Page("EUC-JP");
  std::u16string l_Units;
  testing::internal::CaptureStderr();
  EXPECT_EQ(l_Page.ToUTF16("a\xFF\xA4\xA2\xA4", 5, l_Units), KEL_E_FAIL);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            Line("iconv errno is: 84") + Line("iconv EINVAL error: input buffer was truncated."));
  EXPECT_EQ(l_Units, u"a\xDCFF\u3042\xDCA4");

  std::string l_Bytes;
  testing::internal::CaptureStderr();
  EXPECT_EQ(l_Page.FromUTF16(u"\u3042\xDCFF\U0001F600\u00E9\xD800", 6, l_Bytes), KEL_E_FAIL);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(l_Bytes, "\xA4\xA2\xFF?\x8F\xAB\xB1?");  // the pair is one character

  l_Bytes.clear();
  EXPECT_EQ(KELSysCodePage("Identity").FromUTF16(u"a\u00E9\u20AC", 3, l_Bytes), KEL_E_FAIL);
  EXPECT_EQ(l_Bytes, "a\xE9?");
  // A text that ends between the two units of a pair ends with a lone one, whatever follows it.
  l_Bytes.clear();
  KELSysCodePage("UTF-8").FromUTF16(u"a\xD83D\xDE00", 2, l_Bytes);
  EXPECT_EQ(l_Bytes, "a\xEF\xBF\xBD");
}

TEST_F(KELSysCodePageTest, NextMultiByteCharIsOneUnit) {
  setenv("KELSysNLSCoreTrace", "1", 1);
  struct Case {
    const char* m_CodeSet;
    std::string m_Bytes;
    KELSysResult m_Rc;
    char16_t m_Unit;
    size_t m_Read;
  };
  const Case l_Cases[] = {
      {"EUC-JP", "\xA4\xA2z", KEL_S_OK, u'\u3042', 2},
      {"EUC-JP", "z\xA4", KEL_S_OK, u'z', 1},
      {"EUC-JP", "\xA4", KEL_E_FAIL, 0, 0},
      {"UTF-8", "\xC3\xA9", KEL_S_OK, u'\u00E9', 2},
      {"UTF-8", "\xC3", KEL_E_FAIL, 0, 0},
      {"Identity", "\xE9", KEL_S_OK, u'\u00E9', 1},
  };
  for (const Case& l_Case : l_Cases) {
    const char* l_Text = l_Case.m_Bytes.data();
    size_t l_Left = l_Case.m_Bytes.size();
    char16_t l_Unit = 0;
    EXPECT_EQ(KELSysCodePage(l_Case.m_CodeSet).GetNextMultiByteCharAsUTF16(l_Text, l_Left, l_Unit),
              l_Case.m_Rc)
        << l_Case.m_CodeSet << " " << l_Case.m_Bytes;
    EXPECT_EQ(l_Unit, l_Case.m_Unit);
    EXPECT_EQ(l_Text - l_Case.m_Bytes.data(), static_cast<ptrdiff_t>(l_Case.m_Read));
    EXPECT_EQ(l_Left + l_Case.m_Read, l_Case.m_Bytes.size());
  }
  // A character that needs two units is not one unit, through iconv or not.
  for (auto [l_CodeSet, l_Bytes] :
       {std::pair<const char*, const char*>{"UTF-8", "\xF0\x9F\x98\x80"}, {"GB18030", "\x94\x39\xFC\x36"}}) {
    const char* l_Text = l_Bytes;
    size_t l_Left = 4;
    char16_t l_Unit = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(KELSysCodePage(l_CodeSet).GetNextMultiByteCharAsUTF16(l_Text, l_Left, l_Unit), KEL_E_FAIL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              Line("ERROR: KELSysCodePage::GetNextMultiByteCharAsUTF16 is probably bugged!"));
    EXPECT_EQ(l_Left, 4u);
  }
}

}  // namespace

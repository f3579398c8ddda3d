#include "KELSysCodePage.h"

#include "KELSysIConvTSWrap.h"
#include "MORSysTS00TestEnv.h"

// The tests switch the locale's diagnostics on.
class KELSysCodePageTest : public MORSysTS00Env {
 protected:
  KELSysCodePageTest() { setenv("KELSysNLSCoreTrace", "1", 1); }
};

TEST_F(KELSysCodePageTest, NamesPickTheConverter) {
  EXPECT_TRUE(KELSysCodePage("utf8").IsUTF8());
  EXPECT_FALSE(KELSysCodePage("UTF-8X").IsUTF8());
  EXPECT_TRUE(KELSysCodePage("Identity").IsIdentity());

  std::optional<KELSysCodePage> l_Unknown;
  EXPECT_EQ(
      Captured([&] { l_Unknown.emplace("NO-SUCH-SET"); }),
      Lines({"[KELSysIConvTSWrap] failed to initialize converters for conversion NO-SUCH-SET <-> UTF-16LE"}));
  std::u16string l_Units = u"kept";
  std::string l_Bytes = "kept";
  EXPECT_FALSE(l_Unknown->IsValid());
  EXPECT_EQ(l_Unknown->ToUTF16("abc", 3, l_Units), KEL_E_FAIL);
  EXPECT_EQ(l_Unknown->FromUTF16(u"abc", 3, l_Bytes), KEL_E_FAIL);
  EXPECT_EQ(l_Units + u"/" + std::u16string(l_Bytes.begin(), l_Bytes.end()), u"kept/kept");

  EXPECT_EQ(Captured([] { EXPECT_EQ(KELSysIConvTSWrap::Get(1000, true), reinterpret_cast<iconv_t>(-1)); }),
            Lines({"[KELSysIConvTSWrap] The input IConvDesc_t handle is invalid."}));
}

TEST_F(KELSysCodePageTest, ProblemsAreReportedAndConversionGoesOn) {
  KELSysCodePage l_Page("EUC-JP");
  std::u16string l_Units;
  EXPECT_EQ(Captured([&] { EXPECT_EQ(l_Page.ToUTF16("a\xFF\xA4\xA2\xA4", 5, l_Units), KEL_E_FAIL); }),
            Lines({"iconv errno is: 84", "iconv EINVAL error: input buffer was truncated."}));
  EXPECT_EQ(l_Units, u"a\xDCFF\u3042\xDCA4");

  // Through iconv, as identity, and as UTF-8, where a text that ends between the two units of a pair
  // ends with a lone one, whatever follows it; a pair is one character.
  using C = std::tuple<const char*, std::u16string, size_t, KELSysResult, std::string>;
  for (const auto& [l_CodeSet, l_Units16, l_Length, l_Rc, l_Expected] :
       {C{"EUC-JP", u"\u3042\xDCFF\U0001F600\u00E9\xD800", 6, KEL_E_FAIL, "\xA4\xA2\xFF?\x8F\xAB\xB1?"},
        C{"Identity", u"a\u00E9\u20AC", 3, KEL_E_FAIL, "a\xE9?"},
        C{"UTF-8", u"a\xD83D\xDE00", 2, KEL_S_OK, "a\xEF\xBF\xBD"}}) {
    std::string l_Bytes;
    Captured(
        [&] { EXPECT_EQ(KELSysCodePage(l_CodeSet).FromUTF16(l_Units16.data(), l_Length, l_Bytes), l_Rc); });
    EXPECT_EQ(l_Bytes, l_Expected) << l_CodeSet;
  }
}

// A character that needs two units is not one unit, through iconv or not.
TEST_F(KELSysCodePageTest, NextMultiByteCharIsOneUnit) {
  const std::string kBugged =
      Lines({"ERROR: KELSysCodePage::GetNextMultiByteCharAsUTF16 is probably bugged!"});
  // Code set, bytes, result, unit, bytes read, diagnostics.
  using C = std::tuple<const char*, std::string, KELSysResult, char16_t, size_t, std::string>;
  for (const auto& [l_CodeSet, l_Bytes, l_Rc, l_ExpectedUnit, l_Read, l_Diagnostics] :
       {C{"EUC-JP", "\xA4\xA2z", KEL_S_OK, u'\u3042', 2, ""}, C{"EUC-JP", "z\xA4", KEL_S_OK, u'z', 1, ""},
        C{"EUC-JP", "\xA4", KEL_E_FAIL, 0, 0, ""}, C{"UTF-8", "\xC3\xA9", KEL_S_OK, u'\u00E9', 2, ""},
        C{"UTF-8", "\xC3", KEL_E_FAIL, 0, 0, ""}, C{"Identity", "\xE9", KEL_S_OK, u'\u00E9', 1, ""},
        C{"UTF-8", "\xF0\x9F\x98\x80", KEL_E_FAIL, 0, 0, kBugged},
        C{"GB18030", "\x94\x39\xFC\x36", KEL_E_FAIL, 0, 0, kBugged}}) {
    const char* l_Text = l_Bytes.data();
    size_t l_Left = l_Bytes.size();
    char16_t l_Unit = 0;
    const KELSysCodePage l_Page(l_CodeSet);
    EXPECT_EQ(Captured([&] { EXPECT_EQ(l_Page.GetNextMultiByteCharAsUTF16(l_Text, l_Left, l_Unit), l_Rc); }),
              l_Diagnostics)
        << l_CodeSet << " " << l_Bytes;
    EXPECT_EQ(l_Unit, l_ExpectedUnit);
    EXPECT_EQ(l_Text - l_Bytes.data(), static_cast<ptrdiff_t>(l_Read));
    EXPECT_EQ(l_Left + l_Read, l_Bytes.size());
  }
}

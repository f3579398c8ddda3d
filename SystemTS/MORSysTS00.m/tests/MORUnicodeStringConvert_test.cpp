#include <gtest/gtest.h>
#include <iconv.h>

#include <random>
#include <string>

#include "MORSysTS00TestEnv.h"

namespace {

using MORUnicodeStringConvertTest = MORSysTS00Env;

// The reference: iconv between two code sets, on a whole text.
std::string IConv(const char* iTo, const char* iFrom, const std::string& iText) {
  iconv_t l_Desc = iconv_open(iTo, iFrom);
  EXPECT_NE(l_Desc, reinterpret_cast<iconv_t>(-1));
  std::string l_Out(iText.size() * 4 + 16, '\0');
  char* l_In = const_cast<char*>(iText.data());
  char* l_Next = l_Out.data();
  size_t l_InLeft = iText.size(), l_OutLeft = l_Out.size();
  EXPECT_NE(iconv(l_Desc, &l_In, &l_InLeft, &l_Next, &l_OutLeft), static_cast<size_t>(-1)) << iTo;
  iconv_close(l_Desc);
  l_Out.resize(l_Out.size() - l_OutLeft);
  return l_Out;
}

// The raw UTF-16LE bytes of a string, to compare with iconv's.
std::string Bytes16(const MORUnicodeString& iText) {
  return std::string(reinterpret_cast<const char*>(iText.ConvertToUTF16()), iText.GetLength() * 2);
}

// Every scalar value from iFirst to iLast (surrogates left out), as UTF-32LE.
std::string CodePoints(char32_t iFirst, char32_t iLast) {
  std::string l_Text;
  for (char32_t l_Value = iFirst; l_Value <= iLast; ++l_Value)
    if (l_Value < 0xD800 || l_Value > 0xDFFF) l_Text.append(reinterpret_cast<const char*>(&l_Value), 4);
  return l_Text;
}

TEST_F(MORUnicodeStringConvertTest, UTF8MatchesIConvOverEveryCodePoint) {
  MORStringWarning::ThreadOff l_Quiet;
  UseLANG("en_US.UTF-8");
  // ASCII, Latin-1, the rest of the plane (CJK included), the astral planes.
  for (auto [l_First, l_Last] :
       {std::pair<char32_t, char32_t>{0, 0x7F}, {0x80, 0xFF}, {0x100, 0xFFFF}, {0x10000, 0x10FFFF}}) {
    std::string l_UTF32 = CodePoints(l_First, l_Last);
    std::string l_UTF8 = IConv("UTF-8", "UTF-32LE", l_UTF32);
    MORUnicodeString l_Text = MORUnicodeString::FromUTF8(l_UTF8.data(), l_UTF8.size());
    ASSERT_EQ(Bytes16(l_Text), IConv("UTF-16LE", "UTF-32LE", l_UTF32))
        << std::hex << static_cast<unsigned>(l_First);
    EXPECT_EQ(UTF8(l_Text), l_UTF8);
    EXPECT_EQ(MBCS(l_Text), l_UTF8);
    EXPECT_EQ(Bytes16(MORUnicodeString(l_UTF8.data(), l_UTF8.size())), Bytes16(l_Text));
  }
}

TEST_F(MORUnicodeStringConvertTest, InvalidUTF8IsKeptByteForByte) {
  struct Case {
    const char* m_Name;
    std::string m_Bytes;
    std::u16string m_Units;
  } const l_Cases[] = {
      {"stray continuation", "a\x80z", u"a\xDC80z"},
      {"overlong slash", "\xC0\xAF", u"\xDCC0\xDCAF"},
      {"encoded surrogate", "\xED\xA0\x80", u"\xDCED\xDCA0\xDC80"},
      {"above U+10FFFF", "\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80"},
      {"truncated then valid", "\xE2\x82\xC3\xA9", u"\xDCE2\xDC82\u00E9"},
      {"truncated at end", "ok\xF0\x9F\x98", u"ok\xDCF0\xDC9F\xDC98"},
      {"never valid", "\xFF\xFE\xC1", u"\xDCFF\xDCFE\xDCC1"},
  };
  UseLANG(nullptr);
  MORStringWarning::ThreadOff l_Quiet;
  for (const Case& l_Case : l_Cases) {
    MORUnicodeString l_Text = MORUnicodeString::FromUTF8(l_Case.m_Bytes.data(), l_Case.m_Bytes.size());
    EXPECT_EQ(Units(l_Text), l_Case.m_Units) << l_Case.m_Name;
    EXPECT_EQ(UTF8(l_Text), l_Case.m_Bytes) << l_Case.m_Name;
    EXPECT_EQ(MBCS(MORUnicodeString(l_Case.m_Bytes.data(), l_Case.m_Bytes.size())), l_Case.m_Bytes)
        << l_Case.m_Name;
  }
  // Any bytes at all come back unchanged.
  std::mt19937 l_Random(2024);
  for (int l_Round = 0; l_Round < 2000; ++l_Round) {
    std::string l_Bytes(l_Random() % 24, '\0');
    for (char& l_Byte : l_Bytes)
      l_Byte = static_cast<char>(l_Random() % 4 ? 0x80 + l_Random() % 0x80 : l_Random());
    ASSERT_EQ(UTF8(MORUnicodeString::FromUTF8(l_Bytes.data(), l_Bytes.size())), l_Bytes);
  }
  // Lone surrogates that no bytes give are written as U+FFFD.
  const std::pair<std::u16string, std::string> l_Lone[] = {{u"\xD800", "\xEF\xBF\xBD"},
                                                           {u"a\xDC41", "a\xEF\xBF\xBD"},
                                                           {u"\xDE00\xD83D", "\xEF\xBF\xBD\xEF\xBF\xBD"}};
  for (const auto& [l_Units, l_Bytes] : l_Lone)
    EXPECT_EQ(UTF8(MORUnicodeString(l_Units.data(), l_Units.size())), l_Bytes);
}

TEST_F(MORUnicodeStringConvertTest, OtherCodeSetsGoThroughTheirCodePage) {
  MORStringWarning::ThreadOff l_Quiet;
  UseLANG("fr_FR.ISO-8859-1");
  std::string l_Latin1;
  for (int l_Byte = 1; l_Byte < 256; ++l_Byte) l_Latin1 += static_cast<char>(l_Byte);
  MORUnicodeString l_Text(l_Latin1.data(), l_Latin1.size());
  EXPECT_EQ(Bytes16(l_Text), IConv("UTF-16LE", "ISO-8859-1", l_Latin1));
  EXPECT_EQ(MBCS(l_Text), l_Latin1);
  EXPECT_EQ(MBCS(MORUnicodeString::FromUTF8("\xE2\x82\xAC=\xC3\xA9")), "?=\xE9");

  UseLANG("ja_JP.EUC-JP");
  std::string l_EUC = "\xA4\xA2\xB4\xC1", l_Broken = "x\xFF" + l_EUC + "\xA4";
  EXPECT_EQ(Bytes16(MORUnicodeString(l_EUC.data(), l_EUC.size())), IConv("UTF-16LE", "EUC-JP", l_EUC));
  // Unreadable and truncated bytes are kept and written back.
  MORUnicodeString l_Kept(l_Broken.data(), l_Broken.size());
  EXPECT_EQ(l_Kept[1], 0xDCFF);
  EXPECT_EQ(MBCS(l_Kept), l_Broken);
}

TEST_F(MORUnicodeStringConvertTest, NonASCIIToMBCSWritesBothWarningBoxes) {
  UseLANG(nullptr);
  const std::string l_Risk =
      "***************************************************************\n"
      "* [MORString] Risk of data corruption detected:               *\n"
      "* Non-ASCII Unicode data is being converted to MBCS (char *). *\n"
      "* STACK TRACE:                                                *\n"
      "***************************************************************\n";
  const std::string l_Stars(85, '*');
  const std::string l_Check =
      l_Stars + "\n" +
      "* [MORString][Warning] The code '2' does not map to a printable US ASCII character. *\n"
      "* String: \"a\xC3\xA9\".\n"
      "* STACK TRACE:                                                                      *\n" +
      l_Stars + "\n";
  auto l_Output = [](const char* iUTF8) {
    testing::internal::CaptureStdout();
    std::string l_Result = MBCS(MORUnicodeString::FromUTF8(iUTF8));
    return testing::internal::GetCapturedStdout() + "|" + l_Result;
  };
  EXPECT_EQ(l_Output("a\xC3\xA9"), l_Risk + l_Check + "|a\xC3\xA9");
  EXPECT_EQ(l_Output("plain\tASCII\n"), "|plain\tASCII\n");
  {
    MORStringWarning::ThreadOff l_Quiet;
    EXPECT_EQ(l_Output("a\xC3\xA9"), "|a\xC3\xA9");
  }
  MORStringWarning::SetProcessActive(false);
  EXPECT_EQ(l_Output("a\xC3\xA9"), "|a\xC3\xA9");
  MORStringWarning::SetProcessActive(true);
  setenv("MORStringWarningSuppress", "1", 1);
  MORSysTS00ResetForTests();
  EXPECT_EQ(l_Output("a\xC3\xA9"), l_Risk + "|a\xC3\xA9");
}

TEST_F(MORUnicodeStringConvertTest, ASCIICheckReportsOneBasedPosition) {
  struct Case {
    std::string m_Text;
    bool m_Strict;
    int m_Position;  // 0: passes
  } const l_Cases[] = {{"ab\x07", true, 3},  {"a\tb\r\n", true, 0},  {"x\x7F", true, 2},
                       {"x\x7F", false, 0},  {"\xC3\xA9", false, 0}, {"\xC3\xA9", true, 1},
                       {"ok\x01", false, 3}, {"", true, 0}};
  for (const Case& l_Case : l_Cases) {
    testing::internal::CaptureStdout();
    bool l_Passed = MORUnicodeString::CheckASCII(l_Case.m_Text.data(), l_Case.m_Text.size(), l_Case.m_Strict);
    std::string l_Box = testing::internal::GetCapturedStdout();
    EXPECT_EQ(l_Passed, l_Case.m_Position == 0) << l_Case.m_Text;
    std::string l_Line = "The code '" + std::to_string(l_Case.m_Position) + "' does not map";
    EXPECT_EQ(l_Box.find(l_Line) != std::string::npos, l_Case.m_Position != 0) << l_Box;
  }
}

}  // namespace

#include <iconv.h>

#include <random>

#include "MORSysTS00TestEnv.h"

using MORUnicodeStringConvertTest = MORSysTS00Env;

// The reference: iconv between two code sets, on a whole text.
static std::string IConv(const char* iTo, const char* iFrom, const std::string& iText) {
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
static std::string Bytes16(const MORUnicodeString& iText) {
  return std::string(reinterpret_cast<const char*>(iText.ConvertToUTF16()), iText.GetLength() * 2);
}

// Every scalar value of ASCII, Latin-1, the rest of the plane (CJK included) and the astral planes.
TEST_F(MORUnicodeStringConvertTest, UTF8MatchesIConvOverEveryCodePoint) {
  MORStringWarning::ThreadOff l_Quiet;
  UseLANG("en_US.UTF-8");
  for (auto [l_First, l_Last] :
       {std::pair<char32_t, char32_t>{0, 0x7F}, {0x80, 0xFF}, {0x100, 0xFFFF}, {0x10000, 0x10FFFF}}) {
    std::string l_UTF32;  // surrogates left out
    for (char32_t l_Value = l_First; l_Value <= l_Last; ++l_Value)
      if (l_Value < 0xD800 || l_Value > 0xDFFF) l_UTF32.append(reinterpret_cast<const char*>(&l_Value), 4);
    std::string l_UTF8 = IConv("UTF-8", "UTF-32LE", l_UTF32);
    MORUnicodeString l_Text = MORUnicodeString::FromUTF8(l_UTF8.data(), l_UTF8.size());
    ASSERT_EQ(Bytes16(l_Text), IConv("UTF-16LE", "UTF-32LE", l_UTF32)) << std::hex << unsigned(l_First);
    EXPECT_EQ(UTF8(l_Text), l_UTF8);
    EXPECT_EQ(MBCS(l_Text), l_UTF8);
    EXPECT_EQ(Bytes16(MORUnicodeString(l_UTF8.data(), l_UTF8.size())), Bytes16(l_Text));
  }
}

// Any bytes come back unchanged; lone surrogates that no bytes give are written as U+FFFD.
TEST_F(MORUnicodeStringConvertTest, InvalidUTF8IsKeptByteForByte) {
  // A stray continuation, an overlong slash, an encoded surrogate, a value above U+10FFFF, a truncated
  // sequence before a valid one and at the end, bytes never valid.
  using C = std::pair<std::string, std::u16string>;
  MORStringWarning::ThreadOff l_Quiet;
  for (const auto& [l_Bytes, l_Units] :
       {C{"a\x80z", u"a\xDC80z"}, C{"\xC0\xAF", u"\xDCC0\xDCAF"}, C{"\xED\xA0\x80", u"\xDCED\xDCA0\xDC80"},
        C{"\xF4\x90\x80\x80", u"\xDCF4\xDC90\xDC80\xDC80"}, C{"\xE2\x82\xC3\xA9", u"\xDCE2\xDC82\u00E9"},
        C{"ok\xF0\x9F\x98", u"ok\xDCF0\xDC9F\xDC98"}, C{"\xFF\xFE\xC1", u"\xDCFF\xDCFE\xDCC1"}}) {
    MORUnicodeString l_Text = MORUnicodeString::FromUTF8(l_Bytes.data(), l_Bytes.size());
    EXPECT_EQ(Units(l_Text), l_Units) << l_Bytes;
    EXPECT_EQ(UTF8(l_Text) + "|" + MBCS(MORUnicodeString(l_Bytes.data(), l_Bytes.size())),
              l_Bytes + "|" + l_Bytes);
  }
  std::mt19937 l_Random(2024);
  for (int l_Round = 0; l_Round < 2000; ++l_Round) {
    std::string l_Bytes(l_Random() % 24, '\0');
    for (char& l_Byte : l_Bytes)
      l_Byte = static_cast<char>(l_Random() % 4 ? 0x80 + l_Random() % 0x80 : l_Random());
    ASSERT_EQ(UTF8(MORUnicodeString::FromUTF8(l_Bytes.data(), l_Bytes.size())), l_Bytes);
  }
  for (const auto& [l_Units, l_Bytes] : {std::pair<std::u16string, std::string>{u"\xD800", "\xEF\xBF\xBD"},
                                         {u"a\xDC41", "a\xEF\xBF\xBD"},
                                         {u"\xDE00\xD83D", "\xEF\xBF\xBD\xEF\xBF\xBD"}})
    EXPECT_EQ(UTF8(MORUnicodeString(l_Units.data(), l_Units.size())), l_Bytes);
}

// Unreadable and truncated bytes are kept and written back.
TEST_F(MORUnicodeStringConvertTest, OtherCodeSetsGoThroughTheirCodePage) {
  MORStringWarning::ThreadOff l_Quiet;
  UseLANG("fr_FR.ISO-8859-1");
  std::string l_Latin1;
  for (int l_Byte = 1; l_Byte < 256; ++l_Byte) l_Latin1 += static_cast<char>(l_Byte);
  MORUnicodeString l_Text(l_Latin1.data(), l_Latin1.size());
  EXPECT_EQ(Bytes16(l_Text), IConv("UTF-16LE", "ISO-8859-1", l_Latin1));
  EXPECT_EQ(MBCS(l_Text), l_Latin1);
  EXPECT_EQ(MBCS(U("\xE2\x82\xAC=\xC3\xA9")), "?=\xE9");

  UseLANG("ja_JP.EUC-JP");
  std::string l_EUC = "\xA4\xA2\xB4\xC1", l_Broken = "x\xFF" + l_EUC + "\xA4";
  EXPECT_EQ(Bytes16(MORUnicodeString(l_EUC.data(), l_EUC.size())), IConv("UTF-16LE", "EUC-JP", l_EUC));
  MORUnicodeString l_Kept(l_Broken.data(), l_Broken.size());
  EXPECT_EQ(l_Kept[1], 0xDCFF);
  EXPECT_EQ(MBCS(l_Kept), l_Broken);
}

// The ASCII check reports the one-based position of the first byte it refuses. A non-ASCII text
// written as MBCS gets both boxes unless warnings are off for the thread or the process; the ASCII
// check's box alone can be suppressed.
TEST_F(MORUnicodeStringConvertTest, NonASCIIToMBCSWritesBothWarningBoxes) {
  using C = std::tuple<std::string, bool, int>;  // position 0: passes
  for (auto [l_Text, l_Strict, l_Position] :
       {C{"ab\x07", true, 3}, C{"a\tb\r\n", true, 0}, C{"x\x7F", true, 2}, C{"x\x7F", false, 0},
        C{"\xC3\xA9", false, 0}, C{"\xC3\xA9", true, 1}, C{"ok\x01", false, 3}, C{"", true, 0}}) {
    bool l_Passed = true;
    const std::string l_Box = Captured(
        [&] { l_Passed = MORUnicodeString::CheckASCII(l_Text.data(), l_Text.size(), l_Strict); }, true);
    EXPECT_EQ(l_Passed, l_Position == 0) << l_Text;
    EXPECT_EQ(l_Box.find("The code '" + std::to_string(l_Position) + "' does not map") != std::string::npos,
              l_Position != 0)
        << l_Box;
  }
  const std::string l_Risk =
      "***************************************************************\n"
      "* [MORString] Risk of data corruption detected:               *\n"
      "* Non-ASCII Unicode data is being converted to MBCS (char *). *\n"
      "* STACK TRACE:                                                *\n"
      "***************************************************************\n";
  const std::string l_Stars(85, '*');
  const std::string l_Check =
      l_Stars + "\n" +
      "* [MORString][Warning] The code '2' does not map to a printable US ASCII character. *\n" +
      "* String: \"a\xC3\xA9\".\n" +
      "* STACK TRACE:                                                                      *\n" + l_Stars +
      "\n";
  auto l_Output = [](const char* iUTF8) {
    std::string l_Result;
    return Captured([&] { l_Result = MBCS(U(iUTF8)); }, true) + "|" + l_Result;
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

#include "MORUnicodeString.h"

#include <iconv.h>

#include <climits>
#include <random>
#include <thread>

#include "MORSysTS00TestEnv.h"

using MORUnicodeStringTest = MORSysTS00Env;
using Texts = std::vector<MORUnicodeString>;

// Narrow results are kept, not rebuilt, and stay readable after the other conversion and when the
// string is rebuilt from them.
TEST_F(MORUnicodeStringTest, NarrowResultsLiveUntilTheStringChanges) {
  MORUnicodeString l_Text = U("key\\name");
  const char* l_UTF8 = l_Text.ConvertToUTF8();
  const char* l_MBCS = l_Text.ConvertToMBCS();
  EXPECT_EQ(l_Text.ConvertToUTF8(), l_UTF8);
  EXPECT_EQ(std::string(l_UTF8) + "|" + l_MBCS, "key\\name|key\\name");
  l_Text.BuildFromMBCS(l_Text.ConvertToMBCS());
  l_Text.BuildFromUTF8(l_Text.ConvertToUTF8());
  EXPECT_EQ(UTF8(l_Text), "key\\name");
}

// Copies share their text until one changes, in any thread: the original never changes with them.
TEST_F(MORUnicodeStringTest, CopiesMayLiveInSeveralThreads) {
  MORUnicodeString l_Shared = U("shared between threads");
  std::vector<std::thread> l_Threads;
  for (int l_Thread = 0; l_Thread < 4; ++l_Thread)
    l_Threads.emplace_back([&l_Shared] {
      for (int l_Round = 0; l_Round < 50000; ++l_Round) {
        MORUnicodeString l_Copy = l_Shared;
        if (l_Round % 3 == 0) l_Copy.Append(u'x');
      }
    });
  for (std::thread& l_Thread : l_Threads) l_Thread.join();
  EXPECT_EQ(UTF8(l_Shared), "shared between threads");
}

// Each edit on its own copy of a shared text, then on a text not shared (replaced in place) and on
// a text with itself.
TEST_F(MORUnicodeStringTest, EditsClampTheirRanges) {
  const MORUnicodeString l_Text = U("abcdef");
  auto l_Copy = [&l_Text] { return MORUnicodeString(l_Text); };
  EXPECT_EQ(
      (Texts{l_Copy().Remove(2, 2), l_Copy().Remove(4), l_Copy().Remove(-3, 100),
             l_Copy().Replace(1, 0, U("XY")), l_Copy().Replace(3, 10, U("é")),
             l_Copy().Replace(99, 1, U("!")), l_Text.SubString(2, 3), l_Text.SubString(4, 100),
             l_Text.SubString(9)}),
      (Texts{U("abef"), U("abcd"), U(""), U("aXYbcdef"), U("abcé"), U("abcdef!"), U("cde"), U("ef"), U("")}));
  MORUnicodeString l_Own = U("abcdef");
  EXPECT_EQ(UTF8(l_Own.Replace(1, 2, U("X"))), "aXdef");
  MORUnicodeString l_Self = U("ab");
  l_Self.Append(l_Self).Append(l_Self);
  l_Self.Replace(1, 1, l_Self);
  EXPECT_EQ(UTF8(l_Self), "aababababababab");
  EXPECT_EQ(std::u16string({l_Text[5], l_Text[6]}), std::u16string(u"f\0", 2));
}

TEST_F(MORUnicodeStringTest, FindReplaceAndCompare) {
  MORUnicodeString l_Path = U("SOFTWARE\\Quorvane\\Q4.json");
  EXPECT_EQ((std::vector<int>{l_Path.Find(u'\\'), l_Path.FindLast(u'.'), l_Path.Find(U("Q4")),
                              l_Path.Find(U("Q5")), l_Path.FindLast(U("a")), l_Path.Find(U("json"), 23)}),
            (std::vector<int>{8, 20, 18, -1, 14, -1}));
  MORUnicodeString l_Slashes = U("/a/");
  EXPECT_EQ(l_Slashes.ReplaceAll(u'/', u'\\'), 2);
  EXPECT_EQ(UTF8(l_Slashes), "\\a\\");

  MORUnicodeString l_Text = U("aaaaa");
  EXPECT_EQ(l_Text.ReplaceAll(U("aa"), U("b")), 2);
  EXPECT_EQ(UTF8(l_Text), "bba");
  EXPECT_EQ(l_Text.ReplaceAll(U(""), U("x")), 0);
  EXPECT_EQ(l_Text.ReplaceFirst(U("b"), U("cc"), 1), 1);
  EXPECT_EQ(UTF8(l_Text), "bcca");
  EXPECT_EQ(l_Text.ReplaceFirst(U("z"), U("y")), -1);

  // Comparison is by code unit.
  EXPECT_LT(U("Q4"), U("Q4_Common"));
  EXPECT_GT(U("b"), U("a\xF0\x9F\x98\x80"));
  EXPECT_EQ(U("é"), MORUnicodeString(u"\u00E9", 1));
  EXPECT_NE(U("Path"), U("path"));
  EXPECT_EQ(U("same").Hash(), (U("sa") + U("me")).Hash());
}

TEST_F(MORUnicodeStringTest, NumbersReadAndWriteWholeText) {
  MORUnicodeString l_Min, l_Max;
  l_Min.BuildFromNum(LLONG_MIN);
  l_Max.BuildFromUnsignedNum(ULLONG_MAX);
  EXPECT_EQ(UTF8(l_Min) + " " + UTF8(l_Max), "-9223372036854775808 18446744073709551615");
  using C = std::tuple<const char*, KELSysResult, KELSysResult, long long>;  // text, signed, unsigned, value
  for (auto [l_Text, l_SignedRc, l_UnsignedRc, l_Value] :
       {C{" -9223372036854775808 ", KEL_S_OK, KEL_E_INVALIDARG, LLONG_MIN},
        C{"9223372036854775807", KEL_S_OK, KEL_S_OK, LLONG_MAX},
        C{"9223372036854775808", KEL_E_INVALIDARG, KEL_S_OK, 0}, C{"+42", KEL_S_OK, KEL_S_OK, 42},
        C{"42x", KEL_E_INVALIDARG, KEL_E_INVALIDARG, 0}, C{"", KEL_E_INVALIDARG, KEL_E_INVALIDARG, 0},
        C{"18446744073709551616", KEL_E_INVALIDARG, KEL_E_INVALIDARG, 0}}) {
    long long l_Signed = 7;
    unsigned long long l_Unsigned = 7;
    EXPECT_EQ(U(l_Text).ConvertToNum(l_Signed), l_SignedRc) << l_Text;
    EXPECT_EQ(U(l_Text).ConvertToUnsignedNum(l_Unsigned), l_UnsignedRc) << l_Text;
    EXPECT_EQ(l_Signed, l_SignedRc == KEL_S_OK ? l_Value : 7) << l_Text;
  }
}

// Directives decode; malformed or unterminated ones stay literal; a plain byte is one unit. A
// character beyond 16 bits loses its high bits with a report; unquoted text is refused.
TEST_F(MORUnicodeStringTest, STEPDecodesInnerText) {
  const std::pair<const char*, std::u16string> l_Cases[] = {{"\"abc\"", u"abc"},
                                                            {"\"\\X2\\00E9004B\\X0\\!\"", u"\u00E9K!"},
                                                            {"\"\\X\\E9\\S\\a\\\\\"", u"\u00E9\u00E1\\"},
                                                            {"\"\\X2\\00E\\X0\\\"", u"\\X2\\00E\\X0\\"},
                                                            {"\"\\X2\\00E9\"", u"\\X2\\00E9"},
                                                            {"\"\xC3\xA9\"", u"\u00C3\u00A9"}};
  for (const auto& [l_Express, l_Units] : l_Cases) {
    MORUnicodeString l_Text;
    ASSERT_EQ(l_Text.BuildFromSTEP(l_Express), KEL_S_OK) << l_Express;
    EXPECT_EQ(Units(l_Text), l_Units) << l_Express;
  }

  MORUnicodeString l_Text = U("kept");
  EXPECT_EQ(Captured([&] { ASSERT_EQ(l_Text.BuildFromSTEP("\"\\X4\\0001F600\\X0\\\""), KEL_S_OK); }, true),
            "Message from  MORUnicodeString::BuildFromSTEP\n"
            "Conversion from a 4 bytes Unicode character to a 2 bytes unicode character\n"
            "with data loss\n"
            "Express String : \"\\X4\\0001F600\\X0\\\"\n"
            "Unicode value  : 1f600\n");
  for (const char* l_Bad : {static_cast<const char*>(nullptr), "abc", "\"", "\"abc"}) {
    EXPECT_EQ(l_Text.BuildFromSTEP(l_Bad), KEL_E_INVALIDARG);
    EXPECT_EQ(l_Text, MORUnicodeString(u"\uF600", 1));
  }
  // A missing text of units is refused the same way, whatever length comes with it.
  EXPECT_EQ(l_Text.BuildFromUTF16(nullptr, 1), KEL_E_INVALIDARG);
}

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
// In a UTF-8 process the MBCS door takes the same path; the test below goes through it.
TEST_F(MORUnicodeStringTest, UTF8MatchesIConvOverEveryCodePoint) {
  for (auto [l_First, l_Last] :
       {std::pair<char32_t, char32_t>{0, 0x7F}, {0x80, 0xFF}, {0x100, 0xFFFF}, {0x10000, 0x10FFFF}}) {
    std::string l_UTF32;  // surrogates left out
    for (char32_t l_Value = l_First; l_Value <= l_Last; ++l_Value)
      if (l_Value < 0xD800 || l_Value > 0xDFFF) l_UTF32.append(reinterpret_cast<const char*>(&l_Value), 4);
    std::string l_UTF8 = IConv("UTF-8", "UTF-32LE", l_UTF32);
    MORUnicodeString l_Text = MORUnicodeString::FromUTF8(l_UTF8.data(), l_UTF8.size());
    ASSERT_EQ(Bytes16(l_Text), IConv("UTF-16LE", "UTF-32LE", l_UTF32)) << std::hex << unsigned(l_First);
    EXPECT_EQ(UTF8(l_Text), l_UTF8);
  }
}

// Any bytes come back unchanged; lone surrogates that no bytes give are written as U+FFFD.
TEST_F(MORUnicodeStringTest, InvalidUTF8IsKeptByteForByte) {
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

// Another process code set converts through its code page both ways; what it cannot write becomes '?'.
// How a code page keeps unreadable and truncated bytes is checked on the code page itself.
TEST_F(MORUnicodeStringTest, OtherCodeSetsGoThroughTheirCodePage) {
  MORStringWarning::ThreadOff l_Quiet;
  UseLANG("fr_FR.ISO-8859-1");
  std::string l_Latin1;
  for (int l_Byte = 1; l_Byte < 256; ++l_Byte) l_Latin1 += static_cast<char>(l_Byte);
  MORUnicodeString l_Text(l_Latin1.data(), l_Latin1.size());
  EXPECT_EQ(Bytes16(l_Text), IConv("UTF-16LE", "ISO-8859-1", l_Latin1));
  EXPECT_EQ(MBCS(l_Text), l_Latin1);
  EXPECT_EQ(MBCS(U("\xE2\x82\xAC=\xC3\xA9")), "?=\xE9");
}

// The ASCII check reports the one-based position of the first byte it refuses. A non-ASCII text
// written as MBCS gets both boxes unless warnings are off for the thread or the process; the ASCII
// check's box alone can be suppressed.
TEST_F(MORUnicodeStringTest, NonASCIIToMBCSWritesBothWarningBoxes) {
  using C = std::tuple<std::string, bool, int>;  // position 0: passes
  for (auto [l_Text, l_Strict, l_Position] :
       {C{"ab\x07", true, 3}, C{"a\t b\r\n", true, 0}, C{"x\x7F", true, 2}, C{"x\x7F", false, 0},
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

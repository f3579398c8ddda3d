#include "MORUnicodeString.h"

#include <climits>
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
                              l_Path.Find(U("Q5")), l_Path.FindLast(U("a")), l_Path.Find(U("json"), 23),
                              MORUnicodeString(l_Path).ReplaceAll(u'\\', u'/')}),
            (std::vector<int>{8, 20, 18, -1, 14, -1, 2}));
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
                                                            {"\"\"", u""},
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
}

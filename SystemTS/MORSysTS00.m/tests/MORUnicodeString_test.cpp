#include "MORUnicodeString.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "MORSysTS00TestEnv.h"

namespace {

using MORUnicodeStringTest = MORSysTS00Env;



TEST_F(MORUnicodeStringTest, NarrowResultsLiveUntilTheStringChanges) {
  MORUnicodeString l_Text = U("key\\name");
  const char* l_UTF8 = l_Text.ConvertToUTF8();
  const char* l_MBCS = l_Text.ConvertToMBCS();
  EXPECT_EQ(l_Text.ConvertToUTF8(), l_UTF8);  // kept, not rebuilt
  EXPECT_STREQ(l_UTF8, "key\\name");          // still readable after the other conversion
  EXPECT_STREQ(l_MBCS, "key\\name");
  l_Text.BuildFromMBCS(l_Text.ConvertToMBCS());  // a string rebuilt from its own result
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

TEST_F(MORUnicodeStringTest, EditsClampTheirRanges) {
  MORUnicodeString l_Text = U("abcdef");
  EXPECT_EQ(UTF8(MORUnicodeString(l_Text).Remove(2, 2)), "abef");
  EXPECT_EQ(UTF8(MORUnicodeString(l_Text).Remove(4)), "abcd");
  EXPECT_EQ(UTF8(MORUnicodeString(l_Text).Remove(-3, 100)), "");
  EXPECT_EQ(UTF8(MORUnicodeString(l_Text).Replace(1, 0, U("XY"))), "aXYbcdef");
  EXPECT_EQ(UTF8(MORUnicodeString(l_Text).Replace(3, 10, U("é"))), "abcé");
  EXPECT_EQ(UTF8(MORUnicodeString(l_Text).Replace(99, 1, U("!"))), "abcdef!");
  MORUnicodeString l_Own = U("abcdef");  // not shared: replaced in place
  EXPECT_EQ(UTF8(l_Own.Replace(1, 2, U("X"))), "aXdef");
  EXPECT_EQ(UTF8(l_Text.SubString(2, 3)), "cde");
  EXPECT_EQ(UTF8(l_Text.SubString(4, 100)), "ef");
  EXPECT_EQ(UTF8(l_Text.SubString(9)), "");
  MORUnicodeString l_Self = U("ab");
  l_Self.Append(l_Self).Append(l_Self);
  l_Self.Replace(1, 1, l_Self);
  EXPECT_EQ(UTF8(l_Self), "aababababababab");
  EXPECT_EQ(l_Text[5], u'f');
  EXPECT_EQ(l_Text[6], 0);
}

TEST_F(MORUnicodeStringTest, FindAndReplace) {
  MORUnicodeString l_Path = U("SOFTWARE\\Quorvane\\Q4.json");
  EXPECT_EQ(l_Path.Find(u'\\'), 8);
  EXPECT_EQ(l_Path.FindLast(u'.'), 20);
  EXPECT_EQ(l_Path.Find(U("Q4")), 18);
  EXPECT_EQ(l_Path.Find(U("Q5")), -1);
  EXPECT_EQ(l_Path.FindLast(U("a")), 14);
  EXPECT_EQ(l_Path.Find(U("json"), 23), -1);
  EXPECT_EQ(MORUnicodeString(l_Path).ReplaceAll(u'\\', u'/'), 2);
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
}

TEST_F(MORUnicodeStringTest, ComparesByCodeUnit) {
  EXPECT_LT(U("Q4"), U("Q4_Common"));
  EXPECT_GT(U("b"), U("a\xF0\x9F\x98\x80"));
  EXPECT_EQ(U("é"), MORUnicodeString(u"\u00E9", 1));
  EXPECT_NE(U("Path"), U("path"));
  EXPECT_EQ(U("same").Hash(), (U("sa") + U("me")).Hash());
}

TEST_F(MORUnicodeStringTest, NumbersReadAndWriteWholeText) {
  MORUnicodeString l_Text;
  l_Text.BuildFromNum(LLONG_MIN);
  EXPECT_EQ(UTF8(l_Text), "-9223372036854775808");
  l_Text.BuildFromUnsignedNum(ULLONG_MAX);
  EXPECT_EQ(UTF8(l_Text), "18446744073709551615");

  struct Case {
    const char* m_Text;
    KELSysResult m_Signed, m_Unsigned;
    long long m_Value;
  } const l_Cases[] = {
      {" -9223372036854775808 ", KEL_S_OK, KEL_E_INVALIDARG, LLONG_MIN},
      {"9223372036854775807", KEL_S_OK, KEL_S_OK, LLONG_MAX},
      {"9223372036854775808", KEL_E_INVALIDARG, KEL_S_OK, 0},
      {"+42", KEL_S_OK, KEL_S_OK, 42},
      {"42x", KEL_E_INVALIDARG, KEL_E_INVALIDARG, 0},
      {"", KEL_E_INVALIDARG, KEL_E_INVALIDARG, 0},
      {"18446744073709551616", KEL_E_INVALIDARG, KEL_E_INVALIDARG, 0},
  };
  for (const Case& l_Case : l_Cases) {
    long long l_Signed = 7;
    unsigned long long l_Unsigned = 7;
    EXPECT_EQ(U(l_Case.m_Text).ConvertToNum(l_Signed), l_Case.m_Signed) << l_Case.m_Text;
    EXPECT_EQ(U(l_Case.m_Text).ConvertToUnsignedNum(l_Unsigned), l_Case.m_Unsigned) << l_Case.m_Text;
    EXPECT_EQ(l_Signed, l_Case.m_Signed == KEL_S_OK ? l_Case.m_Value : 7) << l_Case.m_Text;
  }
}

TEST_F(MORUnicodeStringTest, STEPDecodesInnerText) {
  const std::pair<const char*, std::u16string> l_Cases[] = {
      {"\"abc\"", u"abc"},
      {"\"\"", u""},
      {"\"\\X2\\00E9004B\\X0\\!\"", u"\u00E9K!"},
      {"\"\\X\\E9\\S\\a\\\\\"", u"\u00E9\u00E1\\"},
      {"\"\\X2\\00E\\X0\\\"", u"\\X2\\00E\\X0\\"},  // malformed: literal
      {"\"\\X2\\00E9\"", u"\\X2\\00E9"},            // unterminated: literal
      {"\"\xC3\xA9\"", u"\u00C3\u00A9"},            // one unit per byte
  };
  for (const auto& [l_Express, l_Units] : l_Cases) {
    MORUnicodeString l_Text;
    ASSERT_EQ(l_Text.BuildFromSTEP(l_Express), KEL_S_OK) << l_Express;
    EXPECT_EQ(Units(l_Text), l_Units) << l_Express;
  }
}

TEST_F(MORUnicodeStringTest, STEPReportsDataLossAndRefusesUnquotedText) {
  const char* l_Express = "\"\\X4\\0001F600\\X0\\\"";
  MORUnicodeString l_Text = U("kept");
  testing::internal::CaptureStdout();
  ASSERT_EQ(l_Text.BuildFromSTEP(l_Express), KEL_S_OK);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Message from  MORUnicodeString::BuildFromSTEP\n"
            "Conversion from a 4 bytes Unicode character to a 2 bytes unicode character\n"
            "with data loss\n"
            "Express String : \"\\X4\\0001F600\\X0\\\"\n"
            "Unicode value  : 1f600\n");
  EXPECT_EQ(l_Text, MORUnicodeString(u"\uF600", 1));

  for (const char* l_Bad : {static_cast<const char*>(nullptr), "abc", "\"", "\"abc"}) {
    EXPECT_EQ(l_Text.BuildFromSTEP(l_Bad), KEL_E_INVALIDARG);
    EXPECT_EQ(l_Text, MORUnicodeString(u"\uF600", 1));
  }
}

}  // namespace

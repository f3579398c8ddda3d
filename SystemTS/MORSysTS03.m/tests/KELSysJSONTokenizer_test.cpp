// Tokenizing: token records, the result and error position of every kind of malformed text, and the
// growth of the token array.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONTestUtil.h"

namespace {

using ::testing::MatchesRegex;

std::vector<std::vector<int32_t>> Tokens(const KELSysJSON& iJSON) {
  std::vector<std::vector<int32_t>> l_Tokens;
  KELSysJSONToken l_Token;
  for (uint32_t l_Index = 0; iJSON.GetToken(l_Index, l_Token) == KEL_S_OK; ++l_Index)
    l_Tokens.push_back(
        {l_Token.GetType(), l_Token.GetStart(), l_Token.GetEnd(), l_Token.GetSize(), l_Token.GetParent()});
  return l_Tokens;
}

TEST(KELSysJSONTokenizer, RecordsOffsetsSizesAndParents) {
  const std::string l_Text = "{\"a\":[1,\"x\"], \"b\":{}}";
  KELSysJSON l_JSON;
  ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
  std::vector<std::vector<int32_t>> l_Expected = {
      {1, 0, 21, 2, -1},  // the object counts its two keys
      {3, 2, 3, 1, 0},    // "a" holds its value
      {2, 5, 12, 2, 1},  {4, 6, 7, 0, 2}, {3, 9, 10, 0, 2}, {3, 15, 16, 1, 0}, {1, 18, 20, 0, 5},
  };
  EXPECT_EQ(Tokens(l_JSON), l_Expected);
}

// Strings are scanned eight bytes at a time: the closing quote and an escape are found wherever
// they fall in a word, and near the end of the text.
TEST(KELSysJSONTokenizer, FindsQuotesAndEscapesAtEveryOffset) {
  KELSysJSON l_JSON;
  for (int l_Offset = 0; l_Offset < 20; ++l_Offset) {
    const std::string l_Plain = std::string(static_cast<size_t>(l_Offset), 'a');
    for (const std::string& l_Text : {"\"" + l_Plain + "\"", "[\"" + l_Plain + "\\n" + l_Plain + "\"]"}) {
      ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK) << l_Text;
      const bool l_InArray = l_Text[0] == '[';
      const int32_t l_End = static_cast<int32_t>(l_Text.size()) - (l_InArray ? 2 : 1);
      EXPECT_EQ(Tokens(l_JSON).back(),
                (std::vector<int32_t>{3, l_InArray ? 2 : 1, l_End, 0, l_InArray ? 0 : -1}))
          << l_Text;
    }
    const std::string l_Open = "[\"" + l_Plain;
    EXPECT_EQ(l_JSON.Parse(l_Open.data(), l_Open.size()), KEL_E_FAIL) << l_Open;
  }
}

// A malformed text fails with one line naming where it went wrong, and frees the token array: an
// unclosed container at the end; an unknown escape, a bad hexadecimal digit, an unterminated string,
// a text ending inside \u or a NUL inside a string at the opening quote; a closing bracket of the
// wrong kind or of nothing; a control byte in a primitive; a byte-order mark; UTF-8 outside a string.
TEST(KELSysJSONTokenizer, MalformedTextsFailAndReportThePosition) {
  struct Malformed {
    std::string m_Text;
    unsigned m_Position;
  };
  for (const Malformed& l_Case :
       {Malformed{"{\"a\":1", 6}, Malformed{"[\"a\\q\"]", 1}, Malformed{"[\"\\u12G4\"]", 1},
        Malformed{"[\"abc", 1}, Malformed{"[\"\\u12", 1}, Malformed{std::string("[\"ab\0c\"]", 8), 1},
        Malformed{"[1}", 2}, Malformed{"]", 0}, Malformed{"[]]", 2}, Malformed{"[tr\x01ue]", 3},
        Malformed{"\xEF\xBB\xBF{}", 0}, Malformed{"[caf\xC3\xA9]", 4}}) {
    KELSysJSONTestSink l_Sink;
    KELSysJSON l_JSON;
    EXPECT_EQ(l_JSON.Parse(l_Case.m_Text.data(), l_Case.m_Text.size(), &l_Sink.m_Trace), KEL_E_FAIL)
        << l_Case.m_Text;
    EXPECT_THAT(l_Sink.m_Lines->GetText(),
                MatchesRegex("\\(SystemTS/MORSysTS03\\.m/src/KELSysJSON : [0-9]+\\) \\[E\\] JSONTest: "
                             "JSON parsing error at position " +
                             std::to_string(l_Case.m_Position) + "\n"));
    EXPECT_EQ(l_JSON.GetTokenCount() + l_JSON.GetTokenCapacity(), 0u);
  }
  // No text is no fault of the text; the inline tokenizer reports against its own file.
  KELSysJSONTestSink l_Sink;
  EXPECT_EQ(KELSysJSON().Parse(nullptr, 10, &l_Sink.m_Trace), KEL_E_INVALIDARG);
  EXPECT_EQ(l_Sink.m_Lines->GetText(), "");
  EXPECT_EQ(KELSysJSONTokenBlock().Tokenize("[1,", 3, &l_Sink.m_Trace), KEL_E_FAIL);
  EXPECT_THAT(l_Sink.m_Lines->GetText(),
              MatchesRegex("\\(SystemTS/PrivateInterfaces/KELSysJSONPrivate : [0-9]+\\) \\[E\\] JSONTest: "
                           "JSON parsing error at position 3\n"));
}

TEST(KELSysJSONTokenizer, StopsAtTheFirstNul) {
  KELSysJSON l_JSON;
  const std::string l_Text("[1]\0[2,3]", 9);
  ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCount(), 2u);
  const std::string l_Empty("\0[1]", 4);
  ASSERT_EQ(l_JSON.Parse(l_Empty.data(), l_Empty.size()), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCount(), 0u);
  KELSysJSONValue l_Root;
  EXPECT_EQ(l_JSON.Build(l_Root), KEL_E_FAIL);  // no token, nothing built
  EXPECT_TRUE(l_Root.IsNull());
}

// The array starts at length / 2 tokens and doubles: a fresh document has no room for the one token
// of a one-byte text, and doubling nothing gives nothing.
TEST(KELSysJSONTokenizer, GrowsFromHalfTheLength) {
  KELSysJSON l_JSON;
  EXPECT_EQ(l_JSON.Parse("7", 1), KEL_E_OUTOFMEMORY);
  EXPECT_EQ(KELSysJSON().Parse("7", 2), KEL_S_OK);  // with its NUL (fuzz input one-byte-rewrite)
  EXPECT_EQ(l_JSON.Parse("", 0), KEL_S_OK);
  EXPECT_EQ(l_JSON.Parse("77", 2), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCapacity(), 1u);
  EXPECT_EQ(l_JSON.Parse("[1,2,3]", 7), KEL_S_OK);  // 1 -> 2 -> 4 tokens, kept for the next parse
  EXPECT_EQ(l_JSON.GetTokenCapacity(), 4u);
  EXPECT_EQ(l_JSON.Parse("[]", 2), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCapacity(), 4u);
}

// A pass that runs out of tokens resumes where it stopped: growing one token at a time gives the
// same records as one pass with room to spare.
TEST(KELSysJSONTokenizer, ResumedPassEqualsSinglePass) {
  for (const std::string l_Text : {"{\"k\":[1,\"two\",{\"x\":null}],\"l\":\"\\u0041\"}", "[[[[[]]]],[[]],7]",
                                   "a b c d e f g h", "{\"a\":\"b\",\"c\":[true,false]}"}) {
    std::vector<KELSysJSONTokenRecord> l_Room(l_Text.size() + 1);
    KELSysJSONTokenizer l_Single;
    int32_t l_Count = l_Single.Run(l_Text.data(), static_cast<uint32_t>(l_Text.size()), l_Room.data(),
                                   static_cast<uint32_t>(l_Room.size()));
    ASSERT_GT(l_Count, 0) << l_Text;

    std::vector<KELSysJSONTokenRecord> l_Grown(1);
    KELSysJSONTokenizer l_Resumed;
    int32_t l_Result;
    while ((l_Result = l_Resumed.Run(l_Text.data(), static_cast<uint32_t>(l_Text.size()), l_Grown.data(),
                                     static_cast<uint32_t>(l_Grown.size()))) == KELSysJSONTokenizeNoMemory)
      l_Grown.resize(l_Grown.size() + 1);
    ASSERT_EQ(l_Result, l_Count) << l_Text;
    for (int32_t l_Index = 0; l_Index < l_Count; ++l_Index) {
      const KELSysJSONTokenRecord& l_A = l_Room[l_Index];
      const KELSysJSONTokenRecord& l_B = l_Grown[l_Index];
      EXPECT_EQ(std::vector<int32_t>({l_A.m_Type, l_A.m_Start, l_A.m_End, l_A.m_Size, l_A.m_Parent}),
                std::vector<int32_t>({l_B.m_Type, l_B.m_Start, l_B.m_End, l_B.m_Size, l_B.m_Parent}))
          << l_Text << " token " << l_Index;
    }
  }
}

}  // namespace

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

using ::testing::EndsWith;
using ::testing::MatchesRegex;

// A token as " type,start,end,size,parent".
std::string Show(std::initializer_list<int32_t> iFields) {
  std::string l_Out;
  for (int32_t l_Field : iFields) l_Out += (l_Out.empty() ? " " : ",") + std::to_string(l_Field);
  return l_Out;
}

std::string Tokens(const KELSysJSON& iJSON) {
  std::string l_Tokens;
  KELSysJSONToken l_Token;
  for (uint32_t l_Index = 0; iJSON.GetToken(l_Index, l_Token) == KEL_S_OK; ++l_Index)
    l_Tokens += Show(
        {l_Token.GetType(), l_Token.GetStart(), l_Token.GetEnd(), l_Token.GetSize(), l_Token.GetParent()});
  return l_Tokens;
}

TEST(KELSysJSONTokenizer, RecordsOffsetsSizesAndParents) {
  const std::string l_Text = "{\"a\":[1,\"x\"], \"b\":{}}";
  KELSysJSON l_JSON;
  ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
  // The object counts its two keys, and each key holds its value.
  EXPECT_EQ(Tokens(l_JSON), " 1,0,21,2,-1 3,2,3,1,0 2,5,12,2,1 4,6,7,0,2 3,9,10,0,2 3,15,16,1,0 1,18,20,0,5");
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
      EXPECT_THAT(Tokens(l_JSON), EndsWith(Show({3, l_InArray ? 2 : 1, l_End, 0, l_InArray ? 0 : -1})))
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
  using Malformed = std::pair<std::string, unsigned>;  // the text, the position reported
  for (const auto& [l_Text, l_Position] :
       {Malformed{"{\"a\":1", 6}, Malformed{"[\"a\\q\"]", 1}, Malformed{"[\"\\u12G4\"]", 1},
        Malformed{"[\"abc", 1}, Malformed{"[\"\\u12", 1}, Malformed{std::string("[\"ab\0c\"]", 8), 1},
        Malformed{"[1}", 2}, Malformed{"]", 0}, Malformed{"[]]", 2}, Malformed{"[tr\x01ue]", 3},
        Malformed{"\xEF\xBB\xBF{}", 0}, Malformed{"[caf\xC3\xA9]", 4}}) {
    KELSysJSONTestSink l_Sink;
    KELSysJSON l_JSON;
    EXPECT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size(), &l_Sink.m_Trace), KEL_E_FAIL) << l_Text;
    EXPECT_THAT(l_Sink.m_Lines->GetText(),
                MatchesRegex("\\(SystemTS/MORSysTS03\\.m/src/KELSysJSON : [0-9]+\\) \\[E\\] JSONTest: "
                             "JSON parsing error at position " +
                             std::to_string(l_Position) + "\n"));
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

// The token array starts at length / 2 tokens and doubles: a fresh document has no room for the one
// token of a one-byte text, and doubling nothing gives nothing. A text ends at its first NUL, and a
// build of no token builds nothing.
TEST(KELSysJSONTokenizer, GrowsFromHalfTheLengthAndStopsAtANul) {
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
  ASSERT_EQ(l_JSON.Parse("[1]\0[2,3]", 9), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCount(), 2u);
  ASSERT_EQ(l_JSON.Parse("\0[1]", 4), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCount(), 0u);
  KELSysJSONValue l_Root;
  EXPECT_EQ(l_JSON.Build(l_Root), KEL_E_FAIL);
  EXPECT_TRUE(l_Root.IsNull());
}

// The records of iText by a tokenizer given iRoom of them, and one more each time it runs out.
std::string Tokenized(const std::string& iText, size_t iRoom) {
  std::vector<KELSysJSONTokenRecord> l_Room(iRoom);
  KELSysJSONTokenizer l_Tokenizer;
  int32_t l_Count;
  while ((l_Count = l_Tokenizer.Run(iText.data(), static_cast<uint32_t>(iText.size()), l_Room.data(),
                                    static_cast<uint32_t>(l_Room.size()))) == KELSysJSONTokenizeNoMemory)
    l_Room.resize(l_Room.size() + 1);
  std::string l_Records;
  for (int32_t l_Index = 0; l_Index < l_Count; ++l_Index) {
    const KELSysJSONTokenRecord& l_Token = l_Room[static_cast<size_t>(l_Index)];
    l_Records += Show({l_Token.m_Type, l_Token.m_Start, l_Token.m_End, l_Token.m_Size, l_Token.m_Parent});
  }
  return l_Records;
}

// A pass that runs out of tokens resumes where it stopped: growing one token at a time gives the
// same records as one pass with room to spare.
TEST(KELSysJSONTokenizer, ResumedPassEqualsSinglePass) {
  for (const std::string l_Text : {"{\"k\":[1,\"two\",{\"x\":null}],\"l\":\"\\u0041\"}", "[[[[[]]]],[[]],7]",
                                   "a b c d e f g h", "{\"a\":\"b\",\"c\":[true,false]}"}) {
    const std::string l_Single = Tokenized(l_Text, l_Text.size() + 1);
    ASSERT_FALSE(l_Single.empty()) << l_Text;
    EXPECT_EQ(Tokenized(l_Text, 1), l_Single) << l_Text;
  }
}

}  // namespace

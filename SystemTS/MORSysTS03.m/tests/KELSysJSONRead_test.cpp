// Tokenizing and reading. The tokenizer: token records, the result and error position of every
// kind of malformed text, and the growth of the token array. The one-go read against the tokenizer
// and the walk over its tokens: for every text, the same events in the same order, the same
// verdict, the same failure position, the same tree, and the same weight of that tree before it is
// built.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "KELSysJSON.h"
#include "KELSysJSONBlock.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONReader.h"
#include "KELSysJSONTestUtil.h"
#include "KELSysJSONWalker.h"

namespace {

using ::testing::EndsWith;
using ::testing::MatchesRegex;

// The tokens of iText from a tokenizer given iRoom records, and one more each time it runs out;
// oResult gets their count or the failure, oPosition where the tokenizer stopped.
std::vector<KELSysJSONTokenRecord> Tokenize(const std::string& iText, size_t iRoom,
                                            int32_t* oResult = nullptr, uint32_t* oPosition = nullptr) {
  std::vector<KELSysJSONTokenRecord> l_Tokens(iRoom);
  KELSysJSONTokenizer l_Tokenizer;
  int32_t l_Result;
  while ((l_Result = l_Tokenizer.Run(iText.data(), static_cast<uint32_t>(iText.size()), l_Tokens.data(),
                                     static_cast<uint32_t>(l_Tokens.size()))) == KELSysJSONTokenizeNoMemory)
    l_Tokens.resize(l_Tokens.size() + 1);
  if (oResult) *oResult = l_Result;
  if (oPosition) *oPosition = l_Tokenizer.m_Pos;
  l_Tokens.resize(static_cast<size_t>(std::max(l_Result, 0)));
  return l_Tokens;
}

// A token as " type,start,end,size,parent".
std::string Show(std::initializer_list<int32_t> iFields) {
  std::string l_Out;
  for (int32_t l_Field : iFields) l_Out += (l_Out.empty() ? " " : ",") + std::to_string(l_Field);
  return l_Out;
}

// The tokens of the document's last parse, as the framework hands them out.
std::string Tokens(const KELSysJSON& iJSON) {
  std::string l_Tokens;
  KELSysJSONToken l_Token;
  for (uint32_t l_Index = 0; iJSON.GetToken(l_Index, l_Token) == KEL_S_OK; ++l_Index)
    l_Tokens += Show(
        {l_Token.GetType(), l_Token.GetStart(), l_Token.GetEnd(), l_Token.GetSize(), l_Token.GetParent()});
  return l_Tokens;
}

// Token records as the framework hands them out: an object counts its keys, and each key holds its
// value. Strings are scanned eight bytes at a time: the closing quote and an escape are found
// wherever they fall in a word, and near the end of the text.
TEST(KELSysJSONTokenizer, RecordsTokensWhereverQuotesFall) {
  const std::string l_Object = "{\"a\":[1,\"x\"], \"b\":{}}";
  KELSysJSON l_JSON;
  ASSERT_EQ(l_JSON.Parse(l_Object.data(), l_Object.size()), KEL_S_OK);
  EXPECT_EQ(Tokens(l_JSON), " 1,0,21,2,-1 3,2,3,1,0 2,5,12,2,1 4,6,7,0,2 3,9,10,0,2 3,15,16,1,0 1,18,20,0,5");
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
// wrong kind or of nothing; a control byte in a primitive; a byte-order mark; UTF-8 outside a string;
// a container opened inside as many open ones as the bound allows, reported at its bracket.
TEST(KELSysJSONTokenizer, MalformedTextsFailAndReportThePosition) {
  using Malformed = std::pair<std::string, unsigned>;  // the text, the position reported
  const unsigned l_Depth = KELSysJSONMaxDepth;
  for (const auto& [l_Text, l_Position] :
       {Malformed{"{\"a\":1", 6}, Malformed{"[\"a\\q\"]", 1}, Malformed{"[\"\\u12G4\"]", 1},
        Malformed{"[\"abc", 1}, Malformed{"[\"\\u12", 1}, Malformed{std::string("[\"ab\0c\"]", 8), 1},
        Malformed{"[1}", 2}, Malformed{"]", 0}, Malformed{"[]]", 2}, Malformed{"[tr\x01ue]", 3},
        Malformed{"\xEF\xBB\xBF{}", 0}, Malformed{"[caf\xC3\xA9]", 4},
        // one level deeper than the bound, whatever follows
        Malformed{std::string(l_Depth + 1, '[') + std::string(l_Depth + 1, ']'), l_Depth},
        Malformed{std::string(1000000, '['), l_Depth},
        Malformed{std::string(l_Depth, '[') + "{\"k\":1}" + std::string(l_Depth, ']'), l_Depth},
        Malformed{"{\"a\":" + std::string(l_Depth, '[') + std::string(l_Depth, ']') + "}", l_Depth + 4}}) {
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
// token of a one-byte text (Read makes room first), and doubling nothing gives nothing. A text that
// starts with a NUL has no token (one that ends there: the rewrites), and a build of no token builds
// nothing, leaving the root null.
TEST(KELSysJSONTokenizer, GrowsFromHalfTheLengthAndStopsAtANul) {
  KELSysJSON l_JSON;
  KELSysJSONValue l_Root;
  EXPECT_EQ(l_JSON.Parse("7", 1), KEL_E_OUTOFMEMORY);
  EXPECT_EQ(KELSysJSON().Read("7", 1, l_Root), KEL_S_OK);
  EXPECT_EQ(l_Root.GetInteger(), 7);
  EXPECT_EQ(KELSysJSON().Read(nullptr, 0, l_Root), KEL_E_INVALIDARG);
  EXPECT_EQ(KELSysJSON().Parse("7", 2), KEL_S_OK);  // with its NUL (fuzz input one-byte-rewrite)
  EXPECT_EQ(l_JSON.Parse("", 0), KEL_S_OK);
  EXPECT_EQ(l_JSON.Parse("77", 2), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCapacity(), 1u);
  EXPECT_EQ(l_JSON.Parse("[1,2,3]", 7), KEL_S_OK);  // 1 -> 2 -> 4 tokens, kept for the next parse
  EXPECT_EQ(l_JSON.GetTokenCapacity(), 4u);
  EXPECT_EQ(l_JSON.Parse("[]", 2), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCapacity(), 4u);
  ASSERT_EQ(l_JSON.Parse("\0[1]", 4), KEL_S_OK);
  EXPECT_EQ(l_JSON.GetTokenCount(), 0u);
  ASSERT_EQ(l_Root.SetInteger(7), KEL_S_OK);
  EXPECT_EQ(l_JSON.Build(l_Root), KEL_E_FAIL);
  EXPECT_TRUE(l_Root.IsNull());
}

// Writes down every event a walk tells it.
struct Recorder {
  std::string m_Events;

  bool Add(const std::string& iEvent) {
    m_Events += iEvent + '|';
    return true;
  }
  bool ObjectBegin(const KELSysJSONTokenRecord& iToken) { return Add("{" + std::to_string(iToken.m_Size)); }
  bool Key(const char* iBytes, uint32_t iLength) { return Add("k" + std::string(iBytes, iLength)); }
  bool ObjectEnd() { return Add("}"); }
  bool ArrayBegin(const KELSysJSONTokenRecord& iToken) { return Add("[" + std::to_string(iToken.m_Size)); }
  bool ItemBegin() { return Add("<"); }
  bool ItemEnd() { return Add(">"); }
  bool ArrayEnd() { return Add("]"); }
  bool String(const char* iBytes, uint32_t iLength) { return Add("s" + std::string(iBytes, iLength)); }
  bool Primitive(const KELSysJSONPrimitive& iRead) {
    uint64_t l_Bits;
    std::memcpy(&l_Bits, &iRead.m_Double, sizeof l_Bits);
    return Add("p" + std::to_string(iRead.m_Kind) + ":" + std::to_string(iRead.m_Integer) + ":" +
               std::to_string(l_Bits));
  }
};

// The blocks a build of the tokens takes: one for every string or key with bytes, and one for
// every container with members, sized by its token count.
size_t TreeOf(const std::vector<KELSysJSONTokenRecord>& iTokens) {
  size_t l_Tree = 0;
  for (const KELSysJSONTokenRecord& l_Token : iTokens) {
    const uint32_t l_Size = static_cast<uint32_t>(l_Token.m_Size);
    if (l_Token.m_Type == KELSysJSONTokenString && l_Token.m_End > l_Token.m_Start)
      l_Tree += KELSysJSONBytes::Size(static_cast<size_t>(l_Token.m_End - l_Token.m_Start));
    if (l_Token.m_Type == KELSysJSONTokenArray && l_Size > 0)
      l_Tree += KELSysJSONBlock::Size<KELSysJSONArray>(l_Size);
    if (l_Token.m_Type == KELSysJSONTokenObject && l_Size > 0)
      l_Tree += KELSysJSONBlock::Size<KELSysJSONObject>(l_Size);
  }
  return l_Tree;
}

// What a reading of a text came to: the tokens or the tokenizer's failure, its position, and after
// tokens the weight of the tree, whether the walk went through, and the walk's events.
std::string Outcome(int32_t iTokenize, uint32_t iPosition, size_t iTree = 0, bool iWalked = false,
                    const std::string& iEvents = "") {
  return "tokenize " + std::to_string(iTokenize) + " at " + std::to_string(iPosition) +
         (iTokenize <= 0
              ? ""
              : ", tree " + std::to_string(iTree) + ", walked " + std::to_string(iWalked) + ": " + iEvents);
}

// The tokens come from an array grown one record at a time: every pass that runs out of tokens must
// resume where it stopped, or the walk differs from the one-go read's, which never runs out.
std::string ByTokens(const std::string& iText) {
  int32_t l_Count;
  uint32_t l_Position;
  const std::vector<KELSysJSONTokenRecord> l_Tokens = Tokenize(iText, 1, &l_Count, &l_Position);
  if (l_Count <= 0) return Outcome(l_Count, l_Position);
  Recorder l_Recorder;
  std::vector<KELSysJSONWalker::Frame> l_Stack;
  KELSysJSONWalker l_Walker(l_Tokens.data(), static_cast<uint32_t>(l_Count), iText.data(), l_Stack);
  const bool l_Walked = l_Walker.Walk(l_Recorder);
  return Outcome(l_Count, l_Position, TreeOf(l_Tokens), l_Walked, l_Recorder.m_Events);
}

std::string InOneGo(const std::string& iText, KELSysJSONReadWork& ioWork) {
  const uint32_t l_Length = static_cast<uint32_t>(iText.size());
  size_t l_Tree = 0;
  uint32_t l_Position = 0;
  const int32_t l_Count = KELSysJSONCount(iText.data(), l_Length, ioWork, l_Position, SIZE_MAX, l_Tree);
  if (l_Count <= 0) return Outcome(l_Count, l_Position);
  Recorder l_Recorder;
  const bool l_Walked = KELSysJSONWalkCounted(iText.data(), l_Length, l_Recorder, ioWork);
  return Outcome(l_Count, l_Position, l_Tree, l_Walked, l_Recorder.m_Events);
}

// The tree and result of Read against those of Parse and Build. The documents and both trees are
// kept from one text to the next, so each read and build must leave nothing of the one before; a
// build after a failed parse fails with no tree.
void ExpectSameTree(const std::string& iText) {
  static KELSysJSON s_Tokens, s_OneGo;
  static KELSysJSONValue s_Built, s_Read;
  const std::string l_Warm(64, ' ');  // room for tokens: a short text must not fail for want of it
  ASSERT_EQ(s_Tokens.Parse(l_Warm.data(), l_Warm.size()), KEL_S_OK);
  KELSysJSONTestSink l_ParseErrors, l_ReadErrors;
  KELSysResult l_Expected = s_Tokens.Parse(iText.data(), iText.size(), &l_ParseErrors.m_Trace);
  const KELSysResult l_Built = s_Tokens.Build(s_Built);
  if (l_Expected == KEL_S_OK)
    l_Expected = l_Built;
  else
    EXPECT_EQ(l_Built, KEL_E_FAIL) << iText;
  // Blanks after the text change nothing it says, and take it past the size that Read passes to
  // the tokens. A parsing error is reported by both (where the text ends differs) or by neither.
  const std::string l_Long = iText + std::string(KELSysJSONTokenReadLimit + 1, ' ');
  EXPECT_EQ(s_OneGo.Read(l_Long.data(), l_Long.size(), s_Read, &l_ReadErrors.m_Trace) == KEL_S_OK,
            l_Expected == KEL_S_OK)
      << iText;
  EXPECT_EQ(l_ReadErrors.m_Lines->GetText().empty(), l_ParseErrors.m_Lines->GetText().empty()) << iText;
  EXPECT_EQ(Compact(s_Read), Compact(s_Built)) << iText;
}

// Texts where the lax tokenizer and the walk's checks meet in odd ways: colons that hang tokens
// below scalars, keys and closed containers; commas that climb; brackets that close nothing;
// several top-level values; members counted after the walk has left their container.
const char* const k_Texts[] = {
    "{\"a\":[}", "",       " ",        "1",         "{\"a\":1}",       "{\"a\" 1}",     "{1:2}",   "{\"a\":}",
    "[1:2, 3]",  "[1:2]",  "[[]:1]",   "[[]:[] 5]", "[[1]:2]",         "[[]:[]:[]:[]]", "[1 2 3]", "[1,,2]",
    "[,]",       ":1",     ":",        ",",         "1:2:3:4",         "[] ]",          "[]]",     "{}}",
    "[]}",       "1]",     "\"a\":1]", "[] []",     "{\"a\",\"b\":1}", "[{\"a\":1,}]",  "[1,]",    "[\"open",
    "[1, 2",     "[\x01]", "[1\x7f]"};
const char* const k_LongerTexts[] = {"{\"\\q\":1}",
                                     "[\"\\u12G4\"]",
                                     "{\"a\":1 \"b\":2}",
                                     "{\"a\":[1,\"x\"], \"b\":{}}",
                                     "[1.5, 2, true, null, word]",
                                     "{\"a\":{\"b\":1}:2}",
                                     "{\"a\":1} {\"b\":2}",
                                     "[\"a\":\"b\",\"c\"]",
                                     "{\"a\":\"b\",\"c\"}",
                                     "{\"a\":\"b\":\"c\"}",
                                     "[\"\\u00e9\", \"\\\\\", \"\\\"\"]",
                                     "[1, -5, 12ab, 1E5, 1e5, 0.1, 1,5, 99999999999999999999]"};

// Those texts, the text of a NUL, and colon chains of closed containers into a tree deeper than the
// open-bracket bound (both readings refuse it at the same depth, and take it one level less deep).
// Then random texts over the bytes that steer the tokenizer, many of them well formed enough to
// walk some way. Every outcome must match.
TEST(KELSysJSONRead, MatchesTheTokenWalk) {
  std::vector<std::string> l_Texts(std::begin(k_Texts), std::end(k_Texts));
  l_Texts.insert(l_Texts.end(), std::begin(k_LongerTexts), std::end(k_LongerTexts));
  l_Texts.push_back(std::string("[1]\0[2", 6));
  for (uint32_t l_Depth : {KELSysJSONMaxDepth, KELSysJSONMaxDepth + 1}) {
    std::string l_Chain = "[[]";
    for (uint32_t l_Level = 2; l_Level < l_Depth; ++l_Level) l_Chain += ":[]";
    l_Texts.push_back(l_Chain + "]");
    EXPECT_EQ(ByTokens(l_Texts.back()).find("walked 1") != std::string::npos, l_Depth == KELSysJSONMaxDepth);
  }
  const size_t l_Odd = l_Texts.size();
  const std::string l_Pieces[] = {"[", "]",    "{",    "}", ":",       ",",   " ",     "\"a\"", "\"\"",
                                  "1", "true", "null", "x", "\"\\n\"", "2.5", "\"b\"", "[]",    "{}"};
  std::mt19937 l_Random(20261124);
  while (l_Texts.size() < l_Odd + 20000) {
    std::string& l_Text = l_Texts.emplace_back();
    for (auto l_Length = l_Random() % 24; l_Length > 0; --l_Length)
      l_Text += l_Pieces[l_Random() % std::size(l_Pieces)];
  }
  KELSysJSONReadWork l_Work;
  int l_Walked = 0;
  for (size_t l_Index = 0; l_Index < l_Texts.size(); ++l_Index) {
    const std::string l_Expected = ByTokens(l_Texts[l_Index]);
    ASSERT_EQ(InOneGo(l_Texts[l_Index], l_Work), l_Expected) << l_Texts[l_Index];
    l_Walked += l_Expected.find("walked 1") != std::string::npos;
    if (l_Index < l_Odd || (l_Index - l_Odd) % 10 == 0) ExpectSameTree(l_Texts[l_Index]);
  }
  EXPECT_GT(l_Walked, 2000);  // the random texts reach the walk, not only the tokenizer's refusals
}

// A budget refuses a text whose tree would take more, as if memory had run out, and leaves the
// document as good as before. The least budget that reads a text is its tree's blocks and a little
// working storage, on either path (the token array for short texts; for long ones the spine, and a
// count of members for each container, in room that at most doubles).
TEST(KELSysJSONRead, ABudgetRefusesCostlierTexts) {
  for (size_t l_Units : {size_t(200), size_t(20000)}) {
    std::string l_Text = "{\"a\":[\"xyz\"";
    for (size_t l_Unit = 0; l_Unit < l_Units; ++l_Unit) l_Text += ",[1],{\"k\":\"v\"}";
    l_Text += "]}";
    const size_t l_Tree = TreeOf(Tokenize(l_Text, l_Text.size()));
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    size_t l_Low = 0, l_High = SIZE_MAX / 2;  // refused at l_Low, read at l_High
    while (l_High - l_Low > 1) {
      const size_t l_Budget = l_Low + (l_High - l_Low) / 2;
      const KELSysResult l_Rc = l_JSON.Read(l_Text.data(), l_Text.size(), l_Root, nullptr, l_Budget);
      ASSERT_TRUE(l_Rc == KEL_S_OK || l_Rc == KEL_E_OUTOFMEMORY) << l_Rc;
      EXPECT_EQ(l_Root.IsNull(), l_Rc != KEL_S_OK);
      (l_Rc == KEL_S_OK ? l_High : l_Low) = l_Budget;
    }
    const bool l_Short = l_Text.size() <= KELSysJSONTokenReadLimit;  // its token array counts
    EXPECT_GE(l_High, l_Tree + (l_Short ? KELSysJSONTokenReadLimit / 2 * sizeof(KELSysJSONTokenRecord) : 0))
        << l_Text.size() << " bytes";
    EXPECT_LE(l_High, l_Tree + 8 * (2 * l_Units + 2) + (size_t(64) << 10)) << l_Text.size() << " bytes";
    // Weighing alone draws the line where the one-go read does for a long text.
    if (!l_Short) {
      EXPECT_EQ(l_JSON.Weigh(l_Text.data(), l_Text.size(), l_High), KEL_S_OK);
      EXPECT_EQ(l_JSON.Weigh(l_Text.data(), l_Text.size(), l_Low), KEL_E_OUTOFMEMORY);
      EXPECT_EQ(l_JSON.Weigh(l_Text.data(), l_Text.size() - 1, l_High), KEL_E_FAIL);  // not closed
    }
    ASSERT_EQ(l_JSON.Read(l_Text.data(), l_Text.size(), l_Root, nullptr, l_High), KEL_S_OK);
    EXPECT_EQ(Compact(l_Root), l_Text);
  }
}

}  // namespace

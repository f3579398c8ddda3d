// Building trees from texts and writing them back: primitives, strings, structure checks, the two
// written forms, traversal, the trace lines of a build, and the memory a read takes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "../../../tests/KELTestSupport.h"
#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONShapes.h"
#include "KELSysJSONTestUtil.h"
#include "KELSysMemoryPeak.h"

namespace {

using Case = std::pair<std::string, std::string>;  // a text, and its tree written compact

const std::string g_Digits63(63, '7');
const std::string g_Point63 = "0." + std::string(61, '5');

const Case k_Rewrites[] = {
    Case{"[1.5, 2, true, null, word, false]", "[1.5,2,true,null,0,false]"},
    Case{"[-5, +7, 12ab, 1E5, 1e5, 0x10, -, e]", "[-5,7,12,1,100000.0,0,0,0.0]"},
    Case{"[3.0, 1e20, 0.1, -0.0]", "[3.0,1e+20.0,0.10000000000000001,-0.0]"},
    Case{"[1e999, -1e999]", "[inf.0,-inf.0]"},  // kept as read; written again alike
    Case{"[inf.0, nan.0]", "[inf.0,nan.0]"},
    Case{"[9223372036854775807, 9223372036854775808, -9223372036854775808]",
         "[9223372036854775807,-9223372036854775808,-9223372036854775808]"},
    Case{"[" + g_Digits63 + "]", "[-1]"},     // 63 bytes: still read
    Case{"[" + g_Digits63 + "7]", "[null]"},  // 64 bytes: cut off
    Case{"[" + g_Point63 + "]", "[0.55555555555555558]"}, Case{"[" + g_Point63 + "5]", "[null]"},
    // strings: escapes are kept, not decoded
    Case{"{\"\\\"\\/\\\\\\b\\f\\n\\r\\t\\u00aF\":\"\\uD83D\\uDE00\"}",
         "{\"\\\"\\/\\\\\\b\\f\\n\\r\\t\\u00aF\":\"\\uD83D\\uDE00\"}"},
    Case{"[\"caf\xC3\xA9\", \"\xFF\xFE\", \"tab\there\"]", "[\"caf\xC3\xA9\",\"\xFF\xFE\",\"tab\there\"]"},
    Case{std::string("[\"\"]\0[", 6), "[\"\"]"},
    // structure
    Case{"\r\n{\"a\":\r\n1}\r\n", "{\"a\":1}"}, Case{" { } ", "{}"}, Case{"[]", "[]"},
    Case{"1 2", "1"},                                                               // the first value only
    Case{"{\"a\":1,\"a\":2}", "{\"a\":1,\"a\":2}"}, Case{"{1:2}", "build E_FAIL"},  // a key must be a string
    Case{"{\"a\"}", "build E_FAIL"},                                                // a key without a value
    Case{"{\"a\",\"b\":1}", "build E_FAIL"},
    Case{"[{\"a\":1,2}]", "build E_FAIL"},  // member count does not match
    Case{"{\"a\":[1,2}", "parse E_FAIL"}};

// Texts built into trees and written back compact: primitives as the C library reads them, strings
// as they stand, and the structure checks of a build.
TEST(KELSysJSONRewrite, WritesCompact) {
  for (const auto& [l_Text, l_Written] : k_Rewrites) EXPECT_EQ(Rewrite(l_Text), l_Written) << l_Text;
}

// The framework's form of Write: appended to a MORUnicodeString, indented by one, through the
// node's base class. Its UTF-8 is the narrow text byte for byte, bytes that are not UTF-8 included.
TEST(KELSysJSONWrite, UnicodeFormGivesTheSameBytes) {
  const KELSysJSONValue l_Root = Built("{\"k\\u00e9\xff\":[\"\xc3\xa9\x80\",1.0,{}]}");
  const KELSysJSONBase& l_Node = l_Root;
  for (bool l_Compact : {true, false})
    for (const char* l_Indent : {"", "\t", "  "}) {
      std::string l_Narrow = "x=";
      ASSERT_EQ(l_Node.Write(l_Narrow, l_Compact, std::string(l_Indent)), KEL_S_OK);
      MORUnicodeString l_Out = MORUnicodeString::FromUTF8("x=");
      ASSERT_EQ(l_Node.Write(l_Out, l_Compact, MORUnicodeString::FromUTF8(l_Indent)), KEL_S_OK);
      EXPECT_EQ(std::string(l_Out.ConvertToUTF8()), l_Narrow) << l_Compact << " '" << l_Indent << "'";
    }
  // Each closing bracket drops the first character of its container's indentation, here a blank.
  MORUnicodeString l_Out;
  ASSERT_EQ(l_Root.GetObject().Write(l_Out, false, MORUnicodeString::FromUTF8("  ")), KEL_S_OK);
  EXPECT_STREQ(l_Out.ConvertToUTF8(),
               "{\n  \t\"k\\u00e9\xff\":[\n  \t\t\"\xc3\xa9\x80\",\n  \t\t1.0,\n  \t\t{\n  \t\t\t\n "
               "\t\t\t}\n \t\t]\n \t}");
}

// Records the events of a traversal as one line of text.
struct Recorder : KELSysJSONTraverse {
  std::string m_Events;
  int m_StopAfter = -1;

  bool Add(const std::string& iEvent) {
    m_Events += iEvent + " ";
    return m_StopAfter < 0 || --m_StopAfter > 0;
  }
  bool OnObjectBegin() override { return Add("{"); }
  bool OnPairKey(const char* iKey, size_t iLength) override { return Add("k:" + std::string(iKey, iLength)); }
  bool OnObjectEnd() override { return Add("}"); }
  bool OnArrayBegin() override { return Add("["); }
  bool OnArrayItemBegin() override { return Add("<"); }
  bool OnArrayItemEnd() override { return Add(">"); }
  bool OnArrayEnd() override { return Add("]"); }
  bool OnNull() override { return Add("null"); }
  bool OnBoolean(bool iValue) override { return Add(iValue ? "true" : "false"); }
  bool OnDouble(double iValue) override { return Add("d:" + std::to_string(iValue)); }
  bool OnInteger(int64_t iValue) override { return Add("i:" + std::to_string(iValue)); }
  bool OnString(const char* iText, size_t iLength) override {
    return Add("s:" + std::string(iText, iLength));
  }
};

// A traversal calls back in document order and stops where a callback says so; it fails as the parse
// does, or where the walk of a build would, and needs callbacks given or set.
TEST(KELSysJSONTraverse, CallsBackInDocumentOrder) {
  const std::string l_Text = "{\"a\":[1, 2.5, \"x\\n\", null, true], \"b\":{}, \"c\":" + g_Digits63 + "7}";
  KELSysJSON l_JSON;
  Recorder l_Recorder, l_Stopping;
  EXPECT_EQ(l_JSON.Traverse(l_Text.data(), l_Text.size(), l_Recorder), KEL_S_OK);
  EXPECT_EQ(l_Recorder.m_Events,
            "{ k:a [ < i:1 > < d:2.500000 > < s:x\\n > < null > < true > ] k:b { } k:c null } ");
  l_Stopping.m_StopAfter = 4;
  EXPECT_EQ(l_JSON.Traverse(l_Text.data(), l_Text.size(), l_Stopping), KEL_E_FAIL);
  EXPECT_EQ(l_Stopping.m_Events, "{ k:a [ < ");
  EXPECT_EQ(l_JSON.Traverse(nullptr, 3, l_Recorder), KEL_E_INVALIDARG);  // the parse's own result
  EXPECT_EQ(l_JSON.Traverse("[1]", 3), KEL_E_INVALIDARG);                // no traversal object of its own yet
  l_JSON.SetTraverse(std::make_unique<KELSysJSONTraverseCustom>());
  EXPECT_EQ(l_JSON.Traverse("[1]", 3), KEL_S_OK);
  EXPECT_EQ(l_JSON.Traverse("[{\"a\"}]", 7), KEL_E_FAIL);
}

// Numbers are read as strtod and strtoull read them, bit for bit, whichever way the library gets
// there: generated decimals of every length and exponent range, and the forms only the library reads.
TEST(KELSysJSONDocument, ReadsNumbersAsTheCLibrary) {
  // Out of range, subnormal, signed zero, and forms only the library reads (upper-case exponent,
  // bare point, plus sign, hexadecimal).
  std::vector<std::string> l_Numbers({"1e999", "-1e999", "1e-400", "4.9e-324", "2.4703282292062328e-324",
                                      "-0.0", "1.5E3", "1.5e", "1.e5", ".5", "0x1p3", "+2.5", "1e+0005",
                                      "99999999999999999999", "-9223372036854775809"});
  std::mt19937_64 l_Random(4);
  auto l_Digits = [&](size_t iMost) {
    std::string l_Text(1 + l_Random() % iMost, '0');
    for (char& l_Digit : l_Text) l_Digit = static_cast<char>('0' + l_Random() % 10);
    return l_Text;
  };
  while (l_Numbers.size() < 20000) {
    std::string l_Number = (l_Random() % 2 ? "-" : "") + l_Digits(20);
    if (l_Random() % 4) l_Number += "." + l_Digits(20);
    if (l_Random() % 2)
      l_Number += "e" + std::string(l_Random() % 2 ? "-" : "") + std::to_string(l_Random() % 330);
    if (l_Number.size() < 64) l_Numbers.push_back(l_Number);
  }
  std::string l_Text = "[";
  for (const std::string& l_Number : l_Numbers) l_Text += l_Number + ",";
  l_Text.back() = ']';
  const KELSysJSONValue l_Root = Built(l_Text);
  ASSERT_EQ(l_Root.GetArray().GetSize(), l_Numbers.size());
  for (size_t l_Index = 0; l_Index < l_Numbers.size(); ++l_Index) {
    const char* l_Number = l_Numbers[l_Index].c_str();
    const KELSysJSONValue& l_Read = *l_Root.GetArray().GetAt(l_Index);
    if (l_Numbers[l_Index].find_first_of(",.e") == std::string::npos) {
      EXPECT_EQ(l_Read.GetInteger(), static_cast<int64_t>(std::strtoull(l_Number, nullptr, 10))) << l_Number;
    } else {
      ASSERT_EQ(l_Read.GetType(), KELSysJSONTypeDouble) << l_Number;
      const double l_Expected = std::strtod(l_Number, nullptr), l_Got = l_Read.GetDouble();
      EXPECT_EQ(std::memcmp(&l_Got, &l_Expected, sizeof l_Got), 0) << l_Number;
    }
  }
}

// The build trace lines need the channel switched on by the environment before the process asks
// for it, so they are checked in a child process (with the line for a text nested too deep) that this file
// starts with the variable set.
const bool g_TraceChild = [] {
  if (std::getenv("KELSysJSONTestTraceChild") == nullptr) return false;
  const std::string l_Text = "{\"k\":[\"s\",tru,true,false,null,1.5,-2," + g_Digits63 + "7]}";
  Rewrite(l_Text);
  Rewrite("[" + std::string(KELSysJSONMaxDepth, '['));
  std::exit(0);
}();

TEST(KELSysJSONDocument, TracesTheBuild) {
  const KELTestTempDir l_Dir("KELSysJSONTrace");
  const KELTestOutcome l_Child =
      KELTestRun(l_Dir.Path(), {std::filesystem::read_symlink("/proc/self/exe").string()}, "", -1,
                 {"KELSysTrace=KELSysJSON", "KELSysJSONTestTraceChild=1"});
  EXPECT_EQ(l_Child.m_Status, 0);
  std::string l_Expected;
  for (const char* l_Line :
       {"JSON Object begin", "  JSON Pair string 'k'", "JSON Array begin", "JSON String 's'",
        "JSON Double primitive '0'", "JSON Boolean primitive 'true'", "JSON Boolean primitive 'false'",
        "JSON primitive Null", "JSON Double primitive '1.500000'", "JSON Double primitive '-2'",
        "JSON Array end", "JSON Object end"})
    l_Expected += std::string("[D] KELSysJSON: ") + l_Line + "\n";
  l_Expected += "[E] KELSysJSON: JSON nesting deeper than 1000 levels at position 1000\n";
  EXPECT_EQ(l_Child.m_Err, l_Expected);
}

// What reading a text into a tree costs at its peak, for the texts that cost the most per byte. The
// registry's file size limit rests on this: a text of n bytes read with KELSysJSON::Read takes at
// most KELSysJSONPeakPerByte n bytes plus KELSysJSONPeakFixed, and at most 16 n plus that for
// every shape but those whose containers hold a member or two each. (A reader that gives Read a
// budget of 14 n is held to 16 n for every shape, the costlier ones refused: the registry does, and
// KELSysRegKeyMemory_test.cpp measures it.)

// A shape and the size of its text; printed by the shape's PrintTo, named "Shape_64KiB".
using MemoryCase = std::tuple<KELSysJSONShape, size_t>;
class KELSysJSONMemory : public testing::TestWithParam<MemoryCase> {};

// A fresh document reads the text, whose tree stays until the peak is taken.
TEST_P(KELSysJSONMemory, PeakStaysWithinTheBound) {
  const auto [l_Shape, l_Size] = GetParam();
  const std::string l_Text = KELSysJSONShapeText(l_Shape, l_Size);
  const int64_t l_Peak = KELSysMemoryPeak([&] {
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    // Deep texts stop at the depth bound; every other shape reads.
    const KELSysResult l_Rc = l_JSON.Read(l_Text.data(), l_Text.size(), l_Root);
    if (l_Rc != KEL_S_OK && l_Rc != KEL_E_FAIL) abort();
  });
  const bool l_Containers =
      std::ranges::find(KELSysJSONContainerShapes, l_Shape) != std::end(KELSysJSONContainerShapes);
  const int64_t l_PerByte = l_Containers ? int64_t{KELSysJSONPeakPerByte} : 16;  // bytes a byte of text
  ASSERT_GT(l_Peak, 0);
  EXPECT_LE(l_Peak, l_PerByte * static_cast<int64_t>(l_Text.size()) + int64_t{KELSysJSONPeakFixed})
      << l_Peak / static_cast<double>(l_Text.size()) << " bytes a byte";
}

std::string Name(const testing::TestParamInfo<MemoryCase>& iCase) {
  return KELSysJSONShapeName(std::get<0>(iCase.param)) +
         ("_" + std::to_string(std::get<1>(iCase.param) >> 10)) + "KiB";
}
const auto k_Sizes = testing::Values(size_t(64) << 10, size_t(1) << 20);
INSTANTIATE_TEST_SUITE_P(Shapes, KELSysJSONMemory,
                         testing::Combine(testing::ValuesIn(KELSysJSONAllShapes), k_Sizes), Name);
INSTANTIATE_TEST_SUITE_P(MixedShapes, KELSysJSONMemory,
                         testing::Combine(testing::ValuesIn(KELSysJSONMixedShapes), k_Sizes), Name);
INSTANTIATE_TEST_SUITE_P(ContainerShapes, KELSysJSONMemory,
                         testing::Combine(testing::ValuesIn(KELSysJSONContainerShapes), k_Sizes), Name);

}  // namespace

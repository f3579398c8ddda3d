// The value tree as callers use it: setters, lookups, copies, removal, and trees nested deeper than
// any stack would allow recursion for.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONTestUtil.h"

namespace {

std::string Compact(const KELSysJSONBase& iNode) {
  std::string l_Out;
  EXPECT_EQ(iNode.Write(l_Out, true, ""), KEL_S_OK);
  return l_Out;
}

KELSysJSONValue Integer(int64_t iValue) {
  KELSysJSONValue l_Value;
  l_Value.SetInteger(iValue);
  return l_Value;
}

KELSysJSONValue Built(const std::string& iText) {
  KELSysJSON l_JSON;
  KELSysJSONValue l_Root;
  EXPECT_EQ(l_JSON.Parse(iText.data(), iText.size()), KEL_S_OK);
  EXPECT_EQ(l_JSON.Build(l_Root), KEL_S_OK);
  return l_Root;
}

TEST(KELSysJSONValue, SettersStartFromNull) {
  KELSysJSONValue l_Value = Built("{\"a\":[1,2]}");
  l_Value.SetInteger(int32_t{-7});
  EXPECT_EQ(l_Value.GetType(), KELSysJSONTypeInteger);
  EXPECT_EQ(l_Value.GetObject().GetSize(), 0u);  // the old object is gone
  l_Value.SetInteger(int64_t{1} << 40);
  EXPECT_EQ(Compact(l_Value), "1099511627776");
  EXPECT_EQ(l_Value.SetString("x\"y"), KEL_S_OK);
  EXPECT_EQ(Compact(l_Value), "\"x\"y\"");  // written as stored, never escaped
  EXPECT_EQ(l_Value.SetString(nullptr), KEL_S_OK);
  EXPECT_TRUE(l_Value.IsNull());
  l_Value.SetDouble(0.5);
  EXPECT_EQ(Compact(l_Value), "0.5");
  l_Value.SetBoolean(false);
  EXPECT_EQ(Compact(l_Value), "false");
  EXPECT_EQ(l_Value.GetString(), "");
}

// The registry's use: read a key file, change a value, drop another, write it back.
TEST(KELSysJSONValue, EditsAKeyFile) {
  KELSysJSONValue l_Root =
      Built("{\"Version\":\"1.0\",\"X1\":{\"Path\":[3,\"/opt/q4/x1\"],\"SPlevel\":[3,\"419.1\"]}}");
  KELSysJSONObject& l_Key = l_Root.GetObject().Lookup("X1").GetObject();
  KELSysJSONValue l_Data;
  ASSERT_EQ(l_Data.SetString("/opt/q4/x2"), KEL_S_OK);
  l_Key.Lookup("Path").GetArray().GetAt(1)->Swap(l_Data);
  EXPECT_TRUE(l_Key.Remove("SPlevel"));
  EXPECT_FALSE(l_Key.Remove("SPlevel"));
  KELSysJSONArray l_Pair;
  KELSysJSONValue l_Item;
  l_Item.SetInteger(4);
  ASSERT_EQ(l_Pair.Append(l_Item), KEL_S_OK);
  ASSERT_EQ(l_Item.SetString("x"), KEL_S_OK);
  ASSERT_EQ(l_Pair.Append(std::move(l_Item)), KEL_S_OK);
  KELSysJSONValue l_New;
  ASSERT_EQ(l_New.SetArray(l_Pair), KEL_S_OK);
  ASSERT_EQ(l_Key.AddPair("GAlevel", l_New), KEL_S_OK);
  EXPECT_EQ(Compact(l_Root),
            "{\"Version\":\"1.0\",\"X1\":{\"Path\":[3,\"/opt/q4/x2\"],\"GAlevel\":[4,\"x\"]}}");
  size_t l_Count = 0;
  for (const KELSysJSONPair& l_Member : l_Key) l_Count += l_Member.GetKey().size();
  EXPECT_EQ(l_Count, 4u + 7u);
}

TEST(KELSysJSONValue, LookupFindsTheFirstAndKeepsOneMissingValue) {
  KELSysJSONValue l_Root = Built("{\"a\":1,\"b\":2,\"a\":3}");
  KELSysJSONObject& l_Object = l_Root.GetObject();
  EXPECT_EQ(l_Object.Lookup("a").GetInteger(), 1);
  KELSysJSONValue& l_Missing = l_Object.Lookup("z");
  EXPECT_TRUE(l_Missing.IsNull());
  EXPECT_EQ(&l_Object.Lookup("y"), &l_Missing);
  EXPECT_EQ(&l_Object.Lookup(nullptr), &l_Missing);
  l_Missing.SetInteger(5);  // not a member
  EXPECT_EQ(l_Object.GetSize(), 3u);
  EXPECT_EQ(l_Object.Find("z"), nullptr);
  EXPECT_EQ(Compact(l_Root), "{\"a\":1,\"b\":2,\"a\":3}");
  EXPECT_TRUE(l_Object.Remove("a"));
  EXPECT_EQ(Compact(l_Root), "{\"b\":2,\"a\":3}");
  KELSysJSONObject l_Copy(l_Object);
  EXPECT_TRUE(l_Copy.Lookup("q").IsNull());  // a copy has a missing value of its own
}

TEST(KELSysJSONValue, CopiesAreDeepAndIndependent) {
  KELSysJSONValue l_Original = Built("{\"a\":[1,{\"b\":[\"c\"]}],\"d\":{}}");
  KELSysJSONValue l_Copy(l_Original);
  l_Copy.GetObject().Lookup("a").GetArray().GetAt(1)->GetObject().Lookup("b").GetArray().GetAt(0)->SetNull();
  EXPECT_EQ(Compact(l_Original), "{\"a\":[1,{\"b\":[\"c\"]}],\"d\":{}}");
  EXPECT_EQ(Compact(l_Copy), "{\"a\":[1,{\"b\":[null]}],\"d\":{}}");
  l_Copy = l_Original;
  EXPECT_EQ(Compact(l_Copy), Compact(l_Original));
}

// Setting a value from a part of itself must copy (or take) the part before clearing the value.
TEST(KELSysJSONValue, TakesPartsOfItself) {
  KELSysJSONValue l_Value = Built("{\"a\":{\"b\":[1,\"two\"]}}");
  ASSERT_EQ(l_Value.SetObject(l_Value.GetObject().Lookup("a").GetObject()), KEL_S_OK);
  EXPECT_EQ(Compact(l_Value), "{\"b\":[1,\"two\"]}");
  ASSERT_EQ(l_Value.SetArray(std::move(l_Value.GetObject().Lookup("b").GetArray())), KEL_S_OK);
  EXPECT_EQ(Compact(l_Value), "[1,\"two\"]");
  ASSERT_EQ(l_Value.SetString(l_Value.GetArray().GetAt(1)->GetString()), KEL_S_OK);
  EXPECT_EQ(Compact(l_Value), "\"two\"");
  l_Value = Built("[[[7]]]");
  l_Value = std::move(*l_Value.GetArray().GetAt(0));
  EXPECT_EQ(Compact(l_Value), "[[7]]");
  l_Value = *l_Value.GetArray().GetAt(0);
  EXPECT_EQ(Compact(l_Value), "[7]");
  ASSERT_EQ(l_Value.GetArray().Append(*l_Value.GetArray().GetAt(0)), KEL_S_OK);
  EXPECT_EQ(Compact(l_Value), "[7,7]");
}

// Built containers keep their members in blocks shared with the rest of the tree: what is moved out
// (as the registry keeps a key's values) must outlive the tree and the document, and grow past the
// room the build made.
TEST(KELSysJSONValue, BuiltContainersOutliveTheirTree) {
  KELSysJSONObject l_Kept;
  KELSysJSONArray l_List;
  {
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    const std::string l_Text = "{\"k\":{\"a\":[1,\"more than fifteen bytes\"],\"b\":{}},\"l\":[true,[3]]}";
    ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
    ASSERT_EQ(l_JSON.Build(l_Root), KEL_S_OK);
    l_Kept = std::move(l_Root.GetObject().Lookup("k").GetObject());
    l_List = std::move(l_Root.GetObject().Lookup("l").GetArray());
    EXPECT_EQ(Compact(l_Root), "{\"k\":{},\"l\":[]}");
  }
  KELSysJSONValue l_Item;
  l_Item.SetInteger(4);
  for (int l_Round = 0; l_Round < 3; ++l_Round) {
    ASSERT_EQ(l_Kept.AddPair("c", l_Item), KEL_S_OK);
    ASSERT_EQ(l_List.Append(l_Item), KEL_S_OK);
  }
  ASSERT_EQ(l_Kept.Lookup("a").GetArray().Append(l_Item), KEL_S_OK);
  EXPECT_TRUE(l_Kept.Remove("b"));
  EXPECT_TRUE(l_List.RemoveAt(0));
  EXPECT_EQ(Compact(l_Kept), "{\"a\":[1,\"more than fifteen bytes\",4],\"c\":4,\"c\":4,\"c\":4}");
  EXPECT_EQ(Compact(l_List), "[[3],4,4,4]");
}

// A value makes its containers on first use and keeps them: references stay good across setters
// and builds, and only the container that the type names is written.
TEST(KELSysJSONValue, ContainersStayWithTheValue) {
  KELSysJSONValue l_Value;
  const KELSysJSONValue& l_Read = l_Value;
  EXPECT_EQ(l_Read.GetArray().GetSize() + l_Read.GetObject().GetSize(), 0u);
  KELSysJSONArray& l_Array = l_Value.GetArray();
  l_Value.SetInteger(3);
  ASSERT_EQ(l_Array.Append(l_Value), KEL_S_OK);
  EXPECT_EQ(Compact(l_Value), "3");
  EXPECT_EQ(l_Read.GetArray().GetSize(), 1u);
  ASSERT_EQ(l_Value.SetArray(KELSysJSONArray(l_Array)), KEL_S_OK);
  EXPECT_EQ(&l_Value.GetArray(), &l_Array);
  EXPECT_EQ(Compact(l_Value), "[3]");
  KELSysJSON l_JSON;
  for (const std::string l_Text : {"[[1,2],[3,[4,5,6]]]", "[7]", "{\"a\":[8]}"}) {
    ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
    ASSERT_EQ(l_JSON.Build(l_Value), KEL_S_OK);
    EXPECT_EQ(Compact(l_Value), l_Text);
    EXPECT_EQ(&l_Value.GetArray(), &l_Array);
  }
  EXPECT_EQ(l_Array.GetSize(), 0u);
  // A string keeps its bytes when containers are made beside it (set on a value that has them, or
  // made on one that holds the string), and copies keep both.
  const std::string l_Long = "a string of more than fifteen bytes";
  KELSysJSONValue l_Fresh;
  for (KELSysJSONValue* l_String : {&l_Value, &l_Fresh}) {
    ASSERT_EQ(l_String->SetString(l_Long), KEL_S_OK);
    ASSERT_EQ(l_String->GetObject().AddPair("k", Integer(7)), KEL_S_OK);
    KELSysJSONValue l_Copy(*l_String);
    EXPECT_EQ(l_Copy.GetString(), l_Long);
    EXPECT_EQ(Compact(l_Copy), "\"" + l_Long + "\"");
    EXPECT_EQ(Compact(l_Copy.GetObject()), "{\"k\":7}");
  }
  EXPECT_EQ(&l_Value.GetArray(), &l_Array);
  l_Value.SetNull();
  EXPECT_EQ(l_Value.GetString(), "");
  EXPECT_EQ(l_Value.GetObject().GetSize(), 0u);
}

// A million levels: parsed, built, traversed, copied, written and destroyed with no recursion.
// Texts nest up to the bound and no deeper: one more level fails where its bracket stands,
// whatever follows, and the walk, the copy and the writer handle the deepest tree allowed.
TEST(KELSysJSONValue, NestingStopsAtTheBound) {
  const size_t l_Depth = KELSysJSONMaxDepth;
  std::string l_Text = std::string(l_Depth, '[') + std::string(l_Depth, ']');
  KELSysJSON l_JSON;
  KELSysJSONTraverseCustom l_Check;
  EXPECT_EQ(l_JSON.Traverse(l_Text.data(), l_Text.size(), l_Check), KEL_S_OK);
  KELSysJSONValue l_Root;
  ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
  ASSERT_EQ(l_JSON.Build(l_Root), KEL_S_OK);
  KELSysJSONValue l_Copy(l_Root);
  l_Root.SetNull();
  EXPECT_EQ(Compact(l_Copy), l_Text);

  const std::string l_Objects =
      "{\"a\":[" + std::string(l_Depth - 2, '[') + std::string(l_Depth - 2, ']') + "]}";
  EXPECT_EQ(Rewrite(l_Objects), l_Objects);
  struct Deeper {
    std::string m_Text;
    size_t m_Position;  // of the bracket that opens one level too many
  };
  for (const Deeper& l_Case :
       {Deeper{"[" + l_Text + "]", l_Depth}, Deeper{std::string(1000000, '['), l_Depth},
        Deeper{std::string(l_Depth, '[') + "{\"k\":1}" + std::string(l_Depth, ']'), l_Depth},
        Deeper{"{\"a\":" + l_Text + "}", l_Depth + 4}}) {
    KELSysJSONTestSink l_Sink;
    EXPECT_EQ(l_JSON.Parse(l_Case.m_Text.data(), l_Case.m_Text.size(), &l_Sink.m_Trace), KEL_E_FAIL);
    EXPECT_NE(l_Sink.m_Lines->GetText().find("JSON parsing error at position " +
                                             std::to_string(l_Case.m_Position) + "\n"),
              std::string::npos);
    EXPECT_EQ(Rewrite(l_Case.m_Text), "parse E_FAIL");
  }
}

// Trees made through the interface, including inside a missing-member value, are as deep as texts.
TEST(KELSysJSONValue, DeepTreesMadeByHand) {
  KELSysJSONValue l_Chain;
  for (int l_Level = 0; l_Level < 1000000; ++l_Level) {
    KELSysJSONObject l_Object;
    ASSERT_EQ(l_Object.AddPair("k", std::move(l_Chain)), KEL_S_OK);
    ASSERT_EQ(l_Chain.SetObject(std::move(l_Object)), KEL_S_OK);
  }
  std::string l_Out;
  ASSERT_EQ(l_Chain.GetObject().Lookup("k").Write(l_Out, true, ""), KEL_S_OK);
  std::string l_Expected;
  for (int l_Level = 1; l_Level < 1000000; ++l_Level) l_Expected += "{\"k\":";
  EXPECT_EQ(l_Out, l_Expected + "null" + std::string(999999, '}'));
  KELSysJSONValue l_Copy(l_Chain);
  KELSysJSONObject l_Holder;
  l_Holder.Lookup("none").Swap(l_Chain);
  l_Holder.Lookup("none").GetObject().Lookup("none").Swap(l_Copy);
}

// A model of what a value shows: its own text and both containers' texts. Every operation of a
// transition table is applied to the value and to the model; after each one they must agree, the
// containers must still be the objects made first (unless the step copies), and a string's bytes
// must not have moved unless the string was set again.
struct Shown {
  KELSysJSONType m_Type = KELSysJSONTypeNull;
  std::string m_Scalar = "null";
  std::string m_Array = "[]";
  std::string m_Object = "{}";
  std::string Text() const {
    return m_Type == KELSysJSONTypeArray ? m_Array : m_Type == KELSysJSONTypeObject ? m_Object : m_Scalar;
  }
  void Set(KELSysJSONType iType, const std::string& iScalar) {
    m_Type = iType;
    m_Scalar = iScalar;
    m_Array = "[]";
    m_Object = "{}";
  }
};

std::string Appended(const std::string& iList, const std::string& iItem) {
  return iList.substr(0, iList.size() - 1) + (iList.size() > 2 ? "," : "") + iItem + iList.back();
}

const std::string k_Long = "a string of more than fifteen bytes";

struct Transitions {
  const char* m_Name;
  const char* m_Steps;
};

class KELSysJSONValueTransitions : public testing::TestWithParam<Transitions> {
 protected:
  void Apply(char iStep);
  void Check(char iStep) const;
  KELSysJSONValue m_Value;
  Shown m_Shown;
  const KELSysJSONArray* m_Array = nullptr;  // the containers as first made
  const KELSysJSONObject* m_Object = nullptr;
  const char* m_Bytes = nullptr;  // the string's bytes as last set
};

void KELSysJSONValueTransitions::Apply(char iStep) {
  KELSysJSONValue& l_Value = m_Value;
  KELSysJSON l_JSON;
  switch (iStep) {
    case 's':  // setters
      ASSERT_EQ(l_Value.SetString(k_Long), KEL_S_OK);
      return m_Shown.Set(KELSysJSONTypeString, "\"" + k_Long + "\"");
    case 'e':
      ASSERT_EQ(l_Value.SetString(""), KEL_S_OK);
      return m_Shown.Set(KELSysJSONTypeString, "\"\"");
    case 'i':
      ASSERT_EQ(l_Value.SetInteger(int64_t{-1} << 40), KEL_S_OK);
      return m_Shown.Set(KELSysJSONTypeInteger, "-1099511627776");
    case 'b':
      ASSERT_EQ(l_Value.SetBoolean(true), KEL_S_OK);
      return m_Shown.Set(KELSysJSONTypeBoolean, "true");
    case 'd':
      ASSERT_EQ(l_Value.SetDouble(0.5), KEL_S_OK);
      return m_Shown.Set(KELSysJSONTypeDouble, "0.5");
    case 'n':
      l_Value.SetNull();
      return m_Shown.Set(KELSysJSONTypeNull, "null");
    case 'a': {
      KELSysJSONArray l_Array;
      ASSERT_EQ(l_Array.Append(Integer(3)), KEL_S_OK);
      ASSERT_EQ(l_Value.SetArray(l_Array), KEL_S_OK);
      m_Shown.Set(KELSysJSONTypeArray, "");
      m_Shown.m_Array = "[3]";
      return;
    }
    case 'o': {
      KELSysJSONObject l_Object;
      ASSERT_EQ(l_Object.AddPair("m", Integer(4)), KEL_S_OK);
      ASSERT_EQ(l_Value.SetObject(std::move(l_Object)), KEL_S_OK);
      m_Shown.Set(KELSysJSONTypeObject, "");
      m_Shown.m_Object = "{\"m\":4}";
      return;
    }
    case 'A':  // containers asked for beside whatever the value is
      ASSERT_EQ(l_Value.GetArray().Append(Integer(1)), KEL_S_OK);
      m_Shown.m_Array = Appended(m_Shown.m_Array, "1");
      return;
    case 'O':
      ASSERT_EQ(l_Value.GetObject().AddPair(k_Long, Integer(2)), KEL_S_OK);
      m_Shown.m_Object = Appended(m_Shown.m_Object, "\"" + k_Long + "\":2");
      return;
    case 'S': {  // set from parts of itself
      const std::string l_Text(l_Value.GetString());
      ASSERT_EQ(l_Value.SetString(l_Value.GetString()), KEL_S_OK);
      return m_Shown.Set(KELSysJSONTypeString, "\"" + l_Text + "\"");
    }
    case 'X': {
      const std::string l_Array = m_Shown.m_Array;
      ASSERT_EQ(l_Value.SetArray(l_Value.GetArray()), KEL_S_OK);
      m_Shown.Set(KELSysJSONTypeArray, "");
      m_Shown.m_Array = l_Array;
      return;
    }
    case 'Y': {
      const std::string l_Object = m_Shown.m_Object;
      ASSERT_EQ(l_Value.SetObject(std::move(l_Value.GetObject())), KEL_S_OK);
      m_Shown.Set(KELSysJSONTypeObject, "");
      m_Shown.m_Object = l_Object;
      return;
    }
    case 'm': {  // moves and swaps hand everything over, containers and bytes included
      KELSysJSONValue l_Moved(std::move(l_Value));
      EXPECT_TRUE(l_Value.IsNull());
      EXPECT_EQ(Compact(l_Value.GetArray()) + Compact(l_Value.GetObject()), "[]{}");
      l_Value = std::move(l_Moved);
      return;
    }
    case 'w': {
      KELSysJSONValue l_Other;
      ASSERT_EQ(l_Other.SetString("other"), KEL_S_OK);
      ASSERT_EQ(l_Other.GetObject().AddPair("x", Integer(5)), KEL_S_OK);
      l_Other.Swap(l_Value);
      EXPECT_EQ(Compact(l_Value) + Compact(l_Value.GetObject()), "\"other\"{\"x\":5}");
      EXPECT_EQ(Compact(l_Other), m_Shown.Text());
      if (m_Array) {
        EXPECT_EQ(&std::as_const(l_Other).GetArray(), m_Array);
      }
      l_Value.Swap(l_Other);
      return;
    }
    case 'c': {  // copies are deep and keep both containers; the copy's are its own
      KELSysJSONValue l_Copy(l_Value);
      l_Value = KELSysJSONValue(Integer(0));
      l_Value = l_Copy;
      const KELSysJSONValue& l_Read = l_Value;
      m_Array = l_Read.GetArray().GetSize() ? &l_Read.GetArray() : nullptr;
      m_Object = l_Read.GetObject().GetSize() ? &l_Read.GetObject() : nullptr;
      m_Bytes = l_Value.GetString().data();
      return;
    }
    case 'p': {  // builds keep the root's containers and carve its string from the document's chunks
      const std::string l_Text = "\"built by the parser\"";
      ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
      ASSERT_EQ(l_JSON.Build(l_Value), KEL_S_OK);
      return m_Shown.Set(KELSysJSONTypeString, l_Text);
    }
    case 'P': {
      const std::string l_Text = "[5,\"x\",{}]";
      ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
      ASSERT_EQ(l_JSON.Build(l_Value), KEL_S_OK);
      m_Shown.Set(KELSysJSONTypeArray, "");
      m_Shown.m_Array = l_Text;
      return;
    }
  }
  FAIL() << "no step " << iStep;
}

void KELSysJSONValueTransitions::Check(char iStep) const {
  const KELSysJSONValue& l_Value = m_Value;
  EXPECT_EQ(l_Value.GetType(), m_Shown.m_Type);
  EXPECT_EQ(Compact(l_Value), m_Shown.Text());
  EXPECT_EQ(Compact(l_Value.GetArray()), m_Shown.m_Array);
  EXPECT_EQ(Compact(l_Value.GetObject()), m_Shown.m_Object);
  if (m_Array) {
    EXPECT_EQ(&l_Value.GetArray(), m_Array);
  }
  if (m_Object) {
    EXPECT_EQ(&l_Value.GetObject(), m_Object);
  }
  if (m_Shown.m_Type == KELSysJSONTypeString && std::strchr("AOmw", iStep)) {
    EXPECT_EQ(l_Value.GetString().data(), m_Bytes);
  }
}

TEST_P(KELSysJSONValueTransitions, KeepContainersAndBytes) {
  for (const char* l_Step = GetParam().m_Steps; *l_Step; ++l_Step) {
    SCOPED_TRACE(std::string("after step ") + *l_Step);
    ASSERT_NO_FATAL_FAILURE(Apply(*l_Step));
    const KELSysJSONValue& l_Read = m_Value;
    if (!m_Array && l_Read.GetArray().GetSize()) m_Array = &l_Read.GetArray();
    if (!m_Object && l_Read.GetObject().GetSize()) m_Object = &l_Read.GetObject();
    if (std::strchr("seSp", *l_Step)) m_Bytes = m_Value.GetString().data();
    Check(*l_Step);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Storage, KELSysJSONValueTransitions,
    testing::Values(Transitions{"StringGetsContainers", "sAiOsdnesA"},
                    Transitions{"NulledContainerGetsScalars", "anibdsen"},
                    Transitions{"ObjectThenArray", "oAbnAOs"}, Transitions{"SetFromItself", "sSASXiOYeSn"},
                    Transitions{"MovesAndSwaps", "smwAmwOmwimwnmw"}, Transitions{"Copies", "sAOcdcnceAc"},
                    Transitions{"Builds", "pAPpOPnp"}, Transitions{"EmptyStrings", "eAOeSwmc"}),
    [](const testing::TestParamInfo<Transitions>& iInfo) { return std::string(iInfo.param.m_Name); });

// Keys are byte runs that may hold NUL bytes: Lookup reads a stored key as strcmp does (up to its
// first NUL), Find and Remove compare whole keys.
TEST(KELSysJSONValue, KeysWithNulBytes) {
  using namespace std::string_view_literals;
  KELSysJSONObject l_Object;
  int l_Index = 0;
  for (std::string_view l_Key : {"a\0b"sv, "a"sv, "ab"sv, "\0x"sv, ""sv, "b\0"sv})
    ASSERT_EQ(l_Object.AddPair(l_Key, Integer(l_Index++)), KEL_S_OK);
  struct Case {
    std::string_view m_Key;
    int m_Lookup;  // the index found, -1 for the missing-member value
    int m_Find;
  };
  for (const Case& l_Case :
       {Case{"a"sv, 0, 1}, Case{"a\0b"sv, 0, 0}, Case{"ab"sv, 2, 2}, Case{""sv, 3, 4}, Case{"\0x"sv, 3, 3},
        Case{"b"sv, 5, -1}, Case{"b\0"sv, 5, 5}, Case{"x"sv, -1, -1}}) {
    SCOPED_TRACE(std::string(l_Case.m_Key));
    const std::string l_CKey(l_Case.m_Key);  // Lookup reads it up to its first NUL
    KELSysJSONValue& l_Found = l_Object.Lookup(l_CKey.c_str());
    EXPECT_EQ(l_Found.IsNull() ? -1 : l_Found.GetInteger(), l_Case.m_Lookup);
    const KELSysJSONValue* l_Exact = l_Object.Find(l_Case.m_Key);
    EXPECT_EQ(l_Exact ? l_Exact->GetInteger() : -1, l_Case.m_Find);
  }
  EXPECT_TRUE(l_Object.Remove("a"));
  EXPECT_EQ(l_Object.Lookup("a").GetInteger(), 0);
  EXPECT_EQ(Compact(l_Object), std::string("{\"a\0b\":0,\"ab\":2,\"\0x\":3,\"\":4,\"b\0\":5}"sv));
}

// Lengths are 32-bit: a longer string or key is refused before a byte of it is read.
TEST(KELSysJSONValue, RefusesRunsOf4GiB) {
  const char l_Byte = 'x';
  const std::string_view l_Huge(&l_Byte, size_t{1} << 32);
  KELSysJSONValue l_Value;
  ASSERT_EQ(l_Value.SetString("kept"), KEL_S_OK);
  EXPECT_EQ(l_Value.SetString(l_Huge), KEL_E_OUTOFMEMORY);
  EXPECT_TRUE(l_Value.IsNull());
  KELSysJSONPair l_Pair("k", Integer(1));
  EXPECT_EQ(l_Pair.SetKey(l_Huge), KEL_E_OUTOFMEMORY);
  EXPECT_EQ(Compact(l_Pair), "\"k\":1");
  KELSysJSONObject l_Object;
  EXPECT_EQ(l_Object.AddPair(l_Huge, Integer(1)), KEL_E_OUTOFMEMORY);
  EXPECT_EQ(l_Object.GetSize(), 0u);
}

// Strings and keys of a build lie in the document's chunks beside its containers: what is moved out
// of the tree must outlive the document and the rest of the tree (AddressSanitizer watches the
// chunk), and each costs no more than its bytes behind an 8-byte header.
TEST(KELSysJSONValue, BuiltStringsOutliveTheirTree) {
  KELSysJSONValue l_String;
  KELSysJSONPair l_Member;
  KELSysJSONValue l_Copy;
  {
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    const std::string l_Text =
        "{\"s\":\"x\",\"a key of more than fifteen bytes\":[\"" + k_Long + "\",\"y\"],\"\":\"\"}";
    ASSERT_EQ(l_JSON.Parse(l_Text.data(), l_Text.size()), KEL_S_OK);
    ASSERT_EQ(l_JSON.Build(l_Root), KEL_S_OK);
    l_String = std::move(l_Root.GetObject().Lookup("s"));
    l_Member = std::move(*l_Root.GetObject().GetAt(1));
    l_Copy = l_Member.GetValue();
    EXPECT_EQ(Compact(l_Root), "{\"s\":null,\"\":null,\"\":\"\"}");
  }
  EXPECT_EQ(l_String.GetString(), "x");
  EXPECT_EQ(Compact(l_Member), "\"a key of more than fifteen bytes\":[\"" + k_Long + "\",\"y\"]");
  l_Member.GetValue().SetNull();
  EXPECT_EQ(Compact(l_Copy), "[\"" + k_Long + "\",\"y\"]");
  ASSERT_EQ(l_Member.SetKey("k"), KEL_S_OK);
  EXPECT_EQ(Compact(l_Member), "\"k\":null");

  // Consecutive runs of one build lie one block apart.
  struct Stride {
    size_t m_Length;
    ptrdiff_t m_Block;
  };
  for (const Stride& l_Case : {Stride{1, 16}, Stride{8, 16}, Stride{9, 24}, Stride{15, 24}, Stride{17, 32}}) {
    const std::string l_Run(l_Case.m_Length, 'r');
    const KELSysJSONValue l_Root =
        Built("[\"" + l_Run + "\",\"" + l_Run + "\",{\"" + l_Run + "\":0,\"" + l_Run + "\":0}]");
    const KELSysJSONArray& l_Items = l_Root.GetArray();
    EXPECT_EQ(l_Items.GetAt(1)->GetString().data() - l_Items.GetAt(0)->GetString().data(), l_Case.m_Block);
    const KELSysJSONObject& l_Keys = l_Items.GetAt(2)->GetObject();
    EXPECT_EQ(l_Keys.GetAt(1)->GetKey().data() - l_Keys.GetAt(0)->GetKey().data(), l_Case.m_Block);
  }
}

}  // namespace

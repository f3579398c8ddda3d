// The value tree as callers use it: setters, lookups, copies, removal, and trees nested deeper than
// any stack would allow recursion for.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONTestUtil.h"

namespace {

KELSysJSONValue Integer(int64_t iValue) {
  KELSysJSONValue l_Value;
  l_Value.SetInteger(iValue);
  return l_Value;
}

// Each setter drops what the value held; strings are written as stored, never escaped. Setting a
// value from a part of itself must copy (or take) the part before clearing the value.
TEST(KELSysJSONValue, SettersStartFromNullAndTakePartsOfItself) {
  KELSysJSONValue l_Value = Built("{\"a\":[1,2]}");
  l_Value.SetInteger(int32_t{-7});  // the containers it drops: the steps below
  EXPECT_EQ(Compact(l_Value), "-7");
  EXPECT_EQ(l_Value.SetString("x\"y"), KEL_S_OK);
  EXPECT_EQ(Compact(l_Value), "\"x\"y\"");
  EXPECT_EQ(l_Value.SetString(nullptr), KEL_S_OK);
  EXPECT_TRUE(l_Value.IsNull());
  l_Value.SetBoolean(false);
  EXPECT_EQ(Compact(l_Value) + std::string(l_Value.GetString()), "false");

  l_Value = Built("{\"a\":{\"b\":[1,\"two\"]}}");
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
  KELSysJSONValue l_String;  // strings and keys too, which lie in the same chunks
  KELSysJSONPair l_Member;
  {
    KELSysJSONValue l_Root = Built(
        "{\"k\":{\"a\":[1,\"more than fifteen bytes\"],\"b\":{}},\"l\":[true,[3]],\"s\":\"x\","
        "\"a key of more than fifteen bytes\":\"y\"}");
    l_Kept = std::move(l_Root.GetObject().Lookup("k").GetObject());
    l_List = std::move(l_Root.GetObject().Lookup("l").GetArray());
    l_String = std::move(l_Root.GetObject().Lookup("s"));
    l_Member = std::move(*l_Root.GetObject().GetAt(3));
    EXPECT_EQ(Compact(l_Root), "{\"k\":{},\"l\":[],\"s\":null,\"\":null}");
  }
  EXPECT_EQ(Compact(l_String) + Compact(l_Member), "\"x\"\"a key of more than fifteen bytes\":\"y\"");
  for (int l_Round = 0; l_Round < 3; ++l_Round) {
    ASSERT_EQ(l_Kept.AddPair("c", Integer(4)), KEL_S_OK);
    ASSERT_EQ(l_List.Append(Integer(4)), KEL_S_OK);
  }
  ASSERT_EQ(l_Kept.Lookup("a").GetArray().Append(Integer(4)), KEL_S_OK);
  EXPECT_TRUE(l_Kept.Remove("b"));
  EXPECT_TRUE(l_List.RemoveAt(0));
  EXPECT_EQ(Compact(l_Kept), "{\"a\":[1,\"more than fifteen bytes\",4],\"c\":4,\"c\":4,\"c\":4}");
  EXPECT_EQ(Compact(l_List), "[[3],4,4,4]");
}

// The deepest tree allowed is built, copied, written and destroyed with no recursion (one level more
// fails to parse: see the tokenizer's malformed texts; the walk that builds it also serves traversals).
TEST(KELSysJSONValue, DeepestTreeNeedsNoRecursion) {
  const size_t l_Depth = KELSysJSONMaxDepth;
  std::string l_Text = std::string(l_Depth, '[') + std::string(l_Depth, ']');
  KELSysJSONValue l_Root = Built(l_Text);
  KELSysJSONValue l_Copy(l_Root);
  l_Root.SetNull();
  EXPECT_EQ(Compact(l_Copy), l_Text);
  // Freeing a copy gives back every block it took, however deep it goes.
  KELSysJSONValue(l_Copy).SetNull();
  const size_t l_Held = mallinfo2().uordblks;
  KELSysJSONValue(l_Copy).SetNull();
  EXPECT_EQ(mallinfo2().uordblks, l_Held);

  const std::string l_Objects =
      "{\"a\":[" + std::string(l_Depth - 2, '[') + std::string(l_Depth - 2, ']') + "]}";
  EXPECT_EQ(Rewrite(l_Objects), l_Objects);
}

const std::string k_Long = "a string of more than fifteen bytes";

std::string Quoted(std::string_view iText) { return "\"" + std::string(iText) + "\""; }

// A value's own text and both of its containers' texts.
std::string Shows(const KELSysJSONValue& iValue) {
  return Compact(iValue) + " " + Compact(iValue.GetArray()) + " " + Compact(iValue.GetObject());
}

std::string Appended(const std::string& iList, const std::string& iItem) {
  return iList.substr(0, iList.size() - 1) + (iList.size() > 2 ? "," : "") + iItem + iList.back();
}

// What a value should show after each step: its own text (or "[" / "{" when that is the text of
// its array / object), and the texts of both containers.
struct Model {
  std::string m_Own = "null", m_Array = "[]", m_Object = "{}";
  std::string Shows() const {
    return (m_Own == "[" ? m_Array : m_Own == "{" ? m_Object : m_Own) + " " + m_Array + " " + m_Object;
  }
};

// One step on ioValue, and what it should show after it.
Model Apply(char iStep, KELSysJSONValue& ioValue, Model ioModel) {
  const std::string l_String(ioValue.GetString());
  switch (iStep) {
    case 's':
      EXPECT_EQ(ioValue.SetString(k_Long), KEL_S_OK);
      return Model{Quoted(k_Long)};
    case 'e':
      EXPECT_EQ(ioValue.SetString(""), KEL_S_OK);
      return Model{"\"\""};
    case 'i':
      EXPECT_EQ(ioValue.SetInteger(int64_t{-1} << 40), KEL_S_OK);
      return Model{"-1099511627776"};
    case 'n':
      ioValue.SetNull();
      return Model{};
    case 'A':  // a container asked for beside what the value is
      EXPECT_EQ(ioValue.GetArray().Append(Integer(1)), KEL_S_OK);
      ioModel.m_Array = Appended(ioModel.m_Array, "1");
      return ioModel;
    case 'O':
      EXPECT_EQ(ioValue.GetObject().AddPair(k_Long, Integer(2)), KEL_S_OK);
      ioModel.m_Object = Appended(ioModel.m_Object, Quoted(k_Long) + ":2");
      return ioModel;
    case 'S':  // set from parts of itself
      EXPECT_EQ(ioValue.SetString(ioValue.GetString()), KEL_S_OK);
      return Model{Quoted(l_String)};
    case 'X':
      EXPECT_EQ(ioValue.SetArray(ioValue.GetArray()), KEL_S_OK);
      return Model{"[", ioModel.m_Array};
    case 'Y':
      EXPECT_EQ(ioValue.SetObject(std::move(ioValue.GetObject())), KEL_S_OK);
      return Model{"{", "[]", ioModel.m_Object};
    case 'w': {  // a swap hands everything over
      KELSysJSONValue l_Other = Built("\"other\"");
      l_Other.Swap(ioValue);
      EXPECT_EQ(Shows(l_Other), ioModel.Shows());
      EXPECT_EQ(Shows(ioValue), "\"other\" [] {}");
      ioValue.Swap(l_Other);
      return ioModel;
    }
    case 'c': {
      const KELSysJSONValue l_Copy(ioValue);
      ioValue.SetNull();
      ioValue = l_Copy;
      return ioModel;
    }
    case 'p':  // a build keeps the root's containers
      EXPECT_EQ(Build(Quoted("built by the parser"), ioValue), Quoted("built by the parser"));
      return Model{Quoted("built by the parser")};
    case 'P':
      EXPECT_EQ(Build("[5,\"x\",{}]", ioValue), "[5,\"x\",{}]");
      return Model{"[", "[5,\"x\",{}]"};
  }
  ADD_FAILURE() << "no step " << iStep;
  return ioModel;
}

// Sequences of steps across the ways a value keeps its payload and containers. After every step the
// value shows what the model says, its containers are still the objects first made (a copy's are
// its own), and a string's bytes have not moved unless the string was set again.
class KELSysJSONValueSteps : public testing::TestWithParam<const char*> {};

TEST_P(KELSysJSONValueSteps, KeepContainersAndBytes) {
  KELSysJSONValue l_Value;
  const KELSysJSONValue& l_Read = l_Value;
  Model l_Model;
  const KELSysJSONArray* l_Array = nullptr;
  const KELSysJSONObject* l_Object = nullptr;
  const char* l_Bytes = nullptr;
  for (const char* l_Step = GetParam(); *l_Step; ++l_Step) {
    SCOPED_TRACE(std::string(GetParam(), l_Step + 1));
    l_Model = Apply(*l_Step, l_Value, l_Model);
    EXPECT_EQ(Shows(l_Read), l_Model.Shows());
    if (*l_Step == 'c') l_Array = nullptr, l_Object = nullptr;
    if (!l_Array && l_Read.GetArray().GetSize()) l_Array = &l_Read.GetArray();
    if (!l_Object && l_Read.GetObject().GetSize()) l_Object = &l_Read.GetObject();
    EXPECT_TRUE(!l_Array || &l_Read.GetArray() == l_Array);
    EXPECT_TRUE(!l_Object || &l_Read.GetObject() == l_Object);
    if (!std::strchr("seSpc", *l_Step) && l_Read.GetType() == KELSysJSONTypeString) {
      EXPECT_EQ(l_Read.GetString().data(), l_Bytes);
    }
    l_Bytes = l_Read.GetString().data();
  }
}

INSTANTIATE_TEST_SUITE_P(Storage, KELSysJSONValueSteps,
                         testing::Values("sAiOsnesA", "PnisenO", "PYAinAOs", "sSAXiOYeSn", "swAwOwiwnw",
                                         "sAOcicnceAc", "pAPpOPnp", "eAOeSwc"),
                         [](const testing::TestParamInfo<const char*>& iInfo) { return iInfo.param; });

// Keys are byte runs that may hold NUL bytes: Lookup reads a stored key as strcmp does (up to its
// first NUL), Find and Remove compare whole keys; both find the first member of a name. A missing
// name gives one null value of the object's own, which is no member.
TEST(KELSysJSONValue, LookupFindAndRemove) {
  using namespace std::string_view_literals;
  KELSysJSONObject l_Object;
  int l_Index = 0;
  for (std::string_view l_Key : {"a\0b"sv, "a"sv, "ab"sv, "\0x"sv, ""sv, "b\0"sv, "ab"sv})
    ASSERT_EQ(l_Object.AddPair(l_Key, Integer(l_Index++)), KEL_S_OK);
  // The key, the index Lookup finds and the one Find finds (-1 for the missing-member value, none).
  using Case = std::tuple<std::string_view, int, int>;
  for (const auto& [l_Key, l_Lookup, l_Find] :
       {Case{"a"sv, 0, 1}, Case{"a\0b"sv, 0, 0}, Case{"ab"sv, 2, 2}, Case{""sv, 3, 4}, Case{"\0x"sv, 3, 3},
        Case{"b"sv, 5, -1}, Case{"b\0"sv, 5, 5}, Case{"x"sv, -1, -1}}) {
    SCOPED_TRACE(std::string(l_Key));
    KELSysJSONValue& l_Found = l_Object.Lookup(std::string(l_Key).c_str());  // read up to its first NUL
    EXPECT_EQ(l_Found.IsNull() ? -1 : l_Found.GetInteger(), l_Lookup);
    const KELSysJSONValue* l_Exact = l_Object.Find(l_Key);
    EXPECT_EQ(l_Exact ? l_Exact->GetInteger() : -1, l_Find);
  }
  KELSysJSONValue& l_Missing = l_Object.Lookup("z");
  EXPECT_TRUE(&l_Object.Lookup("y") == &l_Missing && &l_Object.Lookup(nullptr) == &l_Missing);
  l_Missing.SetInteger(5);
  EXPECT_EQ(l_Object.Find("z"), nullptr);
  EXPECT_TRUE(KELSysJSONObject(l_Object).Lookup("q").IsNull());  // a copy has a missing value of its own
  EXPECT_TRUE(l_Object.Remove("a") && l_Object.Remove("ab"));
  EXPECT_EQ(l_Object.Lookup("a").GetInteger(), 0);
  size_t l_Named = 0;
  for (KELSysJSONPair& l_Pair : l_Object) l_Named += !l_Pair.GetKey().empty();
  EXPECT_EQ(l_Named, 4u);
  EXPECT_EQ(Compact(l_Object), std::string("{\"a\0b\":0,\"\0x\":3,\"\":4,\"b\0\":5,\"ab\":6}"sv));
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

}  // namespace

// The document library: values and their two written forms, objects, deep trees, and the builder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "JSON.h"

namespace {

using JSON::Driver;
using JSON::Object;
using JSON::Value;
using testing::StrEq;
using testing::ThrowsMessage;

// An object with the members added in the order given; an array with the elements.
std::shared_ptr<Value> Obj(std::initializer_list<std::pair<std::string, std::shared_ptr<Value>>> iMembers) {
  std::shared_ptr<Value> l_Object = JSON::CreateObject();
  for (const auto& [l_Key, l_Value] : iMembers) l_Object->GetObjectValues().Add(l_Key, l_Value);
  return l_Object;
}
std::shared_ptr<Value> Arr(std::initializer_list<std::shared_ptr<Value>> iElements) {
  std::shared_ptr<Value> l_Array = JSON::CreateArray();
  for (const std::shared_ptr<Value>& l_Element : iElements) l_Array->GetArrayValues().Add(l_Element);
  return l_Array;
}

// The text of iValue through the stream forms: compact, or indented from iLevel when one is given.
std::string Text(const Value& iValue, int iLevel = -1) {
  std::ostringstream l_Out;
  iLevel < 0 ? iValue.Serialize(l_Out) : iValue.Write(l_Out, iLevel);
  return l_Out.str();
}

// {"n": 1.50, "s": "x", "t": true, "f": false, "z": null, "a": [1, {}], "e": []}
std::shared_ptr<Value> Sample() {
  return Obj({{"n", JSON::CreateNumber("1.50")},
              {"s", JSON::CreateString("x")},
              {"t", JSON::CreateBoolean(true)},
              {"f", JSON::CreateBoolean(false)},
              {"z", JSON::CreateString("", true)},
              {"a", Arr({JSON::CreateNumber("1"), JSON::CreateObject()})},
              {"e", JSON::CreateArray()}});
}

// The compact and the indented text, to a stream or appended to a string. Only the compact form
// escapes strings (quote, backslash, the named control characters); the indented form and keys are
// written as stored. Runs longer than the writer's buffer go around it, and still come out in order.
TEST(JSONValue, WritesCompactAndIndentedText) {
  const std::shared_ptr<Value> l_Root = Sample();
  EXPECT_EQ(Text(*l_Root),
            R"({"n": 1.50, "s": "x", "t": true, "f": false, "z": null, "a": [1, {}], "e": []})");
  EXPECT_EQ(Text(*l_Root, 0),
            "{\n    \"n\": 1.50,\n    \"s\": \"x\",\n    \"t\": true,\n    \"f\": false,\n    \"z\": null,\n"
            "    \"a\": [\n        1,\n        {}\n    ],\n    \"e\": []\n}");
  EXPECT_EQ(Text(*l_Root->GetObjectValues().Get("a"), 1), "[\n        1,\n        {}\n    ]");
  using Case = std::pair<std::string, std::string>;  // stored, compact
  for (const auto& [l_Stored, l_Compact] :
       {Case{"q\"b\\n\n", "q\\\"b\\\\n\\n"}, Case{"\b\f\r\t", "\\b\\f\\r\\t"},
        Case{"ctl\x01\x1f/", "ctl\x01\x1f/"}, Case{"caf\xc3\xa9\x7f", "caf\xc3\xa9\x7f"},
        Case{std::string("a\0b", 3), std::string("a\0b", 3)}}) {
    const std::shared_ptr<Value> l_String = JSON::CreateString(l_Stored);
    EXPECT_EQ(Text(*l_String), "\"" + l_Compact + "\"");
    EXPECT_EQ(Text(*l_String, 0), "\"" + l_Stored + "\"");
  }
  EXPECT_EQ(Text(*Obj({{"k\"y", JSON::CreateNull()}})), "{\"k\"y\": null}");
  const std::string l_Long = std::string(70000, 'a') + "\"" + std::string(40000, 'b');
  const std::shared_ptr<Value> l_Array =
      Arr({JSON::CreateString(l_Long), JSON::CreateString(l_Long), JSON::CreateString(l_Long)});
  const std::string l_Escaped = "\"" + std::string(70000, 'a') + "\\\"" + std::string(40000, 'b') + "\"";
  EXPECT_EQ(Text(*l_Array), "[" + l_Escaped + ", " + l_Escaped + ", " + l_Escaped + "]");
  std::string l_Text = "<";
  l_Array->Serialize(l_Text);
  EXPECT_EQ(l_Text, "<" + Text(*l_Array));
  const std::string l_Raw = "\n    \"" + l_Long + "\"";
  EXPECT_EQ(Text(*l_Array, 0), "[" + l_Raw + "," + l_Raw + "," + l_Raw + "\n]");
}

// Values handed over alone are kept as text and made into nodes again when asked for, the same node
// each time; a value held elsewhere too stays that very node.
TEST(JSONObject, AddReplacesInPlaceAndFindsByExactKey) {
  const std::string l_Long(300, 'L');   // longer than a length's first byte can say
  for (int l_Count : {3, 8, 9, 200}) {  // both sides of the switch to the hash index
    Object l_Object;
    for (int l_Key = 0; l_Key < l_Count; ++l_Key)
      l_Object.Add("k" + std::to_string(l_Key), JSON::CreateNumber(std::to_string(l_Key)));
    const std::shared_ptr<Value> l_Kept = JSON::CreateString(l_Long);
    l_Object.Add(l_Long, l_Kept);
    l_Object.Add("k1", JSON::CreateString("again"));
    l_Object.Add("k0", JSON::CreateString(l_Long));
    ASSERT_EQ(l_Object.Size(), static_cast<std::size_t>(l_Count + 1));
    EXPECT_EQ(l_Object.GetMembers()[1].m_Key, "k1");
    EXPECT_TRUE(l_Object.Get("k1")->IsString() && l_Object.Get("k1") == l_Object.GetMembers()[1].m_Value);
    EXPECT_TRUE(l_Object.Get(l_Long) == l_Kept && l_Object.Get("k0")->GetTypeName() == "String");
    EXPECT_EQ(static_cast<const JSON::Item&>(*l_Object.Get("k0")).GetText(), l_Long);
    for (int l_Key = 2; l_Key < l_Count; ++l_Key)
      EXPECT_EQ(l_Object.GetMembers()[l_Key].m_Value, l_Object.Get("k" + std::to_string(l_Key)));
    EXPECT_EQ(l_Object.Get("K1"), nullptr);
    EXPECT_EQ(l_Object.Get("k"), nullptr);
  }
}

TEST(JSONValue, TypeTestsNamesAndContainerAccess) {
  const std::shared_ptr<Value> l_Values[] = {
      JSON::CreateObject(), JSON::CreateArray(), JSON::CreateNumber("1"), JSON::CreateString(""),
      JSON::CreateTrue(),   JSON::CreateFalse(), JSON::CreateNull()};
  const std::string l_Names[] = {"Object", "Array", "Number", "String", "True", "False", "Null"};
  for (int l_Type = 0; l_Type < 7; ++l_Type) {
    const Value& l_Value = *l_Values[l_Type];
    EXPECT_TRUE(l_Value.GetType() == l_Type && l_Value.GetTypeName() == l_Names[l_Type] &&
                l_Value.IsBoolean() == (l_Type == 4 || l_Type == 5))
        << l_Names[l_Type];
    for (const auto& [l_Container, l_Access] :
         {std::pair{0, std::string("GetObjectValues - Value is not an Object")},
          std::pair{1, std::string("GetArrayValues - Value is not an Array")}})
      if (l_Type != l_Container) {
        EXPECT_THAT([&] { l_Container ? (void)l_Value.GetArrayValues() : (void)l_Value.GetObjectValues(); },
                    ThrowsMessage<std::runtime_error>(
                        StrEq("JSON::Value::" + l_Access + ". Actual type: " + l_Names[l_Type])));
      }
  }
  const JSON::Item l_Odd(9, "");
  EXPECT_EQ(l_Odd.GetTypeName() + Text(l_Odd), "??????");
  EXPECT_THROW(JSON::Item(JSON::TypeArray, ""), std::invalid_argument);
}

// A clone is a tree of its own; trees may be freed on another thread than the one that made them,
// whose nodes then serve that thread.
TEST(JSONValue, ClonesAndFreesTrees) {
  const std::shared_ptr<Value> l_Original = Sample();
  const std::shared_ptr<Value> l_Copy = l_Original->Clone();
  EXPECT_EQ(Text(*l_Copy), Text(*l_Original));
  l_Copy->GetObjectValues().Get("a")->GetArrayValues().Add(JSON::CreateTrue());
  l_Copy->GetObjectValues().Add("s", JSON::CreateString("changed"));
  EXPECT_EQ(Text(*l_Original), Text(*Sample()));
  EXPECT_NE(l_Copy->GetObjectValues().Get("n"), l_Original->GetObjectValues().Get("n"));

  std::vector<std::shared_ptr<Value>> l_Trees(50);
  for (std::shared_ptr<Value>& l_Tree : l_Trees) l_Tree = Sample();
  std::thread([&l_Trees] {
    l_Trees.clear();
    for (int l_Tree = 0; l_Tree < 50; ++l_Tree) EXPECT_EQ(Text(*Sample()), Text(*Sample()));
  }).join();
  for (int l_Tree = 0; l_Tree < 50; ++l_Tree) l_Trees.push_back(Sample());
  for (const std::shared_ptr<Value>& l_Tree : l_Trees) EXPECT_EQ(Text(*l_Tree), Text(*Sample()));
}

TEST(JSONValue, DeepTreesNeedNoRecursion) {
  // Arrays and objects alternate from the root down, the innermost an empty object.
  constexpr int kDepth = 100000;
  std::shared_ptr<Value> l_Root = JSON::CreateObject();
  for (int l_Level = kDepth - 2; l_Level >= 0; --l_Level)
    l_Root = l_Level % 2 ? Obj({{"", l_Root}}) : Arr({l_Root});
  const std::string l_Text = Text(*l_Root);
  EXPECT_EQ(l_Text.substr(0, 12), "[{\"\": [{\"\": ");
  // Each array and object pair takes `[{"": ` and `}]`; the innermost object is an empty `{}`.
  EXPECT_EQ(l_Text.size(), static_cast<std::size_t>(kDepth / 2 * 8 - 4));
  EXPECT_EQ(l_Text.find("{}"), l_Text.size() - kDepth - 1);  // followed by one closer per level
  std::shared_ptr<Value> l_Copy = l_Root->Clone();
  EXPECT_EQ(Text(*l_Copy), l_Text);
  // Share the chain with a second holder, then free both holders: each must free iteratively.
  std::shared_ptr<Value> l_Shared = l_Root->GetArrayValues()[0];
  l_Root.reset();
  l_Copy.reset();
  EXPECT_EQ(l_Shared.use_count(), 1);
}

TEST(JSONDriver, BuildsTopDownAndRefusesMisuse) {
  Driver l_Driver;
  l_Driver.BeginArray();
  EXPECT_TRUE(l_Driver.AddElement(JSON::CreateNumber("1")));
  l_Driver.BeginObject();  // drops the array
  EXPECT_TRUE(l_Driver.AddMember("a", JSON::CreateNumber("1")));
  EXPECT_TRUE(l_Driver.AddMember("list", JSON::CreateArray()));
  EXPECT_FALSE(l_Driver.AddMember("x", JSON::CreateTrue()));  // an array is open
  EXPECT_FALSE(l_Driver.AddElement(nullptr));
  EXPECT_TRUE(l_Driver.AddElement(JSON::CreateObject()));
  EXPECT_FALSE(l_Driver.AddElement(JSON::CreateTrue()));  // an object is open
  EXPECT_TRUE(l_Driver.AddMember("in", JSON::CreateString("x")));
  l_Driver.End();
  EXPECT_TRUE(l_Driver.AddElement(JSON::CreateFalse()));
  l_Driver.End();
  EXPECT_TRUE(l_Driver.AddMember("b", JSON::CreateString("x")));
  l_Driver.End();
  l_Driver.End();                                             // nothing open: no effect
  EXPECT_FALSE(l_Driver.AddMember("c", JSON::CreateNull()));  // nothing open
  EXPECT_EQ(l_Driver.ToString(), R"({"a": 1, "list": [{"in": "x"}, false], "b": "x"})");
  l_Driver.Reset();
  EXPECT_EQ(l_Driver.GetRoot(), nullptr);
  EXPECT_EQ(l_Driver.ToString(), "");
}

// A member read as the kind asked for, or a message naming what it is; number conversions that fail
// pass their own exceptions through.
TEST(JSONDriver, GetAttributeReadsEachKindOrNamesTheFault) {
  std::shared_ptr<Value> l_Object = Obj({{"int", JSON::CreateNumber("-42")},
                                         {"float", JSON::CreateNumber("2.5")},
                                         {"big", JSON::CreateNumber("9000000000")},
                                         {"abc", JSON::CreateNumber("abc")},
                                         {"str", JSON::CreateString("text")},
                                         {"yes", JSON::CreateTrue()},
                                         {"no", JSON::CreateFalse()},
                                         {"nul", JSON::CreateNull()},
                                         {"arr", JSON::CreateArray()},
                                         {"obj", JSON::CreateObject()}});
  int l_Int = 0;
  float l_Float = 0;
  std::int64_t l_Big = 0;
  bool l_Yes = false, l_No = true;
  std::string l_Text;
  std::shared_ptr<Value> l_Array, l_Inner;
  Driver::GetAttribute(l_Object, "int", l_Int), Driver::GetAttribute(l_Object, "float", l_Float);
  Driver::GetAttribute(l_Object, "big", l_Big), Driver::GetAttribute(l_Object, "str", l_Text);
  Driver::GetAttribute(l_Object, "yes", l_Yes), Driver::GetAttribute(l_Object, "no", l_No);
  Driver::GetAttribute(l_Object, "arr", l_Array), Driver::GetAttribute(l_Object, "obj", l_Inner);
  EXPECT_TRUE(l_Int == -42 && l_Float == 2.5f && l_Big == 9000000000 && l_Yes && !l_No && l_Text == "text");
  EXPECT_TRUE(l_Array == Driver::FindMember(l_Object, "arr") && l_Inner->IsObject());
  EXPECT_EQ(Driver::FindMember(l_Array, "arr"), nullptr);
  EXPECT_EQ(Driver::FindMember(nullptr, "arr"), nullptr);
  auto l_Fails = [&](auto iOutput, const char* iKey, const std::string& iMessage) {
    EXPECT_THAT([&] { Driver::GetAttribute(l_Object, iKey, iOutput); },
                ThrowsMessage<std::runtime_error>(StrEq("JSON::Driver::GetAttribute - " + iMessage)));
  };
  l_Fails(0, "str", "str is not a Number. Actual type: String");  // the three numbers check alike
  l_Fails(false, "nul", "nul is not a Boolean. Actual type: Null");
  l_Fails(std::string(), "obj", "obj is not a String. Actual type: Object");
  l_Fails(l_Array, "str", "str is neither an Array nor an Object. Actual type: String");
  l_Fails(0, "missing", "Empty field: missing");
  EXPECT_THROW(Driver::GetAttribute(l_Object, "abc", l_Float), std::invalid_argument);
  EXPECT_THROW(Driver::GetAttribute(l_Object, "big", l_Int), std::out_of_range);
  l_Object = nullptr;
  l_Fails(0, "int", "Value is null");
}

}  // namespace

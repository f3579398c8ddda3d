#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "JSON.h"
#include "JSONTestUtil.h"

namespace {

using JSON::Object;
using JSON::Value;
using testing::StrEq;
using testing::ThrowsMessage;

std::string Indented(const Value& iValue, int iLevel = 0) {
  std::ostringstream l_Out;
  iValue.Write(l_Out, iLevel);
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

TEST(JSONValue, WritesCompactAndIndentedText) {
  const std::shared_ptr<Value> l_Root = Sample();
  EXPECT_EQ(Compact(*l_Root),
            R"({"n": 1.50, "s": "x", "t": true, "f": false, "z": null, "a": [1, {}], "e": []})");
  EXPECT_EQ(Indented(*l_Root),
            "{\n    \"n\": 1.50,\n    \"s\": \"x\",\n    \"t\": true,\n    \"f\": false,\n    \"z\": null,\n"
            "    \"a\": [\n        1,\n        {}\n    ],\n    \"e\": []\n}");
  EXPECT_EQ(Indented(*l_Root->GetObjectValues().Get("a"), 1), "[\n        1,\n        {}\n    ]");
  EXPECT_EQ(Indented(*JSON::CreateArray()), "[]");
  std::string l_Appended = "x=";
  JSON::CreateObject()->Serialize(l_Appended);
  EXPECT_EQ(l_Appended, "x={}");
}

// Only the compact form escapes strings (quote, backslash, the named control characters); the indented
// form and keys are written as stored.
TEST(JSONValue, OnlyCompactStringsAreEscaped) {
  using Case = std::pair<std::string, std::string>;  // stored, compact
  for (const auto& [l_Stored, l_Compact] :
       {Case{"q\"b\\n\n", "q\\\"b\\\\n\\n"}, Case{"\b\f\r\t", "\\b\\f\\r\\t"},
        Case{"ctl\x01\x1f/", "ctl\x01\x1f/"}, Case{"caf\xc3\xa9\x7f", "caf\xc3\xa9\x7f"},
        Case{std::string("a\0b", 3), std::string("a\0b", 3)},
        Case{"long run \"then\" more", "long run \\\"then\\\" more"}}) {
    const std::shared_ptr<Value> l_String = JSON::CreateString(l_Stored);
    EXPECT_EQ(Compact(*l_String), "\"" + l_Compact + "\"");
    EXPECT_EQ(Indented(*l_String), "\"" + l_Stored + "\"");
  }
  EXPECT_EQ(Compact(*Obj({{"k\"y", JSON::CreateNull()}})), "{\"k\"y\": null}");
}

TEST(JSONValue, LongTextsArriveWhole) {
  // Runs longer than the writer's buffer go around it; the pieces must still come out in order.
  const std::string l_Long = std::string(70000, 'a') + "\"" + std::string(40000, 'b');
  const std::shared_ptr<Value> l_Array =
      Arr({JSON::CreateString(l_Long), JSON::CreateString(l_Long), JSON::CreateString(l_Long)});
  const std::string l_Escaped = "\"" + std::string(70000, 'a') + "\\\"" + std::string(40000, 'b') + "\"";
  EXPECT_EQ(Compact(*l_Array), "[" + l_Escaped + ", " + l_Escaped + ", " + l_Escaped + "]");
  std::string l_Text = "<";
  l_Array->Serialize(l_Text);
  EXPECT_EQ(l_Text, "<" + Compact(*l_Array));
  const std::string l_Raw = "\n    \"" + l_Long + "\"";
  EXPECT_EQ(Indented(*l_Array), "[" + l_Raw + "," + l_Raw + "," + l_Raw + "\n]");
}

TEST(JSONObject, AddReplacesInPlaceAndFindsByExactKey) {
  for (int l_Count : {3, 8, 9, 200}) {  // both sides of the switch to the hash index
    Object l_Object;
    for (int l_Key = 0; l_Key < l_Count; ++l_Key)
      l_Object.Add("k" + std::to_string(l_Key), JSON::CreateNumber(std::to_string(l_Key)));
    l_Object.Add("k1", JSON::CreateString("again"));
    ASSERT_EQ(l_Object.Size(), static_cast<std::size_t>(l_Count));
    EXPECT_EQ(l_Object.GetMembers()[1].m_Key, "k1");
    EXPECT_TRUE(l_Object.Get("k1")->IsString());
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
  EXPECT_EQ(l_Odd.GetTypeName() + Compact(l_Odd), "??????");
  EXPECT_THROW(JSON::Item(JSON::TypeArray, ""), std::invalid_argument);
}

// A clone is a tree of its own; trees may be freed on another thread than the one that made them,
// whose nodes then serve that thread.
TEST(JSONValue, ClonesAndFreesTrees) {
  const std::shared_ptr<Value> l_Original = Sample();
  const std::shared_ptr<Value> l_Copy = l_Original->Clone();
  EXPECT_EQ(Compact(*l_Copy), Compact(*l_Original));
  l_Copy->GetObjectValues().Get("a")->GetArrayValues().Add(JSON::CreateTrue());
  l_Copy->GetObjectValues().Add("s", JSON::CreateString("changed"));
  EXPECT_EQ(Compact(*l_Original), Compact(*Sample()));
  EXPECT_NE(l_Copy->GetObjectValues().Get("n"), l_Original->GetObjectValues().Get("n"));

  std::vector<std::shared_ptr<Value>> l_Trees(50);
  for (std::shared_ptr<Value>& l_Tree : l_Trees) l_Tree = Sample();
  std::thread([&l_Trees] {
    l_Trees.clear();
    for (int l_Tree = 0; l_Tree < 50; ++l_Tree) EXPECT_EQ(Compact(*Sample()), Compact(*Sample()));
  }).join();
  for (int l_Tree = 0; l_Tree < 50; ++l_Tree) l_Trees.push_back(Sample());
  for (const std::shared_ptr<Value>& l_Tree : l_Trees) EXPECT_EQ(Compact(*l_Tree), Compact(*Sample()));
}

TEST(JSONValue, DeepTreesNeedNoRecursion) {
  // Arrays and objects alternate from the root down, the innermost an empty object.
  constexpr int kDepth = 100000;
  std::shared_ptr<Value> l_Root = JSON::CreateObject();
  for (int l_Level = kDepth - 2; l_Level >= 0; --l_Level)
    l_Root = l_Level % 2 ? Obj({{"", l_Root}}) : Arr({l_Root});
  const std::string l_Text = Compact(*l_Root);
  EXPECT_EQ(l_Text.substr(0, 12), "[{\"\": [{\"\": ");
  // Each array and object pair takes `[{"": ` and `}]`; the innermost object is an empty `{}`.
  EXPECT_EQ(l_Text.size(), static_cast<std::size_t>(kDepth / 2 * 8 - 4));
  EXPECT_EQ(l_Text.find("{}"), l_Text.size() - kDepth - 1);  // followed by one closer per level
  std::shared_ptr<Value> l_Copy = l_Root->Clone();
  EXPECT_EQ(Compact(*l_Copy), l_Text);
  // Share the chain with a second holder, then free both holders: each must free iteratively.
  std::shared_ptr<Value> l_Shared = l_Root->GetArrayValues()[0];
  l_Root.reset();
  l_Copy.reset();
  EXPECT_EQ(l_Shared.use_count(), 1);
}

}  // namespace

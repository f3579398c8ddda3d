#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "JSON.h"
#include "JSONTestUtil.h"

namespace {

using JSON::Driver;
using JSON::Value;
using testing::StrEq;
using testing::ThrowsMessage;

TEST(JSONDriver, BuildsTopDownAndRefusesMisuse) {
  Driver l_Driver;
  EXPECT_EQ(l_Driver.ToString(), "");
  EXPECT_FALSE(l_Driver.AddMember("a", JSON::CreateNull()));  // nothing open
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
  l_Driver.End();  // nothing open: no effect
  EXPECT_FALSE(l_Driver.AddMember("c", JSON::CreateNull()));
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
  l_Fails(0, "str", "str is not a Number. Actual type: String");
  l_Fails(0.0f, "yes", "yes is not a Number. Actual type: True");
  l_Fails(std::int64_t{0}, "arr", "arr is not a Number. Actual type: Array");
  l_Fails(false, "nul", "nul is not a Boolean. Actual type: Null");
  l_Fails(false, "int", "int is not a Boolean. Actual type: Number");
  l_Fails(std::string(), "obj", "obj is not a String. Actual type: Object");
  l_Fails(std::string(), "no", "no is not a String. Actual type: False");
  l_Fails(l_Array, "str", "str is neither an Array nor an Object. Actual type: String");
  l_Fails(l_Array, "nul", "nul is neither an Array nor an Object. Actual type: Null");
  l_Fails(0, "missing", "Empty field: missing");
  EXPECT_THROW(Driver::GetAttribute(l_Object, "abc", l_Int), std::invalid_argument);
  EXPECT_THROW(Driver::GetAttribute(l_Object, "abc", l_Float), std::invalid_argument);
  EXPECT_THROW(Driver::GetAttribute(l_Object, "abc", l_Big), std::invalid_argument);
  EXPECT_THROW(Driver::GetAttribute(l_Object, "big", l_Int), std::out_of_range);
  l_Object = nullptr;
  l_Fails(0, "int", "Value is null");
}

}  // namespace

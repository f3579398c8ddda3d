#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "JSON.h"

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

class JSONDriverGetAttribute : public testing::Test {
 protected:
  JSONDriverGetAttribute() {
    JSON::Object& l_Object = m_Object->GetObjectValues();
    l_Object.Add("int", JSON::CreateNumber("-42"));
    l_Object.Add("float", JSON::CreateNumber("2.5"));
    l_Object.Add("big", JSON::CreateNumber("9000000000"));
    l_Object.Add("abc", JSON::CreateNumber("abc"));
    l_Object.Add("str", JSON::CreateString("text"));
    l_Object.Add("yes", JSON::CreateTrue());
    l_Object.Add("no", JSON::CreateFalse());
    l_Object.Add("nul", JSON::CreateNull());
    l_Object.Add("arr", JSON::CreateArray());
    l_Object.Add("obj", JSON::CreateObject());
  }

  template <class Output>
  void ExpectMessage(const std::string& iKey, const std::string& iMessage) {
    Output l_Out{};
    EXPECT_THAT([&] { Driver::GetAttribute(m_Object, iKey, l_Out); },
                ThrowsMessage<std::runtime_error>(StrEq("JSON::Driver::GetAttribute - " + iMessage)));
  }

  std::shared_ptr<Value> m_Object = JSON::CreateObject();
};

TEST_F(JSONDriverGetAttribute, ReadsEachKind) {
  int l_Int = 0;
  float l_Float = 0;
  std::int64_t l_Big = 0;
  bool l_Yes = false, l_No = true;
  std::string l_Text;
  std::shared_ptr<Value> l_Array, l_Object;
  Driver::GetAttribute(m_Object, "int", l_Int);
  Driver::GetAttribute(m_Object, "float", l_Float);
  Driver::GetAttribute(m_Object, "big", l_Big);
  Driver::GetAttribute(m_Object, "yes", l_Yes);
  Driver::GetAttribute(m_Object, "no", l_No);
  Driver::GetAttribute(m_Object, "str", l_Text);
  Driver::GetAttribute(m_Object, "arr", l_Array);
  Driver::GetAttribute(m_Object, "obj", l_Object);
  EXPECT_EQ(l_Int, -42);
  EXPECT_EQ(l_Float, 2.5f);
  EXPECT_EQ(l_Big, 9000000000);
  EXPECT_TRUE(l_Yes);
  EXPECT_FALSE(l_No);
  EXPECT_EQ(l_Text, "text");
  EXPECT_EQ(l_Array, Driver::FindMember(m_Object, "arr"));
  EXPECT_TRUE(l_Object->IsObject());
  EXPECT_EQ(Driver::FindMember(l_Array, "arr"), nullptr);
  EXPECT_EQ(Driver::FindMember(nullptr, "arr"), nullptr);
}

TEST_F(JSONDriverGetAttribute, NamesTheFault) {
  ExpectMessage<int>("str", "str is not a Number. Actual type: String");
  ExpectMessage<float>("yes", "yes is not a Number. Actual type: True");
  ExpectMessage<std::int64_t>("arr", "arr is not a Number. Actual type: Array");
  ExpectMessage<bool>("nul", "nul is not a Boolean. Actual type: Null");
  ExpectMessage<bool>("int", "int is not a Boolean. Actual type: Number");
  ExpectMessage<std::string>("obj", "obj is not a String. Actual type: Object");
  ExpectMessage<std::string>("no", "no is not a String. Actual type: False");
  ExpectMessage<std::shared_ptr<Value>>("str", "str is neither an Array nor an Object. Actual type: String");
  ExpectMessage<std::shared_ptr<Value>>("nul", "nul is neither an Array nor an Object. Actual type: Null");
  ExpectMessage<int>("missing", "Empty field: missing");
  int l_Out = 0;
  EXPECT_THAT([&] { Driver::GetAttribute(nullptr, "int", l_Out); },
              ThrowsMessage<std::runtime_error>(StrEq("JSON::Driver::GetAttribute - Value is null")));
}

TEST_F(JSONDriverGetAttribute, ConversionErrorsPassThrough) {
  int l_Int = 0;
  float l_Float = 0;
  std::int64_t l_Big = 0;
  EXPECT_THROW(Driver::GetAttribute(m_Object, "abc", l_Int), std::invalid_argument);
  EXPECT_THROW(Driver::GetAttribute(m_Object, "abc", l_Float), std::invalid_argument);
  EXPECT_THROW(Driver::GetAttribute(m_Object, "abc", l_Big), std::invalid_argument);
  EXPECT_THROW(Driver::GetAttribute(m_Object, "big", l_Int), std::out_of_range);
}

}  // namespace

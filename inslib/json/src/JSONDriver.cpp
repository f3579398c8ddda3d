#include "JSONDriver.h"

#include <stdexcept>

#include "JSONArray.h"
#include "JSONItem.h"
#include "JSONObject.h"

namespace JSON {

namespace {

const std::string kWhere = "JSON::Driver::GetAttribute - ";

std::shared_ptr<Value> Required(const std::shared_ptr<Value>& iObject, std::string_view iKey) {
  if (!iObject) throw std::runtime_error(kWhere + "Value is null");
  std::shared_ptr<Value> l_Member = Driver::FindMember(iObject, iKey);
  if (!l_Member) throw std::runtime_error(kWhere + "Empty field: " + std::string(iKey));
  return l_Member;
}

[[noreturn]] void WrongKind(std::string_view iKey, const char* iExpected, const Value& iMember) {
  throw std::runtime_error(kWhere + std::string(iKey) + iExpected + iMember.GetTypeName());
}

// The stored text of a number member; the item stays alive in the caller's tree.
const std::string& NumberText(const std::shared_ptr<Value>& iObject, std::string_view iKey) {
  const std::shared_ptr<Value> l_Member = Required(iObject, iKey);
  if (!l_Member->IsNumber()) WrongKind(iKey, " is not a Number. Actual type: ", *l_Member);
  return static_cast<const Item&>(*l_Member).GetText();
}

}  // namespace

void Driver::Reset() {
  m_Open.clear();
  m_Root.reset();
}

void Driver::BeginObject() {
  Reset();
  m_Root = CreateObject();
  m_Open.push_back(m_Root);
}

void Driver::BeginArray() {
  Reset();
  m_Root = CreateArray();
  m_Open.push_back(m_Root);
}

bool Driver::AddMember(std::string iKey, std::shared_ptr<Value> iValue) {
  if (m_Open.empty() || !iValue || !m_Open.back()->IsObject()) return false;
  Object& l_Object = static_cast<Object&>(*m_Open.back());
  if (!iValue->IsObject() && !iValue->IsArray()) {
    // Handed on, so that a scalar nobody else holds can be kept compactly.
    l_Object.Add(std::move(iKey), std::move(iValue));
    return true;
  }
  l_Object.Add(std::move(iKey), iValue);
  return Push(iValue);
}

bool Driver::AddElement(const std::shared_ptr<Value>& iValue) {
  if (m_Open.empty() || !iValue || !m_Open.back()->IsArray()) return false;
  static_cast<Array&>(*m_Open.back()).Add(iValue);
  return Push(iValue);
}

bool Driver::Push(const std::shared_ptr<Value>& iValue) {
  if (iValue->IsObject() || iValue->IsArray()) m_Open.push_back(iValue);
  return true;
}

void Driver::End() {
  if (!m_Open.empty()) m_Open.pop_back();
}

std::string Driver::ToString() const {
  std::string l_Text;
  if (m_Root) m_Root->Serialize(l_Text);
  return l_Text;
}

std::shared_ptr<Value> Driver::FindMember(const std::shared_ptr<Value>& iObject, std::string_view iKey) {
  if (!iObject || !iObject->IsObject()) return nullptr;
  return static_cast<const Object&>(*iObject).Get(iKey);
}

void Driver::GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, int& oValue) {
  oValue = std::stoi(NumberText(iObject, iKey));
}

void Driver::GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, float& oValue) {
  oValue = std::stof(NumberText(iObject, iKey));
}

void Driver::GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey,
                          std::int64_t& oValue) {
  oValue = std::stoll(NumberText(iObject, iKey));
}

void Driver::GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, bool& oValue) {
  const std::shared_ptr<Value> l_Member = Required(iObject, iKey);
  if (!l_Member->IsBoolean()) WrongKind(iKey, " is not a Boolean. Actual type: ", *l_Member);
  oValue = l_Member->IsTrue();
}

void Driver::GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, std::string& oValue) {
  const std::shared_ptr<Value> l_Member = Required(iObject, iKey);
  if (!l_Member->IsString()) WrongKind(iKey, " is not a String. Actual type: ", *l_Member);
  oValue = static_cast<const Item&>(*l_Member).GetText();
}

void Driver::GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey,
                          std::shared_ptr<Value>& oValue) {
  std::shared_ptr<Value> l_Member = Required(iObject, iKey);
  if (!l_Member->IsObject() && !l_Member->IsArray()) {
    WrongKind(iKey, " is neither an Array nor an Object. Actual type: ", *l_Member);
  }
  oValue = std::move(l_Member);
}

}  // namespace JSON

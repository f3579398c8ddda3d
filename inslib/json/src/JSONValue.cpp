#include "JSONValue.h"

#include <stdexcept>

#include "JSONArray.h"
#include "JSONItem.h"
#include "JSONObject.h"
#include "JSONTextWriter.h"

namespace JSON {

Value::~Value() = default;

void Value::Write(std::ostream& oStream, int iLevel) const {
  std::string l_Buffer;
  TextWriter(l_Buffer, &oStream, true, iLevel).Run(this);
}

void Value::Serialize(std::ostream& oStream) const {
  std::string l_Buffer;
  TextWriter(l_Buffer, &oStream, false, 0).Run(this);
}

void Value::Serialize(std::string& oText) const { TextWriter(oText, nullptr, false, 0).Run(this); }

std::string Value::GetTypeName() const {
  static const char* const s_Names[] = {"Object", "Array", "Number", "String", "True", "False", "Null"};
  if (m_Type < TypeObject || m_Type > TypeNull) return "???";
  return s_Names[m_Type];
}

Object& Value::GetObjectValues() {
  return const_cast<Object&>(static_cast<const Value*>(this)->GetObjectValues());
}

const Object& Value::GetObjectValues() const {
  if (!IsObject()) {
    throw std::runtime_error("JSON::Value::GetObjectValues - Value is not an Object. Actual type: " +
                             GetTypeName());
  }
  return static_cast<const Object&>(*this);
}

Array& Value::GetArrayValues() {
  return const_cast<Array&>(static_cast<const Value*>(this)->GetArrayValues());
}

const Array& Value::GetArrayValues() const {
  if (!IsArray()) {
    throw std::runtime_error("JSON::Value::GetArrayValues - Value is not an Array. Actual type: " +
                             GetTypeName());
  }
  return static_cast<const Array&>(*this);
}

void Value::DeferNested(std::shared_ptr<Value>& ioChild, std::vector<std::shared_ptr<Value>>& oPending) {
  // Only a container with children can start a chain of destructors; scalars and empty containers
  // die where they are. A child shared with others is deferred too: it may be its last holder
  // that is freed later in the loop.
  if (ioChild && ioChild->Size() > 0) oPending.push_back(std::move(ioChild));
}

void Value::ReleaseNested(Value& ioContainer) {
  std::vector<std::shared_ptr<Value>> l_Pending;
  ioContainer.DetachNested(l_Pending);
  while (!l_Pending.empty()) {
    std::shared_ptr<Value> l_Node = std::move(l_Pending.back());
    l_Pending.pop_back();
    // When l_Node is the last holder, its nested containers join the loop and its own destructor
    // below finds nothing left to recurse into.
    if (l_Node.use_count() == 1) l_Node->DetachNested(l_Pending);
  }
}

std::shared_ptr<Value> CreateObject() { return std::make_shared<Object>(); }

std::shared_ptr<Value> CreateArray() { return std::make_shared<Array>(); }

std::shared_ptr<Value> CreateNumber(std::string iText) {
  return std::make_shared<Item>(TypeNumber, std::move(iText));
}

std::shared_ptr<Value> CreateString(std::string iText, bool iEmptyAsNull) {
  if (iEmptyAsNull && iText.empty()) return CreateNull();
  return std::make_shared<Item>(TypeString, std::move(iText));
}

std::shared_ptr<Value> CreateTrue() { return std::make_shared<Item>(TypeTrue, std::string()); }

std::shared_ptr<Value> CreateFalse() { return std::make_shared<Item>(TypeFalse, std::string()); }

std::shared_ptr<Value> CreateBoolean(bool iValue) { return iValue ? CreateTrue() : CreateFalse(); }

std::shared_ptr<Value> CreateNull() { return std::make_shared<Item>(TypeNull, std::string()); }

}  // namespace JSON

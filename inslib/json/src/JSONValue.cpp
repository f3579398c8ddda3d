#include "JSONValue.h"

#include <stdexcept>

#include "JSONArray.h"
#include "JSONItem.h"
#include "JSONNodePool.h"
#include "JSONObject.h"
#include "JSONTextWriter.h"

namespace JSON {

Value::~Value() = default;

void Value::Write(std::ostream& oStream, int iLevel) const {
  TextWriter(nullptr, &oStream, true, iLevel).Run(this);
}

void Value::Serialize(std::ostream& oStream) const { TextWriter(nullptr, &oStream, false, 0).Run(this); }

void Value::Serialize(std::string& oText) const { TextWriter(&oText, nullptr, false, 0).Run(this); }

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
  // Scalars and empty containers die where they are. A child shared with others is deferred too:
  // it may be its last holder that is freed later in the loop.
  if (ioChild && ioChild->Size() > 0) oPending.push_back(std::move(ioChild));
}

namespace {
// Levels of containers being freed by ordinary nested destructor calls on this thread.
thread_local int t_DirectLevels = 0;
constexpr int kDirectLevels = 64;
}  // namespace

void Value::ReleaseNested(Value& ioContainer) {
  // Ordinary trees are freed the ordinary way, each destructor dropping its children, which frees
  // every node while it is still in cache. Only below kDirectLevels does freeing switch to a loop
  // that unlinks one level at a time, so that depth costs no stack.
  if (t_DirectLevels < kDirectLevels) {
    ++t_DirectLevels;
    ioContainer.DropChildren(nullptr);
    --t_DirectLevels;
    return;
  }
  std::vector<std::shared_ptr<Value>> l_Pending;
  ioContainer.DropChildren(&l_Pending);
  while (!l_Pending.empty()) {
    std::shared_ptr<Value> l_Node = std::move(l_Pending.back());
    l_Pending.pop_back();
    // When l_Node is the last holder, its nested containers join the loop and its own destructor
    // below finds nothing left to recurse into.
    if (l_Node.use_count() == 1) l_Node->DropChildren(&l_Pending);
  }
}

namespace {
template <class Node, class... Args>
std::shared_ptr<Value> MakeNode(Args&&... iArgs) {
  return std::allocate_shared<Node>(NodeAllocator<Node>(), std::forward<Args>(iArgs)...);
}
}  // namespace

std::shared_ptr<Value> CreateObject() { return MakeNode<Object>(); }

std::shared_ptr<Value> CreateArray() { return MakeNode<Array>(); }

std::shared_ptr<Value> CreateNumber(std::string iText) {
  return MakeNode<Item>(TypeNumber, std::move(iText));
}

std::shared_ptr<Value> CreateString(std::string iText, bool iEmptyAsNull) {
  if (iEmptyAsNull && iText.empty()) return CreateNull();
  return MakeNode<Item>(TypeString, std::move(iText));
}

std::shared_ptr<Value> CreateTrue() { return MakeNode<Item>(TypeTrue, std::string()); }

std::shared_ptr<Value> CreateFalse() { return MakeNode<Item>(TypeFalse, std::string()); }

std::shared_ptr<Value> CreateBoolean(bool iValue) { return iValue ? CreateTrue() : CreateFalse(); }

std::shared_ptr<Value> CreateNull() { return MakeNode<Item>(TypeNull, std::string()); }

}  // namespace JSON

#include "JSONTree.h"

#include "JSONArray.h"
#include "JSONObject.h"

namespace JSON {

const std::shared_ptr<Value>& ChildAt(const Value& iContainer, std::size_t iIndex) {
  if (iContainer.IsObject()) return static_cast<const Object&>(iContainer).GetMembers()[iIndex].m_Value;
  return static_cast<const Array&>(iContainer).GetElements()[iIndex];
}

namespace {

// A scalar copied whole, a container copied empty: its children are added by the walk.
std::shared_ptr<Value> CopyNode(const Value& iSource) {
  if (iSource.IsObject()) return CreateObject();
  if (iSource.IsArray()) return CreateArray();
  return iSource.Clone();
}

void Append(Value& ioCopy, const Value& iSource, std::size_t iIndex, std::shared_ptr<Value> iChild) {
  if (ioCopy.IsObject()) {
    const std::string& l_Key = static_cast<const Object&>(iSource).GetMembers()[iIndex].m_Key;
    static_cast<Object&>(ioCopy).Add(l_Key, std::move(iChild));
  } else {
    static_cast<Array&>(ioCopy).Add(std::move(iChild));
  }
}

}  // namespace

std::shared_ptr<Value> CloneTree(const Value& iRoot) {
  struct Frame {
    const Value* m_Source;
    Value* m_Copy;
    std::size_t m_Next;
  };
  std::shared_ptr<Value> l_Root = CopyNode(iRoot);
  std::vector<Frame> l_Stack;
  if (iRoot.Size() > 0) l_Stack.push_back({&iRoot, l_Root.get(), 0});
  while (!l_Stack.empty()) {
    Frame& l_Top = l_Stack.back();
    if (l_Top.m_Next == l_Top.m_Source->Size()) {
      l_Stack.pop_back();
      continue;
    }
    const std::size_t l_Index = l_Top.m_Next++;
    const Value* l_Child = ChildAt(*l_Top.m_Source, l_Index).get();
    std::shared_ptr<Value> l_Copy = l_Child ? CopyNode(*l_Child) : nullptr;
    Value* l_CopyRaw = l_Copy.get();
    Append(*l_Top.m_Copy, *l_Top.m_Source, l_Index, std::move(l_Copy));
    if (l_Child && l_Child->Size() > 0) l_Stack.push_back({l_Child, l_CopyRaw, 0});
  }
  return l_Root;
}

}  // namespace JSON

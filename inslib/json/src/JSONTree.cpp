#include "JSONTree.h"

#include "JSONArray.h"
#include "JSONObject.h"

namespace JSON {

// The children walked are the elements of an array and the nodes an object holds by position.
std::shared_ptr<Value> CloneTree(const Value& iRoot) {
  struct Frame {
    const Value* m_Source;
    Value* m_Copy;
    std::size_t m_Next;
  };
  auto l_Children = [](const Value& iContainer) {
    return iContainer.IsObject() ? static_cast<const Object&>(iContainer).HeldCount() : iContainer.Size();
  };
  // A scalar copied whole, an array copied empty, an object with its members' bytes: the nodes
  // below them are added by the walk.
  auto l_CopyNode = [](const Value& iSource) {
    if (iSource.IsArray()) return CreateArray();
    if (!iSource.IsObject()) return iSource.Clone();
    std::shared_ptr<Value> l_Copy = CreateObject();
    static_cast<Object&>(*l_Copy).CopyBytes(static_cast<const Object&>(iSource));
    return l_Copy;
  };
  std::shared_ptr<Value> l_Root = l_CopyNode(iRoot);
  std::vector<Frame> l_Stack;
  if (iRoot.IsObject() || iRoot.IsArray()) l_Stack.push_back({&iRoot, l_Root.get(), 0});
  while (!l_Stack.empty()) {
    Frame& l_Top = l_Stack.back();
    if (l_Top.m_Next == l_Children(*l_Top.m_Source)) {
      l_Stack.pop_back();
      continue;
    }
    const std::size_t l_Index = l_Top.m_Next++;
    const Value* l_Child = nullptr;
    if (l_Top.m_Source->IsObject()) {
      l_Child = static_cast<const Object&>(*l_Top.m_Source).Held(l_Index)->get();
    } else {
      l_Child = static_cast<const Array&>(*l_Top.m_Source).GetElements()[l_Index].get();
    }
    std::shared_ptr<Value> l_Copy = l_Child ? l_CopyNode(*l_Child) : nullptr;
    Value* l_CopyRaw = l_Copy.get();
    if (l_Top.m_Copy->IsObject()) {
      static_cast<Object&>(*l_Top.m_Copy).Hold(l_Index) = std::move(l_Copy);
    } else {
      static_cast<Array&>(*l_Top.m_Copy).Add(std::move(l_Copy));
    }
    if (l_Child && (l_Child->IsObject() || l_Child->IsArray())) l_Stack.push_back({l_Child, l_CopyRaw, 0});
  }
  return l_Root;
}

}  // namespace JSON

#include "JSONArray.h"

#include "JSONTree.h"

namespace JSON {

Array::~Array() { ReleaseNested(*this); }

void Array::Add(std::shared_ptr<Value> iValue) { m_Elements.push_back(std::move(iValue)); }

std::shared_ptr<Value> Array::Clone() const { return CloneTree(*this); }

void Array::DropChildren(std::vector<std::shared_ptr<Value>>* oPending) {
  if (oPending) {
    for (std::shared_ptr<Value>& l_Element : m_Elements) DeferNested(l_Element, *oPending);
  }
  m_Elements.clear();
}

}  // namespace JSON

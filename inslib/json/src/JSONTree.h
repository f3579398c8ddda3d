// Walks over JSON containers shared by the copier and the writers: they keep their own stacks of
// open containers instead of recursing, so any depth works.
#ifndef JSONTree_H
#define JSONTree_H

#include "JSONValue.h"

namespace JSON {

// The iIndex-th child of a container (member value or element); may be empty.
const std::shared_ptr<Value>& ChildAt(const Value& iContainer, std::size_t iIndex);

// A deep copy of iRoot.
std::shared_ptr<Value> CloneTree(const Value& iRoot);

}  // namespace JSON

#endif

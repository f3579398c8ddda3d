// Walks over JSON containers shared by the copier and the writers: they keep their own stacks of
// open containers instead of recursing, so any depth works.
#ifndef JSONTree_H
#define JSONTree_H

#include "JSONValue.h"

namespace JSON {

// A deep copy of iRoot.
std::shared_ptr<Value> CloneTree(const Value& iRoot);

}  // namespace JSON

#endif

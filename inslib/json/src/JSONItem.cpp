#include "JSONItem.h"

#include <stdexcept>

#include "JSONNodePool.h"

namespace JSON {

Item::Item(std::int32_t iType, std::string iText) : Value(iType), m_Text(std::move(iText)) {
  // The container casts trust the type; an item posing as one would break them.
  if (iType == TypeObject || iType == TypeArray) {
    throw std::invalid_argument("JSON::Item - an item cannot be an Object or an Array");
  }
}

std::shared_ptr<Value> Item::Clone() const {
  return std::allocate_shared<Item>(NodeAllocator<Item>(), GetType(), m_Text);
}

}  // namespace JSON

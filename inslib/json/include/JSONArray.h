// A JSON array: values in order.
#ifndef JSONArray_H
#define JSONArray_H

#include "JSONValue.h"

namespace JSON {

class Array final : public Value {
 public:
  Array() : Value(TypeArray) {}
  ~Array() override;

  // Appends iValue. An empty pointer is kept and written as null.
  void Add(std::shared_ptr<Value> iValue);
  // The element at iIndex; throws std::out_of_range past the end.
  const std::shared_ptr<Value>& Get(std::size_t iIndex) const { return m_Elements.at(iIndex); }
  const std::shared_ptr<Value>& operator[](std::size_t iIndex) const { return Get(iIndex); }
  const std::vector<std::shared_ptr<Value>>& GetElements() const { return m_Elements; }

  std::shared_ptr<Value> Clone() const override;
  std::size_t Size() const override { return m_Elements.size(); }

 private:
  void DropChildren(std::vector<std::shared_ptr<Value>>* oPending) override;

  std::vector<std::shared_ptr<Value>> m_Elements;
};

}  // namespace JSON

#endif

// A JSON object: members in insertion order, keys unique, looked up by exact byte comparison.
#ifndef JSONObject_H
#define JSONObject_H

#include <string_view>

#include "JSONValue.h"

namespace JSON {

class Object final : public Value {
 public:
  struct Entry {
    std::string m_Key;
    std::shared_ptr<Value> m_Value;
  };

  Object() : Value(TypeObject) {}
  ~Object() override;

  // Appends the member (iKey, iValue); when iKey is already present its value is replaced and the
  // member keeps its place. An empty pointer is kept and written as null.
  void Add(std::string iKey, std::shared_ptr<Value> iValue);
  // The value of member iKey, or an empty pointer.
  std::shared_ptr<Value> Get(std::string_view iKey) const;
  // The members in insertion order.
  const std::vector<Entry>& GetMembers() const { return m_Members; }

  std::shared_ptr<Value> Clone() const override;
  std::size_t Size() const override { return m_Members.size(); }

 private:
  void DropChildren(std::vector<std::shared_ptr<Value>>* oPending) override;
  // Position of iKey in m_Members, or -1.
  std::ptrdiff_t Find(std::string_view iKey) const;
  std::ptrdiff_t FindIndexed(std::string_view iKey) const;
  void Index(std::size_t iPosition);
  void Rehash();

  std::vector<Entry> m_Members;
  // Hash index over m_Members once the object is large: open addressing, position + 1, 0 free.
  std::vector<std::uint32_t> m_Slots;
};

}  // namespace JSON

#endif

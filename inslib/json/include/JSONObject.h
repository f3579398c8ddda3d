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

  Object();
  ~Object() override;

  // Appends the member (iKey, iValue); when iKey is already present its value is replaced and the
  // member keeps its place. An empty pointer is kept and written as null. A scalar handed over as
  // the only pointer to it is kept as its text: asked for later, it comes back as an equal node,
  // the same one each time. Any other value is kept as the very node given.
  void Add(std::string iKey, std::shared_ptr<Value> iValue);
  // The value of member iKey, or an empty pointer.
  std::shared_ptr<Value> Get(std::string_view iKey) const;
  // The members in insertion order. The list is made when asked for and stays valid until the
  // object next changes.
  const std::vector<Entry>& GetMembers() const;

  std::shared_ptr<Value> Clone() const override;
  std::size_t Size() const override;

 private:
  friend class TextWriter;
  friend std::shared_ptr<Value> CloneTree(const Value& iRoot);

  // A member as the block holds it. Scalars are kept as their kind and text; any other value
  // (a container, a value held elsewhere too, an empty pointer) is held as a node.
  static constexpr std::int32_t kHeld = 7;
  // Where the first member starts: the block begins with the number of members.
  static constexpr std::size_t kFirst = sizeof(std::uint32_t);
  struct Member {
    std::string_view m_Key;
    std::int32_t m_Kind;  // a scalar's Type, or kHeld
    std::string_view m_Text;
    std::size_t m_Begin;
    std::size_t m_End;
  };
  struct Extra;

  void DropChildren(std::vector<std::shared_ptr<Value>>* oPending) override;
  // The member that starts at byte iBegin; its m_End is where the next one starts.
  Member At(std::size_t iBegin) const;
  // The node held for member iOrdinal (for a scalar, the one made when it was asked for), or null.
  const std::shared_ptr<Value>* Held(std::size_t iOrdinal) const;
  std::shared_ptr<Value>& Hold(std::size_t iOrdinal) const;
  // Member iKey and its position among the members; false when there is none.
  bool Find(std::string_view iKey, Member& oMember, std::size_t& oOrdinal) const;
  // The value of a member as a node, made from its bytes when it is a scalar.
  const std::shared_ptr<Value>& ValueOf(const Member& iMember, std::size_t iOrdinal) const;
  void Splice(std::size_t iBegin, std::size_t iEnd, std::string_view iKey, std::int32_t iKind,
              std::string_view iText);
  // Takes the members of iSource as bytes; its nodes are left for the caller to copy.
  void CopyBytes(const Object& iSource);
  // The nodes held by position (some may be empty), for the tree walks.
  std::size_t HeldCount() const;
  std::uint32_t Count() const;
  void Index(std::size_t iOrdinal);
  void Rehash();

  // Bytes used in the block, none while it is not made.
  std::uint32_t m_Size = 0;
  // The number of members, then the members one after the other: key length, key, kind and text
  // length in one number, text. Lengths take as few bytes as they need. The block's room follows
  // from its size.
  char* m_Bytes = nullptr;
  // Held nodes, the hash index of a large object and the list GetMembers gives; most objects
  // need none of them.
  mutable std::unique_ptr<Extra> m_Extra;
};

}  // namespace JSON

#endif

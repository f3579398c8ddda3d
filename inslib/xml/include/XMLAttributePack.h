// An element's attributes packed into one block: for each, in order, the number of its name (names
// are kept once for the process), the length of its value and the value's bytes, the two numbers
// in as few bytes as they need. A large document holds several attributes per element; one small
// block each instead of a pair of strings each keeps it a few times smaller.
#ifndef XMLAttributePack_H
#define XMLAttributePack_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace XML {

class AttributePack {
 public:
  // One attribute and where its bytes lie in the block.
  struct Entry {
    std::uint32_t m_Name;
    std::string_view m_Value;
    std::size_t m_Begin;
    std::size_t m_End;
  };

  AttributePack() = default;
  AttributePack(const AttributePack& iOther);
  AttributePack& operator=(const AttributePack& iOther);
  ~AttributePack();

  bool Empty() const { return m_Size == 0; }
  // The attribute that starts at iBegin; its m_End is where the next one starts.
  Entry At(std::size_t iBegin) const;
  std::size_t End() const { return m_Size; }
  // The attribute named iName (compared as text, so that a lookup names nothing new); false when
  // there is none.
  bool Find(std::string_view iName, Entry& oEntry) const;
  // Replaces the value of attribute iName where it stands, or appends the attribute.
  void Set(std::uint32_t iName, std::string_view iValue);
  // Takes out the bytes of oEntry, keeping the others in order.
  void Remove(const Entry& iEntry);

 private:
  // Puts iName and iValue in place of the bytes [iBegin, iEnd).
  void Splice(std::size_t iBegin, std::size_t iEnd, std::uint32_t iName, std::string_view iValue);

  char* m_Bytes = nullptr;
  // 32 bits: a block beyond 4 GiB is refused as memory exhaustion.
  std::uint32_t m_Size = 0;
  std::uint32_t m_Room = 0;
};

}  // namespace XML

#endif

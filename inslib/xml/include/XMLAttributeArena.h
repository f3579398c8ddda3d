// Room for an element's first attributes inside the element itself. Most elements carry a few
// attributes; giving them a block of their own would double the allocations of a large document.
#ifndef XMLAttributeArena_H
#define XMLAttributeArena_H

#include <cstddef>
#include <new>
#include <string>
#include <utility>

namespace XML {

using Attribute = std::pair<std::string, std::string>;

class AttributeArena {
 public:
  static constexpr std::size_t kCount = 6;

  AttributeArena() = default;
  AttributeArena(const AttributeArena&) = delete;
  AttributeArena& operator=(const AttributeArena&) = delete;

  // The inline room when it is free and large enough, else nullptr.
  void* Take(std::size_t iBytes) {
    if (m_Taken || iBytes > sizeof(m_Bytes)) return nullptr;
    m_Taken = true;
    return m_Bytes;
  }
  // False when iBlock is not the inline room.
  bool Give(void* iBlock) {
    if (iBlock != static_cast<void*>(m_Bytes)) return false;
    m_Taken = false;
    return true;
  }

 private:
  alignas(Attribute) unsigned char m_Bytes[kCount * sizeof(Attribute)];
  bool m_Taken = false;
};

// Allocates from an arena first, from the heap when the arena cannot serve.
template <class T>
class ArenaAllocator {
 public:
  using value_type = T;

  explicit ArenaAllocator(AttributeArena* iArena) : m_Arena(iArena) {}
  template <class U>
  ArenaAllocator(const ArenaAllocator<U>& iOther) : m_Arena(iOther.GetArena()) {}

  T* allocate(std::size_t iCount) {
    void* l_Block = m_Arena->Take(iCount * sizeof(T));
    return static_cast<T*>(l_Block ? l_Block : ::operator new(iCount * sizeof(T)));
  }
  void deallocate(T* iBlock, std::size_t) noexcept {
    if (!m_Arena->Give(iBlock)) ::operator delete(iBlock);
  }
  AttributeArena* GetArena() const { return m_Arena; }
  template <class U>
  bool operator==(const ArenaAllocator<U>& iOther) const {
    return m_Arena == iOther.GetArena();
  }

 private:
  AttributeArena* m_Arena;
};

}  // namespace XML

#endif

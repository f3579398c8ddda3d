// The storage behind KELSysJSONValueListImpl and KELSysJSONPairListImpl: items held by value in one
// contiguous run, in insertion order. Copies are deep; destruction goes level by level, not
// recursively. A list built by the parser keeps its items in the same heap block as the container
// that owns it; appending past that room moves them to a block of their own.
#ifndef KELSysJSONListImpl_H
#define KELSysJSONListImpl_H

#include <cstddef>
#include <cstdint>
#include <new>

#include "KELSysResult.h"

class KELSysJSONBlock;

template <class Item, class Interface>
class KELSysJSONListImpl : public Interface {
 public:
  KELSysJSONListImpl() = default;
  KELSysJSONListImpl(const KELSysJSONListImpl& iOther);
  KELSysJSONListImpl(KELSysJSONListImpl&& iOther) noexcept;
  KELSysJSONListImpl& operator=(const KELSysJSONListImpl& iOther);
  KELSysJSONListImpl& operator=(KELSysJSONListImpl&& iOther) noexcept;
  ~KELSysJSONListImpl() override;

  size_t GetCount() const override { return m_Count; }
  Item* GetAt(size_t iIndex) override;
  const Item* GetAt(size_t iIndex) const override;
  KELSysResult Append(const Item& iItem) override;
  KELSysResult Append(Item&& iItem) override;
  bool RemoveAt(size_t iIndex) override;
  void Clear() override;

  Item* begin() { return m_Items; }
  Item* end();
  const Item* begin() const { return m_Items; }
  const Item* end() const;

  // Room for at least iCount items without moving them again. Throws std::bad_alloc.
  void Reserve(size_t iCount);
  // Appends a default item in reserved room (or grows). Throws std::bad_alloc.
  Item& EmplaceBack() {
    if (m_Count == m_Capacity) Grow(m_Capacity < 2 ? 4 : size_t{m_Capacity} * 2);
    return *new (m_Items + m_Count++) Item();
  }
  void Swap(KELSysJSONListImpl& ioOther) noexcept;

 private:
  friend class KELSysJSONBlock;
  friend class KELSysJSONTree;
  void Grow(size_t iCapacity);
  void FreeStorage() noexcept;

  Item* m_Items = nullptr;
  uint32_t m_Count = 0;
  uint32_t m_Capacity = 0;
  KELSysJSONBlock* m_Block =
      nullptr;  // the shared block m_Items lies in; null when they are a block of their own
};

#endif

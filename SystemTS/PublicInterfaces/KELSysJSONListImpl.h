// The storage behind KELSysJSONValueListImpl and KELSysJSONPairListImpl: items held by value in a
// vector, in insertion order. Copies are deep; destruction goes level by level, not recursively.
#ifndef KELSysJSONListImpl_H
#define KELSysJSONListImpl_H

#include <cstddef>
#include <vector>

#include "KELSysResult.h"

template <class Item, class Interface>
class KELSysJSONListImpl : public Interface {
 public:
  KELSysJSONListImpl() = default;
  KELSysJSONListImpl(const KELSysJSONListImpl& iOther);
  KELSysJSONListImpl(KELSysJSONListImpl&& iOther) noexcept;
  KELSysJSONListImpl& operator=(const KELSysJSONListImpl& iOther);
  KELSysJSONListImpl& operator=(KELSysJSONListImpl&& iOther) noexcept;
  ~KELSysJSONListImpl() override;

  size_t GetCount() const override;
  Item* GetAt(size_t iIndex) override;
  const Item* GetAt(size_t iIndex) const override;
  KELSysResult Append(const Item& iItem) override;
  KELSysResult Append(Item&& iItem) override;
  bool RemoveAt(size_t iIndex) override;
  void Clear() override;

  // The storage itself, for the library's own loops.
  std::vector<Item>& Items() { return m_Items; }
  const std::vector<Item>& Items() const { return m_Items; }

 private:
  std::vector<Item> m_Items;
};

#endif

#include "KELSysJSONListImpl.h"

#include <cstdint>
#include <new>
#include <utility>

#include "KELSysJSONBlock.h"
#include "KELSysJSONPair.h"
#include "KELSysJSONPairList.h"
#include "KELSysJSONTree.h"
#include "KELSysJSONValue.h"
#include "KELSysJSONValueList.h"

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>::KELSysJSONListImpl(const KELSysJSONListImpl& iOther) : Interface() {
  try {
    KELSysJSONTree::Copy(*this, iOther);
  } catch (...) {
    KELSysJSONTree::Release(*this);  // no destructor runs for a constructor that throws
    FreeStorage();
    throw;
  }
}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>::KELSysJSONListImpl(KELSysJSONListImpl&& iOther) noexcept : Interface() {
  Swap(iOther);
}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>& KELSysJSONListImpl<Item, Interface>::operator=(
    const KELSysJSONListImpl& iOther) {
  if (this != &iOther) {
    KELSysJSONListImpl l_Copy(iOther);  // iOther may lie below this list
    Swap(l_Copy);
  }
  return *this;
}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>& KELSysJSONListImpl<Item, Interface>::operator=(
    KELSysJSONListImpl&& iOther) noexcept {
  if (this != &iOther) {
    KELSysJSONListImpl l_Taken(std::move(iOther));  // iOther may lie below this list
    Swap(l_Taken);
  }
  return *this;
}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>::~KELSysJSONListImpl() {
  KELSysJSONTree::Release(*this);
  FreeStorage();
}

template <class Item, class Interface>
Item* KELSysJSONListImpl<Item, Interface>::GetAt(size_t iIndex) {
  return iIndex < m_Count ? m_Items + iIndex : nullptr;
}

template <class Item, class Interface>
const Item* KELSysJSONListImpl<Item, Interface>::GetAt(size_t iIndex) const {
  return iIndex < m_Count ? m_Items + iIndex : nullptr;
}

template <class Item, class Interface>
Item* KELSysJSONListImpl<Item, Interface>::end() {
  return m_Items + m_Count;
}

template <class Item, class Interface>
const Item* KELSysJSONListImpl<Item, Interface>::end() const {
  return m_Items + m_Count;
}

template <class Item, class Interface>
void KELSysJSONListImpl<Item, Interface>::Swap(KELSysJSONListImpl& ioOther) noexcept {
  std::swap(m_Items, ioOther.m_Items);
  std::swap(m_Count, ioOther.m_Count);
  std::swap(m_Capacity, ioOther.m_Capacity);
  std::swap(m_Block, ioOther.m_Block);
}

template <class Item, class Interface>
void KELSysJSONListImpl<Item, Interface>::FreeStorage() noexcept {
  if (m_Block)
    KELSysJSONBlock::Release(m_Block);
  else
    ::operator delete(static_cast<void*>(m_Items));
  m_Items = nullptr;
  m_Capacity = 0;
  m_Block = nullptr;
}

// Items move to a block of their own; moving a value or a pair never throws.
template <class Item, class Interface>
void KELSysJSONListImpl<Item, Interface>::Grow(size_t iCapacity) {
  if (iCapacity > UINT32_MAX) throw std::bad_alloc();
  Item* l_Items = static_cast<Item*>(::operator new(iCapacity * sizeof(Item)));
  for (uint32_t l_Index = 0; l_Index < m_Count; ++l_Index) {
    new (l_Items + l_Index) Item(std::move(m_Items[l_Index]));
    m_Items[l_Index].Item::~Item();
  }
  FreeStorage();
  m_Items = l_Items;
  m_Capacity = static_cast<uint32_t>(iCapacity);
}

template <class Item, class Interface>
void KELSysJSONListImpl<Item, Interface>::Reserve(size_t iCount) {
  if (iCount > m_Capacity) Grow(iCount);
}

template <class Item, class Interface>
KELSysResult KELSysJSONListImpl<Item, Interface>::Append(const Item& iItem) {
  try {
    Item l_Copy(iItem);
    return Append(std::move(l_Copy));
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
}

template <class Item, class Interface>
KELSysResult KELSysJSONListImpl<Item, Interface>::Append(Item&& iItem) {
  try {
    Item l_Taken(std::move(iItem));  // iItem may be one of ours, which growing would move
    EmplaceBack() = std::move(l_Taken);
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  return KEL_S_OK;
}

template <class Item, class Interface>
bool KELSysJSONListImpl<Item, Interface>::RemoveAt(size_t iIndex) {
  if (iIndex >= m_Count) return false;
  Item l_Removed(std::move(m_Items[iIndex]));  // destroyed last, level by level
  for (size_t l_Index = iIndex; l_Index + 1 < m_Count; ++l_Index)
    m_Items[l_Index] = std::move(m_Items[l_Index + 1]);
  m_Items[--m_Count].Item::~Item();
  return true;
}

template <class Item, class Interface>
void KELSysJSONListImpl<Item, Interface>::Clear() {
  KELSysJSONTree::Release(*this);
}

template class KELSysJSONListImpl<KELSysJSONValue, KELSysJSONValueList>;
template class KELSysJSONListImpl<KELSysJSONPair, KELSysJSONPairList>;

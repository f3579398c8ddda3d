#include "KELSysJSONListImpl.h"

#include <new>
#include <utility>

#include "KELSysJSONPair.h"
#include "KELSysJSONPairList.h"
#include "KELSysJSONTree.h"
#include "KELSysJSONValue.h"
#include "KELSysJSONValueList.h"

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>::KELSysJSONListImpl(const KELSysJSONListImpl& iOther) : Interface() {
  KELSysJSONTree::Copy(m_Items, iOther.m_Items);
}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>::KELSysJSONListImpl(KELSysJSONListImpl&& iOther) noexcept
    : Interface(), m_Items(std::move(iOther.m_Items)) {}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>& KELSysJSONListImpl<Item, Interface>::operator=(
    const KELSysJSONListImpl& iOther) {
  if (this != &iOther) {
    KELSysJSONListImpl l_Copy(iOther);  // iOther may lie below this list
    m_Items.swap(l_Copy.m_Items);
  }
  return *this;
}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>& KELSysJSONListImpl<Item, Interface>::operator=(
    KELSysJSONListImpl&& iOther) noexcept {
  if (this != &iOther) {
    KELSysJSONListImpl l_Taken(std::move(iOther));  // iOther may lie below this list
    m_Items.swap(l_Taken.m_Items);
  }
  return *this;
}

template <class Item, class Interface>
KELSysJSONListImpl<Item, Interface>::~KELSysJSONListImpl() {
  KELSysJSONTree::Release(m_Items);
}

template <class Item, class Interface>
size_t KELSysJSONListImpl<Item, Interface>::GetCount() const {
  return m_Items.size();
}

template <class Item, class Interface>
Item* KELSysJSONListImpl<Item, Interface>::GetAt(size_t iIndex) {
  return iIndex < m_Items.size() ? &m_Items[iIndex] : nullptr;
}

template <class Item, class Interface>
const Item* KELSysJSONListImpl<Item, Interface>::GetAt(size_t iIndex) const {
  return iIndex < m_Items.size() ? &m_Items[iIndex] : nullptr;
}

template <class Item, class Interface>
KELSysResult KELSysJSONListImpl<Item, Interface>::Append(const Item& iItem) {
  try {
    Item l_Copy(iItem);  // iItem may be one of ours, which growing would move
    m_Items.push_back(std::move(l_Copy));
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  return KEL_S_OK;
}

template <class Item, class Interface>
KELSysResult KELSysJSONListImpl<Item, Interface>::Append(Item&& iItem) {
  try {
    Item l_Taken(std::move(iItem));
    m_Items.push_back(std::move(l_Taken));
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  return KEL_S_OK;
}

template <class Item, class Interface>
bool KELSysJSONListImpl<Item, Interface>::RemoveAt(size_t iIndex) {
  if (iIndex >= m_Items.size()) return false;
  Item l_Removed(std::move(m_Items[iIndex]));  // destroyed last, level by level
  m_Items.erase(m_Items.begin() + static_cast<std::ptrdiff_t>(iIndex));
  return true;
}

template <class Item, class Interface>
void KELSysJSONListImpl<Item, Interface>::Clear() {
  KELSysJSONTree::Release(m_Items);
}

template class KELSysJSONListImpl<KELSysJSONValue, KELSysJSONValueList>;
template class KELSysJSONListImpl<KELSysJSONPair, KELSysJSONPairList>;

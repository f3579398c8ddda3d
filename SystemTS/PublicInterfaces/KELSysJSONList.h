// The abstract interface over an array's values (KELSysJSONValueList) and an object's pairs
// (KELSysJSONPairList): items held by value, in insertion order.
#ifndef KELSysJSONList_H
#define KELSysJSONList_H

#include <cstddef>

#include "KELSysResult.h"

template <class Item>
class KELSysJSONList {
 public:
  virtual ~KELSysJSONList() = default;
  virtual size_t GetCount() const = 0;
  // The item at iIndex, nullptr past the end.
  virtual Item* GetAt(size_t iIndex) = 0;
  virtual const Item* GetAt(size_t iIndex) const = 0;
  // Appends a copy of (or takes over) iItem. KEL_S_OK or KEL_E_OUTOFMEMORY (the list is unchanged).
  virtual KELSysResult Append(const Item& iItem) = 0;
  virtual KELSysResult Append(Item&& iItem) = 0;
  // Removes the item at iIndex; false past the end.
  virtual bool RemoveAt(size_t iIndex) = 0;
  virtual void Clear() = 0;
};

#endif

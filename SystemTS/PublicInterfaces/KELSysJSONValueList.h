// Lists of an array's values: the abstract interface, and the implementation an array keeps its
// values in (held by value, in insertion order).
#ifndef KELSysJSONValueList_H
#define KELSysJSONValueList_H

#include <cstddef>

#include "KELSysJSONListImpl.h"
#include "KELSysResult.h"

class KELSysJSONValue;

class KELSysJSONValueList {
 public:
  virtual ~KELSysJSONValueList() = default;
  virtual size_t GetCount() const = 0;
  // The value at iIndex, nullptr past the end.
  virtual KELSysJSONValue* GetAt(size_t iIndex) = 0;
  virtual const KELSysJSONValue* GetAt(size_t iIndex) const = 0;
  // Appends a copy of (or takes over) iValue. KEL_S_OK or KEL_E_OUTOFMEMORY (the list is unchanged).
  virtual KELSysResult Append(const KELSysJSONValue& iValue) = 0;
  virtual KELSysResult Append(KELSysJSONValue&& iValue) = 0;
  // Removes the value at iIndex; false past the end.
  virtual bool RemoveAt(size_t iIndex) = 0;
  virtual void Clear() = 0;
};

class KELSysJSONValueListImpl final : public KELSysJSONListImpl<KELSysJSONValue, KELSysJSONValueList> {};

#endif

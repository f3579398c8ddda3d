// Lists of an object's pairs: the abstract interface, and the implementation an object keeps its
// pairs in (held by value, in insertion order, duplicate keys allowed).
#ifndef KELSysJSONPairList_H
#define KELSysJSONPairList_H

#include <cstddef>

#include "KELSysJSONListImpl.h"
#include "KELSysResult.h"

class KELSysJSONPair;

class KELSysJSONPairList {
 public:
  virtual ~KELSysJSONPairList() = default;
  virtual size_t GetCount() const = 0;
  // The pair at iIndex, nullptr past the end.
  virtual KELSysJSONPair* GetAt(size_t iIndex) = 0;
  virtual const KELSysJSONPair* GetAt(size_t iIndex) const = 0;
  // Appends a copy of (or takes over) iPair. KEL_S_OK or KEL_E_OUTOFMEMORY (the list is unchanged).
  virtual KELSysResult Append(const KELSysJSONPair& iPair) = 0;
  virtual KELSysResult Append(KELSysJSONPair&& iPair) = 0;
  // Removes the pair at iIndex; false past the end.
  virtual bool RemoveAt(size_t iIndex) = 0;
  virtual void Clear() = 0;
};

class KELSysJSONPairListImpl final : public KELSysJSONListImpl<KELSysJSONPair, KELSysJSONPairList> {};

#endif

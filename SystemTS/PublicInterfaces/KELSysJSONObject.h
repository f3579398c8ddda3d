// A JSON object: an ordered sequence of pairs held by value, in insertion order, duplicate keys
// allowed. Copies are deep; destroying or copying an object of any nesting depth uses no recursion.
#ifndef KELSysJSONObject_H
#define KELSysJSONObject_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "KELSysJSONBase.h"
#include "KELSysJSONPairList.h"

class KELSysJSONValue;

class KELSysJSONObject : public KELSysJSONBase {
 public:
  KELSysJSONObject();
  // Copies the pairs only: the copy has no missing-member value yet.
  KELSysJSONObject(const KELSysJSONObject& iOther);
  KELSysJSONObject(KELSysJSONObject&& iOther) noexcept;
  KELSysJSONObject& operator=(const KELSysJSONObject& iOther);
  KELSysJSONObject& operator=(KELSysJSONObject&& iOther) noexcept;
  ~KELSysJSONObject() override;

  size_t GetSize() const { return m_Pairs.GetCount(); }
  // The pair at iIndex, nullptr past the end.
  KELSysJSONPair* GetAt(size_t iIndex) { return m_Pairs.GetAt(iIndex); }
  const KELSysJSONPair* GetAt(size_t iIndex) const { return m_Pairs.GetAt(iIndex); }

  // Appends a pair at the end, whether or not the key is already there. The key is taken as bytes.
  // KEL_S_OK or KEL_E_OUTOFMEMORY (nothing appended).
  KELSysResult AddPair(std::string_view iKey, const KELSysJSONValue& iValue);
  KELSysResult AddPair(std::string_view iKey, KELSysJSONValue&& iValue);
  KELSysResult AddPair(const KELSysJSONPair& iPair);
  KELSysResult AddPair(KELSysJSONPair&& iPair);

  // The value of the first pair whose key equals iKey (compared as strcmp compares: up to the first
  // NUL of the stored key). On a miss, or for a null iKey, the object's own missing-member value: a
  // null value created on the first miss and the same on every later one. Writing into it does not
  // add a member. Callers test the returned value's type; only the first miss allocates.
  KELSysJSONValue& Lookup(const char* iKey);
  // The value of the first pair whose key is exactly iKey, or nullptr.
  KELSysJSONValue* Find(std::string_view iKey);
  const KELSysJSONValue* Find(std::string_view iKey) const;

  // Removes the first pair whose key is exactly iKey; false when there is none.
  bool Remove(std::string_view iKey);
  bool RemoveAt(size_t iIndex) { return m_Pairs.RemoveAt(iIndex); }
  void Clear() { m_Pairs.Clear(); }

  KELSysJSONPairList& GetPairs() { return m_Pairs; }
  const KELSysJSONPairList& GetPairs() const { return m_Pairs; }

  // Range-for over the pairs.
  KELSysJSONPair* begin() { return m_Pairs.begin(); }
  KELSysJSONPair* end();
  const KELSysJSONPair* begin() const { return m_Pairs.begin(); }
  const KELSysJSONPair* end() const;

  using KELSysJSONBase::Write;
  // "{" pairs "}"; see KELSysJSONBase::Write.
  KELSysResult Write(std::string& oOut, bool iCompact, const std::string& iIndent) const override;

 private:
  friend class KELSysJSONBlock;
  friend class KELSysJSONTree;
  friend class KELSysJSONBuilder;
  friend class KELSysJSONValue;
  using Item = KELSysJSONPair;
  KELSysJSONPairListImpl& List() { return m_Pairs; }
  KELSysJSONPairListImpl m_Pairs;
  std::unique_ptr<KELSysJSONValue> m_Missing;
};

#endif

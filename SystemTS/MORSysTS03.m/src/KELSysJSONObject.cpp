#include "KELSysJSONObject.h"

#include <new>
#include <utility>

#include "KELSysJSONPair.h"
#include "KELSysJSONTree.h"
#include "KELSysJSONValue.h"
#include "KELSysJSONWriter.h"

KELSysJSONObject::KELSysJSONObject() = default;

KELSysJSONObject::KELSysJSONObject(const KELSysJSONObject& iOther)
    : KELSysJSONBase(iOther), m_Pairs(iOther.m_Pairs) {}

KELSysJSONObject::KELSysJSONObject(KELSysJSONObject&& iOther) noexcept = default;

KELSysJSONObject& KELSysJSONObject::operator=(const KELSysJSONObject& iOther) {
  m_Pairs = iOther.m_Pairs;
  return *this;
}

KELSysJSONObject& KELSysJSONObject::operator=(KELSysJSONObject&& iOther) noexcept {
  if (this != &iOther) {
    KELSysJSONObject l_Taken(std::move(iOther));  // iOther may lie below this object
    m_Pairs.Swap(l_Taken.m_Pairs);
    m_Missing.swap(l_Taken.m_Missing);
  }
  return *this;
}

KELSysJSONObject::~KELSysJSONObject() {
  // The missing-member value may hold a tree of its own: empty it level by level first.
  if (m_Missing) KELSysJSONTree::Release(*m_Missing);
}

KELSysResult KELSysJSONObject::AddPair(std::string_view iKey, const KELSysJSONValue& iValue) {
  try {
    return m_Pairs.Append(KELSysJSONPair(iKey, iValue));
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
}

KELSysResult KELSysJSONObject::AddPair(std::string_view iKey, KELSysJSONValue&& iValue) {
  try {
    return m_Pairs.Append(KELSysJSONPair(iKey, std::move(iValue)));
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
}

KELSysResult KELSysJSONObject::AddPair(const KELSysJSONPair& iPair) { return m_Pairs.Append(iPair); }

KELSysResult KELSysJSONObject::AddPair(KELSysJSONPair&& iPair) { return m_Pairs.Append(std::move(iPair)); }

// A stored key may hold NUL bytes; as strcmp reads it, it ends at the first of them.
KELSysJSONValue& KELSysJSONObject::Lookup(const char* iKey) {
  if (iKey != nullptr) {
    const std::string_view l_Wanted(iKey);
    for (KELSysJSONPair& l_Pair : m_Pairs) {
      const std::string_view l_Key = l_Pair.GetKey();
      if (l_Key.size() >= l_Wanted.size() && l_Key.substr(0, l_Wanted.size()) == l_Wanted &&
          (l_Key.size() == l_Wanted.size() || l_Key[l_Wanted.size()] == '\0'))
        return l_Pair.GetValue();
    }
  }
  if (!m_Missing) m_Missing = std::make_unique<KELSysJSONValue>();
  return *m_Missing;
}

KELSysJSONValue* KELSysJSONObject::Find(std::string_view iKey) {
  for (KELSysJSONPair& l_Pair : m_Pairs)
    if (l_Pair.GetKey() == iKey) return &l_Pair.GetValue();
  return nullptr;
}

const KELSysJSONValue* KELSysJSONObject::Find(std::string_view iKey) const {
  return const_cast<KELSysJSONObject*>(this)->Find(iKey);
}

bool KELSysJSONObject::Remove(std::string_view iKey) {
  for (size_t l_Index = 0; l_Index < m_Pairs.GetCount(); ++l_Index)
    if (m_Pairs.GetAt(l_Index)->GetKey() == iKey) return m_Pairs.RemoveAt(l_Index);
  return false;
}

KELSysJSONPair* KELSysJSONObject::end() { return m_Pairs.end(); }
const KELSysJSONPair* KELSysJSONObject::end() const { return m_Pairs.end(); }

KELSysResult KELSysJSONObject::Write(std::string& oOut, bool iCompact, const std::string& iIndent) const {
  return KELSysJSONWriter(oOut, iCompact, iIndent).Run(*this);
}

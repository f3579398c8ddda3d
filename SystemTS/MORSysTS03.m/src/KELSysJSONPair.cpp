#include "KELSysJSONPair.h"

#include <new>
#include <utility>

#include "KELSysJSONBlock.h"
#include "KELSysJSONWriter.h"

// An object costs a reader a pair per member: their size bounds what a hostile key file can make
// it hold.
#if defined(__x86_64__)
static_assert(sizeof(KELSysJSONPair) == 48, "a pair is a vptr, a value and a key run");
#endif

const char* KELSysJSONPair::CopyKey(std::string_view iKey) {
  if (iKey.size() > UINT32_MAX) throw std::bad_alloc();
  return iKey.empty() ? nullptr : KELSysJSONBytes::New(iKey.data(), iKey.size());
}

KELSysJSONPair::KELSysJSONPair(std::string_view iKey, const KELSysJSONValue& iValue)
    : m_Value(iValue), m_Key(CopyKey(iKey)), m_KeyLength(static_cast<uint32_t>(iKey.size())) {}

KELSysJSONPair::KELSysJSONPair(std::string_view iKey, KELSysJSONValue&& iValue)
    : m_Value(std::move(iValue)), m_Key(CopyKey(iKey)), m_KeyLength(static_cast<uint32_t>(iKey.size())) {}

KELSysJSONPair::KELSysJSONPair(const KELSysJSONPair& iOther)
    : KELSysJSONBase(iOther),
      m_Value(iOther.m_Value),
      m_Key(CopyKey(iOther.GetKey())),
      m_KeyLength(iOther.m_KeyLength) {}

KELSysJSONPair::KELSysJSONPair(KELSysJSONPair&& iOther) noexcept
    : KELSysJSONBase(iOther),
      m_Value(std::move(iOther.m_Value)),
      m_Key(iOther.m_Key),
      m_KeyLength(iOther.m_KeyLength) {
  iOther.m_Key = nullptr;
  iOther.m_KeyLength = 0;
}

// Both assignments build the new pair first: the source may lie below this pair's value.
KELSysJSONPair& KELSysJSONPair::operator=(const KELSysJSONPair& iOther) {
  if (this != &iOther) {
    KELSysJSONPair l_Copy(iOther);
    Swap(l_Copy);
  }
  return *this;
}

KELSysJSONPair& KELSysJSONPair::operator=(KELSysJSONPair&& iOther) noexcept {
  if (this != &iOther) {
    KELSysJSONPair l_Taken(std::move(iOther));
    Swap(l_Taken);
  }
  return *this;
}

void KELSysJSONPair::Swap(KELSysJSONPair& ioOther) noexcept {
  m_Value.Swap(ioOther.m_Value);
  std::swap(m_Key, ioOther.m_Key);
  std::swap(m_KeyLength, ioOther.m_KeyLength);
}

void KELSysJSONPair::FreeKey() noexcept { KELSysJSONBytes::Delete(m_Key); }

KELSysResult KELSysJSONPair::SetKey(std::string_view iKey) {
  const char* l_Key;
  try {
    l_Key = CopyKey(iKey);
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  KELSysJSONBytes::Delete(m_Key);
  m_Key = l_Key;
  m_KeyLength = static_cast<uint32_t>(iKey.size());
  return KEL_S_OK;
}

KELSysResult KELSysJSONPair::Write(std::string& oOut, bool iCompact, const std::string& iIndent) const {
  return KELSysJSONWriter(oOut, iCompact, iIndent).Run(*this);
}

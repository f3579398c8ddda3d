#include "XMLAttributePack.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "KELInsPackedNumber.h"
#include "XMLNames.h"

namespace XML {

AttributePack::AttributePack(const AttributePack& iOther) { *this = iOther; }

AttributePack& AttributePack::operator=(const AttributePack& iOther) {
  if (this == &iOther) return *this;
  char* l_Bytes = nullptr;
  if (iOther.m_Size > 0) {
    l_Bytes = static_cast<char*>(std::malloc(iOther.m_Size));
    if (!l_Bytes) throw std::bad_alloc();
    std::memcpy(l_Bytes, iOther.m_Bytes, iOther.m_Size);
  }
  std::free(m_Bytes);
  m_Bytes = l_Bytes;
  m_Size = m_Room = iOther.m_Size;
  return *this;
}

AttributePack::~AttributePack() { std::free(m_Bytes); }

AttributePack::Entry AttributePack::At(std::size_t iBegin) const {
  std::uint64_t l_Name = 0;
  std::uint64_t l_Length = 0;
  const char* l_Pos = KELInsPackedNumber::Get(KELInsPackedNumber::Get(m_Bytes + iBegin, l_Name), l_Length);
  const std::size_t l_Value = static_cast<std::size_t>(l_Pos - m_Bytes);
  return {static_cast<std::uint32_t>(l_Name), std::string_view(l_Pos, l_Length), iBegin, l_Value + l_Length};
}

bool AttributePack::Find(std::string_view iName, Entry& oEntry) const {
  for (std::size_t l_Pos = 0; l_Pos < m_Size; l_Pos = oEntry.m_End) {
    oEntry = At(l_Pos);
    if (Names::Get(oEntry.m_Name) == iName) return true;
  }
  return false;
}

void AttributePack::Set(std::uint32_t iName, std::string_view iValue) {
  for (std::size_t l_Pos = 0; l_Pos < m_Size;) {
    const Entry l_Entry = At(l_Pos);
    if (l_Entry.m_Name == iName) return Splice(l_Entry.m_Begin, l_Entry.m_End, iName, iValue);
    l_Pos = l_Entry.m_End;
  }
  Splice(m_Size, m_Size, iName, iValue);
}

void AttributePack::Remove(const Entry& iEntry) {
  std::memmove(m_Bytes + iEntry.m_Begin, m_Bytes + iEntry.m_End, m_Size - iEntry.m_End);
  m_Size -= static_cast<std::uint32_t>(iEntry.m_End - iEntry.m_Begin);
}

void AttributePack::Splice(std::size_t iBegin, std::size_t iEnd, std::uint32_t iName,
                           std::string_view iValue) {
  const std::size_t l_Piece =
      KELInsPackedNumber::Size(iName) + KELInsPackedNumber::Size(iValue.size()) + iValue.size();
  const std::size_t l_Size = m_Size - (iEnd - iBegin) + l_Piece;
  if (l_Size > UINT32_MAX) throw std::bad_alloc();
  if (l_Size > m_Room) {
    // Doubling, but to the exact size when that is more: an element's few attributes then take
    // one or two steps and no slack at the end.
    const std::size_t l_Room =
        std::min<std::size_t>(std::max<std::size_t>({l_Size, 2 * std::size_t{m_Room}, 32}), UINT32_MAX);
    char* l_Bytes = static_cast<char*>(std::realloc(m_Bytes, l_Room));
    if (!l_Bytes) throw std::bad_alloc();
    m_Bytes = l_Bytes;
    m_Room = static_cast<std::uint32_t>(l_Room);
  }
  std::memmove(m_Bytes + iBegin + l_Piece, m_Bytes + iEnd, m_Size - iEnd);
  char* l_Pos = KELInsPackedNumber::Put(KELInsPackedNumber::Put(m_Bytes + iBegin, iName), iValue.size());
  if (!iValue.empty()) std::memcpy(l_Pos, iValue.data(), iValue.size());
  m_Size = static_cast<std::uint32_t>(l_Size);
}

}  // namespace XML

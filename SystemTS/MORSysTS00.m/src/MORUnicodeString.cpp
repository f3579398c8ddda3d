#include "MORUnicodeString.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>
#include <string>

#include "MORUTF8.h"
#include "MORUnicodeStringRep.h"

namespace {

// The one block every empty string shares. Its count is never changed, so it is never freed and
// needs no initialiser to run.
struct EmptyBlock {
  MORUnicodeStringRep m_Head;
  char16_t m_Zero[2];
};
constinit EmptyBlock s_Empty{{{1}, 0, 0}, {0, 0}};

MORUnicodeStringRep* EmptyRep() noexcept { return &s_Empty.m_Head; }

MORUnicodeStringRep* NewRep(int iCapacity) {
  size_t l_Size = sizeof(MORUnicodeStringRep) + (static_cast<size_t>(iCapacity) + 1) * sizeof(char16_t);
  auto* l_Rep = static_cast<MORUnicodeStringRep*>(::operator new(l_Size));
  l_Rep->m_Refs.store(1, std::memory_order_relaxed);
  l_Rep->m_Length = 0;
  l_Rep->m_Capacity = iCapacity;
  l_Rep->Units()[0] = 0;
  return l_Rep;
}

void AddRef(MORUnicodeStringRep* iRep) noexcept {
  if (iRep != EmptyRep()) iRep->m_Refs.fetch_add(1, std::memory_order_relaxed);
}

void Release(MORUnicodeStringRep* iRep) noexcept {
  if (iRep != EmptyRep() && iRep->m_Refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
    ::operator delete(iRep);
}

bool IsUnique(MORUnicodeStringRep* iRep) noexcept {
  return iRep != EmptyRep() && iRep->m_Refs.load(std::memory_order_acquire) == 1;
}

// A length given in bytes or units, as the int the class counts in; -1 when it does not fit.
int CheckedLength(size_t iLength) noexcept { return iLength > INT_MAX / 2 ? -1 : static_cast<int>(iLength); }

// Clamps [iStart, iStart + iCount) to [0, iLength]; a negative count reaches the end.
void Clamp(int iLength, int& ioStart, int& ioCount) noexcept {
  if (ioStart < 0) ioStart = 0;
  if (ioStart > iLength) ioStart = iLength;
  if (ioCount < 0 || ioCount > iLength - ioStart) ioCount = iLength - ioStart;
}

}  // namespace

// ---- Access -------------------------------------------------------------------------------------

char16_t* MORUnicodeString::Access::Prepare(MORUnicodeString& ioText, int iLength) {
  DropNarrow(ioText);
  if (!IsUnique(ioText.m_Rep) || ioText.m_Rep->m_Capacity < iLength) {
    MORUnicodeStringRep* l_New = NewRep(iLength);
    Release(ioText.m_Rep);
    ioText.m_Rep = l_New;
  }
  SetLength(ioText, iLength);
  return ioText.m_Rep->Units();
}

void MORUnicodeString::Access::SetLength(MORUnicodeString& ioText, int iLength) noexcept {
  if (iLength == 0) {
    Release(ioText.m_Rep);
    ioText.m_Rep = EmptyRep();
    return;
  }
  ioText.m_Rep->m_Length = iLength;
  ioText.m_Rep->Units()[iLength] = 0;
}

char16_t* MORUnicodeString::Access::MakeUnique(MORUnicodeString& ioText, int iCapacity) {
  DropNarrow(ioText);
  MORUnicodeStringRep* l_Old = ioText.m_Rep;
  if (!IsUnique(l_Old) || l_Old->m_Capacity < iCapacity) {
    MORUnicodeStringRep* l_New = NewRep(std::max(iCapacity, l_Old->m_Length));
    std::memcpy(l_New->Units(), l_Old->Units(),
                (static_cast<size_t>(l_Old->m_Length) + 1) * sizeof(char16_t));
    l_New->m_Length = l_Old->m_Length;
    Release(l_Old);
    ioText.m_Rep = l_New;
  }
  return ioText.m_Rep->Units();
}

void MORUnicodeString::Access::DropNarrow(const MORUnicodeString& iText) noexcept {
  while (MORNarrowBuffer* l_Buffer = iText.m_Narrow) {
    iText.m_Narrow = l_Buffer->m_Next;
    ::operator delete(l_Buffer);
  }
}

const char* MORUnicodeString::Access::Kept(const MORUnicodeString& iText, int iKind,
                                           size_t* oLength) noexcept {
  for (MORNarrowBuffer* l_Buffer = iText.m_Narrow; l_Buffer; l_Buffer = l_Buffer->m_Next) {
    if (l_Buffer->m_Kind != iKind) continue;
    if (oLength) *oLength = l_Buffer->m_Length;
    return l_Buffer->Bytes();
  }
  return nullptr;
}

char* MORUnicodeString::Access::NewNarrow(const MORUnicodeString& iText, int iKind, size_t iLength) {
  auto* l_Buffer = static_cast<MORNarrowBuffer*>(::operator new(sizeof(MORNarrowBuffer) + iLength + 1));
  l_Buffer->m_Next = iText.m_Narrow;
  l_Buffer->m_Length = iLength;
  l_Buffer->m_Kind = iKind;
  l_Buffer->Bytes()[iLength] = '\0';
  iText.m_Narrow = l_Buffer;
  return l_Buffer->Bytes();
}

const char16_t* MORUnicodeString::Access::Units(const MORUnicodeString& iText) noexcept {
  return iText.m_Rep->Units();
}

// ---- Life cycle ---------------------------------------------------------------------------------

MORUnicodeString::MORUnicodeString() noexcept : m_Rep(EmptyRep()) {}

MORUnicodeString::MORUnicodeString(const char* iMBCS) : m_Rep(EmptyRep()) { BuildFromMBCS(iMBCS); }

MORUnicodeString::MORUnicodeString(const char* iMBCS, size_t iLength) : m_Rep(EmptyRep()) {
  BuildFromMBCS(iMBCS, iLength);
}

MORUnicodeString::MORUnicodeString(const char16_t* iUTF16, size_t iLength) : m_Rep(EmptyRep()) {
  BuildFromUTF16(iUTF16, iLength);
}

MORUnicodeString::MORUnicodeString(const MORUnicodeString& iOther) noexcept : m_Rep(iOther.m_Rep) {
  AddRef(m_Rep);
}

MORUnicodeString::MORUnicodeString(MORUnicodeString&& iOther) noexcept
    : m_Rep(iOther.m_Rep), m_Narrow(iOther.m_Narrow) {
  iOther.m_Rep = EmptyRep();
  iOther.m_Narrow = nullptr;
}

MORUnicodeString& MORUnicodeString::operator=(const MORUnicodeString& iOther) noexcept {
  if (this == &iOther) return *this;
  Access::DropNarrow(*this);
  AddRef(iOther.m_Rep);
  Release(m_Rep);
  m_Rep = iOther.m_Rep;
  return *this;
}

MORUnicodeString& MORUnicodeString::operator=(MORUnicodeString&& iOther) noexcept {
  if (this == &iOther) return *this;
  Access::DropNarrow(*this);
  Release(m_Rep);
  m_Rep = iOther.m_Rep;
  m_Narrow = iOther.m_Narrow;
  iOther.m_Rep = EmptyRep();
  iOther.m_Narrow = nullptr;
  return *this;
}

MORUnicodeString::~MORUnicodeString() {
  Access::DropNarrow(*this);
  Release(m_Rep);
}

void MORUnicodeString::Clear() noexcept {
  Access::DropNarrow(*this);
  Release(m_Rep);
  m_Rep = EmptyRep();
}

// ---- Building from UTF-16 and UTF-8 ---------------------------------------------------------------

KELSysResult MORUnicodeString::BuildFromUTF16(const char16_t* iText, size_t iLength) {
  int l_Length = CheckedLength(iLength);
  if ((!iText && iLength > 0) || l_Length < 0) return KEL_E_INVALIDARG;
  // Built aside: iText may lie in this string's own block.
  MORUnicodeString l_Result;
  if (l_Length > 0) std::memcpy(Access::Prepare(l_Result, l_Length), iText, iLength * sizeof(char16_t));
  *this = std::move(l_Result);
  return KEL_S_OK;
}

KELSysResult MORUnicodeString::BuildFromUTF8(const char* iText) {
  return BuildFromUTF8(iText, iText ? std::strlen(iText) : 0);
}

KELSysResult MORUnicodeString::BuildFromUTF8(const char* iText, size_t iLength) {
  int l_Length = CheckedLength(iLength);
  if ((!iText && iLength > 0) || l_Length < 0) return KEL_E_INVALIDARG;
  // A byte never gives more than one unit, so one block of iLength units is always enough.
  MORUnicodeString l_Result;
  char16_t* l_Units = Access::Prepare(l_Result, l_Length);
  Access::SetLength(l_Result, static_cast<int>(MORUTF8Decode(iText, iLength, l_Units)));
  *this = std::move(l_Result);
  return KEL_S_OK;
}

MORUnicodeString MORUnicodeString::FromUTF8(const char* iUTF8) {
  MORUnicodeString l_Result;
  l_Result.BuildFromUTF8(iUTF8);
  return l_Result;
}

MORUnicodeString MORUnicodeString::FromUTF8(const char* iUTF8, size_t iLength) {
  MORUnicodeString l_Result;
  l_Result.BuildFromUTF8(iUTF8, iLength);
  return l_Result;
}

// ---- Reading ------------------------------------------------------------------------------------

const char16_t* MORUnicodeString::ConvertToUTF16() const noexcept { return m_Rep->Units(); }

int MORUnicodeString::GetLength() const noexcept { return m_Rep->m_Length; }

char16_t MORUnicodeString::operator[](int iIndex) const noexcept {
  return (iIndex >= 0 && iIndex < m_Rep->m_Length) ? m_Rep->Units()[iIndex] : 0;
}

int MORUnicodeString::Compare(const MORUnicodeString& iOther) const noexcept {
  if (m_Rep == iOther.m_Rep) return 0;
  int l_Common = std::min(m_Rep->m_Length, iOther.m_Rep->m_Length);
  const char16_t* l_Left = m_Rep->Units();
  const char16_t* l_Right = iOther.m_Rep->Units();
  for (int l_Index = 0; l_Index < l_Common; ++l_Index)
    if (l_Left[l_Index] != l_Right[l_Index]) return l_Left[l_Index] < l_Right[l_Index] ? -1 : 1;
  return m_Rep->m_Length == iOther.m_Rep->m_Length ? 0 : (m_Rep->m_Length < iOther.m_Rep->m_Length ? -1 : 1);
}

size_t MORUnicodeString::Hash() const noexcept {
  uint64_t l_Hash = 14695981039346656037ull;  // FNV-1a
  for (int l_Index = 0; l_Index < m_Rep->m_Length; ++l_Index) {
    l_Hash = (l_Hash ^ m_Rep->Units()[l_Index]) * 1099511628211ull;
  }
  return static_cast<size_t>(l_Hash);
}

int MORUnicodeString::Find(const MORUnicodeString& iText, int iFrom) const noexcept {
  int l_Length = m_Rep->m_Length, l_Wanted = iText.m_Rep->m_Length;
  if (iFrom < 0) iFrom = 0;
  const char16_t* l_Units = m_Rep->Units();
  const char16_t* l_Pattern = iText.m_Rep->Units();
  for (int l_Index = iFrom; l_Index + l_Wanted <= l_Length; ++l_Index)
    if (std::memcmp(l_Units + l_Index, l_Pattern, l_Wanted * sizeof(char16_t)) == 0) return l_Index;
  return -1;
}

int MORUnicodeString::Find(char16_t iUnit, int iFrom) const noexcept {
  const char16_t* l_Units = m_Rep->Units();
  for (int l_Index = iFrom < 0 ? 0 : iFrom; l_Index < m_Rep->m_Length; ++l_Index)
    if (l_Units[l_Index] == iUnit) return l_Index;
  return -1;
}

int MORUnicodeString::FindLast(const MORUnicodeString& iText) const noexcept {
  int l_Wanted = iText.m_Rep->m_Length;
  for (int l_Index = m_Rep->m_Length - l_Wanted; l_Index >= 0; --l_Index)
    if (std::memcmp(m_Rep->Units() + l_Index, iText.m_Rep->Units(), l_Wanted * sizeof(char16_t)) == 0)
      return l_Index;
  return -1;
}

int MORUnicodeString::FindLast(char16_t iUnit) const noexcept {
  for (int l_Index = m_Rep->m_Length - 1; l_Index >= 0; --l_Index)
    if (m_Rep->Units()[l_Index] == iUnit) return l_Index;
  return -1;
}

MORUnicodeString MORUnicodeString::SubString(int iStart, int iCount) const {
  Clamp(m_Rep->m_Length, iStart, iCount);
  if (iStart == 0 && iCount == m_Rep->m_Length) return *this;
  return MORUnicodeString(m_Rep->Units() + iStart, static_cast<size_t>(iCount));
}

// ---- Changes ------------------------------------------------------------------------------------

void MORUnicodeString::Access::Splice(MORUnicodeString& ioText, int iStart, int iCount,
                                      const char16_t* iUnits, int iLength) {
  int l_Length = ioText.m_Rep->m_Length;
  Clamp(l_Length, iStart, iCount);
  if (iCount == 0 && iLength == 0) return;
  auto l_Own = reinterpret_cast<uintptr_t>(ioText.m_Rep->Units());
  auto l_From = reinterpret_cast<uintptr_t>(iUnits);
  if (IsUnique(ioText.m_Rep) && l_From >= l_Own && l_From < l_Own + l_Length * sizeof(char16_t)) {
    // Units taken from this string's own block, which may move or change below: copy them first.
    MORUnicodeString l_Copy(iUnits, static_cast<size_t>(iLength));
    Splice(ioText, iStart, iCount, l_Copy.m_Rep->Units(), iLength);
    return;
  }
  int l_NewLength = l_Length - iCount + iLength;
  int l_Tail = l_Length - iStart - iCount;
  MORUnicodeStringRep* l_Rep = ioText.m_Rep;
  DropNarrow(ioText);
  if (IsUnique(l_Rep) && l_Rep->m_Capacity >= l_NewLength) {
    char16_t* l_Units = l_Rep->Units();
    std::memmove(l_Units + iStart + iLength, l_Units + iStart + iCount,
                 static_cast<size_t>(l_Tail) * sizeof(char16_t));
    if (iLength > 0) std::memcpy(l_Units + iStart, iUnits, static_cast<size_t>(iLength) * sizeof(char16_t));
  } else {
    // Appending grows by half again, so that text built piece by piece is copied O(log n) times.
    int l_Capacity = iStart == l_Length ? std::max(l_NewLength, l_Length + l_Length / 2) : l_NewLength;
    MORUnicodeStringRep* l_New = NewRep(l_Capacity);
    char16_t* l_Units = l_New->Units();
    std::memcpy(l_Units, l_Rep->Units(), static_cast<size_t>(iStart) * sizeof(char16_t));
    if (iLength > 0) std::memcpy(l_Units + iStart, iUnits, static_cast<size_t>(iLength) * sizeof(char16_t));
    std::memcpy(l_Units + iStart + iLength, l_Rep->Units() + iStart + iCount,
                static_cast<size_t>(l_Tail) * sizeof(char16_t));
    Release(l_Rep);
    ioText.m_Rep = l_New;
  }
  SetLength(ioText, l_NewLength);
}

MORUnicodeString& MORUnicodeString::Append(const char16_t* iUnits, size_t iLength) {
  int l_Length = CheckedLength(iLength);
  if (iUnits && l_Length > 0) Access::Splice(*this, m_Rep->m_Length, 0, iUnits, l_Length);
  return *this;
}

MORUnicodeString& MORUnicodeString::Append(const MORUnicodeString& iText) {
  if (IsEmpty()) return *this = iText;  // shares the block
  return Replace(m_Rep->m_Length, 0, iText);
}

MORUnicodeString& MORUnicodeString::Append(char16_t iUnit) { return Append(&iUnit, 1); }

MORUnicodeString& MORUnicodeString::Remove(int iStart, int iCount) {
  Access::Splice(*this, iStart, iCount, nullptr, 0);
  return *this;
}

MORUnicodeString& MORUnicodeString::Replace(int iStart, int iCount, const MORUnicodeString& iText) {
  Access::Splice(*this, iStart, iCount, iText.m_Rep->Units(), iText.m_Rep->m_Length);
  return *this;
}

int MORUnicodeString::ReplaceFirst(const MORUnicodeString& iOld, const MORUnicodeString& iNew, int iFrom) {
  int l_Index = iOld.IsEmpty() ? -1 : Find(iOld, iFrom);
  if (l_Index >= 0) Replace(l_Index, iOld.GetLength(), iNew);
  return l_Index;
}

int MORUnicodeString::ReplaceAll(const MORUnicodeString& iOld, const MORUnicodeString& iNew) {
  if (iOld.IsEmpty()) return 0;
  MORUnicodeString l_Result;
  int l_Count = 0, l_Done = 0;
  for (int l_Index = Find(iOld); l_Index >= 0; l_Index = Find(iOld, l_Done)) {
    l_Result.Append(m_Rep->Units() + l_Done, static_cast<size_t>(l_Index - l_Done)).Append(iNew);
    l_Done = l_Index + iOld.GetLength();
    ++l_Count;
  }
  if (l_Count == 0) return 0;
  l_Result.Append(m_Rep->Units() + l_Done, static_cast<size_t>(m_Rep->m_Length - l_Done));
  *this = std::move(l_Result);
  return l_Count;
}

int MORUnicodeString::ReplaceAll(char16_t iOld, char16_t iNew) {
  int l_First = Find(iOld);
  if (l_First < 0) return 0;
  char16_t* l_Units = Access::MakeUnique(*this, m_Rep->m_Length);
  int l_Count = 0;
  for (int l_Index = l_First; l_Index < m_Rep->m_Length; ++l_Index)
    if (l_Units[l_Index] == iOld) l_Units[l_Index] = iNew, ++l_Count;
  return l_Count;
}

MORUnicodeString operator+(const MORUnicodeString& iLeft, const MORUnicodeString& iRight) {
  MORUnicodeString l_Result(iLeft);
  l_Result.Append(iRight);
  return l_Result;
}

std::ostream& operator<<(std::ostream& ioStream, const MORUnicodeString& iText) {
  // Encoded here rather than through ConvertToUTF8, which would keep a result in a const object.
  std::string l_Bytes(MORUTF8Length(iText.ConvertToUTF16(), iText.GetLength()), '\0');
  MORUTF8Encode(iText.ConvertToUTF16(), iText.GetLength(), l_Bytes.data());
  return ioStream << l_Bytes;
}

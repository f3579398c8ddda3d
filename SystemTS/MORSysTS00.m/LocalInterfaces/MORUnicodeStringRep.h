// Inside MORUnicodeString: the shared block of code units, the narrow results kept by a string
// object, and the helpers its source files share.
#ifndef MORUnicodeStringRep_H
#define MORUnicodeStringRep_H

#include <atomic>
#include <cstddef>

#include "MORUnicodeString.h"

// Header of a block of code units; the units follow it, then a zero unit. A block is changed in
// place only while its count is 1.
struct MORUnicodeStringRep {
  std::atomic<int> m_Refs;
  int m_Length;
  int m_Capacity;  // units that fit, not counting the zero unit
  char16_t* Units() noexcept { return reinterpret_cast<char16_t*>(this + 1); }
};

// One narrow result kept by a string object; its bytes follow it, then a zero byte.
struct MORNarrowBuffer {
  MORNarrowBuffer* m_Next;
  size_t m_Length;
  int m_Kind;
  char* Bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
};

struct MORUnicodeString::Access {
  enum NarrowKind { kMBCS = 0, kUTF8 = 1 };

  // Gives iText a block of its own holding iLength units of undefined content, and drops its
  // narrow results. Returns the units.
  static char16_t* Prepare(MORUnicodeString& ioText, int iLength);
  // Sets the length of a block prepared with at least that many units.
  static void SetLength(MORUnicodeString& ioText, int iLength) noexcept;
  // Gives iText a block of its own, keeping its units, with room for iCapacity units.
  static char16_t* MakeUnique(MORUnicodeString& ioText, int iCapacity);
  // Replaces iCount units from iStart (clamped) by iLength units; iUnits may lie in ioText.
  static void Splice(MORUnicodeString& ioText, int iStart, int iCount, const char16_t* iUnits, int iLength);
  static void DropNarrow(const MORUnicodeString& iText) noexcept;
  // The kept result of kind iKind, or null.
  static const char* Kept(const MORUnicodeString& iText, int iKind, size_t* oLength) noexcept;
  // A new kept result of kind iKind with room for iLength bytes and the zero byte after them.
  static char* NewNarrow(const MORUnicodeString& iText, int iKind, size_t iLength);
  static const char16_t* Units(const MORUnicodeString& iText) noexcept;
};

#endif

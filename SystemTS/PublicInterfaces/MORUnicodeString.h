// The framework's string: UTF-16 code units with an explicit length.
//
// Representation. The units live in a shared, reference-counted block: copying a string shares the
// block (the count is atomic, so copies may travel between threads), and the first change made
// through a string gives it its own block. Every empty string shares one static empty block, so a
// default-constructed string allocates nothing and may be used from static initialisers.
//
// Narrow text. Conversions to narrow text (ConvertToMBCS, ConvertToUTF8) return bytes owned by
// this string object: they stay valid until the string is changed, assigned or destroyed, and a
// second call returns the same bytes. The result is always followed by a zero byte; oLength, when
// given, receives the byte count (the text may itself hold zero bytes). Because the result is kept
// in the object, one object must not be converted from two threads at once; copies are independent.
//
// Code sets. "MBCS" is the process code set, settled once by the locale start-up (KELSysNLS.h).
// Text made only of code units below 128 (or bytes below 128) is converted one byte per unit with
// no code-set lookup at all. Under a UTF-8 process code set MBCS conversions use the UTF-8 rules
// below; under any other code set they go through iconv (KELSysCodePage.h).
//
// UTF-8 rules. Well-formed UTF-8 round-trips exactly; code points above U+FFFF become surrogate
// pairs. Bytes that are not part of a well-formed sequence (stray continuation bytes, truncated or
// overlong sequences, encoded surrogates, values above U+10FFFF) are kept losslessly: each such byte
// B becomes the lone low surrogate U+DC00 + B (U+DC80..U+DCFF), and converting back to UTF-8 (or to
// MBCS under a UTF-8 code set) gives back byte B. So any byte string read from a file and written
// out again through this class is byte-identical. Other lone surrogates, which no byte string
// produces, are written as U+FFFD.
//
// Warnings. Converting text with non-ASCII units to MBCS writes a "risk of data corruption" box to
// standard output and then checks the result as printable ASCII, which writes a second box at the
// first failing byte. Both depend on the switches in MORStringWarning.h; the command turns them off.
//
// Indices and lengths are counted in UTF-16 code units; a search that finds nothing returns -1.
#ifndef MORUnicodeString_H
#define MORUnicodeString_H

#include <compare>
#include <cstddef>
#include <functional>
#include <iosfwd>

#include "KELSysResult.h"

struct MORUnicodeStringRep;
struct MORNarrowBuffer;

class MORUnicodeString {
 public:
  MORUnicodeString() noexcept;
  // From text in the process code set; a null pointer gives the empty string.
  MORUnicodeString(const char* iMBCS);
  MORUnicodeString(const char* iMBCS, size_t iLength);
  // From UTF-16 code units; a null pointer gives the empty string.
  MORUnicodeString(const char16_t* iUTF16, size_t iLength);
  MORUnicodeString(const MORUnicodeString& iOther) noexcept;
  MORUnicodeString(MORUnicodeString&& iOther) noexcept;
  MORUnicodeString& operator=(const MORUnicodeString& iOther) noexcept;
  MORUnicodeString& operator=(MORUnicodeString&& iOther) noexcept;
  ~MORUnicodeString();

  // From UTF-8 (see the UTF-8 rules above).
  static MORUnicodeString FromUTF8(const char* iUTF8);
  static MORUnicodeString FromUTF8(const char* iUTF8, size_t iLength);

  // Builders replace the whole text. They return KEL_S_OK, or KEL_E_INVALIDARG for a null pointer
  // with a non-zero length (the string is then left unchanged).
  KELSysResult BuildFromMBCS(const char* iText);
  KELSysResult BuildFromMBCS(const char* iText, size_t iLength);
  KELSysResult BuildFromUTF8(const char* iText);
  KELSysResult BuildFromUTF8(const char* iText, size_t iLength);
  KELSysResult BuildFromUTF16(const char16_t* iText, size_t iLength);
  // From a STEP text: a text between double quotes whose inner characters are taken one code unit
  // each. The directives \X2\hhhh...\X0\ (16-bit units), \X4\hhhhhhhh...\X0\ (32-bit characters),
  // \X\hh (one byte of the Latin-1 upper half), \S\c (c + 128) and \\ (a backslash) are decoded; a
  // malformed directive is taken literally. A 32-bit character above U+FFFF keeps its low 16 bits,
  // and the data-loss report is written to standard output when string warnings are active.
  // KEL_E_INVALIDARG when iExpress is null or not quoted (the string is then left unchanged).
  KELSysResult BuildFromSTEP(const char* iExpress);
  // Decimal text, as "%lld" and "%llu" write it.
  KELSysResult BuildFromNum(long long iValue);
  KELSysResult BuildFromUnsignedNum(unsigned long long iValue);

  // Narrow text (see "Narrow text" above). Never null.
  const char* ConvertToMBCS(size_t* oLength = nullptr) const;
  const char* ConvertToUTF8(size_t* oLength = nullptr) const;
  // The code units, followed by a zero unit; valid until the string changes. Never null.
  const char16_t* ConvertToUTF16() const noexcept;
  // Reads the whole text as a decimal number: optional blanks, an optional sign ("-" only for the
  // signed form), digits, optional blanks. KEL_S_OK, or KEL_E_INVALIDARG for anything else or a value
  // out of range (oValue is then untouched).
  KELSysResult ConvertToNum(long long& oValue) const;
  KELSysResult ConvertToUnsignedNum(unsigned long long& oValue) const;

  int GetLength() const noexcept;
  bool IsEmpty() const noexcept { return GetLength() == 0; }
  // The unit at iIndex, or 0 when iIndex is out of range.
  char16_t operator[](int iIndex) const noexcept;

  // Changes. Ranges are clamped to the text: a start beyond the end appends or does nothing, a
  // negative count means "to the end".
  MORUnicodeString& Append(const MORUnicodeString& iText);
  MORUnicodeString& Append(const char16_t* iUnits, size_t iLength);
  MORUnicodeString& Append(char16_t iUnit);
  MORUnicodeString& operator+=(const MORUnicodeString& iText) { return Append(iText); }
  MORUnicodeString& operator+=(char16_t iUnit) { return Append(iUnit); }
  MORUnicodeString& Assign(const MORUnicodeString& iText) { return *this = iText; }
  void Clear() noexcept;
  // Removes iCount units from iStart.
  MORUnicodeString& Remove(int iStart, int iCount = -1);
  // Replaces iCount units from iStart by iText (an insertion when iCount is 0).
  MORUnicodeString& Replace(int iStart, int iCount, const MORUnicodeString& iText);
  // Replaces the first occurrence of iOld at or after iFrom; returns its index or -1.
  int ReplaceFirst(const MORUnicodeString& iOld, const MORUnicodeString& iNew, int iFrom = 0);
  // Replaces every non-overlapping occurrence, left to right; returns how many. An empty iOld
  // replaces nothing.
  int ReplaceAll(const MORUnicodeString& iOld, const MORUnicodeString& iNew);
  int ReplaceAll(char16_t iOld, char16_t iNew);

  // Queries. An empty iText is found at iFrom (when iFrom is within 0..length).
  int Find(const MORUnicodeString& iText, int iFrom = 0) const noexcept;
  int Find(char16_t iUnit, int iFrom = 0) const noexcept;
  int FindLast(const MORUnicodeString& iText) const noexcept;
  int FindLast(char16_t iUnit) const noexcept;
  // Units from iStart, at most iCount of them (all when negative).
  MORUnicodeString SubString(int iStart, int iCount = -1) const;
  // Code-unit order: negative, zero or positive.
  int Compare(const MORUnicodeString& iOther) const noexcept;
  friend bool operator==(const MORUnicodeString& iLeft, const MORUnicodeString& iRight) noexcept {
    return iLeft.Compare(iRight) == 0;
  }
  friend std::strong_ordering operator<=>(const MORUnicodeString& iLeft,
                                          const MORUnicodeString& iRight) noexcept {
    return iLeft.Compare(iRight) <=> 0;
  }
  size_t Hash() const noexcept;

  // Checks iLength bytes of narrow text as ASCII. Strict: every byte must be printable (32 to 126),
  // TAB, LF or CR. Lax: only bytes below 32 other than TAB, LF and CR fail. At the first failing
  // byte, when string warnings are active and MORStringWarningSuppress is not set, writes the
  // warning box (with the 1-based position of that byte and the whole text) to standard output.
  // Returns whether the text passed.
  static bool CheckASCII(const char* iText, size_t iLength, bool iStrict);

 private:
  struct Access;  // the implementation's helpers
  friend struct Access;

  MORUnicodeStringRep* m_Rep;
  mutable MORNarrowBuffer* m_Narrow = nullptr;
};

MORUnicodeString operator+(const MORUnicodeString& iLeft, const MORUnicodeString& iRight);
// Writes the text as UTF-8 (for logs and test failure messages).
std::ostream& operator<<(std::ostream& ioStream, const MORUnicodeString& iText);

template <>
struct std::hash<MORUnicodeString> {
  size_t operator()(const MORUnicodeString& iText) const noexcept { return iText.Hash(); }
};

#endif

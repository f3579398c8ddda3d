// MORUnicodeString: conversions to and from narrow text, and the warnings that go with them.
#include <cctype>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

#include "KELSysNLS.h"
#include "MORStringWarning.h"
#include "MORUTF8.h"
#include "MORUnicodeString.h"
#include "MORUnicodeStringRep.h"

namespace {

void WriteRiskBox() {
  std::puts("***************************************************************");
  std::puts("* [MORString] Risk of data corruption detected:               *");
  std::puts("* Non-ASCII Unicode data is being converted to MBCS (char *). *");
  std::puts("* STACK TRACE:                                                *");
  std::puts("***************************************************************");
}

void WriteASCIIBox(size_t iPosition, const char* iText, size_t iLength) {
  const std::string l_Stars(85, '*');
  std::string l_Box = l_Stars + "\n";
  l_Box += "* [MORString][Warning] The code '" + std::to_string(iPosition) +
           "' does not map to a printable US ASCII character. *\n";
  l_Box += "* String: \"" + std::string(iText, iLength) + "\".\n";
  l_Box += "* STACK TRACE:                                                                      *\n";
  l_Box += l_Stars + "\n";
  std::fwrite(l_Box.data(), 1, l_Box.size(), stdout);
}

void WriteSTEPReport(const char* iExpress, uint32_t iValue) {
  std::printf(
      "Message from  MORUnicodeString::BuildFromSTEP\n"
      "Conversion from a 4 bytes Unicode character to a 2 bytes unicode character\n"
      "with data loss\n"
      "Express String : %s\n"
      "Unicode value  : %x\n",
      iExpress, static_cast<unsigned>(iValue));
}

bool PassesASCII(unsigned char iByte, bool iStrict) {
  if (iByte == '\t' || iByte == '\n' || iByte == '\r') return true;
  return iStrict ? (iByte >= 32 && iByte <= 126) : iByte >= 32;
}

// Whether every element is below 128 (bytes or units).
template <typename Element>
bool IsASCII(const Element* iText, size_t iLength) {
  unsigned l_Seen = 0;
  for (size_t l_Index = 0; l_Index < iLength; ++l_Index)
    l_Seen |= static_cast<std::make_unsigned_t<Element>>(iText[l_Index]);
  return l_Seen < 0x80;
}

int HexValue(char iChar) {
  if (iChar >= '0' && iChar <= '9') return iChar - '0';
  if (iChar >= 'A' && iChar <= 'F') return iChar - 'A' + 10;
  if (iChar >= 'a' && iChar <= 'f') return iChar - 'a' + 10;
  return -1;
}

// Reads iDigits hex digits at iText; -1 when they are not all there.
int64_t ReadHex(const char* iText, size_t iLeft, int iDigits) {
  if (iLeft < static_cast<size_t>(iDigits)) return -1;
  int64_t l_Value = 0;
  for (int l_Index = 0; l_Index < iDigits; ++l_Index) {
    int l_Digit = HexValue(iText[l_Index]);
    if (l_Digit < 0) return -1;
    l_Value = l_Value * 16 + l_Digit;
  }
  return l_Value;
}

// Decodes a \X2\ or \X4\ run of iDigits-digit groups ended by \X0\ at iText (just after the
// opening directive). Returns the bytes read including \X0\, or 0 when the run is malformed.
size_t ReadHexRun(const char* iText, size_t iLeft, int iDigits, const char* iExpress,
                  std::u16string& oUnits) {
  std::u16string l_Units;
  size_t l_Read = 0;
  while (iLeft - l_Read < 4 || std::memcmp(iText + l_Read, "\\X0\\", 4) != 0) {
    int64_t l_Value = ReadHex(iText + l_Read, iLeft - l_Read, iDigits);
    if (l_Value < 0) return 0;
    if (l_Value > 0xFFFF && MORStringWarning::IsActive())
      WriteSTEPReport(iExpress, static_cast<uint32_t>(l_Value));
    l_Units.push_back(static_cast<char16_t>(l_Value & 0xFFFF));
    l_Read += static_cast<size_t>(iDigits);
  }
  oUnits += l_Units;
  return l_Read + 4;
}

// Decodes one directive at iText (which starts with a backslash) into oUnits; returns the bytes it
// took, or 0 when it is not a well-formed directive.
size_t ReadDirective(const char* iText, size_t iLeft, const char* iExpress, std::u16string& oUnits) {
  auto l_Starts = [&](const char* iPrefix) {
    size_t l_Size = std::strlen(iPrefix);
    return iLeft >= l_Size && std::memcmp(iText, iPrefix, l_Size) == 0;
  };
  if (l_Starts("\\\\")) return oUnits.push_back(u'\\'), 2;
  if (l_Starts("\\X2\\")) {
    size_t l_Read = ReadHexRun(iText + 4, iLeft - 4, 4, iExpress, oUnits);
    return l_Read ? l_Read + 4 : 0;
  }
  if (l_Starts("\\X4\\")) {
    size_t l_Read = ReadHexRun(iText + 4, iLeft - 4, 8, iExpress, oUnits);
    return l_Read ? l_Read + 4 : 0;
  }
  if (l_Starts("\\X\\")) {
    int64_t l_Value = ReadHex(iText + 3, iLeft - 3, 2);
    return l_Value < 0 ? 0 : (oUnits.push_back(static_cast<char16_t>(l_Value)), 5);
  }
  if (l_Starts("\\S\\") && iLeft >= 4) return oUnits.push_back(static_cast<unsigned char>(iText[3]) + 128), 4;
  return 0;
}

// Reads optional blanks, digits and optional blanks; the sign has been taken by the caller.
bool ReadDigits(const char16_t* iUnits, int iLength, int iIndex, unsigned long long iLimit,
                unsigned long long& oValue) {
  unsigned long long l_Value = 0;
  int l_Digits = 0;
  for (; iIndex < iLength && iUnits[iIndex] >= u'0' && iUnits[iIndex] <= u'9'; ++iIndex, ++l_Digits) {
    unsigned l_Digit = iUnits[iIndex] - u'0';
    if (l_Value > (iLimit - l_Digit) / 10) return false;
    l_Value = l_Value * 10 + l_Digit;
  }
  while (iIndex < iLength && (iUnits[iIndex] == u' ' || iUnits[iIndex] == u'\t')) ++iIndex;
  if (l_Digits == 0 || iIndex != iLength) return false;
  oValue = l_Value;
  return true;
}

// Skips leading blanks and reads the sign; returns the index after them.
int ReadSign(const char16_t* iUnits, int iLength, bool& oNegative) {
  int l_Index = 0;
  while (l_Index < iLength && (iUnits[l_Index] == u' ' || iUnits[l_Index] == u'\t')) ++l_Index;
  oNegative = l_Index < iLength && iUnits[l_Index] == u'-';
  if (l_Index < iLength && (iUnits[l_Index] == u'-' || iUnits[l_Index] == u'+')) ++l_Index;
  return l_Index;
}

}  // namespace

// ---- Process code set ---------------------------------------------------------------------------

KELSysResult MORUnicodeString::BuildFromMBCS(const char* iText) {
  return BuildFromMBCS(iText, iText ? std::strlen(iText) : 0);
}

KELSysResult MORUnicodeString::BuildFromMBCS(const char* iText, size_t iLength) {
  if ((!iText && iLength > 0) || iLength > INT_MAX / 2) return KEL_E_INVALIDARG;
  if (!IsASCII(iText, iLength)) {
    const KELSysNLS& l_NLS = KELSysNLS::GetProcess();
    if (l_NLS.IsUTF8()) return BuildFromUTF8(iText, iLength);
    std::u16string l_Units;
    l_NLS.GetCodePage().ToUTF16(iText, iLength, l_Units);
    return BuildFromUTF16(l_Units.data(), l_Units.size());
  }
  // Built aside: iText may be one of this string's own narrow results.
  MORUnicodeString l_Result;
  char16_t* l_Units = Access::Prepare(l_Result, static_cast<int>(iLength));
  for (size_t l_Index = 0; l_Index < iLength; ++l_Index)
    l_Units[l_Index] = static_cast<char16_t>(iText[l_Index]);
  *this = std::move(l_Result);
  return KEL_S_OK;
}

const char* MORUnicodeString::ConvertToMBCS(size_t* oLength) const {
  if (const char* l_Kept = Access::Kept(*this, Access::kMBCS, oLength)) return l_Kept;
  const char16_t* l_Units = Access::Units(*this);
  size_t l_Length = static_cast<size_t>(GetLength());
  if (IsASCII(l_Units, l_Length)) {
    char* l_Bytes = Access::NewNarrow(*this, Access::kMBCS, l_Length);
    for (size_t l_Index = 0; l_Index < l_Length; ++l_Index)
      l_Bytes[l_Index] = static_cast<char>(l_Units[l_Index]);
    if (oLength) *oLength = l_Length;
    return l_Bytes;
  }
  bool l_Warn = MORStringWarning::IsActive();
  if (l_Warn) WriteRiskBox();
  const KELSysNLS& l_NLS = KELSysNLS::GetProcess();
  char* l_Bytes = nullptr;
  size_t l_Size = 0;
  if (l_NLS.IsUTF8()) {
    l_Size = MORUTF8Length(l_Units, l_Length);
    l_Bytes = Access::NewNarrow(*this, Access::kMBCS, l_Size);
    MORUTF8Encode(l_Units, l_Length, l_Bytes);
  } else {
    std::string l_Converted;
    l_NLS.GetCodePage().FromUTF16(l_Units, l_Length, l_Converted);
    l_Size = l_Converted.size();
    l_Bytes = Access::NewNarrow(*this, Access::kMBCS, l_Size);
    std::memcpy(l_Bytes, l_Converted.data(), l_Size);
  }
  // The check only reports; with warnings off there is nothing to learn from it.
  if (l_Warn) CheckASCII(l_Bytes, l_Size, true);
  if (oLength) *oLength = l_Size;
  return l_Bytes;
}

// ---- UTF-8 ----------------------------------------------------------------------------------------

const char* MORUnicodeString::ConvertToUTF8(size_t* oLength) const {
  if (const char* l_Kept = Access::Kept(*this, Access::kUTF8, oLength)) return l_Kept;
  const char16_t* l_Units = Access::Units(*this);
  size_t l_Length = static_cast<size_t>(GetLength());
  size_t l_Size = MORUTF8Length(l_Units, l_Length);
  char* l_Bytes = Access::NewNarrow(*this, Access::kUTF8, l_Size);
  MORUTF8Encode(l_Units, l_Length, l_Bytes);
  if (oLength) *oLength = l_Size;
  return l_Bytes;
}

// ---- ASCII check ----------------------------------------------------------------------------------

bool MORUnicodeString::CheckASCII(const char* iText, size_t iLength, bool iStrict) {
  if (!iText) return iLength == 0;
  for (size_t l_Index = 0; l_Index < iLength; ++l_Index) {
    if (PassesASCII(static_cast<unsigned char>(iText[l_Index]), iStrict)) continue;
    if (MORStringWarning::IsActive() && !MORStringWarning::IsASCIICheckSuppressed())
      WriteASCIIBox(l_Index + 1, iText, iLength);
    return false;
  }
  return true;
}

// ---- STEP text ------------------------------------------------------------------------------------

KELSysResult MORUnicodeString::BuildFromSTEP(const char* iExpress) {
  size_t l_Length = iExpress ? std::strlen(iExpress) : 0;
  if (l_Length < 2 || iExpress[0] != '"' || iExpress[l_Length - 1] != '"' || l_Length > INT_MAX / 2)
    return KEL_E_INVALIDARG;
  const char* l_Inner = iExpress + 1;
  size_t l_Left = l_Length - 2;
  std::u16string l_Units;
  for (size_t l_Index = 0; l_Index < l_Left;) {
    size_t l_Read =
        l_Inner[l_Index] == '\\' ? ReadDirective(l_Inner + l_Index, l_Left - l_Index, iExpress, l_Units) : 0;
    if (l_Read == 0) l_Units.push_back(static_cast<unsigned char>(l_Inner[l_Index])), l_Read = 1;
    l_Index += l_Read;
  }
  return BuildFromUTF16(l_Units.data(), l_Units.size());
}

// ---- Numbers --------------------------------------------------------------------------------------

KELSysResult MORUnicodeString::BuildFromNum(long long iValue) {
  char l_Text[32];
  int l_Length = std::snprintf(l_Text, sizeof l_Text, "%lld", iValue);
  return BuildFromMBCS(l_Text, static_cast<size_t>(l_Length));
}

KELSysResult MORUnicodeString::BuildFromUnsignedNum(unsigned long long iValue) {
  char l_Text[32];
  int l_Length = std::snprintf(l_Text, sizeof l_Text, "%llu", iValue);
  return BuildFromMBCS(l_Text, static_cast<size_t>(l_Length));
}

KELSysResult MORUnicodeString::ConvertToNum(long long& oValue) const {
  bool l_Negative = false;
  int l_Index = ReadSign(Access::Units(*this), GetLength(), l_Negative);
  // The magnitude of LLONG_MIN is one more than LLONG_MAX.
  unsigned long long l_Limit = static_cast<unsigned long long>(LLONG_MAX) + (l_Negative ? 1 : 0);
  unsigned long long l_Value = 0;
  if (!ReadDigits(Access::Units(*this), GetLength(), l_Index, l_Limit, l_Value)) return KEL_E_INVALIDARG;
  oValue = l_Negative ? static_cast<long long>(0 - l_Value) : static_cast<long long>(l_Value);
  return KEL_S_OK;
}

KELSysResult MORUnicodeString::ConvertToUnsignedNum(unsigned long long& oValue) const {
  bool l_Negative = false;
  int l_Index = ReadSign(Access::Units(*this), GetLength(), l_Negative);
  unsigned long long l_Value = 0;
  if (l_Negative || !ReadDigits(Access::Units(*this), GetLength(), l_Index, ULLONG_MAX, l_Value))
    return KEL_E_INVALIDARG;
  oValue = l_Value;
  return KEL_S_OK;
}

#include "KELSysJSONPrimitive.h"

#include <langinfo.h>

#include <cfenv>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace {

// Up to 18 digits cannot overflow, so the common integers skip the library call and its copy; the
// result is the one strtoull would give.
bool ReadShortInteger(const char* iText, uint32_t iLength, int64_t& oValue) {
  const bool l_Negative = iLength > 0 && iText[0] == '-';
  const uint32_t l_First = l_Negative ? 1 : 0;
  if (iLength == l_First || iLength - l_First > 18) return false;
  uint64_t l_Value = 0;
  for (uint32_t l_Pos = l_First; l_Pos < iLength; ++l_Pos) {
    const unsigned l_Digit = static_cast<unsigned char>(iText[l_Pos]) - static_cast<unsigned>('0');
    if (l_Digit > 9) return false;
    l_Value = l_Value * 10 + l_Digit;
  }
  oValue = static_cast<int64_t>(l_Negative ? 0 - l_Value : l_Value);
  return true;
}

bool IsDigit(char iByte) { return static_cast<unsigned>(iByte) - static_cast<unsigned>('0') <= 9; }

// From iPos, one or more digits; false when there is none.
bool SkipDigits(const char* iText, uint32_t iLength, uint32_t& ioPos) {
  const uint32_t l_First = ioPos;
  while (ioPos < iLength && IsDigit(iText[ioPos])) ++ioPos;
  return ioPos > l_First;
}

// True when the whole text is -?digits(.digits)?(e[+-]?digits)?.
bool IsPlainDecimal(const char* iText, uint32_t iLength) {
  uint32_t l_Pos = iLength > 0 && iText[0] == '-' ? 1 : 0;
  if (!SkipDigits(iText, iLength, l_Pos)) return false;
  if (l_Pos < iLength && iText[l_Pos] == '.' && !SkipDigits(iText, iLength, ++l_Pos)) return false;
  if (l_Pos < iLength && iText[l_Pos] == 'e') {
    ++l_Pos;
    if (l_Pos < iLength && (iText[l_Pos] == '+' || iText[l_Pos] == '-')) ++l_Pos;
    if (!SkipDigits(iText, iLength, l_Pos)) return false;
  }
  return l_Pos == iLength;
}

// strtod is slow; for a plain decimal number, while the locale's decimal separator is the point
// and rounding is to nearest, from_chars gives the same correctly rounded double. Anything else,
// and any result out of range (where strtod has its own answers), is left to strtod.
bool ReadPlainDouble(const char* iText, uint32_t iLength, double& oValue) {
  if (!IsPlainDecimal(iText, iLength)) return false;
  const char* l_Radix = nl_langinfo(RADIXCHAR);
  if (l_Radix == nullptr || l_Radix[0] != '.' || l_Radix[1] != '\0' || std::fegetround() != FE_TONEAREST)
    return false;
  const std::from_chars_result l_Read = std::from_chars(iText, iText + iLength, oValue);
  return l_Read.ec == std::errc() && l_Read.ptr == iText + iLength;
}

}  // namespace

KELSysJSONPrimitive KELSysJSONPrimitive::ReadAny(const char* iText, uint32_t iLength) {
  KELSysJSONPrimitive l_Read;
  if (iLength == 4 && std::memcmp(iText, "true", 4) == 0) {
    l_Read.m_Kind = True;
  } else if (iLength == 4 && std::memcmp(iText, "null", 4) == 0) {
    l_Read.m_Kind = Null;
  } else if (iLength == 5 && std::memcmp(iText, "false", 5) == 0) {
    l_Read.m_Kind = False;
  } else if (iLength >= 64) {
    l_Read.m_Kind = Cut;
  } else if (ReadShortInteger(iText, iLength, l_Read.m_Integer)) {
    l_Read.m_Kind = Integer;
  } else {
    char l_Text[64];  // the library calls want a terminated text
    std::memcpy(l_Text, iText, iLength);
    l_Text[iLength] = '\0';
    if (std::memchr(l_Text, ',', iLength) || std::memchr(l_Text, '.', iLength) ||
        std::memchr(l_Text, 'e', iLength)) {
      l_Read.m_Kind = Double;
      if (!ReadPlainDouble(iText, iLength, l_Read.m_Double)) l_Read.m_Double = std::strtod(l_Text, nullptr);
    } else {
      l_Read.m_Kind = Integer;
      l_Read.m_Integer = static_cast<int64_t>(std::strtoull(l_Text, nullptr, 10));
    }
  }
  return l_Read;
}

// What a primitive token says. Read in this order: "true", "null", "false"; 64 bytes or more: null,
// deliberately not read; a text holding ",", "." or "e": a double (strtod, so the locale's decimal
// separator applies); anything else: an integer as strtoull reads it in base 10, kept as its signed
// 64-bit bits ("-5" gives -5, a bare word 0, "12ab" 12, "1E5" 1, an overflow -1).
#ifndef KELSysJSONPrimitive_H
#define KELSysJSONPrimitive_H

#include <cstdint>

class KELSysJSONPrimitive {
 public:
  enum Kind { Null, Cut, True, False, Integer, Double };

  static KELSysJSONPrimitive Read(const char* iText, uint32_t iLength) {
    // Short runs of digits, the most common primitive, are read here; everything else below.
    if (iLength - 1 < 18) {
      uint64_t l_Value = 0;
      uint32_t l_Pos = 0;
      for (; l_Pos < iLength; ++l_Pos) {
        const unsigned l_Digit = static_cast<unsigned char>(iText[l_Pos]) - static_cast<unsigned>('0');
        if (l_Digit > 9) break;
        l_Value = l_Value * 10 + l_Digit;
      }
      if (l_Pos == iLength) {
        KELSysJSONPrimitive l_Read;
        l_Read.m_Kind = Integer;
        l_Read.m_Integer = static_cast<int64_t>(l_Value);
        return l_Read;
      }
    }
    return ReadAny(iText, iLength);
  }

  Kind m_Kind = Null;  // Cut: a null that was too long to read
  int64_t m_Integer = 0;
  double m_Double = 0.0;

 private:
  static KELSysJSONPrimitive ReadAny(const char* iText, uint32_t iLength);
};

#endif

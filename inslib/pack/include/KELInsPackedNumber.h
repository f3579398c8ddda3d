// Lengths and numbers packed into byte blocks by the document models: seven bits a byte, low bits
// first, the high bit set on every byte but the last, so that the common small value takes one byte.
#ifndef KELInsPackedNumber_H
#define KELInsPackedNumber_H

#include <cstddef>
#include <cstdint>

namespace KELInsPackedNumber {

// The bytes iValue takes.
inline std::size_t Size(std::uint64_t iValue) {
  std::size_t l_Size = 1;
  for (; iValue >= 0x80; iValue >>= 7) ++l_Size;
  return l_Size;
}

// Writes iValue at oPos; returns the position after it.
inline char* Put(char* oPos, std::uint64_t iValue) {
  for (; iValue >= 0x80; iValue >>= 7) *oPos++ = static_cast<char>(iValue | 0x80);
  *oPos++ = static_cast<char>(iValue);
  return oPos;
}

// Reads the number at iPos into oValue; returns the position after it.
inline const char* Get(const char* iPos, std::uint64_t& oValue) {
  oValue = 0;
  for (int l_Shift = 0;; l_Shift += 7) {
    const auto l_Byte = static_cast<unsigned char>(*iPos++);
    oValue |= static_cast<std::uint64_t>(l_Byte & 0x7F) << l_Shift;
    if (l_Byte < 0x80) return iPos;
  }
}

}  // namespace KELInsPackedNumber

#endif

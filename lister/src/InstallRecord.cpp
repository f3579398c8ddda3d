#include "InstallRecord.h"

#include <cstdint>
#include <cstring>

namespace {

// Lengths take seven bits a byte, low bits first, the high bit set on every byte but the last: one
// byte for any field shorter than 128 bytes.
std::size_t LengthSize(std::size_t iLength) {
  std::size_t l_Size = 1;
  for (; iLength >= 0x80; iLength >>= 7) ++l_Size;
  return l_Size;
}

char* PutLength(char* oPos, std::size_t iLength) {
  for (; iLength >= 0x80; iLength >>= 7) *oPos++ = static_cast<char>(iLength | 0x80);
  *oPos++ = static_cast<char>(iLength);
  return oPos;
}

const char* GetLength(const char* iPos, std::size_t& oLength) {
  oLength = 0;
  for (int l_Shift = 0;; l_Shift += 7) {
    const auto l_Byte = static_cast<unsigned char>(*iPos++);
    oLength |= static_cast<std::size_t>(l_Byte & 0x7F) << l_Shift;
    if (l_Byte < 0x80) return iPos;
  }
}

constexpr int kFields = 5;

}  // namespace

InstallRecord::InstallRecord(std::string_view iBuildLevel, std::string_view iType, std::string_view iHfxLevel,
                             std::string_view iIdent, std::string_view iPath) {
  const std::string_view l_Fields[kFields] = {iBuildLevel, iType, iHfxLevel, iIdent, iPath};
  std::size_t l_Size = 0;
  for (std::string_view l_Field : l_Fields) l_Size += LengthSize(l_Field.size()) + l_Field.size();
  m_Bytes.reset(new char[l_Size]);
  char* l_Pos = m_Bytes.get();
  for (std::string_view l_Field : l_Fields) l_Pos = PutLength(l_Pos, l_Field.size());
  for (std::string_view l_Field : l_Fields) {
    if (!l_Field.empty()) std::memcpy(l_Pos, l_Field.data(), l_Field.size());
    l_Pos += l_Field.size();
  }
}

std::string_view InstallRecord::Field(int iIndex) const {
  std::size_t l_Lengths[kFields];
  const char* l_Pos = m_Bytes.get();
  for (std::size_t& l_Length : l_Lengths) l_Pos = GetLength(l_Pos, l_Length);
  for (int l_Before = 0; l_Before < iIndex; ++l_Before) l_Pos += l_Lengths[l_Before];
  return std::string_view(l_Pos, l_Lengths[iIndex]);
}

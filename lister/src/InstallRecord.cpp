#include "InstallRecord.h"

#include <cstdint>
#include <cstring>
#include <new>

namespace {

constexpr int kFields = 5;
using End = std::uint32_t;

}  // namespace

// The block: where each field ends, counted from the first text byte, then the texts one after
// the other.
InstallRecord::InstallRecord(std::string_view iBuildLevel, std::string_view iType, std::string_view iHfxLevel,
                             std::string_view iIdent, std::string_view iPath) {
  const std::string_view l_Fields[kFields] = {iBuildLevel, iType, iHfxLevel, iIdent, iPath};
  End l_Ends[kFields];
  std::size_t l_Size = 0;
  for (int l_Field = 0; l_Field < kFields; ++l_Field) {
    l_Size += l_Fields[l_Field].size();
    if (l_Size > UINT32_MAX) throw std::bad_alloc();
    l_Ends[l_Field] = static_cast<End>(l_Size);
  }
  m_Bytes.reset(new char[sizeof(l_Ends) + l_Size]);
  std::memcpy(m_Bytes.get(), l_Ends, sizeof(l_Ends));
  char* l_Pos = m_Bytes.get() + sizeof(l_Ends);
  for (std::string_view l_Field : l_Fields) {
    if (!l_Field.empty()) std::memcpy(l_Pos, l_Field.data(), l_Field.size());
    l_Pos += l_Field.size();
  }
}

std::string_view InstallRecord::Field(int iIndex) const {
  End l_Ends[kFields];
  std::memcpy(l_Ends, m_Bytes.get(), sizeof(l_Ends));
  const End l_Begin = iIndex > 0 ? l_Ends[iIndex - 1] : 0;
  return std::string_view(m_Bytes.get() + sizeof(l_Ends) + l_Begin, l_Ends[iIndex] - l_Begin);
}

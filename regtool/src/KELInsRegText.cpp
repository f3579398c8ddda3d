#include "KELInsRegText.h"

#include <cstdint>

namespace {

constexpr char k_Hex[] = "0123456789abcdef";

// The short escape of a control byte, or 0.
char ShortEscape(unsigned char iByte) {
  switch (iByte) {
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

void AppendEscape(std::string& ioOut, unsigned char iByte) {
  ioOut += '\\';
  if (iByte == '"' || iByte == '\\') {
    ioOut += char(iByte);
  } else if (char l_Short = ShortEscape(iByte)) {
    ioOut += l_Short;
  } else {
    ioOut += "u00";
    ioOut += k_Hex[iByte >> 4];
    ioOut += k_Hex[iByte & 0xF];
  }
}

bool NeedsEscape(unsigned char iByte) { return iByte == '"' || iByte == '\\' || iByte < 0x20; }

// Decodes the escape at iText[ioAt] (a backslash) into ioOut; false when it is malformed or a lone
// surrogate that stands for no byte, which the caller keeps as it stands.
bool DecodeEscape(std::string_view iText, size_t& ioAt, std::string& ioOut) {
  if (ioAt + 1 >= iText.size()) return false;
  char l_Kind = iText[ioAt + 1];
  if (char l_Byte = KELInsRegEscapedByte(l_Kind)) {
    ioOut += l_Byte;
    ioAt += 2;
    return true;
  }
  if (l_Kind != 'u') return false;
  int32_t l_Unit = KELInsRegHex4(iText, ioAt + 2);
  if (l_Unit < 0) return false;
  if (l_Unit >= 0xD800 && l_Unit <= 0xDBFF) {
    int32_t l_Low = ioAt + 7 < iText.size() && iText[ioAt + 6] == '\\' && iText[ioAt + 7] == 'u'
                        ? KELInsRegHex4(iText, ioAt + 8)
                        : -1;
    if (l_Low < 0xDC00 || l_Low > 0xDFFF) return false;
    KELInsRegAppendUTF8(ioOut, 0x10000 + ((uint32_t(l_Unit) - 0xD800) << 10) + (uint32_t(l_Low) - 0xDC00));
    ioAt += 12;
    return true;
  }
  if (l_Unit >= 0xDC00 && l_Unit <= 0xDFFF) {
    if (l_Unit < 0xDC80 || l_Unit > 0xDCFF) return false;
    ioOut += char(l_Unit - 0xDC00);
  } else {
    KELInsRegAppendUTF8(ioOut, uint32_t(l_Unit));
  }
  ioAt += 6;
  return true;
}

}  // namespace

char KELInsRegEscapedByte(char iLetter) {
  static constexpr char k_Pairs[] = "\"\"\\\\//b\bf\fn\nr\rt\t";
  for (const char* l_At = k_Pairs; *l_At; l_At += 2)
    if (iLetter == *l_At) return l_At[1];
  return 0;
}

int32_t KELInsRegHex4(std::string_view iText, size_t iAt) {
  if (iAt + 4 > iText.size()) return -1;
  int32_t l_Value = 0;
  for (size_t l_Index = iAt; l_Index < iAt + 4; ++l_Index) {
    char l_Char = iText[l_Index];
    int l_Digit = l_Char >= '0' && l_Char <= '9'   ? l_Char - '0'
                  : l_Char >= 'a' && l_Char <= 'f' ? l_Char - 'a' + 10
                  : l_Char >= 'A' && l_Char <= 'F' ? l_Char - 'A' + 10
                                                   : -1;
    if (l_Digit < 0) return -1;
    l_Value = l_Value * 16 + l_Digit;
  }
  return l_Value;
}

void KELInsRegAppendUTF8(std::string& ioOut, uint32_t iCode) {
  if (iCode < 0x80) {
    ioOut += char(iCode);
  } else if (iCode < 0x800) {
    ioOut += char(0xC0 | (iCode >> 6));
    ioOut += char(0x80 | (iCode & 0x3F));
  } else if (iCode < 0x10000) {
    ioOut += char(0xE0 | (iCode >> 12));
    ioOut += char(0x80 | ((iCode >> 6) & 0x3F));
    ioOut += char(0x80 | (iCode & 0x3F));
  } else {
    ioOut += char(0xF0 | (iCode >> 18));
    ioOut += char(0x80 | ((iCode >> 12) & 0x3F));
    ioOut += char(0x80 | ((iCode >> 6) & 0x3F));
    ioOut += char(0x80 | (iCode & 0x3F));
  }
}

size_t KELInsRegUTF8Length(std::string_view iText) {
  if (iText.empty()) return 0;
  auto l_Byte = [&](size_t iAt) { return static_cast<unsigned char>(iText[iAt]); };
  unsigned char l_Lead = l_Byte(0);
  if (l_Lead < 0x80) return 1;
  size_t l_Length;
  uint32_t l_Code, l_Min;
  if (l_Lead >= 0xC2 && l_Lead <= 0xDF) {
    l_Length = 2, l_Code = l_Lead & 0x1F, l_Min = 0x80;
  } else if (l_Lead >= 0xE0 && l_Lead <= 0xEF) {
    l_Length = 3, l_Code = l_Lead & 0x0F, l_Min = 0x800;
  } else if (l_Lead >= 0xF0 && l_Lead <= 0xF4) {
    l_Length = 4, l_Code = l_Lead & 0x07, l_Min = 0x10000;
  } else {
    return 0;
  }
  if (iText.size() < l_Length) return 0;
  for (size_t l_At = 1; l_At < l_Length; ++l_At) {
    if ((l_Byte(l_At) & 0xC0) != 0x80) return 0;
    l_Code = (l_Code << 6) | (l_Byte(l_At) & 0x3F);
  }
  bool l_Surrogate = l_Code >= 0xD800 && l_Code <= 0xDFFF;
  return l_Code < l_Min || l_Code > 0x10FFFF || l_Surrogate ? 0 : l_Length;
}

std::string KELInsRegStore(std::string_view iBytes) {
  std::string l_Stored;
  l_Stored.reserve(iBytes.size());
  for (char l_Byte : iBytes)
    if (NeedsEscape(static_cast<unsigned char>(l_Byte)))
      AppendEscape(l_Stored, static_cast<unsigned char>(l_Byte));
    else
      l_Stored += l_Byte;
  return l_Stored;
}

std::string KELInsRegEscapeControls(std::string_view iBytes) {
  std::string l_Shown;
  l_Shown.reserve(iBytes.size());
  for (char l_Byte : iBytes)
    if (static_cast<unsigned char>(l_Byte) < 0x20)
      AppendEscape(l_Shown, static_cast<unsigned char>(l_Byte));
    else
      l_Shown += l_Byte;
  return l_Shown;
}

std::string KELInsRegShow(std::string_view iStored) {
  if (iStored.find('\\') == std::string_view::npos) return std::string(iStored);
  std::string l_Bytes;
  l_Bytes.reserve(iStored.size());
  for (size_t l_At = 0; l_At < iStored.size();) {
    if (iStored[l_At] != '\\' || !DecodeEscape(iStored, l_At, l_Bytes)) l_Bytes += iStored[l_At++];
  }
  return l_Bytes;
}

void KELInsRegAppendJSONString(std::string& ioOut, std::string_view iBytes) {
  ioOut += '"';
  for (size_t l_At = 0; l_At < iBytes.size();) {
    unsigned char l_Byte = static_cast<unsigned char>(iBytes[l_At]);
    if (l_Byte < 0x80) {
      if (NeedsEscape(l_Byte))
        AppendEscape(ioOut, l_Byte);
      else
        ioOut += char(l_Byte);
      ++l_At;
    } else if (size_t l_Length = KELInsRegUTF8Length(iBytes.substr(l_At))) {
      ioOut.append(iBytes.substr(l_At, l_Length));
      l_At += l_Length;
    } else {
      ioOut += "\\udc";
      ioOut += k_Hex[l_Byte >> 4];
      ioOut += k_Hex[l_Byte & 0xF];
      ++l_At;
    }
  }
  ioOut += '"';
}

#include "MORUTF8.h"

namespace {

constexpr char16_t kEscapeBase = 0xDC00;  // an unreadable byte B is kept as U+DC00 + B
constexpr char16_t kReplacement = 0xFFFD;

bool IsContinuation(unsigned char iByte) { return (iByte & 0xC0) == 0x80; }

// The range the second byte must fall in after the lead byte iLead; it excludes overlong forms,
// encoded surrogates and values above U+10FFFF.
void SecondByteRange(unsigned char iLead, unsigned char& oLow, unsigned char& oHigh) {
  oLow = 0x80;
  oHigh = 0xBF;
  if (iLead == 0xE0) oLow = 0xA0;
  if (iLead == 0xED) oHigh = 0x9F;
  if (iLead == 0xF0) oLow = 0x90;
  if (iLead == 0xF4) oHigh = 0x8F;
}

size_t SequenceLength(unsigned char iLead) {
  if (iLead >= 0xC2 && iLead <= 0xDF) return 2;
  if (iLead >= 0xE0 && iLead <= 0xEF) return 3;
  if (iLead >= 0xF0 && iLead <= 0xF4) return 4;
  return 0;
}

bool IsHigh(char16_t iUnit) { return iUnit >= 0xD800 && iUnit <= 0xDBFF; }
bool IsLow(char16_t iUnit) { return iUnit >= 0xDC00 && iUnit <= 0xDFFF; }
bool IsEscape(char16_t iUnit) { return iUnit >= 0xDC80 && iUnit <= 0xDCFF; }

}  // namespace

size_t MORUTF8DecodeOne(const char* iBytes, size_t iLength, char32_t& oCodePoint) noexcept {
  if (iLength == 0) return 0;
  const auto* l_Bytes = reinterpret_cast<const unsigned char*>(iBytes);
  unsigned char l_Lead = l_Bytes[0];
  if (l_Lead < 0x80) {
    oCodePoint = l_Lead;
    return 1;
  }
  size_t l_Size = SequenceLength(l_Lead);
  if (l_Size == 0 || l_Size > iLength) return 0;
  unsigned char l_Low, l_High;
  SecondByteRange(l_Lead, l_Low, l_High);
  if (l_Bytes[1] < l_Low || l_Bytes[1] > l_High) return 0;
  char32_t l_Value = l_Lead & (0xFF >> (l_Size + 1));
  for (size_t l_Index = 1; l_Index < l_Size; ++l_Index) {
    if (!IsContinuation(l_Bytes[l_Index])) return 0;
    l_Value = (l_Value << 6) | (l_Bytes[l_Index] & 0x3F);
  }
  oCodePoint = l_Value;
  return l_Size;
}

size_t MORUTF8Decode(const char* iBytes, size_t iLength, char16_t* oUnits) noexcept {
  const auto* l_Bytes = reinterpret_cast<const unsigned char*>(iBytes);
  char16_t* l_Out = oUnits;
  size_t l_Index = 0;
  while (l_Index < iLength) {
    if (l_Bytes[l_Index] < 0x80) {
      *l_Out++ = l_Bytes[l_Index++];
      continue;
    }
    char32_t l_Value = 0;
    size_t l_Size = MORUTF8DecodeOne(iBytes + l_Index, iLength - l_Index, l_Value);
    if (l_Size == 0) {
      // Only the first byte is kept aside: the bytes after it are read again on their own, so a
      // well-formed sequence that follows a broken one is not lost.
      *l_Out++ = static_cast<char16_t>(kEscapeBase + l_Bytes[l_Index++]);
      continue;
    }
    l_Index += l_Size;
    if (l_Value < 0x10000) {
      *l_Out++ = static_cast<char16_t>(l_Value);
    } else {
      l_Value -= 0x10000;
      *l_Out++ = static_cast<char16_t>(0xD800 + (l_Value >> 10));
      *l_Out++ = static_cast<char16_t>(0xDC00 + (l_Value & 0x3FF));
    }
  }
  return static_cast<size_t>(l_Out - oUnits);
}

size_t MORUTF8Length(const char16_t* iUnits, size_t iLength) noexcept {
  size_t l_Bytes = 0;
  for (size_t l_Index = 0; l_Index < iLength; ++l_Index) {
    char16_t l_Unit = iUnits[l_Index];
    if (l_Unit < 0x80 || IsEscape(l_Unit)) {
      l_Bytes += 1;
    } else if (l_Unit < 0x800) {
      l_Bytes += 2;
    } else if (IsHigh(l_Unit) && l_Index + 1 < iLength && IsLow(iUnits[l_Index + 1])) {
      l_Bytes += 4;
      ++l_Index;
    } else {
      l_Bytes += 3;  // other units, and lone surrogates written as U+FFFD
    }
  }
  return l_Bytes;
}

size_t MORUTF8Encode(const char16_t* iUnits, size_t iLength, char* oBytes) noexcept {
  auto* l_Out = reinterpret_cast<unsigned char*>(oBytes);
  for (size_t l_Index = 0; l_Index < iLength; ++l_Index) {
    char32_t l_Value = iUnits[l_Index];
    if (l_Value < 0x80) {
      *l_Out++ = static_cast<unsigned char>(l_Value);
    } else if (IsEscape(static_cast<char16_t>(l_Value))) {
      *l_Out++ = static_cast<unsigned char>(l_Value - kEscapeBase);
    } else if (l_Value < 0x800) {
      *l_Out++ = static_cast<unsigned char>(0xC0 | (l_Value >> 6));
      *l_Out++ = static_cast<unsigned char>(0x80 | (l_Value & 0x3F));
    } else if (IsHigh(static_cast<char16_t>(l_Value)) && l_Index + 1 < iLength &&
               IsLow(iUnits[l_Index + 1])) {
      l_Value = 0x10000 + ((l_Value - 0xD800) << 10) + (iUnits[++l_Index] - 0xDC00);
      *l_Out++ = static_cast<unsigned char>(0xF0 | (l_Value >> 18));
      *l_Out++ = static_cast<unsigned char>(0x80 | ((l_Value >> 12) & 0x3F));
      *l_Out++ = static_cast<unsigned char>(0x80 | ((l_Value >> 6) & 0x3F));
      *l_Out++ = static_cast<unsigned char>(0x80 | (l_Value & 0x3F));
    } else {
      if (IsHigh(static_cast<char16_t>(l_Value)) || IsLow(static_cast<char16_t>(l_Value)))
        l_Value = kReplacement;
      *l_Out++ = static_cast<unsigned char>(0xE0 | (l_Value >> 12));
      *l_Out++ = static_cast<unsigned char>(0x80 | ((l_Value >> 6) & 0x3F));
      *l_Out++ = static_cast<unsigned char>(0x80 | (l_Value & 0x3F));
    }
  }
  return static_cast<size_t>(l_Out - reinterpret_cast<unsigned char*>(oBytes));
}

#include "KELSysCodePage.h"

#include <bit>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "KELSysIConvTSWrap.h"
#include "KELSysNLSDiagnostic.h"
#include "MORUTF8.h"

static_assert(std::endian::native == std::endian::little, "UTF-16LE is read as char16_t in place");

namespace {

const iconv_t kNoDesc = reinterpret_cast<iconv_t>(-1);
constexpr char16_t kEscapeBase = 0xDC00;

bool IsEscape(char16_t iUnit) { return iUnit >= 0xDC80 && iUnit <= 0xDCFF; }
bool IsHigh(char16_t iUnit) { return iUnit >= 0xD800 && iUnit <= 0xDBFF; }

// An output buffer for iconv that grows on demand.
struct IConvOutput {
  std::string m_Bytes;
  size_t m_Used = 0;
  char* m_Next = nullptr;
  size_t m_Left = 0;

  explicit IConvOutput(size_t iSize) { Grow(iSize); }
  void Grow(size_t iMore) {
    m_Bytes.resize(m_Bytes.size() + iMore);
    m_Next = m_Bytes.data() + m_Used;
    m_Left = m_Bytes.size() - m_Used;
  }
  void Advance() { m_Used = static_cast<size_t>(m_Next - m_Bytes.data()); }
  void Put(const void* iBytes, size_t iLength) {
    if (m_Left < iLength) Grow(m_Bytes.size() + iLength);
    std::memcpy(m_Next, iBytes, iLength);
    m_Next += iLength;
    m_Left -= iLength;
    Advance();
  }
};

// Steps over the input iconv refused (EILSEQ), keeping what the lossless rules keep. Returns
// whether the step lost information.
bool SkipUnreadable(bool iToUTF16, const char*& ioIn, size_t& ioLeft, IConvOutput& ioOut) {
  if (iToUTF16) {
    char16_t l_Unit = static_cast<char16_t>(kEscapeBase + static_cast<unsigned char>(*ioIn));
    ioOut.Put(&l_Unit, 2);
    ++ioIn, --ioLeft;
    return true;
  }
  char16_t l_Unit;
  std::memcpy(&l_Unit, ioIn, 2);
  size_t l_Skip = (IsHigh(l_Unit) && ioLeft >= 4) ? 4 : 2;  // a whole pair the code set lacks
  char l_Byte = IsEscape(l_Unit) ? static_cast<char>(l_Unit - kEscapeBase) : '?';
  ioOut.Put(&l_Byte, 1);
  ioIn += l_Skip, ioLeft -= l_Skip;
  return !IsEscape(l_Unit);
}

// Keeps what is left after a truncated input (EINVAL).
void KeepTruncated(bool iToUTF16, const char* iIn, size_t iLeft, IConvOutput& ioOut) {
  for (; iToUTF16 && iLeft > 0; ++iIn, --iLeft) {
    char16_t l_Unit = static_cast<char16_t>(kEscapeBase + static_cast<unsigned char>(*iIn));
    ioOut.Put(&l_Unit, 2);
  }
  if (!iToUTF16) ioOut.Put("?", 1);  // a high surrogate without its pair
}

// Converts with iconv, going past whatever it refuses; returns whether information was lost.
bool ConvertIConv(iconv_t iDesc, bool iToUTF16, const char* iBytes, size_t iLength, std::string& oBytes) {
  // Generous first guesses: a byte gives at most two units, a unit at most four bytes.
  IConvOutput l_Out(iToUTF16 ? iLength * 2 + 8 : iLength * 2 + 16);
  const char* l_In = iBytes;
  size_t l_Left = iLength;
  bool l_Lost = false;
  while (l_Left > 0) {
    size_t l_Rc = iconv(iDesc, const_cast<char**>(&l_In), &l_Left, &l_Out.m_Next, &l_Out.m_Left);
    l_Out.Advance();
    if (l_Rc != static_cast<size_t>(-1)) break;
    int l_Errno = errno;
    if (l_Errno == E2BIG) {
      KELSysNLSDiagnostic("iconv E2BIG error: buffer overflow. InBytesLeft: %zu\n", l_Left);
      l_Out.Grow(l_Out.m_Bytes.size());
    } else if (l_Errno == EILSEQ) {
      KELSysNLSDiagnostic("iconv errno is: %d\n", l_Errno);
      l_Lost |= SkipUnreadable(iToUTF16, l_In, l_Left, l_Out);
    } else if (l_Errno == EINVAL) {
      KELSysNLSDiagnostic("iconv EINVAL error: input buffer was truncated.\n");
      KeepTruncated(iToUTF16, l_In, l_Left, l_Out);
      l_Lost = true;
      break;
    } else {
      KELSysNLSDiagnostic("iconv errno is: %d\n", l_Errno);
      l_Lost = true;
      break;
    }
  }
  // Stateful code sets may owe a final shift sequence.
  while (iconv(iDesc, nullptr, nullptr, &l_Out.m_Next, &l_Out.m_Left) == static_cast<size_t>(-1) &&
         errno == E2BIG) {
    l_Out.Advance();
    l_Out.Grow(16);
  }
  l_Out.Advance();
  l_Out.m_Bytes.resize(l_Out.m_Used);
  oBytes = std::move(l_Out.m_Bytes);
  return l_Lost;
}

}  // namespace

KELSysCodePage::KELSysCodePage(const char* iCodeSet) : m_Name(iCodeSet ? iCodeSet : "") {
  if (IsUTF8Name(m_Name.c_str())) {
    m_Kind = Kind::UTF8;
  } else if (m_Name == "Identity") {
    m_Kind = Kind::Identity;
  } else {
    m_Kind = Kind::IConv;
    m_Handle = m_Name.empty() ? KELSysIConvInvalidDesc : KELSysIConvTSWrap::Open(m_Name.c_str());
  }
}

bool KELSysCodePage::IsValid() const noexcept { return m_Kind != Kind::IConv || m_Handle >= 0; }

bool KELSysCodePage::IsUTF8Name(const char* iCodeSet) noexcept {
  if (!iCodeSet) return false;
  const char* l_Expected = "UTF8";
  for (const char* l_Char = iCodeSet; *l_Char; ++l_Char) {
    if (*l_Char == '-' || *l_Char == '_') continue;
    if (*l_Expected == '\0' || std::toupper(static_cast<unsigned char>(*l_Char)) != *l_Expected) return false;
    ++l_Expected;
  }
  return *l_Expected == '\0';
}

KELSysResult KELSysCodePage::ToUTF16(const char* iText, size_t iLength, std::u16string& oText) const {
  if (!iText && iLength > 0) return KEL_E_INVALIDARG;
  if (!IsValid()) return KEL_E_FAIL;
  size_t l_Start = oText.size();
  if (m_Kind == Kind::UTF8) {
    oText.resize(l_Start + iLength);
    oText.resize(l_Start + MORUTF8Decode(iText, iLength, oText.data() + l_Start));
    return KEL_S_OK;
  }
  if (m_Kind == Kind::Identity) {
    for (size_t l_Index = 0; l_Index < iLength; ++l_Index)
      oText.push_back(static_cast<unsigned char>(iText[l_Index]));
    return KEL_S_OK;
  }
  iconv_t l_Desc = KELSysIConvTSWrap::Get(m_Handle, true);
  if (l_Desc == kNoDesc) return KEL_E_FAIL;
  std::string l_Bytes;
  bool l_Lost = ConvertIConv(l_Desc, true, iText, iLength, l_Bytes);
  oText.resize(l_Start + l_Bytes.size() / 2);
  std::memcpy(oText.data() + l_Start, l_Bytes.data(), l_Bytes.size() & ~size_t{1});
  return l_Lost ? KEL_E_FAIL : KEL_S_OK;
}

KELSysResult KELSysCodePage::FromUTF16(const char16_t* iText, size_t iLength, std::string& oText) const {
  if (!iText && iLength > 0) return KEL_E_INVALIDARG;
  if (!IsValid()) return KEL_E_FAIL;
  if (m_Kind == Kind::UTF8) {
    size_t l_Start = oText.size();
    oText.resize(l_Start + MORUTF8Length(iText, iLength));
    MORUTF8Encode(iText, iLength, oText.data() + l_Start);
    return KEL_S_OK;
  }
  if (m_Kind == Kind::Identity) {
    KELSysResult l_Rc = KEL_S_OK;
    for (size_t l_Index = 0; l_Index < iLength; ++l_Index) {
      bool l_Fits = iText[l_Index] < 0x100;
      oText.push_back(l_Fits ? static_cast<char>(iText[l_Index]) : '?');
      if (!l_Fits) l_Rc = KEL_E_FAIL;
    }
    return l_Rc;
  }
  iconv_t l_Desc = KELSysIConvTSWrap::Get(m_Handle, false);
  if (l_Desc == kNoDesc) return KEL_E_FAIL;
  std::string l_Bytes;
  bool l_Lost = ConvertIConv(l_Desc, false, reinterpret_cast<const char*>(iText), iLength * 2, l_Bytes);
  oText += l_Bytes;
  return l_Lost ? KEL_E_FAIL : KEL_S_OK;
}

KELSysResult KELSysCodePage::GetNextMultiByteCharAsUTF16(const char*& ioText, size_t& ioLength,
                                                         char16_t& oUnit) const {
  if (!ioText || ioLength == 0 || !IsValid()) return KEL_E_FAIL;
  char16_t l_Units[4];
  size_t l_Read = 0, l_Written = 0;
  if (m_Kind == Kind::IConv) {
    iconv_t l_Desc = KELSysIConvTSWrap::Get(m_Handle, true);
    if (l_Desc == kNoDesc) return KEL_E_FAIL;
    // Offer one more byte at a time until iconv sees a whole character.
    for (size_t l_Try = 1; l_Try <= ioLength && l_Try <= 16 && l_Read == 0; ++l_Try) {
      const char* l_In = ioText;
      size_t l_Left = l_Try;
      char* l_Out = reinterpret_cast<char*>(l_Units);
      size_t l_OutLeft = sizeof l_Units;
      iconv(l_Desc, nullptr, nullptr, nullptr, nullptr);
      size_t l_Rc = iconv(l_Desc, const_cast<char**>(&l_In), &l_Left, &l_Out, &l_OutLeft);
      if (l_Rc == static_cast<size_t>(-1) && errno == EINVAL) continue;
      if (l_Rc == static_cast<size_t>(-1) && errno != E2BIG) return KEL_E_FAIL;
      l_Read = l_Try;
      l_Written = (sizeof l_Units - l_OutLeft == 2) ? 1 : 0;
    }
  } else if (m_Kind == Kind::UTF8) {
    char32_t l_Value = 0;
    l_Read = MORUTF8DecodeOne(ioText, ioLength, l_Value);
    l_Units[0] = static_cast<char16_t>(l_Value);
    l_Written = l_Value < 0x10000 ? 1 : 0;
  } else {
    l_Read = 1;
    l_Units[0] = static_cast<unsigned char>(*ioText);
    l_Written = 1;
  }
  if (l_Read == 0) return KEL_E_FAIL;
  if (l_Written != 1) {
    KELSysNLSDiagnostic("ERROR: KELSysCodePage::GetNextMultiByteCharAsUTF16 is probably bugged!\n");
    return KEL_E_FAIL;
  }
  oUnit = l_Units[0];
  ioText += l_Read;
  ioLength -= l_Read;
  return KEL_S_OK;
}

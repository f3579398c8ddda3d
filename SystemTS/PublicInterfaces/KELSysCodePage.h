// Conversion between one multibyte code set and UTF-16.
//
// A code page is named after its code set as iconv knows it ("ISO-8859-1", "EUC-KR", ...). "UTF-8"
// (in any spelling iconv accepts: "utf8", "UTF8") is converted by the framework's own UTF-8 code,
// with the lossless rules of MORUnicodeString.h. "Identity" converts nothing: each byte is one code
// unit and back. Every other code set goes through iconv and "UTF-16LE"; iconv descriptors are
// opened once per thread and code set and kept for the thread's life.
//
// Conversions do not stop at the first problem. Bytes the code set cannot read become the lone
// surrogates U+DC00 + byte, as in MORUnicodeString.h, and such surrogates convert back to their
// byte; other characters the code set cannot hold become '?'. Problems are reported through the
// locale diagnostics (environment variable KELSysNLSCoreTrace).
#ifndef KELSysCodePage_H
#define KELSysCodePage_H

#include <cstddef>
#include <string>

#include "KELSysResult.h"

class KELSysCodePage {
 public:
  // A page for iCodeSet. When iconv cannot convert between it and UTF-16 the page is not valid
  // and its conversions fail with KEL_E_FAIL.
  explicit KELSysCodePage(const char* iCodeSet);

  const std::string& GetName() const noexcept { return m_Name; }
  bool IsValid() const noexcept;
  bool IsUTF8() const noexcept { return m_Kind == Kind::UTF8; }
  bool IsIdentity() const noexcept { return m_Kind == Kind::Identity; }
  // Whether iCodeSet names UTF-8 ("UTF-8", "utf8", ...: case, '-' and '_' ignored).
  static bool IsUTF8Name(const char* iCodeSet) noexcept;

  // Appends the conversion of iLength bytes to oText. KEL_S_OK when every byte was read; KEL_E_FAIL
  // when some were kept as lone surrogates, or the page is not valid (oText untouched then).
  KELSysResult ToUTF16(const char* iText, size_t iLength, std::u16string& oText) const;
  // Appends the conversion of iLength code units to oText. KEL_S_OK when every character was held;
  // KEL_E_FAIL when some became '?', or the page is not valid (oText untouched then).
  KELSysResult FromUTF16(const char16_t* iText, size_t iLength, std::string& oText) const;
  // Reads the one character at the start of ioText (ioLength bytes available) as exactly one code
  // unit, and moves ioText and ioLength past it. KEL_E_FAIL (nothing moved) when the bytes are not
  // a complete character of the code set or the character needs a surrogate pair.
  KELSysResult GetNextMultiByteCharAsUTF16(const char*& ioText, size_t& ioLength, char16_t& oUnit) const;

 private:
  enum class Kind { UTF8, Identity, IConv };

  std::string m_Name;
  Kind m_Kind;
  int m_Handle = -1;  // the conversion wrapper's handle (IConv pages only)
};

#endif

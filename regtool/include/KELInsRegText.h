// Registry text in its three forms.
//
// Bytes: what a user adds and what query shows; any bytes, UTF-8 or not.
// Stored: what stands between the quotes of a key file. The registry keeps that text as it is and
//   writes it back unescaped, so KELReg stores a double quote, a backslash and control bytes as JSON
//   escapes, which keeps the key file valid JSON.
// Document: a JSON string of an export document. Valid UTF-8 is written as it is; a byte that is
//   not part of valid UTF-8 is written as the escape of the lone surrogate U+DC00 + byte (\udc80 to
//   \udcff), so the document stays valid JSON and reading it gives the same bytes back.
#ifndef KELInsRegText_H
#define KELInsRegText_H

#include <cstdint>
#include <string>
#include <string_view>

// Bytes to the stored form.
std::string KELInsRegStore(std::string_view iBytes);
// Bytes as query shows them: control bytes as their stored escapes (\n, \t, \u001b, ...), so
// that a value stays on its line; every other byte as it is.
std::string KELInsRegEscapeControls(std::string_view iBytes);
// Stored form to bytes: JSON escapes decoded (\udc80..\udcff alone gives the byte; a pair of
// surrogates gives the character's UTF-8; any other lone surrogate escape, and a malformed escape,
// stays as it stands).
std::string KELInsRegShow(std::string_view iStored);
// Appends iBytes as a JSON string, quotes included, in the document form.
void KELInsRegAppendJSONString(std::string& ioOut, std::string_view iBytes);
// Appends the UTF-8 of code point iCode (no check).
void KELInsRegAppendUTF8(std::string& ioOut, uint32_t iCode);
// The byte a one-letter JSON escape stands for (\" \\ \/ \b \f \n \r \t), 0 for any other letter.
char KELInsRegEscapedByte(char iLetter);
// The four hexadecimal digits at iText[iAt] as a number, -1 when they are not there.
int32_t KELInsRegHex4(std::string_view iText, size_t iAt);
// Length of the well-formed UTF-8 sequence at the start of iText, 0 when there is none.
size_t KELInsRegUTF8Length(std::string_view iText);

#endif

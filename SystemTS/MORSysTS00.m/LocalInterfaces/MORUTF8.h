// The framework's UTF-8 codec, with the lossless rules described in MORUnicodeString.h: each byte
// of an ill-formed sequence becomes U+DC00 + byte, and such a lone surrogate encodes back to its
// byte; other lone surrogates encode as U+FFFD.
#ifndef MORUTF8_H
#define MORUTF8_H

#include <cstddef>

// Decodes iLength bytes into oUnits, which has room for iLength units (never more are needed).
// Returns the number of units written.
size_t MORUTF8Decode(const char* iBytes, size_t iLength, char16_t* oUnits) noexcept;

// Reads the one well-formed sequence at the start of iBytes: returns its length (1 to 4) and sets
// oCodePoint, or returns 0 when the bytes do not start a complete, well-formed sequence.
size_t MORUTF8DecodeOne(const char* iBytes, size_t iLength, char32_t& oCodePoint) noexcept;

// The number of bytes MORUTF8Encode writes for these units.
size_t MORUTF8Length(const char16_t* iUnits, size_t iLength) noexcept;

// Encodes into oBytes, which has room for MORUTF8Length bytes; returns the bytes written.
size_t MORUTF8Encode(const char16_t* iUnits, size_t iLength, char* oBytes) noexcept;

#endif

// Exceptions of the tool's file-system helpers. Both carry only a ready-made, human-readable message
// that always ends in one line feed, so whoever prints what() adds no newline of its own.
#ifndef KELInsException_H
#define KELInsException_H

#include <cstdint>
#include <stdexcept>
#include <string>

// A failed file-system operation or a rejected argument.
class KELInsException : public std::runtime_error {
 public:
  // what() is iMessage + "\n".
  explicit KELInsException(const std::string& iMessage);
  // what() is iMessage + " - " + strerror(iErrnum) + "\n". iErrnum is the errno captured right after
  // the failing call. Throws std::logic_error if the C library returns no text at all.
  KELInsException(const std::string& iMessage, uint32_t iErrnum);
};

// A failed system call reported together with its errno text. Not a KELInsException: a handler
// for KELInsException does not catch it; catch std::runtime_error to get both.
class KELInsExceptionErrno : public std::runtime_error {
 public:
  // what() is iMessage + " - " + strerror(iErrnum) + "\n" (same rules as KELInsException).
  KELInsExceptionErrno(const std::string& iMessage, uint32_t iErrnum);
};

#endif

#include "KELInsException.h"

#include <cstring>

namespace {

// The errno text is fetched before anything else: building the message allocates, and nothing may
// run between the failing call and strerror that could change what the caller captured.
std::string ComposeWithErrno(const std::string& iMessage, uint32_t iErrnum) {
  const char* l_Text = std::strerror(static_cast<int>(iErrnum));
  if (l_Text == nullptr) {
    throw std::logic_error("strerror returned no text");
  }
  std::string l_Message(iMessage);
  l_Message += " - ";
  l_Message += l_Text;
  l_Message += '\n';
  return l_Message;
}

}  // namespace

KELInsException::KELInsException(const std::string& iMessage) : std::runtime_error(iMessage + '\n') {}

KELInsException::KELInsException(const std::string& iMessage, uint32_t iErrnum)
    : std::runtime_error(ComposeWithErrno(iMessage, iErrnum)) {}

KELInsExceptionErrno::KELInsExceptionErrno(const std::string& iMessage, uint32_t iErrnum)
    : std::runtime_error(ComposeWithErrno(iMessage, iErrnum)) {}

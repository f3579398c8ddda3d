// Result codes of the framework. Framework operations never throw across an interface: each one
// returns one of these 32-bit codes (negative = failure). This header is the one place they are
// defined.
#ifndef KELSysResult_H
#define KELSysResult_H

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

using KELSysResult = int32_t;

inline constexpr KELSysResult KEL_S_OK = 0;
inline constexpr KELSysResult KEL_E_FAIL = static_cast<KELSysResult>(0x80004005u);  // general failure
inline constexpr KELSysResult KEL_E_OUTOFMEMORY =
    static_cast<KELSysResult>(0x80004003u);  // allocation failure
inline constexpr KELSysResult KEL_E_INVALIDARG = static_cast<KELSysResult>(0x80070057u);  // invalid argument
inline constexpr KELSysResult KEL_E_NOTFOUND = static_cast<KELSysResult>(0x80070002u);    // not found
inline constexpr KELSysResult KEL_E_ACCESSDENIED = static_cast<KELSysResult>(0x80070005u);  // access denied

inline constexpr bool KELSysSucceeded(KELSysResult iCode) { return iCode >= 0; }
inline constexpr bool KELSysFailed(KELSysResult iCode) { return iCode < 0; }

// The code of a failed system call, from its errno: 0x8007xxxx with the errno in the low 16 bits
// (ENOENT gives KEL_E_NOTFOUND). The framework's file services report their failures this way.
inline constexpr KELSysResult KELSysResultFromErrno(int iErrno) {
  return static_cast<KELSysResult>(0x80070000u | (static_cast<uint32_t>(iErrno) & 0xFFFFu));
}

// A wait that ran out of time (a lock that was not granted): the code of ETIMEDOUT.
inline constexpr KELSysResult KEL_E_TIMEOUT = KELSysResultFromErrno(ETIMEDOUT);

// A short name for traces and test messages: "S_OK", "E_FAIL", "E_OUTOFMEMORY", "E_INVALIDARG",
// "E_NOTFOUND", "E_ACCESSDENIED", "E_TIMEOUT", "ERRNO(<n>)" for other 0x8007xxxx codes, else "0x<8 hex
// digits>".
inline std::string KELSysResultName(KELSysResult iCode) {
  switch (iCode) {
    case KEL_S_OK:
      return "S_OK";
    case KEL_E_FAIL:
      return "E_FAIL";
    case KEL_E_OUTOFMEMORY:
      return "E_OUTOFMEMORY";
    case KEL_E_INVALIDARG:
      return "E_INVALIDARG";
    case KEL_E_NOTFOUND:
      return "E_NOTFOUND";
    case KEL_E_ACCESSDENIED:
      return "E_ACCESSDENIED";
    case KEL_E_TIMEOUT:
      return "E_TIMEOUT";
    default:
      break;
  }
  char l_Text[32];
  uint32_t l_Bits = static_cast<uint32_t>(iCode);
  if ((l_Bits & 0xFFFF0000u) == 0x80070000u)
    std::snprintf(l_Text, sizeof l_Text, "ERRNO(%u)", l_Bits & 0xFFFFu);
  else
    std::snprintf(l_Text, sizeof l_Text, "0x%08x", l_Bits);
  return l_Text;
}

#endif

#include "KELSysResult.h"

#include <cstdio>

std::string KELSysResultName(KELSysResult iCode) {
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

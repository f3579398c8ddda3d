#include "KELSysJSONBase.h"

#include <new>

KELSysResult KELSysJSONBase::Write(MORUnicodeString& oOut, bool iCompact,
                                   const MORUnicodeString& iIndent) const {
  try {
    size_t l_Length = 0;
    const char* l_Indent = iIndent.ConvertToUTF8(&l_Length);
    std::string l_Text;
    KELSysResult l_Rc = Write(l_Text, iCompact, std::string(l_Indent, l_Length));
    // What was written is appended also when a member failed: the others were still written.
    oOut.Append(MORUnicodeString::FromUTF8(l_Text.data(), l_Text.size()));
    return l_Rc;
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
}

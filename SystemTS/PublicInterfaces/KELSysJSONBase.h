// Root of the JSON tree classes (values, pairs, arrays, objects).
#ifndef KELSysJSONBase_H
#define KELSysJSONBase_H

#include <string>

#include "KELSysResult.h"
#include "MORUnicodeString.h"

class KELSysJSONBase {
 public:
  virtual ~KELSysJSONBase() = default;

  // Appends this node's text to oOut. Compact (iCompact) writes no blank at all; otherwise each
  // container opens a new level indented by iIndent plus one TAB per level. Strings and keys are
  // written between double quotes exactly as stored, nothing escaped. Doubles are "%.17g" with a
  // comma turned into a point, or ".0" appended when the text has no point ("1.0", "1e+20.0").
  // Returns KEL_S_OK; KEL_E_FAIL when a member could not be written (the others still are);
  // KEL_E_OUTOFMEMORY when oOut cannot grow. Nesting depth is limited by memory only.
  // Stored text is bytes, read here as UTF-8: bytes that are not UTF-8 are kept losslessly (see
  // MORUnicodeString), so oOut.ConvertToUTF8() ends with exactly the bytes the narrow form writes.
  virtual KELSysResult Write(MORUnicodeString& oOut, bool iCompact, const MORUnicodeString& iIndent) const;
  // The same text appended as bytes, for callers that want bytes anyway (the registry writes key
  // files with it): no conversion to UTF-16 and back.
  virtual KELSysResult Write(std::string& oOut, bool iCompact, const std::string& iIndent) const = 0;

 protected:
  KELSysJSONBase() = default;
  KELSysJSONBase(const KELSysJSONBase&) = default;
  KELSysJSONBase& operator=(const KELSysJSONBase&) = default;
};

#endif

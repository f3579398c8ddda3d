#include "KELSysJSONPair.h"

#include "KELSysJSONWriter.h"

KELSysResult KELSysJSONPair::Write(std::string& oOut, bool iCompact, const std::string& iIndent) const {
  return KELSysJSONWriter(oOut, iCompact, iIndent).Run(*this);
}

#include "KELSysJSONArray.h"

#include "KELSysJSONValue.h"
#include "KELSysJSONWriter.h"

KELSysJSONValue* KELSysJSONArray::end() { return m_Values.end(); }
const KELSysJSONValue* KELSysJSONArray::end() const { return m_Values.end(); }

KELSysResult KELSysJSONArray::Write(std::string& oOut, bool iCompact, const std::string& iIndent) const {
  return KELSysJSONWriter(oOut, iCompact, iIndent).Run(*this);
}

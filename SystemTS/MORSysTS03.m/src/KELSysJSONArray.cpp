#include "KELSysJSONArray.h"

#include "KELSysJSONValue.h"
#include "KELSysJSONWriter.h"

KELSysJSONValue* KELSysJSONArray::begin() { return m_Values.Items().data(); }
KELSysJSONValue* KELSysJSONArray::end() { return m_Values.Items().data() + m_Values.Items().size(); }
const KELSysJSONValue* KELSysJSONArray::begin() const { return m_Values.Items().data(); }
const KELSysJSONValue* KELSysJSONArray::end() const {
  return m_Values.Items().data() + m_Values.Items().size();
}

KELSysResult KELSysJSONArray::Write(std::string& oOut, bool iCompact, const std::string& iIndent) const {
  return KELSysJSONWriter(oOut, iCompact, iIndent).Run(*this);
}

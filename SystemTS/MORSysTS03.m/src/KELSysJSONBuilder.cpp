#include "KELSysJSONBuilder.h"

#include <utility>

#include "KELSysJSONPair.h"

KELSysJSONBuilder::KELSysJSONBuilder(KELSysJSONValue& oRoot, std::vector<KELSysJSONValue*>& ioOpen,
                                     KELSysTrace* iTrace, std::string& ioScratch)
    : m_Target(&oRoot), m_Open(ioOpen), m_Trace(iTrace), m_Scratch(ioScratch) {
  m_Open.clear();
}

// Token texts are copied out to be terminated for the trace line; the copy is kept for the next.
void KELSysJSONBuilder::TraceText(const char* iFormat, const char* iBytes, uint32_t iLength) {
  if (!m_Trace) return;
  m_Scratch.assign(iBytes, iLength);
  m_Trace->Print(KELSysTraceDebug, iFormat, m_Scratch.c_str());
}

// Containers are filled in place. Members are reserved from the token's count, so appending never
// moves the values that the open list points at.
bool KELSysJSONBuilder::ObjectBegin(const KELSysJSONTokenRecord& iToken) {
  Trace("JSON Object begin\n");
  m_Target->m_Type = KELSysJSONTypeObject;
  m_Target->m_Object.m_Pairs.Items().reserve(static_cast<size_t>(iToken.m_Size));
  m_Open.push_back(m_Target);
  return true;
}

bool KELSysJSONBuilder::Key(const char* iBytes, uint32_t iLength) {
  TraceText("  JSON Pair string '%s'\n", iBytes, iLength);
  KELSysJSONPair& l_Pair = m_Open.back()->m_Object.m_Pairs.Items().emplace_back();
  l_Pair.SetKey(std::string_view(iBytes, iLength));
  m_Target = &l_Pair.GetValue();
  return true;
}

bool KELSysJSONBuilder::ObjectEnd() {
  Trace("JSON Object end\n");
  m_Open.pop_back();
  return true;
}

bool KELSysJSONBuilder::ArrayBegin(const KELSysJSONTokenRecord& iToken) {
  Trace("JSON Array begin\n");
  m_Target->m_Type = KELSysJSONTypeArray;
  m_Target->m_Array.m_Values.Items().reserve(static_cast<size_t>(iToken.m_Size));
  m_Open.push_back(m_Target);
  return true;
}

bool KELSysJSONBuilder::ItemBegin() {
  m_Target = &m_Open.back()->m_Array.m_Values.Items().emplace_back();
  return true;
}

bool KELSysJSONBuilder::ArrayEnd() {
  Trace("JSON Array end\n");
  m_Open.pop_back();
  return true;
}

bool KELSysJSONBuilder::String(const char* iBytes, uint32_t iLength) {
  m_Target->m_Type = KELSysJSONTypeString;
  m_Target->m_String.assign(iBytes, iLength);
  TraceText("JSON String '%s'\n", iBytes, iLength);
  return true;
}

bool KELSysJSONBuilder::Primitive(const KELSysJSONPrimitive& iRead) {
  KELSysJSONValue& l_Value = *m_Target;
  switch (iRead.m_Kind) {
    case KELSysJSONPrimitive::True:
    case KELSysJSONPrimitive::False:
      l_Value.m_Type = KELSysJSONTypeBoolean;
      l_Value.m_Scalar.m_Boolean = iRead.m_Kind == KELSysJSONPrimitive::True;
      Trace(l_Value.m_Scalar.m_Boolean ? "JSON Boolean primitive 'true'\n"
                                       : "JSON Boolean primitive 'false'\n");
      break;
    case KELSysJSONPrimitive::Null:
      Trace("JSON primitive Null\n");
      break;
    case KELSysJSONPrimitive::Cut:
      break;
    case KELSysJSONPrimitive::Double:
      l_Value.m_Type = KELSysJSONTypeDouble;
      l_Value.m_Scalar.m_Double = iRead.m_Double;
      if (m_Trace) m_Trace->Print(KELSysTraceDebug, "JSON Double primitive '%lf'\n", iRead.m_Double);
      break;
    case KELSysJSONPrimitive::Integer:
      l_Value.m_Type = KELSysJSONTypeInteger;
      l_Value.m_Scalar.m_Integer = iRead.m_Integer;
      // Integers carry the Double label too.
      if (m_Trace)
        m_Trace->Print(KELSysTraceDebug, "JSON Double primitive '%lld'\n",
                       static_cast<long long>(iRead.m_Integer));
      break;
  }
  return true;
}

#include "KELSysJSONBuilder.h"

#include <new>
#include <utility>

#include "KELSysJSONBlock.h"
#include "KELSysJSONPair.h"

KELSysJSONBuilder::KELSysJSONBuilder(KELSysJSONValue& oRoot, std::vector<KELSysJSONValue*>& ioOpen,
                                     KELSysTrace* iTrace, std::string& ioScratch, uint32_t iTokens)
    // Each token becomes at most one member, and a container's block adds a little to that.
    : m_Target(&oRoot),
      m_Open(ioOpen),
      m_Trace(iTrace),
      m_Scratch(ioScratch),
      m_Blocks(size_t{iTokens} * (sizeof(KELSysJSONValue) + 16)) {
  m_Open.clear();
}

// Token texts are copied out to be terminated for the trace line; the copy is kept for the next.
void KELSysJSONBuilder::TraceText(const char* iFormat, const char* iBytes, uint32_t iLength) {
  if (!m_Trace) return;
  m_Scratch.assign(iBytes, iLength);
  m_Trace->Print(KELSysTraceDebug, iFormat, m_Scratch.c_str());
}

// Containers are filled in place. Each is made with room for the token's count of members right
// behind it (one allocation), so appending never moves the values that the open list points at.
// Only the root may already have a container of its own, which it keeps. An empty container gets
// no storage at all (a value makes it on first use), so that a text of empty brackets costs a
// reader no more than the values that hold them.
template <class Container>
void KELSysJSONBuilder::Room(Container*& ioContainer, int32_t iCount) {
  const uint32_t l_Count = static_cast<uint32_t>(iCount);
  if (ioContainer)
    ioContainer->List().Reserve(l_Count);
  else if (l_Count > 0)
    ioContainer = KELSysJSONBlock::New<Container>(l_Count, &m_Blocks);
}

bool KELSysJSONBuilder::ObjectBegin(const KELSysJSONTokenRecord& iToken) {
  Trace("JSON Object begin\n");
  m_Target->m_Type = KELSysJSONTypeObject;
  Room(m_Target->m_Parts.m_Object, iToken.m_Size);
  m_Open.push_back(m_Target);
  return true;
}

bool KELSysJSONBuilder::Key(const char* iBytes, uint32_t iLength) {
  TraceText("  JSON Pair string '%s'\n", iBytes, iLength);
  KELSysJSONPair& l_Pair = m_Open.back()->m_Parts.m_Object->m_Pairs.EmplaceBack();
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
  Room(m_Target->m_Parts.m_Array, iToken.m_Size);
  m_Open.push_back(m_Target);
  return true;
}

bool KELSysJSONBuilder::ItemBegin() {
  m_Target = &m_Open.back()->m_Parts.m_Array->m_Values.EmplaceBack();
  return true;
}

bool KELSysJSONBuilder::ArrayEnd() {
  Trace("JSON Array end\n");
  m_Open.pop_back();
  return true;
}

bool KELSysJSONBuilder::String(const char* iBytes, uint32_t iLength) {
  if (m_Target->SetString(iBytes, iLength) != KEL_S_OK) throw std::bad_alloc();
  TraceText("JSON String '%s'\n", iBytes, iLength);
  return true;
}

bool KELSysJSONBuilder::Primitive(const KELSysJSONPrimitive& iRead) {
  KELSysJSONValue& l_Value = *m_Target;
  switch (iRead.m_Kind) {
    case KELSysJSONPrimitive::True:
    case KELSysJSONPrimitive::False:
      l_Value.m_Type = KELSysJSONTypeBoolean;
      l_Value.m_Parts.m_Scalar.m_Boolean = iRead.m_Kind == KELSysJSONPrimitive::True;
      Trace(l_Value.m_Parts.m_Scalar.m_Boolean ? "JSON Boolean primitive 'true'\n"
                                               : "JSON Boolean primitive 'false'\n");
      break;
    case KELSysJSONPrimitive::Null:
      Trace("JSON primitive Null\n");
      break;
    case KELSysJSONPrimitive::Cut:
      break;
    case KELSysJSONPrimitive::Double:
      l_Value.m_Type = KELSysJSONTypeDouble;
      l_Value.m_Parts.m_Scalar.m_Double = iRead.m_Double;
      if (m_Trace) m_Trace->Print(KELSysTraceDebug, "JSON Double primitive '%lf'\n", iRead.m_Double);
      break;
    case KELSysJSONPrimitive::Integer:
      l_Value.m_Type = KELSysJSONTypeInteger;
      l_Value.m_Parts.m_Scalar.m_Integer = iRead.m_Integer;
      // Integers carry the Double label too.
      if (m_Trace)
        m_Trace->Print(KELSysTraceDebug, "JSON Double primitive '%lld'\n",
                       static_cast<long long>(iRead.m_Integer));
      break;
  }
  return true;
}

#include "KELSysJSONBuilder.h"

#include <new>
#include <utility>

#include "KELSysJSONBlock.h"
#include "KELSysJSONPair.h"

KELSysJSONBuilder::KELSysJSONBuilder(KELSysJSONValue& oRoot, std::vector<KELSysJSONValue*>& ioOpen,
                                     KELSysTrace* iTrace, std::string& ioScratch, size_t iExpected)
    : m_Target(&oRoot), m_Open(ioOpen), m_Trace(iTrace), m_Scratch(ioScratch), m_Blocks(iExpected) {
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
void KELSysJSONBuilder::Room(KELSysJSONType iType, int32_t iCount) {
  const uint32_t l_Count = static_cast<uint32_t>(iCount);
  KELSysJSONValue& l_Value = *m_Target;
  l_Value.SetType(iType);
  if (l_Value.m_Storage == KELSysJSONValue::kInline) {
    if (l_Count == 0) return;
    Container*& l_Slot = l_Value.SlotOf<Container>();
    l_Slot = KELSysJSONBlock::New<Container>(l_Count, &m_Blocks);
    return;
  }
  Container*& l_Slot = l_Value.SlotOf<Container>();
  if (l_Slot)
    l_Slot->List().Reserve(l_Count);
  else if (l_Count > 0)
    l_Slot = KELSysJSONBlock::New<Container>(l_Count, &m_Blocks);
}

// The target is null; only the root may hold containers.
KELSysJSONValue::Payload& KELSysJSONBuilder::Slot() { return m_Target->ScalarSlot(); }

bool KELSysJSONBuilder::ObjectBegin(const KELSysJSONTokenRecord& iToken) {
  Trace("JSON Object begin\n");
  Room<KELSysJSONObject>(KELSysJSONTypeObject, iToken.m_Size);
  m_Open.push_back(m_Target);
  return true;
}

// Keys and strings are carved from the build's chunks like the containers; an empty one takes none.
bool KELSysJSONBuilder::Key(const char* iBytes, uint32_t iLength) {
  TraceText("  JSON Pair string '%s'\n", iBytes, iLength);
  KELSysJSONPair& l_Pair = m_Open.back()->ObjectOf()->m_Pairs.EmplaceBack();
  if (iLength > 0) l_Pair.m_Key = KELSysJSONBytes::New(iBytes, iLength, &m_Blocks);
  l_Pair.m_KeyLength = iLength;
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
  Room<KELSysJSONArray>(KELSysJSONTypeArray, iToken.m_Size);
  m_Open.push_back(m_Target);
  return true;
}

bool KELSysJSONBuilder::ItemBegin() {
  m_Target = &m_Open.back()->ArrayOf()->m_Values.EmplaceBack();
  return true;
}

bool KELSysJSONBuilder::ArrayEnd() {
  Trace("JSON Array end\n");
  m_Open.pop_back();
  return true;
}

bool KELSysJSONBuilder::String(const char* iBytes, uint32_t iLength) {
  if (iLength > 0) {
    KELSysJSONValue::Payload& l_Slot = Slot();
    l_Slot.m_Bytes = KELSysJSONBytes::New(iBytes, iLength, &m_Blocks);
    if (m_Target->m_Storage == KELSysJSONValue::kInline) m_Target->m_Storage = KELSysJSONValue::kBytes;
  }
  m_Target->m_Length = iLength;
  m_Target->SetType(KELSysJSONTypeString);
  TraceText("JSON String '%s'\n", iBytes, iLength);
  return true;
}

bool KELSysJSONBuilder::Primitive(const KELSysJSONPrimitive& iRead) {
  switch (iRead.m_Kind) {
    case KELSysJSONPrimitive::True:
    case KELSysJSONPrimitive::False: {
      const bool l_True = iRead.m_Kind == KELSysJSONPrimitive::True;
      Slot().m_Boolean = l_True;
      m_Target->SetType(KELSysJSONTypeBoolean);
      Trace(l_True ? "JSON Boolean primitive 'true'\n" : "JSON Boolean primitive 'false'\n");
      break;
    }
    case KELSysJSONPrimitive::Null:
      Trace("JSON primitive Null\n");
      break;
    case KELSysJSONPrimitive::Cut:
      break;
    case KELSysJSONPrimitive::Double:
      Slot().m_Double = iRead.m_Double;
      m_Target->SetType(KELSysJSONTypeDouble);
      if (m_Trace) m_Trace->Print(KELSysTraceDebug, "JSON Double primitive '%lf'\n", iRead.m_Double);
      break;
    case KELSysJSONPrimitive::Integer:
      Slot().m_Integer = iRead.m_Integer;
      m_Target->SetType(KELSysJSONTypeInteger);
      // Integers carry the Double label too.
      if (m_Trace)
        m_Trace->Print(KELSysTraceDebug, "JSON Double primitive '%lld'\n",
                       static_cast<long long>(iRead.m_Integer));
      break;
  }
  return true;
}

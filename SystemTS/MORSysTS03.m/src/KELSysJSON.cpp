#include "KELSysJSON.h"

#include <cstdint>
#include <new>
#include <utility>

#include "KELSysJSONBuilder.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONReader.h"
#include "KELSysJSONWalker.h"
#include "KELSysTrace.h"

// Working storage reused by every build and traversal of a document.
struct KELSysJSON::Work {
  std::vector<KELSysJSONWalker::Frame> m_Frames;
  std::vector<KELSysJSONValue*> m_Open;
  KELSysJSONReadWork m_Read;
};

namespace {

// The walk sink that hands every event to traversal callbacks.
class KELSysJSONCallbackSink {
 public:
  explicit KELSysJSONCallbackSink(KELSysJSONTraverse& iCallbacks) : m_Callbacks(iCallbacks) {}
  bool ObjectBegin(const KELSysJSONTokenRecord&) { return m_Callbacks.OnObjectBegin(); }
  bool Key(const char* iBytes, uint32_t iLength) { return m_Callbacks.OnPairKey(iBytes, iLength); }
  bool ObjectEnd() { return m_Callbacks.OnObjectEnd(); }
  bool ArrayBegin(const KELSysJSONTokenRecord&) { return m_Callbacks.OnArrayBegin(); }
  bool ItemBegin() { return m_Callbacks.OnArrayItemBegin(); }
  bool ItemEnd() { return m_Callbacks.OnArrayItemEnd(); }
  bool ArrayEnd() { return m_Callbacks.OnArrayEnd(); }
  bool String(const char* iBytes, uint32_t iLength) { return m_Callbacks.OnString(iBytes, iLength); }
  bool Primitive(const KELSysJSONPrimitive& iRead) {
    switch (iRead.m_Kind) {
      case KELSysJSONPrimitive::True:
        return m_Callbacks.OnBoolean(true);
      case KELSysJSONPrimitive::False:
        return m_Callbacks.OnBoolean(false);
      case KELSysJSONPrimitive::Integer:
        return m_Callbacks.OnInteger(iRead.m_Integer);
      case KELSysJSONPrimitive::Double:
        return m_Callbacks.OnDouble(iRead.m_Double);
      default:
        return m_Callbacks.OnNull();
    }
  }

 private:
  KELSysJSONTraverse& m_Callbacks;
};

}  // namespace

KELSysJSON::KELSysJSON()
    : m_Tokens(std::make_unique<KELSysJSONTokenBlock>()),
      m_Work(std::make_unique<Work>()),
      m_Trace(KELSysTrace::Find("KELSysJSON")) {}

KELSysJSON::~KELSysJSON() = default;

KELSysResult KELSysJSON::Parse(const char* iText, size_t iLength, KELSysTrace* iErrors) {
  m_Text = iText;
  return m_Tokens->Tokenize(iText, iLength, iErrors, "SystemTS/MORSysTS03.m/src/KELSysJSON", __LINE__);
}

KELSysResult KELSysJSON::Build(KELSysJSONValue& oRoot) {
  oRoot.SetNull();
  try {
    KELSysJSONBuilder l_Builder(oRoot, m_Work->m_Open, m_Trace, m_Scratch,
                                KELSysJSONBuilder::Expected(m_Tokens->m_Count));
    KELSysJSONWalker l_Walker(m_Tokens->m_Records, m_Tokens->m_Count, m_Text, m_Work->m_Frames);
    if (l_Walker.Walk(l_Builder)) return KEL_S_OK;
    oRoot.SetNull();
    return KEL_E_FAIL;
  } catch (const std::bad_alloc&) {
    oRoot.SetNull();
    return KEL_E_OUTOFMEMORY;
  }
}

KELSysResult KELSysJSON::Read(const char* iText, size_t iLength, KELSysJSONValue& oRoot, KELSysTrace* iErrors,
                              size_t iBudget) {
  oRoot.SetNull();
  if (iText == nullptr || iLength > KELSysJSONMaxText) return KEL_E_INVALIDARG;
  // A short text is read faster through tokens, and they cannot cost much.
  if (iLength <= KELSysJSONTokenReadLimit) {
    if (!m_Tokens->Reserve(KELSysJSONTokenReadLimit / 2)) return KEL_E_OUTOFMEMORY;
    const KELSysResult l_Rc = Parse(iText, iLength, iErrors);
    if (l_Rc != KEL_S_OK) return l_Rc;
    if (TokenCostBound(iLength) > iBudget && TokenCost() > iBudget) return KEL_E_OUTOFMEMORY;
    return Build(oRoot);
  }
  const uint32_t l_Length = static_cast<uint32_t>(iLength);
  KELSysResult l_Rc = KEL_E_FAIL;
  try {
    uint32_t l_Position = 0;
    size_t l_Tree = 0;
    const int32_t l_Tokens = KELSysJSONCount(iText, l_Length, m_Work->m_Read, l_Position, iBudget, l_Tree);
    if (l_Tokens < 0) {
      if (l_Tokens == KELSysJSONTokenizeTooDeep) KELSysJSONTraceTooDeep(l_Position);
      if (iErrors)
        iErrors->Report(KELSysTraceError, "SystemTS/MORSysTS03.m/src/KELSysJSON", __LINE__,
                        "JSON parsing error at position %u\n", l_Position);
    } else if (l_Tokens > 0) {
      KELSysJSONBuilder l_Builder(oRoot, m_Work->m_Open, m_Trace, m_Scratch, l_Tree);
      if (KELSysJSONWalkCounted(iText, l_Length, l_Builder, m_Work->m_Read)) l_Rc = KEL_S_OK;
    }
  } catch (const std::bad_alloc&) {
    l_Rc = KEL_E_OUTOFMEMORY;
  }
  if (l_Rc != KEL_S_OK) oRoot.SetNull();
  m_Work->m_Read.Trim();  // a hostile text must not leave its spine and counts with the thread
  return l_Rc;
}

KELSysResult KELSysJSON::Weigh(const char* iText, size_t iLength, size_t iBudget) {
  if (iText == nullptr || iLength > KELSysJSONMaxText) return KEL_E_INVALIDARG;
  KELSysResult l_Rc = KEL_E_FAIL;
  try {
    uint32_t l_Position = 0;
    size_t l_Tree = 0;
    const uint32_t l_Length = static_cast<uint32_t>(iLength);
    if (KELSysJSONCount(iText, l_Length, m_Work->m_Read, l_Position, iBudget, l_Tree) > 0) l_Rc = KEL_S_OK;
  } catch (const std::bad_alloc&) {
    l_Rc = KEL_E_OUTOFMEMORY;
  }
  m_Work->m_Read.Trim();
  return l_Rc;
}

// At most what TokenCost finds, without a look at the tokens: each is a member of one container at most
// (a pair at most), may be a container with members (a block beside them), or a string (its bytes behind
// a header, rounded up). A key file of a few dozen tokens is then never walked twice.
size_t KELSysJSON::TokenCostBound(size_t iLength) const {
  constexpr size_t l_PerToken = sizeof(KELSysJSONPair) + KELSysJSONBlock::Size<KELSysJSONObject>(0) + 15;
  return size_t{m_Tokens->m_Capacity} * sizeof(KELSysJSONTokenRecord) + m_Tokens->m_Count * l_PerToken +
         iLength;
}

// What building the parsed tokens takes, as the first pass of a Read weighs it, with the token array.
size_t KELSysJSON::TokenCost() const {
  size_t l_Cost = size_t{m_Tokens->m_Capacity} * sizeof(KELSysJSONTokenRecord);
  const KELSysJSONTokenRecord* l_Token = m_Tokens->m_Records;
  for (const KELSysJSONTokenRecord* l_End = l_Token + m_Tokens->m_Count; l_Token != l_End; ++l_Token) {
    const size_t l_Size = static_cast<size_t>(l_Token->m_Size);
    if (l_Token->m_Type == KELSysJSONTokenString && l_Token->m_End > l_Token->m_Start)
      l_Cost += KELSysJSONBytes::Size(static_cast<size_t>(l_Token->m_End - l_Token->m_Start));
    else if (l_Token->m_Type == KELSysJSONTokenObject && l_Size > 0)
      l_Cost += KELSysJSONBlock::Size<KELSysJSONObject>(static_cast<uint32_t>(l_Size));
    else if (l_Token->m_Type == KELSysJSONTokenArray && l_Size > 0)
      l_Cost += KELSysJSONBlock::Size<KELSysJSONArray>(static_cast<uint32_t>(l_Size));
  }
  return l_Cost;
}

KELSysResult KELSysJSON::Traverse(const char* iText, size_t iLength, KELSysJSONTraverse& iCallbacks,
                                  KELSysTrace* iErrors) {
  KELSysResult l_Result = Parse(iText, iLength, iErrors);
  if (l_Result != KEL_S_OK) return l_Result;
  try {
    KELSysJSONCallbackSink l_Sink(iCallbacks);
    KELSysJSONWalker l_Walker(m_Tokens->m_Records, m_Tokens->m_Count, m_Text, m_Work->m_Frames);
    return l_Walker.Walk(l_Sink) ? KEL_S_OK : KEL_E_FAIL;
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
}

KELSysResult KELSysJSON::Traverse(const char* iText, size_t iLength, KELSysTrace* iErrors) {
  if (!m_Traverse) return KEL_E_INVALIDARG;
  return Traverse(iText, iLength, *m_Traverse, iErrors);
}

void KELSysJSON::SetTraverse(std::unique_ptr<KELSysJSONTraverse> iCallbacks) {
  m_Traverse = std::move(iCallbacks);
}

uint32_t KELSysJSON::GetTokenCount() const { return m_Tokens->m_Count; }

uint32_t KELSysJSON::GetTokenCapacity() const { return m_Tokens->m_Capacity; }

KELSysResult KELSysJSON::GetToken(uint32_t iIndex, KELSysJSONToken& oToken) const {
  if (iIndex >= m_Tokens->m_Count) return KEL_E_INVALIDARG;
  const KELSysJSONTokenRecord& l_Record = m_Tokens->m_Records[iIndex];
  oToken =
      KELSysJSONToken(l_Record.m_Type, l_Record.m_Start, l_Record.m_End, l_Record.m_Size, l_Record.m_Parent);
  return KEL_S_OK;
}

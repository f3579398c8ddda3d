// Walks the tokens of a parse in document order and tells a sink what it meets, with an explicit
// stack of open containers instead of recursion. The tree builder and the traversal callbacks are
// two sinks of the same walk, so both accept and reject exactly the same texts.
//
// The walk starts at the first token and stops after the value it begins. It rejects: an object
// member that is not a string token, a key whose next token is not its child, a container whose
// members walked do not add up to the count the tokenizer gave it, and a container inside
// KELSysJSONMaxDepth others (which colons can chain below closed containers, past the tokenizer's
// own bound on open ones: "[[]:[]:[]...]"), said on the "KELSysJSON" channel.
//
// A sink offers, each answering false to abort: ObjectBegin(token), Key(bytes, length),
// ObjectEnd(), ArrayBegin(token), ItemBegin(), ItemEnd(), ArrayEnd(), String(bytes, length),
// Primitive(KELSysJSONPrimitive).
#ifndef KELSysJSONWalker_H
#define KELSysJSONWalker_H

#include <cstdint>
#include <vector>

#include "KELSysJSONPrimitive.h"
#include "KELSysJSONPrivate.h"

class KELSysJSONWalker {
 public:
  // An open container: its token and the members walked so far.
  struct Frame {
    int32_t m_Token;
    int32_t m_Count;
  };

  KELSysJSONWalker(const KELSysJSONTokenRecord* iTokens, uint32_t iCount, const char* iText,
                   std::vector<Frame>& ioStack)
      : m_Tokens(iTokens), m_Count(iCount), m_Text(iText), m_Stack(ioStack) {}

  // True when the whole first value was walked and the sink never said no.
  template <class Sink>
  bool Walk(Sink& ioSink) {
    m_Stack.clear();
    if (m_Count == 0) return false;
    uint32_t l_Next = 0;
    for (;;) {
      bool l_Container = false;
      if (!Value(l_Next, ioSink, l_Container)) return false;
      ++l_Next;
      if (!l_Container) {
        if (m_Stack.empty()) return true;
        if (!MemberDone(ioSink)) return false;
      }
      int l_Found = NextMember(l_Next, ioSink);
      if (l_Found <= 0) return l_Found == 0;
    }
  }

 private:
  template <class Sink>
  bool Value(uint32_t iIndex, Sink& ioSink, bool& oContainer) {
    const KELSysJSONTokenRecord& l_Token = m_Tokens[iIndex];
    const char* l_Bytes = m_Text + l_Token.m_Start;
    const uint32_t l_Length = static_cast<uint32_t>(l_Token.m_End - l_Token.m_Start);
    switch (l_Token.m_Type) {
      case KELSysJSONTokenObject:
      case KELSysJSONTokenArray:
        if (m_Stack.size() >= KELSysJSONMaxDepth) {
          KELSysJSONTraceTooDeep(static_cast<uint32_t>(l_Token.m_Start));
          return false;
        }
        oContainer = true;
        m_Stack.push_back({static_cast<int32_t>(iIndex), 0});
        return l_Token.m_Type == KELSysJSONTokenObject ? ioSink.ObjectBegin(l_Token)
                                                       : ioSink.ArrayBegin(l_Token);
      case KELSysJSONTokenString:
        return ioSink.String(l_Bytes, l_Length);
      case KELSysJSONTokenPrimitive:
        return ioSink.Primitive(KELSysJSONPrimitive::Read(l_Bytes, l_Length));
      default:
        return false;
    }
  }

  // Counts the value just finished as a member of the innermost open container.
  template <class Sink>
  bool MemberDone(Sink& ioSink) {
    Frame& l_Open = m_Stack.back();
    if (m_Tokens[l_Open.m_Token].m_Type == KELSysJSONTokenArray && !ioSink.ItemEnd()) return false;
    ++l_Open.m_Count;
    return true;
  }

  // Moves ioNext to the token of the next member's value, closing every container that has no
  // member left. 1: a value to walk; 0: the first value is complete; -1: rejected.
  template <class Sink>
  int NextMember(uint32_t& ioNext, Sink& ioSink) {
    for (;;) {
      const Frame& l_Open = m_Stack.back();
      const KELSysJSONTokenRecord& l_Parent = m_Tokens[l_Open.m_Token];
      const bool l_Array = l_Parent.m_Type == KELSysJSONTokenArray;
      if (ioNext < m_Count && m_Tokens[ioNext].m_Parent == l_Open.m_Token) {
        if (l_Array) return ioSink.ItemBegin() ? 1 : -1;
        const KELSysJSONTokenRecord& l_Key = m_Tokens[ioNext];
        if (l_Key.m_Type == KELSysJSONTokenString) {
          if (!ioSink.Key(m_Text + l_Key.m_Start, static_cast<uint32_t>(l_Key.m_End - l_Key.m_Start)))
            return -1;
          if (ioNext + 1 >= m_Count || m_Tokens[ioNext + 1].m_Parent != static_cast<int32_t>(ioNext))
            return -1;
          ++ioNext;
          return 1;
        }
      }
      if (l_Open.m_Count != l_Parent.m_Size) return -1;
      if (!(l_Array ? ioSink.ArrayEnd() : ioSink.ObjectEnd())) return -1;
      m_Stack.pop_back();
      if (m_Stack.empty()) return 0;
      if (!MemberDone(ioSink)) return -1;
    }
  }

  const KELSysJSONTokenRecord* m_Tokens;
  uint32_t m_Count;
  const char* m_Text;
  std::vector<Frame>& m_Stack;
};

#endif

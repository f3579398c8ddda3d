#include "KELSysJSONWriter.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>
#include <type_traits>

KELSysJSONWriter::KELSysJSONWriter(std::string& oOut, bool iCompact, const std::string& iIndent)
    : m_Out(oOut), m_Compact(iCompact), m_Indent(iIndent) {}

bool KELSysJSONWriter::FormatDouble(double iValue, std::string& oOut) {
  char l_Text[48];
  int l_Length = std::snprintf(l_Text, sizeof l_Text, "%.17g", iValue);
  if (l_Length < 0 || static_cast<size_t>(l_Length) >= sizeof l_Text) return false;
  // The locale may have written its own decimal separator.
  if (char* l_Comma = static_cast<char*>(std::memchr(l_Text, ',', static_cast<size_t>(l_Length))))
    *l_Comma = '.';
  else if (!std::memchr(l_Text, '.', static_cast<size_t>(l_Length)))
    std::memcpy(l_Text + l_Length, ".0", 3), l_Length += 2;
  oOut.append(l_Text, static_cast<size_t>(l_Length));
  return true;
}

template <class Node>
KELSysResult KELSysJSONWriter::Guarded(const Node& iNode) {
  try {
    if constexpr (std::is_same_v<Node, KELSysJSONValue>) {
      Start(iNode);
    } else if constexpr (std::is_same_v<Node, KELSysJSONPair>) {
      Key(iNode.GetKey());
      Start(iNode.GetValue());
    } else {
      Open(iNode);
    }
    Drain();
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  return m_Result;
}

KELSysResult KELSysJSONWriter::Run(const KELSysJSONValue& iValue) { return Guarded(iValue); }
KELSysResult KELSysJSONWriter::Run(const KELSysJSONArray& iArray) { return Guarded(iArray); }
KELSysResult KELSysJSONWriter::Run(const KELSysJSONObject& iObject) { return Guarded(iObject); }
KELSysResult KELSysJSONWriter::Run(const KELSysJSONPair& iPair) { return Guarded(iPair); }

// Writes a scalar at once; a container is opened and its members follow from Drain.
void KELSysJSONWriter::Start(const KELSysJSONValue& iValue) {
  switch (iValue.GetType()) {
    case KELSysJSONTypeNull:
      m_Out += "null";
      return;
    case KELSysJSONTypeBoolean:
      m_Out += iValue.GetBoolean() ? "true" : "false";
      return;
    case KELSysJSONTypeInteger: {
      char l_Text[24];
      char* l_End = std::to_chars(l_Text, l_Text + sizeof l_Text, iValue.GetInteger()).ptr;
      m_Out.append(l_Text, static_cast<size_t>(l_End - l_Text));
      return;
    }
    case KELSysJSONTypeDouble:
      if (!FormatDouble(iValue.GetDouble(), m_Out)) m_Result = KEL_E_FAIL;
      return;
    case KELSysJSONTypeString:
      m_Out += '"';
      m_Out += iValue.GetString();
      m_Out += '"';
      return;
    case KELSysJSONTypeObject:
      Open(iValue.GetObject());
      return;
    case KELSysJSONTypeArray:
      Open(iValue.GetArray());
      return;
  }
  m_Result = KEL_E_FAIL;  // a tag no writer knows
}

void KELSysJSONWriter::Open(const KELSysJSONArray& iArray) {
  Open('[', Frame{iArray.begin(), nullptr, iArray.GetSize(), 0, false});
}

void KELSysJSONWriter::Open(const KELSysJSONObject& iObject) {
  Open('{', Frame{nullptr, iObject.begin(), iObject.GetSize(), 0, true});
}

void KELSysJSONWriter::Open(char iBracket, const Frame& iFrame) {
  m_Stack.push_back(iFrame);
  m_Out += iBracket;
  if (!m_Compact) {
    m_Indent += '\t';
    NewLine(0);
  }
}

// The closing bracket goes on a line indented one TAB less: the container's indentation without
// its first character.
void KELSysJSONWriter::Close(const Frame& iFrame) {
  if (!m_Compact) {
    NewLine(1);
    m_Indent.pop_back();
  }
  m_Out += iFrame.m_Object ? '}' : ']';
}

void KELSysJSONWriter::NewLine(size_t iSkip) {
  m_Out += '\n';
  m_Out.append(m_Indent, iSkip < m_Indent.size() ? iSkip : m_Indent.size());
}

void KELSysJSONWriter::Key(std::string_view iKey) {
  m_Out += '"';
  m_Out += iKey;
  m_Out += "\":";
}

void KELSysJSONWriter::Drain() {
  while (!m_Stack.empty()) {
    Frame& l_Frame = m_Stack.back();
    if (l_Frame.m_Next == l_Frame.m_Count) {
      Close(l_Frame);
      m_Stack.pop_back();
      continue;
    }
    if (l_Frame.m_Next > 0) {
      m_Out += ',';
      if (!m_Compact) NewLine(0);
    }
    const size_t l_Index = l_Frame.m_Next++;
    if (l_Frame.m_Object) {
      Key(l_Frame.m_Pairs[l_Index].GetKey());
      Start(l_Frame.m_Pairs[l_Index].GetValue());  // may push: l_Frame is not used after this
    } else {
      Start(l_Frame.m_Values[l_Index]);
    }
  }
}

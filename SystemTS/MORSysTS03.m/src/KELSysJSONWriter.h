// Writes a tree as text without recursion: containers waiting for their next member are kept on an
// explicit stack, so the nesting depth is limited by memory only.
#ifndef KELSysJSONWriter_H
#define KELSysJSONWriter_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "KELSysJSONArray.h"
#include "KELSysJSONObject.h"
#include "KELSysJSONPair.h"
#include "KELSysJSONValue.h"
#include "KELSysResult.h"

class KELSysJSONWriter {
 public:
  KELSysJSONWriter(std::string& oOut, bool iCompact, const std::string& iIndent);

  // Each appends the node's text; results as KELSysJSONBase::Write.
  KELSysResult Run(const KELSysJSONValue& iValue);
  KELSysResult Run(const KELSysJSONArray& iArray);
  KELSysResult Run(const KELSysJSONObject& iObject);
  KELSysResult Run(const KELSysJSONPair& iPair);

  // "%.17g", then a comma turned into a point, or ".0" appended when there is no point.
  static bool FormatDouble(double iValue, std::string& oOut);

 private:
  // A container being written: its members and the next one to write.
  struct Frame {
    const KELSysJSONValue* m_Values;
    const KELSysJSONPair* m_Pairs;
    size_t m_Count;
    size_t m_Next;
    bool m_Object;
  };

  template <class Node>
  KELSysResult Guarded(const Node& iNode);
  void Start(const KELSysJSONValue& iValue);
  void Open(const KELSysJSONArray& iArray);
  void Open(const KELSysJSONObject& iObject);
  void Open(char iBracket, const Frame& iFrame);
  void Close(const Frame& iFrame);
  void Drain();
  void Key(std::string_view iKey);
  void NewLine(size_t iSkip);

  std::string& m_Out;
  const bool m_Compact;
  std::string m_Indent;  // the innermost open container's indentation
  std::vector<Frame> m_Stack;
  KELSysResult m_Result = KEL_S_OK;
};

#endif

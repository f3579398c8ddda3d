// Helpers shared by the JSON tests.
#ifndef KELSysJSONTestUtil_H
#define KELSysJSONTestUtil_H

#include <memory>
#include <string>

#include "KELSysJSON.h"
#include "KELSysTrace.h"
#include "KELSysTraceObj.h"

// The compact text of iNode, or "write <code>" when it cannot be written.
inline std::string Compact(const KELSysJSONBase& iNode) {
  std::string l_Out;
  const KELSysResult l_Result = iNode.Write(l_Out, true, "");
  return l_Result == KEL_S_OK ? l_Out : "write " + KELSysResultName(l_Result);
}

// Parses iText with a fresh document and builds the tree into ioRoot: the tree's compact text, or
// "parse <code>" / "build <code>" for a failure.
inline std::string Build(const std::string& iText, KELSysJSONValue& ioRoot) {
  KELSysJSON l_JSON;
  KELSysResult l_Result = l_JSON.Parse(iText.data(), iText.size());
  if (l_Result != KEL_S_OK) return "parse " + KELSysResultName(l_Result);
  l_Result = l_JSON.Build(ioRoot);
  return l_Result == KEL_S_OK ? Compact(ioRoot) : "build " + KELSysResultName(l_Result);
}

inline std::string Rewrite(const std::string& iText) {
  KELSysJSONValue l_Root;
  return Build(iText, l_Root);
}

// The tree of iText, null when it cannot be built.
inline KELSysJSONValue Built(const std::string& iText) {
  KELSysJSONValue l_Root;
  Build(iText, l_Root);
  return l_Root;
}

// An error sink whose lines the test reads back.
struct KELSysJSONTestSink {
  std::shared_ptr<KELSysTraceMemoryObj> m_Lines = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace m_Trace{"JSONTest", m_Lines};
};

#endif

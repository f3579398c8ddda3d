// Helpers shared by the JSON tests.
#ifndef KELSysJSONTestUtil_H
#define KELSysJSONTestUtil_H

#include <memory>
#include <string>

#include "KELSysJSON.h"
#include "KELSysTrace.h"
#include "KELSysTraceObj.h"

// Parses and builds iText with a fresh document; the compact text of the tree, or "parse <code>" /
// "build <code>" for a failure.
inline std::string Rewrite(const std::string& iText, bool iCompact = true) {
  KELSysJSON l_JSON;
  KELSysResult l_Result = l_JSON.Parse(iText.data(), iText.size());
  if (l_Result != KEL_S_OK) return "parse " + KELSysResultName(l_Result);
  KELSysJSONValue l_Root;
  l_Result = l_JSON.Build(l_Root);
  if (l_Result != KEL_S_OK) return "build " + KELSysResultName(l_Result);
  std::string l_Out;
  l_Result = l_Root.Write(l_Out, iCompact, "");
  return l_Result == KEL_S_OK ? l_Out : "write " + KELSysResultName(l_Result);
}

// An error sink whose lines the test reads back.
struct KELSysJSONTestSink {
  std::shared_ptr<KELSysTraceMemoryObj> m_Lines = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace m_Trace{"JSONTest", m_Lines};
};

#endif

#include "KELSysTraceObj.h"

int KELSysTraceMemoryObj::Write(const std::string& iLine) {
  m_Text += iLine;
  return 0;
}

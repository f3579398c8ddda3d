#include "KELSysTraceSystemObj.h"

#include <syslog.h>

#include <utility>

KELSysTraceSystemObj::KELSysTraceSystemObj(std::string iIdent, Logger iLogger)
    : m_Ident(std::move(iIdent)), m_Logger(std::move(iLogger)) {}

int KELSysTraceSystemObj::Write(const std::string& iLine) { return WriteAt(KELSysTraceDebug, iLine); }

int KELSysTraceSystemObj::WriteAt(KELSysTraceLevel iLevel, const std::string& iLine) {
  static const int s_Priority[] = {LOG_ERR, LOG_WARNING, LOG_INFO, LOG_DEBUG};
  int l_Priority =
      LOG_USER | s_Priority[iLevel >= KELSysTraceError && iLevel <= KELSysTraceDebug ? iLevel : 3];
  size_t l_Len = iLine.size();
  if (l_Len > 0 && iLine[l_Len - 1] == '\n') --l_Len;  // the log keeps records, not lines
  std::string l_Record = m_Ident + ": " + iLine.substr(0, l_Len);
  if (m_Logger) {
    m_Logger(l_Priority, l_Record);
  } else {
    // Identity in the text rather than through openlog, which would change the whole process's log.
    syslog(l_Priority, "%s", l_Record.c_str());
  }
  return 0;
}

// Trace output to the system log, one record per line, at the priority of the line's level.
#ifndef KELSysTraceSystemObj_H
#define KELSysTraceSystemObj_H

#include <functional>
#include <string>

#include "KELSysTraceObj.h"

class KELSysTraceSystemObj : public KELSysTraceObjBase {
 public:
  // Receives the priority (LOG_ERR ... LOG_DEBUG, with LOG_USER) and the record text.
  using Logger = std::function<void(int iPriority, const std::string& iRecord)>;

  // Records read "<iIdent>: <line>" without the line's final line feed. A null iLogger sends them to
  // syslog.
  explicit KELSysTraceSystemObj(std::string iIdent, Logger iLogger = nullptr);

  int Write(const std::string& iLine) override;
  int WriteAt(KELSysTraceLevel iLevel, const std::string& iLine) override;

 private:
  std::string m_Ident;
  Logger m_Logger;
};

#endif

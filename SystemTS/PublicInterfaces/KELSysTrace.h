// Named trace channels. Code asks for a channel by name once (for example when an object is built)
// and keeps the pointer; the channel is null unless the environment variable KELSysTrace enables
// it, so a disabled channel costs one pointer test at each call site:
//
//   KELSysTrace* m_Trace = KELSysTrace::Find("KELSYSREGKEY");
//   ...
//   if (m_Trace) m_Trace->Print(KELSysTraceDebug, "  QueryValue OK iValueName: %s\n", l_Name);
//
// Callers' texts carry their own line feed. A line is written as the channel's prefix (time stamp,
// thread, position, as configured), the level tag ("[E]", "[W]", "[I]", "[D]"), a blank, the
// channel name, ": " and the text.
#ifndef KELSysTrace_H
#define KELSysTrace_H

#include <memory>
#include <string>

class KELSysTraceObjBase;

enum KELSysTraceLevel : int {
  KELSysTraceError = 0,    // "[E]"
  KELSysTraceWarning = 1,  // "[W]"
  KELSysTraceInfo = 2,     // "[I]"
  KELSysTraceDebug = 3,    // "[D]"
};

class KELSysTrace {
 public:
  // The channel named iName when KELSysTrace enables it, else nullptr. Enabled channels live until
  // the process ends; the same pointer is returned for the same name. Cheap when tracing is off.
  static KELSysTrace* Find(const char* iName);

  // A channel that writes to iOutput whatever the environment says (error sinks, tests).
  KELSysTrace(std::string iName, std::shared_ptr<KELSysTraceObjBase> iOutput);
  ~KELSysTrace();
  KELSysTrace(const KELSysTrace&) = delete;
  KELSysTrace& operator=(const KELSysTrace&) = delete;

  const std::string& GetName() const;

  // One printf-style line at a level.
  void Print(KELSysTraceLevel iLevel, const char* iFormat, ...) __attribute__((format(printf, 3, 4)));

  // An error report: like Print, with the source position iFile and iLine in the prefix
  // ("(%s : %d)").
  void Report(KELSysTraceLevel iLevel, const char* iFile, int iLine, const char* iFormat, ...)
      __attribute__((format(printf, 5, 6)));

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

#endif

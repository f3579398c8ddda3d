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
// channel name, ": " and the text. A non-empty prefix is followed by a blank:
//
//   [D] KELSYSREGKEY:   QueryValue OK iValueName: Path
//   [2024-05-01T10:20:30.456Z](KELSysJSON.cpp : 212) [E] KELSysJSON: unexpected character
#ifndef KELSysTrace_H
#define KELSysTrace_H

#include <cstddef>
#include <memory>
#include <string>

class KELSysTraceObjBase;
class KELSysTraceClock;

enum KELSysTraceLevel : int {
  KELSysTraceError = 0,    // "[E]"
  KELSysTraceWarning = 1,  // "[W]"
  KELSysTraceInfo = 2,     // "[I]"
  KELSysTraceDebug = 3,    // "[D]"
};

// Bits of a channel's line prefix.
enum KELSysTracePrefixFlag : unsigned {
  KELSysTracePrefixTime = 1,      // time stamp, UTC unless the layout asks for local time
  KELSysTracePrefixTimeOnly = 2,  // nothing of the prefix after the time stamp
  KELSysTracePrefixPosition = 4,  // code and source position of reports
  KELSysTracePrefixThread = 16,   // the calling thread's identity
};

// How a channel lays out and filters its lines.
struct KELSysTraceLayout {
  unsigned m_PrefixFlags = KELSysTracePrefixPosition;
  int m_MaxLevel = KELSysTraceDebug;  // lines of a higher level are dropped
  size_t m_MaxText = 0;  // texts longer than this are cut (keeping a final line feed); 0: no limit
  bool m_LocalTime = false;
  std::shared_ptr<const KELSysTraceClock> m_Clock;  // null: the system clock
};

class KELSysTrace {
 public:
  // The channel named iName when KELSysTrace enables it, else nullptr. Enabled channels live until
  // the process ends; the same pointer is returned for the same name. Cheap when tracing is off.
  static KELSysTrace* Find(const char* iName);

  // A channel that writes to iOutput whatever the environment says (error sinks, tests).
  KELSysTrace(std::string iName, std::shared_ptr<KELSysTraceObjBase> iOutput);
  KELSysTrace(std::string iName, std::shared_ptr<KELSysTraceObjBase> iOutput, KELSysTraceLayout iLayout);
  ~KELSysTrace();
  KELSysTrace(const KELSysTrace&) = delete;
  KELSysTrace& operator=(const KELSysTrace&) = delete;

  const std::string& GetName() const;
  const KELSysTraceLayout& GetLayout() const;

  // One printf-style line at a level.
  void Print(KELSysTraceLevel iLevel, const char* iFormat, ...) __attribute__((format(printf, 3, 4)));

  // An error report: like Print, with the source position iFile and iLine in the prefix
  // ("(%s : %d)").
  void Report(KELSysTraceLevel iLevel, const char* iFile, int iLine, const char* iFormat, ...)
      __attribute__((format(printf, 5, 6)));

  // Like Report, with a result code; the prefix shows it as "[%08x]" unless it is 0 or only 0x400.
  void ReportCode(KELSysTraceLevel iLevel, unsigned iCode, const char* iFile, int iLine, const char* iFormat,
                  ...) __attribute__((format(printf, 6, 7)));

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

#endif

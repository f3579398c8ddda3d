// The clock trace lines and trace folder names read; tests replace it with a fixed one.
#ifndef KELSysTraceClock_H
#define KELSysTraceClock_H

#include <cstdint>
#include <ctime>
#include <string>

class KELSysTraceClock {
 public:
  virtual ~KELSysTraceClock() = default;
  // The current time in seconds and microseconds since the epoch. Returns false when only whole
  // seconds are available (oMicro is then 0).
  virtual bool Now(int64_t& oSeconds, int& oMicro) const;
  // Breaks iSeconds down into local time or UTC. Returns false when it cannot.
  virtual bool BreakDown(int64_t iSeconds, bool iLocal, struct tm& oTime) const;

  // The time stamp of a line: "[2024-05-01T10:20:30.456Z]" (UTC) or "[2024-05-01@10:20:30.456]"
  // (local), without milliseconds when only whole seconds are known, the bare seconds when the
  // time cannot be broken down.
  std::string Stamp(bool iLocal) const;
  // The start stamp of trace folder names: "D20240501_T102030", or the bare seconds.
  std::string StartStamp(bool iLocal) const;

  // The process-wide system clock.
  static const KELSysTraceClock& System();
};

#endif

#include "KELSysTraceClock.h"

#include <sys/time.h>

#include <cinttypes>
#include <cstdio>

bool KELSysTraceClock::Now(int64_t& oSeconds, int& oMicro) const {
  struct timeval l_Now;
  if (gettimeofday(&l_Now, nullptr) == 0) {
    oSeconds = l_Now.tv_sec;
    oMicro = static_cast<int>(l_Now.tv_usec);
    return true;
  }
  oSeconds = time(nullptr);
  oMicro = 0;
  return false;
}

bool KELSysTraceClock::BreakDown(int64_t iSeconds, bool iLocal, struct tm& oTime) const {
  time_t l_Seconds = static_cast<time_t>(iSeconds);
  return (iLocal ? localtime_r(&l_Seconds, &oTime) : gmtime_r(&l_Seconds, &oTime)) != nullptr;
}

std::string KELSysTraceClock::Stamp(bool iLocal) const {
  int64_t l_Seconds = 0;
  int l_Micro = 0;
  bool l_SubSecond = Now(l_Seconds, l_Micro);
  struct tm l_Tm {};
  char l_Text[96];
  if (!BreakDown(l_Seconds, iLocal, l_Tm)) {
    snprintf(l_Text, sizeof l_Text, "%jd", static_cast<intmax_t>(l_Seconds));
    return l_Text;
  }
  int l_Year = l_Tm.tm_year + 1900, l_Month = l_Tm.tm_mon + 1, l_Milli = l_Micro / 1000;
  if (l_SubSecond && iLocal) {
    snprintf(l_Text, sizeof l_Text, "[%d-%02d-%02d@%02d:%02d:%02d.%03d]", l_Year, l_Month, l_Tm.tm_mday,
             l_Tm.tm_hour, l_Tm.tm_min, l_Tm.tm_sec, l_Milli);
  } else if (l_SubSecond) {
    snprintf(l_Text, sizeof l_Text, "[%d-%02d-%02dT%02d:%02d:%02d.%03dZ]", l_Year, l_Month, l_Tm.tm_mday,
             l_Tm.tm_hour, l_Tm.tm_min, l_Tm.tm_sec, l_Milli);
  } else if (iLocal) {
    snprintf(l_Text, sizeof l_Text, "[%d-%02d-%02d@%02d:%02d:%02d]", l_Year, l_Month, l_Tm.tm_mday,
             l_Tm.tm_hour, l_Tm.tm_min, l_Tm.tm_sec);
  } else {
    snprintf(l_Text, sizeof l_Text, "[%d-%02d-%02dT%02d:%02d:%02dZ]", l_Year, l_Month, l_Tm.tm_mday,
             l_Tm.tm_hour, l_Tm.tm_min, l_Tm.tm_sec);
  }
  return l_Text;
}

std::string KELSysTraceClock::StartStamp(bool iLocal) const {
  int64_t l_Seconds = 0;
  int l_Micro = 0;
  Now(l_Seconds, l_Micro);
  struct tm l_Tm {};
  char l_Text[96];
  if (!BreakDown(l_Seconds, iLocal, l_Tm)) {
    snprintf(l_Text, sizeof l_Text, "%jd", static_cast<intmax_t>(l_Seconds));
  } else {
    snprintf(l_Text, sizeof l_Text, "D%d%02d%02d_T%02d%02d%02d", l_Tm.tm_year + 1900, l_Tm.tm_mon + 1,
             l_Tm.tm_mday, l_Tm.tm_hour, l_Tm.tm_min, l_Tm.tm_sec);
  }
  return l_Text;
}

const KELSysTraceClock& KELSysTraceClock::System() {
  // Stateless, so one leaked instance serves every thread and outlives static destruction.
  static const KELSysTraceClock* s_Clock = new KELSysTraceClock();
  return *s_Clock;
}

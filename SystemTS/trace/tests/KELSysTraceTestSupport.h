// Fixtures shared by the trace tests: a private temporary folder and a clock that reads a fixed time.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>

#include "../../../tests/KELTestSupport.h"
#include "KELSysMORTrace.h"
#include "KELSysTraceClock.h"

// A test with a private temporary folder.
class KELSysTraceTest : public testing::Test, public KELTestTempDir {
 protected:
  KELSysTraceTest() : KELTestTempDir("KELSysTraceTest") {}
  // Every entry below the folder, relative and sorted, one a line.
  std::string Tree() const {
    std::string l_Text;
    for (const std::string& l_Entry : KELTestSnapshot(Path()))
      l_Text += l_Entry.substr(0, l_Entry.find(' ')) + "\n";
    return l_Text;
  }
};

// 2024-05-01 10:20:30.456789 UTC; local time is UTC + 2 hours. Either part can be made to fail.
class KELSysTraceFixedClock : public KELSysTraceClock {
 public:
  bool m_SubSecond = true;
  bool m_BreakDown = true;
  int64_t m_Seconds = 1714558830;

  bool Now(int64_t& oSeconds, int& oMicro) const override {
    oSeconds = m_Seconds;
    oMicro = m_SubSecond ? 456789 : 0;
    return m_SubSecond;
  }
  bool BreakDown(int64_t iSeconds, bool iLocal, struct tm& oTime) const override {
    time_t l_Seconds = static_cast<time_t>(iSeconds + (iLocal ? 7200 : 0));
    return m_BreakDown && gmtime_r(&l_Seconds, &oTime) != nullptr;
  }
};

// An environment made of the given variables only.
inline KELSysTraceEnv KELSysTraceMakeEnv(std::map<std::string, std::string> iVars) {
  auto l_Vars = std::make_shared<std::map<std::string, std::string>>(std::move(iVars));
  return [l_Vars](const char* iName) -> const char* {
    auto l_It = l_Vars->find(iName);
    return l_It == l_Vars->end() ? nullptr : l_It->second.c_str();
  };
}

// The per-process folder name part for this process: "_P<pid in 8 digits>_I".
inline std::string KELSysTracePidPart() {
  char l_Part[32];
  snprintf(l_Part, sizeof l_Part, "_P%08d_I", static_cast<int>(getpid()));
  return l_Part;
}

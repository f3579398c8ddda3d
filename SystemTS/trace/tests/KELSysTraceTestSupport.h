// Fixtures shared by the trace tests: a private temporary folder and a clock that reads a fixed time.
#ifndef KELSysTraceTestSupport_H
#define KELSysTraceTestSupport_H

#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "KELSysMORTrace.h"
#include "KELSysTraceClock.h"

class KELSysTraceTempDir {
 public:
  KELSysTraceTempDir() {
    char l_Template[] = "/tmp/KELSysTraceTest.XXXXXX";
    m_Path = mkdtemp(l_Template);
  }
  ~KELSysTraceTempDir() {
    nftw(
        m_Path.c_str(), [](const char* iPath, const struct stat*, int, struct FTW*) { return remove(iPath); },
        16, FTW_DEPTH | FTW_PHYS);
  }
  const std::string& Path() const { return m_Path; }
  std::string Write(const std::string& iName, const std::string& iText) const {
    std::ofstream(m_Path + "/" + iName) << iText;
    return m_Path + "/" + iName;
  }

 private:
  std::string m_Path;
};

inline std::string KELSysTraceReadFile(const std::string& iPath) {
  std::ifstream l_In(iPath);
  std::stringstream l_Text;
  l_Text << l_In.rdbuf();
  return l_Text.str();
}

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

#endif

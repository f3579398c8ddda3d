#include "KELSysMORTrace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include "KELSysTraceClock.h"

namespace {

bool Exists(const char* iPath) {
  struct stat l_St;
  return iPath != nullptr && *iPath != '\0' && stat(iPath, &l_St) == 0;
}

int MakeFolder(const std::string& iPath) {
  if (mkdir(iPath.c_str(), 0700) == 0 || errno == EEXIST) return 0;
  return -1;
}

}  // namespace

KELSysMORTrace::KELSysMORTrace(KELSysTraceEnv iEnv, std::shared_ptr<const KELSysTraceClock> iClock)
    : m_Env(std::move(iEnv)), m_Clock(std::move(iClock)) {}

const char* KELSysMORTrace::Get(const char* iName) const { return m_Env ? m_Env(iName) : getenv(iName); }

bool KELSysMORTrace::FindTraceBase(std::string& oBase) const {
  const char* l_Base = nullptr;
  if (Exists(Get("MORTraceDir"))) {
    l_Base = Get("MORTraceDir");
  } else if (Exists(Get("MORTemp"))) {
    l_Base = Get("MORTemp");
  } else if (Get("PWD") != nullptr && *Get("PWD") != '\0') {
    l_Base = Get("PWD");  // the shell keeps it current; not checked
  } else if (Exists("/tmp")) {
    l_Base = "/tmp";
  } else {
    return false;
  }
  oBase = Normalize(l_Base);
  return true;
}

bool KELSysMORTrace::FindTraceFolder(std::string& oFolder) const {
  std::string l_Base;
  if (!FindTraceBase(l_Base)) return false;
  if (l_Base.back() != '/') l_Base += '/';
  oFolder = l_Base + "KELSysTrace";
  return true;
}

int KELSysMORTrace::GetTraceFolder(std::string& oFolder) {
  if (m_Folder.empty()) {
    std::string l_Folder;
    if (!FindTraceFolder(l_Folder) || MakeFolder(l_Folder) != 0) return -1;
    m_Folder = l_Folder;
  }
  oFolder = m_Folder;
  return 0;
}

int KELSysMORTrace::GetProcessFolder(bool iLocal, std::string& oFolder) {
  std::string& l_Cached = m_ProcessFolder[iLocal ? 1 : 0];
  if (l_Cached.empty()) {
    std::string l_Folder;
    if (GetTraceFolder(l_Folder) != 0) return -1;
    if (!m_Started) {
      // One start time for the process, broken down both ways, so that channels with and without
      // local time agree on the moment.
      const KELSysTraceClock& l_Clock = m_Clock ? *m_Clock : KELSysTraceClock::System();
      m_StartStamp[0] = l_Clock.StartStamp(false);
      m_StartStamp[1] = l_Clock.StartStamp(true);
      m_Started = true;
    }
    int l_Len = snprintf(nullptr, 0, "%s/%s_P%08d_I", l_Folder.c_str(), m_StartStamp[iLocal ? 1 : 0].c_str(),
                         static_cast<int>(getpid()));
    if (l_Len < 0) return -1;
    std::vector<char> l_Name(static_cast<size_t>(l_Len) + 1);
    snprintf(l_Name.data(), l_Name.size(), "%s/%s_P%08d_I", l_Folder.c_str(),
             m_StartStamp[iLocal ? 1 : 0].c_str(), static_cast<int>(getpid()));
    if (MakeFolder(l_Name.data()) != 0) return -1;
    l_Cached = l_Name.data();
  }
  oFolder = l_Cached;
  return 0;
}

std::string KELSysMORTrace::GetDecoderFolder() const {
  for (const char* l_Name : {"MORTraDecDir", "HOME"}) {
    const char* l_Value = Get(l_Name);
    if (l_Value != nullptr && *l_Value != '\0') return l_Value;
  }
  return "/tmp";
}

std::string KELSysMORTrace::Normalize(const std::string& iPath) {
  bool l_Absolute = !iPath.empty() && iPath[0] == '/';
  std::vector<std::string> l_Parts;
  size_t l_Pos = 0;
  while (l_Pos <= iPath.size()) {
    size_t l_End = iPath.find('/', l_Pos);
    if (l_End == std::string::npos) l_End = iPath.size();
    std::string l_Part = iPath.substr(l_Pos, l_End - l_Pos);
    if (l_Part == "..") {
      if (!l_Parts.empty() && l_Parts.back() != "..") {
        l_Parts.pop_back();
      } else if (!l_Absolute) {
        l_Parts.push_back(l_Part);
      }
    } else if (!l_Part.empty() && l_Part != ".") {
      l_Parts.push_back(l_Part);
    }
    l_Pos = l_End + 1;
  }
  std::string l_Path = l_Absolute ? "/" : "";
  for (size_t l_I = 0; l_I < l_Parts.size(); ++l_I) l_Path += (l_I ? "/" : "") + l_Parts[l_I];
  return l_Path.empty() ? "." : l_Path;
}

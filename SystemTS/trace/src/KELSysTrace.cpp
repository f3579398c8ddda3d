// Channel front end: formats one line and hands it to the channel's output object.
#include "KELSysTrace.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "KELSysTraceObj.h"

namespace {

const char* LevelTag(KELSysTraceLevel iLevel) {
  switch (iLevel) {
    case KELSysTraceError:
      return "[E]";
    case KELSysTraceWarning:
      return "[W]";
    case KELSysTraceInfo:
      return "[I]";
    default:
      return "[D]";
  }
}

std::string FormatV(const char* iFormat, va_list iArgs) {
  va_list l_Copy;
  va_copy(l_Copy, iArgs);
  char l_Small[512];
  int l_Len = vsnprintf(l_Small, sizeof l_Small, iFormat, l_Copy);
  va_end(l_Copy);
  if (l_Len < 0) return std::string();
  if (static_cast<size_t>(l_Len) < sizeof l_Small) return std::string(l_Small, static_cast<size_t>(l_Len));
  std::string l_Text(static_cast<size_t>(l_Len) + 1, '\0');
  vsnprintf(l_Text.data(), l_Text.size(), iFormat, iArgs);
  l_Text.resize(static_cast<size_t>(l_Len));
  return l_Text;
}

// Interim output until the stream objects land: standard error.
class StderrObj : public KELSysTraceObjBase {
 public:
  int Write(const std::string& iLine) override {
    return fwrite(iLine.data(), 1, iLine.size(), stderr) == iLine.size() ? 0 : -1;
  }
};

bool SpecNames(const char* iSpec, const char* iName) {
  std::string l_Item;
  for (const char* l_P = iSpec;; ++l_P) {
    if (*l_P == '\0' || strchr(",;:| \t", *l_P)) {
      if (l_Item == iName) return true;
      l_Item.clear();
      if (*l_P == '\0') return false;
    } else {
      l_Item += *l_P;
    }
  }
}

}  // namespace

struct KELSysTrace::Impl {
  std::string m_Name;
  std::shared_ptr<KELSysTraceObjBase> m_Output;
};

KELSysTrace* KELSysTrace::Find(const char* iName) {
  static const char* s_Spec = getenv("KELSysTrace");
  if (s_Spec == nullptr || iName == nullptr || !SpecNames(s_Spec, iName)) return nullptr;
  static std::mutex s_Lock;
  static auto* s_Channels = new std::map<std::string, KELSysTrace*>();
  std::lock_guard<std::mutex> l_Guard(s_Lock);
  KELSysTrace*& l_Slot = (*s_Channels)[iName];
  if (l_Slot == nullptr) l_Slot = new KELSysTrace(iName, std::make_shared<StderrObj>());
  return l_Slot;
}

KELSysTrace::KELSysTrace(std::string iName, std::shared_ptr<KELSysTraceObjBase> iOutput)
    : m_Impl(std::make_unique<Impl>()) {
  m_Impl->m_Name = std::move(iName);
  m_Impl->m_Output = std::move(iOutput);
}

KELSysTrace::~KELSysTrace() = default;

const std::string& KELSysTrace::GetName() const { return m_Impl->m_Name; }

void KELSysTrace::Print(KELSysTraceLevel iLevel, const char* iFormat, ...) {
  va_list l_Args;
  va_start(l_Args, iFormat);
  std::string l_Line = std::string(LevelTag(iLevel)) + " " + m_Impl->m_Name + ": " + FormatV(iFormat, l_Args);
  va_end(l_Args);
  if (m_Impl->m_Output) m_Impl->m_Output->Write(l_Line);
}

void KELSysTrace::Report(KELSysTraceLevel iLevel, const char* iFile, int iLine, const char* iFormat, ...) {
  char l_Pos[64];
  snprintf(l_Pos, sizeof l_Pos, " : %d)", iLine);
  va_list l_Args;
  va_start(l_Args, iFormat);
  std::string l_Line = "(" + std::string(iFile ? iFile : "") + l_Pos + " " + LevelTag(iLevel) + " " +
                       m_Impl->m_Name + ": " + FormatV(iFormat, l_Args);
  va_end(l_Args);
  if (m_Impl->m_Output) m_Impl->m_Output->Write(l_Line);
}

// Channel front end: formats one line and hands it to the channel's output object.
#include "KELSysTrace.h"

#include <pthread.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "KELSysTraceClock.h"
#include "KELSysTraceManager.h"
#include "KELSysTraceObj.h"

namespace {

const char* const kLevelTags[] = {"[E]", "[W]", "[I]", "[D]"};

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

// A report's position: no code, or a code shown only when it has bits other than 0x400.
struct Position {
  bool m_HasCode;
  unsigned m_Code;
  const char* m_File;
  int m_Line;
};

}  // namespace

struct KELSysTrace::Impl {
  std::string m_Name;
  std::shared_ptr<KELSysTraceObjBase> m_Output;
  KELSysTraceLayout m_Layout;

  std::string Prefix(const Position* iPosition) const;
  void Emit(KELSysTraceLevel iLevel, const Position* iPosition, const char* iFormat, va_list iArgs) const;
};

std::string KELSysTrace::Impl::Prefix(const Position* iPosition) const {
  std::string l_Prefix;
  unsigned l_Flags = m_Layout.m_PrefixFlags;
  if (l_Flags & KELSysTracePrefixTime) {
    const KELSysTraceClock& l_Clock = m_Layout.m_Clock ? *m_Layout.m_Clock : KELSysTraceClock::System();
    l_Prefix = l_Clock.Stamp(m_Layout.m_LocalTime);
  }
  if (l_Flags & KELSysTracePrefixTimeOnly) return l_Prefix;
  char l_Part[64];
  if (l_Flags & KELSysTracePrefixThread) {
    snprintf(l_Part, sizeof l_Part, "[%0*zX]", 16, static_cast<size_t>(pthread_self()));
    l_Prefix += l_Part;
  }
  if ((l_Flags & KELSysTracePrefixPosition) && iPosition) {
    if (iPosition->m_HasCode && (iPosition->m_Code & ~0x400u) != 0) {
      snprintf(l_Part, sizeof l_Part, "[%08x]", iPosition->m_Code);
      l_Prefix += l_Part;
    }
    snprintf(l_Part, sizeof l_Part, " : %d)", iPosition->m_Line);
    l_Prefix.append("(").append(iPosition->m_File ? iPosition->m_File : "").append(l_Part);
  }
  return l_Prefix;
}

void KELSysTrace::Impl::Emit(KELSysTraceLevel iLevel, const Position* iPosition, const char* iFormat,
                             va_list iArgs) const {
  if (iLevel > m_Layout.m_MaxLevel || !m_Output) return;
  int l_Level = iLevel < KELSysTraceError   ? KELSysTraceError
                : iLevel > KELSysTraceDebug ? KELSysTraceDebug
                                            : iLevel;
  std::string l_Text = FormatV(iFormat ? iFormat : "", iArgs);
  if (m_Layout.m_MaxText != 0 && l_Text.size() > m_Layout.m_MaxText) {
    bool l_Feed = l_Text.back() == '\n';
    l_Text.resize(m_Layout.m_MaxText);
    if (l_Feed && l_Text.back() != '\n') l_Text += '\n';
  }
  std::string l_Line = Prefix(iPosition);
  if (!l_Line.empty()) l_Line += ' ';
  l_Line.append(kLevelTags[l_Level]).append(" ").append(m_Name).append(": ").append(l_Text);
  m_Output->WriteAt(static_cast<KELSysTraceLevel>(l_Level), l_Line);
}

KELSysTrace* KELSysTrace::Find(const char* iName) { return KELSysTraceManager::Process().Find(iName); }

KELSysTrace::KELSysTrace(std::string iName, std::shared_ptr<KELSysTraceObjBase> iOutput)
    : KELSysTrace(std::move(iName), std::move(iOutput), KELSysTraceLayout()) {}

KELSysTrace::KELSysTrace(std::string iName, std::shared_ptr<KELSysTraceObjBase> iOutput,
                         KELSysTraceLayout iLayout)
    : m_Impl(std::make_unique<Impl>()) {
  m_Impl->m_Name = std::move(iName);
  m_Impl->m_Output = std::move(iOutput);
  m_Impl->m_Layout = std::move(iLayout);
}

KELSysTrace::~KELSysTrace() = default;

const std::string& KELSysTrace::GetName() const { return m_Impl->m_Name; }

const KELSysTraceLayout& KELSysTrace::GetLayout() const { return m_Impl->m_Layout; }

void KELSysTrace::Print(KELSysTraceLevel iLevel, const char* iFormat, ...) {
  va_list l_Args;
  va_start(l_Args, iFormat);
  m_Impl->Emit(iLevel, nullptr, iFormat, l_Args);
  va_end(l_Args);
}

void KELSysTrace::Report(KELSysTraceLevel iLevel, const char* iFile, int iLine, const char* iFormat, ...) {
  Position l_Position{false, 0, iFile, iLine};
  va_list l_Args;
  va_start(l_Args, iFormat);
  m_Impl->Emit(iLevel, &l_Position, iFormat, l_Args);
  va_end(l_Args);
}

void KELSysTrace::ReportCode(KELSysTraceLevel iLevel, unsigned iCode, const char* iFile, int iLine,
                             const char* iFormat, ...) {
  Position l_Position{true, iCode, iFile, iLine};
  va_list l_Args;
  va_start(l_Args, iFormat);
  m_Impl->Emit(iLevel, &l_Position, iFormat, l_Args);
  va_end(l_Args);
}

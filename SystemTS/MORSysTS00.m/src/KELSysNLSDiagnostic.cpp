#include "KELSysNLSDiagnostic.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "KELSysTrace.h"
#include "KELSysTraceStreamObj.h"

void KELSysNLSDiagnostic(const char* iFormat, ...) {
  // Looked up at each line: diagnostics are rare, and tests switch them on and off.
  if (!std::getenv("KELSysNLSCoreTrace")) return;
  char l_Text[1024];
  va_list l_Args;
  va_start(l_Args, iFormat);
  std::vsnprintf(l_Text, sizeof l_Text, iFormat, l_Args);
  va_end(l_Args);
  size_t l_Length = std::strlen(l_Text);
  const char* l_End = (l_Length > 0 && l_Text[l_Length - 1] == '\n') ? "" : "\n";
  // The channel KELSysTrace configures, else one on standard error; the fallback is never destroyed,
  // so diagnostics of static initialisers and destructors still have an outlet.
  KELSysTrace* l_Trace = KELSysTrace::Find("KELSysNLSCore");
  if (l_Trace == nullptr) {
    static KELSysTrace* s_Stderr =
        new KELSysTrace("KELSysNLSCore", std::make_shared<KELSysTraceStreamObj>(stderr));
    l_Trace = s_Stderr;
  }
  l_Trace->Print(KELSysTraceInfo, "[PID:%u] %s%s", static_cast<unsigned>(getpid()), l_Text, l_End);
}

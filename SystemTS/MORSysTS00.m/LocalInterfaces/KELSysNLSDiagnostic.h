// The one outlet of the locale and code-set diagnostics.
#ifndef KELSysNLSDiagnostic_H
#define KELSysNLSDiagnostic_H

// Writes one printf-style line marked "[PID:<pid>] " when the environment variable
// KELSysNLSCoreTrace is set, and nothing otherwise. A line feed is added when the text lacks one.
void KELSysNLSDiagnostic(const char* iFormat, ...) __attribute__((format(printf, 1, 2)));

#endif

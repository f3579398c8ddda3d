// The command line of KELListInstalls.
#ifndef InstallArguments_H
#define InstallArguments_H

#include <iosfwd>

#include "InstallQuery.h"

struct InstallArguments {
  InstallQuery query;
  bool wantXml = false;
  bool wantJson = false;
  bool showUsage = false;  // set by -h and by every argument error
};

// Scans iArgv[1..iArgc-1]. Options are whole, case-sensitive words: -level, -type, -hfxlevel and -o
// take the next argument as their value (a later occurrence wins), -xml and -json set their flag,
// -h stops the scan. The first error (unknown option, missing value, value that is an option name
// or empty) is written to oErr as one line and stops the scan; it sets showUsage.
InstallArguments ParseInstallArguments(int iArgc, const char* const* iArgv, std::ostream& oErr);

#endif

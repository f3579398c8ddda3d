// Start-up of the process language and code set: the environment locale and SUPPLANG_Q4.
#ifndef KELSysNLSCore_H
#define KELSysNLSCore_H

#include <string>
#include <vector>

#include "KELSysNLS.h"
#include "KELSysResult.h"

class KELSysNLSCore {
 public:
  // LANG ("en_US.UTF-8" when unset) and its code set, as described in KELSysNLS.h. May call
  // setlocale(LC_ALL, "") to ask the C library for the code set.
  static void DetectNLSCoreFromEnvironment(std::string& oLANG, std::string& oCodeSet);

  // The path of the first SUPPLANG_Q4 that opens, or empty (after a report) when none does.
  static std::string FindSupplang();

  // Appends the entries of the file to oEntries. KEL_E_NOTFOUND (nothing appended) when the file
  // cannot be opened or has no "*BEGIN*" line; lines longer than 511 bytes are read in pieces.
  static KELSysResult ReadSupplang(const std::string& iPath, std::vector<KELSysNLSEntry>& oEntries);

  // The whole start-up: environment, file, and the settings that follow from them.
  static KELSysNLS StartUp();
};

#endif

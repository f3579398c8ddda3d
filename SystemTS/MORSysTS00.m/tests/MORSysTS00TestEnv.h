// Fixture for tests of the text and locale module: every environment variable the module reads is
// cleared before and after each test, the module's settings are forgotten on both sides, and files
// live in a fresh temporary folder removed afterwards.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <optional>

#include "../../../tests/KELTestSupport.h"
#include "MORStringWarning.h"
#include "MORSysTS00Testing.h"
#include "MORUnicodeString.h"

inline MORUnicodeString U(const char* iUTF8) { return MORUnicodeString::FromUTF8(iUTF8); }
// The text as bytes: UTF-8 or the process code set, and the raw UTF-16 units.
inline std::string UTF8(const MORUnicodeString& iText, bool iMBCS = false) {
  size_t l_Length = 0;
  const char* l_Bytes = iMBCS ? iText.ConvertToMBCS(&l_Length) : iText.ConvertToUTF8(&l_Length);
  return std::string(l_Bytes, l_Length);
}
inline std::string MBCS(const MORUnicodeString& iText) { return UTF8(iText, true); }
inline std::u16string Units(const MORUnicodeString& iText) {
  return std::u16string(iText.ConvertToUTF16(), iText.GetLength());
}

class MORSysTS00Env : public testing::Test, public KELTestTempDir {
 protected:
  MORSysTS00Env() : KELTestTempDir("MORSysTS00") { Clear(); }
  ~MORSysTS00Env() override {
    Clear();
    MORStringWarning::SetProcessActive(true);
    std::setlocale(LC_ALL, "C");
  }
  static void Clear() {
    for (const char* l_Name :
         {"LANG", "LC_ALL", "LC_CTYPE", "MORReffilesPath", "MORInstallPath", "KELSysNLSInstallPath",
          "KELSysNLSCoreTrace", "MORStringWarningSuppress", "MORDevelopmentStage", "KELSysTrace"})
      unsetenv(l_Name);
    MORSysTS00ResetForTests();
  }

  // Sets LANG (unset when null) and forgets the settled code set.
  static void UseLANG(const char* iLANG) {
    iLANG ? setenv("LANG", iLANG, 1) : unsetenv("LANG");
    MORSysTS00ResetForTests();
  }

  // What iCall writes to standard output, or to standard error with the locale's diagnostics
  // switched on (they stay on until the test ends).
  template <class F>
  static std::string Captured(F iCall, bool iStdout = false) {
    if (!iStdout) setenv("KELSysNLSCoreTrace", "1", 1);
    iStdout ? testing::internal::CaptureStdout() : testing::internal::CaptureStderr();
    iCall();
    return iStdout ? testing::internal::GetCapturedStdout() : testing::internal::GetCapturedStderr();
  }

  // Diagnostic lines as the locale's trace channel writes them, marked with this process.
  static std::string Lines(std::initializer_list<std::string> iLines) {
    std::string l_Text;
    for (const std::string& l_Line : iLines)
      l_Text += "[I] KELSysNLSCore: [PID:" + std::to_string(getpid()) + "] " + l_Line + "\n";
    return l_Text;
  }
};

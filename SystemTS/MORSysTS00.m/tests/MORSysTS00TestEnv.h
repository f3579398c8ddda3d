// Fixture for tests of the text and locale module: every environment variable the module reads is
// cleared before each test and restored after it, the module's settings are forgotten on both
// sides, and files live in a fresh temporary folder removed afterwards.
#ifndef MORSysTS00TestEnv_H
#define MORSysTS00TestEnv_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <map>
#include <optional>

#include "../../../tests/KELTestSupport.h"
#include "MORStringWarning.h"
#include "MORSysTS00Testing.h"
#include "MORUnicodeString.h"

// The text as bytes: UTF-8, the process code set, and the raw UTF-16 units.
inline std::string UTF8(const MORUnicodeString& iText) {
  size_t l_Length = 0;
  const char* l_Bytes = iText.ConvertToUTF8(&l_Length);
  return std::string(l_Bytes, l_Length);
}
inline std::string MBCS(const MORUnicodeString& iText) {
  size_t l_Length = 0;
  const char* l_Bytes = iText.ConvertToMBCS(&l_Length);
  return std::string(l_Bytes, l_Length);
}
inline std::u16string Units(const MORUnicodeString& iText) {
  return std::u16string(iText.ConvertToUTF16(), iText.GetLength());
}

class MORSysTS00Env : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* l_Name :
         {"LANG", "LC_ALL", "LC_CTYPE", "MORReffilesPath", "MORInstallPath", "KELSysNLSInstallPath",
          "KELSysNLSCoreTrace", "MORStringWarningSuppress", "MORDevelopmentStage", "KELSysTrace"}) {
      const char* l_Value = std::getenv(l_Name);
      m_Saved[l_Name] = l_Value ? std::optional<std::string>(l_Value) : std::nullopt;
      unsetenv(l_Name);
    }
    MORSysTS00ResetForTests();
  }

  void TearDown() override {
    for (const auto& [l_Name, l_Value] : m_Saved)
      l_Value ? setenv(l_Name.c_str(), l_Value->c_str(), 1) : unsetenv(l_Name.c_str());
    MORSysTS00ResetForTests();
    MORStringWarning::SetProcessActive(true);
    std::setlocale(LC_ALL, "C");
  }

  // Sets LANG (unset when null) and forgets the settled code set.
  static void UseLANG(const char* iLANG) {
    iLANG ? setenv("LANG", iLANG, 1) : unsetenv("LANG");
    MORSysTS00ResetForTests();
  }

  const std::string& Temp() const { return m_Temp.Path(); }

  // Writes iText to the file iRelative under the temporary folder, with its folders.
  std::string WriteFile(const std::string& iRelative, const std::string& iText) {
    std::filesystem::create_directories(std::filesystem::path(m_Temp.At(iRelative)).parent_path());
    KELTestWriteFile(m_Temp.At(iRelative), iText);
    return m_Temp.At(iRelative);
  }

  static std::string PID() { return "[PID:" + std::to_string(getpid()) + "] "; }

 private:
  std::map<std::string, std::optional<std::string>> m_Saved;
  KELTestTempDir m_Temp{"MORSysTS00"};
};

#endif

// Test fixture base: a fresh temporary folder per test, removed afterwards, and small file helpers.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "../../tests/KELTestSupport.h"

class KELInsTestDir : public ::testing::Test {
 protected:
  // Absolute path of iName inside the test folder.
  std::string At(const std::string& iName) const { return m_Temp.At(iName); }
  bool Exists(const std::string& iName) const { return ::access(At(iName).c_str(), F_OK) == 0; }
  void Write(const std::string& iName, const std::string& iBytes) const {
    KELTestWriteFile(At(iName), iBytes);
  }
  std::string Read(const std::string& iName) const { return KELTestReadFile(At(iName)); }
  mode_t ModeOf(const std::string& iName) const {
    struct stat l_Stat {};
    ::stat(At(iName).c_str(), &l_Stat);
    return l_Stat.st_mode & 07777;
  }
  // The whole message of a failure carrying errno text, as the C library words it here.
  static std::string WithErrno(const std::string& iMessage, int iErrno) {
    return iMessage + " - " + std::strerror(iErrno) + "\n";
  }

  KELTestTempDir m_Temp{"KELInsLibTest"};
  const std::string m_Dir = m_Temp.Path();
};

// iCall throws E (or a class derived from it) with the whole message iMessage.
template <class E, class F>
void ExpectFailure(F iCall, const std::string& iMessage) {
  EXPECT_THAT(iCall, ::testing::ThrowsMessage<E>(::testing::StrEq(iMessage)));
}

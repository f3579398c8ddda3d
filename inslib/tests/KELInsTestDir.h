// Test fixture base: a fresh temporary folder per test, removed afterwards, and small file helpers.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "../../tests/KELTestSupport.h"

class KELInsTestDir : public ::testing::Test, public KELTestTempDir {
 protected:
  KELInsTestDir() : KELTestTempDir("KELInsLibTest") {}
  mode_t ModeOf(const std::string& iName) const {
    struct stat l_Stat {};
    ::stat(At(iName).c_str(), &l_Stat);
    return l_Stat.st_mode & 07777;
  }
  // The whole message of a failure carrying errno text, as the C library words it here.
  static std::string WithErrno(const std::string& iMessage, int iErrno) {
    return iMessage + " - " + std::strerror(iErrno) + "\n";
  }
};

// iCall throws E (or a class derived from it) with the whole message iMessage.
template <class E, class F>
void ExpectFailure(F iCall, const std::string& iMessage) {
  EXPECT_THAT(iCall, ::testing::ThrowsMessage<E>(::testing::StrEq(iMessage)));
}

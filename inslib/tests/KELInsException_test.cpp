#include "KELInsException.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <type_traits>

TEST(KELInsException, MessagesEndInOneAddedLineFeed) {
  const std::string l_Enoent = std::strerror(ENOENT);
  EXPECT_STREQ(KELInsException("GetType - empty path").what(), "GetType - empty path\n");
  EXPECT_EQ(KELInsException("unlink - /tmp/x", ENOENT).what(), "unlink - /tmp/x - " + l_Enoent + "\n");
  EXPECT_EQ(KELInsExceptionErrno("Chmod - /tmp/x", ENOENT).what(), "Chmod - /tmp/x - " + l_Enoent + "\n");
  EXPECT_EQ(KELInsException("", ENOENT).what(), " - " + l_Enoent + "\n");
  EXPECT_STREQ(KELInsException("ends\n").what(), "ends\n\n");
}

// A handler for KELInsException must not catch the errno class; both are runtime errors.
static_assert(!std::is_base_of_v<KELInsException, KELInsExceptionErrno>);
static_assert(std::is_base_of_v<std::runtime_error, KELInsException> &&
              std::is_base_of_v<std::runtime_error, KELInsExceptionErrno>);

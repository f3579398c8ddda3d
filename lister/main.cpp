// KELListInstalls: lists the installations registered on this machine. The exit status is the
// number of installations written, returned as it is (the shell sees it modulo 256).
#include <iostream>

#include "KELVersion.h"
#include "ListInstalls.h"

// The command has no option that prints its version; the binary carries it for those who look
// (strings, what(1)-style tools, package checks).
[[gnu::used]] static const char k_Version[] = "KELListInstalls " KEL_VERSION;

int main(int argc, char** argv) {
  // The documents are written through the C++ streams only; unsynchronised they are buffered whole.
  std::ios::sync_with_stdio(false);
  return static_cast<int>(ListInstalls(argc, argv));
}

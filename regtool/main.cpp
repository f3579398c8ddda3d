// KELReg: queries and changes the emulated registry (see KELInsRegCommand.h).
#include <sys/resource.h>

#include <iostream>

#include "KELInsRegCommand.h"

int main(int argc, char** argv) {
  KELInsRegUseByteText();
  std::ios::sync_with_stdio(false);
  // A change keeps each existing key it rewrites open, and locked, until it is made: as many
  // descriptors as the system allows.
  rlimit l_Files;
  if (getrlimit(RLIMIT_NOFILE, &l_Files) == 0 && l_Files.rlim_cur < l_Files.rlim_max) {
    l_Files.rlim_cur = l_Files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &l_Files);
  }
  return KELInsRegCommand(argc, argv);
}

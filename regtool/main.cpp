// KELReg: queries and changes the emulated registry (see KELInsRegCommand.h).
#include <iostream>

#include "KELInsRegCommand.h"

int main(int argc, char** argv) {
  KELInsRegUseByteText();
  std::ios::sync_with_stdio(false);
  return KELInsRegCommand(argc, argv);
}

#include "MORSysTS00Testing.h"

void MORSysTS00ResetForTests() {
  KELSysNLSResetForTests();
  MORStringWarningResetForTests();
  MORDevelopmentStageResetForTests();
}

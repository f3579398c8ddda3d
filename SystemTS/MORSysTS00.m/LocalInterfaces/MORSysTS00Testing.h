// Test-only hooks of the text and locale module. Not for product code.
#ifndef MORSysTS00Testing_H
#define MORSysTS00Testing_H

// Forgets every process-wide setting read from the environment (the language and code set,
// MORStringWarningSuppress, MORDevelopmentStage), so that the next use reads the environment
// again. Settings handed out before stay valid. Call only while no other thread uses the module.
void MORSysTS00ResetForTests();

// The parts of the above, one per owner.
void KELSysNLSResetForTests();
void MORStringWarningResetForTests();
void MORDevelopmentStageResetForTests();

#endif

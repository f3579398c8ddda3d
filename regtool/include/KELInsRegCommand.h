// KELReg, the registry command: arguments in, exit status out.
#ifndef KELInsRegCommand_H
#define KELInsRegCommand_H

#include <iostream>

// Exit statuses.
inline constexpr int KELInsRegDone = 0;
inline constexpr int KELInsRegFailed = 1;
inline constexpr int KELInsRegUsageError = 2;

// Runs the command line iArgv (iArgv[0] is the program). Output goes to oOut, every error as one
// line beginning "KELReg: " to oErr; import reads iIn when given no file. Returns the exit status.
int KELInsRegCommand(int iArgc, const char* const* iArgv, std::istream& iIn = std::cin,
                     std::ostream& oOut = std::cout, std::ostream& oErr = std::cerr);

// Registry text is bytes to KELReg: this settles the process code set on UTF-8, whose conversions
// keep every byte (valid UTF-8 or not), whatever LANG says. Call it before any text is converted.
void KELInsRegUseByteText();

// The usage text.
void KELInsRegWriteUsage(std::ostream& oOut);

#endif

// The whole command: arguments in, document out, count back.
#ifndef ListInstalls_H
#define ListInstalls_H

#include <cstdint>
#include <iostream>

// Writes the usage text.
void WriteInstallsUsage(std::ostream& oOut);

// Parses the arguments and either shows the usage (after "-h", an argument error or -xml with
// -json; returns 0) or writes the document the query asks for and returns the number of
// installations written. Errors go to oErr, the usage and the document to oOut. String warnings
// are switched off for the process first: the document must not carry them.
int64_t ListInstalls(int iArgc, const char* const* iArgv, std::ostream& oOut = std::cout,
                     std::ostream& oErr = std::cerr);

#endif

// The result documents: the installations of a query as XML or JSON.
//
// Both writers run the discovery for iQuery, build the document and write it to oOut when
// iQuery.outputPath is empty, else to that file (created, or truncated). They return the number of
// installations written. When the file cannot be opened nothing is written, the line
//   Opening file <path> failed: <system text for errno>
// goes to oErr, and they return 0. Write errors after a successful open are not reported.
#ifndef WriteInstalls_H
#define WriteInstalls_H

#include <cstdint>
#include <iostream>

#include "InstallQuery.h"

// The declaration, a line feed and the root "installs" with one empty "install" element per
// installation; no line feed at the end.
int64_t WriteInstallsXml(const InstallQuery& iQuery, std::ostream& oOut = std::cout,
                         std::ostream& oErr = std::cerr);
// The compact JSON text of {"installs": [...]} followed by a line feed; on standard output it is
// preceded by an empty line. Empty fields are written as null.
int64_t WriteInstallsJson(const InstallQuery& iQuery, std::ostream& oOut = std::cout,
                          std::ostream& oErr = std::cerr);

#endif

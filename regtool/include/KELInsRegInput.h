// The import document as KELReg reads it: whole, from a file or standard input, and never more of it
// than the document limit.
#ifndef KELInsRegInput_H
#define KELInsRegInput_H

#include <cstddef>
#include <istream>
#include <string>

// Reads the document from the file iFile, or from iIn when iFile is "" or "-" (standard input's own
// descriptor when iIn is std::cin, so that its read errors have their reason). A document larger than
// iMax bytes is refused once iMax + 1 of its bytes are read (a regular file by its size, before any).
// Returns false with "<FILE>: <reason>" in oWhy ("standard input: ..." for iIn), the reason being
// the system's or "document larger than <iMax in MiB> MiB".
bool KELInsRegReadInput(const std::string& iFile, std::istream& iIn, size_t iMax, std::string& oText,
                        std::string& oWhy);

#endif

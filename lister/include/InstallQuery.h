// What one run of the command asks for.
#ifndef InstallQuery_H
#define InstallQuery_H

#include <string>

// The three filters and the output path, as byte strings. An empty filter filters nothing; an empty
// outputPath means standard output.
struct InstallQuery {
  std::string level;       // build level, compared exactly
  std::string type;        // installation type; a final "*" makes it a prefix
  std::string hfxLevel;    // hotfix level, compared exactly ("UNKNOWN" for none)
  std::string outputPath;  // file that receives the document
};

#endif

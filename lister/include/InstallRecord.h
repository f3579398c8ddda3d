// One installation found in the registry.
#ifndef InstallRecord_H
#define InstallRecord_H

#include <string>

// Every field is text as the registry holds it. hfxLevel is "UNKNOWN" when the registry has none;
// ident is "NONE" for an installation of the common tree; path is empty when it could not be read.
struct InstallRecord {
  std::string buildLevel;
  std::string type;
  std::string hfxLevel;
  std::string ident;
  std::string path;
};

#endif

// Where the registry keeps its keys: hive folders, and the mapping of key paths onto key files and
// key folders.
#ifndef KELSysRegPath_H
#define KELSysRegPath_H

#include <string>
#include <string_view>

inline constexpr std::string_view KELSysRegKeyExtension = ".json";

// The folder of hive iHive (5, 6 or 7) in oRoot; false, with oRoot empty, for any other hive and
// for the current-user hive when HOME is not set.
bool KELSysRegHiveRoot(int iHive, std::string& oRoot);

// The key file of iKeyPath (backslash-separated) below iBase, a hive folder or an open key's file.
// An empty key path gives iBase unchanged.
void KELSysRegMapKeyPath(std::string_view iBase, std::string_view iKeyPath, std::string& oFile);

// The key folder that goes with a key file: its path without the ".json" extension. A path without
// that extension (a hive folder) is its own folder.
std::string_view KELSysRegKeyFolder(std::string_view iFile);

// The last component of a path.
std::string_view KELSysRegBaseName(std::string_view iPath);

#endif

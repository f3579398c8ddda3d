// File-system work of the registry beyond reading and writing key files: making folders and empty
// key files, listing subkeys, removing key trees. Failures are KELSysResultFromErrno codes.
#ifndef KELSysRegStore_H
#define KELSysRegStore_H

#include <string>
#include <string_view>
#include <vector>

#include "KELSysResult.h"
#include "MORUnicodeString.h"

// Whether iPath is a folder (through links).
bool KELSysRegIsFolder(const char* iPath);

// Makes the folder iPath and every missing folder above it. KEL_S_OK when it exists afterwards.
KELSysResult KELSysRegMakeFolders(const std::string& iPath);

// Creates iPath as an empty file unless it is already a regular file. Never waits on a FIFO; a
// failure is ignored (the caller goes on without the file).
void KELSysRegEnsureFile(const char* iPath);

// Appends the subkeys of the key folder iFolder (see KELSysRegKey::EnumKeys), taking file types
// from the listing and asking the system only for links and unknown types.
KELSysResult KELSysRegListSubKeys(const char* iFolder, std::vector<MORUnicodeString>& oNames);
// The same for the key folder open for reading on iFd, listed from where its position stands: the
// names are appended to oNames, each followed by a zero byte. On failure oNames is as it was.
KELSysResult KELSysRegListSubKeysAt(int iFd, std::string& oNames);
// Appends each name of iNames, a run of names each followed by a zero byte, to oNames.
template <class Name>
void KELSysRegAppendNames(std::string_view iNames, std::vector<Name>& oNames) {
  for (size_t l_At = 0, l_End; (l_End = iNames.find('\0', l_At)) != std::string_view::npos; l_At = l_End + 1)
    oNames.emplace_back(iNames.data() + l_At, l_End - l_At);
}

// Removes the folder iPath with everything below it, without following links and without
// recursion. The first failure stops the removal and is returned.
KELSysResult KELSysRegRemoveTree(const char* iPath);
// The same for the folder iName in the folder iDirFd (AT_FDCWD: iName is a path); iName itself is
// not followed either.
KELSysResult KELSysRegRemoveTreeAt(int iDirFd, const char* iName);

#endif

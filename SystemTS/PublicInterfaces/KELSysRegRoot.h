// Where the registry's hives live.
//
// By default the hives have fixed folders: classes root "/etc/.Quorvane/HKCR", local machine
// "/etc/.Quorvane/HKLM", and current user "$HOME/.Quorvane/HKCU". A registry root moves all three
// into one folder DIR: DIR/HKCR, DIR/HKLM and DIR/HKCU, with the hive files DIR/HKCR.json,
// DIR/HKLM.json and DIR/HKCU.json beside them. Tools use it to work on a registry that is not the
// machine's own: an offline image, a container's file system, a fixture.
//
// The setting is process-wide. Make it before any key is opened, and not while another thread
// opens keys; keys already open keep their files.
#ifndef KELSysRegRoot_H
#define KELSysRegRoot_H

#include <string>
#include <vector>

#include "KELSysResult.h"
#include "MORUnicodeString.h"

// Sets the registry root to the folder iRoot, without its trailing slashes (a relative path is
// relative to the working folder at each open). nullptr or "" restores the fixed roots. Always
// KEL_S_OK: whether the folder exists shows at the first open.
KELSysResult KELSysRegSetRegistryRoot(const char* iRoot);

// The registry root in force; empty when the fixed roots are used.
std::string KELSysRegGetRegistryRoot();

// The names of the top-level keys of hive iHive (5, 6 or 7), as KELSysRegKey::EnumKeys lists a
// key's subkeys, appended to oNames. KEL_E_FAIL for any other hive; the failure of the listing (a
// hive folder that does not exist gives KEL_E_NOTFOUND).
KELSysResult KELSysRegListHive(int iHive, std::vector<MORUnicodeString>& oNames);

#endif

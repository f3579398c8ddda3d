// The installations found, in the order they were found: neither sorted nor freed of duplicates.
#ifndef InstallList_H
#define InstallList_H

#include <vector>

#include "InstallRecord.h"

using InstallList = std::vector<InstallRecord>;

#endif

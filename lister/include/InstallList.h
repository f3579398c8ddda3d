// The installations found, in the order they were found: neither sorted nor freed of duplicates.
#ifndef InstallList_H
#define InstallList_H

#include <deque>

#include "InstallRecord.h"

// A deque: a long list grows without moving the records it already holds.
using InstallList = std::deque<InstallRecord>;

#endif

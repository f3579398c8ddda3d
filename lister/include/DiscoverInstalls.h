// Finds the installations registered in the local-machine hive.
#ifndef DiscoverInstalls_H
#define DiscoverInstalls_H

#include "InstallList.h"
#include "InstallQuery.h"

// Walks the product tree "SOFTWARE\Quorvane\Q4" (build level, type, identifier; values "Path" and
// "SPlevel") and then the common tree "SOFTWARE\Quorvane\Q4_Common" (one key per type; values
// "GAlevel", "Path" and "SPlevel"), read-only, in the order the registry lists the keys, and keeps
// the installations that pass the query's filters. Product-tree installations come first; common
// ones carry the identifier "NONE". A key or value that cannot be read drops only what depends on
// it, silently: registry failures never escape. Nothing is written to the registry.
InstallList DiscoverInstalls(const InstallQuery& iQuery);

#endif

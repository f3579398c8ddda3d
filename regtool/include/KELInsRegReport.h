// Read-only reports over the registry: what a search finds, and what an import would change.
#ifndef KELInsRegReport_H
#define KELInsRegReport_H

#include <string>

#include "KELInsRegTree.h"

// What find looks at.
enum class KELInsRegFindIn { Everything, Keys, Values, Data };

// The lines of what matches the shell glob iPattern (fnmatch) below the key iName, whose tree (read
// with its subkeys) is iTree: "KEY" for a subkey whose name matches, "KEY    NAME    TYPE    DATA"
// for a value whose name or string data (each item of a list) matches. Each line ends in a newline;
// lines come in byte order.
std::string KELInsRegFind(const KELInsRegKeyName& iName, const KELInsRegTree& iTree,
                          const std::string& iPattern, KELInsRegFindIn iIn);

// What merging iTree into the key iName would change, against the registry as it stands: one line a
// change, keys in byte order, each key's line before its values' lines (in the document's order):
//   "add key KEY"
//   "add value KEY    NAME    TYPE    DATA"
//   "change value KEY    NAME    TYPE    DATA    (was TYPE    DATA)"
// A missing parent of iName is an added key too; values that are already as the document says give no
// line. Throws KELInsRegTreeError when a key cannot be read (damaged, unreadable).
std::string KELInsRegPreviewMerge(const KELInsRegKeyName& iName, const KELInsRegTree& iTree);

#endif

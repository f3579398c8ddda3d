// KELReg check and recover: what a crash, a power cut or a hand edit left in the registry, found and
// repaired.
#ifndef KELInsRegCheck_H
#define KELInsRegCheck_H

#include <iosfwd>
#include <optional>

#include "KELInsRegKeyName.h"

// Walks the key iKey and everything below it (every hive when there is none) and reports each
// problem on one line of oOut, or all of them as one JSON document with iJson: damaged key files,
// half-made keys, interrupted changes and what they left, installations that would be listed with a
// null path, installations whose path is missing on this machine (orphans). With iRepair each
// problem that can be repaired is, and its line says how; orphans are only reported. A long walk on
// a terminal shows its progress on oProgress. Returns 0 when there was no problem, 1 otherwise;
// throws std::runtime_error for a key that does not exist or a repair that failed.
int KELInsRegCheck(const std::optional<KELInsRegKeyName>& iKey, bool iRepair, bool iJson, std::ostream& oOut,
                   std::ostream& oProgress);

// Finishes or rolls back the interrupted changes of every registry the hives live in, saying what it
// did on oOut (nothing when there was nothing to do). Returns 0; throws std::runtime_error when a
// recovery failed.
int KELInsRegRecover(std::ostream& oOut);

#endif

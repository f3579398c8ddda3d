// One change of the registry, made all at once: after it, or after a kill or a power cut at any
// moment of it, the registry holds every key as the change left it, or every key as it was (see
// KELSysRegChange.h for how, and what readers may see meanwhile).
//
// Every failure throws KELInsRegKeyError, whose Reason() names the file and the system's reason
// ("/etc/.Quorvane/HKLM/A.json: No space left on device", "...: a link, refused", "...: not valid JSON
// at line 1, column 58").
#ifndef KELInsRegChange_H
#define KELInsRegChange_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "KELInsRegKey.h"

class KELSysRegChange;

class KELInsRegChange {
 public:
  // Begins a change of the hive iHive (KELInsRegKey::Hive...): takes the registry's change lock and
  // finishes or rolls back a change that was interrupted.
  explicit KELInsRegChange(int32_t iHive);
  // A change not committed is dropped: nothing is written.
  ~KELInsRegChange();
  KELInsRegChange(const KELInsRegChange&) = delete;
  KELInsRegChange& operator=(const KELInsRegChange&) = delete;

  // What beginning did to an interrupted change ("finished an interrupted change", ...), or "".
  const std::string& Recovered() const { return m_Recovered; }

  // The key iPath (components separated by '\\') for this change, open for writing; with iCreate a
  // missing key is made, with its missing parents, when the change commits. nullptr for a missing
  // key without iCreate. A key whose file is damaged (KELInsRegKey::Damage) is refused. The handle
  // belongs to the change.
  KELInsRegKey* OpenKey(const std::string& iPath, bool iCreate);
  // Removes the key iPath with everything below it (without iRecursive, a key whose folder holds
  // anything is refused); false when there is no such key.
  bool RemoveKey(const std::string& iPath, bool iRecursive);
  // Makes the change; the registry is as it was when this throws, unless the reason says the change
  // will be finished by the next one.
  void Commit();

  // Repairs (see KELSysRegChange): a damaged key file of iKey ("HKLM/A/X", below the registry root)
  // moved into the quarantine, an empty key in its place (returns where the bytes went); a hidden
  // name that an interrupted change left, removed.
  std::string Quarantine(const std::string& iKey);
  void RemoveLeftover(const std::string& iName);

  // Whether the registry of iHive holds an interrupted change: its journal's path, and whether it
  // had reached its commit point.
  static bool FindInterrupted(int32_t iHive, std::string& oJournal, bool& oCommitted);
  // Whether a name met in a key folder is one of the hidden names of a change.
  static bool IsChangeName(const std::string& iName);
  // The registry root of iHive (the folder that holds its hive folder), and the hive folder's name.
  static bool HiveFolder(int32_t iHive, std::string& oRoot, std::string& oName);
  // Benchmarks and tests only: changes without syncs (see KELSysRegChange::SetSyncing).
  static void SetSyncing(bool iSync);

 private:
  [[noreturn]] void Throw(const char* iOperation);

  std::unique_ptr<KELSysRegChange> m_Change;
  std::unordered_map<const KELSysRegKey*, std::unique_ptr<KELInsRegKey>>
      m_Handles;  // one per key of the change
  std::string m_Recovered;
};

#endif

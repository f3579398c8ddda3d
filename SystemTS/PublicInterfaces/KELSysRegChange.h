// A change of the registry made all at once: the keys it creates, rewrites and removes in one hive
// are, once it is over, all as the change left them or (when it failed, or its process died before
// its commit point) all as they were, byte for byte, across a kill or a power cut.
//
// How. Nothing that readers see is touched before the commit point. First the change's journal
// "<root>/.KELReg/journal" is written, marked pending, and synced: the list of the steps that will
// make the change visible. Then every new key file text is written under a hidden name beside its key
// ".NAME.json.kelreg", and every new key folder is made under a hidden name ".NAME.kelreg-new" (the
// keys below a new key are made inside it, under their own names), each file and each folder that
// received one synced. The commit point is the journal's mark turned from pending to committed
// (one byte rewritten in place) and synced. Then the steps are done in order: each hidden file renamed over
// its key file, each hidden folder renamed to its key's name (a key shows when its folder does, its values
// already there, and a whole new subtree shows at once), each key removed by renaming its folder to
// ".kelreg-removed-<step>", unlinking its key file and removing that folder; every folder that changed is
// synced, then the journal is emptied and synced.
//
// Invariants. (1) Before the commit point no key file or key folder that readers look up has
// changed; after a failure there, the hidden files are removed again. (2) A key file is only ever
// replaced by a rename of a synced file, so a reader sees its old text or its new one, never a part.
// (3) From the commit point on, every step still to do is in the synced journal, and each step can
// be done again: finishing an interrupted change ends as the change would have. (4) The journal is
// emptied only once every step is done and synced. Changes of one registry follow one another: each
// holds the journal's lock (flock) from Begin to its end, and first finishes a change that a journal
// left committed, or rolls back one left pending (removing its hidden names).
//
// Readers take no part. A reader that runs while a change is applied, or after a change was cut off
// after its commit point and before it was finished, may see some keys of the change new and others
// old, each key whole; a new key is seen with all of its values or not at all.
//
// Keys open in the framework's own way (KELSysRegKey::CreateKey and a write-back on close) keep their
// in-place rewrite under the key file's lock. A change takes the same lock on every existing key it
// rewrites, from its read to its end, so the two follow one another; a writer that waited for a
// key that a change replaced finds its file renamed away and opens the new one (KELSysRegKey).
//
// Confinement. Below the registry root (the folder holding the hive folders) every path a change
// uses is resolved without following links (a component at a time, or in one call that refuses any
// link on the way), and a key file or key folder that is a link is refused: no change creates,
// writes, renames or removes anything outside.
//
// Errors. Operations return KEL_S_OK or a failure; GetError then tells the errno of the system call
// that failed (0 for a refusal of the change's own) and GetWhy a line naming the file and the reason.
#ifndef KELSysRegChange_H
#define KELSysRegChange_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "KELSysResult.h"
#include "MORUnicodeString.h"

class KELSysRegKey;

class KELSysRegChange {
 public:
  KELSysRegChange();
  // A change not committed is dropped: its keys are closed without being written.
  ~KELSysRegChange();
  KELSysRegChange(const KELSysRegChange&) = delete;
  KELSysRegChange& operator=(const KELSysRegChange&) = delete;

  // Starts a change of the hive iHive (5, 6 or 7): takes the registry's change lock (waiting for it
  // up to a minute) and finishes or rolls back a change that an earlier process left interrupted
  // (oRecovered tells which, when given).
  KELSysResult Begin(int iHive, std::string* oRecovered = nullptr);

  // The key iKeyPath (components separated by '\\') for this change, owned by it. An existing key is
  // opened for reading and writing, with its exclusive lock until the change ends; a key whose file
  // could not be read whole (KELSysRegKey::GetDamage) is refused. With iCreate, a missing key and its
  // missing parents are made when the change commits, with the values set on them. Without it, a
  // missing key fails with KEL_E_FAIL.
  KELSysResult OpenKey(const MORUnicodeString& iKeyPath, bool iCreate, KELSysRegKey*& oKey);

  // Removes the key iKeyPath with everything below it when the change commits. Without iRecursive, a
  // key folder that holds anything fails with ENOTEMPTY, GetWhy naming what it holds.
  KELSysResult RemoveKey(const MORUnicodeString& iKeyPath, bool iRecursive);

  // Makes the change, all of it or nothing, and returns once it is on disk. A change that writes
  // nothing does nothing. A failure before the commit point leaves the registry as it was; one after
  // it (only renames and removals remain) leaves the change to be finished by the next change.
  KELSysResult Commit();

  // The interrupted change that the registry of hive iHive holds, if any: its journal's path, and
  // whether it had reached its commit point. False when there is none, or when the change is still
  // going on in another process.
  static bool FindInterrupted(int iHive, std::string& oJournal, bool& oCommitted);
  // Repairs, each made at once, within a begun change and in place of a commit:
  // - moves the key file of iKey (below the root: "HKLM/A/X") into the registry's quarantine folder
  //   "<root>/.KELReg/quarantine/<UTC time>/", bytes kept, and puts a key without values in its place;
  //   oWhere tells where the bytes went;
  // - removes iName (below the root), a hidden name that an interrupted change left behind.
  KELSysResult Quarantine(const std::string& iKey, std::string& oWhere);
  KELSysResult RemoveLeftover(const std::string& iName);
  // Whether a name in a key folder is one of the hidden names of a change.
  static bool IsChangeName(const std::string& iName);
  // The registry root of hive iHive (the folder holding its hive folder) and the hive folder's name.
  static bool HiveFolder(int iHive, std::string& oRoot, std::string& oName);

  int GetError() const { return m_Error; }
  const std::string& GetWhy() const { return m_Why; }

  // Whether changes sync what they write (on by default). Benchmarks turn it off to measure what
  // the syncs cost, and tests of locking, which are about order and not about the disk.
  static void SetSyncing(bool iSync);

  struct Node;
  struct Step;
  struct Folders;

 private:
  KELSysResult Fail(int iErrno, const std::string& iWhat);
  KELSysResult Refuse(const std::string& iWhy);
  KELSysResult Ready(Node& ioNode);
  KELSysResult Plan(std::vector<Step>& oSteps);
  KELSysResult Stage(const std::vector<Step>& iSteps);
  KELSysResult Replace(int iDirFd, const std::string& iPath, const std::string& iText);
  std::string Physical(const Node& iNode) const;
  void Drop();

  int m_Hive = 0;
  int m_RootFd = -1;                           // the registry root
  int m_Journal = -1;                          // its journal, locked while the change goes on
  std::string m_Root;                          // its path
  std::string m_HiveName;                      // "HKLM", ...
  std::vector<std::unique_ptr<Node>> m_Nodes;  // in the order they were first asked for
  std::map<std::string, Node*> m_ByPath;       // by path below the root ("HKLM/A/B")
  std::unique_ptr<Folders> m_Folders;          // the folders it opened
  std::vector<std::string> m_Removed;          // keys to remove, by path below the root
  int m_Error = 0;
  std::string m_Why;
};

#endif

// Keys and values in memory, as KELReg reads them from the registry and writes them back: the unit
// of query, export, copy and import.
#ifndef KELInsRegTree_H
#define KELInsRegTree_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "KELInsRegKeyName.h"

class KELInsRegKey;
class KELInsRegChange;

// One value, its name and data as bytes (escapes decoded).
struct KELInsRegValue {
  std::string m_Name;
  uint32_t m_Type = 0;                 // KELInsRegKey::TypeDWORD ... TypeMultiString
  uint64_t m_Number = 0;               // DWORD and QWORD
  std::vector<std::string> m_Strings;  // the string (one item) or the list
};

struct KELInsRegSubkey;

struct KELInsRegTree {
  std::vector<KELInsRegValue> m_Values;    // in key-file order
  std::vector<KELInsRegSubkey> m_Subkeys;  // in byte order of their names
};

struct KELInsRegSubkey {
  std::string m_Name;
  KELInsRegTree m_Tree;
};

// A failure of the registry while reading or writing a key; its text names the key and the reason
// ("HKLM\X: Permission denied").
struct KELInsRegTreeError {
  std::string m_Text;
};

// The names of a type (REG_DWORD, ...), "" for an unknown type.
const char* KELInsRegTypeName(uint32_t iType);

// Appends the data as query shows it: a number in decimal, strings with their control bytes escaped
// (KELInsRegEscapeControls), list items separated by iBetweenItems.
void KELInsRegAppendData(std::string& ioOut, const KELInsRegValue& iValue, const char* iBetweenItems);
// Appends "NAME    TYPE    DATA", list items separated by the two characters \0.
void KELInsRegAppendValueLine(std::string& ioOut, const KELInsRegValue& iValue);

// Receives the keys of a subtree as they are read: each key with its values (a hive root has
// none), parents before their subkeys, subkeys in byte order of their names. iLevel counts the
// levels below the first key (0).
class KELInsRegVisitor {
 public:
  virtual void Enter(const KELInsRegKeyName& iName, size_t iLevel,
                     const std::vector<KELInsRegValue>& iValues) = 0;
  // After the last subkey of the key entered at iLevel.
  virtual void Leave(size_t iLevel) = 0;

 protected:
  ~KELInsRegVisitor() = default;
};

// Reads the key iName and every key below it, one at a time, handing each to ioVisitor once its
// values and subkeys' names are read whole: what is kept in memory is a key and the names of the
// subkeys still to read. Throws KELInsRegTreeError at the first key that cannot be read, which
// ioVisitor has then not received (nor any key after it).
void KELInsRegWalkTree(const KELInsRegKeyName& iName, KELInsRegVisitor& ioVisitor);
// Reads the key iName: its values and, with iRecurse, its subkeys with theirs; without, only the
// subkeys' names (with empty trees). A hive root has no values. Throws KELInsRegTreeError.
KELInsRegTree KELInsRegReadTree(const KELInsRegKeyName& iName, bool iRecurse);
// Reads the values of an open key (decoded); a malformed value throws KELInsRegTreeError naming
// iName.
std::vector<KELInsRegValue> KELInsRegReadValues(const KELInsRegKey& iKey, const KELInsRegKeyName& iName);
// Reads the value stored under iStored (decoded); throws what the key wrapper throws when it is
// missing or malformed.
KELInsRegValue KELInsRegReadValue(const KELInsRegKey& iKey, const std::string& iStored);
// The stored name of the value whose name shows as iName, or iName stored when there is none.
std::string KELInsRegFindValue(const KELInsRegKey& iKey, const std::string& iName, bool& oFound);

// Merges iTree into the key iName: keys created, values set (replacing those of the same name),
// nothing deleted, as one change (KELInsRegChange): all of it is written, or nothing. Throws
// KELInsRegTreeError naming the key and the file that could not be written, and why.
void KELInsRegWriteTree(const KELInsRegKeyName& iName, const KELInsRegTree& iTree);
// Begins a change of iName's hive, and commits one, throwing KELInsRegTreeError naming iName.
KELInsRegChange KELInsRegBeginChange(const KELInsRegKeyName& iName);
void KELInsRegCommitChange(KELInsRegChange& ioChange, const KELInsRegKeyName& iName);
// Throws KELInsRegTreeError naming iName, its file and why, when the key's file was not read whole
// or does not hold its values.
void KELInsRegCheckSound(const KELInsRegKey& iKey, const KELInsRegKeyName& iName);
// Sets the values into an open key (stored form); throws what the key wrapper throws.
void KELInsRegSetValues(KELInsRegKey& ioKey, const std::vector<KELInsRegValue>& iValues);

// "<key>: <reason>" for a failure of the key wrapper.
std::string KELInsRegDescribe(const std::string& iKey, const std::exception& iError, const char* iFallback);

#endif

// The framework's handle on one key of the emulated registry.
//
// Store. Each hive is a folder: 5 (classes root) "/etc/.Quorvane/HKCR", 6 (current user)
// "$HOME/.Quorvane/HKCU", 7 (local machine) "/etc/.Quorvane/HKLM"; any other identifier has no
// folder and every operation on it fails. A key path such as "SOFTWARE\Quorvane\Q4" names, below
// its base (a hive folder, or the folder of an open key), the key file ".../SOFTWARE/Quorvane/Q4.json"
// holding the key's values and the key folder ".../SOFTWARE/Quorvane/Q4" holding its subkeys. An
// empty key path names the base itself. A key exists when its folder exists.
//
// Key file. One JSON object: "Version" = "1.0", then a member named after the key (the file name
// without ".json") whose members are the values, each [type, data]: 1 32-bit number, 2 64-bit
// number, 3 string, 4 array of strings. An empty file is a key without values. Unreadable JSON, or a
// file without the key's member, opens as a key without values. So does a key file larger than
// MORFileLockBytesMaxSize or one that cannot be read whole (a failed or short read), with a trace
// line saying why; such a key also refuses every change (KEL_E_ACCESSDENIED) and is never written
// back, so the bytes it did not read stay as they are. Its subkeys are listed and opened as usual.
//
// Life cycle. Opening or creating reads the whole key file into memory; value changes stay in
// memory until the key is closed. Closing (CloseKey, the destructor, or opening another key on the
// same object) writes the values back in place, over the same file (same inode, no temporary file),
// changed or not; but a key whose file did not read as JSON holding its values (GetDamage) is written
// back only when a value was set or removed, so that an open and close never rewrite such a file.
// The write-back is all or nothing as seen in the file: when it cannot be written whole (no space
// left, a file-size limit, a failed cut) the file's old bytes are put back and the close returns the
// failure. A key opened read-only never changes its file.
//
// Locks (see KELSysRegLock.h). A key opened for writing, and every created key, holds an exclusive
// lock on its key file from before its read on open to the end of its write-back on close, so that
// concurrent read-modify-write cycles of several processes follow one another. A key opened
// read-only holds a shared lock only around its read, and nothing afterwards. An open that does not
// get its lock within KELSysRegLockWait (a few seconds) fails with KEL_E_TIMEOUT, and the trace
// names the key file. Within one thread, the key objects open on one file share its exclusive lock
// instead of waiting for each other: each has its own values, and the last one closed writes the
// file.
//
// Access flags. Both bits 0x1 and 0x8 (KELSysRegAccessReadWrite) open the key file for reading
// and writing; any other combination opens it read-only, and every change is then refused with
// KEL_E_ACCESSDENIED.
//
// Strings. Key paths, key names and file paths are text in the process code set; value names and
// string data are stored as their UTF-8 bytes, so any byte string read from a key file comes back
// unchanged when it is written out.
//
// Errors. Nothing throws. KEL_S_OK is success; KEL_E_FAIL a missing key or value, a value of
// another type, or an empty parent path; KEL_E_ACCESSDENIED a change refused, or nothing to
// delete; file-system failures pass through as KELSysResultFromErrno codes.
//
// Trace. The channel "KELSYSREGKEY", when enabled, receives debug lines about opens, closes,
// queries, access checks and deletions.
//
// A key object belongs to one thread at a time.
#ifndef KELSysRegKey_H
#define KELSysRegKey_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KELSysResult.h"
#include "MORUnicodeString.h"

class KELSysTrace;
class KELSysJSONObject;
class KELSysJSONValue;
class MORFileLockBytes;
struct KELSysRegHold;

enum KELSysRegHive : int {
  KELSysRegHiveClassesRoot = 5,
  KELSysRegHiveCurrentUser = 6,
  KELSysRegHiveLocalMachine = 7,
};

inline constexpr uint32_t KELSysRegAccessWrite = 0x1;
inline constexpr uint32_t KELSysRegAccessRead = 0x8;
inline constexpr uint32_t KELSysRegAccessReadWrite = KELSysRegAccessWrite | KELSysRegAccessRead;

// Value types as stored in key files.
enum KELSysRegValueType : uint32_t {
  KELSysRegTypeDWORD = 1,
  KELSysRegTypeQWORD = 2,
  KELSysRegTypeString = 3,
  KELSysRegTypeMultiString = 4,
};

class KELSysRegKey {
 public:
  KELSysRegKey();
  // Closes the key (with its write-back).
  ~KELSysRegKey();
  KELSysRegKey(const KELSysRegKey&) = delete;
  KELSysRegKey& operator=(const KELSysRegKey&) = delete;

  // Opens the key iKeyPath of hive iHive, or below the open key iParent. KEL_E_FAIL when the key
  // folder does not exist (the object is then left as it was) or the base path is empty; the failure
  // of opening the key file, or KEL_E_TIMEOUT for its lock, leaving the object closed. A child
  // opened read-only below iParent that iParent's last EnumKeys listed is taken to have the folder
  // that the listing saw beside its key file: only the key file is looked up then (not through a
  // link; a link, or a file gone meanwhile, is settled the ordinary way).
  KELSysResult OpenKey(int iHive, const MORUnicodeString& iKeyPath, uint32_t iAccess);
  KELSysResult OpenKey(const KELSysRegKey& iParent, const MORUnicodeString& iKeyPath, uint32_t iAccess);

  // Creates the key (its folder, its file, and the files and folders of every missing parent up to
  // the hive's own file beside the hive folder) and opens it with the exclusive lock, whatever
  // iAccess. An existing key is opened with its values; processes creating the same keys at once
  // all succeed. KEL_E_FAIL when the base path is empty, and for an empty key path below a hive (the
  // hive folder is no key of its own).
  KELSysResult CreateKey(int iHive, const MORUnicodeString& iKeyPath, uint32_t iAccess);
  KELSysResult CreateKey(const KELSysRegKey& iParent, const MORUnicodeString& iKeyPath, uint32_t iAccess);

  // Writes the values back, unlocks and closes the key. KEL_S_OK when nothing is open. A read-only
  // key's write-back is never attempted on its file and never fails; a read-write key returns the
  // failure of the write, the file holding its old bytes again.
  KELSysResult CloseKey();

  // Queries. With no key open: KEL_S_OK and the output untouched. KEL_E_FAIL when the value is
  // missing, of another type, or malformed (for the list form, strings before a bad element are
  // already appended).
  KELSysResult QueryDWORDValue(const MORUnicodeString& iValueName, uint32_t& oValue);
  KELSysResult QueryQWORDValue(const MORUnicodeString& iValueName, uint64_t& oValue);
  KELSysResult QueryStringValue(const MORUnicodeString& iValueName, MORUnicodeString& oValue);
  KELSysResult QueryMultiStringValue(const MORUnicodeString& iValueName,
                                     std::vector<MORUnicodeString>& oValues);

  // The stored type (1 to 4) of a value whose [type, data] pair is well formed for that type, so
  // that the matching query reads it. With no key open: KEL_S_OK and oType untouched. KEL_E_FAIL
  // when the value is missing, of an unknown type, or malformed.
  KELSysResult QueryValueType(const MORUnicodeString& iValueName, uint32_t& oType);

  // Setters replace any value of the same name and put the new one last in the member order.
  // KEL_E_ACCESSDENIED unless the key is open for writing.
  KELSysResult SetDWORDValue(const MORUnicodeString& iValueName, uint32_t iValue);
  KELSysResult SetQWORDValue(const MORUnicodeString& iValueName, uint64_t iValue);
  KELSysResult SetStringValue(const MORUnicodeString& iValueName, const MORUnicodeString& iValue);
  KELSysResult SetMultiStringValue(const MORUnicodeString& iValueName,
                                   const std::vector<MORUnicodeString>& iValues);

  // Removes the value (KEL_S_OK also when there is none). KEL_E_ACCESSDENIED unless open for writing.
  KELSysResult DeleteValue(const MORUnicodeString& iValueName);

  // Appends the value names in stored order. KEL_S_OK, also with no key open.
  KELSysResult EnumValues(std::vector<MORUnicodeString>& oNames);
  // Appends the subkey names: the entries NAME.json of the key folder that are regular files
  // (through links) with a folder NAME beside them, in the folder's listing order.
  // KEL_E_FAIL with no key open, else the failure of the listing.
  KELSysResult EnumKeys(std::vector<MORUnicodeString>& oNames);

  // Deletes a subkey without subkeys (its folder, then its file); an empty path deletes this key,
  // closing it first. KEL_E_ACCESSDENIED unless open for writing or when the subkey's folder is
  // missing; the failure of the removal when the subkey has subkeys (nothing is removed then).
  KELSysResult DeleteSubKey(const MORUnicodeString& iSubKeyPath);
  // Deletes a subkey with everything below it; an empty path deletes this key, closing it first.
  // KEL_E_ACCESSDENIED unless open for writing; KEL_E_FAIL when the subkey's file is missing or
  // neither a file nor a folder; else the failure of a removal. Links below the key are removed,
  // never followed.
  KELSysResult RecurseDeleteKey(const MORUnicodeString& iSubKeyPath);

  // The key file's full path; empty when no key is open.
  const MORUnicodeString& GetPath() const;
  // The same path in the process code set, as the key holds it (GetPath is made from it).
  const std::string& GetFilePath() const { return m_FilePath; }

  // Why the open key's file was not taken at its word, or "" when it was read whole and is empty or
  // holds the key's values: "Input/output error" (a read that failed), "2000000 bytes, over the
  // limit of 1048576", "would take more than ... bytes to read", "not valid JSON at line 1, column
  // 58", "nested deeper than 1000 levels at line 3, column 9", "holds no values of key X". Such a key
  // opens as described above; one opened for writing whose values are left as read is not written
  // back, so a read-write open and close never rewrites a file that it could not read whole.
  const std::string& GetDamage() const { return m_Damage; }

  // Narrow forms for callers that hold their text so: key paths and subkey names in the process
  // code set, value names and string data as their UTF-8 bytes. They do what the forms above do.
  KELSysResult OpenKeyMBCS(const KELSysRegKey& iParent, std::string_view iKeyPath, uint32_t iAccess);
  KELSysResult EnumKeysMBCS(std::vector<std::string>& oNames);
  KELSysResult QueryStringValueUTF8(std::string_view iValueName, std::string& oValue);

  // Replaces the trace channel (tests capture the lines this way); nullptr switches tracing off.
  void SetTraceForTest(KELSysTrace* iTrace) { m_Trace = iTrace; }

 private:
  KELSysResult Open(const std::string& iBase, std::string_view iKeyPath, uint32_t iAccess,
                    const KELSysRegKey* iParent);
  KELSysResult Create(const std::string& iBase, const MORUnicodeString& iKeyPath, uint32_t iAccess);
  void EnsureParentAreKeys(const std::string& iFile);
  // Opens the key file iFile (by its name in the folder iDirFd when that is not negative), or takes
  // iOpened, a descriptor of the same file not yet checked, reached along a path without links;
  // locks it (exclusively when iCreate or iAccess asks for writing) and reads it.
  KELSysResult OpenKeyReal(std::string iFile, uint32_t iAccess, int iDirFd, bool iCreate, int iOpened = -1);
  // A reader's open of iFd, reached without links: locked and read before the file is asked what it is.
  KELSysResult OpenToRead(std::string iFile, int iFd);
  // Locks the key file iFd (m_File, once it is set), tracing a lock not granted.
  KELSysResult Lock(const std::string& iFile, int iFd, bool iExclusive);
  // Reads the key file into m_Values; false when it cannot be read whole (too big, a failed or short
  // read), the key then having no values. iFirst: a read already made from the start of the file.
  struct FirstRead;
  bool ReadValues(const FirstRead* iFirst = nullptr);
  // Takes the key file's text iText as the key's values (see GetDamage); false, the key having no
  // values, for a text that would cost more to read than its size allows.
  bool TakeValues(const char* iText, size_t iSize);
  // Builds m_Values from m_Plain, for every use of the values but a string query.
  void MakeValues();
  // Lists the key folder into m_Listed.
  KELSysResult ListSubKeys() const;
  // Whether the last listing of the key folder gave iName, looking on from the last name asked for.
  bool Listed(std::string_view iName) const;
  bool NotRead(KELSysResult iRc);
  KELSysResult WriteBack();
  // The key file's text for the current values (KEL_S_OK), or the failure of making it: EFBIG for a
  // text that readers would refuse for its size or its cost. The values are used up.
  KELSysResult MakeText(std::string& oText);
  bool Damaged(std::string iWhy);
  // After a write-back that wrote the first iWritten bytes and failed with iRc, puts the file's old
  // bytes back; returns iRc.
  KELSysResult Restore(size_t iWritten, KELSysResult iRc);
  void Release();
  KELSysResult CheckWriteAccess();
  KELSysResult FindData(const MORUnicodeString& iValueName, uint32_t iType, const KELSysJSONValue*& oData);
  KELSysResult FindData(std::string_view iValueName, uint32_t iType, const KELSysJSONValue*& oData);
  KELSysResult SetValue(const MORUnicodeString& iValueName, uint32_t iType, KELSysJSONValue&& iData);
  bool SubKeyFile(const MORUnicodeString& iSubKeyPath, std::string& oFile);
  int KeyFolderFd() const;
  std::string_view KeyName() const;

  // The open key file. Null with values present for a key whose file could not be read whole.
  std::unique_ptr<MORFileLockBytes> m_File;
  std::unique_ptr<KELSysJSONObject> m_Values;  // the key's values
  // The key file's full path, made from m_FilePath when first asked for: most keys are read and
  // closed without anyone looking at it.
  mutable MORUnicodeString m_Path;
  KELSysTrace* m_Trace;             // "KELSYSREGKEY", null when off
  std::string m_FilePath;           // m_Path in the process code set, for the system calls
  mutable int m_DirFd = -1;         // the key folder, opened when a child is first opened below this key
  KELSysRegHold* m_Hold = nullptr;  // the exclusive lock of a key opened for writing or created
  bool m_OwnHold = false;           // taken by this key, not joined
  bool m_Changed = false;           // a value was set or removed since the open
  bool m_Staged = false;            // a key of a change that has no file yet (see KELSysRegChange)
  std::string m_Damage;             // see GetDamage
  // A reader's values object as its key file's plain text holds it (KELSysRegPlainValues.h), which
  // answers string queries; m_Values is built from it for any other use. Empty otherwise.
  std::string m_Plain;
  // The subkeys of the last listing of the key folder, each after a zero byte, and where the opens
  // of children have got to in it (a zero byte).
  mutable std::string m_Listed;
  mutable size_t m_ListedAt = 0;
  mutable bool m_DirReadable = false;  // m_DirFd may be listed
  mutable bool m_DirListed = false;    // and was: it is rewound first

  friend class KELSysRegChange;
};

#endif

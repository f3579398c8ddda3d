// The tool's handle on one open registry key.
//
// A KELInsRegKey owns at most one framework key object: it is empty when default-constructed, after
// a move and after a failed open. Destroying or assigning over a handle that owns a key closes that
// key (the framework writes it back). Handles are move-only.
//
// Every operation either succeeds or throws std::runtime_error; none returns a status. The message
// names the operation and the object concerned, never the framework's numeric code:
//   "CreateKey - <path>"  "OpenKey - <path>"  "DeleteKey - <name>"  "DeleteKeyTree - <name>"
//   "DeleteValue - <name>"  "GetValue - <name>"  "SetValue - <name>, <value>"
//   "GetSubkeys - "  "GetValues - "
// Operations that need an open key throw "Null pointer" on an empty handle, before the registry is
// touched. Failures of the registry itself are thrown as KELInsRegKeyError, a std::runtime_error
// with that same message that also keeps the registry's result code, for callers that report why.
//
// Names and string values are byte strings in the process code set on this side, MORUnicodeString
// on the framework's side.
#ifndef KELInsRegKey_H
#define KELInsRegKey_H

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

class KELSysRegKey;

class KELInsRegKeyError : public std::runtime_error {
 public:
  KELInsRegKeyError(const std::string& iMessage, int32_t iResult, std::string iReason = "")
      : std::runtime_error(iMessage), m_Result(iResult), m_Reason(std::move(iReason)) {}
  // The registry's result code (negative).
  int32_t Result() const noexcept { return m_Result; }
  // The system's reason when the registry failed on a system call ("Permission denied"), or waited in
  // vain for a key's lock; the line of a change that failed ("<file>: No space left on device"); else "".
  std::string Reason() const;

 private:
  int32_t m_Result;
  std::string m_Reason;
};

class KELInsRegKey {
 public:
  // Hive codes. Any other value is taken as the local machine.
  static constexpr int32_t HiveClassesRoot = 0;
  static constexpr int32_t HiveCurrentUser = 1;
  static constexpr int32_t HiveLocalMachine = 2;
  // The writable flag of the open operations: exactly 1 opens for reading and writing, anything
  // else read-only.
  static constexpr int32_t ReadOnly = 0;
  static constexpr int32_t ReadWrite = 1;

  KELInsRegKey() noexcept;
  ~KELInsRegKey();
  KELInsRegKey(KELInsRegKey&& ioOther) noexcept;
  KELInsRegKey& operator=(KELInsRegKey&& ioOther) noexcept;
  KELInsRegKey(const KELInsRegKey&) = delete;
  KELInsRegKey& operator=(const KELInsRegKey&) = delete;

  bool IsOpen() const noexcept { return m_Key != nullptr; }

  // Why the key's file was not read whole, or does not hold the key's values ("not valid JSON at
  // line 1, column 58", "Input/output error", ...); "" for a sound key. Such a key opens without
  // values. And the key file's path.
  std::string Damage() const;
  std::string FilePath() const;

  // Moves all three hives below the folder iRoot (iRoot/HKLM, iRoot/HKCR, iRoot/HKCU) for every
  // key opened afterwards in this process; an empty iRoot restores the machine's own registry.
  static void SetRegistryRoot(const std::string& iRoot);

  // Writes the key back and closes it, reporting a write that failed ("CloseKey - <key file>"); the
  // handle is empty afterwards either way. Closing an empty handle does nothing.
  void Close();

  // Creates the key (and any missing parent) below a hive or below an open key, and returns it
  // opened for reading and writing. An existing key is opened with its values kept.
  static KELInsRegKey CreateKey(int32_t iHive, const std::string& iPath);
  static KELInsRegKey CreateKey(const KELInsRegKey& iParent, const std::string& iPath);
  // Opens an existing key below a hive or below an open key.
  static KELInsRegKey OpenKey(int32_t iHive, const std::string& iPath, int32_t iWritable);
  static KELInsRegKey OpenKey(const KELInsRegKey& iParent, const std::string& iPath, int32_t iWritable);

  // Deletes the subkey iName of this key, which must have no subkeys of its own; an empty name
  // deletes this key itself (the handle then stays open on nothing).
  void DeleteKey(const std::string& iName);
  // Deletes the subkey iName with everything below it; an empty name deletes this key itself.
  void DeleteKeyTree(const std::string& iName);
  // Removes a value; a missing one is no error.
  void DeleteValue(const std::string& iName);

  // Reads a 32-bit value. oValue receives what the registry left in its result, also when the read
  // then fails: on failure it may have changed.
  void GetValue(const std::string& iName, int32_t& oValue) const;
  // Reads a string value; on failure oValue is untouched.
  void GetValue(const std::string& iName, std::string& oValue) const;
  // The same read for callers to whom a missing value is an everyday answer: false, with oValue
  // untouched, where GetValue throws "GetValue - <name>". An empty handle still throws.
  bool TryGetValue(const std::string& iName, std::string& oValue) const;
  // Store a value in the open key (written to disk when the key is closed). The key must have been
  // opened for writing.
  void SetValue(const std::string& iName, const std::string& iValue);
  void SetValue(const std::string& iName, int32_t iValue);

  // Value types as stored: 1 a 32-bit number, 2 a 64-bit number, 3 a string, 4 a list of strings.
  static constexpr uint32_t TypeDWORD = 1;
  static constexpr uint32_t TypeQWORD = 2;
  static constexpr uint32_t TypeString = 3;
  static constexpr uint32_t TypeMultiString = 4;
  // The largest key file the registry reads: a key whose text would be longer is not written (its
  // close fails and the file keeps its old text).
  static uint64_t MaxKeyFileSize();
  // Whether the registry would read a key file holding iValues, the text of a values object's
  // members ("name":[type,data],...): a text that would cost a reader more memory than its size
  // allows is refused like one over the size limit, and not written either.
  static bool IsReadable(std::string_view iValues);
  // The type of a well-formed value; a missing or malformed one throws "GetValue - <name>".
  uint32_t GetValueType(const std::string& iName) const;
  // Typed reads ("GetValue - <name>" when missing or of another type) and writes ("SetValue - <name>,
  // <value>"; a list is shown with its items separated by commas).
  uint32_t GetDWORDValue(const std::string& iName) const;
  uint64_t GetQWORDValue(const std::string& iName) const;
  std::vector<std::string> GetMultiStringValue(const std::string& iName) const;
  void SetDWORDValue(const std::string& iName, uint32_t iValue);
  void SetQWORDValue(const std::string& iName, uint64_t iValue);
  void SetMultiStringValue(const std::string& iName, const std::vector<std::string>& iValue);

  // The names of the subkeys, and of the values, in the registry's order. oNames is emptied first.
  void GetSubkeys(std::vector<std::string>& oNames) const;
  void GetValues(std::vector<std::string>& oNames) const;
  // The top-level keys of a hive ("GetSubkeys - <hive code>" when its folder cannot be listed).
  static void GetSubkeys(int32_t iHive, std::vector<std::string>& oNames);

  // Convenience forms: each opens the key concerned read-only for the one read, and closes it again
  // on every path out.
  static void GetValue(int32_t iHive, const std::string& iPath, const std::string& iName, int32_t& oValue);
  static void GetValue(int32_t iHive, const std::string& iPath, const std::string& iName,
                       std::string& oValue);
  // The same for the subkey iSubkey of this key.
  void GetValue(const std::string& iSubkey, const std::string& iName, int32_t& oValue) const;
  void GetValue(const std::string& iSubkey, const std::string& iName, std::string& oValue) const;
  // Delete the key iPath of a hive (opened for writing first): the whole tree, or a key without
  // subkeys.
  static void DeleteKeyTree(int32_t iHive, const std::string& iPath);
  static void DeleteKey(int32_t iHive, const std::string& iPath);

 private:
  explicit KELInsRegKey(std::unique_ptr<KELSysRegKey> iKey) noexcept;
  // A handle on a key that a change owns (KELInsRegChange): it never closes it.
  static KELInsRegKey Borrow(KELSysRegKey& iKey) noexcept;
  friend class KELInsRegChange;
  // The owned key; throws "Null pointer" when there is none.
  KELSysRegKey& Key() const;

  std::unique_ptr<KELSysRegKey> m_Key;
  bool m_Borrowed = false;
};

#endif

// A key as KELReg names it: a hive, then the key path's components.
//
// Text form: HKLM, HKCU or HKCR (or HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT), in any
// case, then components separated by '\' or '/', and at most one separator at the end. A component is
// non-empty, never "." or "..", and holds no double quote and no control byte (the key file names its
// key in JSON, unescaped).
#ifndef KELInsRegKeyName_H
#define KELInsRegKeyName_H

#include <climits>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct KELInsRegTree;

struct KELInsRegKeyName {
  // The longest key file path the system takes (its terminating zero left out), and the longest
  // component: every name a change gives a key's files must fit the file system's 255 bytes, the
  // longest being a new key file's, ".<component>.json.kelreg".
  static constexpr size_t MaxFilePath = PATH_MAX - 1;
  static constexpr size_t MaxComponent = NAME_MAX - 16;

  int32_t m_Hive = 0;                     // a KELInsRegKey hive code
  std::string m_HiveName;                 // canonical: "HKLM", "HKCU" or "HKCR"
  std::vector<std::string> m_Components;  // empty for the hive root

  // Parses iText; on failure returns nothing and says why in oWhy.
  static std::optional<KELInsRegKeyName> Parse(std::string_view iText, std::string& oWhy);
  // Whether iName may be a component; oWhy says why not.
  static bool IsValidComponent(std::string_view iName, std::string& oWhy);

  // Whether the registry's files can hold this key and, below it, the keys of iBelow, under the
  // registry root in force: every component at most MaxComponent bytes, every key file path
  // ("<hive folder>/<components joined by '/'>.json") at most MaxFilePath, no component ending in
  // ".json" (the folder of a key "X.json" would be the key file of a key "X" beside it), none named
  // HKLM, HKCU or HKCR (a file of that name and ".json" is a hive's file to the registry, which
  // stops there when it makes a key's parents). On refusal, oWhy is "<key>: <why>" for the first
  // key, parents first, that cannot be held.
  bool CanStore(const KELInsRegTree& iBelow, std::string& oWhy) const;

  bool IsHiveRoot() const { return m_Components.empty(); }
  // The key path below the hive, components joined by '\' ("" for the hive root).
  std::string Path() const;
  // The canonical full name: "HKLM\SOFTWARE\X".
  std::string Full() const;
  // The subkey iName of this key.
  KELInsRegKeyName Child(const std::string& iName) const;
};

#endif

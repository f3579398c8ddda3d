// A key as KELReg names it: a hive, then the key path's components.
//
// Text form: HKLM, HKCU or HKCR (or HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT), in any
// case, then components separated by '\' or '/'. A component is non-empty, never "." or "..", and
// holds no double quote and no control byte (the key file names its key in JSON, unescaped).
#ifndef KELInsRegKeyName_H
#define KELInsRegKeyName_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct KELInsRegKeyName {
  // The longest component: a file name, "<component>.json", must fit the file system's 255 bytes.
  static constexpr size_t MaxComponent = 250;

  int32_t m_Hive = 0;                     // a KELInsRegKey hive code
  std::string m_HiveName;                 // canonical: "HKLM", "HKCU" or "HKCR"
  std::vector<std::string> m_Components;  // empty for the hive root

  // Parses iText; on failure returns nothing and says why in oWhy.
  static std::optional<KELInsRegKeyName> Parse(std::string_view iText, std::string& oWhy);
  // Whether iName may be a component; oWhy says why not.
  static bool IsValidComponent(std::string_view iName, std::string& oWhy);

  bool IsHiveRoot() const { return m_Components.empty(); }
  // The key path below the hive, components joined by '\' ("" for the hive root).
  std::string Path() const;
  // The canonical full name: "HKLM\SOFTWARE\X".
  std::string Full() const;
  // The subkey iName of this key.
  KELInsRegKeyName Child(const std::string& iName) const;
};

#endif

#include "KELInsRegKeyName.h"

#include <strings.h>

#include "KELInsRegChange.h"
#include "KELInsRegKey.h"
#include "KELInsRegTree.h"

namespace {

struct Hive {
  const char* m_Short;
  const char* m_Long;
  int32_t m_Code;
};

constexpr Hive k_Hives[] = {{"HKLM", "HKEY_LOCAL_MACHINE", KELInsRegKey::HiveLocalMachine},
                            {"HKCU", "HKEY_CURRENT_USER", KELInsRegKey::HiveCurrentUser},
                            {"HKCR", "HKEY_CLASSES_ROOT", KELInsRegKey::HiveClassesRoot}};

bool SameLetters(std::string_view iText, const char* iName) {
  return iText.size() == std::char_traits<char>::length(iName) &&
         strncasecmp(iText.data(), iName, iText.size()) == 0;
}

constexpr std::string_view k_Extension = ".json";

// Why the registry's files cannot hold a key named iName, "" when they can.
std::string StorageProblem(std::string_view iName) {
  if (iName.size() > KELInsRegKeyName::MaxComponent)
    return "key name longer than " + std::to_string(KELInsRegKeyName::MaxComponent) + " bytes";
  if (iName.ends_with(k_Extension)) return "a key name cannot end in \".json\"";
  for (const Hive& l_Hive : k_Hives)
    if (iName == l_Hive.m_Short) return "a key below a hive cannot be named HKLM, HKCU or HKCR";
  return "";
}

// Steps from a key (its folder ioFolder, its full name ioName) to its subkey iComponent; false, with
// oWhy set, when the registry's files cannot hold that subkey.
bool Enter(std::string& ioFolder, std::string& ioName, std::string_view iComponent, std::string& oWhy) {
  ioFolder.append(1, '/').append(iComponent);
  ioName.append(1, '\\').append(iComponent);
  std::string l_Problem = StorageProblem(iComponent);
  if (l_Problem.empty() && ioFolder.size() + k_Extension.size() > KELInsRegKeyName::MaxFilePath)
    l_Problem = "key file path longer than " + std::to_string(KELInsRegKeyName::MaxFilePath) + " bytes";
  if (!l_Problem.empty()) oWhy = ioName + ": " + l_Problem;
  return l_Problem.empty();
}

// Checks the subkeys of iTree, and theirs, below the key of ioFolder and ioName (given back as they
// came). The walk stops at the first refusal, so it goes no deeper than a path can be long.
bool CanStoreBelow(std::string& ioFolder, std::string& ioName, const KELInsRegTree& iTree,
                   std::string& oWhy) {
  const size_t l_Folder = ioFolder.size(), l_Name = ioName.size();
  for (const KELInsRegSubkey& l_Subkey : iTree.m_Subkeys) {
    bool l_Fits = Enter(ioFolder, ioName, l_Subkey.m_Name, oWhy) &&
                  CanStoreBelow(ioFolder, ioName, l_Subkey.m_Tree, oWhy);
    ioFolder.resize(l_Folder);
    ioName.resize(l_Name);
    if (!l_Fits) return false;
  }
  return true;
}

}  // namespace

bool KELInsRegKeyName::CanStore(const KELInsRegTree& iBelow, std::string& oWhy) const {
  std::string l_Folder, l_Hive, l_Name = m_HiveName;
  if (KELInsRegChange::HiveFolder(m_Hive, l_Folder, l_Hive)) l_Folder += '/' + l_Hive;
  for (const std::string& l_Component : m_Components)
    if (!Enter(l_Folder, l_Name, l_Component, oWhy)) return false;
  return CanStoreBelow(l_Folder, l_Name, iBelow, oWhy);
}

bool KELInsRegKeyName::IsValidComponent(std::string_view iName, std::string& oWhy) {
  if (iName.empty()) {
    oWhy = "empty key name";
  } else if (iName == "." || iName == "..") {
    oWhy = "key name '" + std::string(iName) + "' is not allowed";
  } else {
    for (char l_Byte : iName) {
      if (l_Byte == '"' || static_cast<unsigned char>(l_Byte) < 0x20 || l_Byte == '\\' || l_Byte == '/') {
        oWhy =
            l_Byte == '"' ? "a key name cannot hold a double quote" : "a key name cannot hold a control byte";
        if (l_Byte == '\\' || l_Byte == '/') oWhy = "a key name cannot hold a '\\' or '/'";
        return false;
      }
    }
    return true;
  }
  return false;
}

std::optional<KELInsRegKeyName> KELInsRegKeyName::Parse(std::string_view iText, std::string& oWhy) {
  // One separator may end the key, as completion leaves it: "HKLM/SOFTWARE/" is HKLM\SOFTWARE.
  if (iText.ends_with('\\') || iText.ends_with('/')) iText.remove_suffix(1);
  size_t l_End = iText.find_first_of("\\/");
  std::string_view l_Hive = iText.substr(0, l_End);
  KELInsRegKeyName l_Name;
  bool l_Known = false;
  for (const Hive& l_Candidate : k_Hives)
    if (SameLetters(l_Hive, l_Candidate.m_Short) || SameLetters(l_Hive, l_Candidate.m_Long)) {
      l_Name.m_Hive = l_Candidate.m_Code;
      l_Name.m_HiveName = l_Candidate.m_Short;
      l_Known = true;
    }
  if (!l_Known) {
    oWhy = "unknown hive '" + std::string(l_Hive) + "' (HKLM, HKCU or HKCR)";
    return std::nullopt;
  }
  while (l_End != std::string_view::npos) {
    size_t l_Start = l_End + 1;
    l_End = iText.find_first_of("\\/", l_Start);
    std::string_view l_Component =
        iText.substr(l_Start, l_End == std::string_view::npos ? l_End : l_End - l_Start);
    if (!IsValidComponent(l_Component, oWhy)) return std::nullopt;
    l_Name.m_Components.emplace_back(l_Component);
  }
  return l_Name;
}

std::string KELInsRegKeyName::Path() const {
  std::string l_Path;
  for (const std::string& l_Component : m_Components) {
    if (!l_Path.empty()) l_Path += '\\';
    l_Path += l_Component;
  }
  return l_Path;
}

std::string KELInsRegKeyName::Full() const { return IsHiveRoot() ? m_HiveName : m_HiveName + '\\' + Path(); }

KELInsRegKeyName KELInsRegKeyName::Child(const std::string& iName) const {
  KELInsRegKeyName l_Child = *this;
  l_Child.m_Components.push_back(iName);
  return l_Child;
}

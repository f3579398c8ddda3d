#include "KELInsRegKeyName.h"

#include <strings.h>

#include "KELInsRegKey.h"

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

}  // namespace

bool KELInsRegKeyName::IsValidComponent(std::string_view iName, std::string& oWhy) {
  if (iName.empty()) {
    oWhy = "empty key name";
  } else if (iName == "." || iName == "..") {
    oWhy = "key name '" + std::string(iName) + "' is not allowed";
  } else if (iName.size() > KELInsRegKeyName::MaxComponent) {
    oWhy = "key name longer than " + std::to_string(KELInsRegKeyName::MaxComponent) + " bytes";
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

#include "KELSysTraceManagerBase.h"

#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

constexpr size_t kMaxFileName = 63;

struct LongOption {
  const char* m_Name;
  bool m_HasValue;
};
constexpr LongOption kLongOptions[] = {{"name", true},
                                       {"file", true},
                                       {"local-time", false},
                                       {"rotate-file-size", true},
                                       {"rotate-file-count", true},
                                       {"stdout", false},
                                       {"stderr", false}};

std::vector<std::string> Split(const std::string& iText, const char* iSeparators) {
  std::vector<std::string> l_Items;
  size_t l_Pos = 0;
  while ((l_Pos = iText.find_first_not_of(iSeparators, l_Pos)) != std::string::npos) {
    size_t l_End = iText.find_first_of(iSeparators, l_Pos);
    if (l_End == std::string::npos) l_End = iText.size();
    l_Items.push_back(iText.substr(l_Pos, l_End - l_Pos));
    l_Pos = l_End;
  }
  return l_Items;
}

// A plain decimal number no larger than iMax.
bool ParseNumber(const std::string& iText, uint64_t iMax, uint64_t& oValue) {
  if (iText.empty() || iText.size() > 19) return false;
  uint64_t l_Value = 0;
  for (char l_C : iText) {
    if (l_C < '0' || l_C > '9') return false;
    l_Value = l_Value * 10 + static_cast<uint64_t>(l_C - '0');
  }
  if (l_Value > iMax) return false;
  oValue = l_Value;
  return true;
}

// The long option that iName names exactly or as an unambiguous prefix, or nullptr.
const LongOption* MatchLong(const std::string& iName) {
  const LongOption* l_Found = nullptr;
  for (const LongOption& l_Option : kLongOptions) {
    if (iName == l_Option.m_Name) return &l_Option;
    if (!iName.empty() && strncmp(l_Option.m_Name, iName.c_str(), iName.size()) == 0) {
      if (l_Found) return nullptr;
      l_Found = &l_Option;
    }
  }
  return l_Found;
}

void SelectStream(KELSysTraceSettings& ioSettings, const char* iOutput) {
  ioSettings.m_Kind = KELSysTraceOutputKind::Stream;
  ioSettings.m_Output = iOutput;
}

}  // namespace

int KELSysTraceManagerBase::AddSpecifications(const char* iText) {
  if (iText == nullptr) return 0;
  int l_Accepted = 0;
  for (const std::string& l_Spec : Split(iText, ",;:|")) l_Accepted += AddSpecification(l_Spec) ? 1 : 0;
  return l_Accepted;
}

bool KELSysTraceManagerBase::AddSpecification(const std::string& iSpec, bool iFromFile) {
  if (iSpec.size() > kMaxSetting) return false;
  if (ReadLong(Split(iSpec, " \t\r\n\v\f"))) return true;
  return ReadShort(Split(iSpec, " \t\r\n\v\f,;:|"), iFromFile);
}

bool KELSysTraceManagerBase::ReadLong(const std::vector<std::string>& iWords) {
  KELSysTraceSettings l_Settings = m_Default;
  bool l_Selected = false;
  std::vector<std::string> l_Names;
  for (size_t l_I = 0; l_I < iWords.size(); ++l_I) {
    const std::string& l_Word = iWords[l_I];
    if (l_Word.size() < 2 || l_Word[0] != '-') return false;  // stray argument
    if (l_Word[1] != '-') {
      // A cluster of the short letters: only "o" and "e" exist.
      for (size_t l_C = 1; l_C < l_Word.size(); ++l_C) {
        if (l_Word[l_C] != 'o' && l_Word[l_C] != 'e') return false;
        SelectStream(l_Settings, l_Word[l_C] == 'o' ? "STDOUT" : "STDERR");
      }
      l_Selected = true;
      continue;
    }
    size_t l_Eq = l_Word.find('=');
    const LongOption* l_Option = MatchLong(l_Word.substr(2, l_Eq == std::string::npos ? l_Eq : l_Eq - 2));
    if (l_Option == nullptr || (l_Eq != std::string::npos && !l_Option->m_HasValue)) return false;
    std::string l_Value;
    if (l_Option->m_HasValue) {
      if (l_Eq != std::string::npos) {
        l_Value = l_Word.substr(l_Eq + 1);
      } else if (++l_I < iWords.size()) {
        l_Value = iWords[l_I];
      } else {
        return false;
      }
      if (l_Value.empty()) return false;
    }
    std::string l_Name = l_Option->m_Name;
    uint64_t l_Number = 0;
    if (l_Name == "name") {
      l_Names.push_back(l_Value);
    } else if (l_Name == "file") {
      l_Settings.m_Kind = KELSysTraceOutputKind::Stream;
      l_Settings.m_Output = l_Value;
      l_Selected = true;
    } else if (l_Name == "local-time") {
      l_Settings.m_Attributes[KELSysTraceAttrLocalTime] = 1;
    } else if (l_Name == "rotate-file-size") {
      if (!ParseNumber(l_Value, kMaxRotateSizeKiB, l_Number) || l_Number == 0) return false;
      l_Settings.m_Attributes[KELSysTraceAttrRotateSize] = l_Number;
    } else if (l_Name == "rotate-file-count") {
      if (!ParseNumber(l_Value, kMaxRotateCount, l_Number) || l_Number == 0) return false;
      l_Settings.m_Attributes[KELSysTraceAttrRotateCount] = l_Number;
    } else {
      SelectStream(l_Settings, l_Name == "stdout" ? "STDOUT" : "STDERR");
      l_Selected = true;
    }
  }
  if (l_Names.empty()) return false;
  l_Settings.m_Attributes[KELSysTraceAttrTimeStamp] = 1;
  std::vector<std::pair<std::string, KELSysTraceSettings>> l_Channels;
  for (const std::string& l_Name : l_Names) l_Channels.emplace_back(l_Name, l_Settings);
  Commit(l_Channels);
  if (l_Selected) {
    m_Default.m_Kind = l_Settings.m_Kind;
    m_Default.m_Output = l_Settings.m_Output;
  }
  return true;
}

bool KELSysTraceManagerBase::ReadShort(const std::vector<std::string>& iItems, bool iFromFile) {
  KELSysTraceSettings l_Current = m_Default;
  uint64_t l_Attributes[KELSysTraceAttrCount] = {};
  std::vector<std::pair<std::string, KELSysTraceSettings>> l_Channels;
  for (size_t l_I = 0; l_I < iItems.size(); ++l_I) {
    const std::string& l_Item = iItems[l_I];
    char l_Letter = l_Item.size() >= 2 && l_Item[0] == '-' ? l_Item[1] : '\0';
    std::string l_Rest = l_Item.size() > 2 ? l_Item.substr(2) : std::string();
    if (l_Item == "-E" || l_Item == "-e" || l_Item == "-O" || l_Item == "-o") {
      SelectStream(l_Current, (l_Letter | 0x20) == 'o' ? "STDOUT" : "STDERR");
    } else if (l_Letter && strchr("FfSs", l_Letter)) {
      if (l_Rest.empty()) return false;
      l_Current.m_Kind =
          (l_Letter | 0x20) == 'f' ? KELSysTraceOutputKind::Stream : KELSysTraceOutputKind::System;
      l_Current.m_Output = l_Rest.substr(0, kMaxFileName);
    } else if (l_Letter == 'I' || l_Letter == 'L' || l_Letter == 'M') {
      if (l_Rest.empty() && l_I + 1 < iItems.size()) l_Rest = iItems[++l_I];
      uint64_t l_Number = 0;
      if (!ParseNumber(l_Rest, UINT32_MAX, l_Number)) return false;
      int l_Attribute = l_Letter == 'I'   ? KELSysTraceAttrPrefix
                        : l_Letter == 'L' ? KELSysTraceAttrLevel
                                          : KELSysTraceAttrMaxText;
      // 0 leaves the attribute alone; an option file may only give small values.
      if (l_Number != 0 && (!iFromFile || l_Number < 12)) l_Attributes[l_Attribute] = l_Number;
    } else if (l_Item == "-N") {
      l_Attributes[KELSysTraceAttrTimeStamp] = 1;
    } else if (l_Item == "--local-time") {
      l_Attributes[KELSysTraceAttrLocalTime] = 1;
    } else if (l_Item[0] == '-') {
      return false;
    } else {
      l_Channels.emplace_back(l_Item, l_Current);
    }
  }
  for (auto& l_Channel : l_Channels) {
    for (int l_A = 0; l_A < KELSysTraceAttrCount; ++l_A) {
      if (l_Attributes[l_A] != 0) l_Channel.second.m_Attributes[l_A] = l_Attributes[l_A];
    }
  }
  Commit(l_Channels);
  m_Default.m_Kind = l_Current.m_Kind;
  m_Default.m_Output = l_Current.m_Output;
  return true;
}

void KELSysTraceManagerBase::Commit(
    const std::vector<std::pair<std::string, KELSysTraceSettings>>& iChannels) {
  for (const auto& l_Channel : iChannels) m_Channels[l_Channel.first] = l_Channel.second;
}

bool KELSysTraceManagerBase::SetAttribute(const std::string& iChannel, int iAttribute, uint64_t iValue) {
  if (iAttribute < 1 || iAttribute >= KELSysTraceAttrCount) return false;
  m_Channels[iChannel].m_Attributes[iAttribute] = iValue;
  return true;
}

const KELSysTraceSettings* KELSysTraceManagerBase::GetSettings(const std::string& iName) const {
  auto l_It = m_Channels.find(iName);
  return l_It == m_Channels.end() ? nullptr : &l_It->second;
}

std::vector<std::string> KELSysTraceManagerBase::GetChannelNames() const {
  std::vector<std::string> l_Names;
  for (const auto& l_Channel : m_Channels) l_Names.push_back(l_Channel.first);
  return l_Names;
}

bool KELSysTraceManagerBase::IsOptionFileName(const char* iName) {
  if (iName == nullptr) return false;
  if (strncasecmp(iName, "OPFILE.", 7) == 0) return true;
  const char* l_Ext = strrchr(iName, '.');
  // Only the first seven characters of ".optionfile" count, so ".options" and ".option1" qualify.
  return l_Ext != nullptr && strncasecmp(l_Ext, ".optionfile", 7) == 0;
}

int KELSysTraceManagerBase::LoadOptionFiles(const std::string& iDir) {
  std::unique_ptr<DIR, int (*)(DIR*)> l_Dir(opendir(iDir.c_str()), closedir);
  if (!l_Dir) return 0;
  std::vector<std::string> l_Names;
  while (const struct dirent* l_Entry = readdir(l_Dir.get())) {
    if (IsOptionFileName(l_Entry->d_name)) l_Names.push_back(l_Entry->d_name);
  }
  // A fixed order, so that a later file overrides an earlier one the same way every time.
  std::sort(l_Names.begin(), l_Names.end());
  int l_Accepted = 0;
  for (const std::string& l_Name : l_Names) l_Accepted += LoadOptionFile(iDir + "/" + l_Name);
  return l_Accepted;
}

int KELSysTraceManagerBase::LoadOptionFile(const std::string& iPath) {
  struct stat l_St;
  if (stat(iPath.c_str(), &l_St) != 0 || !S_ISREG(l_St.st_mode)) return 0;
  std::unique_ptr<FILE, int (*)(FILE*)> l_File(fopen(iPath.c_str(), "re"), fclose);
  if (!l_File) return 0;
  int l_Accepted = 0;
  char l_Line[kMaxSetting + 2];
  bool l_TooLong = false;
  while (fgets(l_Line, sizeof l_Line, l_File.get())) {
    size_t l_Len = strlen(l_Line);
    bool l_Whole = l_Len > 0 && l_Line[l_Len - 1] == '\n';
    // The tail of a line that did not fit is skipped with it.
    bool l_Skip = l_TooLong || (!l_Whole && !feof(l_File.get()));
    l_TooLong = !l_Whole && !feof(l_File.get());
    if (l_Skip) continue;
    std::string l_Text(l_Line, l_Len);
    size_t l_First = l_Text.find_first_not_of(" \t\r\n");
    if (l_First == std::string::npos || l_Text[l_First] == '#') continue;
    for (const std::string& l_Spec : Split(l_Text, ",;:|"))
      l_Accepted += AddSpecification(l_Spec, true) ? 1 : 0;
  }
  return l_Accepted;
}

// Test support: a registry of installations in a fresh temporary folder (removed afterwards), in the
// key-file layout. Key files are written directly, so tests control every byte.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

inline void WriteFile(const std::string& iFile, const std::string& iBytes) {
  std::ofstream(iFile, std::ios::binary | std::ios::trunc) << iBytes;
}
inline std::string ReadFile(const std::string& iFile) {
  std::ifstream l_In(iFile, std::ios::binary);
  return {std::istreambuf_iterator<char>(l_In), {}};
}

class ListerRegistry {
 public:
  ListerRegistry() {
    char l_Template[] = "/tmp/KELListerTest.XXXXXX";
    m_Root = ::mkdtemp(l_Template);
  }
  ~ListerRegistry() { std::filesystem::remove_all(m_Root); }

  // The folder that stands for /etc/.Quorvane.
  const std::string& Root() const { return m_Root; }

  // Key iPath of the local-machine hive with its parents, holding the non-empty string values of
  // iValues ("name", "text", ...); the text is stored between quotes as it is.
  void AddKey(const std::string& iPath, const std::vector<std::string>& iValues) const {
    std::filesystem::path l_Key = m_Root + "/HKLM/" + iPath;
    std::filesystem::create_directories(l_Key);
    for (auto l_Part = l_Key; l_Part != m_Root + "/HKLM"; l_Part = l_Part.parent_path())
      if (!std::filesystem::exists(l_Part.string() + ".json")) WriteFile(l_Part.string() + ".json", "");
    std::string l_Body;
    for (size_t l_At = 0; l_At < iValues.size(); l_At += 2)
      if (!iValues[l_At + 1].empty())
        l_Body += ",\"" + iValues[l_At] + "\":[3,\"" + iValues[l_At + 1] + "\"]";
    WriteFile(l_Key.string() + ".json", "{\"Version\":\"1.0\",\"" + l_Key.filename().string() + "\":{" +
                                            l_Body.substr(!l_Body.empty()) + "}}");
  }
  void AddInstall(const std::string& iLevelTypeIdent, const std::string& iPath,
                  const std::string& iHfx = "") const {
    AddKey("SOFTWARE/Quorvane/Q4/" + iLevelTypeIdent, {"Path", iPath, "SPlevel", iHfx});
  }
  void AddCommon(const std::string& iType, const std::string& iLevel, const std::string& iPath) const {
    AddKey("SOFTWARE/Quorvane/Q4_Common/" + iType, {"GAlevel", iLevel, "Path", iPath, "SPlevel", "4.1"});
  }

  // Every path of the hive with its modification time and bytes, sorted.
  std::vector<std::string> Snapshot() const {
    std::vector<std::string> l_Files;
    for (const auto& l_Entry : std::filesystem::recursive_directory_iterator(m_Root + "/HKLM"))
      l_Files.push_back(l_Entry.path().string() +
                        std::to_string(l_Entry.last_write_time().time_since_epoch().count()) +
                        (l_Entry.is_regular_file() ? ReadFile(l_Entry.path()) : ""));
    std::sort(l_Files.begin(), l_Files.end());
    return l_Files;
  }

 private:
  std::string m_Root;
};

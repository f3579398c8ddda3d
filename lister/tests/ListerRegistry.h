// Test support: a registry of installations in a fresh temporary folder (removed afterwards), in the
// key-file layout. Key files are written directly, so tests control every byte.
#pragma once

#include <string>
#include <vector>

#include "../../tests/KELTestSupport.h"

class ListerRegistry {
 public:
  // The folder that stands for /etc/.Quorvane.
  const std::string& Root() const { return m_Root.Path(); }
  std::string At(const std::string& iName) const { return m_Root.At(iName); }

  // Key iPath of the local-machine hive with its parents, holding the non-empty string values of
  // iValues ("name", "text", ...); the text is stored between quotes as it is.
  void AddKey(const std::string& iPath, const std::vector<std::string>& iValues) const {
    std::filesystem::path l_Key = At("HKLM/" + iPath);
    std::filesystem::create_directories(l_Key);
    for (auto l_Part = l_Key; l_Part != At("HKLM"); l_Part = l_Part.parent_path())
      if (!std::filesystem::exists(l_Part.string() + ".json"))
        KELTestWriteFile(l_Part.string() + ".json", "");
    std::string l_Body;
    for (size_t l_At = 0; l_At < iValues.size(); l_At += 2)
      if (!iValues[l_At + 1].empty())
        l_Body += ",\"" + iValues[l_At] + "\":[3,\"" + iValues[l_At + 1] + "\"]";
    KELTestWriteFile(l_Key.string() + ".json", "{\"Version\":\"1.0\",\"" + l_Key.filename().string() +
                                                   "\":{" + l_Body.substr(!l_Body.empty()) + "}}");
  }
  void AddInstall(const std::string& iLevelTypeIdent, const std::string& iPath,
                  const std::string& iHfx = "") const {
    AddKey("SOFTWARE/Quorvane/Q4/" + iLevelTypeIdent, {"Path", iPath, "SPlevel", iHfx});
  }
  void AddCommon(const std::string& iType, const std::string& iLevel, const std::string& iPath) const {
    AddKey("SOFTWARE/Quorvane/Q4_Common/" + iType, {"GAlevel", iLevel, "Path", iPath, "SPlevel", "4.1"});
  }

 private:
  KELTestTempDir m_Root{"KELListerTest"};
};
